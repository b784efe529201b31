// The page's files: which request targets name a file inside the page's folder, and, through a real HTTP
// client sending each target byte for byte, that nothing outside the folder is ever served.
#include "map/page_files.h"

#include <unistd.h>

#include <fstream>

#include "tests/map/map_fixture.h"

namespace host::map::testing {
namespace {

struct Lookup {
  const char* target;
  const char* file;  // "" when refused
};

TEST(PageFile, NamesOnlyPlainSegmentsBelowTheFolder) {
  // clang-format off
  const Lookup cases[] = {
      {.target = "/", .file = "index.html"},
      {.target = "/?v=2", .file = "index.html"},
      {.target = "/main.js", .file = "main.js"},
      {.target = "/main.js?x=/../../etc", .file = "main.js"},
      {.target = "/fonts/a%20b.woff2", .file = "fonts/a b.woff2"},
      {.target = "/d%C3%B6rfchen.png", .file = "d\xc3\xb6rfchen.png"},
      {.target = "", .file = ""},
      {.target = "main.js", .file = ""},
      {.target = "//etc/passwd", .file = ""},
      {.target = "///etc/passwd", .file = ""},
      {.target = "//proc/self/cmdline", .file = ""},
      {.target = "/%2fproc%2fself%2fenviron", .file = ""},
      {.target = "/%2Fetc/passwd", .file = ""},
      {.target = "/fonts%5c..%5c..%5cpasswd", .file = ""},
      {.target = "/main.js%00.png", .file = ""},
      {.target = "/main.js%0a", .file = ""},
      {.target = "/fonts/", .file = ""},
      {.target = "/fonts//a.woff2", .file = ""},
      {.target = "/..", .file = ""},
      {.target = "/../index.html", .file = ""},
      {.target = "/fonts/../../index.html", .file = ""},
      {.target = "/%2e%2e/index.html", .file = ""},
      {.target = "/.", .file = ""},
      {.target = "/./index.html", .file = ""},
      {.target = "/.secret", .file = ""},
      {.target = "/main.js%", .file = ""},
      {.target = "/main.js%4", .file = ""},
      {.target = "/main.js%zz", .file = ""},
  };
  // clang-format on
  for (const Lookup& c : cases) EXPECT_EQ(page_file(c.target), c.file) << c.target;
}

// Regression: "//etc/passwd", "/%2fproc%2fself%2fenviron" and a package file by its absolute path were
// served with 200 (the folder joined to an absolute path is that path), and "/main.js%00.png" served the
// script as an image.
TEST_F(MapFixture, NothingOutsideThePageFolderIsServedWhateverTheTarget) {
  std::ofstream(web_ + "/index.html") << "<!doctype html><title>map</title>";
  std::ofstream(web_ + "/main.js") << "export {};";
  const std::string outside = web_ + "-outside.json";
  std::ofstream(outside) << "{\"secret\": true}";
  ASSERT_EQ(::symlink(outside.c_str(), (web_ + "/linked.json").c_str()), 0);
  const std::string targets[] = {
      "//etc/passwd",        "///etc/passwd",      "/%2fproc%2fself%2fenviron", "/%2Fetc%2Fpasswd",
      "//proc/self/cmdline", "/" + outside,        "/%2f" + outside.substr(1),  "/main.js%00.png",
      "/../index.html",      "/%2e%2e/index.html", "/..%2f..%2fetc%2fpasswd",   "/linked.json",
  };
  for (const std::string& target : targets) {
    auto http = client();
    http->set_url_encode(false);  // send the target as it is
    auto answer = http->Get(target);
    ASSERT_TRUE(answer) << target;
    EXPECT_EQ(answer->status, 404) << target << ": " << answer->body;
    EXPECT_EQ(answer->body.find("root:"), std::string::npos) << target;
    EXPECT_EQ(answer->body.find("secret"), std::string::npos) << target;
  }
  auto script = client()->Get("/main.js");
  ASSERT_TRUE(script);
  EXPECT_EQ(script->status, 200);
  EXPECT_EQ(script->get_header_value("Content-Type"), "text/javascript; charset=utf-8");
  std::remove(outside.c_str());
}

}  // namespace
}  // namespace host::map::testing
