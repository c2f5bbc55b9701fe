// SPDX-License-Identifier: Apache-2.0
#include "portrait_element.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "frame_filter.h"
#include "job_thread.h"
#include "video_frame.h"

GST_DEBUG_CATEGORY_STATIC(portrait_debug);
#define GST_CAT_DEFAULT portrait_debug

namespace {

enum class Fail { kCard, kError };

constexpr const char* kFormats = "{ NV12, NV21, I420, YV12 }";
constexpr int kMaxSize = pexo::compositor::kMaxSide;

// Every byte of a card: a plain grey, in any of the formats and ranges.
constexpr guint8 kCardLevel = 128;

enum Property { kBackground = 1, kCalm, kModel, kFail };

// What an instance holds behind GStreamer's own part.
struct State {
  // Under the object's lock.
  pexo::gst::Settings settings;
  Fail fail = Fail::kCard;
  // The streaming thread's.
  std::shared_ptr<pexo::gst::FrameFilter> filter;
  bool is_failing = false;    // the frame before was missed: the user has been told
  pexo::gst::JobThread jobs;  // which use the filter: an engine that hangs must not keep the pipeline from stopping
};

}  // namespace

struct PexoPortrait {
  GstVideoFilter parent;
  State* state;
};

struct PexoPortraitClass {
  GstVideoFilterClass parent_class;
};

G_DEFINE_TYPE(PexoPortrait, pexo_portrait, GST_TYPE_VIDEO_FILTER)

namespace {

// The object's lock, also where something throws.
class ObjectLock {
 public:
  explicit ObjectLock(gpointer object) : object_(object) { GST_OBJECT_LOCK(object_); }
  ~ObjectLock() { GST_OBJECT_UNLOCK(object_); }
  ObjectLock(const ObjectLock&) = delete;
  ObjectLock& operator=(const ObjectLock&) = delete;

 private:
  gpointer object_;
};

PexoPortrait* Self(gpointer object) {
  return static_cast<PexoPortrait*>(object);
}

GType FailType() {
  static const GEnumValue values[] = {{static_cast<int>(Fail::kCard), "Show a plain grey frame instead", "card"},
                                      {static_cast<int>(Fail::kError), "End the stream with an error", "error"},
                                      {0, nullptr, nullptr}};
  static const GType type = g_enum_register_static("PexoPortraitFail", values);
  return type;
}

std::string StringOf(const GValue* value) {
  const char* text = g_value_get_string(value);
  return text != nullptr ? text : "";
}

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec* property) {
  State& state = *Self(object)->state;
  const ObjectLock lock(object);
  switch (id) {
    case kBackground:
      state.settings.background = StringOf(value);
      break;
    case kCalm:
      state.settings.calm = g_value_get_double(value);
      break;
    case kModel:
      state.settings.model = StringOf(value);
      break;
    case kFail:
      state.fail = static_cast<Fail>(g_value_get_enum(value));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, property);
  }
}

void GetProperty(GObject* object, guint id, GValue* value, GParamSpec* property) {
  const State& state = *Self(object)->state;
  const ObjectLock lock(object);
  switch (id) {
    case kBackground:
      g_value_set_string(value, state.settings.background.c_str());
      break;
    case kCalm:
      g_value_set_double(value, state.settings.calm);
      break;
    case kModel:
      g_value_set_string(value, state.settings.model.c_str());
      break;
    case kFail:
      g_value_set_enum(value, static_cast<int>(state.fail));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, property);
  }
}

gboolean Start(GstBaseTransform* transform) {
  Self(transform)->state->is_failing = false;
  return TRUE;
}

gboolean Stop(GstBaseTransform* transform) {
  State& state = *Self(transform)->state;
  try {
    state.jobs.Do([filter = std::move(state.filter)]() mutable { filter.reset(); });
  } catch (const std::exception&) {  // without memory for it, the filter goes here
  }
  state.filter.reset();
  return TRUE;
}

GstStateChangeReturn ChangeState(GstElement* element, GstStateChange change) {
  pexo::gst::JobThread& jobs = Self(element)->state->jobs;
  if (change == GST_STATE_CHANGE_READY_TO_PAUSED) jobs.SetHurried(false);
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) jobs.SetHurried(true);
  return GST_ELEMENT_CLASS(pexo_portrait_parent_class)->change_state(element, change);
}

// A segment begins after every flush, with every seek and with every stream.
gboolean TakeEvent(GstBaseTransform* transform, GstEvent* event) {
  State& state = *Self(transform)->state;
  if (GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT && state.filter) state.filter->Reset();
  if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_START) state.jobs.SetHurried(true);
  if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP) state.jobs.SetHurried(false);
  return GST_BASE_TRANSFORM_CLASS(pexo_portrait_parent_class)->sink_event(transform, event);
}

