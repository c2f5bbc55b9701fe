// A network of the tests whose mask is made of the pixels it was given, and whose prediction takes as long as told.
#ifndef PEXO_TESTS_PIPELINE_ENCODING_NETWORK_H_
#define PEXO_TESTS_PIPELINE_ENCODING_NETWORK_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "network/network.h"
#include "tests/support/frames.h"

namespace pexo::test {

// Input 16x16 RGB, output 8x8. The two sizes differ, so that layout mode 0 takes the long way and the layouts have
// masks of different sizes.
class EncodingNetwork : public Network {
 public:
  static constexpr uint32_t kInputSize = 16;
  static constexpr uint32_t kOutputSize = 8;

  // `prediction` is called inside Predict and answers its status.
  explicit EncodingNetwork(std::function<int32_t()> prediction = [] { return kNetworkOk; })
      : prediction_(std::move(prediction)) {
    input_height = input_width = kInputSize;
    input_channels = 3;
    output_height = output_width = kOutputSize;
    output_channels = 2;
  }

  // A prediction of 0 to `most` at random.
  static std::function<int32_t()> RandomDelay(std::chrono::microseconds most) {
    return [most, random = std::mt19937(7)]() mutable {
      std::this_thread::sleep_for(std::chrono::microseconds(random() % (most.count() + 1)));
      return kNetworkOk;
    };
  }

  int32_t Uninit() override { return kNetworkOk; }

  int32_t SetInput(const QmxImage& image) override {
    input_.assign(image.plane[0], image.plane[0] + size_t{3} * kInputSize * kInputSize);
    return kNetworkOk;
  }

  int32_t Predict() override {
    ++predictions;
    const int32_t status = prediction_();
    output_ = input_;
    return status;
  }

  // Bright where the input is bright, so that the mask follows the rotation of the frame too.
  int32_t GetOutput(QmxImage& image) override {
    if (get_output_status != kNetworkOk) return get_output_status;
    const uint32_t size = layout_mode == 1 ? kInputSize : kOutputSize;
    const uint32_t step = kInputSize / size;
    for (uint32_t y = 0; y < size; ++y) {
      for (uint32_t x = 0; x < size; ++x) {
        image.plane[0][y * size + x] = output_[3 * (y * step * kInputSize + x * step)];
      }
    }
    return kNetworkOk;
  }

  std::atomic<int> predictions{0};
  std::atomic<int32_t> get_output_status{kNetworkOk};

 private:
  std::function<int32_t()> prediction_;
  std::vector<uint8_t> input_;
  std::vector<uint8_t> output_;
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_PIPELINE_ENCODING_NETWORK_H_
