// A map server for the tests: the demo store (a temporary copy) with the in-process game on a manual
// clock, behind a MapServer on a free loopback port with a known token, and a page folder the test may
// fill. Real HTTP clients (cpp-httplib's) talk to it. One thread drives it; the server has its own.
#ifndef PATHWRIGHT_TESTS_MAP_MAP_FIXTURE_H_
#define PATHWRIGHT_TESTS_MAP_MAP_FIXTURE_H_

#include <gtest/gtest.h>
#include <httplib.h>
#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <string>

#include "json_text/json_text.h"
#include "map/map_server.h"
#include "server/shared_workbench.h"
#include "server/workbench.h"
#include "tests/support/json_helpers.h"

namespace host::map::testing {

using mods::json::Value;

constexpr const char* kToken = "0123456789abcdef0123456789abcdef";

inline Value parse(const std::string& text) { return support::parsed(text); }

class MapFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    char web[] = "/tmp/pathwright-map-test-XXXXXX";
    ASSERT_NE(::mkdtemp(web), nullptr);
    web_ = web;
    server::WorkbenchOptions options;
    options.demo = true;
    options.manual_clock = true;
    options.examples_dir = PATHWRIGHT_EXAMPLES_DIR;
    bench_ = server::Workbench::open(options, error);
    ASSERT_NE(bench_, nullptr) << error;
    shared_ = std::make_unique<server::SharedWorkbench>(*bench_);
    server_ = std::make_unique<MapServer>(*shared_, MapServerOptions{.port = 0, .token = kToken, .web_dir = web_});
    bench_->on_applied = [this](const std::string& package, const std::string& kind, const std::string& label) {
      server_->applied(package, kind, label);
    };
    ASSERT_TRUE(server_->start(error)) << error;
  }
  void TearDown() override {
    if (server_) server_->stop();
    if (bench_) bench_->on_applied = nullptr;
    std::error_code ignored;
    std::filesystem::remove_all(web_, ignored);
  }

  std::unique_ptr<httplib::Client> client() const {
    auto made = std::make_unique<httplib::Client>("127.0.0.1", server_->port());
    made->set_read_timeout(20, 0);
    return made;
  }
  httplib::Headers bearer() const { return {{"Authorization", std::string("Bearer ") + kToken}}; }

  // POST /rpc with the token; the answer's body parsed (null when none came).
  Value rpc(const std::string& body) const {
    auto answer = client()->Post("/rpc", bearer(), body, "application/json");
    return answer && answer->status == 200 ? parse(answer->body) : Value();
  }

  std::string web_;  // the page's folder, empty until a test writes into it
  std::unique_ptr<server::Workbench> bench_;
  std::unique_ptr<server::SharedWorkbench> shared_;
  std::unique_ptr<MapServer> server_;
};

}  // namespace host::map::testing

#endif  // PATHWRIGHT_TESTS_MAP_MAP_FIXTURE_H_
