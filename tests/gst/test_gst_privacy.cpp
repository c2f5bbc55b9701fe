// SPDX-License-Identifier: Apache-2.0
// Whatever fails, the room is never seen: a bright red mark in the background of every frame, and none in the output.
#include <algorithm>
#include <chrono>
#include <future>
#include <map>
#include <random>
#include <thread>

#include "tests/gst/element.h"
#include "tests/support/failing_new.h"

namespace pexo::test {
namespace {

#if defined(__SANITIZE_ADDRESS__) || PEXO_EMULATED
constexpr int kRandomFrames = 2000;  // several times slower there
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
  bool is_marked, is_card;
};

Seen Look(const BufferPtr& buffer, const Format& format) {
  TestFrame frame = FrameOf(buffer.get(), format);
  const auto& levels = frame.pixels();  // plane by plane, of which V is the last
  const auto is_red = [](uint8_t level) { return level > 140; };
  return {.is_marked = std::any_of(levels.end() - std::ssize(levels) / 6, levels.end(), is_red),
          .is_card = std::ranges::count(levels, 128) == std::ssize(levels)};
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

TEST(Privacy, WhatFailsAtAnyFrameIsACardOrAnError) {
  enum { kFails, kThrows, kTooSmall, kKinds };
  const Format format;
  ASSERT_TRUE(Look(Marked(format), format).is_marked);
  for (const bool card : {true, false}) {
    for (int kind = 0; kind < kKinds; ++kind) {
      for (int failing = 0; failing < 6; ++failing) {
        Element element(Words(card ? "card" : "error"));
        element.SetFormat(format);
        for (int i = 0; i < 7; ++i) {
          const bool fails = i == failing || i == failing + 1 || i == failing + 3;
          fake::SetEngine(fails && kind != kTooSmall ? BrokenEngine(kind == kThrows) : GreenEngine());
          BufferPtr buffer = Marked(format);
          if (fails && kind == kTooSmall) buffer = Cut(std::move(buffer), format.Info().size / 2);
          const GstFlowReturn flow = element.Push(std::move(buffer));
          const BufferPtr out = element.Pull();
          if (fails && !card) {
            EXPECT_EQ(flow, GST_FLOW_ERROR);
            EXPECT_EQ(out, nullptr);
            EXPECT_NE(element.Messages(GST_MESSAGE_ERROR), "");
            break;
          }
          ASSERT_EQ(flow, GST_FLOW_OK);
          ASSERT_NE(out, nullptr);
          EXPECT_FALSE(Look(out, format).is_marked) << failing << " " << i;
          EXPECT_EQ(Look(out, format).is_card, fails) << failing << " " << i;
        }
        EXPECT_EQ(std::ranges::count(element.Messages(GST_MESSAGE_WARNING), '\n'), !card ? 0 : failing < 4 ? 2 : 1);
      }
    }
  }
}

// A flush or a stop ends the wait for an engine that hangs, and what it was to render goes nowhere. Afterwards frames
// are waited for as before, and what was left alone may come to its end meanwhile.
TEST(Privacy, AnEngineThatHangsIsLeftAlone) {
  const Format format;
  for (const bool flushes : {true, false}) {
    fake::SetEngine(GreenEngine());
    Element element(Words("card"));
    element.SetFormat(format);
    ASSERT_EQ(element.Push(Marked(format)), GST_FLOW_OK);
    const TestFrame rendered = FrameOf(element.Pull().get(), format);
    const auto push = [&] { return std::async(std::launch::async, [&] { return element.Push(Marked(format)); }); };
    fake::Engine engine = GreenEngine();
    engine.hangs = true;
    fake::SetEngine(engine);
    auto first = push();
    while (fake::Runs() == 0) std::this_thread::yield();
    if (flushes) {
      gst_harness_push_event(element.harness(), gst_event_new_flush_start());
    } else {
      gst_element_set_state(element.harness()->element, GST_STATE_NULL);
    }
    EXPECT_EQ(first.get(), GST_FLOW_FLUSHING);
    EXPECT_EQ(element.Pull(), nullptr);
    if (flushes) gst_harness_push_event(element.harness(), gst_event_new_flush_stop(TRUE));
    gst_element_set_state(element.harness()->element, GST_STATE_PLAYING);
    gst_harness_push_event(element.harness(), gst_event_new_stream_start("again"));
    gst_harness_set_src_caps_str(element.harness(), format.Caps().c_str());  // and a segment
    auto second = push();  // which the library makes wait for the first
    engine.hangs = false;
    engine.prediction_time = std::chrono::milliseconds(700);  // two of them are longer than what is left alone may last
    fake::SetEngine(engine);
    EXPECT_EQ(second.get(), GST_FLOW_OK);
    EXPECT_TRUE(SamePicture(FrameOf(element.Pull().get(), format), rendered));
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
    struck = StrikesAnywhere(allocation, [&] { element.Push(std::move(buffer)); });
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
  int frames = 0, cards = 0, changes = 0;
  while (frames < kRandomFrames) {
    fake::SetEngine(GreenEngine());
    Element element(Words(one_in(2) ? "card" : "error"));
    Format format{"NV12", 320, 192};
    element.SetFormat(format);
    // Answers of another shape may set the person in another place: then there is none.
    const bool is_strange = one_in(3);
    for (int i = 0; i < 200; ++i) {
      const bool changes_format = one_in(20);
      changes += changes_format;
      if (changes_format) format = {kNames[random() % 4], 100 + int(random() % 9) * 19, 90 + int(random() % 9) * 11};
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
      StrikesAnywhere(one_in(8) ? static_cast<int>(random() % 60) : -1,
                      [&] { flow = element.Push(std::move(buffer)); });
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
  EXPECT_GT(changes, kRandomFrames / 20);
  EXPECT_LT(cards, frames / 2);
}

}  // namespace
}  // namespace pexo::test
