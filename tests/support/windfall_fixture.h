// A small package shared by the route service's tests: one actor of every walker class and of every
// refusal, with a memory session and a scripted game around it.
#ifndef PATHWRIGHT_TESTS_SUPPORT_WINDFALL_FIXTURE_H_
#define PATHWRIGHT_TESTS_SUPPORT_WINDFALL_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>

#include "tests/support/memory_session.h"

namespace support {

class WindfallTest : public ::testing::Test {
 protected:
  WindfallTest();
  // The first actor named `id`, and actor number `index` of the package, for writing.
  const mods::json::Value& actor(const std::string& id);
  mods::json::Value& actor_at(std::size_t index) {
    return session.packages["windfall"].document["actors"].items[index];
  }
  // Parameters naming actor `id`, with further members.
  static mods::json::Value params(const std::string& id,
                                  std::vector<std::pair<std::string, mods::json::Value>> more = {});
  void connect_game() { session.live_game = &game; }

  MemorySession session;
  ScriptedGame game;
};

// Fails the test with the command's error text when it did not succeed.
#define EXPECT_ANSWERED(answer)                                                     \
  do {                                                                              \
    const auto& answered_ = (answer);                                               \
    EXPECT_TRUE(answered_.ok&& answered_.handled) << "failed: " << answered_.error; \
  } while (false)

}  // namespace support

#endif  // PATHWRIGHT_TESTS_SUPPORT_WINDFALL_FIXTURE_H_
