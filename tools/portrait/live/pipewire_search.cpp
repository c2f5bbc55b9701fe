// SPDX-License-Identifier: Apache-2.0
#include "live/pipewire_search.h"

#include <condition_variable>
#include <mutex>
#include <string_view>
#include <utility>

#include "live/pipewire_connection.h"

namespace pexo::live {
namespace {

constexpr auto kPatience = std::chrono::seconds(2);

// The daemon tells of everything that is there, and then answers what it was asked last.
class Search {
 public:
  explicit Search(const std::string& other_than) : other_than_(other_than) {
    const PipeWireConnection::Lock lock(connection_);
    registry_ = pw_core_get_registry(connection_.core(), PW_VERSION_REGISTRY, 0);
    if (registry_ != nullptr) pw_registry_add_listener(registry_, &registry_listener_, &kRegistryEvents, this);
    pw_core_add_listener(connection_.core(), &core_listener_, &kCoreEvents, this);
    sequence_ = pw_core_sync(connection_.core(), PW_ID_CORE, 0);
  }
  ~Search() {
    const PipeWireConnection::Lock lock(connection_);
    spa_hook_remove(&core_listener_);
    if (registry_ != nullptr) pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
  }
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;

  std::optional<std::string> Wait() {
    std::unique_lock lock(mutex_);
    ended_.wait_for(lock, kPatience, [this] { return has_ended_; });
    return std::exchange(found_, std::nullopt);
  }

 private:
  static const pw_registry_events kRegistryEvents;
  static const pw_core_events kCoreEvents;

  void OnObject(const char* type, const spa_dict* properties) {
    if (std::string_view(type) != PW_TYPE_INTERFACE_Node || properties == nullptr) return;
    const char* media = spa_dict_lookup(properties, PW_KEY_MEDIA_CLASS);
    const char* name = spa_dict_lookup(properties, PW_KEY_NODE_NAME);
    if (media == nullptr || name == nullptr || std::string_view(media) != "Video/Source" || name == other_than_) return;
    const std::lock_guard lock(mutex_);
    if (!found_) found_ = name;
  }

  void OnAnswer(int sequence) {
    if (sequence != sequence_) return;
    const std::lock_guard lock(mutex_);
    has_ended_ = true;
    ended_.notify_all();
  }

  const std::string other_than_;
  std::mutex mutex_;
  std::condition_variable ended_;
  std::optional<std::string> found_;
  bool has_ended_ = false;
  int sequence_ = -1;  // of the question
  pw_registry* registry_ = nullptr;
  spa_hook registry_listener_{}, core_listener_{};
  PipeWireConnection connection_;  // last: its thread ends first
};

const pw_registry_events Search::kRegistryEvents = [] {
  pw_registry_events events{};
  events.version = PW_VERSION_REGISTRY_EVENTS;
  events.global = [](void* self, uint32_t, uint32_t, const char* type, uint32_t, const spa_dict* properties) {
    static_cast<Search*>(self)->OnObject(type, properties);
  };
  return events;
}();

const pw_core_events Search::kCoreEvents = [] {
  pw_core_events events{};
  events.version = PW_VERSION_CORE_EVENTS;
  events.done = [](void* self, uint32_t, int sequence) { static_cast<Search*>(self)->OnAnswer(sequence); };
  return events;
}();

}  // namespace

std::optional<std::string> FindPipeWireCamera(const std::string& other_than) {
  return Search(other_than).Wait();
}

}  // namespace pexo::live
