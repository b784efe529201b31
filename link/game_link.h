// The running game as Pathwright sees it over TCP: an editor::LiveGame that speaks the game link protocol
// (one compact JSON object per line, answers in request order), reconnects by itself between commands
// and hands the game every loaded package after each (re)connect. The link owns its connection; it is
// used by the one thread that runs commands.
//
// Errors: a failure of the link itself travels as GameLinkError only where editor::LiveGame has no error
// channel (ground_height, live_route); the route service passes it on, and the workbench catches it
// around each command (server/workbench.cpp). Every other call answers false with the text.
#ifndef PATHWRIGHT_LINK_GAME_LINK_H_
#define PATHWRIGHT_LINK_GAME_LINK_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "editor/live_game.h"
#include "link/game_link_error.h"
#include "link/host_game.h"
#include "link/line_connection.h"
#include "protocol/link_protocol.h"

namespace host::link {

class HeightsAnswerReader;

// Where the game listens.
struct GameAddress {
  std::string host = "127.0.0.1";
  std::uint16_t port = protocol::kDefaultPort;
  std::string text() const;  // "HOST:PORT"
};

// Reads "HOST:PORT" (port 1..65535). On false, `error` says what is wrong and `address` is unchanged.
bool parse_game_address(const std::string& text, GameAddress& address, std::string& error);

class GameLink : public HostGame {
 public:
  static constexpr double kDefaultTimeoutSeconds = 2.0;
  static constexpr int kRetryIntervalMs = 500;   // ms; at most one connection attempt this often
  static constexpr int kConnectTimeoutMs = 200;  // ms; a local game accepts at once or not at all
  // After the game let a request time out (a hung game still accepts connections, so each attempt would
  // cost a whole timeout), the link waits this long before it tries again, doubling up to the longest.
  static constexpr int kFirstBackOffMs = 2000;     // ms
  static constexpr int kLongestBackOffMs = 30000;  // ms

  // The packages to hand the game after each (re)connect; the pointers stay valid during the call.
  using PackageList = std::function<std::vector<const editor::Session::Package*>()>;

  GameLink(GameAddress address, double timeout_seconds);
  ~GameLink() override;

  PackageList loaded_packages;
  // Receives what went wrong in the background (a refused connection, a package the game did not
  // take), for the front end's diagnostics. May be empty.
  std::function<void(const std::string&)> on_note;
  // Told of each package of `loaded_packages` the game did not take on a (re)connect, with the game's
  // words, instead of `on_note`. May be empty.
  std::function<void(const std::string& package, const std::string& problem)> on_refused;

  // Called before each command. When not connected (or the game has closed the connection since), and
  // the last attempt is at least kRetryIntervalMs old, connects, says "hello" and sends every package of
  // `loaded_packages` with "load". True when connected afterwards. Never throws: a failure leaves the
  // link disconnected with the reason in `last_problem`.
  bool ensure_connected() override;
  // The same, without the rate limit.
  bool connect_now();
  void disconnect();

  bool connected() const override { return connection_ != nullptr; }
  // {"connected", "address", "world" and "bounds" while connected, "problem" after a failure, "retry_in"
  // while backing off}.
  mods::json::Value state() const override;
  const std::string& world() const { return world_; }  // from "hello"; "" while disconnected
  // The world's bounds from "hello": null when the game did not send them (or while disconnected),
  // else {"low":{x,y,z},"high":{x,y,z}}.
  const mods::json::Value& bounds() const { return bounds_; }
  const std::string& last_problem() const { return last_problem_; }
  // Seconds until the next connection attempt while backing off from a game that timed out; 0 otherwise.
  double retry_in_seconds() const;
  const GameAddress& address() const { return address_; }
  double timeout_seconds() const { return timeout_seconds_; }

  // editor::LiveGame. A failure of the link itself (no answer in time, connection closed, malformed
  // answer, not connected) drops the connection; ground_height and live_route then throw GameLinkError,
  // the others answer false with its text. A request the game answers with "ok": false throws
  // GameLinkError (ground_height, live_route) or answers false with the game's text, and the connection
  // stays.
  bool ground_height(const story_notebook::WorldPoint& probe, float& height, std::string& note) override;
  bool ground_heights(const std::vector<story_notebook::WorldPoint>& probes, std::vector<float>& heights,
                      std::vector<bool>& found, std::string& error) override;
  mods::json::Value live_route(editor::Session::Package& package, const std::string& id) override;
  bool link_position(story_notebook::WorldPoint& point, std::string& error) override;
  bool camera_position(story_notebook::WorldPoint& point, std::string& error) override;

  // Where every walking actor of `package` is now ("live_actors"): on true `live` is
  // {"time": T, "actors": [{"id", "position", "point"}]}. On false `error` says why (the game refused,
  // or the link failed and was dropped) and `live` is not to be read.
  bool live_actors(const std::string& package, mods::json::Value& live, std::string& error) override;
  bool load_package(const editor::Session::Package& package, std::string& error) override;

  // Moves Link (the camera follows). On false, `error` says why.
  bool teleport(const story_notebook::WorldPoint& point, std::string& error);
  // Advances a game with a manual clock by `seconds`; on true `time` is the game's time after it.
  bool advance(double seconds, double& time, std::string& error);
  // The front ends move only the in-process game's clock: false here, and advance_clock refuses.
  bool manual_clock() const override { return false; }
  bool advance_clock(double seconds, double& time, std::string& error) override;

  // Sends request `op` whose further members are the JSON text `fields` ("" or `"k":v,...`) and waits
  // for its answer. True with the answer object in `answer` when the game answered "ok": true; false
  // with the game's "error" text when it answered "ok": false. Throws GameLinkError (after dropping the
  // connection) when the link fails, and when not connected.
  bool exchange(const std::string& op, const std::string& fields, mods::json::Value& answer, std::string& error);

 private:
  // Sends request `op` and answers the answer line. Throws GameLinkError (after dropping the connection)
  // when the link fails, and when not connected. `id` is the request's id.
  std::string round_trip(const std::string& op, const std::string& fields, std::uint64_t& id);
  // Reads answer line `text` to request `id`, as `exchange` answers.
  bool read_answer(const std::string& text, std::uint64_t id, mods::json::Value& answer, std::string& error);
  bool greet();
  [[noreturn]] void fail(const std::string& what);
  bool position_op(const std::string& op, story_notebook::WorldPoint& point, std::string& error);

  GameAddress address_;
  double timeout_seconds_;
  std::unique_ptr<LineConnection> connection_;
  std::unique_ptr<HeightsAnswerReader> fast_;  // made on the first "ground_heights"
  std::string world_;
  mods::json::Value bounds_;
  std::string last_problem_;
  std::uint64_t next_id_ = 1;
  void back_off();

  bool attempted_ = false;
  int back_off_ms_ = 0;  // the current back-off; 0 while the game answers in time
  std::chrono::steady_clock::time_point retry_at_{};
  std::chrono::steady_clock::time_point last_attempt_{};
};

}  // namespace host::link

#endif  // PATHWRIGHT_LINK_GAME_LINK_H_
