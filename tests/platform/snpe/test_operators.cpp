// Single operators against plain loops, from the bytes of a model to the executor's result.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include "engine/error.h"
#include "engine/graph_check.h"
#include "engine/half.h"
#include "engine/tflite_reader.h"
#include "engine/xnn_network.h"
#include "model_writer.h"

namespace pexo::test {
namespace {

using tflite::Activation;
using tflite::BuiltinOperator;

// One picture, height x width x channels.
struct Picture {
  int height, width, channels;
  std::vector<float> values;

  Picture(int h, int w, int c, std::vector<float> v = {}) : height(h), width(w), channels(c), values(std::move(v)) {
    values.resize(static_cast<size_t>(h * w * c));
  }
  float& At(int y, int x, int c) { return values[static_cast<size_t>((y * width + x) * channels + c)]; }
  float At(int y, int x, int c) const { return const_cast<Picture*>(this)->At(y, x, c); }
  ModelWriter::Shape Shape() const { return {1, height, width, channels}; }
};

Picture RandomPicture(int height, int width, int channels, uint32_t seed) {
  return {height, width, channels, RandomValues(static_cast<size_t>(height * width * channels), seed)};
}

Picture RunModel(const std::vector<uint8_t>& model, const Picture& input, int threads = 1) {
  engine::Graph graph = engine::ReadTflite(model);
  engine::CheckGraph(graph);
  engine::FoldClamps(graph);
  engine::XnnNetwork network(std::move(graph), threads);
  std::copy(input.values.begin(), input.values.end(), network.Input().begin());
  network.Invoke();
  const engine::Shape& shape = network.OutputShape();
  return {static_cast<int>(shape[1]), static_cast<int>(shape[2]), static_cast<int>(shape[3]),
          std::vector<float>(network.Output().begin(), network.Output().end())};
}

void ExpectNear(const Picture& actual, const Picture& expected) {
  ASSERT_EQ(actual.Shape(), expected.Shape());
  for (size_t i = 0; i < expected.values.size(); ++i) {
    ASSERT_NEAR(actual.values[i], expected.values[i], 2e-5) << "element " << i;
  }
}

struct Window {
  int kernel_height, kernel_width, stride_height, stride_width;
  bool same;
};

// The result's size along one axis, and the padding before it: what "same" lacks, its smaller half in front.
std::pair<int, int> SizeAndPadding(int size, int kernel, int stride, bool same) {
  if (!same) return {(size - kernel) / stride + 1, 0};
  const int result = (size + stride - 1) / stride;
  return {result, std::max((result - 1) * stride + kernel - size, 0) / 2};
}

// filter(out, y, x, in) and bias(out); depthwise where a result channel reads its own input channel only.
Picture Convolve(const Picture& input, const Window& window, int channels, bool depthwise,
                 const std::function<float(int, int, int, int)>& filter, const std::function<float(int)>& bias) {
  const auto [height, top] = SizeAndPadding(input.height, window.kernel_height, window.stride_height, window.same);
  const auto [width, left] = SizeAndPadding(input.width, window.kernel_width, window.stride_width, window.same);
  Picture result(height, width, channels);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int out = 0; out < channels; ++out) {
        double sum = bias(out);
        for (int ky = 0; ky < window.kernel_height; ++ky) {
          for (int kx = 0; kx < window.kernel_width; ++kx) {
            const int iy = y * window.stride_height + ky - top;
            const int ix = x * window.stride_width + kx - left;
            if (iy < 0 || iy >= input.height || ix < 0 || ix >= input.width) continue;
            for (int in = depthwise ? out : 0; in < (depthwise ? out + 1 : input.channels); ++in) {
              sum += input.At(iy, ix, in) * filter(out, ky, kx, in);
            }
          }
        }
        result.At(y, x, out) = static_cast<float>(sum);
      }
    }
  }
  return result;
}

Picture ForEach(Picture picture, const std::function<float(float)>& function) {
  for (float& value : picture.values) value = function(value);
  return picture;
}

