// SPDX-License-Identifier: Apache-2.0
// An inference engine for tests: a libSNPE.so that does what it is told, and only for those who ask as they should.
//
// Link the target `fake_snpe` (with pexo_core, or beside the product); see pexo_fake_engine_test in CMakeLists.txt.
#ifndef PEXO_TESTS_SUPPORT_FAKE_SNPE_H_
#define PEXO_TESTS_SUPPORT_FAKE_SNPE_H_

#include <chrono>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#define PEXO_FAKE_API __attribute__((visibility("default")))

namespace pexo::fake {

struct Tensor {
  std::string name;
  std::vector<size_t> shape;  // batch, height, width, depth
};

// What the engine is and does. The default is a working CPU engine with one input and one output of 8 x 8.
//
// Results: g, the middle channel (green; the only one of a one-channel tensor) of the first input, goes to every output
// tensor: (255 - g, g) for two channels, g in all of them otherwise. Pixel p of n takes pixel p m / n of m. Buffers are
// taken for bytes.
//
// Nothing is built without a runtime that is available, every output layer, user buffers, the cache and a platform
// without options. Execution fails unless every tensor has a dense buffer, of bytes that stand for themselves or of
// floats.
struct Engine {
  std::set<int> runtimes = {0};  // Runtime_t values that are available; a network may also run on 0 where none is
  bool opens = true;             // false: opening a container gives null ("cannot open")
  bool builds = true;            // false: build() gives null ("cannot build"; "no container" without one)
  bool has_names = true;         // false: no list of names, neither of inputs nor of outputs
  bool has_attributes = true;    // false: names, but no attributes
  bool makes_buffers = true;     // false: createUserBuffer gives null
  std::vector<Tensor> inputs = {{"input", {1, 8, 8, 3}}};
  std::vector<Tensor> outputs = {{"output", {1, 8, 8, 2}}};
  bool succeeds = true;                          // execute's answer; without success nothing is written
  bool throws = false;                           // execute throws std::runtime_error instead
  std::chrono::microseconds prediction_time{0};  // execute sleeps that long before it writes
  bool hangs = false;                            // execute does not go on, not even to sleep, while this is set
};

// Another program's engine does what the word in the file says that PEXO_FAKE_ENGINE names there: "works", "fails",
// "throws", "stalls" for a second or "hangs" at each execution.
//
// Takes effect with the next call of the engine, also of networks that are built. At any time.
PEXO_FAKE_API void SetEngine(const Engine& engine);

// What no engine has to stand, since the last SetEngine: calls of execute that began while another ran on the same
// network, and networks that outlived their container. At any time.
PEXO_FAKE_API int Misuses();

// How often execute has begun since the last SetEngine. At any time.
PEXO_FAKE_API int Runs();

}  // namespace pexo::fake

#endif  // PEXO_TESTS_SUPPORT_FAKE_SNPE_H_
