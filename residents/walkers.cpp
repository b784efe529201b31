#include "residents/walkers.h"

#include "residents/resident_types.h"
#include "residents/walker_class.h"

namespace story_resident_types {

// Keyed by the catalogue's type number; every type but the seated man (19) has a row.
const Walker kWalkers[15] = {
    {"uo1", 0, 30.0f, 255},  {"uo2", 1, 30.0f, 255}, {"uo3", 2, 60.0f, 255}, {"um1", 9, 63.0f, 255},
    {"um2", 10, 72.0f, 255}, {"ub1", 3, 36.0f, 0},   {"ub2", 4, 36.0f, 0},   {"ub3", 5, 36.0f, 0},
    {"ub4", 6, 36.0f, 0},    {"uw1", 7, 34.0f, 1},   {"uw2", 8, 34.0f, 1},   {"sa1", 12, 60.0f, 2},
    {"sa2", 13, 60.0f, 2},   {"sa3", 14, 60.0f, 2},  {"sa4", 15, 60.0f, 2},
};

}  // namespace story_resident_types

namespace editor {
namespace {

using mods::json::Value;
using story_resident_types::Walker;

constexpr unsigned kSeatedType = 19;          // "ym1": placed seated, never walks
constexpr unsigned kDefaultResidentType = 9;  // the type a resident without a type code walks as

const Walker* walker_row(unsigned number) {
  for (const Walker& walker : story_resident_types::kWalkers) {
    if (walker.index == number) return &walker;
  }
  return nullptr;
}

std::string no_route(const Value& actor) {
  if (resident(actor)) {
    const Value& code = actor.get("parameters").get("resident");
    if (code.kind != Value::Kind::String) return "";
    const story_resident_types::Type* type = story_resident_types::find(code.str);
    if (type == nullptr) return "";
    if (walker_row(type->index) != nullptr) return "";
    if (type->index == kSeatedType) return "this villager is seated and does not walk";
    return "this villager has no walking animation of its own";
  }
  if (actor.get("kind").string("") == "mod") return "";
  return "only residents, Bokoblins, Moblins and the mod's own models walk routes";
}

}  // namespace

std::string route_refusal(const Value& actor) { return no_route(actor); }

WalkerClass walker_class(const Value& actor) {
  if (!no_route(actor).empty()) return WalkerClass::None;
  if (patroller(actor)) return WalkerClass::Patroller;
  if (resident(actor)) return WalkerClass::Resident;
  return WalkerClass::Model;
}

double resident_pace(const Value& actor) {
  const Value& code = actor.get("parameters").get("resident");
  switch (code.kind) {
    case Value::Kind::String: {
      const story_resident_types::Type* type = story_resident_types::find(code.str);
      if (type == nullptr) return 0;
      const Walker* walker = walker_row(type->index);
      return walker != nullptr ? static_cast<double>(walker->pace) : 0;
    }
    case Value::Kind::Null: return walker_row(kDefaultResidentType)->pace;
    case Value::Kind::Number:
      if (code.number == static_cast<double>(kDefaultResidentType)) { return walker_row(kDefaultResidentType)->pace; }
      return 0;
    default: return 0;
  }
}

}  // namespace editor
