// SPDX-License-Identifier: Apache-2.0
#include "frame_rows.h"

#include <libyuv.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace pexo::compositor {
namespace {

// The places of U and V among a planar frame's planes.
constexpr int UPlane(Layout layout) {
  return layout == Layout::kYv12 ? 2 : 1;
}
constexpr int VPlane(Layout layout) {
  return layout == Layout::kYv12 ? 1 : 2;
}

size_t Bytes(int count) {
  return static_cast<size_t>(count);
}

}  // namespace

void CheckFrame(const ConstFrame& frame) {
  for (const int side : {frame.width, frame.height}) {
    if (side < 2 || side > kMaxSide || side % 2 != 0) {
      throw std::invalid_argument("a frame's width and height must be even and 2 to " + std::to_string(kMaxSide));
    }
  }
  const bool interleaved = IsInterleaved(frame.layout);
  for (int i = 0; i < (interleaved ? 2 : 3); ++i) {
    const int row = i == 0 || interleaved ? frame.width : frame.width / 2;
    if (frame.plane[i] == nullptr || frame.stride[i] < row) {
      throw std::invalid_argument("a plane of a frame is missing, or its stride is below a row");
    }
  }
}

void RowReader::Open(const ConstFrame& frame) {
  frame_ = frame;
  is_padded_ = frame.width % kRowPadding == 0;
  luma_.Resize(frame.width, kSlots);
  chroma_.Resize(frame.width / 2, 2 * kSlots);
}

const uint8_t* RowReader::Luma(int y, int slot) {
  const uint8_t* row = frame_.plane[0] + y * frame_.stride[0];
  if (is_padded_) return row;
  std::memcpy(luma_.Row(slot), row, Bytes(frame_.width));
  return luma_.Row(slot);
}

ChromaRow RowReader::Chroma(int y, int slot) {
  const int width = frame_.width / 2;
  uint8_t* u = chroma_.Row(2 * slot);
  uint8_t* v = chroma_.Row(2 * slot + 1);
  if (IsInterleaved(frame_.layout)) {
    const bool u_first = frame_.layout == Layout::kNv12;
    libyuv::SplitUVPlane(frame_.plane[1] + y * frame_.stride[1], 0, u_first ? u : v, 0, u_first ? v : u, 0, width, 1);
    return {u, v};
  }
  const int at_u = UPlane(frame_.layout), at_v = VPlane(frame_.layout);
  const uint8_t* row_u = frame_.plane[at_u] + y * frame_.stride[at_u];
  const uint8_t* row_v = frame_.plane[at_v] + y * frame_.stride[at_v];
  if (is_padded_) return {row_u, row_v};
  std::memcpy(u, row_u, Bytes(width));
  std::memcpy(v, row_v, Bytes(width));
  return {u, v};
}

void RowWriter::Open(const Frame& frame) {
  frame_ = frame;
  is_padded_ = frame.width % kRowPadding == 0;
  rows_.Resize(frame.width, 3);
}

uint8_t* RowWriter::Luma(int y) {
  return is_padded_ ? frame_.plane[0] + y * frame_.stride[0] : rows_.Row(0);
}

void RowWriter::PutLuma(int y) {
  if (!is_padded_) std::memcpy(frame_.plane[0] + y * frame_.stride[0], rows_.Row(0), Bytes(frame_.width));
}

RowWriter::ChromaPlaces RowWriter::Chroma(int y) {
  if (!is_padded_ || IsInterleaved(frame_.layout)) return {rows_.Row(1), rows_.Row(2)};
  const int at_u = UPlane(frame_.layout), at_v = VPlane(frame_.layout);
  return {frame_.plane[at_u] + y * frame_.stride[at_u], frame_.plane[at_v] + y * frame_.stride[at_v]};
}

void RowWriter::PutChroma(int y) {
  const int width = frame_.width / 2;
  const uint8_t* u = rows_.Row(1);
  const uint8_t* v = rows_.Row(2);
  if (IsInterleaved(frame_.layout)) {
    const bool u_first = frame_.layout == Layout::kNv12;
    libyuv::MergeUVPlane(u_first ? u : v, 0, u_first ? v : u, 0, frame_.plane[1] + y * frame_.stride[1], 0, width, 1);
  } else if (!is_padded_) {
    const int at_u = UPlane(frame_.layout), at_v = VPlane(frame_.layout);
    std::memcpy(frame_.plane[at_u] + y * frame_.stride[at_u], u, Bytes(width));
    std::memcpy(frame_.plane[at_v] + y * frame_.stride[at_v], v, Bytes(width));
  }
}

}  // namespace pexo::compositor
