// The cases about the world: single and batched ground queries, Link and the camera.
#include <cmath>

#include "bridge_check/check_cases.h"
#include "protocol/flat_numbers.h"
#include "protocol/link_protocol.h"
#include "protocol/point_codec.h"

namespace host::bridge_check {
namespace {

using mods::json::Value;

constexpr std::size_t kSampleEvery = 10;  // batch entries compared one by one in the largest batches
constexpr float kFarOutside = 1e20f;      // a probe's x this far is outside any world

[[noreturn]] void fail(const std::string& sent, const Value& got, const std::string& expected) {
  throw CaseFailure("sent " + excerpt(sent) + ", got " + excerpt(compact(got)) + ", expected " + expected);
}

struct Ground {
  bool found = false;
  float height = 0;
  std::string note;
};

Ground ground_below(BridgeSession& session, const WorldPoint& probe) {
  const double id = session.next_id();
  const std::string line = request(id, "ground_height", protocol::point_fields(probe));
  const Value answer = session.ask_ok(line, id);
  const Value& found = answer.get("found");
  Ground ground;
  if (!found.is_bool()) fail(line, answer, "a boolean \"found\"");
  ground.found = found.boolean;
  if (ground.found) {
    if (!answer.get("height").is_number() || !std::isfinite(answer.get("height").number)) {
      fail(line, answer, "a finite number \"height\"");
    }
    ground.height = static_cast<float>(answer.get("height").number);
  } else {
    if (!answer.get("note").is_string()) fail(line, answer, "a \"note\" text where nothing is found");
    ground.note = answer.get("note").str;
  }
  return ground;
}

// Asks "ground_heights" for `probes`, the line padded with spaces to `pad_to` bytes when larger.
void ground_heights(BridgeSession& session, const std::vector<WorldPoint>& probes, std::size_t pad_to,
                    std::vector<float>& heights, std::vector<bool>& found) {
  const double id = session.next_id();
  std::string fields = "\"probes\":";
  protocol::append_point_array(fields, probes.data(), probes.size());
  std::string line = request(id, "ground_heights", fields);
  if (line.size() < pad_to) line.insert(line.size() - 2, pad_to - line.size(), ' ');  // before the "]}"
  const Value answer = session.ask_ok(line, id);
  std::string expected;
  if (!read_heights(answer, probes.size(), heights, found, expected)) fail(line, answer, expected);
}

// The batch's entries agree with "ground_height" of the same probes (every `every`-th).
void compare_with_single(BridgeSession& session, const std::vector<WorldPoint>& probes,
                         const std::vector<float>& heights, const std::vector<bool>& found, std::size_t every) {
  for (std::size_t k = 0; k < probes.size(); k += every) {
    const Ground single = ground_below(session, probes[k]);
    if (single.found != found[k] || (single.found && single.height != heights[k])) {
      throw CaseFailure("sent \"ground_heights\" of " + std::to_string(probes.size()) + " probes, got entry " +
                        std::to_string(k + 1) + " found " + std::to_string(found[k] ? 1 : 0) + " height " +
                        protocol::float_text(heights[k]) + ", expected what \"ground_height\" answers for it: " +
                        (single.found ? "height " + protocol::float_text(single.height) : "not found"));
    }
  }
}

}  // namespace

std::string ground_height_case(CheckContext& context) {
  auto session = context.open();
  const std::vector<WorldPoint> candidates = context.probes(400, *session);
  const WorldPoint* on_ground = nullptr;
  Ground ground;
  for (const WorldPoint& probe : candidates) {
    ground = ground_below(*session, probe);
    if (ground.found) {
      on_ground = &probe;
      break;
    }
  }
  if (on_ground == nullptr) {
    throw CaseFailure("sent \"ground_height\" for " + std::to_string(candidates.size()) +
                      " probes above the world, got \"found\": false for all, expected ground below some");
  }
  if (ground.height > on_ground->y) {
    throw CaseFailure("sent a probe at y " + protocol::float_text(on_ground->y) + ", got ground at " +
                      protocol::float_text(ground.height) + ", expected the first surface below the probe");
  }
  // Nothing below: far beneath the ground found, and far outside the world.
  const WorldPoint beneath{on_ground->x, ground.height - 100000.0f, on_ground->z};
  const Ground none = ground_below(*session, beneath);
  std::string where = "(";
  where.append(protocol::float_text(beneath.x)).append(", ").append(protocol::float_text(beneath.z)).append(")");
  if (none.found || (none.note != "open sea below " + where && none.note != "nothing below " + where)) {
    throw CaseFailure("sent a probe 100000 units below the ground, got " +
                      (none.found ? "ground" : "the note \"" + none.note + "\"") +
                      ", expected the note \"open sea below " + where + "\" or \"nothing below " + where + "\"");
  }
  const Ground outside = ground_below(*session, {kFarOutside, 0, 0});
  if (outside.found || outside.note != "outside the world: (1e+20, 0)") {
    throw CaseFailure("sent a probe at (1e+20, 0, 0), got " +
                      (outside.found ? "ground" : "the note \"" + outside.note + "\"") +
                      ", expected the note \"outside the world: (1e+20, 0)\"");
  }
  return "";
}

std::string ground_heights_case(CheckContext& context) {
  auto session = context.open();
  std::vector<float> heights;
  std::vector<bool> found;
  ground_heights(*session, {}, 0, heights, found);
  for (const std::size_t count : {std::size_t{1}, std::size_t{1000}}) {
    const std::vector<WorldPoint> probes = context.probes(count, *session);
    ground_heights(*session, probes, 0, heights, found);
    compare_with_single(*session, probes, heights, found, 1);
  }
  const std::vector<WorldPoint> many = context.probes(100000, *session);
  ground_heights(*session, many, 0, heights, found);
  compare_with_single(*session, many, heights, found, kSampleEvery);
  // The same probes in a line exactly as long as the protocol allows.
  std::vector<float> at_limit;
  std::vector<bool> found_at_limit;
  ground_heights(*session, many, protocol::kMaxLineBytes, at_limit, found_at_limit);
  if (at_limit != heights || found_at_limit != found) {
    throw CaseFailure("sent the 100000 probes again in a line of " + std::to_string(protocol::kMaxLineBytes) +
                      " bytes, got other heights, expected the same");
  }
  return "";
}

std::string link_camera_case(CheckContext& context) {
  auto session = context.open();
  WorldPoint link, camera, moved;
  std::string expected;
  const auto position = [&](const char* op, WorldPoint& point) {
    const Value answer = session->call(op);
    if (!read_finite_point(answer, point, expected)) fail(op, answer, expected);
  };
  position("link", link);
  position("camera", camera);
  const WorldPoint target{link.x + 10.5f, link.y, link.z - 10.25f};
  session->call("teleport", protocol::point_fields(target));
  position("link", moved);
  const bool there = moved.x == target.x && moved.y == target.y && moved.z == target.z;
  session->call("teleport", protocol::point_fields(link));  // back where Link stood
  if (!there) {
    throw CaseFailure("sent \"teleport\" to (" + protocol::float_text(target.x) + ", " +
                      protocol::float_text(target.y) + ", " + protocol::float_text(target.z) + "), got \"link\" at (" +
                      protocol::float_text(moved.x) + ", " + protocol::float_text(moved.y) + ", " +
                      protocol::float_text(moved.z) + "), expected Link at the point as given");
  }
  return "";
}

}  // namespace host::bridge_check
