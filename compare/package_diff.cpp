#include "compare/package_diff.h"

#include "compare/actor_keys.h"
#include "compare/point_alignment.h"
#include "compare/value_text.h"

namespace host::compare {
namespace {

using mods::json::Value;

// The route's settings and the actor's position are named in a change; other members only by name.
constexpr const char* kSettings[] = {"mode", "speed", "pauses", "walk", "idle"};

class Differ {
 public:
  explicit Differ(std::vector<Value>& out) : out_(out) {}

  void actor(const std::string& id, const Value& before, const Value& after) {
    id_ = id;
    for (const auto& [name, value] : before.members) {
      if (name == "path" || name == "position" || name == "id") continue;
      if (!after.has(name))
        member("member removed", name, "\"" + name + "\" removed");
      else if (!(after.get(name) == value))
        member("member changed", name, "\"" + name + "\" changed");
    }
    for (const auto& [name, value] : after.members) {
      if (name != "path" && name != "position" && name != "id" && !before.has(name))
        member("member added", name, "\"" + name + "\" added");
    }
    setting("position", before, after);
    route(before, after);
  }

  void whole(const std::string& id, const char* change) {
    id_ = id;
    add(Value::object(), change, change);
  }

  void package_member(const std::string& name, const char* change, const char* verb) {
    Value entry = Value::object();
    entry["id"] = Value();
    entry["change"] = Value::of(change);
    entry["member"] = Value::of(name);
    entry["text"] = Value::of("package \"" + name + "\" " + verb);
    out_.push_back(std::move(entry));
  }

 private:
  void add(Value entry, const char* change, const std::string& text) {
    entry["id"] = Value::of(id_);
    entry["change"] = Value::of(change);
    entry["text"] = Value::of(id_label(id_) + ": " + text);
    out_.push_back(std::move(entry));
  }

  void member(const char* change, const std::string& name, const std::string& text) {
    Value entry = Value::object();
    entry["member"] = Value::of(name);
    add(std::move(entry), change, text);
  }

  // A named setting of `before` and `after` (the route's, or the actor's position).
  void setting(const std::string& name, const Value& before, const Value& after) {
    const bool had = before.has(name), has = after.has(name);
    Value entry = Value::object();
    entry["member"] = Value::of(name);
    if (had) entry["from"] = before.get(name);
    if (has) entry["to"] = after.get(name);
    const std::string from = value_text(before.get(name)), to = value_text(after.get(name));
    if (had && has && !(before.get(name) == after.get(name))) {
      add(std::move(entry), "setting changed", name + " changed from " + from + " to " + to);
    } else if (had && !has) {
      add(std::move(entry), "setting removed", name + " removed: " + from);
    } else if (!had && has) {
      add(std::move(entry), "setting added", name + " added: " + to);
    }
  }

  void route(const Value& actor_before, const Value& actor_after) {
    const Value& before = actor_before.get("path");
    const Value& after = actor_after.get("path");
    if (before == after) return;
    if (!before.is_object() || !after.is_object()) {
      if (!after.is_object()) { add(Value::object(), "route removed", "route removed"); }
      if (!before.is_object() && after.is_object()) {
        Value entry = Value::object();
        entry["to"] = after;
        add(std::move(entry), "route added",
            "route added (" + std::to_string(after.get("points").items.size()) + " points)");
      }
      return;
    }
    for (const char* name : kSettings) setting(name, before, after);
    for (const auto& [name, value] : before.members) {
      if (name == "points" || is_setting(name)) continue;
      if (!after.has(name))
        member("member removed", name, "route \"" + name + "\" removed");
      else if (!(after.get(name) == value))
        member("member changed", name, "route \"" + name + "\" changed");
    }
    for (const auto& [name, value] : after.members) {
      if (name != "points" && !is_setting(name) && !before.has(name))
        member("member added", name, "route \"" + name + "\" added");
    }
    const Value& old_points = before.get("points");
    const Value& new_points = after.get("points");
    if (old_points == new_points) return;
    if (old_points.is_array() && new_points.is_array()) {
      points(old_points.items, new_points.items);
    } else {
      member("member changed", "points", "route \"points\" changed");
    }
  }

