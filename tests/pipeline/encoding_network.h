// A network of the tests whose mask is made of the pixels it was given, and whose prediction does as told.
#ifndef PEXO_TESTS_PIPELINE_ENCODING_NETWORK_H_
#define PEXO_TESTS_PIPELINE_ENCODING_NETWORK_H_

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "network/network.h"
#include "tests/support/frames.h"

namespace pexo::test {

// Input 16x16 RGB, output 8x8: the mask goes through the double-size path.
class EncodingNetwork : public Network {
 public:
  static constexpr uint32_t kInputSize = 16;
  static constexpr uint32_t kOutputSize = 8;

  // What `prediction` answers, who is called inside Predict, is its status; negative: the frame gets no output.
  static constexpr int32_t kNoOutput = -1;
  explicit EncodingNetwork(std::function<int32_t()> prediction = [] { return kNetworkOk; })
      : prediction_(std::move(prediction)) {
    input_height = input_width = kInputSize;
    input_channels = 3;
    output_height = output_width = kOutputSize;
    output_channels = 2;
  }

  int32_t Uninit() override { return kNetworkOk; }

  int32_t SetInput(const QmxImage& image) override {
    input_.assign(image.plane[0], image.plane[0] + size_t{3} * kInputSize * kInputSize);
    return kNetworkOk;
  }

  int32_t Predict() override {
    status_ = prediction_();
    output_ = input_;
    return status_;
  }

  int32_t GetOutput(QmxImage& image) override {
    if (status_ == kNoOutput) return kNetworkFailed;
    for (uint32_t i = 0; i < kOutputSize * kOutputSize; ++i) image.plane[0][i] = output_[12 * i];
    return kNetworkOk;
  }

 private:
  std::function<int32_t()> prediction_;
  int32_t status_ = kNetworkOk;
  std::vector<uint8_t> input_;
  std::vector<uint8_t> output_;
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_PIPELINE_ENCODING_NETWORK_H_
