// Seeded randomness for property tests: a fresh seed on every run, printed (and recorded as the test's
// "seed" property) so that a failure names it, and PATHWRIGHT_SEED=N replays that run. Each test owns its
// generator; call from the test's own thread, inside a running test.
#ifndef PATHWRIGHT_TESTS_SUPPORT_SEEDED_RANDOM_H_
#define PATHWRIGHT_TESTS_SUPPORT_SEEDED_RANDOM_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

namespace test_support {

constexpr const char* kSeedVariable = "PATHWRIGHT_SEED";  // the environment variable that replays a seed

// The seed of this run: PATHWRIGHT_SEED's when it is set, a fresh one otherwise.
inline unsigned test_seed() {
  const char* given = std::getenv(kSeedVariable);
  const unsigned seed = given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device{}();
  const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
  std::cout << (test ? std::string(test->test_suite_name()) + "." + test->name() + ": " : "") << "seed " << seed << " ("
            << kSeedVariable << "=" << seed << " replays it)" << std::endl;
  ::testing::Test::RecordProperty("seed", std::to_string(seed));
  return seed;
}

// A generator seeded with test_seed().
inline std::mt19937 seeded_random() { return std::mt19937(test_seed()); }

}  // namespace test_support

#endif  // PATHWRIGHT_TESTS_SUPPORT_SEEDED_RANDOM_H_
