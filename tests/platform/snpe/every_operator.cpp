// SPDX-License-Identifier: Apache-2.0
#include "every_operator.h"

#include <flatbuffers/idl.h>
#include <flatbuffers/util.h>

#include <cstring>
#include <stdexcept>

#include "tflite_generated.h"

namespace pexo::test {

std::vector<uint8_t> EveryOperatorModel(const std::string& from, const std::string& to) {
  std::string schema, text;
  flatbuffers::LoadFile(PEXO_TFLITE_SCHEMA, false, &schema);
  flatbuffers::LoadFile(PEXO_EVERY_OPERATOR, false, &text);
  text.replace(text.find(from, text.find('{')), from.size(), to);
  flatbuffers::Parser parser;
  if (!parser.Parse(schema.c_str()) || !parser.Parse(text.c_str())) throw std::runtime_error(parser.error_);

  const auto model = tflite::UnPackModel(parser.builder_.GetBufferPointer());
  for (const auto& tensor : model->subgraphs[0]->tensors) {
    if (tensor->buffer != 1) continue;
    std::vector<float> filter(
        static_cast<size_t>(tensor->shape[0] * tensor->shape[1] * tensor->shape[2] * tensor->shape[3]));
    for (size_t i = 0; i < filter.size(); ++i) filter[i] = (static_cast<float>(i * 7 % 11) - 5) / 4;
    tensor->buffer = static_cast<uint32_t>(model->buffers.size());
    model->buffers.push_back(std::make_unique<tflite::BufferT>());
    model->buffers.back()->data.resize(filter.size() * sizeof(float));
    std::memcpy(model->buffers.back()->data.data(), filter.data(), filter.size() * sizeof(float));
  }
  flatbuffers::FlatBufferBuilder builder;
  builder.Finish(tflite::Model::Pack(builder, model.get()), tflite::ModelIdentifier());
  return {builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()};
}

}  // namespace pexo::test