// Sizes that make "same" padding lopsided in both directions, and windows as tall as wide and not.
constexpr Window kWindows[] = {{1, 1, 1, 1, true},  {3, 3, 1, 1, true},  {3, 3, 2, 2, true},
                               {5, 5, 2, 2, true},  {5, 3, 1, 2, true},  {3, 3, 2, 2, false},
                               {2, 4, 3, 1, false}, {5, 5, 1, 1, false}, {7, 7, 1, 1, true}};
constexpr std::pair<int, int> kSizes[] = {{8, 8}, {7, 10}, {9, 5}};

TEST(Operators, ConvolutionsForEveryWindow) {
  for (const bool depthwise : {false, true}) {
    for (const bool with_bias : {false, true}) {
      for (const Window& window : kWindows) {
        for (const auto& [height, width] : kSizes) {
          SCOPED_TRACE(testing::Message()
                       << (depthwise ? "depthwise " : "full ") << window.kernel_height << "x" << window.kernel_width
                       << " same " << window.same << " on " << height << "x" << width);
          const int in = 3;
          const int out = depthwise ? in : 5;
          const Picture input = RandomPicture(height, width, in, 7);
          const int kh = window.kernel_height, kw = window.kernel_width;
          const int depth = depthwise ? 1 : in;
          const std::vector<float> weights = RandomValues(static_cast<size_t>(out * kh * kw * depth), 8);
          const std::vector<float> biases = RandomValues(static_cast<size_t>(out), 9);
          const Picture expected = Convolve(
              input, window, out, depthwise,
              [&](int o, int y, int x, int i) {
                const int at = depthwise ? (y * kw + x) * out + o : ((o * kh + y) * kw + x) * in + i;
                return weights[static_cast<size_t>(at)];
              },
              [&](int o) { return with_bias ? biases[static_cast<size_t>(o)] : 0.0f; });

          ModelWriter writer;
          const int32_t source = writer.AddTensor(input.Shape());
          const int32_t result = writer.AddTensor(expected.Shape());
          const int32_t bias = with_bias ? writer.AddConstant({out}, biases) : -1;
          const auto padding = window.same ? tflite::Padding::SAME : tflite::Padding::VALID;
          if (depthwise) {
            tflite::DepthwiseConv2DOptionsT options;
            options.padding = padding;
            options.stride_h = window.stride_height;
            options.stride_w = window.stride_width;
            options.depth_multiplier = 1;
            writer.AddOperator(BuiltinOperator::DEPTHWISE_CONV_2D,
                               {source, writer.AddConstant({1, kh, kw, out}, weights), bias}, result, options);
          } else {
            tflite::Conv2DOptionsT options;
            options.padding = padding;
            options.stride_h = window.stride_height;
            options.stride_w = window.stride_width;
            writer.AddOperator(BuiltinOperator::CONV_2D, {source, writer.AddConstant({out, kh, kw, in}, weights), bias},
                               result, options);
          }
          writer.SetEnds(source, result);
          ExpectNear(RunModel(writer.Bytes(), input), expected);
        }
      }
    }
  }
}

TEST(Operators, TransposeConvolutionFillsBlocks) {
  for (const auto& [stride_height, stride_width] : {std::pair(2, 2), std::pair(2, 3), std::pair(1, 4)}) {
    const Picture input = RandomPicture(5, 7, 16, 3);
    const int out = 2;
    const ModelWriter::Shape shape = {out, stride_height, stride_width, 16};
    const std::vector<float> weights = RandomValues(static_cast<size_t>(out * stride_height * stride_width * 16), 4);
    Picture expected(5 * stride_height, 7 * stride_width, out);
    for (int y = 0; y < expected.height; ++y) {
      for (int x = 0; x < expected.width; ++x) {
        for (int o = 0; o < out; ++o) {
          float sum = o == 0 ? 0.5f : -0.25f;
          for (int i = 0; i < 16; ++i) {
            const int at = ((o * stride_height + y % stride_height) * stride_width + x % stride_width) * 16 + i;
            sum += input.At(y / stride_height, x / stride_width, i) * weights[static_cast<size_t>(at)];
          }
          expected.At(y, x, o) = sum;
        }
      }
    }
    ModelWriter writer;
    const int32_t source = writer.AddTensor(input.Shape());
    const int32_t result = writer.AddTensor(expected.Shape());
    writer.AddTransposeConvolution(
        {source, writer.AddConstant(shape, weights), writer.AddConstant({out}, {0.5f, -0.25f})}, result, 1,
        stride_width, stride_height);
    writer.SetEnds(source, result);
    ExpectNear(RunModel(writer.Bytes(), input), expected);
  }
}

