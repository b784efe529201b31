// `--world FILE.obj` on serve and call: the in-process game stands on the modder's own mesh, and the
// store defaults to the current folder.
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>

#include "tests/cli/pathwright_process.h"

namespace host::testing {
namespace {

// A square of ground 400 units wide at y = 5, as two triangles.
constexpr const char* kFlatSquare =
    "v -200 5 -200\nv 200 5 -200\nv 200 5 200\nv -200 5 200\n"
    "f 1 2 3\nf 1 3 4\n";

TEST(WorldFlag, ServeAndCallStandTheGameOnTheGivenMesh) {
  auto store = demo_store();
  ASSERT_NE(store, nullptr);
  const std::string mesh = store->path() + "/flat_square.obj";
  std::ofstream(mesh) << kFlatSquare;

  {
    Child serve(PATHWRIGHT_BINARY, {"serve", "--store", store->path(), "--world", mesh}, "/dev/null");
    const Value game = serve.call("status").get("result").get("game");
    EXPECT_EQ(game.get("world"), Value::of("flat_square"));
    EXPECT_EQ(game.get("connected"), Value::of(true));
    const Value added = serve.call("add_route_point", parse(R"({"id":"baker_ub3","position":{"x":10,"y":60,"z":10}})"));
    ASSERT_TRUE(added.has("result")) << compact(added);
    const Value point = added.get("result").get("point");
    const Value document = serve.call("document").get("result").get("document");
    const Value route = document.get("actors").items.at(1).get("path").get("points");
    EXPECT_EQ(route.items.at(static_cast<std::size_t>(point.number) - 1).get("y"), Value::of(5.0))
        << "snapped to the mesh's ground";
    EXPECT_EQ(serve.finish(), 0);
  }

  // call: the store is the current folder when --store is not given.
  const std::string command = "cd '" + store->path() +
                              "' && '" PATHWRIGHT_BINARY
                              "' call --world flat_square.obj "
                              "check_route '{\"id\":\"baker_ub3\"}' >/dev/null 2>&1";
  const int status = std::system(command.c_str());
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) <= 1) << "ran against the mesh, whatever it found";

  Child both(PATHWRIGHT_BINARY, {"call", "--demo", "--world", mesh, "status"}, "/dev/null");
  EXPECT_EQ(both.finish(), 2) << "--demo and --world exclude each other";
}

}  // namespace
}  // namespace host::testing
