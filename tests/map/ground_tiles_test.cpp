// Ground tiles through HTTP: a tile of the island decodes as a 256 x 256 PNG with water over the sea and
// land over the plateau, only the map's zooms have tiles, and without a game the answer is 404.
#include "map/ground_tiles.h"

#include <png.h>

#include "server/temp_folder.h"
#include "tests/map/map_fixture.h"

namespace host::map::testing {

using server::SharedWorkbench;
using server::TempFolder;
using server::Workbench;
using server::WorkbenchOptions;

namespace {

constexpr unsigned char kWaterBlue = 180;  // the blue of water pixels (paint_tile's water colour)

struct Picture {
  int width = 0, height = 0;
  std::vector<unsigned char> rgb;
  const unsigned char* at(int i, int j) const { return &rgb[(static_cast<std::size_t>(j) * width + i) * 3]; }
};

bool decode(const std::string& png, Picture& picture) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&image, png.data(), png.size())) return false;
  image.format = PNG_FORMAT_RGB;
  picture.width = static_cast<int>(image.width);
  picture.height = static_cast<int>(image.height);
  picture.rgb.resize(PNG_IMAGE_SIZE(image));
  return png_image_finish_read(&image, nullptr, picture.rgb.data(), 0, nullptr) != 0;
}

// A place of the island and whether its tile pixel must show water.
struct Sample {
  const char* what;
  float x, z;
  bool water;
};

TEST_F(MapFixture, IslandTileShowsSeaAsWaterAndThePlateauAsLand) {
  constexpr int kZoom = -4;  // 16 world units a pixel: tile (0, 0) covers x and z from 0 to 4096
  // clang-format off
  const Sample samples[] = {
      {.what = "town plateau", .x = 1000, .z = 1000, .water = false},
      {.what = "open sea east", .x = 3500, .z = 1000, .water = true},
      {.what = "open sea south-east", .x = 3500, .z = 3500, .water = true},
  };
  // clang-format on
  auto answer = client()->Get("/ground/-4/0/0.png", bearer());
  ASSERT_TRUE(answer);
  ASSERT_EQ(answer->status, 200) << answer->body;
  EXPECT_EQ(answer->get_header_value("Content-Type"), "image/png");
  Picture picture;
  ASSERT_TRUE(decode(answer->body, picture));
  ASSERT_EQ(picture.width, kTileSize);
  ASSERT_EQ(picture.height, kTileSize);
  const float unit = std::ldexp(1.0f, -kZoom);
  for (const Sample& sample : samples) {
    const unsigned char* pixel = picture.at(static_cast<int>(sample.x / unit), static_cast<int>(sample.z / unit));
    const bool water = pixel[2] == kWaterBlue && pixel[2] > pixel[1];
    EXPECT_EQ(water, sample.water) << sample.what << ": " << int(pixel[0]) << "," << int(pixel[1]) << ","
                                   << int(pixel[2]);
  }
  auto again = client()->Get("/ground/-4/0/0.png", bearer());
  ASSERT_TRUE(again);
  EXPECT_EQ(again->body, answer->body) << "the kept tile differs from the one made";
}

TEST_F(MapFixture, TilesExistOnlyForTheMapsZooms) {
  for (const char* path : {"/ground/3/0/0.png", "/ground/-6/0/0.png", "/ground/0/99999999999999999999/0.png"}) {
    auto answer = client()->Get(path, bearer());
    ASSERT_TRUE(answer) << path;
    EXPECT_EQ(answer->status, 404) << path;
  }
  auto lowest = client()->Get("/ground/-5/-1/-1.png", bearer());
  ASSERT_TRUE(lowest);
  EXPECT_EQ(lowest->status, 200);
}

TEST(GroundTilesWithoutGame, AnswerNotFoundWithAReason) {
  std::string error;
  auto store = TempFolder::copy_of(std::string(PATHWRIGHT_EXAMPLES_DIR) + "/windfall", error);
  ASSERT_NE(store, nullptr) << error;
  WorkbenchOptions options;
  options.store_dir = store->path();
  auto bench = Workbench::open(options, error);
  ASSERT_NE(bench, nullptr) << error;
  SharedWorkbench shared(*bench);
  MapServer server(shared, MapServerOptions{.port = 0, .token = kToken, .web_dir = "/nonexistent"});
  ASSERT_TRUE(server.start(error)) << error;
  httplib::Client http("127.0.0.1", server.port());
  auto answer = http.Get("/ground/0/0/0.png", {{"Authorization", std::string("Bearer ") + kToken}});
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 404);
  EXPECT_NE(answer->body.find("the ground is unknown: no game is connected"), std::string::npos) << answer->body;
}

}  // namespace
}  // namespace host::map::testing
