// SPDX-License-Identifier: Apache-2.0
// The element with an engine that does what it is told, against the compositor called directly.
#include <gst/video/gstvideometa.h>

#include "tests/gst/element.h"

namespace pexo::test {
namespace {

const std::string kElement = "portrait name=it model=" + AnyModel();
const std::string kBlue = "#2040c0";

// A white bar, the person, at `left` of a dark picture with noise.
TestFrame Bar(TestFrame frame, int left, uint32_t seed = 1) {
  frame.Paint([&](int x, int) { return Yuv{x >= left && x < left + 80 ? 230.0 : 20.0, 128, 128}; });
  AddNoise(frame, 5, seed);
  return frame;
}

Compositor Direct(Background background = Colour{0x20, 0x40, 0xc0}, double calm = 1) {
  return Compositor({.model = {AnyModel()}, .background = background, .calm = calm, .has_worker = false});
}

TEST(Element, GivesTheCompositorsPictures) {
  fake::SetEngine(GreenEngine());
  const struct {
    Format format;
    int padding;
    std::string word;
    Background background;
  } cases[] = {{{"NV12", 320, 192, "bt601"}, 0, "blur", Blur{}},
               {{"NV12", 320, 192, "bt709"}, 24, "blur:50", Blur{50}},
               {{"NV21", 320, 192, "1:4:0:0"}, 0, "grey", Grey{}},
               {{"NV21", 98, 130, "bt709"}, 16, kBlue, Colour{0x20, 0x40, 0xc0}},
               {{"I420", 320, 192, "1:1:5:1"}, 0, kBlue, Colour{0x20, 0x40, 0xc0}},
               {{"I420", 321, 191, "bt601"}, 40, "red", Colour{255, 0, 0}},
               {{"YV12", 320, 192, "bt709"}, 8, "red", Colour{255, 0, 0}},
               {{"YV12", 251, 192, "bt601"}, 0, "blur", Blur{}},
               {{"NV12", 120, 133, "bt601"}, 0, "red", Colour{255, 0, 0}},
               {{"I420", 1, 1, "bt601"}, 0, "grey", Grey{}}};
  for (const auto& c : cases) {
    Element element(kElement + " background=" + c.word);
    element.SetFormat(c.format);
    Compositor direct = Direct(c.background);
    for (int i = 0; i < 4; ++i) {
      const TestFrame drawn = Bar(c.format.NewFrame(), 10 * i, static_cast<uint32_t>(i));
      const TestFrame frame = FrameOf(BufferOf(drawn, c.format).get(), c.format);
      direct.Process(frame.input(), frame.view());
      const TestFrame expected = FrameOf(BufferOf(frame, c.format).get(), c.format);
      EXPECT_TRUE(SamePicture(element.Render(drawn, i, c.padding), expected)) << c.format.Caps() << c.word << i;
    }
  }
}

TEST(Element, PassesTimesAndMetadata) {
  fake::SetEngine(GreenEngine());
  const Format format;
  Element element(kElement);
  element.SetFormat(format);
  const TestFrame frame = Bar(format.NewFrame(), 40);
  BufferPtr in = BufferOf(frame, format, 7, 8);
  GST_BUFFER_FLAG_SET(in.get(), GST_BUFFER_FLAG_MARKER);
  gst_buffer_add_video_region_of_interest_meta(in.get(), "face", 10, 20, 30, 40);
  GstBuffer* kept = gst_buffer_ref(in.get());  // as a tee would
  element.Push(std::move(in));
  const BufferPtr out = element.Pull();
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(GST_BUFFER_PTS(out.get()), GST_BUFFER_PTS(kept));
  EXPECT_EQ(GST_BUFFER_DURATION(out.get()), GST_BUFFER_DURATION(kept));
  EXPECT_TRUE(GST_BUFFER_FLAG_IS_SET(out.get(), GST_BUFFER_FLAG_MARKER));
  const GstVideoRegionOfInterestMeta* region = gst_buffer_get_video_region_of_interest_meta(out.get());
  EXPECT_TRUE(region != nullptr && region->x == 10 && region->h == 40);
  EXPECT_TRUE(SamePicture(FrameOf(kept, format), frame));
  gst_buffer_unref(kept);
}

// As pipewiresink does.
GstPadProbeReturn OfferPoolOfNoSize(GstPad*, GstPadProbeInfo* info, gpointer) {
  GstQuery* query = GST_PAD_PROBE_INFO_QUERY(info);
  if (GST_QUERY_TYPE(query) != GST_QUERY_ALLOCATION) return GST_PAD_PROBE_OK;
  GstBufferPool* pool = gst_buffer_pool_new();
  gst_query_add_allocation_pool(query, pool, 0, 2, 0);
  gst_object_unref(pool);
  return GST_PAD_PROBE_HANDLED;
}

TEST(Element, RendersIntoAPoolThatSaysNoSize) {
  fake::SetEngine(GreenEngine());
  const Format format;
  Element element(kElement + " background=" + kBlue);
  gst_pad_add_probe(element.harness()->sinkpad, GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM, OfferPoolOfNoSize, nullptr,
                    nullptr);
  element.SetFormat(format);
  const TestFrame frame = Bar(format.NewFrame(), 40);
  const TestFrame out = element.Render(frame);
  Direct().Process(frame.input(), frame.view());
  EXPECT_TRUE(SamePicture(out, frame));
}

TEST(Element, AFlushASeekOrANewStreamForgetsTheMasksBefore) {
  fake::SetEngine(GreenEngine());
  const Format format;
  const TestFrame before = format.NewFrame(), after = format.NewFrame();
  before.Paint([](int x, int) { return Yuv{40 + x * 0.5, 128, 128}; });  // half a person, somewhere
  after.Paint([](int x, int) { return Yuv{42 + x * 0.5, 128, 128}; });
  const TestFrame alone = Copy(after), following = Copy(after), first = Copy(before);
  Direct().Process(alone.input(), alone.view());
  Compositor direct = Direct();
  direct.Process(first.input(), first.view());
  direct.Process(following.input(), following.view());
  ASSERT_FALSE(SamePicture(alone, following));
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  segment.start = segment.time = 3 * GST_SECOND;
  const std::vector<std::vector<GstEvent*>> cases = {
      {},
      {gst_event_new_flush_start(), gst_event_new_flush_stop(TRUE), gst_event_new_segment(&segment)},
      {gst_event_new_segment(&segment)},
      {gst_event_new_stream_start("another"), gst_event_new_segment(&segment)},
      {gst_event_new_gap(0, GST_SECOND)}};
  for (size_t i = 0; i < cases.size(); ++i) {
    Element element(kElement + " background=" + kBlue);
    element.SetFormat(format);
    element.Render(before, 75);
    for (GstEvent* event : cases[i]) EXPECT_TRUE(gst_harness_push_event(element.harness(), event));
    const bool forgets = i >= 1 && i <= 3;
    EXPECT_TRUE(SamePicture(element.Render(after, 76), forgets ? alone : following)) << i;
  }
}

TEST(Element, TakesSettingsWhileItRuns) {
  fake::SetEngine(GreenEngine());
  const Format format;
  const TestFrame frame = Bar(format.NewFrame(), 100);
  const auto expect = [&](Element& element, Background background, double calm) {
    const TestFrame expected = Copy(frame);
    Direct(background, calm).Process(expected.input(), expected.view());
    EXPECT_TRUE(SamePicture(element.Render(frame), expected));
  };
  Element element(kElement + " calm=0");
  fake::Engine used = GreenEngine();
  for (const Format& each : {Format{"YV12", 98, 130, "bt709"}, format}) {
    element.SetFormat(each);
    ASSERT_EQ(element.Push(BufferOf(each.NewFrame(), each)), GST_FLOW_OK);
    element.Pull();
    used.builds = false;  // the model stays when the format changes
    fake::SetEngine(used);
  }
  fake::SetEngine(GreenEngine());
  expect(element, Blur{}, 0);
  element.Set("background", "#00ff00");
  expect(element, Colour{0, 255, 0}, 0);
  for (const char* word : {"none", "nonsense", "blur:0", "/no/such/file.png"}) {
    element.Set("background", word);
    expect(element, Colour{0, 255, 0}, 0);
    EXPECT_NE(element.Messages(GST_MESSAGE_WARNING).find("stays as it was"), std::string::npos) << word;
  }
  element.Set("background", "grey");
  element.Set("calm", "1");
  expect(element, Grey{}, 1);
}

TEST(Element, SeveralRunInOnePipeline) {
  fake::SetEngine(GreenEngine());
  const Format format;
  Element chain(kElement + " background=" + kBlue + " ! queue ! portrait background=grey calm=0 model=" + AnyModel());
  chain.SetFormat(format);
  Compositor first = Direct(), second = Direct(Grey{}, 0);
  for (int i = 0; i < 20; ++i) {
    const TestFrame frame = format.NewFrame();
    frame.Paint([i](int x, int) { return Yuv{40 + i + x * 0.5, 128, 128}; });  // half a person, somewhere
    const TestFrame out = chain.Render(frame, i);
    first.Process(frame.input(), frame.view());
    second.Process(frame.input(), frame.view());
    EXPECT_TRUE(SamePicture(out, frame)) << i;
  }
}

TEST(Element, SaysOnTheBusWhyItCannotBegin) {
  const struct {
    const char* property;
    std::string value, text;
  } cases[] = {{"model", "/no/such/model.dlc", "/no/such/model.dlc: the model cannot be read: No such file"},
               {"model", std::string(128, 'x'), "longer than 127 characters"},
               {"model", "/tmp", "not a regular file"},
               {"model", AnyModel(), "the model cannot be loaded"},
               {"background", "none", "transparency"},
               {"background", "blur:101", "1 to 100"},
               {"background", "nonsense", "nonsense"},
               {"background", "/dev/null", "/dev/null"}};
  for (const auto& c : cases) {
    for (const char* fail : {"card", "error"}) {
      fake::Engine engine = GreenEngine();
      engine.builds = c.value != AnyModel();
      fake::SetEngine(engine);
      Element element(kElement + " fail=" + fail);
      element.Set(c.property, c.value);
      const Format format;
      element.SetFormat(format);
      EXPECT_EQ(element.Push(BufferOf(Bar(format.NewFrame(), 0), format)), GST_FLOW_ERROR) << c.value;
      EXPECT_EQ(element.Pull(), nullptr) << c.value;
      const std::string messages = element.Messages(GST_MESSAGE_ERROR);
      EXPECT_NE(messages.find(c.text), std::string::npos) << c.value << ": " << messages;
    }
  }
}

}  // namespace
}  // namespace pexo::test
