// SPDX-License-Identifier: Apache-2.0
// The element in a harness, fed with frames that the tests draw.
#ifndef PEXO_TESTS_GST_ELEMENT_H_
#define PEXO_TESTS_GST_ELEMENT_H_

#include <gst/check/gstharness.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/compositor/scene.h"
#include "tests/support/fake_snpe.h"

namespace pexo::test {

// A file that the fake engine opens, as a model with one channel.
inline std::string AnyModel() {
  return testing::TempDir() + "MoviePortraitSmall-" + std::to_string(::getpid()) + ".dlc";
}

// GStreamer with this plugin and its core elements alone: nothing is searched, nothing remembered.
class GStreamer : public testing::Environment {
 public:
  void SetUp() override {
    std::ofstream(AnyModel()) << "any";
    ::setenv("GST_REGISTRY_DISABLE", "yes", 1);
    gst_init(nullptr, nullptr);
    for (const char* file : {PEXO_GST_PLUGIN, PEXO_GST_PLUGINS "/libgstcoreelements.so"}) {
      GstPlugin* plugin = gst_plugin_load_file(file, nullptr);
      ASSERT_NE(plugin, nullptr) << file;
      gst_object_unref(plugin);
    }
  }
  void TearDown() override {
    gst_deinit();
    std::filesystem::remove(AnyModel());
  }
};
inline testing::Environment* const gstreamer = testing::AddGlobalTestEnvironment(new GStreamer);

struct Unref {
  void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
};
using BufferPtr = std::unique_ptr<GstBuffer, Unref>;

// What the caps of frames say.
struct Format {
  const char* name = "NV12";
  int width = 320, height = 192;
  const char* colorimetry = "bt601";

  std::string Caps() const {
    return std::string("video/x-raw,format=") + name + ",width=" + std::to_string(width) +
           ",height=" + std::to_string(height) + ",framerate=25/1,colorimetry=" + colorimetry;
  }
  GstVideoInfo Info() const {
    GstVideoInfo info;
    GstCaps* caps = gst_caps_from_string(Caps().c_str());
    if (!gst_video_info_from_caps(&info, caps)) throw std::runtime_error(Caps());
    gst_caps_unref(caps);
    return info;
  }
  // Of the compositor's even sizes.
  TestFrame NewFrame() const {
    const GstVideoColorimetry colours = Info().colorimetry;
    return TestFrame(width + width % 2, height + height % 2, Layout::kI420, 0,
                     colours.range == GST_VIDEO_COLOR_RANGE_0_255 ? Range::kFull : Range::kLimited,
                     colours.matrix == GST_VIDEO_COLOR_MATRIX_BT709 ? Matrix::kBt709 : Matrix::kBt601);
  }
};

// Copies every sample, by components and not by planes. What a frame has beyond an odd size repeats the last column and
// row.
inline void CopySamples(GstBuffer* buffer, const GstVideoInfo& info, const TestFrame& frame, GstMapFlags flags) {
  GstVideoFrame mapped;
  if (!gst_video_frame_map(&mapped, &info, buffer, flags)) throw std::runtime_error("a buffer that cannot be mapped");
  ForEachSample(frame, [&](int c, int x, int y) {
    const int column = std::min(x, GST_VIDEO_FRAME_COMP_WIDTH(&mapped, c) - 1);
    const int row = std::min(y, GST_VIDEO_FRAME_COMP_HEIGHT(&mapped, c) - 1);
    uint8_t& sample = GST_VIDEO_FRAME_COMP_DATA(
        &mapped, c)[row * GST_VIDEO_FRAME_COMP_STRIDE(&mapped, c) + column * GST_VIDEO_FRAME_COMP_PSTRIDE(&mapped, c)];
    flags == GST_MAP_READ ? frame.At(c, x, y) = sample : sample = frame.At(c, column, row);
  });
  gst_video_frame_unmap(&mapped);
}

// A buffer with the frame number `index`; `padding`: bytes more than need be in its rows, which its metadata tells.
inline BufferPtr BufferOf(const TestFrame& frame, const Format& format, int index = 0, int padding = 0) {
  GstVideoInfo info = format.Info();
  if (padding > 0) {
    GstVideoAlignment alignment;
    gst_video_alignment_reset(&alignment);
    alignment.padding_right = static_cast<guint>(padding);
    gst_video_info_align(&info, &alignment);
  }
  BufferPtr buffer(gst_buffer_new_allocate(nullptr, info.size, nullptr));
  gst_buffer_memset(buffer.get(), 0, 0, info.size);
  gst_buffer_add_video_meta_full(buffer.get(), GST_VIDEO_FRAME_FLAG_NONE, info.finfo->format,
                                 static_cast<guint>(info.width), static_cast<guint>(info.height), info.finfo->n_planes,
                                 info.offset, info.stride);
  CopySamples(buffer.get(), info, frame, GST_MAP_WRITE);
  GST_BUFFER_PTS(buffer.get()) = static_cast<GstClockTime>(index) * GST_SECOND / 25;
  GST_BUFFER_DURATION(buffer.get()) = GST_SECOND / 25;
  return buffer;
}

inline TestFrame FrameOf(GstBuffer* buffer, const Format& format) {
  TestFrame frame = format.NewFrame();
  CopySamples(buffer, format.Info(), frame, GST_MAP_READ);
  return frame;
}

// The fake engine; green is the person.
inline fake::Engine GreenEngine() {
  return {.inputs = {{"input", {1, 64, 64, 3}}}, .outputs = {{"output", {1, 64, 64, 1}}}};
}

class Element {
 public:
  // A pipeline as for gst-launch.
  explicit Element(const std::string& pipeline)
      : harness_(gst_harness_new_parse(pipeline.c_str())), bus_(gst_bus_new()) {
    gst_element_set_bus(harness_->element, bus_);
  }
  Element(const Element&) = delete;
  Element& operator=(const Element&) = delete;
  ~Element() {
    gst_element_set_bus(harness_->element, nullptr);
    gst_object_unref(bus_);
    gst_harness_teardown(harness_);
  }
  GstHarness* harness() { return harness_; }

