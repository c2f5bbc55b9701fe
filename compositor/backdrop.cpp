// SPDX-License-Identifier: Apache-2.0
#include "backdrop.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace pexo::compositor {
namespace {

constexpr double kForegroundSigma = 2.0 / 256;  // of the longer side

template <typename... Visitors>
struct Overloaded : Visitors... {
  using Visitors::operator()...;
};
template <typename... Visitors>
Overloaded(Visitors...) -> Overloaded<Visitors...>;

ConstFrame ViewOf(const PlanarPicture& picture) {
  return {picture.y.width(),
          picture.y.height(),
          Layout::kI420,
          picture.range,
          picture.matrix,
          {picture.y.Row(0), picture.u.Row(0), picture.v.Row(0)},
          {picture.y.stride(), picture.u.stride(), picture.v.stride()}};
}

}  // namespace

void Backdrop::Set(const Background& background) {
  std::visit(Overloaded{[this](const Blur& blur) {
                          if (!(blur.strength >= 1 && blur.strength <= 100)) {
                            throw std::invalid_argument("the blur's strength must be 1 to 100");
                          }
                          kind_ = Kind::kBlur;
                          strength_ = blur.strength;
                        },
                        [this](const Grey&) { kind_ = Kind::kGrey; },
                        [this](const Colour& colour) {
                          kind_ = Kind::kReplace;
                          has_picture_ = false;
                          colour_ = colour;
                        },
                        [this](const Picture& picture) {
                          CheckFrame(picture.frame);
                          kind_ = Kind::kGrey;  // should memory run out
                          picture_.Resize(picture.frame.width, picture.frame.height);
                          scaler_.Scale(picture.frame, picture_);
                          kind_ = Kind::kReplace;
                          has_picture_ = true;
                          is_covered_ = false;
                        },
                        [this](const Transparent&) { kind_ = Kind::kTransparent; }},
             background);
}

void Backdrop::Open(const ConstFrame& frame, int rotation) {
  const int width = frame.width, height = frame.height;
  chroma_mask_.Resize(width / 2, 1);
  cleaned_.Resize(width, 1);
  if (kind_ == Kind::kBlur) {
    blur_.Open(width, height, Weighting::kSurelyBackground, strength_ / 1000 * (rotation % 180 == 0 ? height : width));
  }
  if (EstimatesForeground()) {
    const double sigma = kForegroundSigma * std::max(width, height);
    foreground_.Open(width, height, Weighting::kForeground, sigma);
    background_.Open(width, height, Weighting::kBackground, sigma);
  }
  if (kind_ == Kind::kGrey) FillFlatRows(frame, {128, 128, 128});
  if (kind_ == Kind::kReplace && has_picture_) CoverFrame(frame, rotation);
  if (kind_ == Kind::kReplace && !has_picture_) {
    FillFlatRows(frame, YuvFromRgb(colour_.red, colour_.green, colour_.blue, frame.range, frame.matrix));
  }
  if (kind_ == Kind::kTransparent) {
    rim_.Open(width, height);
    beyond_ = YuvFromRgb(0, 0, 0, frame.range, frame.matrix);
  }
}

void Backdrop::FillFlatRows(const ConstFrame& frame, YuvColour colour) {
  const uint8_t levels[] = {colour.y, colour.u, colour.v};
  for (int i = 0; i < 3; ++i) {
    flat_[i].Resize(i == 0 ? frame.width : frame.width / 2, 1);
    std::fill_n(flat_[i].Row(0), flat_[i].width(), levels[i]);
  }
}

