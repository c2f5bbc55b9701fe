#include "model_writer.h"

#include <cstring>
#include <random>

namespace pexo::test {

using tflite::BuiltinOperator;

namespace {

template <typename T>
std::vector<uint8_t> BytesOf(const std::vector<T>& values) {
  std::vector<uint8_t> bytes(values.size() * sizeof(T));
  std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

size_t Count(const ModelWriter::Shape& shape) {
  size_t count = 1;
  for (const int32_t dimension : shape) count *= static_cast<size_t>(dimension);
  return count;
}

}  // namespace

ModelWriter::ModelWriter() {
  model.version = 3;
  model.subgraphs.push_back(std::make_unique<tflite::SubGraphT>());
  model.buffers.push_back(std::make_unique<tflite::BufferT>());  // by custom, buffer 0 is empty
}

int32_t ModelWriter::AddTensor(const Shape& shape, const std::string& name) {
  return AddTensor(shape, tflite::TensorType::FLOAT32, name, {});
}

int32_t ModelWriter::AddConstant(const Shape& shape, const std::vector<float>& values) {
  return AddTensor(shape, tflite::TensorType::FLOAT32, "", BytesOf(values));
}

int32_t ModelWriter::AddIntegers(const std::vector<int32_t>& values) {
  return AddTensor({static_cast<int32_t>(values.size())}, tflite::TensorType::INT32, "", BytesOf(values));
}

int32_t ModelWriter::AddHalves(const Shape& shape, const std::vector<uint16_t>& bits) {
  const int32_t narrow = AddTensor(shape, tflite::TensorType::FLOAT16, "", BytesOf(bits));
  const int32_t wide = AddTensor(shape);
  AddOperator(BuiltinOperator::DEQUANTIZE, {narrow}, wide);
  return wide;
}

int32_t ModelWriter::AddTensor(const Shape& shape, tflite::TensorType type, const std::string& name,
                               std::vector<uint8_t> data) {
  auto tensor = std::make_unique<tflite::TensorT>();
  tensor->shape = shape;
  tensor->type = type;
  tensor->name = name;
  if (!data.empty()) {
    tensor->buffer = static_cast<uint32_t>(model.buffers.size());
    model.buffers.push_back(std::make_unique<tflite::BufferT>());
    model.buffers.back()->data = std::move(data);
  }
  auto& tensors = model.subgraphs[0]->tensors;
  tensors.push_back(std::move(tensor));
  return static_cast<int32_t>(tensors.size()) - 1;
}

void ModelWriter::AddOperator(BuiltinOperator code, const std::vector<int32_t>& inputs, int32_t output) {
  auto operation = std::make_unique<tflite::OperatorT>();
  operation->opcode_index = static_cast<uint32_t>(model.operator_codes.size());
  operation->inputs = inputs;
  operation->outputs = {output};
  auto entry = std::make_unique<tflite::OperatorCodeT>();
  entry->builtin_code = code;
  model.operator_codes.push_back(std::move(entry));
  model.subgraphs[0]->operators.push_back(std::move(operation));
}

void ModelWriter::AddTransposeConvolution(const std::vector<int32_t>& inputs, int32_t output, int32_t padding,
                                          int32_t stride_width, int32_t stride_height) {
  AddOperator(BuiltinOperator::CUSTOM, inputs, output);
  model.operator_codes.back()->custom_code = "Convolution2DTransposeBias";
  model.subgraphs[0]->operators.back()->custom_options =
      BytesOf(std::vector<int32_t>{padding, stride_width, stride_height});
}

void ModelWriter::SetEnds(int32_t input, int32_t output) {
  model.subgraphs[0]->inputs = {input};
  model.subgraphs[0]->outputs = {output};
}

std::vector<uint8_t> ModelWriter::Bytes(const tflite::ModelT& model) {
  flatbuffers::FlatBufferBuilder builder;
  builder.Finish(tflite::Model::Pack(builder, &model), tflite::ModelIdentifier());
  return {builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()};
}

std::vector<float> RandomValues(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<float> values(count);
  for (float& value : values) value = static_cast<float>(random() % 20001) / 10000.0f - 1.0f;
  return values;
}

ModelWriter EveryOperatorModel(int32_t height, int32_t width) {
  ModelWriter writer;
  uint32_t seed = 1;
  const auto constant = [&](const ModelWriter::Shape& shape) {
    return writer.AddConstant(shape, RandomValues(Count(shape), seed++));
  };
  const ModelWriter::Shape half = {1, height / 2, width / 2, 4};
  const ModelWriter::Shape quarter = {1, height / 4, width / 4, 4};
  const ModelWriter::Shape pixel = {1, 1, 1, 4};

  const int32_t picture = writer.AddTensor({1, height, width, 3}, "picture");
  const int32_t stem = writer.AddTensor(half);
  tflite::Conv2DOptionsT by_two;
  by_two.stride_h = by_two.stride_w = 2;
  const int32_t bias = writer.AddHalves({4}, {0x3000, 0xB000, 0x0001, 0x8000});
  writer.AddOperator(BuiltinOperator::CONV_2D, {picture, constant({4, 3, 3, 3}), bias}, stem, by_two);
  const int32_t positive = writer.AddTensor(half);
  writer.AddOperator(BuiltinOperator::RELU, {stem}, positive);

  const int32_t small = writer.AddTensor(quarter);
  tflite::DepthwiseConv2DOptionsT depthwise;
  depthwise.stride_h = depthwise.stride_w = 2;
  depthwise.depth_multiplier = 1;
  writer.AddOperator(BuiltinOperator::DEPTHWISE_CONV_2D, {positive, constant({1, 3, 3, 4}), constant({4})}, small,
                     depthwise);
  const int32_t swished = writer.AddTensor(quarter);
  writer.AddOperator(BuiltinOperator::HARD_SWISH, {small}, swished);

  const int32_t pooled = writer.AddTensor(pixel);
  tflite::Pool2DOptionsT whole;
  whole.padding = tflite::Padding::VALID;
  whole.stride_h = whole.filter_height = height / 4;
  whole.stride_w = whole.filter_width = width / 4;
  writer.AddOperator(BuiltinOperator::AVERAGE_POOL_2D, {swished}, pooled, whole);
  const int32_t squeezed = writer.AddTensor(pixel);
  tflite::Conv2DOptionsT pointwise;
  pointwise.padding = tflite::Padding::VALID;
  pointwise.stride_h = pointwise.stride_w = 1;
  writer.AddOperator(BuiltinOperator::CONV_2D, {pooled, constant({4, 1, 1, 4}), -1}, squeezed, pointwise);
  const int32_t mean = writer.AddTensor(pixel);
  tflite::ReducerOptionsT keep;
  keep.keep_dims = true;
  writer.AddOperator(BuiltinOperator::MEAN, {swished, writer.AddIntegers({1, 2})}, mean, keep);
  const int32_t added = writer.AddTensor(pixel);
  writer.AddOperator(BuiltinOperator::ADD, {squeezed, mean}, added, tflite::AddOptionsT());
  const int32_t gate = writer.AddTensor(pixel);
  writer.AddOperator(BuiltinOperator::LOGISTIC, {added}, gate);
  const int32_t gated = writer.AddTensor(quarter);
  writer.AddOperator(BuiltinOperator::MUL, {swished, gate}, gated, tflite::MulOptionsT());

  const int32_t enlarged = writer.AddTensor(half);
  tflite::ResizeBilinearOptionsT centres;
  centres.half_pixel_centers = true;
  writer.AddOperator(BuiltinOperator::RESIZE_BILINEAR, {gated, writer.AddIntegers({height / 2, width / 2})}, enlarged,
                     centres);
  const int32_t logits = writer.AddTensor({1, height, width, 1});
  writer.AddTransposeConvolution({enlarged, constant({1, 2, 2, 4}), constant({1})}, logits, 1, 2, 2);
  const int32_t person = writer.AddTensor({1, height, width, 1}, "person");
  writer.AddOperator(BuiltinOperator::LOGISTIC, {logits}, person);
  writer.SetEnds(picture, person);
  return writer;
}

}  // namespace pexo::test