// A pixel of the result stands for the same place of the picture as its centre does; beyond the edge, the edge.
Picture Resize(const Picture& input, int height, int width) {
  Picture result(height, width, input.channels);
  const auto place = [](int at, int to, int from) {
    const double exact = std::clamp((at + 0.5) * from / to - 0.5, 0.0, from - 1.0);
    const int low = static_cast<int>(exact);
    return std::tuple(low, std::min(low + 1, from - 1), static_cast<float>(exact - low));
  };
  for (int y = 0; y < height; ++y) {
    const auto [y0, y1, fy] = place(y, height, input.height);
    for (int x = 0; x < width; ++x) {
      const auto [x0, x1, fx] = place(x, width, input.width);
      for (int c = 0; c < input.channels; ++c) {
        const float top = input.At(y0, x0, c) * (1 - fx) + input.At(y0, x1, c) * fx;
        const float bottom = input.At(y1, x0, c) * (1 - fx) + input.At(y1, x1, c) * fx;
        result.At(y, x, c) = top * (1 - fy) + bottom * fy;
      }
    }
  }
  return result;
}

// Operators of one computed input, each with what it should do to it.
TEST(Operators, OfOnePicture) {
  const Picture input = ForEach(RandomPicture(6, 5, 3, 11), [](float x) { return 8 * x; });
  const std::vector<float> row = {0.5f, -1.0f, 2.0f};
  Picture mean(1, 1, 3);
  for (int c = 0; c < 3; ++c) {
    for (int i = 0; i < 30; ++i) mean.At(0, 0, c) += input.At(i / 5, i % 5, c) / 30.0f;
  }
  Picture scaled = input, shifted = input;
  for (size_t i = 0; i < input.values.size(); ++i) {
    scaled.values[i] = std::min(std::max(scaled.values[i] * row[i % 3], 0.0f), 6.0f);
    shifted.values[i] = std::min(std::max(shifted.values[i] + row[i % 3], -1.0f), 1.0f);
  }
  tflite::MulOptionsT to_six;
  to_six.activation = Activation::RELU6;
  tflite::AddOptionsT to_one;
  to_one.activation = Activation::RELU_N1_TO_1;
  tflite::Pool2DOptionsT pool;
  pool.stride_h = pool.filter_height = 6;
  pool.stride_w = pool.filter_width = 5;
  tflite::ReducerOptionsT keep;
  keep.keep_dims = true;
  tflite::ResizeBilinearOptionsT centres;
  centres.half_pixel_centers = true;

  using Add = std::function<void(ModelWriter&, int32_t source, int32_t result)>;
  const auto plain = [](BuiltinOperator code) {
    return [code](ModelWriter& writer, int32_t source, int32_t result) { writer.AddOperator(code, {source}, result); };
  };
  const auto resize = [&](int height, int width) {
    return [=](ModelWriter& writer, int32_t source, int32_t result) {
      writer.AddOperator(BuiltinOperator::RESIZE_BILINEAR, {source, writer.AddIntegers({height, width})}, result,
                         centres);
    };
  };
  const struct {
    const char* name;
    Add add;
    Picture expected;
  } cases[] = {
      {"relu", plain(BuiltinOperator::RELU), ForEach(input, [](float x) { return std::max(x, 0.0f); })},
      {"hard swish", plain(BuiltinOperator::HARD_SWISH),
       ForEach(input, [](float x) { return x * std::clamp(x + 3.0f, 0.0f, 6.0f) / 6.0f; })},
      {"logistic", plain(BuiltinOperator::LOGISTIC), ForEach(input, [](float x) { return 1 / (1 + std::exp(-x)); })},
      {"average pool",
       [&](ModelWriter& w, int32_t s, int32_t r) { w.AddOperator(BuiltinOperator::AVERAGE_POOL_2D, {s}, r, pool); },
       mean},
      {"mean",
       [&](ModelWriter& w, int32_t s, int32_t r) {
         w.AddOperator(BuiltinOperator::MEAN, {s, w.AddIntegers({-2, 1})}, r, keep);
       },
       mean},
      {"multiply by a row, to 6",
       [&](ModelWriter& w, int32_t s, int32_t r) {
         w.AddOperator(BuiltinOperator::MUL, {s, w.AddConstant({1, 1, 1, 3}, row)}, r, to_six);
       },
       scaled},
      {"add to a row of lower rank, to 1",
       [&](ModelWriter& w, int32_t s, int32_t r) {
         w.AddOperator(BuiltinOperator::ADD, {w.AddConstant({3}, row), s}, r, to_one);
       },
       shifted},
      {"square",
       [&](ModelWriter& w, int32_t s, int32_t r) {
         w.AddOperator(BuiltinOperator::MUL, {s, s}, r, tflite::MulOptionsT());
       },
       ForEach(input, [](float x) { return x * x; })},
      {"twice as large", resize(12, 10), Resize(input, 12, 10)},
      {"taller and narrower", resize(11, 3), Resize(input, 11, 3)},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    ModelWriter writer;
    const int32_t source = writer.AddTensor(input.Shape());
    const int32_t result = writer.AddTensor(test.expected.Shape());
    test.add(writer, source, result);
    writer.SetEnds(source, result);
    ExpectNear(RunModel(writer.Bytes(), input), test.expected);
  }
}

