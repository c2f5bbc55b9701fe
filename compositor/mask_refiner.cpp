// SPDX-License-Identifier: Apache-2.0
#include "mask_refiner.h"

#include <algorithm>
#include <cmath>

namespace pexo::compositor {
namespace {

constexpr float kQ11 = 2048;
constexpr int kKeptTerms = 3;

void Quantise(const Plane<float>& source, float scale, Plane<int16_t>& out) {
  out.Resize(source.width(), source.height());
  for (int y = 0; y < source.height(); ++y) {
    const float* row = source.Row(y);
    int16_t* to = out.Row(y);
    for (int x = 0; x < source.width(); ++x) {
      const float value = std::max(-32000.0f, std::min(32000.0f, row[x] * scale));
      to[x] = static_cast<int16_t>(static_cast<int>(value + 32768.5f) - 32768);
    }
  }
}

}  // namespace

void MaskRefiner::Open(const ConstFrame& frame, const Guide& guide, const Plane<uint8_t>& mask, Edges edges) {
  frame_ = frame;
  edges_ = edges;
  if (edges == Edges::kModel) return OpenEnlarged(mask);

  HalveMask(mask, coarse_);
  filter_.Fit(guide, coarse_, model_);
  // The row kernels take levels as (level - 128) / 128.
  const bool full = frame.range == Range::kFull;
  const float luma_scale = kQ11 * 128 / (full ? 255.0f : 219.0f);
  const float chroma_scale = kQ11 * 128 / (full ? 255.0f : 224.0f);
  Quantise(model_.a_y, luma_scale, coefficients_[0]);
  Quantise(model_.a_u, chroma_scale, coefficients_[1]);
  Quantise(model_.a_v, chroma_scale, coefficients_[2]);
  Quantise(model_.b, kQ11, coefficients_[3]);

  const int width = frame.width, height = frame.height;
  for (int i = 0; i < 4; ++i) {
    const int divisor = i == 0 ? 1 : 2;
    const int w = width / divisor, h = height / divisor;
    enlargers_[i].Resize(coarse_.width(), coarse_.height(), w, h,
                         {static_cast<double>(w) / coarse_.width(), static_cast<double>(h) / coarse_.height()});
    enlargers_[i].Open(coefficients_[i]);
  }
  reader_.Open(frame);
  term_.Resize(width / 2, 1);
  terms_.Resize(width, kKeptTerms);
  ChromaTerm(0);
}

void MaskRefiner::OpenEnlarged(const Plane<uint8_t>& mask) {
  coefficients_[0].Resize(mask.width(), mask.height());
  for (int y = 0; y < mask.height(); ++y) {
    std::transform(mask.Row(y), mask.Row(y) + mask.width(), coefficients_[0].Row(y),
                   [](uint8_t level) { return static_cast<int16_t>(level << 7); });
  }
  enlargers_[0].Resize(
      mask.width(), mask.height(), frame_.width, frame_.height,
      {static_cast<double>(frame_.width) / mask.width(), static_cast<double>(frame_.height) / mask.height()});
  enlargers_[0].Open(coefficients_[0]);
}

const int16_t* MaskRefiner::ChromaTerm(int row) {
  int16_t* out = terms_.Row(row % kKeptTerms);
  const ChromaRow chroma = reader_.Chroma(row, 0);
  int16_t* term = term_.Row(0);
  const int width = frame_.width / 2;
  ChromaTermRow(width, enlargers_[1].Row(row), enlargers_[2].Row(row), enlargers_[3].Row(row), chroma.u, chroma.v,
                term);
  term[-1] = term[0];
  term[width] = term[width - 1];
  DoubleRow(width, term, out);
  return out;
}

void MaskRefiner::RowPair(int pair, uint8_t* upper, uint8_t* lower) {
  uint8_t* const out[] = {upper, lower};
  if (edges_ == Edges::kModel) {
    for (int i = 0; i < 2; ++i) LerpToBytes(frame_.width, enlargers_[0].Row(2 * pair + i), out[i]);
    return;
  }
  const int last = frame_.height / 2 - 1;
  const int16_t* here = terms_.Row(pair % kKeptTerms);
  const int16_t* above = pair > 0 ? terms_.Row((pair - 1) % kKeptTerms) : here;
  const int16_t* below = pair < last ? ChromaTerm(pair + 1) : here;
  for (int i = 0; i < 2; ++i) {
    const int y = 2 * pair + i;
    RefineRow(frame_.width, enlargers_[0].Row(y), here, i == 0 ? above : below, reader_.Luma(y, i), out[i]);
  }
}

}  // namespace pexo::compositor
