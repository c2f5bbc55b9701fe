// SPDX-License-Identifier: Apache-2.0
// GStreamer's frames as the compositor takes them.
#ifndef PEXO_GST_VIDEO_FRAME_H_
#define PEXO_GST_VIDEO_FRAME_H_

#include <pexo/compositor/frame.h>

#include <gst/video/video.h>

#include <cstdint>
#include <vector>

namespace pexo::gst {

// A buffer that is mapped, and kept, as long as this lives.
class MappedFrame {
 public:
  MappedFrame(const GstVideoInfo& info, GstBuffer* buffer, GstMapFlags flags)
      : is_mapped_(gst_video_frame_map(&frame_, &info, buffer, flags)) {}
  ~MappedFrame() {
    if (is_mapped_) gst_video_frame_unmap(&frame_);
  }
  MappedFrame(const MappedFrame&) = delete;
  MappedFrame& operator=(const MappedFrame&) = delete;

  bool is_mapped() const { return is_mapped_; }
  const GstVideoFrame& frame() const { return frame_; }

 private:
  GstVideoFrame frame_;
  bool is_mapped_;
};

// A mapped NV12, NV21, I420 or YV12 frame. The compositor's sizes are even: where a side of the frame is odd, the view
// is one larger, and its luma is a copy in which the last column or row is repeated. (Chroma planes need nothing: they
// are rounded up already.)
class EvenFrame {
 public:
  // The view holds while both the mapping and this object do. `reads`: whether the copy starts with the frame's pixels.
  EvenFrame(const GstVideoFrame& frame, bool reads);

  const compositor::Frame& view() const { return view_; }

  // Brings what was rendered into the view home to the frame.
  void Store() const;

 private:
  compositor::Frame view_;
  compositor::Frame frame_;  // in the size that it has
  std::vector<uint8_t> luma_;
};

}  // namespace pexo::gst

#endif  // PEXO_GST_VIDEO_FRAME_H_
