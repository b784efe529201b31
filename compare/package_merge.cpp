#include "compare/package_merge.h"

#include <set>

#include "compare/actor_keys.h"
#include "compare/point_alignment.h"
#include "compare/value_text.h"

namespace host::compare {
namespace {

using mods::json::Value;

constexpr const char* kRouteSettings[] = {"mode", "speed", "pauses", "walk", "idle"};

bool same(const Value* a, const Value* b) { return a == nullptr ? b == nullptr : b != nullptr && *a == *b; }

const Value* member_of(const Value* object, const std::string& name) {
  if (object == nullptr) return nullptr;
  const auto found = object->members.find(name);
  return found == object->members.end() ? nullptr : &found->second;
}

// The three-way rule for one value (null: absent): the side that changed it, or ours when both changed it
// differently, which sets `conflict`.
const Value* pick(const Value* base, const Value* ours, const Value* theirs, bool& conflict) {
  conflict = false;
  if (same(ours, theirs) || same(base, theirs)) return ours;
  if (same(base, ours)) return theirs;
  conflict = true;
  return ours;
}

std::string side_text(const Value* value) { return value == nullptr ? "removed" : value_text(*value); }

std::string points_text(const std::vector<Value>& points, std::size_t begin, std::size_t end) {
  std::string text = "[";
  for (std::size_t k = begin; k < end; ++k) text += (k == begin ? "" : ", ") + value_text(points[k]);
  return text + "]";
}

Value points_value(const std::vector<Value>& points, std::size_t begin, std::size_t end) {
  Value array = Value::array();
  array.items.assign(points.begin() + static_cast<std::ptrdiff_t>(begin),
                     points.begin() + static_cast<std::ptrdiff_t>(end));
  return array;
}

// Merges one actor, collecting its conflicts.
class ActorMerger {
 public:
  ActorMerger(const std::string& id, std::vector<std::string>& lines) : label_(id_label(id)), lines_(lines) {}

  // The merged actor; null when the merge removes it.
  const Value* merge(const Value* base, const Value* ours, const Value* theirs, Value& merged) {
    if (same(ours, theirs) || same(base, theirs)) return ours;
    if (same(base, ours)) return theirs;
    if (ours == nullptr || theirs == nullptr) {
      conflict(
          ours == nullptr ? "ours removed the actor, theirs changed it" : "ours changed the actor, theirs removed it",
          base, ours, theirs);
      return ours;
    }
    merged = members(base == nullptr ? Value::object() : *base, *ours, *theirs, false);
    return &merged;
  }

  const Value& records() const { return records_; }

 private:
  void conflict(const std::string& what, const Value* base, const Value* ours, const Value* theirs) {
    const std::string text = label_ + ": " + what;
    lines_.push_back(text);
    Value record = Value::object();
    record["text"] = Value::of(text);
    if (base != nullptr) record["base"] = *base;
    if (ours != nullptr) record["ours"] = *ours;
    if (theirs != nullptr) record["theirs"] = *theirs;
    records_.items.push_back(std::move(record));
  }

  static std::string member_label(const std::string& name, bool route) {
    for (const char* setting : kRouteSettings) {
      if (route && name == setting) return name;
    }
    if (!route && name == "position") return name;
    return (route ? "route \"" : "\"") + name + "\"";
  }

  Value members(const Value& base, const Value& ours, const Value& theirs, bool route) {
    std::set<std::string> names;
    for (const Value* object : {&base, &ours, &theirs}) {
      for (const auto& member : object->members) names.insert(member.first);
    }
    Value merged = Value::object();
    for (const std::string& name : names) {
      const Value *b = member_of(&base, name), *o = member_of(&ours, name), *t = member_of(&theirs, name);
      const bool nested = o != nullptr && t != nullptr && !same(o, t) && !same(b, o) && !same(b, t);
      if (nested && !route && name == "path" && o->is_object() && t->is_object() && (b == nullptr || b->is_object())) {
        merged[name] = members(b == nullptr ? Value::object() : *b, *o, *t, true);
        continue;
      }
      if (nested && route && name == "points" && o->is_array() && t->is_array() && (b == nullptr || b->is_array())) {
        merged[name] = points(b == nullptr ? std::vector<Value>() : b->items, o->items, t->items);
        continue;
      }
      bool conflicting = false;
      const Value* chosen = pick(b, o, t, conflicting);
      if (conflicting) {
        conflict(
            member_label(name, route) + ": both sides changed it: ours " + side_text(o) + ", theirs " + side_text(t), b,
            o, t);
      }
      if (chosen != nullptr) merged[name] = *chosen;
    }
    return merged;
  }

