#include "map/event_hub.h"

namespace host::map {

std::string sse_text(const MapEvent& event) {
  return "id: " + std::to_string(event.id) + "\nevent: " + event.name + "\ndata: " + event.data + "\n\n";
}

std::uint64_t EventHub::publish(const std::string& name, const std::string& data) {
  std::lock_guard<std::mutex> hold(mutex_);
  const std::uint64_t id = next_id_++;
  kept_.push_back({.id = id, .name = name, .data = data});
  if (kept_.size() > kCapacity) {
    dropped_up_to_ = kept_.front().id;
    kept_.pop_front();
  }
  changed_.notify_all();
  return id;
}

std::uint64_t EventHub::publish_live(const std::string& package, const std::string& data) {
  std::lock_guard<std::mutex> hold(mutex_);
  const std::uint64_t id = next_id_++;
  live_[package] = {.id = id, .name = "live", .data = data};
  changed_.notify_all();
  return id;
}

std::vector<MapEvent> EventHub::ready(std::uint64_t last_id, std::uint64_t last_live, const std::string& package,
                                      bool& too_old) const {
  std::vector<MapEvent> events;
  too_old = last_id < dropped_up_to_;
  if (too_old) return events;
  for (const MapEvent& event : kept_)
    if (event.id > last_id) events.push_back(event);
  auto live = live_.find(package);
  if (live != live_.end() && live->second.id > last_live && live->second.id > last_id) events.push_back(live->second);
  return events;
}

std::vector<MapEvent> EventHub::next(std::uint64_t last_id, std::uint64_t last_live, const std::string& package,
                                     std::chrono::milliseconds wait, bool& too_old) {
  std::unique_lock<std::mutex> hold(mutex_);
  std::vector<MapEvent> events;
  changed_.wait_for(hold, wait, [&] {
    if (closed_) return true;
    events = ready(last_id, last_live, package, too_old);
    return too_old || !events.empty();
  });
  if (closed_) events.clear();
  return events;
}

std::uint64_t EventHub::last_id() const {
  std::lock_guard<std::mutex> hold(mutex_);
  return next_id_ - 1;
}

void EventHub::close() {
  std::lock_guard<std::mutex> hold(mutex_);
  closed_ = true;
  changed_.notify_all();
}

bool EventHub::closed() const {
  std::lock_guard<std::mutex> hold(mutex_);
  return closed_;
}

}  // namespace host::map
