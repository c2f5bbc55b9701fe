// SPDX-License-Identifier: Apache-2.0
// The blur's jobs as one writes them with OpenCV, on one thread, with the planes on the way kept from call to call.
// Planes are tightly packed.
#ifndef PEXO_BENCH_BENCH_BLUR_OPENCV_H_
#define PEXO_BENCH_BENCH_BLUR_OPENCV_H_

#include <qmx/qmx_image.h>

#include <cstdint>

namespace pexo::bench::opencv {

void UseOneThread();
void Box(const uint8_t* source, int width, int height, uint8_t* destination, int radius);
// Area resampling by whole factors, and bilinear to any size.
void Shrink(const uint8_t* source, int width, int height, uint8_t* destination, int factor);
void Resize(const uint8_t* source, int width, int height, uint8_t* destination, int to_width, int to_height);
void Blend(const uint8_t* blurred, const uint8_t* sharp, const uint8_t* mask, int width, int height,
           uint8_t* destination);
void SplitPairs(const uint8_t* source, int pairs, int rows, uint8_t* odd, uint8_t* even);
void MergePairs(const uint8_t* odd, const uint8_t* even, int pairs, int rows, uint8_t* destination);
void ComposeAligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask);
void ComposeUnaligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask);

}  // namespace pexo::bench::opencv

#endif  // PEXO_BENCH_BENCH_BLUR_OPENCV_H_
