// SPDX-License-Identifier: Apache-2.0
// Knobs and readings that only the host's engine has; for benches and tests, never for the library.
#ifndef PEXO_HOST_ENGINE_H_
#define PEXO_HOST_ENGINE_H_

#ifdef __cplusplus
extern "C" {
#endif

// Threads that every network built from now on runs on, the caller's among them; 1, the default, is the caller's thread
// alone. Legal: 1 to 16; other values are brought into that range. Any thread may call it.
__attribute__((visibility("default"))) void pexoHostEngineSetThreads(int threads);

// Whether every network built from now on is rewritten so that it runs faster: 0 no, other values yes. The default is
// yes; the results differ by rounding alone. Any thread may call it.
__attribute__((visibility("default"))) void pexoHostEngineSetRewrites(int wanted);

// Seconds that the inference itself took in this thread's last execute(), without the conversion of its buffers;
// 0 before the first.
__attribute__((visibility("default"))) double pexoHostEngineLastInvokeSeconds(void);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // PEXO_HOST_ENGINE_H_
