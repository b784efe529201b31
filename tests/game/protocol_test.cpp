#include "game/protocol.h"

#include <gtest/gtest.h>

#include <random>

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
  struct Exchange { const char* request; const char* answer; };  // the whole answer, compared as JSON
  const Exchange exchanges[] = {
      {R"({"id":1,"op":"hello"})", R"({"bounds":{"high":{"x":2500.01,"y":300,"z":1500.01},"low":{"x":-2000.01,"y":0,"z":-2600.01}},"id":1,"ok":true,"protocol":1,"world":"island"})"},
      {R"({"op":"ground_height","id":2,"x":0,"y":200,"z":0})", R"({"id":2,"ok":true,"found":true,"height":100})"},
      {R"({"id":3,"op":"ground_height","x":0.1,"y":200,"z":-3000.5})",
       R"j({"id":3,"ok":true,"found":false,"note":"open sea below (0.1, -3000.5)"})j"},
      {R"({"id":4,"op":"ground_heights","probes":[0,200,0, 0,200,-3000, -950,400,0]})",
       R"({"id":4,"ok":true,"heights":[100,0,300],"found":[1,0,1]})"},
      {R"({"id":5,"op":"ground_heights","probes":[]})", R"({"id":5,"ok":true,"heights":[],"found":[]})"},
      {R"({"id":51,"op":"ground_height","x":1e20,"y":200,"z":0})",
       R"j({"id":51,"ok":true,"found":false,"note":"outside the world: (1e+20, 0)"})j"},
      {R"({"id":52,"op":"ground_heights","probes":[1e20,200,0, 0,3e38,0, 0,200,-3e38]})",
       R"({"id":52,"ok":true,"heights":[0,100,0],"found":[0,1,0]})"},
      {R"({"id":6,"op":"ground_heights","pro\u0062es":[1800,50,0]})",
       R"({"id":6,"ok":true,"heights":[0],"found":[1]})"},
      {R"({"id":7,"op":"link"})", R"({"id":7,"ok":true,"x":0,"y":100,"z":200})"},
      {R"({"id":9,"op":"teleport","x":1800.25,"y":0,"z":0})", R"({"id":9,"ok":true})"},
      {R"({"id":10,"op":"camera"})", R"({"id":10,"ok":true,"x":1800.25,"y":200,"z":-300})"},
      {R"({"id":11,"op":"load","package":"p","document":{"actors":[{"id":"m","kind":"mod","path":{"points":[
          {"x":0,"y":100,"z":0},{"x":0,"y":100,"z":600}],"speed":60}}]}})", R"({"id":11,"ok":true,"walking":1})"},
      {R"({"id":12,"op":"advance","seconds":0.5})", R"({"id":12,"ok":true,"time":0.5})"},
      {R"({"id":13,"op":"live_route","package":"p","actor":"m"})",
       R"({"id":13,"ok":true,"route":{"points":[{"x":0,"y":100,"z":0},{"x":0,"y":100,"z":600}],"mode":"once",
          "speed":60,"position":{"x":0,"y":100,"z":30},"heading":0,"target":2,"state":"walking"}})"},
      {R"({"id":14,"op":"live_route","package":"p","actor":"nobody"})", R"({"id":14,"ok":true,"route":null})"},
      {R"({"id":15,"op":"live_actors","package":"p"})",
       R"({"id":15,"ok":true,"time":0.5,"actors":[{"id":"m","position":{"x":0,"y":100,"z":30},"point":2}]})"},
      {R"({"id":1.5,"op":"hello","probes":[1,2]})", R"({"bounds":{"high":{"x":2500.01,"y":300,"z":1500.01},"low":{"x":-2000.01,"y":0,"z":-2600.01}},"id":1.5,"ok":true,"protocol":1,"world":"island"})"},
  };
  for (const Exchange& e : exchanges) EXPECT_EQ(ask(e.request), parsed(e.answer)) << e.request;
}

