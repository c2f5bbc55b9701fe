// The blur's jobs as one writes them with OpenCV, on one thread. Planes are tightly packed.
#ifndef PEXO_BENCH_BENCH_BLUR_OPENCV_H_
#define PEXO_BENCH_BENCH_BLUR_OPENCV_H_

#include <qmx/qmx_image.h>

#include <cstdint>

namespace pexo::bench::opencv {

// Whether a composite's planes are made in each call, as this library makes its own, or kept from call to call.
enum class Buffers { kPerCall, kKept };

void UseOneThread();
void Box(const uint8_t* source, int width, int height, uint8_t* destination, int radius);
// Area resampling by whole factors, and bilinear doubling.
void Shrink(const uint8_t* source, int width, int height, uint8_t* destination, int factor);
void Double(const uint8_t* source, int width, int height, uint8_t* destination);
void Blend(const uint8_t* blurred, const uint8_t* sharp, const uint8_t* mask, int width, int height,
           uint8_t* destination);
void SplitPairs(const uint8_t* source, int pairs, int rows, uint8_t* first, uint8_t* second);
void MergePairs(const uint8_t* first, const uint8_t* second, int pairs, int rows, uint8_t* destination);
void ComposeAligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask, Buffers buffers);
void ComposeUnaligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask, Buffers buffers);

}  // namespace pexo::bench::opencv

#endif  // PEXO_BENCH_BENCH_BLUR_OPENCV_H_
