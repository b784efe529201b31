// The map's event stream shared by every page that listens: events numbered over the whole server,
// the last kCapacity "game" and "change" events kept for pages that reconnect, and the newest "live"
// event of each package (live events are only ever sent fresh, never replayed). Owned by the map
// server; any thread may publish and any number of threads may wait.
#ifndef PATHWRIGHT_MAP_EVENT_HUB_H_
#define PATHWRIGHT_MAP_EVENT_HUB_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace host::map {

struct MapEvent {
  std::uint64_t id = 0;
  std::string name;  // "game", "change", "live", "reload"
  std::string data;  // one line of JSON
};

// One event as Server-Sent Events text: "id: N\nevent: NAME\ndata: DATA\n\n".
std::string sse_text(const MapEvent& event);

class EventHub {
 public:
  static constexpr std::size_t kCapacity = 1024;  // events kept for replay

  // Numbers and keeps an event for every listener; answers its id.
  std::uint64_t publish(const std::string& name, const std::string& data);
  // Numbers a live event of `package`, replacing the one before it.
  std::uint64_t publish_live(const std::string& package, const std::string& data);

  // What a listener that has seen everything up to `last_id` (and live events up to `last_live`) gets:
  // waits up to `wait` for something new. Sets `too_old` (and answers nothing) when events after
  // `last_id` were already dropped. Answers nothing once closed or when the wait ran out.
  std::vector<MapEvent> next(std::uint64_t last_id, std::uint64_t last_live, const std::string& package,
                             std::chrono::milliseconds wait, bool& too_old);

  // The id of the newest kept event (0 before any).
  std::uint64_t last_id() const;
  // Wakes every waiter for good: the server is stopping.
  void close();
  bool closed() const;

 private:
  std::vector<MapEvent> ready(std::uint64_t last_id, std::uint64_t last_live, const std::string& package,
                              bool& too_old) const;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::uint64_t next_id_ = 1;
  std::uint64_t dropped_up_to_ = 0;  // events up to this id are gone
  std::deque<MapEvent> kept_;
  std::map<std::string, MapEvent> live_;  // package -> newest live event
  bool closed_ = false;
};

}  // namespace host::map

#endif  // PATHWRIGHT_MAP_EVENT_HUB_H_
