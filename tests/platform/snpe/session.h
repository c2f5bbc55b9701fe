// SPDX-License-Identifier: Apache-2.0
// A network of the engine with buffers bound to it, through the public interface alone.
#ifndef PEXO_TESTS_SESSION_H_
#define PEXO_TESTS_SESSION_H_

#include <gtest/gtest.h>

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
inline std::vector<uint8_t> Pack(std::vector<uint8_t> model, engine::HeadKind kind) {
  const bool grey = kind == engine::HeadKind::kLogitGrey;
  const engine::Head head = grey ? engine::Head{kind, -20.01, 49.06} : engine::Head{kind};
  return engine::WriteContainer({"picture", "person", {1.0 / 255.0, 0.0}, head, std::move(model)});
}

inline std::unique_ptr<zdl::SNPE::SNPE> Build(zdl::DlContainer::IDlContainer* container) {
  return zdl::SNPE::SNPEBuilder(container).setUseUserSuppliedBuffers(true).build();
}

inline std::string LastError() {
  return zdl::DlSystem::getLastErrorString();
}

// Memory bound to a network's input or output as a dense tensor.
struct Bound {
  Bound(const zdl::SNPE::SNPE& network, const char* name, zdl::DlSystem::UserBufferEncoding&& encoding) {
    const auto dimensions = (*network.getInputOutputBufferAttributes(name))->getDims();
    std::vector<size_t> strides(dimensions.rank());
    size_t size = encoding.getElementSize();
    for (size_t i = strides.size(); i-- > 0; size *= dimensions[i]) strides[i] = size;
    bytes.resize(size);
    buffer = zdl::SNPE::SNPEFactory::getUserBufferFactory().createUserBuffer(bytes.data(), size, strides, &encoding);
    map.add(name, buffer.get());
  }
  // An element as it is stored.
  float& Float(size_t index) { return reinterpret_cast<float*>(bytes.data())[index]; }

  std::vector<uint8_t> bytes;
  std::unique_ptr<zdl::DlSystem::IUserBuffer> buffer;
  zdl::DlSystem::UserBufferMap map;
};

// A network between bytes that stand for themselves.
struct Session {
  explicit Session(std::unique_ptr<zdl::SNPE::SNPE> built)
      : network(std::move(built)),
        input(*network, (*network->getInputTensorNames()).at(0), zdl::DlSystem::UserBufferEncodingTfN(0, 1.0f)),
        output(*network, (*network->getOutputTensorNames()).at(0), zdl::DlSystem::UserBufferEncodingTfN(0, 1.0f)) {
    for (size_t i = 0; i < input.bytes.size(); ++i) input.bytes[i] = static_cast<uint8_t>(i * 58);
  }
  bool Execute() { return network->execute(input.map, output.map); }

  std::unique_ptr<zdl::SNPE::SNPE> network;
  Bound input, output;
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_SESSION_H_
