// A network of the engine with buffers bound to it, through the public interface alone.
#ifndef PEXO_TESTS_SESSION_H_
#define PEXO_TESTS_SESSION_H_

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "DlContainer/IDlContainer.hpp"
#include "DlSystem/DlError.hpp"
#include "SNPE/SNPE.hpp"
#include "SNPE/SNPEBuilder.hpp"
#include "SNPE/SNPEFactory.hpp"
#include "engine/container.h"

namespace pexo::test {

// Around the model of EveryOperatorModel, or any with the same names.
inline engine::Container PackedModel(std::vector<uint8_t> model, engine::HeadKind head) {
  return {.input_name = "picture",
          .output_name = "person",
          .transform = {.scale = 1.0 / 255.0, .offset = 0.0},
          .head = {.kind = head, .lowest = -20.01, .range = 49.06},
          .model = std::move(model)};
}

inline std::unique_ptr<zdl::SNPE::SNPE> BuildNetwork(zdl::DlContainer::IDlContainer* container) {
  return zdl::SNPE::SNPEBuilder(container).setUseUserSuppliedBuffers(true).build();
}

// Strides of a dense tensor, in bytes.
inline std::vector<size_t> DenseStrides(const zdl::DlSystem::TensorShape& dimensions, size_t element_size) {
  std::vector<size_t> strides(dimensions.rank(), element_size);
  for (size_t i = dimensions.rank() - 1; i-- > 0;) strides[i] = strides[i + 1] * dimensions[i + 1];
  return strides;
}

// The input or the output of a network, bound to dense memory of its own in one encoding.
class Bound {
 public:
  Bound(zdl::SNPE::SNPE& network, const char* name, zdl::DlSystem::UserBufferEncoding& encoding) {
    const auto dimensions = (*network.getInputOutputBufferAttributes(name))->getDims();
    const std::vector<size_t> strides = DenseStrides(dimensions, encoding.getElementSize());
    bytes.resize(strides[0] * dimensions[0]);
    buffer_ =
        zdl::SNPE::SNPEFactory::getUserBufferFactory().createUserBuffer(bytes.data(), bytes.size(), strides, &encoding);
    map.add(name, buffer_.get());
  }

  std::vector<float> Floats() const {
    std::vector<float> values(bytes.size() / sizeof(float));
    std::memcpy(values.data(), bytes.data(), bytes.size());
    return values;
  }
  void SetFloats(const std::vector<float>& values) { std::memcpy(bytes.data(), values.data(), bytes.size()); }

  std::vector<uint8_t> bytes;
  zdl::DlSystem::UserBufferMap map;

 private:
  std::unique_ptr<zdl::DlSystem::IUserBuffer> buffer_;
};

// A network between bytes that stand for themselves.
class Session {
 public:
  explicit Session(std::unique_ptr<zdl::SNPE::SNPE> built)
      : network(std::move(built)),
        input(*network, (*network->getInputTensorNames()).at(0), encoding),
        output(*network, (*network->getOutputTensorNames()).at(0), encoding) {}

  bool Execute() { return network->execute(input.map, output.map); }

  zdl::DlSystem::UserBufferEncodingTfN encoding{0, 1.0f};
  std::unique_ptr<zdl::SNPE::SNPE> network;
  Bound input;
  Bound output;
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_SESSION_H_