  // Of the element with the name "it".
  void Set(const char* name, const std::string& value) {
    GstElement* element = gst_bin_get_by_name(GST_BIN(harness_->element), "it");
    gst_util_set_object_arg(G_OBJECT(element), name, value.c_str());
    gst_object_unref(element);
  }
  void SetFormat(const Format& format) {
    if (std::exchange(caps_, format.Caps()) != format.Caps()) gst_harness_set_src_caps_str(harness_, caps_.c_str());
    format_ = format;
  }
  GstFlowReturn Push(BufferPtr buffer) { return gst_harness_push(harness_, buffer.release()); }
  // Null when none has come.
  BufferPtr Pull() { return BufferPtr(gst_harness_try_pull(harness_)); }

  // What becomes of a frame.
  TestFrame Render(const TestFrame& frame, int index = 0, int padding = 0) {
    EXPECT_EQ(Push(BufferOf(frame, format_, index, padding)), GST_FLOW_OK) << Messages(GST_MESSAGE_ERROR);
    const BufferPtr out(gst_harness_pull(harness_));
    if (out == nullptr) throw std::runtime_error("no frame came out");
    return FrameOf(out.get(), format_);
  }

  // The texts of the errors or warnings so far.
  std::string Messages(GstMessageType type) {
    std::string texts;
    while (GstMessage* message = gst_bus_pop_filtered(bus_, type)) {
      GError* error = nullptr;
      (type == GST_MESSAGE_ERROR ? gst_message_parse_error : gst_message_parse_warning)(message, &error, nullptr);
      texts += std::string(error->message) + "\n";
      g_error_free(error);
      gst_message_unref(message);
    }
    return texts;
  }

 private:
  GstHarness* harness_;
  GstBus* bus_;
  Format format_;
  std::string caps_;
};

}  // namespace pexo::test

#endif  // PEXO_TESTS_GST_ELEMENT_H_