  static bool is_setting(const std::string& name) {
    for (const char* setting : kSettings) {
      if (name == setting) return true;
    }
    return false;
  }

  // The edit script of a route's points, each run of removed and added points between kept ones read as
  // moves where they pair up.
  void points(const std::vector<Value>& before, const std::vector<Value>& after) {
    const std::vector<std::size_t> kept = align(before, after);
    std::size_t i = 0, j = 0;
    while (i < before.size() || j < after.size()) {
      std::size_t i_end = i;
      while (i_end < before.size() && kept[i_end] == kGone) ++i_end;
      const std::size_t j_end = i_end < before.size() ? kept[i_end] : after.size();
      std::size_t k = 0;
      for (; i + k < i_end && j + k < j_end; ++k) point("point moved", j + k, &before[i + k], &after[j + k]);
      for (std::size_t r = i + k; r < i_end; ++r) point("point removed", r, &before[r], nullptr);
      for (std::size_t a = j + k; a < j_end; ++a) point("point added", a, nullptr, &after[a]);
      i = i_end + 1, j = j_end + 1;
    }
  }

  void point(const char* change, std::size_t index, const Value* from, const Value* to) {
    Value entry = Value::object();
    entry["point"] = Value::of(static_cast<double>(index + 1));
    std::string text = "point " + std::to_string(index + 1);
    if (from != nullptr) entry["from"] = *from;
    if (to != nullptr) entry["to"] = *to;
    if (from != nullptr && to != nullptr) {
      text += " moved from " + value_text(*from) + " to " + value_text(*to);
    } else if (from != nullptr) {
      text += " removed from " + value_text(*from);
    } else {
      text += " added at " + value_text(*to);
    }
    add(std::move(entry), change, text);
  }

  std::vector<Value>& out_;
  std::string id_;
};

}  // namespace

bool is_package(const Value& document, std::string& error) {
  if (!document.is_object()) {
    error = "not a package: the text is JSON but not an object";
    return false;
  }
  const Value& actors = document.get("actors");
  if (document.has("actors") && !actors.is_array()) {
    error = "not a package: \"actors\" is not an array";
    return false;
  }
  for (std::size_t k = 0; k < actors.items.size(); ++k) {
    if (!actors.items[k].is_object()) {
      error = "not a package: actors[" + std::to_string(k) + "] is not an object";
      return false;
    }
  }
  return true;
}

std::vector<Value> diff_packages(const Value& before, const Value& after) {
  std::vector<Value> changes;
  Differ differ(changes);
  const Value& old_actors = before.get("actors");
  const Value& new_actors = after.get("actors");
  const ActorIndex old_index(old_actors), new_index(new_actors);
  for (std::size_t k = 0; k < old_index.size(); ++k) {
    const ActorKey& key = old_index.key(k);
    const std::size_t* match = new_index.find(key);
    if (match == nullptr) {
      differ.whole(key.id, "actor removed");
    } else if (!(old_actors.items[k] == new_actors.items[*match])) {
      differ.actor(key.id, old_actors.items[k], new_actors.items[*match]);
    }
  }
  for (std::size_t k = 0; k < new_index.size(); ++k) {
    if (old_index.find(new_index.key(k)) == nullptr) differ.whole(new_index.key(k).id, "actor added");
  }
  for (const auto& [name, value] : before.members) {
    if (name == "actors") continue;
    if (!after.has(name))
      differ.package_member(name, "member removed", "removed");
    else if (!(after.get(name) == value))
      differ.package_member(name, "member changed", "changed");
  }
  for (const auto& [name, value] : after.members) {
    if (name != "actors" && !before.has(name)) differ.package_member(name, "member added", "added");
  }
  return changes;
}

}  // namespace host::compare
