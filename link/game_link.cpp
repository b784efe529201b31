#include "link/game_link.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "json_text/json_text.h"
#include "link/heights_answer_reader.h"
#include "protocol/flat_numbers.h"
#include "protocol/point_codec.h"

namespace host::link {
namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

// A JSON string literal for `text`.
std::string json_string(const std::string& text) {
  std::string out, error;
  json_text::print_json(Value::of(text), json_text::JsonLayout::Compact, out, error);
  return out;
}

std::string seconds_text(double seconds) {
  char buffer[32];
  auto end = std::to_chars(buffer, buffer + sizeof buffer, seconds).ptr;
  return std::string(buffer, end);
}

bool finite(const WorldPoint& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

// Runs `request`, which may throw GameLinkError (after GameLink::fail has dropped the connection and
// kept the reason): the one place where a failure of the link becomes false with its text in `error`,
// for the calls that have an error channel.
template <typename Request>
bool link_failure_as_error(std::string& error, Request&& request) {
  try {
    return request();
  } catch (const GameLinkError& e) {
    error = e.what();
    return false;
  }
}

}  // namespace

std::string GameAddress::text() const { return host + ":" + std::to_string(port); }

Value GameLink::state() const {
  Value game = Value::object();
  game["connected"] = Value::of(connected());
  game["address"] = Value::of(address_.text());
  if (connected()) game["world"] = Value::of(world_);
  if (connected() && !bounds_.is_null()) game["bounds"] = bounds_;
  if (!connected() && !last_problem_.empty()) game["problem"] = Value::of(last_problem_);
  // A game that timed out is left alone for a while; say when the link tries again.
  if (retry_in_seconds() > 0) game["retry_in"] = Value::of(std::ceil(retry_in_seconds() * 10) / 10);
  return game;
}

bool GameLink::advance_clock(double, double&, std::string& error) {
  error = kOnlyInProcessClock;
  return false;
}

bool parse_game_address(const std::string& text, GameAddress& address, std::string& error) {
  auto colon = text.rfind(':');
  if (colon == std::string::npos || colon == 0) {
    error = "the game address \"" + text + "\" is not HOST:PORT";
    return false;
  }
  std::string port_text = text.substr(colon + 1);
  unsigned port = 0;
  auto [end, ec] = std::from_chars(port_text.data(), port_text.data() + port_text.size(), port);
  if (ec != std::errc() || end != port_text.data() + port_text.size() || port == 0 || port > 65535) {
    error = "the game address \"" + text + "\" has no port between 1 and 65535";
    return false;
  }
  address.host = text.substr(0, colon);
  address.port = static_cast<std::uint16_t>(port);
  return true;
}

GameLink::GameLink(GameAddress address, double timeout_seconds)
    : address_(std::move(address)), timeout_seconds_(timeout_seconds) {}

GameLink::~GameLink() = default;

void GameLink::disconnect() {
  connection_.reset();
  world_.clear();
  bounds_ = mods::json::Value();
}

void GameLink::fail(const std::string& what) {
  disconnect();
  last_problem_ = what;
  if (on_note) on_note(what);
  throw GameLinkError(what);
}

bool GameLink::ensure_connected() {
  if (connection_ && connection_->peer_closed()) {
    disconnect();
    last_problem_ = "the game closed the connection";
    if (on_note) on_note(last_problem_);
    attempted_ = false;  // the game may be back already: try at once
  }
  if (connection_) return true;
  const auto now = std::chrono::steady_clock::now();
  if (attempted_ && now - last_attempt_ < std::chrono::milliseconds(kRetryIntervalMs)) return false;
  if (back_off_ms_ > 0 && now < retry_at_) return false;
  return connect_now();
}

double GameLink::retry_in_seconds() const {
  if (connection_ || back_off_ms_ == 0) return 0;
  const auto left = retry_at_ - std::chrono::steady_clock::now();
  return std::max(0.0, std::chrono::duration<double>(left).count());
}

void GameLink::back_off() {
  back_off_ms_ = back_off_ms_ == 0 ? kFirstBackOffMs : std::min(2 * back_off_ms_, kLongestBackOffMs);
  retry_at_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(back_off_ms_);
}

bool GameLink::connect_now() {
  disconnect();
  attempted_ = true;
  last_attempt_ = std::chrono::steady_clock::now();
  std::string error;
  connection_ = LineConnection::connect(address_.host, address_.port, kConnectTimeoutMs, error);
  if (!connection_) {
    std::string problem = "cannot reach the game at " + address_.text() + ": " + error;
    if (problem != last_problem_ && on_note) on_note(problem);
    last_problem_ = problem;
    return false;
  }
  if (!greet()) return false;
  back_off_ms_ = 0;
  last_problem_.clear();
  if (on_note) on_note("connected to the game at " + address_.text() + " (world \"" + world_ + "\")");
  return connection_ != nullptr;
}

bool GameLink::greet() {
  try {
    Value answer;
    std::string error;
    if (!exchange("hello", "", answer, error)) {
      last_problem_ = "the game refused the greeting: " + error;
      disconnect();
      return false;
    }
    const Value& version = answer.get("protocol");
    const Value& world = answer.get("world");
    if (!version.is_number() || !world.is_string()) {
      fail("the game sent a malformed answer: the greeting lacks \"protocol\" or \"world\"");
    }
    if (version.number != protocol::kProtocolVersion) {
      last_problem_ = "the game speaks protocol " + seconds_text(version.number) + ", pathwright speaks " +
                      std::to_string(protocol::kProtocolVersion);
      if (on_note) on_note(last_problem_);
      disconnect();
      return false;
    }
    world_ = world.str;
    bounds_ = answer.get("bounds");
    if (!bounds_.get("low").is_object() || !bounds_.get("high").is_object()) bounds_ = Value();
    if (loaded_packages) {
      for (const editor::Session::Package* package : loaded_packages()) {
        if (!load_package(*package, error)) {
          if (!connection_) return false;
          if (on_refused) {
            on_refused(package->name, error);
          } else if (on_note) {
            on_note("the game did not take package \"" + package->name + "\": " + error);
          }
        }
      }
    }
    return true;
  } catch (const GameLinkError&) {
    return false;  // fail() has dropped the connection and kept the reason
  }
}

bool GameLink::exchange(const std::string& op, const std::string& fields, Value& answer, std::string& error) {
  std::uint64_t id = 0;
  const std::string text = round_trip(op, fields, id);
  return read_answer(text, id, answer, error);
}

std::string GameLink::round_trip(const std::string& op, const std::string& fields, std::uint64_t& id) {
  if (!connection_) throw GameLinkError("the game is not connected");
  id = next_id_++;
  std::string line = "{\"id\":" + std::to_string(id) + ",\"op\":" + json_string(op);
  if (!fields.empty()) line.append(",").append(fields);
  line.push_back('}');

  const int timeout_ms = static_cast<int>(std::ceil(timeout_seconds_ * 1000.0));
  const std::string late = "the game did not answer within " + seconds_text(timeout_seconds_) + " s";
  std::string problem;
  if (!connection_->send_line(line, timeout_ms, problem)) {
    if (problem == "timed out") {
      back_off();
      fail(late);
    }
    fail("the game closed the connection");
  }
  std::string text;
  switch (connection_->read_line(text, timeout_ms, problem)) {
    case LineConnection::Read::Line: break;
    case LineConnection::Read::TimedOut: back_off(); fail(late);
    case LineConnection::Read::Closed: fail("the game closed the connection");
    case LineConnection::Read::Failed: fail("the game link failed: " + problem);
  }
  return text;
}

bool GameLink::read_answer(const std::string& text, std::uint64_t id, Value& answer, std::string& error) {
  json_text::JsonTextError parse_error;
  if (!json_text::parse_json(text, answer, parse_error))
    fail("the game sent a malformed answer: " + parse_error.message());
  if (!answer.is_object()) fail("the game sent a malformed answer: not a JSON object");
  const Value& answer_id = answer.get("id");
  if (!answer_id.is_number() || answer_id.number != static_cast<double>(id)) {
    fail("the game sent a malformed answer: its \"id\" is not the request's " + std::to_string(id));
  }
  const Value& ok = answer.get("ok");
  if (!ok.is_bool()) fail("the game sent a malformed answer: no boolean \"ok\"");
  if (!ok.boolean) {
    const Value& reason = answer.get("error");
    if (!reason.is_string()) fail("the game sent a malformed answer: a refusal without an \"error\" text");
    error = reason.str;
    return false;
  }
  return true;
}

bool GameLink::ground_height(const WorldPoint& probe, float& height, std::string& note) {
  if (!finite(probe)) {
    note = "the probe is not a finite point";
    return false;
  }
  Value answer;
  std::string error;
  if (!exchange("ground_height", protocol::point_fields(probe), answer, error)) {
    throw GameLinkError("the game refused \"ground_height\": " + error);
  }
  const Value& found = answer.get("found");
  if (!found.is_bool()) fail("the game sent a malformed answer: \"found\" is not true or false");
  if (!found.boolean) {
    const Value& why = answer.get("note");
    note = why.is_string() ? why.str : "no ground below";
    return false;
  }
  const Value& h = answer.get("height");
  if (!h.is_number()) fail("the game sent a malformed answer: \"height\" is not a number");
  height = static_cast<float>(h.number);
  return true;
}

bool GameLink::ground_heights(const std::vector<WorldPoint>& probes, std::vector<float>& heights,
                              std::vector<bool>& found, std::string& error) {
  for (std::size_t k = 0; k < probes.size(); ++k) {
    if (!finite(probes[k])) {
      error = "probe " + std::to_string(k + 1) + " is not a finite point";
      return false;
    }
  }
  std::string fields = "\"probes\":";
  protocol::append_point_array(fields, probes.data(), probes.size());
  return link_failure_as_error(error, [&] {
    std::uint64_t id = 0;
    const std::string text = round_trip("ground_heights", fields, id);
    if (!fast_) fast_ = std::make_unique<HeightsAnswerReader>();
    if (fast_->read(text, id, probes.size(), heights, found)) return true;
    // Anything the fast reader does not take goes the careful way, which names what is wrong.
    Value answer;
    if (!read_answer(text, id, answer, error)) {
      error = "the game refused \"ground_heights\": " + error;
      return false;
    }
    const Value& h = answer.get("heights");
    const Value& f = answer.get("found");
    if (!h.is_array() || !f.is_array() || h.items.size() != probes.size() || f.items.size() != probes.size()) {
      fail("the game sent a malformed answer: \"heights\" and \"found\" do not hold one entry per probe");
    }
    heights.assign(probes.size(), 0.0f);
    found.assign(probes.size(), false);
    for (std::size_t k = 0; k < probes.size(); ++k) {
      const Value& hk = h.items[k];
      const Value& fk = f.items[k];
      if (!hk.is_number() || !(fk.is_number() || fk.is_bool())) {
        fail("the game sent a malformed answer: entry " + std::to_string(k + 1) + " is not a number");
      }
      heights[k] = static_cast<float>(hk.number);
      found[k] = fk.is_bool() ? fk.boolean : fk.number != 0;
    }
    return true;
  });
}

Value GameLink::live_route(editor::Session::Package& package, const std::string& id) {
  Value answer;
  std::string error;
  if (!exchange("live_route", "\"package\":" + json_string(package.name) + ",\"actor\":" + json_string(id), answer,
                error)) {
    throw GameLinkError("the game refused \"live_route\": " + error);
  }
  if (!answer.has("route")) fail("the game sent a malformed answer: no \"route\"");
  const Value& route = answer.get("route");
  if (!route.is_null() && !route.is_object()) fail("the game sent a malformed answer: \"route\" is not an object");
  return route;
}

bool GameLink::live_actors(const std::string& package, Value& live, std::string& error) {
  return link_failure_as_error(error, [&] {
    Value answer;
    if (!exchange("live_actors", "\"package\":" + json_string(package), answer, error)) {
      error = "the game refused \"live_actors\": " + error;
      return false;
    }
    if (!answer.get("time").is_number() || !answer.get("actors").is_array()) {
      fail("the game sent a malformed answer: \"live_actors\" lacks \"time\" or \"actors\"");
    }
    live = Value::object();
    live["time"] = answer.get("time");
    live["actors"] = std::move(answer["actors"]);
    return true;
  });
}

bool GameLink::position_op(const std::string& op, WorldPoint& point, std::string& error) {
  return link_failure_as_error(error, [&] {
    Value answer;
    if (!exchange(op, "", answer, error)) {
      error = "the game refused \"" + op + "\": " + error;
      return false;
    }
    if (!protocol::read_point_as_sent(answer, point))
      fail("the game sent a malformed answer: no numbers \"x\", \"y\" and \"z\"");
    return true;
  });
}

bool GameLink::link_position(WorldPoint& point, std::string& error) { return position_op("link", point, error); }

bool GameLink::camera_position(WorldPoint& point, std::string& error) { return position_op("camera", point, error); }

bool GameLink::load_package(const editor::Session::Package& package, std::string& error) {
  std::string document;
  if (!json_text::print_json(package.document, json_text::JsonLayout::Compact, document, error)) return false;
  return link_failure_as_error(error, [&] {
    Value answer;
    if (!exchange("load", "\"package\":" + json_string(package.name) + ",\"document\":" + document, answer, error)) {
      return false;
    }
    if (!answer.get("walking").is_number()) fail("the game sent a malformed answer: \"walking\" is not a number");
    return true;
  });
}

bool GameLink::teleport(const WorldPoint& point, std::string& error) {
  if (!finite(point)) {
    error = "the point is not finite";
    return false;
  }
  return link_failure_as_error(error, [&] {
    Value answer;
    return exchange("teleport", protocol::point_fields(point), answer, error);
  });
}

bool GameLink::advance(double seconds, double& time, std::string& error) {
  return link_failure_as_error(error, [&] {
    Value answer;
    if (!exchange("advance", "\"seconds\":" + seconds_text(seconds), answer, error)) return false;
    if (!answer.get("time").is_number()) fail("the game sent a malformed answer: \"time\" is not a number");
    time = answer.get("time").number;
    return true;
  });
}

}  // namespace host::link
