// SPDX-License-Identifier: Apache-2.0
// Whatever fails, the room is never seen: a bright red mark in the background of every frame, and none in the output.
#include <map>
#include <random>

#include "tests/gst/element.h"
#include "tests/support/failing_new.h"

namespace pexo::test {
namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr int kRandomFrames = 2000;
#else
constexpr int kRandomFrames = 20000;
#endif

// A frame with the mark, with or without a person.
BufferPtr Marked(const Format& format, bool has_person = true) {
  static std::map<std::pair<std::string, bool>, BufferPtr> drawn;
  BufferPtr& buffer = drawn[{format.Caps(), has_person}];
  if (buffer == nullptr) {
    const TestFrame frame = format.NewFrame();
    frame.Paint([&](int x, int y) {
      if (x >= 40 && x < 64 && y >= 60 && y < 84) return Yuv{81, 90, 240};
      return Yuv{has_person && x >= 100 && x < 180 ? 230.0 : 20.0, 128, 128};
    });
    buffer = BufferOf(frame, format);
  }
  return BufferPtr(gst_buffer_copy_deep(buffer.get()));
}

// Cut to so many bytes.
BufferPtr Cut(BufferPtr buffer, size_t bytes) {
  gst_buffer_remove_meta(buffer.get(), GST_META_CAST(gst_buffer_get_video_meta(buffer.get())));
  gst_buffer_set_size(buffer.get(), static_cast<gssize>(bytes));
  return buffer;
}

struct Seen {
  bool is_marked = false;
  bool is_card = true;
};

Seen Look(const BufferPtr& buffer, const Format& format) {
  Seen seen;
  GstVideoFrame frame;
  const GstVideoInfo info = format.Info();
  if (!gst_video_frame_map(&frame, &info, buffer.get(), GST_MAP_READ)) throw std::runtime_error("not mapped");
  for (int c = 0; c < 3; ++c) {
    const int step = GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, c);
    for (int y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, c); ++y) {
      const uint8_t* row = GST_VIDEO_FRAME_COMP_DATA(&frame, c) + y * GST_VIDEO_FRAME_COMP_STRIDE(&frame, c);
      for (int x = 0; x < GST_VIDEO_FRAME_COMP_WIDTH(&frame, c); ++x) {
        seen.is_marked |= c == 2 && row[x * step] > 140;
        seen.is_card &= row[x * step] == 128;
      }
    }
  }
  gst_video_frame_unmap(&frame);
  return seen;
}

std::string Words(const char* fail) {
  return "portrait name=it background=grey model=" + AnyModel() + " fail=" + fail;
}

fake::Engine BrokenEngine(bool throws) {
  fake::Engine engine = GreenEngine();
  engine.succeeds = false;
  engine.throws = throws;
  return engine;
}

TEST(Privacy, AFailureOfTheEngineAtAnyFrameIsACardOrAnError) {
  const Format format;
  ASSERT_TRUE(Look(Marked(format), format).is_marked);
  for (const bool card : {true, false}) {
    for (const bool throws : {false, true}) {
      for (int failing = 0; failing < 6; ++failing) {
        Element element(Words(card ? "card" : "error"));
        element.SetFormat(format);
        for (int i = 0; i < 7; ++i) {
          fake::SetEngine(i == failing ? BrokenEngine(throws) : GreenEngine());
          const GstFlowReturn flow = element.Push(Marked(format));
          const BufferPtr out = element.Pull();
          if (i == failing && !card) {
            EXPECT_EQ(flow, GST_FLOW_ERROR);
            EXPECT_EQ(out, nullptr);
            EXPECT_NE(element.Messages(GST_MESSAGE_ERROR), "");
            break;
          }
          ASSERT_EQ(flow, GST_FLOW_OK);
          ASSERT_NE(out, nullptr);
          EXPECT_FALSE(Look(out, format).is_marked) << failing << " " << i;
          EXPECT_EQ(Look(out, format).is_card, i == failing) << failing << " " << i;
        }
        EXPECT_EQ(element.Messages(GST_MESSAGE_WARNING) != "", card);
      }
    }
  }
}

TEST(Privacy, ABufferThatIsTooSmallIsACardOrAnError) {
  fake::SetEngine(GreenEngine());
  const Format format;
  for (const bool card : {true, false}) {
    Element element(Words(card ? "card" : "error"));
    element.SetFormat(format);
    EXPECT_EQ(element.Push(Cut(Marked(format), format.Info().size / 2)), card ? GST_FLOW_OK : GST_FLOW_ERROR);
    const BufferPtr out = element.Pull();
    EXPECT_EQ(out != nullptr, card);
    EXPECT_TRUE(out == nullptr || Look(out, format).is_card);
  }
}

TEST(Privacy, MemoryThatRunsOutAtAnyPoint) {
  fake::SetEngine(GreenEngine());
  const Format format{"I420", 97, 131};
  int allocation = 0;
  for (bool struck = true; struck; ++allocation) {
    Element element(Words("card"));
    element.SetFormat(format);
    BufferPtr buffer = Marked(format);
    struck = Strikes(allocation, [&] { element.Push(std::move(buffer)); });
    const BufferPtr out = element.Pull();
    ASSERT_FALSE(out != nullptr && Look(out, format).is_marked) << allocation;
  }
  EXPECT_GT(allocation, 50);
}

TEST(Privacy, AnythingAtRandomForManyFrames) {
  std::mt19937 random(2026);
  const auto one_in = [&](unsigned n) { return random() % n == 0; };
  const std::vector<size_t> shapes[] = {{1, 1, 1, 1}, {1, 64, 1, 1}, {1, 7, 100, 1}, {1, 200, 300, 1}, {1, 0, 0, 1}};
  constexpr const char* kNames[] = {"NV12", "NV21", "I420", "YV12"};
  int frames = 0, cards = 0;
  while (frames < kRandomFrames) {
    fake::SetEngine(GreenEngine());
    Element element(Words(one_in(2) ? "card" : "error"));
    Format format{"NV12", 320, 192};
    element.SetFormat(format);
    // Answers of another shape may set the person in another place: then there is none.
    const bool is_strange = one_in(3);
    for (int i = 0; i < 200; ++i) {
      if (one_in(20)) format = {kNames[random() % 4], 100 + int(random() % 9) * 19, 90 + int(random() % 9) * 11};
      if (one_in(20)) element.Set("background", one_in(2) ? "grey" : "#208020");
      if (one_in(30)) element.Set("calm", one_in(2) ? "0" : "1");  // loads the model again
      element.SetFormat(format);
      fake::Engine engine = one_in(8) ? BrokenEngine(one_in(2)) : GreenEngine();
      if (is_strange) engine.outputs[0].shape = shapes[random() % std::size(shapes)];
      engine.opens = !one_in(300);
      engine.builds = !one_in(300);
      fake::SetEngine(engine);
      BufferPtr buffer = Marked(format, !is_strange);
      if (one_in(50)) buffer = Cut(std::move(buffer), random() % format.Info().size);
      GstFlowReturn flow = GST_FLOW_OK;
      Strikes(one_in(8) ? static_cast<int>(random() % 60) : -1, [&] { flow = element.Push(std::move(buffer)); });
      if (const BufferPtr out = element.Pull(); out != nullptr) {
        const Seen seen = Look(out, format);
        ASSERT_FALSE(seen.is_marked) << frames << " " << format.Caps();
        ++frames;
        cards += seen.is_card;
      }
      if (flow != GST_FLOW_OK) break;
    }
  }
  EXPECT_GT(cards, 100);
  EXPECT_LT(cards, frames / 2);
}

}  // namespace
}  // namespace pexo::test
