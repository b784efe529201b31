#include "tests/support/windfall_fixture.h"

namespace support {

using mods::json::Value;

namespace {

Value placed(const std::string& id, const std::string& type, const std::string& resident_type = "") {
  Value actor = obj({{"id", str(id)}, {"actor", str(type)}, {"position", point(0, 0, 0)}});
  if (!resident_type.empty()) actor["parameters"] = obj({{"resident", str(resident_type)}});
  return actor;
}

}  // namespace

// Actors by index: 0 gate_1 (resident, no route), 1 walker (resident, 3 points), 2 boko (Bokoblin),
// 3 statue (model), 4 ghost (model without position), 5 bench_man (seated), 6 chest (may not walk).
WindfallTest::WindfallTest() {
  Value walker = placed("walker", "resident", "ub3");
  walker["path"] = obj({{"points", arr({point(10, 0, 0), point(20, 0, 0), point(30, 0, 0)})}, {"mode", str("once")}});
  Value statue = placed("statue", "statue_model");
  statue["kind"] = str("mod");
  statue["position"] = point(1.25, -1.25, 0.04);
  Value ghost = obj({{"id", str("ghost")}, {"actor", str("ghost_model")}, {"kind", str("mod")}});
  session.add("windfall", obj({{"actors", arr({
                                              placed("gate_1", "resident", "ub4"),
                                              walker,
                                              placed("boko", "bokoblin"),
                                              statue,
                                              ghost,
                                              placed("bench_man", "resident", "ym1"),
                                              placed("chest", "treasure_chest"),
                                          })}}));
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
