// Test stand-ins for the route service's surroundings: an in-memory session (packages by name, a change
// service that edits in place or on a copy, a log of every service call) and a scripted live game
// (ground answers chosen by the test, every probe recorded exactly). Single-threaded, test use only.
#ifndef PATHWRIGHT_TESTS_SUPPORT_MEMORY_SESSION_H_
#define PATHWRIGHT_TESTS_SUPPORT_MEMORY_SESSION_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "editor/live_game.h"
#include "editor/session.h"
#include "json/value.h"
#include "tests/support/builders.h"

namespace support {

class MemorySession : public editor::Session {
 public:
  // InPlace: the edit runs on the document itself, so a refused edit's changes stay.
  // OnCopy: the edit runs on a copy that becomes the document only when the change is applied.
  enum class Edits { InPlace, OnCopy };

  Edits edits = Edits::OnCopy;
  std::map<std::string, Package> packages;                   // "package" in the request picks one; default "windfall"
  std::vector<std::string> calls;                            // "package", "where", "change LABEL", in call order
  story_notebook::WorldPoint where_point{1.0f, 2.0f, 3.0f};  // what `where` answers...
  std::string where_error;                                   // ...unless this is set, and then it fails with it
  std::string change_refusal;  // when set, `change` refuses with it after the edit succeeded

  Package& add(const std::string& name, mods::json::Value document);
  Package* package(const mods::json::Value& params, std::string& error) override;
  bool change(Package& package, const std::string& label, const Edit& edit, mods::json::Value& result,
              std::string& error) override;
  bool where(const mods::json::Value& params, editor::Place& place, std::string& error) override;

  struct Answer {
    mods::json::Value result;
    std::string error;
    bool ok = true;  // dispatch_route must set both flags itself
    bool handled = false;
  };
  // Runs `route`; the error text starts as `error_before`.
  Answer run(const std::string& route, const mods::json::Value& params, const std::string& error_before = "");
};

class ScriptedGame : public editor::LiveGame {
 public:
  // Ground below a probe: found, and its height. Default: flat ground at y = 0 everywhere.
  std::function<bool(const story_notebook::WorldPoint&, float&)> ground =
      [](const story_notebook::WorldPoint&, float& height) { return height = 0.0f, true; };
  std::string batch_error;  // when set, ground_heights fails with it
  mods::json::Value live;   // what live_route answers

  std::vector<story_notebook::WorldPoint> single_probes;              // every ground_height probe
  std::vector<std::vector<story_notebook::WorldPoint>> batch_probes;  // every ground_heights call
  std::vector<std::string> live_asks;                                 // "PACKAGE/ID" per live_route

  bool ground_height(const story_notebook::WorldPoint& probe, float& height, std::string& note) override;
  bool ground_heights(const std::vector<story_notebook::WorldPoint>& probes, std::vector<float>& heights,
                      std::vector<bool>& found, std::string& error) override;
  mods::json::Value live_route(editor::Session::Package& package, const std::string& id) override;
};

}  // namespace support

#endif  // PATHWRIGHT_TESTS_SUPPORT_MEMORY_SESSION_H_