  // A route's points: kept runs that both sides left alone anchor the merge; each stretch between anchors
  // is merged by chunk().
  Value points(const std::vector<Value>& base, const std::vector<Value>& ours, const std::vector<Value>& theirs) {
    const std::vector<std::size_t> to_ours = align(base, ours), to_theirs = align(base, theirs);
    Value out = Value::array();
    for (std::size_t b = 0, o = 0, t = 0;;) {
      std::size_t anchor = b;
      while (anchor < base.size() && (to_ours[anchor] == kGone || to_theirs[anchor] == kGone)) ++anchor;
      const std::size_t o_end = anchor < base.size() ? to_ours[anchor] : ours.size();
      const std::size_t t_end = anchor < base.size() ? to_theirs[anchor] : theirs.size();
      chunk({base, b, anchor}, {ours, o, o_end}, {theirs, t, t_end}, out.items);
      if (anchor == base.size()) break;
      out.items.push_back(base[anchor]);
      b = anchor + 1, o = o_end + 1, t = t_end + 1;
    }
    return out;
  }

  struct Run {
    const std::vector<Value>& points;
    std::size_t begin, end;
    std::size_t size() const { return end - begin; }
    const Value& operator[](std::size_t k) const { return points[begin + k]; }
    bool operator==(const Run& other) const {
      if (size() != other.size()) return false;
      for (std::size_t k = 0; k < size(); ++k) {
        if (!((*this)[k] == other[k])) return false;
      }
      return true;
    }
    void append_to(std::vector<Value>& out) const {
      out.insert(out.end(), points.begin() + static_cast<std::ptrdiff_t>(begin),
                 points.begin() + static_cast<std::ptrdiff_t>(end));
    }
  };

  void chunk(const Run& base, const Run& ours, const Run& theirs, std::vector<Value>& out) {
    if (ours == theirs || base == theirs) return ours.append_to(out);
    if (base == ours) return theirs.append_to(out);
    if (base.size() == ours.size() && base.size() == theirs.size()) {
      for (std::size_t k = 0; k < base.size(); ++k) {
        bool conflicting = false;
        const Value* chosen = pick(&base[k], &ours[k], &theirs[k], conflicting);
        if (conflicting) {
          conflict("point " + std::to_string(out.size() + 1) + ": both sides moved it: ours " + value_text(ours[k]) +
                       ", theirs " + value_text(theirs[k]),
                   &base[k], &ours[k], &theirs[k]);
        }
        out.push_back(*chosen);
      }
      return;
    }
    const std::string where = base.size() == 0
                                  ? (out.empty() ? "before point 1" : "after point " + std::to_string(out.size())) +
                                        ": both sides added points"
                                  : "points " + std::to_string(base.begin + 1) + " to " + std::to_string(base.end) +
                                        ": both sides changed them";
    const Value b = points_value(base.points, base.begin, base.end),
                o = points_value(ours.points, ours.begin, ours.end),
                t = points_value(theirs.points, theirs.begin, theirs.end);
    conflict(where + ": ours " + points_text(ours.points, ours.begin, ours.end) + ", theirs " +
                 points_text(theirs.points, theirs.begin, theirs.end),
             &b, &o, &t);
    ours.append_to(out);
  }

