// Package names and the store's answers when a request names a package it cannot give.
#include <sys/stat.h>

#include "store/package_name.h"
#include "tests/store/store_fixture.h"

namespace store_test {

TEST(PackageName, AcceptsOnlyNamesThatStayInsideTheStoreAndReadsThemFromPackageFilesOnly) {
  const struct {
    std::string name;
    bool valid;
    // clang-format off
  } cases[] = {
      {.name = "windfall", .valid = true},
      {.name = "Windfall_2-b.v1", .valid = true},
      {.name = std::string(100, 'a'), .valid = true},
      {.name = "", .valid = false},
      {.name = std::string(101, 'a'), .valid = false},
      {.name = ".hidden", .valid = false},
      {.name = "..", .valid = false},
      {.name = "../windfall", .valid = false},
      {.name = "a/b", .valid = false},
      {.name = "with space", .valid = false},
      {.name = "caf\xC3\xA9", .valid = false},
      {.name = "semi;colon", .valid = false},
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(host::store::is_package_name(c.name), c.valid) << '"' << c.name << '"';
  EXPECT_EQ(host::store::package_name_of_file("windfall.json"), "windfall");
  for (const char* file : {"windfall.json.tmp-a1b2c3", ".json", ".hidden.json", "notes.txt"})
    EXPECT_EQ(host::store::package_name_of_file(file), "") << file;
}

struct PackageStore : StoreTest {
  std::string error_for(const std::string& request) {
    std::string error;
    EXPECT_EQ(session->package(parse(request), error), nullptr) << request;
    return error;
  }
};

TEST_F(PackageStore, RefusesEachUnservableRequestWithItsOwnText) {
  write_text(package_path("bad"), "{\"actors\": [1,]}");
  write_text(package_path("list"), "[1, 2]");
  ::mkdir(package_path("folder").c_str(), 0755);
  const struct {
    const char* request;
    std::string error;
    // clang-format off
  } cases[] = {
      {.request = R"({"package": "nope"})", .error = "no package \"nope\" in the store"},
      {.request = "{}", .error = "say which package: \"package\" is one of bad, list, windfall"},
      {.request = R"({"package": 3})", .error = "\"package\" must name a package in the store, such as bad"},
      {.request = R"({"package": "../windfall"})", .error = "\"package\" \"../windfall\" is refused: a package name is 1 to 100 letters, digits, _, - and ., not starting with ."},
      {.request = R"({"package": "folder"})", .error = "package \"folder\" cannot be read: it is a folder, not a regular file"},
      {.request = R"({"package": "list"})", .error = "package \"list\" is not a mod package: its document is not a JSON object"},
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(error_for(c.request), c.error);
  std::string bad = error_for(R"({"package": "bad"})");
  EXPECT_EQ(bad.rfind("package \"bad\" is not valid JSON: line 1, column 15: ", 0), 0u) << bad;
  // A package that failed to load is read again; loading it writes nothing.
  write_text(package_path("bad"), "{\"actors\": []}");
  EXPECT_EQ(document("bad"), parse("{\"actors\": []}"));
  EXPECT_EQ(read_text(package_path("bad")), "{\"actors\": []}");
}

TEST_F(PackageStore, UsesTheOnlyPackageWhenNoneIsNamedAndSaysWhenTheStoreIsEmpty) {
  std::remove(package_path().c_str());
  EXPECT_EQ(error_for("{}"), "the store \"" + folder + "\" holds no package");
  EXPECT_EQ(error_for(R"({"package": null})"), "\"package\" must name a package in the store, such as windfall");
  write_text(package_path(), kWindfallText);
  std::string error;
  editor::Session::Package* package = session->package(Value::object(), error);
  ASSERT_NE(package, nullptr) << error;
  EXPECT_TRUE(package->name == "windfall" && package->document == parse(kWindfallText)) << package->name;
}

TEST_F(PackageStore, OpeningRefusesAStoreThatIsNotAFolder) {
  std::string error;
  EXPECT_EQ(host::session::HostSession::open("/nonexistent/store", error), nullptr);
  EXPECT_EQ(error, "the store \"/nonexistent/store\" cannot be opened: no such file or directory");
  EXPECT_EQ(host::session::HostSession::open(package_path(), error), nullptr);
  EXPECT_EQ(error, "the store \"" + package_path() + "\" is not a folder");
}

}  // namespace store_test
