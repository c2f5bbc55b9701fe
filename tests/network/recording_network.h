// A network without an engine: answers as told and keeps what it was given.
#ifndef PEXO_TESTS_NETWORK_RECORDING_NETWORK_H_
#define PEXO_TESTS_NETWORK_RECORDING_NETWORK_H_

#include <algorithm>
#include <string>
#include <vector>

#include "network/network.h"

namespace pexo {

struct RecordingNetwork : Network {
  RecordingNetwork(uint32_t input_side, uint32_t output_side, uint32_t channels = 2) {
    input_height = input_width = input_side;
    output_height = output_width = output_side;
    input_channels = 3;
    output_channels = channels;
  }

  int32_t Uninit() override { return kNetworkOk; }
  int32_t SetInput(const QmxImage& image) override {
    stages += 'i';
    const QmxImage& given = image;
    model_input.assign(given.plane[0], given.plane[0] + given.stride[0] * given.height);
    model_input_format = given.format;
    return set_input_status;
  }
  int32_t Predict() override {
    stages += 'p';
    return predict_status;
  }
  int32_t GetOutput(QmxImage& image) override {
    stages += 'o';
    mask_width = image.width;
    mask_height = image.height;
    std::copy(mask.begin(), mask.end(), image.plane[0]);
    return get_output_status;
  }

  std::string stages;  // i, p, o in the order of the calls
  std::vector<uint8_t> model_input;
  int32_t model_input_format = 0;
  std::vector<uint8_t> mask;  // what GetOutput writes
  int32_t mask_width = 0, mask_height = 0;
  int32_t set_input_status = 0, predict_status = 0, get_output_status = 0;
};

}  // namespace pexo

#endif  // PEXO_TESTS_NETWORK_RECORDING_NETWORK_H_
