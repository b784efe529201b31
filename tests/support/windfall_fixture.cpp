#include "tests/support/windfall_fixture.h"

namespace support {

using mods::json::Value;

namespace {

Value resident(const std::string& id, const std::string& type, Value position) {
  return obj({{"id", str(id)}, {"actor", str("resident")}, {"parameters", obj({{"resident", str(type)}})},
              {"position", std::move(position)}});
}

Value with_path(Value actor, Value path) {
  actor["path"] = std::move(path);
  return actor;
}

Value route(std::vector<Value> points, const std::string& mode) {
  return obj({{"points", arr(std::move(points))}, {"mode", str(mode)}});
}

}  // namespace

WindfallTest::WindfallTest() {
  Value actors = arr({
      resident("gate_1", "ub4", point(0, 0, 0)),
      with_path(resident("walker", "ub3", point(0, 0, 0)),
                route({point(10, 0, 0), point(20, 0, 0), point(30, 0, 0)}, "once")),
      obj({{"id", str("boko")}, {"actor", str("bokoblin")}, {"position", point(5, 0, 5)}}),
      obj({{"id", str("statue")}, {"actor", str("statue_model")}, {"kind", str("mod")},
           {"position", point(1.25, -1.25, 0.04)}}),
      obj({{"id", str("ghost")}, {"actor", str("ghost_model")}, {"kind", str("mod")}}),
      resident("bench_man", "ym1", point(0, 0, 0)),
      obj({{"id", str("chest")}, {"actor", str("treasure_chest")}, {"position", point(0, 0, 0)}}),
  });
  session.add("windfall", obj({{"name", str("Windfall")}, {"actors", std::move(actors)}}));
}

const Value& WindfallTest::actor(const std::string& id) {
  for (const Value& candidate : session.packages["windfall"].document.get("actors").items) {
    if (candidate.get("id").string("") == id) return candidate;
  }
  static const Value none;
  return none;
}

Value WindfallTest::params(const std::string& id, std::vector<std::pair<std::string, Value>> more) {
  Value value = obj(std::move(more));
  value["id"] = str(id);
  return value;
}

}  // namespace support