TEST_F(LinkProtocolTest, RefusesBadRequestsAndGarbageWithAnErrorAnswer) {
  // The answer is exactly {"id", "ok": false, "error"}; no error text here: "the line is not json: ...".
  struct Refusal { const char* request; const char* id; const char* error = nullptr; };
  const Refusal refusals[] = {
      {R"({"id":1,"op":"fly"})", "1", R"(unknown op "fly")"}, {R"([1,2])", "null", "a request must be a json object"},
      {R"({"id":2})", "2", R"(a request needs a string "op")"},
      {R"({"op":"hello"})", "null", R"(a request needs a number "id")"},
      {R"({"id":"3","op":"hello"})", "null", R"(a request needs a number "id")"},
      {R"({"id":4,"op":"ground_heights","probes":[1,2]})", "4", R"("probes" holds 2 numbers, not a multiple of 3)"},
      {R"({"id":5,"op":"ground_heights","probes":[1,2,"x"]})", "5", R"("probes" holds a non-number at index 2)"},
      {R"({"id":6,"op":"ground_heights","probes":{"x":1}})", "6", R"("probes" is not an array)"},
      {R"({"id":7,"op":"ground_heights"})", "7", R"("ground_heights" needs a "probes" array)"},
      {R"({"id":8,"op":"ground_heights","probes":[1,2,1e999]})", "8",
       R"("probes" holds a number out of range at index 2)"},
      {R"({"id":9,"op":"ground_height","x":1,"y":2})", "9", R"("ground_height" needs numbers "x", "y" and "z")"},
      {R"({"id":10,"op":"teleport","x":1,"y":2,"z":"3"})", "10", R"("teleport" needs numbers "x", "y" and "z")"},
      {R"({"id":11,"op":"load","document":{}})", "11", R"("load" needs a string "package")"},
      {R"({"id":12,"op":"load","package":"p","document":[]})", "12", R"(the document of "p" is not an object)"},
      {R"({"id":13,"op":"live_route","package":"p"})", "13", R"("live_route" needs strings "package" and "actor")"},
      {R"({"id":14,"op":"advance","seconds":-1})", "14", R"("seconds" must be a finite number of at least 0)"},
      {R"({"id":15,"op":"live_actors"})", "15", R"("live_actors" needs a string "package")"},
      {R"({"id":16,"op":"live_actors","package":"never"})", "16", R"(no package "never" is loaded)"},
      // Not json at all, from the fast probes reader and the general parser alike (bad utf-8 included).
      {R"({"id":15,"op":"hello","probes":[tru]})", "null"}, {"", "null"}, {"garbage", "null"},
      {R"({"id":16,"op":"ground_heights","probes":[1,2,3)", "null"}, {R"({"id":17,"op":"hello"} {"id":18})", "null"},
      {"{\"id\":19,\"op\":\"\xf0", "null"}, {"{\"id\":20,\"op\":\"hello\",\"probes\":[1,2,3],\"x\":\"\xe2\x82", "null"},
      {"{\"id\":21,\"op\":\"\xed\xa0\x80\"}", "null"}, {"{\"id\":22,\"op\":\"hello\",\"probes\":[\"\xf4", "null"},
  };
  const std::string not_json = "the line is not json: ";
  for (const Refusal& r : refusals) {
    const Value answer = ask(r.request);
    const std::string& error = answer.get("error").str;
    Value expected = parsed(std::string(R"({"ok":false,"id":)") + r.id + "}");
    expected["error"] = Value::of(r.error ? r.error : error.rfind(not_json, 0) == 0 ? error : not_json);
    EXPECT_EQ(answer, expected) << r.request;
  }
}

TEST_F(LinkProtocolTest, SurvivesRandomBytesAndMangledRequests) {
  std::mt19937 random(11);
  const std::string seeds[] = {R"({"id":1,"op":"ground_heights","probes":[0,200,0,1,2,3]})",
                               R"({"id":2,"op":"load","package":"p","document":{"actors":[{"id":"a"}]}})"};
  for (int round = 0; round < 2000; ++round) {
    std::string line = seeds[round % 2];
    for (int k = 0, edits = 1 + static_cast<int>(random() % 4); k < edits; ++k) {
      const std::size_t at = random() % line.size();  // then a byte changed, or up to 5 cut out
      if (random() % 2) line[at] = static_cast<char>(random() % 256);
      else line.erase(at, 1 + random() % 5);
      if (line.empty()) line.push_back('{');
    }
    EXPECT_TRUE(ask(line).get("ok").is_bool()) << line;  // an object with "ok", whatever came in
  }
}

}  // namespace
}  // namespace game
