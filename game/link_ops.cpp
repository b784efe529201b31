#include "game/link_ops.h"

#include <cstdint>
#include <vector>

#include "game/request_framing.h"
#include "protocol/flat_numbers.h"
#include "protocol/link_protocol.h"
#include "protocol/point_codec.h"

namespace game {

namespace {

using mods::json::Value;
using protocol::put_point;
using protocol::wire_double;
using story_notebook::WorldPoint;

// The probes of a request whose "probes" array was not taken out by the fast path.
bool probes_from_tree(const Value& request, std::vector<float>& probes, std::string& error) {
  const Value& listed = request.get("probes");
  if (!listed.is_array()) {
    error = listed.is_null() && !request.has("probes") ? "\"ground_heights\" needs a \"probes\" array"
                                                       : "\"probes\" is not an array";
    return false;
  }
  probes.clear();
  probes.reserve(listed.items.size());
  for (std::size_t k = 0; k < listed.items.size(); ++k) {
    float value = 0;
    if (!listed.items[k].is_number() || !protocol::narrow_to_float(listed.items[k].number, value)) {
      error = "\"probes\" holds a non-number at index " + std::to_string(k);
      return false;
    }
    probes.push_back(value);
  }
  return true;
}

// --- One handler per op: each answers the whole answer line ------------------------------------------

std::string ground_heights(GameWorld& world, FramedRequest& framed) {
  std::vector<float> probes;
  std::string error;
  if (framed.probes_apart) {
    if (!framed.probes.read) return failure_text(framed.id, "\"probes\" " + framed.probes.error);
    probes = std::move(framed.probes.numbers);
  } else if (!probes_from_tree(framed.request, probes, error)) {
    return failure_text(framed.id, error);
  }
  if (probes.size() % 3 != 0) {
    return failure_text(framed.id,
                        "\"probes\" holds " + std::to_string(probes.size()) + " numbers, not a multiple of 3");
  }
  const std::size_t count = probes.size() / 3;
  std::vector<float> heights(count);
  std::vector<std::uint8_t> found(count);
  world.ground_heights(probes.data(), count, heights.data(), found.data());
  std::string out = "{\"id\":";
  out += answer_text(framed.id);
  out += ",\"ok\":true,\"heights\":";
  protocol::append_float_array(out, heights.data(), count);
  out += ",\"found\":";
  protocol::append_flag_array(out, found.data(), count);
  out += '}';
  return out;
}

std::string hello(GameWorld& world, FramedRequest& framed) {
  Value answer = success_answer(framed.id);
  answer["protocol"] = Value::of(static_cast<double>(protocol::kProtocolVersion));
  answer["world"] = Value::of(world.name());
  Value& bounds = answer["bounds"];
  put_point(bounds["low"], world.low());
  put_point(bounds["high"], world.high());
  return answer_text(answer);
}

std::string ground_height(GameWorld& world, FramedRequest& framed) {
  WorldPoint probe;
  if (!protocol::read_point_narrowing(framed.request, probe)) {
    return failure_text(framed.id, "\"ground_height\" needs numbers \"x\", \"y\" and \"z\"");
  }
  Value answer = success_answer(framed.id);
  float height = 0;
  std::string note;
  if (world.ground_height(probe, height, note)) {
    answer["found"] = Value::of(true);
    answer["height"] = Value::of(wire_double(height));
  } else {
    answer["found"] = Value::of(false);
    answer["note"] = Value::of(note);
  }
  return answer_text(answer);
}

std::string link(GameWorld& world, FramedRequest& framed) {
  Value answer = success_answer(framed.id);
  put_point(answer, world.link());
  return answer_text(answer);
}

std::string camera(GameWorld& world, FramedRequest& framed) {
  Value answer = success_answer(framed.id);
  put_point(answer, world.camera());
  return answer_text(answer);
}

std::string teleport(GameWorld& world, FramedRequest& framed) {
  WorldPoint point;
  if (!protocol::read_point_narrowing(framed.request, point)) {
    return failure_text(framed.id, "\"teleport\" needs numbers \"x\", \"y\" and \"z\"");
  }
  world.teleport(point);
  return answer_text(success_answer(framed.id));
}

std::string load(GameWorld& world, FramedRequest& framed) {
  const Value& package = framed.request.get("package");
  if (!package.is_string()) return failure_text(framed.id, "\"load\" needs a string \"package\"");
  int walking = 0;
  std::string error;
  if (!world.load(package.str, framed.request.get("document"), walking, error)) return failure_text(framed.id, error);
  Value answer = success_answer(framed.id);
  answer["walking"] = Value::of(static_cast<double>(walking));
  return answer_text(answer);
}

std::string live_route(GameWorld& world, FramedRequest& framed) {
  const Value& package = framed.request.get("package");
  const Value& actor = framed.request.get("actor");
  if (!package.is_string() || !actor.is_string()) {
    return failure_text(framed.id, "\"live_route\" needs strings \"package\" and \"actor\"");
  }
  Value answer = success_answer(framed.id);
  answer["route"] = world.live_route(package.str, actor.str);
  return answer_text(answer);
}

std::string live_actors(GameWorld& world, FramedRequest& framed) {
  const Value& package = framed.request.get("package");
  if (!package.is_string()) return failure_text(framed.id, "\"live_actors\" needs a string \"package\"");
  Value live = world.live_actors(package.str);
  if (live.is_null()) return failure_text(framed.id, "no package \"" + package.str + "\" is loaded");
  Value answer = success_answer(framed.id);
  answer["time"] = live.get("time");
  answer["actors"] = std::move(live["actors"]);
  return answer_text(answer);
}

std::string advance(GameWorld& world, FramedRequest& framed) {
  const Value& seconds = framed.request.get("seconds");
  if (!seconds.is_number()) return failure_text(framed.id, "\"advance\" needs a number \"seconds\"");
  double time = 0;
  std::string error;
  if (!world.advance(seconds.number, time, error)) return failure_text(framed.id, error);
  Value answer = success_answer(framed.id);
  answer["time"] = Value::of(time);
  return answer_text(answer);
}

struct Op {
  std::string_view name;
  std::string (*handle)(GameWorld& world, FramedRequest& framed);
};

// clang-format off
constexpr Op kOps[] = {
    {.name = "ground_heights", .handle = ground_heights},
    {.name = "hello", .handle = hello},
    {.name = "ground_height", .handle = ground_height},
    {.name = "link", .handle = link},
    {.name = "camera", .handle = camera},
    {.name = "teleport", .handle = teleport},
    {.name = "load", .handle = load},
    {.name = "live_route", .handle = live_route},
    {.name = "live_actors", .handle = live_actors},
    {.name = "advance", .handle = advance},
};
// clang-format on

}  // namespace

std::string LinkProtocol::answer(std::string_view line) const {
  FramedRequest framed;
  std::string refusal;
  if (!frame_request(line, framed, refusal)) return refusal;
  for (const Op& op : kOps) {
    if (op.name == framed.op) return op.handle(world_, framed);
  }
  return failure_text(framed.id, "unknown op \"" + framed.op + "\"");
}

}  // namespace game