  std::string label_;
  std::vector<std::string>& lines_;
  Value records_ = Value::array();
};

// Where theirs' new actors go: after the actor of ours each follows in theirs (ours.size() for before
// the first), in theirs' order.
std::vector<std::vector<std::size_t>> placed_additions(const ActorIndex& base, const ActorIndex& ours,
                                                       const ActorIndex& theirs) {
  std::vector<std::vector<std::size_t>> after(ours.size() + 1);
  std::size_t anchor = ours.size();
  for (std::size_t k = 0; k < theirs.size(); ++k) {
    const std::size_t* in_ours = ours.find(theirs.key(k));
    if (in_ours != nullptr) {
      anchor = *in_ours;
    } else if (base.find(theirs.key(k)) == nullptr) {
      after[anchor].push_back(k);
    }
  }
  return after;
}

Value conflicted_actor(const ActorKey& key, const Value* base, const Value* ours, const Value* theirs,
                       const Value& records) {
  Value entry = Value::object();
  entry["id"] = Value::of(key.id);
  entry["occurrence"] = Value::of(static_cast<double>(key.occurrence));
  if (base != nullptr) entry["base"] = *base;
  if (ours != nullptr) entry["ours"] = *ours;
  if (theirs != nullptr) entry["theirs"] = *theirs;
  entry["conflicts"] = records;
  return entry;
}

// The package's own members beside "actors", by the three-way rule; answers the conflicts' records.
Value merge_members(const Value& base, const Value& ours, const Value& theirs, Value& merged,
                    std::vector<std::string>& lines) {
  Value conflicted_members = Value::array();
  std::set<std::string> names;
  for (const Value* document : {&base, &ours, &theirs}) {
    for (const auto& member : document->members) {
      if (member.first != "actors") names.insert(member.first);
    }
  }
  for (const std::string& name : names) {
    const Value *b = member_of(&base, name), *o = member_of(&ours, name), *t = member_of(&theirs, name);
    bool conflicting = false;
    const Value* chosen = pick(b, o, t, conflicting);
    if (conflicting) {
      const std::string text =
          "package \"" + name + "\": both sides changed it: ours " + side_text(o) + ", theirs " + side_text(t);
      lines.push_back(text);
      Value record = Value::object();
      record["name"] = Value::of(name);
      record["text"] = Value::of(text);
      if (b != nullptr) record["base"] = *b;
      if (o != nullptr) record["ours"] = *o;
      if (t != nullptr) record["theirs"] = *t;
      conflicted_members.items.push_back(std::move(record));
    }
    if (chosen != nullptr) merged[name] = *chosen;
  }
  return conflicted_members;
}

}  // namespace

MergeOutcome merge_packages(const Value& base, Value ours, Value theirs) {
  MergeOutcome outcome;
  Value& merged = outcome.merged;
  merged = Value::object();
  Value conflicted_actors = Value::array();
  const bool any_actors = ours.has("actors") || theirs.has("actors");
  const Value& base_actors = base.get("actors");
  std::vector<Value>& ours_actors = ours["actors"].items;
  const std::vector<Value>& theirs_actors = theirs.get("actors").items;
  const ActorIndex base_index(base_actors), ours_index(ours.get("actors")), theirs_index(theirs.get("actors"));
  const std::vector<std::vector<std::size_t>> additions = placed_additions(base_index, ours_index, theirs_index);

  Value& actors = merged["actors"];
  actors = Value::array();
  actors.items.reserve(ours_actors.size() + theirs_actors.size());
  const auto take = [&](const ActorKey& key, const Value* b, Value* o, const Value* t) {
    ActorMerger merger(key.id, outcome.conflicts);
    Value built;
    const Value* chosen = merger.merge(b, o, t, built);
    if (!merger.records().items.empty())
      conflicted_actors.items.push_back(conflicted_actor(key, b, o, t, merger.records()));
    if (chosen == o && o != nullptr)
      actors.items.push_back(std::move(*o));
    else if (chosen != nullptr)
      actors.items.push_back(chosen == &built ? std::move(built) : *chosen);
  };
  for (std::size_t k : additions[ours_index.size()]) take(theirs_index.key(k), nullptr, nullptr, &theirs_actors[k]);
  for (std::size_t k = 0; k < ours_index.size(); ++k) {
    const ActorKey& key = ours_index.key(k);
    const std::size_t *b = base_index.find(key), *t = theirs_index.find(key);
    take(key, b ? &base_actors.items[*b] : nullptr, &ours_actors[k], t ? &theirs_actors[*t] : nullptr);
    for (std::size_t added : additions[k]) take(theirs_index.key(added), nullptr, nullptr, &theirs_actors[added]);
  }
  // Actors ours removed: gone, unless theirs changed them (a conflict, and gone as ours has it).
  for (std::size_t k = 0; k < base_index.size(); ++k) {
    const std::size_t* t = theirs_index.find(base_index.key(k));
    if (ours_index.find(base_index.key(k)) == nullptr && t != nullptr) {
      take(base_index.key(k), &base_actors.items[k], nullptr, &theirs_actors[*t]);
    }
  }

  Value conflicted_members = merge_members(base, ours, theirs, merged, outcome.conflicts);
  if (!any_actors) merged.members.erase("actors");
  if (!outcome.conflicts.empty()) {
    outcome.kept = Value::object();
    outcome.kept["actors"] = std::move(conflicted_actors);
    outcome.kept["members"] = std::move(conflicted_members);
  }
  return outcome;
}

}  // namespace host::compare
