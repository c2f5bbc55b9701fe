// SPDX-License-Identifier: Apache-2.0
#include "snpe/snpe_network.h"

#include <algorithm>
#include <fstream>
#include <optional>

#include "common/log.h"
#include "snpe/decode_mask.h"

namespace pexo {
namespace {

constexpr char kSmallModelName[] = "MoviePortraitSmall";
constexpr float kSmallModelSigmoidMin = -20.01f;
constexpr float kSmallModelSigmoidMax = 29.05f;
constexpr float kScoreThreshold = 0.36f;

// Rows, columns and channels of a model's tensor; dimension 0 is the batch.
struct Geometry {
  uint32_t height, width, channels;
};

std::optional<Geometry> FirstGeometry(const TensorShapes& shapes) {
  if (shapes.empty()) return std::nullopt;
  const zdl::DlSystem::TensorShape& shape = shapes.begin()->second;
  if (shape.rank() < 4) return std::nullopt;
  return Geometry{static_cast<uint32_t>(shape[1]), static_cast<uint32_t>(shape[2]), static_cast<uint32_t>(shape[3])};
}

}  // namespace

int32_t SnpeNetwork::Init() {
  if (!std::ifstream(model_path).is_open()) {
    PEXO_LOG("Fail to locate model path [%s]", model_path.c_str());
    return kNetworkFailed;
  }
  if (model_path.find(kSmallModelName) != std::string::npos) {
    sigmoid_min = kSmallModelSigmoidMin;
    sigmoid_max = kSmallModelSigmoidMax;
  }

  engine = std::make_shared<snpe_helper>(static_cast<int32_t>(zdl::DlSystem::Runtime_t::DSP_FIXED8_TF), model_path);
  std::optional<Geometry> input, output;
  if (engine->snpe != nullptr) {
    input = FirstGeometry(engine->GetInputTensorShapes());
    output = FirstGeometry(engine->GetOutputTensorShapes());
  }
  if (!input || !output) {
    engine.reset();  // Predict has nothing to run
    PEXO_LOG("Fail to open snpe model!");
    return kNetworkFailed;
  }
  input_height = input->height;
  input_width = input->width;
  input_channels = input->channels;
  output_height = output->height;
  output_width = output->width;
  output_channels = output->channels;
  PEXO_LOG("DLC size = %d * %d * %d -> %d * %d * %d", static_cast<int>(input_height), static_cast<int>(input_width),
           static_cast<int>(input_channels), static_cast<int>(output_height), static_cast<int>(output_width),
           static_cast<int>(output_channels));

  const size_t output_pixels = size_t{output_height} * output_width;
  input_buffer = std::vector<uint8_t>(size_t{input_height} * input_width * input_channels);
  output_buffer = std::vector<uint8_t>(output_pixels * 2);
  mask_buffer = std::vector<uint8_t>(output_pixels);
  return kNetworkOk;
}

int32_t SnpeNetwork::SetInput(const QmxImage& image) {
  if (image.plane[0] == nullptr) return kNetworkFailed;
  // Where the model has other than three channels, the image is shorter or longer than the buffer.
  const size_t image_bytes = static_cast<size_t>(image.stride[0]) * static_cast<size_t>(image.height);
  std::copy_n(image.plane[0], std::min(image_bytes, input_buffer.size()), input_buffer.begin());
  return kNetworkOk;
}

int32_t SnpeNetwork::Predict() {
  if (engine == nullptr) return kNetworkFailed;
  const bool succeeded =
      engine->Execute(input_buffer.data(), output_buffer.data(), static_cast<int32_t>(input_buffer.size()),
                      static_cast<int32_t>(output_buffer.size()));
  return succeeded ? kNetworkOk : kNetworkFailed;
}

int32_t SnpeNetwork::GetOutput(QmxImage& image) {
  DecodeMask(*this, output_buffer.data(), image.plane[0], kScoreThreshold);
  return kNetworkOk;
}

}  // namespace pexo
