// A git repository in a temporary folder with Pathwright as the diff and merge driver of *.json, for the
// end-to-end tests of `pathwright diff`, `merge` and of a running map while git rewrites its store, and
// package texts to commit there. The repository is a Scratch folder (check_fixture.h); one thread.
#ifndef PATHWRIGHT_TESTS_HOST_CLI_GIT_REPOSITORY_H_
#define PATHWRIGHT_TESTS_HOST_CLI_GIT_REPOSITORY_H_

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "check_fixture.h"

namespace host::testing {

const std::string kPathwright = PATHWRIGHT_BINARY;

class Repository {
 public:
  Repository() {
    run("git init -q -b trunk && git config user.email dev@example.org && git config user.name Dev");
    run("git config diff.pathwright.command '" + kPathwright + " diff --git'");
    run("git config merge.pathwright.driver '" + kPathwright + " merge %O %A %B -o %A --name %P'");
    write(".gitattributes", "*.json diff=pathwright merge=pathwright\n");
    write(".gitignore", ".pathwright/\n");
  }
  std::string folder() const { return scratch_.folder(); }
  std::string path(const std::string& name) const { return scratch_.path(name); }
  void write(const std::string& name, const std::string& text) const { scratch_.write(name, text); }
  // Runs `command` in the repository through the shell: `out` holds its standard output and error in the
  // order written, `err` stays empty.
  Outcome run(const std::string& command) const {
    const std::string out = folder() + ".out";
    const std::string line = "cd '" + folder() + "' && (" + command + ") >'" + out + "' 2>&1";
    const int raw = std::system(line.c_str());
    Outcome outcome{.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, .out = file_text(out), .err = ""};
    std::filesystem::remove(out);
    return outcome;
  }
  void commit(const std::string& name, const std::string& text, const std::string& message) const {
    write(name, text);
    const Outcome done = run("git add -A && git commit -q -m '" + message + "'");
    EXPECT_EQ(done.status, 0) << done.out;
  }

 private:
  Scratch scratch_;
};

// Package text in the store's layout.
inline std::string package(const std::string& compact) { return support::indented(parse(compact)); }

// Actor `id`, a resident whose route runs through x = each digit of `xs` in turn.
inline std::string route(const std::string& id, const std::string& xs) {
  std::string points;
  for (const char c : xs) points += std::string(points.empty() ? "" : ",") + R"({"x":)" + c + R"(,"y":0,"z":0})";
  return R"({"id":")" + id + R"(","actor":"resident","parameters":{"resident":"ub3"},"position":{"x":0,"y":0,"z":0},
           "path":{"mode":"once","points":[)" +
         points + "]}}";
}

inline std::string two(const std::string& first, const std::string& second) {
  return package(R"({"actors":[)" + first + "," + second + "]}");
}

}  // namespace host::testing

#endif  // PATHWRIGHT_TESTS_HOST_CLI_GIT_REPOSITORY_H_