// Whatever is said of the picture stays true: its place, its shape and its colours are the same. (Metadata about the
// memory is never asked for.)
gboolean TakesMetadata(GstBaseTransform*, GstBuffer*, GstMeta*, GstBuffer*) {
  return TRUE;
}

// Some sinks offer a pool without saying how large its buffers are to be.
gboolean DecideAllocation(GstBaseTransform* transform, GstQuery* query) {
  GstCaps* caps = nullptr;
  GstVideoInfo info;
  gst_query_parse_allocation(query, &caps, nullptr);
  if (caps != nullptr && gst_query_get_n_allocation_pools(query) > 0 && gst_video_info_from_caps(&info, caps)) {
    GstBufferPool* pool = nullptr;
    guint size = 0, least = 0, most = 0;
    gst_query_parse_nth_allocation_pool(query, 0, &pool, &size, &least, &most);
    size = std::max(size, static_cast<guint>(info.size));
    gst_query_set_nth_allocation_pool(query, 0, pool, size, least, most);
    if (pool != nullptr) gst_object_unref(pool);
  }
  return GST_BASE_TRANSFORM_CLASS(pexo_portrait_parent_class)->decide_allocation(transform, query);
}

std::optional<double> SecondsOf(GstBaseTransform* transform, GstBuffer* buffer) {
  if (transform->segment.format != GST_FORMAT_TIME) return {};
  const GstClockTime time = gst_segment_to_running_time(&transform->segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer));
  if (!GST_CLOCK_TIME_IS_VALID(time)) return {};
  return static_cast<double>(time) / GST_SECOND;
}

// Says that a frame could not be rendered.
GstFlowReturn Miss(gpointer element, const char* reason) {
  State& state = *Self(element)->state;
  const Fail fail = [&] {
    const ObjectLock lock(element);
    return state.fail;
  }();
  if (fail == Fail::kError) {
    GST_ELEMENT_ERROR(element, LIBRARY, FAILED, ("A frame could not be rendered: %s", reason), (nullptr));
    return GST_FLOW_ERROR;
  }
  GST_INFO_OBJECT(element, "a card for a frame: %s", reason);
  if (!state.is_failing) {
    GST_ELEMENT_WARNING(element, LIBRARY, FAILED, ("A plain frame is shown: %s", reason), (nullptr));
  }
  state.is_failing = true;
  return GST_FLOW_OK;  // Transform makes the card
}

// A frame's rendering, with all that it needs should the element be gone by then.
struct Rendering {
  Rendering(GstBaseTransform* transform, GstBuffer* in, GstBuffer* out)
      : element(GST_ELEMENT(gst_object_ref(transform)), gst_object_unref),
        input(GST_VIDEO_FILTER(transform)->in_info, in, GST_MAP_READ),
        output(GST_VIDEO_FILTER(transform)->out_info, out, GST_MAP_WRITE),
        seconds(SecondsOf(transform, in)) {
    const State& state = *Self(transform)->state;
    filter = state.filter;
    const ObjectLock lock(transform);
    settings = state.settings;
  }

  void Run() noexcept {
    try {
      filter->Render(settings, input.frame(), output.frame(), seconds);
    } catch (...) {
      error = std::current_exception();
    }
  }

  std::unique_ptr<GstElement, void (*)(gpointer)> element;
  const pexo::gst::MappedFrame input, output;
  std::optional<double> seconds;
  std::shared_ptr<pexo::gst::FrameFilter> filter;
  pexo::gst::Settings settings;
  std::exception_ptr error;
};

std::shared_ptr<pexo::gst::FrameFilter> NewFilter(GstBaseTransform* transform) {
  return std::make_shared<pexo::gst::FrameFilter>([transform](const char* reason) {
    GST_ELEMENT_WARNING(transform, RESOURCE, SETTINGS, ("%s; the background stays as it was", reason), (nullptr));
  });
}

// False: it is still being rendered, and nobody waits for it. Throws whatever goes wrong.
bool Render(GstBaseTransform* transform, GstBuffer* input, GstBuffer* output) {
  State& state = *Self(transform)->state;
  if (state.filter == nullptr) state.filter = NewFilter(transform);
  const auto rendering = std::make_shared<Rendering>(transform, input, output);
  if (!rendering->input.is_mapped() || !rendering->output.is_mapped()) {
    throw std::runtime_error("its buffer cannot be used");
  }
  if (!state.jobs.Do([rendering] { rendering->Run(); })) {
    state.filter.reset();  // the next frame has another
    return false;
  }
  if (rendering->error != nullptr) std::rethrow_exception(rendering->error);
  return true;
}

