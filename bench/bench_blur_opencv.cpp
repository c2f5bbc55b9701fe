// SPDX-License-Identifier: Apache-2.0
#include "bench/bench_blur_opencv.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace pexo::bench::opencv {
namespace {

cv::Mat Wrap(const uint8_t* data, int width, int height, int channels = 1) {
  return cv::Mat(height, width, CV_8UC(channels), const_cast<uint8_t*>(data));
}

// What jobs need on the way.
struct {
  cv::Mat rest, background, person;
  cv::Mat once, small, small_chroma, blurred, smooth_mask, full_mask;
} planes;

void BlendInto(const cv::Mat& blurred, const cv::Mat& sharp, const cv::Mat& mask, cv::Mat destination) {
  cv::bitwise_not(mask, planes.rest);
  cv::multiply(blurred, planes.rest, planes.background, 1, CV_16U);
  cv::multiply(sharp, mask, planes.person, 1, CV_16U);
  cv::add(planes.background, planes.person, planes.background);
  planes.background.convertTo(destination, CV_8U, 1.0 / 256, -0.5);
}

void BoxTwice() {
  cv::blur(planes.small, planes.once, cv::Size(3, 3), cv::Point(-1, -1), cv::BORDER_REPLICATE);
  cv::blur(planes.once, planes.small, cv::Size(3, 3), cv::Point(-1, -1), cv::BORDER_REPLICATE);
}

// The mask at the frame's size.
cv::Mat FitMask(const cv::Mat& mask, cv::Size size) {
  if (mask.size() == size) {
    return mask;
  }
  cv::resize(mask, planes.full_mask, size, 0, 0, cv::INTER_LINEAR);
  return planes.full_mask;
}

}  // namespace

void UseOneThread() {
  cv::setNumThreads(1);
}

void Box(const uint8_t* source, int width, int height, uint8_t* destination, int radius) {
  cv::Mat result = Wrap(destination, width, height);
  cv::blur(Wrap(source, width, height), result, cv::Size(2 * radius + 1, 2 * radius + 1), cv::Point(-1, -1),
           cv::BORDER_REPLICATE);
}

void Shrink(const uint8_t* source, int width, int height, uint8_t* destination, int factor) {
  cv::Mat result = Wrap(destination, width / factor, height / factor);
  cv::resize(Wrap(source, width, height), result, result.size(), 0, 0, cv::INTER_AREA);
}

void Resize(const uint8_t* source, int width, int height, uint8_t* destination, int to_width, int to_height) {
  cv::Mat result = Wrap(destination, to_width, to_height);
  cv::resize(Wrap(source, width, height), result, result.size(), 0, 0, cv::INTER_LINEAR);
}

void Blend(const uint8_t* blurred, const uint8_t* sharp, const uint8_t* mask, int width, int height,
           uint8_t* destination) {
  BlendInto(Wrap(blurred, width, height), Wrap(sharp, width, height), Wrap(mask, width, height),
            Wrap(destination, width, height));
}

void SplitPairs(const uint8_t* source, int pairs, int rows, uint8_t* odd, uint8_t* even) {
  cv::Mat halves[2] = {Wrap(even, pairs, rows), Wrap(odd, pairs, rows)};
  cv::split(Wrap(source, pairs, rows, 2), halves);
}

void MergePairs(const uint8_t* odd, const uint8_t* even, int pairs, int rows, uint8_t* destination) {
  const cv::Mat halves[2] = {Wrap(even, pairs, rows), Wrap(odd, pairs, rows)};
  cv::Mat result = Wrap(destination, pairs, rows, 2);
  cv::merge(halves, 2, result);
}

void ComposeAligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask) {
  const cv::Size size(frame.width, frame.height);
  const int scale = frame.width == 1920 || frame.height == 1920 ? 4 : 2;
  const cv::Mat luma = Wrap(frame.plane[0], size.width, size.height);
  const cv::Mat chroma = Wrap(frame.plane[1], size.width / 2, size.height / 2, 2);
  cv::resize(luma, planes.small, size / scale, 0, 0, cv::INTER_LINEAR);
  cv::resize(chroma, planes.small_chroma, chroma.size() / scale, 0, 0, cv::INTER_LINEAR);
  BoxTwice();
  cv::resize(planes.small, planes.blurred, size, 0, 0, cv::INTER_LINEAR);
  BlendInto(planes.blurred, luma, FitMask(Wrap(mask.plane[0], mask.width, mask.height), size),
            Wrap(output.plane[0], size.width, size.height));
  cv::Mat result = Wrap(output.plane[1], size.width / 2, size.height / 2, 2);
  cv::resize(planes.small_chroma, result, result.size(), 0, 0, cv::INTER_LINEAR);
}

void ComposeUnaligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask) {
  const cv::Size size(frame.width, frame.height);
  const cv::Mat luma = Wrap(frame.plane[0], size.width, size.height);
  const cv::Mat chroma = Wrap(frame.plane[1], size.width / 2, size.height / 2, 2);
  cv::blur(Wrap(mask.plane[0], mask.width, mask.height), planes.smooth_mask, cv::Size(5, 5), cv::Point(-1, -1),
           cv::BORDER_REPLICATE);
  cv::resize(luma, planes.small, size / 4, 0, 0, cv::INTER_AREA);
  cv::resize(chroma, planes.small_chroma, size / 4, 0, 0, cv::INTER_AREA);
  BoxTwice();
  cv::resize(planes.small, planes.blurred, size, 0, 0, cv::INTER_LINEAR);
  BlendInto(planes.blurred, luma, FitMask(planes.smooth_mask, size), Wrap(output.plane[0], size.width, size.height));
  cv::Mat result = Wrap(output.plane[1], size.width / 2, size.height / 2, 2);
  cv::resize(planes.small_chroma, result, result.size(), 0, 0, cv::INTER_LINEAR);
}

}  // namespace pexo::bench::opencv
