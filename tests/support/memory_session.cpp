#include "tests/support/memory_session.h"

namespace support {

using mods::json::Value;

editor::Session::Package& MemorySession::add(const std::string& name, Value document) {
  Package& package = packages[name];
  package.name = name;
  package.document = std::move(document);
  return package;
}

editor::Session::Package* MemorySession::package(const Value& params, std::string& error) {
  calls.push_back("package");
  const std::string name = params.get("package").string("windfall");
  auto it = packages.find(name);
  if (it == packages.end()) {
    error = "no package \"" + name + "\" in the store";
    return nullptr;
  }
  return &it->second;
}

bool MemorySession::change(Package& package, const std::string& label, const Edit& edit, Value& result,
                           std::string& error) {
  (void)result;
  calls.push_back("change " + label);
  if (edits == Edits::InPlace) {
    if (!edit(package.document, error)) return false;
  } else {
    Value copy = package.document;
    if (!edit(copy, error)) return false;
    if (change_refusal.empty()) package.document = std::move(copy);
  }
  if (!change_refusal.empty()) {
    error = change_refusal;
    return false;
  }
  return true;
}

bool MemorySession::where(const Value& params, editor::Place& place, std::string& error) {
  (void)params;
  calls.push_back("where");
  if (!where_error.empty()) {
    error = where_error;
    return false;
  }
  place.point = where_point;
  return true;
}

MemorySession::Answer MemorySession::run(const std::string& route, const Value& params,
                                         const std::string& error_before) {
  Answer answer;
  answer.error = error_before;
  answer.ok = true;
  answer.handled = false;
  answer.result = dispatch_route(route, params, answer.error, answer.ok, answer.handled);
  return answer;
}

bool ScriptedGame::ground_height(const story_notebook::WorldPoint& probe, float& height, std::string& note) {
  single_probes.push_back(probe);
  if (ground(probe, height)) return true;
  note = no_ground_note;
  return false;
}

bool ScriptedGame::ground_heights(const std::vector<story_notebook::WorldPoint>& probes,
                                  std::vector<float>& heights, std::vector<bool>& found, std::string& error) {
  batch_probes.push_back(probes);
  if (!batch_error.empty()) {
    error = batch_error;
    return false;
  }
  for (const story_notebook::WorldPoint& probe : probes) {
    float height = 0.0f;
    const bool there = ground(probe, height);
    found.push_back(there);
    heights.push_back(there ? height : 0.0f);
  }
  return true;
}

Value ScriptedGame::live_route(editor::Session::Package& package, const std::string& id) {
  live_asks.push_back(package.name + "/" + id);
  return live;
}

Value num(double n) { return Value::of(n); }
Value str(const std::string& s) { return Value::of(s); }
Value boolean(bool b) { return Value::of(b); }

Value arr(std::vector<Value> items) {
  Value value = Value::array();
  value.items = std::move(items);
  return value;
}

Value obj(std::vector<std::pair<std::string, Value>> members) {
  Value value = Value::object();
  for (auto& [key, member] : members) value.members[key] = std::move(member);
  return value;
}

Value point(double x, double y, double z) { return obj({{"x", num(x)}, {"y", num(y)}, {"z", num(z)}}); }

}  // namespace support

namespace mods::json {

void PrintTo(const Value& value, std::ostream* out) {
  switch (value.kind) {
    case Value::Kind::Null: *out << "null"; break;
    case Value::Kind::Bool: *out << (value.boolean ? "true" : "false"); break;
    case Value::Kind::Number: *out << value.number; break;
    case Value::Kind::String: *out << '"' << value.str << '"'; break;
    case Value::Kind::Array: {
      *out << '[';
      const char* separator = "";
      for (const Value& item : value.items) {
        *out << separator;
        PrintTo(item, out);
        separator = ",";
      }
      *out << ']';
      break;
    }
    case Value::Kind::Object: {
      *out << '{';
      const char* separator = "";
      for (const auto& [key, member] : value.members) {
        *out << separator << '"' << key << "\":";
        PrintTo(member, out);
        separator = ",";
      }
      *out << '}';
      break;
    }
  }
}

}  // namespace mods::json