void Backdrop::CoverFrame(const ConstFrame& frame, int rotation) {
  if (is_covered_ && covering_.y.width() == frame.width && covering_.y.height() == frame.height &&
      covering_.range == frame.range && covering_.matrix == frame.matrix) {
    return;
  }
  const bool quarter = rotation % 180 != 0;
  const int width = quarter ? frame.height : frame.width, height = quarter ? frame.width : frame.height;
  PlanarPicture& upright = rotation == 0 ? covering_ : upright_;
  is_covered_ = false;
  upright.Resize(width, height);
  const ConstFrame picture = ViewOf(picture_);
  scaler_.Scale(picture, CoveringPart(picture.width, picture.height, width, height), upright);
  ConvertColour(upright, frame.range, frame.matrix);
  if (rotation != 0) {
    covering_.Resize(frame.width, frame.height);
    for (const auto plane : {&PlanarPicture::y, &PlanarPicture::u, &PlanarPicture::v}) {
      Turn(upright.*plane, 360 - rotation, covering_.*plane);
    }
    covering_.range = frame.range;
    covering_.matrix = frame.matrix;
  }
  is_covered_ = true;
}

void Backdrop::AddRows(const RowPair& rows) {
  if (kind_ == Kind::kBlur) blur_.AddRows(rows.index, rows.mask, rows.luma, rows.chroma);
  if (EstimatesForeground()) {
    foreground_.AddRows(rows.index, rows.mask, rows.luma, rows.chroma);
    background_.AddRows(rows.index, rows.mask, rows.luma, rows.chroma);
  }
  if (kind_ == Kind::kTransparent) rim_.AddRows(rows.index, rows.mask);
}

void Backdrop::Finish() {
  if (kind_ == Kind::kBlur) blur_.Finish();
  if (EstimatesForeground()) {
    foreground_.Finish();
    background_.Finish();
  }
}

void Backdrop::Compose(const RowPair& rows, RowWriter& out) {
  const int width = cleaned_.width(), chroma_width = chroma_mask_.width();
  if (kind_ == Kind::kTransparent) rim_.Select(rows.index);
  for (int i = 0; i < 2; ++i) {
    const int y = 2 * rows.index + i;
    ComposePlane(0, y, width, rows.luma[i], rows.mask[i], out.Luma(y));
    out.PutLuma(y);
  }
  uint8_t* mask = chroma_mask_.Row(0);
  ChromaMaskRow(chroma_width, rows.mask[0], rows.mask[1], mask);
  const RowWriter::ChromaPlaces places = out.Chroma(rows.index);
  ComposePlane(1, rows.index, chroma_width, rows.chroma.u, mask, places.u);
  ComposePlane(2, rows.index, chroma_width, rows.chroma.v, mask, places.v);
  out.PutChroma(rows.index);
}

void Backdrop::ComposePlane(int plane, int y, int width, const uint8_t* pixels, const uint8_t* mask, uint8_t* out) {
  switch (kind_) {
    case Kind::kBlur:
      return BlendLerpRow(width, pixels, mask, blur_.Row(plane, y), out);
    case Kind::kGrey:
      if (plane > 0) return BlendRow(width, pixels, mask, Row(plane, y), out);
      if (pixels != out) std::memcpy(out, pixels, static_cast<size_t>(width));
      return;
    case Kind::kReplace: {
      uint8_t* cleaned = cleaned_.Row(0);
      ForegroundRow(width, pixels, mask, foreground_.Row(plane, y), background_.Row(plane, y), cleaned);
      return BlendRow(width, cleaned, mask, Row(plane, y), out);
    }
    case Kind::kTransparent:
      if (!rim_.IsEmpty()) {
        ForegroundRow(width, pixels, mask, foreground_.Row(plane, y), background_.Row(plane, y), out);
      }
      if (plane == 0) return rim_.FillBeyond(beyond_.y, 2, out);
      return rim_.FillBeyond(plane == 1 ? beyond_.u : beyond_.v, 1, out);
  }
}

// The row that replaces the background.
const uint8_t* Backdrop::Row(int plane, int y) const {
  if (kind_ == Kind::kGrey || !has_picture_) return flat_[plane].Row(0);
  return (plane == 0 ? covering_.y : plane == 1 ? covering_.u : covering_.v).Row(y);
}

}  // namespace pexo::compositor
