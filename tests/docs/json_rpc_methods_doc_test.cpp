// docs/json-rpc.md's table of methods against the command table: the page names every method Pathwright
// answers and no other, so that a command added, renamed or dropped cannot leave the page behind.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

#include "server/command_table.h"
#include "tests/docs/doc_examples.h"

namespace doc_examples {
namespace {

// The names in backquotes in the first column of the first table under "## Methods".
std::multiset<std::string> documented_methods(const std::string& page) {
  std::multiset<std::string> names;
  const std::size_t section = page.find("\n## Methods\n");
  if (section == std::string::npos) return names;
  std::size_t at = page.find("\n|", section);
  const std::regex name("`([a-z_]+)`");
  while (at != std::string::npos && at + 2 < page.size() && page[at + 1] == '|') {
    const std::size_t end = page.find('\n', at + 1);
    const std::string row = page.substr(at + 1, end - at - 1);
    const std::string first_cell = row.substr(1, row.find('|', 1) - 1);
    for (std::sregex_iterator m(first_cell.begin(), first_cell.end(), name), done; m != done; ++m) {
      names.insert((*m)[1].str());
    }
    at = end;
  }
  return names;
}

TEST(JsonRpcMethodsPage, ListsExactlyTheCommandTablesMethodsOnceEach) {
  const std::multiset<std::string> documented = documented_methods(file_text(PATHWRIGHT_DOCS_DIR "/json-rpc.md"));
  std::multiset<std::string> table;
  for (const host::server::Command& command : host::server::commands()) table.insert(command.name);
  EXPECT_EQ(documented, table);
}

}  // namespace
}  // namespace doc_examples
