#include "bench/bench_blur_opencv.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace pexo::bench::opencv {
namespace {

cv::Mat Wrap(const uint8_t* data, int width, int height, int channels = 1) {
  return cv::Mat(height, width, CV_8UC(channels), const_cast<uint8_t*>(data));
}

void BlendInto(const cv::Mat& blurred, const cv::Mat& sharp, const cv::Mat& mask, cv::Mat destination) {
  cv::Mat rest, background, person;
  cv::bitwise_not(mask, rest);
  cv::multiply(blurred, rest, background, 1, CV_16U);
  cv::multiply(sharp, mask, person, 1, CV_16U);
  cv::add(background, person, background);
  background.convertTo(destination, CV_8U, 1.0 / 256, -0.5);
}

void BoxTwice(cv::Mat* plane) {
  cv::Mat once;
  cv::blur(*plane, once, cv::Size(3, 3), cv::Point(-1, -1), cv::BORDER_REPLICATE);
  cv::blur(once, *plane, cv::Size(3, 3), cv::Point(-1, -1), cv::BORDER_REPLICATE);
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

void Double(const uint8_t* source, int width, int height, uint8_t* destination) {
  cv::Mat result = Wrap(destination, 2 * width, 2 * height);
  cv::resize(Wrap(source, width, height), result, result.size(), 0, 0, cv::INTER_LINEAR);
}

void Blend(const uint8_t* blurred, const uint8_t* sharp, const uint8_t* mask, int width, int height,
           uint8_t* destination) {
  BlendInto(Wrap(blurred, width, height), Wrap(sharp, width, height), Wrap(mask, width, height),
            Wrap(destination, width, height));
}

void SplitPairs(const uint8_t* source, int pairs, int rows, uint8_t* first, uint8_t* second) {
  cv::Mat halves[2] = {Wrap(second, pairs, rows), Wrap(first, pairs, rows)};
  cv::split(Wrap(source, pairs, rows, 2), halves);
}

void MergePairs(const uint8_t* first, const uint8_t* second, int pairs, int rows, uint8_t* destination) {
  const cv::Mat halves[2] = {Wrap(second, pairs, rows), Wrap(first, pairs, rows)};
  cv::Mat result = Wrap(destination, pairs, rows, 2);
  cv::merge(halves, 2, result);
}

void ComposeAligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask) {
  const cv::Size size(frame.width, frame.height);
  const int scale = frame.width == 1920 || frame.height == 1920 ? 4 : 2;
  const cv::Mat luma = Wrap(frame.plane[0], size.width, size.height);
  const cv::Mat chroma = Wrap(frame.plane[1], size.width / 2, size.height / 2, 2);
  cv::Mat small, small_chroma, blurred, full_mask = Wrap(mask.plane[0], mask.width, mask.height);
  cv::resize(luma, small, size / scale, 0, 0, cv::INTER_LINEAR);
  cv::resize(chroma, small_chroma, chroma.size() / scale, 0, 0, cv::INTER_LINEAR);
  BoxTwice(&small);
  cv::resize(small, blurred, size, 0, 0, cv::INTER_LINEAR);
  if (full_mask.size() != size) {
    cv::Mat resized;
    cv::resize(full_mask, resized, size, 0, 0, cv::INTER_LINEAR);
    full_mask = resized;
  }
  BlendInto(blurred, luma, full_mask, Wrap(output.plane[0], size.width, size.height));
  cv::Mat result = Wrap(output.plane[1], size.width / 2, size.height / 2, 2);
  cv::resize(small_chroma, result, result.size(), 0, 0, cv::INTER_LINEAR);
}

void ComposeUnaligned(const QmxImage& frame, QmxImage& output, const QmxImage& mask) {
  const cv::Size size(frame.width, frame.height);
  const cv::Mat luma = Wrap(frame.plane[0], size.width, size.height);
  const cv::Mat chroma = Wrap(frame.plane[1], size.width / 2, size.height / 2, 2);
  cv::Mat quarter, quarter_chroma, blurred, full_mask;
  cv::blur(Wrap(mask.plane[0], mask.width, mask.height), full_mask, cv::Size(5, 5), cv::Point(-1, -1),
           cv::BORDER_REPLICATE);
  if (full_mask.size() != size) {
    cv::Mat resized;
    cv::resize(full_mask, resized, size, 0, 0, cv::INTER_LINEAR);
    full_mask = resized;
  }
  cv::resize(luma, quarter, size / 4, 0, 0, cv::INTER_AREA);
  cv::resize(chroma, quarter_chroma, size / 4, 0, 0, cv::INTER_AREA);
  BoxTwice(&quarter);
  cv::resize(quarter, blurred, size, 0, 0, cv::INTER_LINEAR);
  BlendInto(blurred, luma, full_mask, Wrap(output.plane[0], size.width, size.height));
  cv::Mat result = Wrap(output.plane[1], size.width / 2, size.height / 2, 2);
  cv::resize(quarter_chroma, result, result.size(), 0, 0, cv::INTER_LINEAR);
}

}  // namespace pexo::bench::opencv
