// Where the installed data lies: beside the running executable, in the install layout
// (PREFIX/bin/pathwright, PREFIX/share/pathwright/...), so that the build folder and an installed copy
// both work from any current folder. Nothing here depends on where the sources were. Any thread.
#ifndef PATHWRIGHT_CLI_INSTALL_PATHS_H_
#define PATHWRIGHT_CLI_INSTALL_PATHS_H_

#include <string>

namespace host::cli {

// PREFIX/share/pathwright for the running executable PREFIX/bin/pathwright; "" when the executable's
// own path cannot be read (then the caller needs an explicit folder).
std::string shared_data_dir();

// shared_data_dir() + "/" + `name` (such as "examples" or "web"), or "" as above.
std::string shared_data_path(const std::string& name);

// The program that serves the map: `pathwright` built with it (`pathwright` alone leaves it out).
constexpr const char* kMapProgram = "pathwright-map";

// PREFIX/bin/`name`, beside the running executable; "" when the executable's own path cannot be read.
std::string program_path(const std::string& name);

}  // namespace host::cli

#endif  // PATHWRIGHT_CLI_INSTALL_PATHS_H_
