// Inputs that once crashed or hung `pathwright`, run against the real binary on a temporary copy of the
// demo store with the simulated game in the same process.
#include <gtest/gtest.h>

#include "tests/host/cli/pathwright_process.h"

namespace host::testing {
namespace {

// Regression: a point at x = 1e20 aborted the process inside the ray caster, and once journalled
// (unsnapped) aborted every later start on that store.
TEST(Hardening, HugeCoordinatesNeitherCrashTheServerNorTheNextStart) {
  struct Request { const char* method; const char* params; };
  const Request requests[] = {
      {.method = "add_route_point", .params = R"({"id":"gate_guard","position":{"x":1e20,"y":100,"z":0}})"},
      {.method = "add_route_point",
       .params = R"({"id":"gate_guard","snap":false,"position":{"x":-3e38,"y":3e38,"z":1e20}})"},
      {.method = "move_route_point",
       .params = R"({"id":"gate_guard","point":1,"snap":false,"position":{"x":1e20,"y":-1e20,"z":1e20}})"},
      {.method = "check_route", .params = R"({"id":"gate_guard"})"},
      {.method = "route_status", .params = R"({"id":"gate_guard"})"},
  };
  auto store = demo_store();
  {
    Child server(PATHWRIGHT_BINARY, {"serve", "--demo", "--store", store->path()}, store->path() + "/serve.log");
    for (const Request& r : requests) {
      const Value answer = server.call(r.method, parse(r.params));
      EXPECT_TRUE(answer.has("result") || answer.has("error")) << r.method << ": no answer";
    }
    server.signal(SIGKILL);  // leave the changes in the journal
  }
  Child again(PATHWRIGHT_BINARY, {"serve", "--demo", "--store", store->path()}, store->path() + "/again.log");
  const Value status = again.call("route_status", parse(R"({"id":"gate_guard"})"));
  EXPECT_TRUE(status.has("result") || status.has("error")) << "a store journalling huge points opens";
  EXPECT_EQ(again.finish(), 0);
}

}  // namespace
}  // namespace host::testing