// Instead of GStreamer's own, which answers OK to buffers that it cannot map. The output buffer is never the input's
// memory, and unless a frame was rendered into it, it becomes a card.
GstFlowReturn Transform(GstBaseTransform* transform, GstBuffer* input, GstBuffer* output) {
  GstFlowReturn flow = GST_FLOW_OK;
  try {
    if (!Render(transform, input, output)) return GST_FLOW_FLUSHING;
    Self(transform)->state->is_failing = false;
    return GST_FLOW_OK;
  } catch (const pexo::gst::SettingsError& error) {
    GST_ELEMENT_ERROR(transform, RESOURCE, SETTINGS, ("%s", error.what()), (nullptr));
    flow = GST_FLOW_ERROR;
  } catch (const std::exception& error) {
    flow = Miss(transform, error.what());
  } catch (...) {
    flow = Miss(transform, "an exception of unknown kind");
  }
  const gsize size = gst_buffer_get_size(output);
  return gst_buffer_memset(output, 0, kCardLevel, size) == size ? flow : GST_FLOW_ERROR;
}

void Finalize(GObject* object) {
  delete Self(object)->state;
  G_OBJECT_CLASS(pexo_portrait_parent_class)->finalize(object);
}

void InstallProperties(GObjectClass* object_class) {
  const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING);
  const pexo::gst::Settings defaults;
  g_object_class_install_property(
      object_class, kBackground,
      g_param_spec_string("background", "Background",
                          "What is behind the person: blur, blur:STRENGTH (1 to 100; blur alone is 20), grey, a colour "
                          "(#rrggbb or a name), or a file, which is a picture or a film",
                          defaults.background.c_str(), flags));
  g_object_class_install_property(
      object_class, kCalm,
      g_param_spec_double("calm", "Calm", "How far edges are kept from flickering", 0, 1, defaults.calm, flags));
  g_object_class_install_property(
      object_class, kModel,
      g_param_spec_string("model", "Model",
                          "The network: auto (wide for frames of 16:10 and wider, else small), small, wide, or a file",
                          defaults.model.c_str(), flags));
  g_object_class_install_property(object_class, kFail,
                                  g_param_spec_enum("fail", "Fail", "What happens where no person can be looked for",
                                                    FailType(), static_cast<int>(Fail::kCard), flags));
}

void AddPads(GstElementClass* element_class) {
  const std::string text = std::string("video/x-raw, format = (string) ") + kFormats + ", width = (int) [ 1, " +
                           std::to_string(kMaxSize) + " ], height = (int) [ 1, " + std::to_string(kMaxSize) +
                           " ], framerate = (fraction) [ 0, max ]";
  GstCaps* caps = gst_caps_from_string(text.c_str());
  for (const auto& [name, direction] : {std::pair{"sink", GST_PAD_SINK}, std::pair{"src", GST_PAD_SRC}}) {
    gst_element_class_add_pad_template(element_class, gst_pad_template_new(name, direction, GST_PAD_ALWAYS, caps));
  }
  gst_caps_unref(caps);
}

}  // namespace

static void pexo_portrait_init(PexoPortrait* self) {
  self->state = new State;
}

static void pexo_portrait_class_init(PexoPortraitClass* portrait_class) {
  GST_DEBUG_CATEGORY_INIT(portrait_debug, "portrait", 0, "a person before another background");

  auto* object_class = G_OBJECT_CLASS(portrait_class);
  object_class->set_property = SetProperty;
  object_class->get_property = GetProperty;
  object_class->finalize = Finalize;
  InstallProperties(object_class);

  auto* element_class = GST_ELEMENT_CLASS(portrait_class);
  element_class->change_state = ChangeState;
  AddPads(element_class);
  gst_element_class_set_static_metadata(
      element_class, "Portrait background", "Filter/Effect/Video",
      "Finds the person in each frame and blurs, greys or replaces the background; never passes a frame on as it came",
      "the portrait effects project");
  gst_type_mark_as_plugin_api(FailType(), static_cast<GstPluginAPIFlags>(0));

  auto* transform_class = GST_BASE_TRANSFORM_CLASS(portrait_class);
  transform_class->start = Start;
  transform_class->stop = Stop;
  transform_class->sink_event = TakeEvent;
  transform_class->decide_allocation = DecideAllocation;
  transform_class->transform_meta = TakesMetadata;
  transform_class->transform = Transform;
  transform_class->transform_ip = nullptr;  // GStreamer's own would hand frames on as they came
}
