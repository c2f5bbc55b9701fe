// Small TensorFlow Lite models, made on the spot.
#ifndef PEXO_TESTS_MODEL_WRITER_H_
#define PEXO_TESTS_MODEL_WRITER_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tflite_generated.h"

namespace pexo::test {

class ModelWriter {
 public:
  using Shape = std::vector<int32_t>;

  ModelWriter();

  // Each returns the index of the new tensor.
  int32_t AddTensor(const Shape& shape, const std::string& name = "");
  int32_t AddConstant(const Shape& shape, const std::vector<float>& values);
  int32_t AddIntegers(const std::vector<int32_t>& values);
  // 16-bit floats, by their bits, and the operator that widens them: the index of the widened tensor.
  int32_t AddHalves(const Shape& shape, const std::vector<uint16_t>& bits);

  template <typename Options>
  void AddOperator(tflite::BuiltinOperator code, const std::vector<int32_t>& inputs, int32_t output, Options options) {
    AddOperator(code, inputs, output);
    model.subgraphs[0]->operators.back()->builtin_options.Set(std::move(options));
  }
  void AddOperator(tflite::BuiltinOperator code, const std::vector<int32_t>& inputs, int32_t output);
  void AddTransposeConvolution(const std::vector<int32_t>& inputs, int32_t output, int32_t padding,
                               int32_t stride_width, int32_t stride_height);

  void SetEnds(int32_t input, int32_t output);
  std::vector<uint8_t> Bytes() const { return Bytes(model); }
  static std::vector<uint8_t> Bytes(const tflite::ModelT& model);

  tflite::ModelT model;

 private:
  int32_t AddTensor(const Shape& shape, tflite::TensorType type, const std::string& name, std::vector<uint8_t> data);
};

// Pseudo-random values in -1..1, the same for the same seed.
std::vector<float> RandomValues(size_t count, uint32_t seed);

// A model [1, height, width, 3] -> [1, height, width, 1] with every operator the engine knows and a logistic function
// at its end, called "picture" and "person". Height and width are multiples of 4.
ModelWriter EveryOperatorModel(int32_t height = 8, int32_t width = 12);

}  // namespace pexo::test

#endif  // PEXO_TESTS_MODEL_WRITER_H_
