/* SPDX-License-Identifier: Apache-2.0 */
/* The device log's C interface, as far as this library uses it. */
#ifndef PEXOLOG_LOG_H_
#define PEXOLOG_LOG_H_

#ifdef __cplusplus
extern "C" {
#endif

/* Writes one line made from a printf-style format. `priority` is an Android priority (6 is "error"), `tag` names the
 * writer; a null tag counts as empty. Returns the number of bytes written, or a negative value when nothing could be
 * written. May be called from any thread; lines of different threads are never mixed. A computer's library writes to
 * standard error; with PEXO_LOG=off in the environment when the first line comes, it writes nothing and returns 0. */
#if defined(__GNUC__)
__attribute__((format(printf, 3, 4)))
#endif
int __p_android_log_print(int priority, const char* tag, const char* format, ...);

#ifdef __cplusplus
}
#endif

#endif /* PEXOLOG_LOG_H_ */
