// A scripted stand-in for the game on the loopback interface: it listens on a real TCP port, serves one
// connection at a time on its own thread, and answers each request line as the test's script says.
// Owned by one test; the recorded requests are read under a lock, so the test thread may look at them
// while the server runs.
#ifndef PATHWRIGHT_TESTS_HOST_LINK_FAKE_GAME_H_
#define PATHWRIGHT_TESTS_HOST_LINK_FAKE_GAME_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "json/value.h"

namespace host::testing {

struct Reply {
  enum class Act { Answer, Silent, Close } act = Act::Answer;
  std::string line;  // sent as is (plus "\n") when act is Answer
};

// Answers `request` with "ok": true plus `fields`' members, echoing its id.
Reply ok_reply(const mods::json::Value& request, mods::json::Value fields = mods::json::Value::object());

// An island-like game: hello, ground at y = 100 where |x| <= 1000 and open sea elsewhere, Link at
// (0, 100, 200), load answers walking 0, live_route answers null.
Reply island_reply(const mods::json::Value& request);

class FakeGame {
 public:
  using Script = std::function<Reply(const mods::json::Value& request)>;

  // Listens on `port` (0: any free port) and serves with `script`.
  FakeGame(Script script, std::uint16_t port = 0);
  ~FakeGame();

  std::uint16_t port() const { return port_; }
  std::vector<std::string> lines() const;         // every request line received, in order
  std::vector<std::string> ops() const;           // the "op" of each of them
  int connections() const { return connections_; }

  // A port that was free a moment ago (for a game that starts late).
  static std::uint16_t free_port();

 private:
  void serve();
  Script script_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<bool> stop_{false};
  std::atomic<int> connections_{0};
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::thread thread_;
};

}  // namespace host::testing

#endif  // PATHWRIGHT_TESTS_HOST_LINK_FAKE_GAME_H_
