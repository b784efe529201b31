// Helpers shared by the simulated game's tests: JSON from text and the island on the manual clock, alone
// or as a fixture.
// Test use only; single-threaded.
#ifndef PATHWRIGHT_TESTS_GAME_GAME_TEST_HELPERS_H_
#define PATHWRIGHT_TESTS_GAME_GAME_TEST_HELPERS_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "game/game_world.h"
#include "json_text/json_text.h"
#include "tests/support/json_helpers.h"

namespace game {

// The value of `text`; a parse failure fails the calling test.
using support::parsed;

// The island with its clock standing still; null (and the calling test failed) when it cannot be built.
inline std::unique_ptr<GameWorld> manual_island() {
  std::string error;
  auto world = GameWorld::island(Clock::Manual, error);
  EXPECT_TRUE(world) << error;
  return world;
}

// A test on the island with its clock standing still; a test body runs only when the island was built.
class OnTheIsland : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(world_); }
  std::unique_ptr<GameWorld> world_ = manual_island();
};

}  // namespace game

#endif  // PATHWRIGHT_TESTS_GAME_GAME_TEST_HELPERS_H_
