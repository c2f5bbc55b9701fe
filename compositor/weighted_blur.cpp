// SPDX-License-Identifier: Apache-2.0
#include "weighted_blur.h"

#include <algorithm>
#include <cmath>

#include "blur_kernels.h"

namespace pexo::compositor {
namespace {

constexpr int kLargestBlock = 64;
constexpr int kRowsAtOnce = 4;
constexpr int kMaxRows = 16;  // that the column sums hold
// Minimum sigma, in blocks, that hides the block grid; an estimate, which is not looked at, needs less.
constexpr double kMinSigma = 2.5, kMinSigmaOfEstimate = 1.8;

}  // namespace

void WeightedBlur::Open(int width, int height, Weighting weighting, double sigma) {
  for (int i = 0; i < 2 && !columns_.empty(); ++i) {
    std::fill_n(columns_.Row(i), columns_.width(), uint16_t{0});
    std::fill_n(chroma_columns_.Row(i), chroma_columns_.width(), int16_t{0});
  }
  if (width == width_ && height == height_ && weighting == weighting_ && sigma == sigma_) return;
  width_ = 0;  // should memory run out
  weighting_ = weighting;
  ChooseScale(sigma);
  const int small_width = (width + block_ - 1) / block_, small_height = (height + block_ - 1) / block_;
  columns_.Resize(width, 2);
  chroma_columns_.Resize(width / 2, 2);
  scratch_.Resize(width, 1);
  for (Plane<float>& plane : sums_) plane.Resize(small_width, small_height);
  for (ColumnPass& pass : passes_) {
    pass.ring.Resize(4 * small_width, 2 * pass.radius + 2 + kRowsAtOnce);
    pass.sums.Resize(4 * small_width, 1);
  }
  zeros_.Resize(4 * small_width, 2);
  row_scratch_.Resize(4 * (PaddedWidth(small_width) + 2 * kBlurMargin), 2 * kRowsAtOnce);
  for (size_t i = 0; i < 3; ++i) {
    blurred_[i].Resize(small_width, small_height);
    const int divisor = i == 0 ? 1 : 2;
    const double ratio = static_cast<double>(block_) / divisor;
    enlarged_[i].Resize(small_width, small_height, width / divisor, height / divisor, {ratio, ratio});
  }
  width_ = width;
  height_ = height;
  sigma_ = sigma;
}

// The variances of the block means, of the enlarging and of the three box means add up to sigma's.
void WeightedBlur::ChooseScale(double sigma) {
  block_ = 2;
  const double least = IsEroded() ? kMinSigma : kMinSigmaOfEstimate;
  while (block_ < kLargestBlock && sigma >= least * 2 * block_) block_ *= 2;
  const double area = static_cast<double>(block_) * block_;
  const double wanted = (sigma * sigma - (area - 1) / 12 - area / 6) / area;
  const auto variance = [](int radius) { return radius * (radius + 1) / 3.0; };
  double reached = 0;
  int radius = 0;
  while (radius + 1 < kBlurMargin && kPasses * variance(radius + 1) <= wanted) ++radius;
  for (ColumnPass& pass : passes_) pass.radius = radius;
  reached = kPasses * variance(radius);
  const double step = variance(radius + 1) - variance(radius);
  for (int i = 0; i < kPasses && radius + 1 < kBlurMargin && reached + step / 2 <= wanted; ++i) {
    ++passes_[i].radius;
    reached += step;
  }
}

void WeightedBlur::AddRows(int pair, const uint8_t* const mask[2], const uint8_t* const luma[2],
                           const ChromaRow& chroma) {
  AddRowPair(width_, weighting_, mask, luma, chroma.u, chroma.v,
             {columns_.Row(0), columns_.Row(1), chroma_columns_.Row(0), chroma_columns_.Row(1)});
  const int rows = 2 * (pair + 1);
  if (rows % std::min(block_, kMaxRows) == 0 || rows == height_) {
    const int small_row = (rows - 1) / block_;
    Reduce(small_row, rows - small_row * block_);
  }
}

// `rows` of the block are in now.
void WeightedBlur::Reduce(int small_row, int rows) {
  if (rows <= kMaxRows) {
    for (Plane<float>& plane : sums_) std::fill_n(plane.Row(small_row), plane.width(), 0.0f);
  }
  // So that a block of whole weight has 1, and its pixels levels.
  const float weight_scale = 1 / (kWholeWeight * static_cast<float>(block_ * block_));
  const float luma_scale = weight_scale * kWholeWeight / kWeightedLevel;
  const float chroma_scale = 4 * luma_scale;  // a quarter of the samples
  ReduceColumns(width_, block_, weight_scale, columns_.Row(0), scratch_.Row(0), sums_[0].Row(small_row));
  ReduceColumns(width_, block_, luma_scale, columns_.Row(1), scratch_.Row(0), sums_[1].Row(small_row));
  for (int i = 0; i < 2; ++i) {
    ReduceColumns(width_ / 2, block_ / 2, chroma_scale, chroma_columns_.Row(i), scratch_.Row(0),
                  sums_[2 + i].Row(small_row));
  }
}

void WeightedBlur::Finish() {
  const int width = sums_[0].width(), height = sums_[0].height();
  for (int y = 0; IsEroded() && y < height; ++y) {
    float* row = sums_[0].Row(y);
    row[-1] = row[0];
    row[width] = row[width - 1];
  }
  for (ColumnPass& pass : passes_) {
    pass.count = 0;
    std::fill_n(pass.sums.Row(0), pass.sums.width(), 0.0f);
  }
  for (int y = 0; y < height; y += kRowsAtOnce) {
    BlurRows(y);
    for (int i = y; i < std::min(y + kRowsAtOnce, height); ++i) PushRow(0, false);
  }
  for (int pass = 0; pass < kPasses; ++pass) {
    for (int i = 0; i < passes_[pass].radius; ++i) PushRow(pass, true);
  }
  for (size_t i = 0; i < 3; ++i) enlarged_[i].Open(blurred_[i]);
}

// Rows from `first_row`, weighed and blurred along themselves, into the places of the first column pass.
void WeightedBlur::BlurRows(int first_row) {
  const int width = sums_[0].width(), last = sums_[0].height() - 1;
  float* rows[2][kRowsAtOnce];
  float* results[kRowsAtOnce];
  for (int i = 0; i < kRowsAtOnce; ++i) {
    const int y = std::min(first_row + i, last);
    for (int side = 0; side < 2; ++side) rows[side][i] = row_scratch_.Row(2 * i + side) + 4 * kBlurMargin;
    results[i] = passes_[0].Place(i);
    const float* above = IsEroded() ? sums_[0].Row(std::max(y - 1, 0)) : nullptr;
    const float* below = IsEroded() ? sums_[0].Row(std::min(y + 1, last)) : nullptr;
    WeighRow(width, above, sums_[0].Row(y), below, sums_[1].Row(y), sums_[2].Row(y), sums_[3].Row(y), rows[0][i]);
    // What whole vectors wrote past the row.
    std::fill_n(rows[0][i] + 4 * width, 4 * kBlurMargin, 0.0f);
  }
  BoxRows(width, passes_[0].radius, rows[0], rows[1]);
  BoxRows(width, passes_[1].radius, rows[1], rows[0]);
  BoxRows(width, passes_[2].radius, rows[0], results);
}

// Feeds one row (zeros below the last) into a pass and forwards the output row that it completes.
void WeightedBlur::PushRow(int index, bool is_outside) {
  ColumnPass& pass = passes_[index];
  const bool is_last = index + 1 == kPasses;
  const int leaving = pass.count - 2 * pass.radius - 1;
  const int finished = pass.count - pass.radius;
  float* out = is_last ? zeros_.Row(1) : passes_[index + 1].Place(0);
  SlideRow(pass.sums.width(), is_outside ? zeros_.Row(0) : pass.Place(0),
           leaving < 0 ? zeros_.Row(0) : pass.ring.Row(leaving % pass.ring.height()), pass.sums.Row(0), out);
  ++pass.count;
  if (finished < 0) return;
  if (is_last) {
    DivideRow(sums_[0].width(), out, blurred_[0].Row(finished), blurred_[1].Row(finished), blurred_[2].Row(finished));
  } else {
    PushRow(index + 1, false);
  }
}

}  // namespace pexo::compositor
