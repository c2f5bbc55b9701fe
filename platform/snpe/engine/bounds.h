// Bounds on what the engine takes from a file, so that a damaged one cannot ask for all memory. Many times what the
// networks for a camera frame need.
#ifndef PEXO_ENGINE_BOUNDS_H_
#define PEXO_ENGINE_BOUNDS_H_

#include <cstddef>
#include <cstdint>

namespace pexo::engine {

inline constexpr size_t kMaxContainerBytes = size_t{128} << 20;
inline constexpr size_t kMaxModelBytes = size_t{64} << 20;
inline constexpr size_t kMaxDescriptionBytes = size_t{64} << 10;
inline constexpr size_t kMaxTensors = 4096;
inline constexpr size_t kMaxNodes = 4096;
inline constexpr size_t kMaxRank = 4;
inline constexpr size_t kMaxElements = size_t{1} << 24;            // of one tensor
inline constexpr size_t kMaxConstantElements = size_t{1} << 25;    // of all constants together
inline constexpr size_t kMaxActivationElements = size_t{1} << 27;  // of all results together
inline constexpr int32_t kMaxStride = 1024;

}  // namespace pexo::engine

#endif  // PEXO_ENGINE_BOUNDS_H_
