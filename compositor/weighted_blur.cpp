#include "weighted_blur.h"

#include <algorithm>
#include <cmath>

#include "blur_kernels.h"

namespace pexo::compositor {
namespace {

constexpr int kLargestBlock = 64;
constexpr int kRowsAtOnce = 4;
constexpr int kMostRows = 16;           // that the column sums hold
constexpr double kSmallestSigma = 2.5;  // in blocks, so that the blocks do not show

}  // namespace

void WeightedBlur::Open(int width, int height, Weighting weighting, double sigma, bool is_eroded) {
  weighting_ = weighting;
  is_eroded_ = is_eroded;
  for (int i = 0; i < 2 && !columns_.empty(); ++i) {
    std::fill_n(columns_.Row(i), columns_.width(), uint16_t{0});
    std::fill_n(chroma_columns_.Row(i), chroma_columns_.width(), int16_t{0});
  }
  if (width == width_ && height == height_ && sigma == sigma_) return;
  width_ = width;
  height_ = height;
  sigma_ = sigma;
  ChooseScale(sigma);
  const int small_width = (width + block_ - 1) / block_, small_height = (height + block_ - 1) / block_;
  columns_.Resize(width, 2);
  chroma_columns_.Resize(width / 2, 2);
  scratch_.Resize(width, 1);
  for (Plane<float>& plane : sums_) plane.Resize(small_width, small_height);
  for (Plane<float>& plane : pixels_) plane.Resize(4 * small_width, small_height);
  row_scratch_.Resize(4 * (PaddedWidth(small_width) + 2 * kBlurMargin), 2 * kRowsAtOnce);
  column_sums_.resize(static_cast<size_t>(2 * PaddedWidth(4 * small_width)));
  for (size_t i = 0; i < 3; ++i) {
    blurred_[i].Resize(small_width, small_height);
    const int divisor = i == 0 ? 1 : 2;
    const double ratio = static_cast<double>(block_) / divisor;
    enlarged_[i].Resize(small_width, small_height, width / divisor, height / divisor, {ratio, ratio});
  }
}

// The variances of the block means, of the enlarging and of the three box means add up to sigma's.
void WeightedBlur::ChooseScale(double sigma) {
  block_ = 2;
  while (block_ < kLargestBlock && sigma >= kSmallestSigma * 2 * block_) block_ *= 2;
  const double area = static_cast<double>(block_) * block_;
  const double wanted = (sigma * sigma - (area - 1) / 12 - area / 6) / area;
  const auto variance = [](int radius) { return radius * (radius + 1) / 3.0; };
  double reached = 0;
  int radius = 0;
  while (radius + 1 < kBlurMargin && kPasses * variance(radius + 1) <= wanted) ++radius;
  for (int& each : radius_) each = radius;
  reached = kPasses * variance(radius);
  const double step = variance(radius + 1) - variance(radius);
  for (int i = 0; i < kPasses && radius + 1 < kBlurMargin && reached + step / 2 <= wanted; ++i) {
    ++radius_[i];
    reached += step;
  }
}

void WeightedBlur::AddRows(int pair, const uint8_t* const mask[2], const uint8_t* const luma[2],
                           const ChromaRow& chroma) {
  AddRowPair(width_, weighting_, mask, luma, chroma.u, chroma.v,
             {columns_.Row(0), columns_.Row(1), chroma_columns_.Row(0), chroma_columns_.Row(1)});
  const int rows = 2 * (pair + 1);
  if (rows % std::min(block_, kMostRows) == 0 || rows == height_) {
    const int small_row = (rows - 1) / block_;
    Reduce(small_row, rows - small_row * block_);
  }
}

// `rows` of the block are in now.
void WeightedBlur::Reduce(int small_row, int rows) {
  if (rows <= kMostRows) {
    for (Plane<float>& plane : sums_) std::fill_n(plane.Row(small_row), plane.width(), 0.0f);
  }
  // So that a weight of 1 everywhere gives 1, and weighted pixels are levels.
  const float area = static_cast<float>(block_ * block_);
  const float weight_scale = 1 / (4088 * area);
  ReduceColumns(width_, block_, weight_scale, columns_.Row(0), scratch_.Row(0), sums_[0].Row(small_row));
  ReduceColumns(width_, block_, weight_scale * 256, columns_.Row(1), scratch_.Row(0), sums_[1].Row(small_row));
  for (int i = 0; i < 2; ++i) {
    ReduceColumns(width_ / 2, block_ / 2, weight_scale * 1024, chroma_columns_.Row(i), scratch_.Row(0),
                  sums_[2 + i].Row(small_row));
  }
}

// Blocks that the frame fills in part count as if they were full: only then can weights be compared.
void WeightedBlur::EvenOutBorders() {
  const int small_width = sums_[0].width(), small_height = sums_[0].height();
  const float right = static_cast<float>(block_) / static_cast<float>(width_ - (small_width - 1) * block_);
  const float bottom = static_cast<float>(block_) / static_cast<float>(height_ - (small_height - 1) * block_);
  for (Plane<float>& plane : sums_) {
    for (int y = 0; y < small_height; ++y) plane.Row(y)[small_width - 1] *= right;
    for (int x = 0; x < small_width; ++x) plane.Row(small_height - 1)[x] *= bottom;
  }
}

void WeightedBlur::Finish() {
  EvenOutBorders();
  if (is_eroded_) {
    for (int y = 0; y < sums_[0].height(); ++y) {
      float* row = sums_[0].Row(y);
      row[-1] = row[0];
      row[sums_[0].width()] = row[sums_[0].width() - 1];
    }
  }
  for (int y = 0; y < sums_[0].height(); y += kRowsAtOnce) BlurRows(y);
  BlurColumns();
  Divide();
}

// Rows from `first_row`, weighed and blurred along themselves, into pixels_[0].
void WeightedBlur::BlurRows(int first_row) {
  const int width = sums_[0].width(), last = sums_[0].height() - 1;
  float* rows[2][kRowsAtOnce];
  float* results[kRowsAtOnce];
  for (int i = 0; i < kRowsAtOnce; ++i) {
    const int y = std::min(first_row + i, last);
    for (int side = 0; side < 2; ++side) rows[side][i] = row_scratch_.Row(2 * i + side) + 4 * kBlurMargin;
    results[i] = pixels_[0].Row(y);
    const float* above = is_eroded_ ? sums_[0].Row(std::max(y - 1, 0)) : nullptr;
    const float* below = is_eroded_ ? sums_[0].Row(std::min(y + 1, last)) : nullptr;
    WeighRow(width, above, sums_[0].Row(y), below, sums_[1].Row(y), sums_[2].Row(y), sums_[3].Row(y), rows[0][i]);
    // What whole vectors wrote past the row.
    std::fill_n(rows[0][i] + 4 * width, 4 * kBlurMargin, 0.0f);
  }
  BoxRows(width, radius_[0], rows[0], rows[1]);
  BoxRows(width, radius_[1], rows[1], rows[0]);
  BoxRows(width, radius_[2], rows[0], results);
}

void WeightedBlur::BlurColumns() {
  const int count = pixels_[0].width(), height = pixels_[0].height();
  float* sums = column_sums_.data();
  float* zeros = sums + PaddedWidth(count);  // stands for the rows outside
  for (int pass = 0; pass < kPasses; ++pass) {
    Plane<float>& in = pixels_[pass % 2];
    Plane<float>& out = pixels_[1 - pass % 2];
    const auto row = [&](int y) { return y >= 0 && y < height ? in.Row(y) : zeros; };
    const int radius = radius_[pass];
    std::fill(column_sums_.begin(), column_sums_.end(), 0.0f);
    for (int y = -radius; y < height; ++y) {
      SlideRow(count, row(y + radius), row(y - radius - 1), sums, y < 0 ? out.Row(0) : out.Row(y));
    }
  }
}

void WeightedBlur::Divide() {
  const Plane<float>& blurred = pixels_[kPasses % 2];
  for (int y = 0; y < blurred.height(); ++y) {
    DivideRow(sums_[0].width(), blurred.Row(y), blurred_[0].Row(y), blurred_[1].Row(y), blurred_[2].Row(y));
  }
  for (size_t i = 0; i < 3; ++i) enlarged_[i].Open(blurred_[i]);
}

}  // namespace pexo::compositor
