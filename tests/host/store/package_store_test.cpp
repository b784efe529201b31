// Package names and the store's answers when a request names a package it cannot give.
#include <sys/stat.h>

#include "host/store/package_name.h"
#include "tests/host/store/store_fixture.h"

namespace store_test {
namespace {

using mods::json::Value;

TEST(PackageName, AcceptsOnlyNamesThatStayInsideTheStore) {
  const struct {
    std::string name;
    bool valid;
  } cases[] = {
      {"windfall", true},       {"Windfall_2-b.v1", true}, {std::string(100, 'a'), true},
      {"", false},              {std::string(101, 'a'), false}, {".hidden", false},
      {"..", false},            {"../windfall", false},    {"a/b", false},
      {"with space", false},    {"caf\xC3\xA9", false},    {"semi;colon", false},
  };
  for (const auto& c : cases) EXPECT_EQ(host::is_package_name(c.name), c.valid) << '"' << c.name << '"';
}

TEST(PackageName, IsReadFromPackageFileNamesOnly) {
  EXPECT_EQ(host::package_name_of_file("windfall.json"), "windfall");
  EXPECT_EQ(host::package_name_of_file("windfall.json.tmp-a1b2c3"), "");
  EXPECT_EQ(host::package_name_of_file(".json"), "");
  EXPECT_EQ(host::package_name_of_file(".hidden.json"), "");
  EXPECT_EQ(host::package_name_of_file("notes.txt"), "");
}

class PackageStore : public StoreTest {
 protected:
  std::string error_for(const Value& request) {
    std::string error;
    EXPECT_EQ(session->package(request, error), nullptr);
    return error;
  }
  Value named(const Value& name) {
    Value request = Value::object();
    request["package"] = name;
    return request;
  }
};

TEST_F(PackageStore, UsesTheOnlyPackageWhenTheRequestNamesNone) {
  std::string error;
  editor::Session::Package* package = session->package(Value::object(), error);
  ASSERT_NE(package, nullptr) << error;
  EXPECT_EQ(package->name, "windfall");
  EXPECT_EQ(package->document, parse(kWindfallText));
}

TEST_F(PackageStore, RefusesEachUnservableRequestWithItsOwnText) {
  write_text(package_path("bad"), "{\"actors\": [1,]}");
  write_text(package_path("list"), "[1, 2]");
  ::mkdir(package_path("folder").c_str(), 0755);
  const struct {
    Value request;
    std::string error;
  } cases[] = {
      {named(Value::of("nope")), "no package \"nope\" in the store"},
      {Value::object(), "say which package: \"package\" is one of bad, list, windfall"},
      {named(Value::of(3.0)), "\"package\" must name a package in the store, such as bad"},
      {named(Value::of("../windfall")), "\"package\" must name a package in the store, such as bad"},
      {named(Value::of("folder")), "package \"folder\" cannot be read: is a directory"},
      {named(Value::of("list")), "package \"list\" is not a mod package: its document is not a JSON object"},
  };
  for (const auto& c : cases) EXPECT_EQ(error_for(c.request), c.error);
  std::string bad = error_for(named(Value::of("bad")));
  EXPECT_EQ(bad.rfind("package \"bad\" is not valid JSON: line 1, column 15: ", 0), 0u) << bad;
}

TEST_F(PackageStore, NamesWindfallAsTheExampleAndSaysWhenTheStoreIsEmpty) {
  std::remove(package_path().c_str());
  EXPECT_EQ(error_for(Value::object()), "the store \"" + folder.path() + "\" holds no package");
  EXPECT_EQ(error_for(named(Value())), "\"package\" must name a package in the store, such as windfall");
}

TEST_F(PackageStore, ReportsReadErrorsAndRetriesAPackageThatFailedToLoad) {
  (*faults)["read_file"] = EIO;
  EXPECT_EQ(error_for(named(Value::of("windfall"))), "package \"windfall\" cannot be read: input/output error");
  faults->clear();
  write_text(package_path("late"), "{");
  EXPECT_NE(error_for(named(Value::of("late"))), "");
  write_text(package_path("late"), "{\"actors\": []}");
  std::string error;
  EXPECT_NE(session->package(named(Value::of("late")), error), nullptr) << error;
  EXPECT_EQ(read_text(package_path("late")), "{\"actors\": []}");  // loading alone writes nothing
}

TEST(HostSessionOpen, RefusesAStoreThatIsNotAFolder) {
  std::string error;
  EXPECT_EQ(host::HostSession::open("/nonexistent/store", error), nullptr);
  EXPECT_EQ(error, "the store \"/nonexistent/store\" cannot be opened: no such file or directory");
  TempFolder folder;
  write_text(folder.path() + "/file", "x");
  EXPECT_EQ(host::HostSession::open(folder.path() + "/file", error), nullptr);
  EXPECT_EQ(error, "the store \"" + folder.path() + "/file\" is not a folder");
}

}  // namespace
}  // namespace store_test
