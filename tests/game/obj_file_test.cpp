// OBJ worlds read strictly: every number and face corner checked with its line, and only regular files
// below the size limit, opened without waiting.
#include "game/obj_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "game/world_mesh.h"

namespace game {
namespace {

constexpr const char* kQuad = "v 0 5 0\nv 10 5 0\nv 10 5 10\nv 0 5 10\n";

struct ObjCase {
  const char* text;   // follows kQuad's four vertices (lines 1-4)
  const char* error;  // "" when read
};

// Regression: "v 1 nan 2" and "v 1 abc 2" were read as y = 0 by the OBJ library.
TEST(ObjText, NumbersAndCornersAreReadStrictlyWithTheirLine) {
  // clang-format off
  const ObjCase cases[] = {
      {.text = "f 1 2 3 4\n", .error = ""},
      {.text = "f 1/1 2/2 3/3\n", .error = ""},
      {.text = "f 1//1 2//1 3//1 # a comment\n", .error = ""},
      {.text = "f -4 -3 -2\r\n", .error = ""},
      {.text = "v +1 -2.5e3 .5\nf 1 2 3\n", .error = ""},
      {.text = "v 1 2 3 1\nv 1 2 3 0.5 0.5 0.5\nvt 0.5\nvn 0 1 0\nf 1 2 3\n", .error = ""},
      {.text = "o thing\nusemtl stone\ns off\nf 1 2 3\n", .error = ""},
      {.text = "v 1 nan 2\nf 1 2 3\n", .error = "line 5: \"nan\" is not a finite number"},
      {.text = "v 1 inf 2\n", .error = "line 5: \"inf\" is not a finite number"},
      {.text = "v 1 abc 2\n", .error = "line 5: \"abc\" is not a number"},
      {.text = "v 1 2x 2\n", .error = "line 5: \"2x\" is not a number"},
      {.text = "v 1 0x10 2\n", .error = "line 5: \"0x10\" is not a number"},
      {.text = "v 1 1e39 2\n", .error = "line 5: \"1e39\" is beyond the largest coordinate (about 3.4e38)"},
      {.text = "v 1 1e400 2\n", .error = "line 5: \"1e400\" is beyond the largest coordinate (about 3.4e38)"},
      {.text = "v 1 2\n", .error = "line 5: a vertex needs x y z (then w, or r g b), not 2 numbers"},
      {.text = "v 1 2 3 4 5\n", .error = "line 5: a vertex needs x y z (then w, or r g b), not 5 numbers"},
      {.text = "vn 0 1\n", .error = "line 5: a normal needs x y z, not 2 numbers"},
      {.text = "vt nan\n", .error = "line 5: \"nan\" is not a finite number"},
      {.text = "f\n", .error = "line 5: a face needs its corners"},
      {.text = "f 1 2 x\n", .error = "line 5: \"x\" is not a face corner (V, V/T, V//N or V/T/N, each a non-zero whole number)"},
      {.text = "f 1 2 0\n", .error = "line 5: \"0\" is not a face corner (V, V/T, V//N or V/T/N, each a non-zero whole number)"},
      {.text = "f 1 2 3.5\n", .error = "line 5: \"3.5\" is not a face corner (V, V/T, V//N or V/T/N, each a non-zero whole number)"},
      {.text = "f 1 2 3/\n", .error = "line 5: \"3/\" is not a face corner (V, V/T, V//N or V/T/N, each a non-zero whole number)"},
      {.text = "f 1 2 99999999999\n", .error = "line 5: \"99999999999\" is not a face corner (V, V/T, V//N or V/T/N, each a non-zero whole number)"},
  };
  // clang-format on
  for (const ObjCase& c : cases) {
    std::string error;
    EXPECT_EQ(check_obj_text(std::string(kQuad) + c.text, error), *c.error == '\0') << c.text;
    EXPECT_EQ(error, c.error) << c.text;
  }
  WorldMesh mesh;
  std::string error;
  EXPECT_FALSE(parse_obj(std::string(kQuad) + "v 1 nan 2\nf 1 2 3\n", "w.obj", mesh, error));
  EXPECT_EQ(error, "the world \"w.obj\", line 5: \"nan\" is not a finite number");
}

// Regression: "--world /dev/zero" grew without bound and "--world FIFO" waited for ever.
TEST(ObjFile, OnlyRegularFilesBelowTheLimitAreRead) {
  const std::string dir = ::testing::TempDir() + "pw_obj_kinds/";
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir + "folder.obj");
  ASSERT_EQ(::mkfifo((dir + "fifo.obj").c_str(), 0600), 0);
  const int big = ::open((dir + "big.obj").c_str(), O_CREAT | O_WRONLY, 0600);
  ASSERT_GE(big, 0);
  ASSERT_EQ(::ftruncate(big, static_cast<off_t>(kMaxWorldBytes + 1)), 0);  // sparse: nothing written
  ::close(big);
  const struct {
    std::string path;
    const char* error;
    // clang-format off
  } cases[] = {
      {.path = dir + "fifo.obj", .error = "it is a pipe or socket, not a regular file"},
      {.path = "/dev/zero", .error = "it is a device, not a regular file"},
      {.path = dir + "folder.obj", .error = "it is a folder, not a regular file"},
      {.path = dir + "big.obj", .error = "it is larger than 256 MiB"},
      {.path = dir + "missing.obj", .error = "no such file, or it cannot be opened"},
  };
  // clang-format on
  for (const auto& c : cases) {
    WorldMesh mesh;
    std::string error;
    EXPECT_FALSE(load_obj(c.path, mesh, error)) << c.path;
    EXPECT_EQ(error, "cannot read the world \"" + c.path + "\": " + c.error);
  }
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace game