// The folding of clamps changes how a network is built, never what it computes.
TEST(Operators, FoldedClampsChangeNoResult) {
  const std::vector<uint8_t> model = EveryOperatorModel().Bytes();
  const Picture input = RandomPicture(8, 12, 3, 5);
  engine::Graph graph = engine::ReadTflite(model);
  const size_t nodes = graph.nodes.size();
  engine::Graph folded = graph;
  engine::FoldClamps(folded);
  EXPECT_EQ(folded.nodes.size(), nodes - 1);
  engine::CheckGraph(folded);
  engine::XnnNetwork plain(std::move(graph), 1);
  std::copy(input.values.begin(), input.values.end(), plain.Input().begin());
  plain.Invoke();
  ExpectNear(RunModel(model, input), {8, 12, 1, {plain.Output().begin(), plain.Output().end()}});
  EXPECT_EQ(RunModel(model, input, 2).values, RunModel(model, input, 1).values);
}

TEST(Operators, ClampStaysWhereTheSumIsReadTwice) {
  ModelWriter writer;
  const int32_t source = writer.AddTensor({1, 2, 2, 1});
  const int32_t sum = writer.AddTensor({1, 2, 2, 1});
  const int32_t positive = writer.AddTensor({1, 2, 2, 1});
  const int32_t both = writer.AddTensor({1, 2, 2, 1});
  tflite::Conv2DOptionsT options;
  options.stride_h = options.stride_w = 1;
  writer.AddOperator(BuiltinOperator::CONV_2D, {source, writer.AddConstant({1, 1, 1, 1}, {-2.0f}), -1}, sum, options);
  writer.AddOperator(BuiltinOperator::RELU, {sum}, positive);
  writer.AddOperator(BuiltinOperator::ADD, {sum, positive}, both, tflite::AddOptionsT());
  writer.SetEnds(source, both);
  ExpectNear(RunModel(writer.Bytes(), {2, 2, 1, {-1, 0, 1, 2}}), {2, 2, 1, {4, 0, -2, -4}});
}

TEST(Half, EveryValueIsExact) {
  for (uint32_t bits = 0; bits < 0x10000; ++bits) {
    const int exponent = static_cast<int>(bits >> 10 & 31);
    const double fraction = (bits & 1023) / 1024.0;
    const double magnitude = exponent == 0 ? std::ldexp(fraction, -14) : std::ldexp(1.0 + fraction, exponent - 15);
    const float value = engine::HalfToFloat(static_cast<uint16_t>(bits));
    ASSERT_EQ(std::signbit(value), bits >= 0x8000) << bits;
    if (exponent == 31) {
      ASSERT_TRUE(fraction == 0.0 ? std::isinf(value) : std::isnan(value)) << bits;
    } else {
      ASSERT_EQ(std::abs(value), magnitude) << bits;
    }
  }
}

}  // namespace
}  // namespace pexo::test
