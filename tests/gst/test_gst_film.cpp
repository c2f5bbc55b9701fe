// SPDX-License-Identifier: Apache-2.0
// The element's frames against those of the program for the same film, with the real network.
#include "tests/gst/element.h"
#include "tests/tools/films.h"

namespace pexo::test {
namespace {

using GstFilm = Workplace;

TEST_F(GstFilm, TheElementsFramesAreThePrograms) {
  Ffmpeg("-f lavfi -i testsrc2=s=100x80:r=10 -frames:v 4 -c:v ffv1 behind.mkv");
  const struct {
    Format format;
    const char* pixels;
    const char* matrix;
    std::string background;
  } cases[] = {{{"I420", 160, 120}, "yuv420p", "smpte170m", "blur"},
               {{"NV12", 224, 128}, "nv12", "smpte170m", "#208040"},
               {{"I420", 152, 122}, "yuv420p", "smpte170m", "in.png"},
               {{"NV21", 224, 128, "bt709"}, "nv21", "bt709", "grey"},
               {{"I420", 160, 120}, "yuv420p", "smpte170m", "behind.mkv"}};
  Element element("portrait name=it");  // one for all: with each shape it chooses its model anew
  for (const auto& c : cases) {
    const std::string size = std::to_string(c.format.width) + ":" + std::to_string(c.format.height);
    Ffmpeg("-loop 1 -r 25 -i " PEXO_PHOTOGRAPH " -frames:v 12 -vf \"crop=400:400:n*5:20,scale=" + size +
           ":out_range=tv,format=yuv420p\" -color_range tv -colorspace " + c.matrix + " -c:v ffv1 film.mkv");
    ASSERT_EQ(Portrait("--quiet --codec ffv1 --background '" + c.background + "' film.mkv out.mkv", 0, ""), "");
    const std::string before = RawFrames("film.mkv", c.pixels), after = RawFrames("out.mkv", c.pixels);
    const size_t frame_size = before.size() / 12;
    ASSERT_EQ(after.size(), before.size());
    element.Set("background", c.background);
    element.SetFormat(c.format);
    for (size_t i = 0; i < 12; ++i) {
      const std::string bytes = before.substr(i * frame_size, frame_size);
      BufferPtr buffer(gst_buffer_new_allocate(nullptr, c.format.Info().size, nullptr));
      gst_buffer_fill(buffer.get(), 0, bytes.data(), bytes.size());
      GST_BUFFER_PTS(buffer.get()) = (i + 5) * GST_SECOND / 25;  // a film behind begins with the first frame
      ASSERT_EQ(element.Push(std::move(buffer)), GST_FLOW_OK) << element.Messages(GST_MESSAGE_ERROR);
      std::string rendered(frame_size, 0);
      gst_buffer_extract(element.Pull().get(), 0, rendered.data(), frame_size);
      EXPECT_TRUE(rendered == after.substr(i * frame_size, frame_size)) << c.background << " " << i;
      EXPECT_FALSE(rendered == bytes);
    }
  }
}

}  // namespace
}  // namespace pexo::test
