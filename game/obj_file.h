// Reading an OBJ world with the care a package gets: only a regular file below a size limit, opened
// without waiting, and a strict check of every number and vertex reference, line by line, before the
// OBJ library builds the faces (it would read "nan" or "abc" as 0). Plain functions; any thread.
#ifndef PATHWRIGHT_GAME_OBJ_FILE_H_
#define PATHWRIGHT_GAME_OBJ_FILE_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace game {

// The largest OBJ world read, in bytes (as the largest package).
constexpr std::uint64_t kMaxWorldBytes = std::uint64_t{256} << 20;

// The whole of the file at `path` into `text`. Only a regular file (after following links) of at most
// kMaxWorldBytes is read, and opening never waits (a pipe without a writer). On false, `error` says what
// the path is or why it cannot be read, in words that follow `cannot read the world "PATH": `.
bool read_world_file(const std::string& path, std::string& text, std::string& error);

// Checks the lines the world is built from: "v" (3, 4 or 6 numbers), "vt" (1 to 3), "vn" (3), each a
// finite decimal number within a float's range, and "f" (at least one corner V, V/T, V//N or V/T/N, each a
// non-zero whole number). Other lines, and what follows "#", are not read. On false, `error` reads
// "line N: ..." for the first bad line.
bool check_obj_text(std::string_view text, std::string& error);

}  // namespace game

#endif  // PATHWRIGHT_GAME_OBJ_FILE_H_
