// SPDX-License-Identifier: Apache-2.0
// The segmentation network that runs a model file on the inference engine.
#ifndef PEXO_SNPE_SNPE_NETWORK_H_
#define PEXO_SNPE_SNPE_NETWORK_H_

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "network/network.h"
#include "snpe/snpe_helper.h"

namespace pexo {

class SnpeNetwork : public Network {
 public:
  explicit SnpeNetwork(std::string path) : model_path(std::move(path)) {}

  // Opens and builds the model, learns its geometry and sizes the buffers. Returns 2 when the file is missing or the
  // engine cannot use it; Predict then returns 2 as well. May be called again.
  int32_t Init() override;
  int32_t Uninit() override { return kNetworkOk; }  // destruction releases everything
  int32_t Predict() override;
  int32_t SetInput(const QmxImage& image) override;
  int32_t GetOutput(QmxImage& image) override;

  const std::string model_path;
  std::shared_ptr<snpe_helper> engine;
  std::vector<uint8_t> input_buffer;   // input_height x input_width x input_channels
  std::vector<uint8_t> output_buffer;  // output_height x output_width x 2, whatever output_channels is
  std::vector<uint8_t> mask_buffer;    // output_height x output_width; spare
};

}  // namespace pexo

#endif  // PEXO_SNPE_SNPE_NETWORK_H_
