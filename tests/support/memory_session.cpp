#include "tests/support/memory_session.h"

#include <utility>

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
  if (it != packages.end()) return &it->second;
  error = "no package \"" + name + "\" in the store";
  return nullptr;
}

bool MemorySession::change(Package& package, const std::string& label, const Edit& edit, Value&, std::string& error) {
  calls.push_back("change " + label);
  Value copy;
  if (edits == Edits::OnCopy) copy = package.document;
  if (!edit(edits == Edits::OnCopy ? copy : package.document, error)) return false;
  if (!change_refusal.empty()) return error = change_refusal, false;
  if (edits == Edits::OnCopy) package.document = std::move(copy);
  return true;
}

bool MemorySession::where(const Value&, editor::Place& place, std::string& error) {
  calls.push_back("where");
  if (!where_error.empty()) return error = where_error, false;
  place.point = where_point;
  return true;
}

MemorySession::Answer MemorySession::run(const std::string& route, const Value& params,
                                         const std::string& error_before) {
  Answer answer;
  answer.error = error_before;
  answer.result = dispatch_route(route, params, answer.error, answer.ok, answer.handled);
  return answer;
}

bool ScriptedGame::ground_height(const story_notebook::WorldPoint& probe, float& height, std::string& note) {
  single_probes.push_back(probe);
  if (ground(probe, height)) return true;
  note = "open sea below";
  return false;
}

bool ScriptedGame::ground_heights(const std::vector<story_notebook::WorldPoint>& probes, std::vector<float>& heights,
                                  std::vector<bool>& found, std::string& error) {
  batch_probes.push_back(probes);
  if (!batch_error.empty()) return error = batch_error, false;
  for (const story_notebook::WorldPoint& probe : probes) {
    float height = 0.0f;
    found.push_back(ground(probe, height));
    heights.push_back(found.back() ? height : 0.0f);
  }
  return true;
}

Value ScriptedGame::live_route(editor::Session::Package& package, const std::string& id) {
  live_asks.push_back(package.name + "/" + id);
  return live;
}

}  // namespace support
