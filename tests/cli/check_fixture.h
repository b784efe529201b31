// What the end-to-end tests of `pathwright check` share: a scratch folder of their own and a run of the
// real binary with its exit status and both outputs. One thread.
#ifndef PATHWRIGHT_TESTS_CLI_CHECK_FIXTURE_H_
#define PATHWRIGHT_TESTS_CLI_CHECK_FIXTURE_H_

#include <stdlib.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "tests/cli/pathwright_process.h"

namespace host::testing {

namespace fs = std::filesystem;

struct Outcome {
  int status = -1;
  std::string out;  // standard output only
  std::string err;
};

// A folder of its own under the system's temporary folder, removed with everything in it.
class Scratch {
 public:
  Scratch() {
    std::string pattern = (fs::temp_directory_path() / "pathwright-check-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a temporary folder");
    path_ = pattern;
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  std::string write(const std::string& name, const std::string& text) const {
    fs::create_directories((path_ / name).parent_path());
    std::ofstream(path_ / name) << text;
    return (path_ / name).string();
  }
  std::string path(const std::string& name) const { return (path_ / name).string(); }
  std::string folder() const { return path_.string(); }

 private:
  fs::path path_;
};

// A test with a scratch folder of its own.
class ScratchTest : public ::testing::Test {
 protected:
  Scratch scratch;
};

// The demo's own examples folder, for `--demo` on a store that is not the demo's.
const std::string kExamples = std::string("--examples '") + PATHWRIGHT_EXAMPLES_DIR + "'";

// Runs `pathwright ARGS` (ARGS as a shell would split them), its output in files of `scratch`.
inline Outcome pathwright(const Scratch& scratch, const std::string& args) {
  const std::string out = scratch.path("out.txt"), err = scratch.path("err.txt");
  const std::string command = std::string("'") + PATHWRIGHT_BINARY + "' " + args + " >'" + out + "' 2>'" + err + "'";
  const int raw = std::system(command.c_str());
  return {.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, .out = file_text(out), .err = file_text(err)};
}

// Runs `pathwright check ARGS`.
inline Outcome check(const Scratch& scratch, const std::string& args) { return pathwright(scratch, "check " + args); }

}  // namespace host::testing

#endif  // PATHWRIGHT_TESTS_CLI_CHECK_FIXTURE_H_
