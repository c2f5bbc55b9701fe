// SPDX-License-Identifier: Apache-2.0
// Bounds on what the engine takes from a file and makes of it, so that a hostile one can ask neither for all memory nor
// for minutes. Many times what the networks for a camera frame need; together they keep loading and running any
// container below 400 MB and 10 seconds.
#ifndef PEXO_ENGINE_BOUNDS_H_
#define PEXO_ENGINE_BOUNDS_H_

#include <cstddef>
#include <cstdint>

namespace pexo::engine {

// What the file holds.
inline constexpr size_t kMaxContainerBytes = size_t{32} << 20;
inline constexpr size_t kMaxModelBytes = size_t{16} << 20;
inline constexpr size_t kMaxDescriptionBytes = size_t{64} << 10;
inline constexpr size_t kMaxTensors = 4096;
inline constexpr size_t kMaxNodes = 4096;
inline constexpr size_t kMaxRank = 4;
inline constexpr size_t kMaxElements = size_t{1} << 24;            // of one tensor
inline constexpr size_t kMaxConstantElements = size_t{1} << 23;    // of all constants together
inline constexpr size_t kMaxActivationElements = size_t{1} << 25;  // of all results together
inline constexpr int32_t kMaxStride = 1024;

// What XNNPACK derives from it.
inline constexpr uint64_t kMaxPackedElements = uint64_t{1} << 24;  // of all filters together
inline constexpr uint64_t kMaxTableBytes = uint64_t{64} << 20;     // of all tables of addresses together
inline constexpr uint64_t kMaxMultiplyAdds = 4'000'000'000;        // for one picture
inline constexpr size_t kMaxPooledChannels = size_t{1} << 14;      // whose sums lie on the stack

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_BOUNDS_H_
