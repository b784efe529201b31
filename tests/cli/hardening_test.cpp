// Inputs that once crashed or hung `pathwright`, run against the real binary on a temporary copy of the
// demo store with the simulated game in the same process.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/cli/pathwright_process.h"

namespace host::testing {
namespace {

// Regression: a point at x = 1e20 aborted the process inside the ray caster, and once journalled
// (unsnapped) aborted every later start on that store.
TEST(Hardening, HugeCoordinatesNeitherCrashTheServerNorTheNextStart) {
  struct Request {
    const char* method;
    const char* params;
  };
  // clang-format off
  const Request requests[] = {
      {.method = "add_route_point", .params = R"({"id":"gate_guard","position":{"x":1e20,"y":100,"z":0}})"},
      {.method = "add_route_point", .params = R"({"id":"gate_guard","snap":false,"position":{"x":-3e38,"y":3e38,"z":1e20}})"},
      {.method = "move_route_point", .params = R"({"id":"gate_guard","point":1,"snap":false,"position":{"x":1e20,"y":-1e20,"z":1e20}})"},
      {.method = "check_route", .params = R"({"id":"gate_guard"})"},
      {.method = "route_status", .params = R"({"id":"gate_guard"})"},
  };
  // clang-format on
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

// Regression: a 50 MB request line grew `serve` to gigabytes; under a memory limit it ended the server.
TEST(Hardening, RequestLinesOverTheLimitAreAnsweredWithAnErrorAndServingGoesOn) {
  struct LimitCase {
    std::vector<std::string> flags;
    std::size_t line_bytes;
    const char* message;
  };
  // clang-format off
  const LimitCase cases[] = {
      {.flags = {}, .line_bytes = (std::size_t{16} << 20) + 1, .message = "invalid request: the line is longer than 16777216 bytes (serve --max-request)"},
      {.flags = {"--max-request", "100"}, .line_bytes = 101, .message = "invalid request: the line is longer than 100 bytes (serve --max-request)"},
  };
  // clang-format on
  auto store = demo_store();
  for (const LimitCase& c : cases) {
    std::vector<std::string> args = {"serve", "--store", store->path()};
    args.insert(args.end(), c.flags.begin(), c.flags.end());
    Child server(PATHWRIGHT_BINARY, args, store->path() + "/serve.log");
    const std::string head = R"({"jsonrpc":"2.0","id":1,"method":"status","params":{"pad":")";
    ASSERT_TRUE(server.send(head + std::string(c.line_bytes - head.size() - 3, 'x') + "\"}}"));
    std::string line;
    ASSERT_TRUE(server.read_line(line));
    EXPECT_EQ(compact(parse(line).get("error")), R"({"code":-32600,"message":")" + std::string(c.message) + "\"}");
    EXPECT_TRUE(server.call("status").has("result")) << "the next request is served";
    EXPECT_EQ(server.finish(), 0);
  }
}

// Regression: a FIFO named x.json in the store hung `packages` for ever, and a link to /dev/zero grew
// without bound.
TEST(Hardening, PackageFilesThatAreNotRegularOrTooLargeAreRefusedWithoutBlocking) {
  auto store = demo_store();
  const std::string dir = store->path() + "/";
  ASSERT_EQ(::mkfifo((dir + "fifo.json").c_str(), 0644), 0);
  ASSERT_EQ(::symlink("/dev/zero", (dir + "zero.json").c_str()), 0);
  ASSERT_EQ(::truncate((std::ofstream(dir + "huge.json"), dir + "huge.json").c_str(), off_t{257} << 20), 0);
  Child server(PATHWRIGHT_BINARY, {"serve", "--store", store->path()}, dir + "serve.log");
  std::string refusals;
  const Value answer = server.call("packages");
  for (const Value& package : answer.get("result").get("packages").items) {
    if (package.has("error")) (refusals += package.get("error").str) += "\n";
  }
  EXPECT_EQ(refusals,
            "package \"fifo\" cannot be read: it is a pipe or socket, not a regular file\n"
            "package \"huge\" cannot be read: it is larger than 256 MiB\n"
            "package \"zero\" cannot be read: it is a device, not a regular file\n");
  EXPECT_EQ(server.finish(), 0);
}

// Regression: the id 9007199254740993 came back as 9007199254740992, since it went through a double.
TEST(Hardening, IdsAreEchoedAsTheTextTheyArrivedWith) {
  struct IdCase {
    const char* line;
    const char* ids;  // the numeric ids of the answers, as written
  };
  // clang-format off
  const IdCase cases[] = {
      {.line = R"({"jsonrpc":"2.0","id":9007199254740993,"method":"fly"})", .ids = "9007199254740993"},
      {.line = R"({"jsonrpc":"2.0","id":1.50,"method":"fly","params":{"id":7}})", .ids = "1.50"},
      {.line = R"({"jsonrpc":"2.0","id":-0,"method":"fly"})", .ids = "-0"},
      {.line = R"([{"jsonrpc":"2.0","id":1E2,"method":"fly"},{"jsonrpc":"2.0","method":"fly"},)"
               R"({"jsonrpc":"2.0","id":"s","method":"fly"},)"
               R"({"jsonrpc":"2.0","id":12345678901234567890,"method":"fly"}])",
       .ids = "1E2 12345678901234567890"},  // a string id stays where the printer puts it
  };
  // clang-format on
  auto store = demo_store();
  Child server(PATHWRIGHT_BINARY, {"serve", "--store", store->path()}, store->path() + "/serve.log");
  for (const IdCase& c : cases) {
    ASSERT_TRUE(server.send(c.line));
    std::string line, ids;
    ASSERT_TRUE(server.read_line(line)) << c.line;
    // Every answer to a numeric id opens with it as written: {"id":TEXT,...
    for (std::size_t at = line.find(R"({"id":)"); at != std::string::npos; at = line.find(R"({"id":)", at + 1)) {
      const std::size_t from = at + 6;
      (ids += ids.empty() ? "" : " ") += line.substr(from, line.find(',', from) - from);
    }
    EXPECT_EQ(ids, c.ids) << line;
  }
  EXPECT_EQ(server.finish(), 0);
}

// Regression: saving replaced a linked package file by a regular file (the link's target lost the edit),
// and overwrote a package file marked read-only.
TEST(Hardening, SavingWritesThroughLinksAndRefusesReadOnlyFiles) {
  auto store = demo_store();
  const std::string dir = store->path() + "/", target = dir + "elsewhere.txt", package = dir + "windfall.json";
  ASSERT_EQ(::rename(package.c_str(), target.c_str()), 0);
  ASSERT_EQ(::symlink("elsewhere.txt", package.c_str()), 0);
  const Value point = parse(R"({"id":"gate_guard","snap":false,"position":{"x":1,"y":2,"z":3}})");
  {
    Child server(PATHWRIGHT_BINARY, {"serve", "--store", store->path()}, dir + "serve.log");
    EXPECT_TRUE(server.call("add_route_point", point).has("result"));
    EXPECT_EQ(server.finish(), 0);
  }
  struct stat link {};
  ASSERT_EQ(::lstat(package.c_str(), &link), 0);
  EXPECT_TRUE(S_ISLNK(link.st_mode)) << "the package file is still a link";
  EXPECT_NE(file_text(target).find(R"("x": 1,)"), std::string::npos) << "the link's target got the edit";

  ASSERT_EQ(::chmod(target.c_str(), 0444), 0);
  const std::string before = file_text(target);
  Child server(PATHWRIGHT_BINARY, {"serve", "--store", store->path()}, dir + "serve.log");
  EXPECT_EQ(compact(server.call("add_route_point", point).get("error")),
            R"({"code":1,"message":"package \"windfall\" is read-only"})");
  EXPECT_EQ(server.finish(), 0);
  EXPECT_EQ(file_text(target), before) << "nothing changed";
}

}  // namespace
}  // namespace host::testing
