#include "game/link_ops.h"

#include <gtest/gtest.h>

#include "tests/game/game_test_helpers.h"

namespace game {
namespace {

using mods::json::Value;

class LinkProtocolTest : public OnTheIsland {
 protected:
  Value ask(const std::string& line) {
    const std::string answer = protocol_.answer(line);
    EXPECT_EQ(answer.find('\n'), std::string::npos) << answer;
    return parsed(answer);
  }
  LinkProtocol protocol_{*world_};
};

TEST_F(LinkProtocolTest, AnswersEveryOpWithItsFields) {
  struct Exchange {
    const char* request;
    const char* answer;  // the whole answer, compared as JSON
  };
  // clang-format off
  const Exchange exchanges[] = {
      {.request = R"({"id":3,"op":"ground_height","x":0.1,"y":200,"z":-3000.5})", .answer = R"j({"id":3,"ok":true,"found":false,"note":"open sea below (0.1, -3000.5)"})j"},
      {.request = R"({"id":5,"op":"ground_heights","probes":[]})", .answer = R"({"id":5,"ok":true,"heights":[],"found":[]})"},
      {.request = R"({"id":51,"op":"ground_height","x":1e20,"y":200,"z":0})", .answer = R"j({"id":51,"ok":true,"found":false,"note":"outside the world: (1e+20, 0)"})j"},
      {.request = R"({"id":52,"op":"ground_heights","probes":[1e20,200,0, 0,3e38,0, 0,200,-3e38]})", .answer = R"({"id":52,"ok":true,"heights":[0,100,0],"found":[0,1,0]})"},
      {.request = R"({"id":6,"op":"ground_heights","pro\u0062es":[1800,50,0]})", .answer = R"({"id":6,"ok":true,"heights":[0],"found":[1]})"},
      {.request = R"({"id":9,"op":"teleport","x":1800.25,"y":0,"z":0})", .answer = R"({"id":9,"ok":true})"},
      {.request = R"({"id":10,"op":"camera"})", .answer = R"({"id":10,"ok":true,"x":1800.25,"y":200,"z":-300})"},
      {.request = R"({"id":11,"op":"load","package":"p","document":{"actors":[{"id":"m","kind":"mod","path":{"points":[{"x":0,"y":100,"z":0},{"x":0,"y":100,"z":600}],"speed":60}}]}})", .answer = R"({"id":11,"ok":true,"walking":1})"},
      {.request = R"({"id":12,"op":"advance","seconds":0.5})", .answer = R"({"id":12,"ok":true,"time":0.5})"},
      {.request = R"({"id":13,"op":"live_route","package":"p","actor":"m"})", .answer = R"({"id":13,"ok":true,"route":{"points":[{"x":0,"y":100,"z":0},{"x":0,"y":100,"z":600}],"mode":"once","speed":60,"position":{"x":0,"y":100,"z":30},"heading":0,"target":2,"state":"walking"}})"},
      {.request = R"({"id":14,"op":"live_route","package":"p","actor":"nobody"})", .answer = R"({"id":14,"ok":true,"route":null})"},
      {.request = R"({"id":15,"op":"live_actors","package":"p"})", .answer = R"({"id":15,"ok":true,"time":0.5,"actors":[{"id":"m","position":{"x":0,"y":100,"z":30},"point":2}]})"},
      // A fractional id is echoed; members an op does not read are passed over.
      {.request = R"({"id":1.5,"op":"hello","probes":[1,2]})", .answer = R"({"bounds":{"high":{"x":2500.01,"y":300,"z":1500.01},"low":{"x":-2000.01,"y":0,"z":-2600.01}},"id":1.5,"ok":true,"protocol":1,"world":"island"})"},
  };
  // clang-format on
  for (const Exchange& e : exchanges) EXPECT_EQ(ask(e.request), parsed(e.answer)) << e.request;
}

TEST_F(LinkProtocolTest, RefusesBadRequestsAndGarbageWithAnErrorAnswer) {
  // The answer is exactly {"id", "ok": false, "error"}; no error text here: "the line is not json: ...".
  struct Refusal {
    const char* request;
    const char* id;               // the answer's "id", as JSON text
    const char* error = nullptr;  // null: the line is not JSON
  };
  // clang-format off
  const Refusal refusals[] = {
      {.request = R"({"id":1,"op":"fly"})", .id = "1", .error = R"(unknown op "fly")"},
      {.request = R"([1,2])", .id = "null", .error = "a request must be a json object"},
      {.request = R"({"id":2})", .id = "2", .error = R"(a request needs a string "op")"},
      {.request = R"({"op":"hello"})", .id = "null", .error = R"(a request needs a number "id")"},
      {.request = R"({"id":"3","op":"hello"})", .id = "null", .error = R"(a request needs a number "id")"},
      {.request = R"({"id":4,"op":"ground_heights","probes":[1,2]})", .id = "4", .error = R"("probes" holds 2 numbers, not a multiple of 3)"},
      {.request = R"({"id":5,"op":"ground_heights","probes":[1,2,"x"]})", .id = "5", .error = R"("probes" holds a non-number at index 2)"},
      {.request = R"({"id":6,"op":"ground_heights","probes":{"x":1}})", .id = "6", .error = R"("probes" is not an array)"},
      {.request = R"({"id":7,"op":"ground_heights"})", .id = "7", .error = R"("ground_heights" needs a "probes" array)"},
      {.request = R"({"id":8,"op":"ground_heights","probes":[1,2,1e999]})", .id = "8", .error = R"("probes" holds a number out of range at index 2)"},
      {.request = R"({"id":9,"op":"ground_height","x":1,"y":2})", .id = "9", .error = R"("ground_height" needs numbers "x", "y" and "z")"},
      {.request = R"({"id":10,"op":"teleport","x":1,"y":2,"z":"3"})", .id = "10", .error = R"("teleport" needs numbers "x", "y" and "z")"},
      {.request = R"({"id":11,"op":"load","document":{}})", .id = "11", .error = R"("load" needs a string "package")"},
      {.request = R"({"id":12,"op":"load","package":"p","document":[]})", .id = "12", .error = R"(the document of "p" is not an object)"},
      {.request = R"({"id":13,"op":"live_route","package":"p"})", .id = "13", .error = R"("live_route" needs strings "package" and "actor")"},
      {.request = R"({"id":14,"op":"advance","seconds":-1})", .id = "14", .error = R"("seconds" must be a finite number of at least 0)"},
      {.request = R"({"id":15,"op":"live_actors"})", .id = "15", .error = R"("live_actors" needs a string "package")"},
      {.request = R"({"id":16,"op":"live_actors","package":"never"})", .id = "16", .error = R"(no package "never" is loaded)"},
      // Not json at all, from the fast probes reader and the general parser alike (bad utf-8 included).
      {.request = R"({"id":15,"op":"hello","probes":[tru]})", .id = "null"},
      {.request = "", .id = "null"},
      {.request = "garbage", .id = "null"},
      {.request = R"({"id":16,"op":"ground_heights","probes":[1,2,3)", .id = "null"},
      {.request = R"({"id":17,"op":"hello"} {"id":18})", .id = "null"},
      {.request = "{\"id\":19,\"op\":\"\xf0", .id = "null"},
      {.request = "{\"id\":20,\"op\":\"hello\",\"probes\":[1,2,3],\"x\":\"\xe2\x82", .id = "null"},
      {.request = "{\"id\":21,\"op\":\"\xed\xa0\x80\"}", .id = "null"},
      {.request = "{\"id\":22,\"op\":\"hello\",\"probes\":[\"\xf4", .id = "null"},
  };
  // clang-format on
  const std::string not_json = "the line is not json: ";
  for (const Refusal& r : refusals) {
    const Value answer = ask(r.request);
    const std::string& error = answer.get("error").str;
    Value expected = parsed(std::string(R"({"ok":false,"id":)") + r.id + "}");
    expected["error"] = Value::of(r.error ? r.error : error.rfind(not_json, 0) == 0 ? error : not_json);
    EXPECT_EQ(answer, expected) << r.request;
  }
}

}  // namespace
}  // namespace game
