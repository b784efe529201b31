// The meeting search on tracks written out key by key, each case with its exact findings as
// "id point: text (times N)" lines.
#include "check/meetings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/support/seeded_random.h"

namespace host {

using check::find_meetings;
using check::Meeting;
using check::meeting_finding;

namespace {

using walking::Motion;
using walking::StandingActor;
using walking::TrackKey;
using walking::WalkerTrack;

TrackKey key(double seconds, double x, double y, double z, int point, Motion motion = Motion::Walking) {
  return {.seconds = seconds, .x = x, .y = y, .z = z, .point = point, .motion = motion};
}

// A loop round the square (0,0,0), (400,0,0), (400,0,400), (0,0,400) at 100 units/s, for 60 s.
WalkerTrack square_loop(const std::string& id, std::size_t actor) {
  const double corners[4][2] = {{0, 0}, {400, 0}, {400, 400}, {0, 400}};
  WalkerTrack track{.id = id, .actor = actor, .keys = {}};
  for (int leg = 0; leg <= 15; ++leg) {
    const double* corner = corners[leg % 4];
    track.keys.push_back(key(4.0 * leg, corner[0], 0, corner[1], (leg + 1) % 4 + 1));
  }
  return track;
}

// Back and forth between (400,0,0) and (0,0,0) at 80 units/s, for 60 s.
WalkerTrack bottom_back_and_forth(const std::string& id, std::size_t actor) {
  WalkerTrack track{.id = id, .actor = actor, .keys = {}};
  for (int leg = 0; leg <= 12; ++leg) track.keys.push_back(key(5.0 * leg, leg % 2 == 0 ? 400 : 0, 0, 0, leg % 2 + 1));
  return track;
}

std::vector<std::string> lines_of(const std::vector<Meeting>& meetings) {
  std::vector<std::string> lines;
  for (const Meeting& meeting : meetings) {
    const mods::json::Value finding = meeting_finding(meeting);
    lines.push_back(finding.get("id").str + " " + std::to_string(static_cast<int>(finding.get("point").number)) + ": " +
                    finding.get("text").str + " (times " +
                    std::to_string(static_cast<int>(finding.get("times").number)) + ")");
  }
  return lines;
}

struct Case {
  const char* name;
  std::vector<WalkerTrack> walkers = {};
  std::vector<StandingActor> standing = {};
  double horizon;
  std::vector<std::string> expected;
};

TEST(FindMeetings, EachCaseFindsExactlyItsMeetings) {
  // clang-format off
  const std::vector<Case> cases = {
      {.name = "head-on: two models walking at each other along one line",
       .walkers = {{.id = "A", .actor = 0, .keys = {key(0, 0, 100, 0, 2), key(10, 400, 100, 0, 2, Motion::Arrived)}},
                   {.id = "B", .actor = 1, .keys = {key(0, 400, 100, 0, 2), key(10, 0, 100, 0, 2, Motion::Arrived)}}},
       .horizon = 600,
       .expected = {"A 2: meets \"B\" at (200, 100, 0) after 4.4 s (times 1)"}},
      {.name = "overtaking: the fast walker catches the slow one, named first as it comes first",
       .walkers = {{.id = "F", .actor = 0, .keys = {key(0, -300, 0, 0, 1), key(20, 1100, 0, 0, 1)}},
                   {.id = "S", .actor = 1, .keys = {key(0, 0, 0, 0, 1), key(50, 1000, 0, 0, 1)}}},
       .horizon = 30,
       .expected = {"F 1: meets \"S\" at (75, 0, 0) after 5 s (times 1)"}},
      {.name = "paths crossing at different times: the second passes long after the first",
       .walkers = {{.id = "A", .actor = 0, .keys = {key(0, -500, 0, 0, 1), key(20, 500, 0, 0, 1, Motion::Arrived)}},
                   {.id = "B", .actor = 1, .keys = {key(0, 0, 0, -1500, 1), key(40, 0, 0, 500, 1, Motion::Arrived)}}},
       .horizon = 600,
       .expected = {}},
      {.name = "a pause at point 1 (its key names point 2, walked to next) keeps A where B passes",
       .walkers = {{.id = "A",
                    .actor = 0,
                    .keys = {key(0, 0, 0, 400, 1), key(7.2, 0, 0, 40, 2, Motion::Pausing), key(12.2, 0, 0, 40, 2),
                             key(21, 0, 0, -400, 2, Motion::Arrived)}},
                   {.id = "B", .actor = 1, .keys = {key(0, -500, 0, 0, 1), key(20, 500, 0, 0, 1, Motion::Arrived)}}},
       .horizon = 600,
       .expected = {"A 2: meets \"B\" at (-15, 0, 20) after 9.4 s (times 1)"}},
      {.name = "without that pause A crosses before B comes",
       .walkers = {{.id = "A", .actor = 0, .keys = {key(0, 0, 0, 400, 1), key(16, 0, 0, -400, 2, Motion::Arrived)}},
                   {.id = "B", .actor = 1, .keys = {key(0, -500, 0, 0, 1), key(20, 500, 0, 0, 1, Motion::Arrived)}}},
       .horizon = 600,
       .expected = {}},
      {.name = "a loop and a back-and-forth meet on their shared side lap after lap",
       .walkers = {square_loop("L", 0), bottom_back_and_forth("B", 1)},
       .horizon = 60,
       .expected = {"L 2: meets \"B\" at (219.4, 0, 0) after 1.9 s (times 4)"}},
      {.name = "on a bridge 200 above the other: no meeting",
       .walkers = {{.id = "A", .actor = 0, .keys = {key(0, -500, 300, 0, 1), key(20, 500, 300, 0, 1)}},
                   {.id = "B", .actor = 1, .keys = {key(0, 0, 100, -500, 1), key(20, 0, 100, 500, 1)}}},
       .horizon = 600,
       .expected = {}},
      {.name = "99 above the other: they meet",
       .walkers = {{.id = "A", .actor = 0, .keys = {key(0, -500, 199, 0, 1), key(20, 500, 199, 0, 1)}},
                   {.id = "B", .actor = 1, .keys = {key(0, 0, 100, -500, 1), key(20, 0, 100, 500, 1)}}},
       .horizon = 600,
       .expected = {"A 1: meets \"B\" at (-17.7, 149.5, -17.7) after 9.3 s (times 1)"}},
      {.name = "a walker passing a seated villager walks through it, named though the villager comes first",
       .walkers = {{.id = "W", .actor = 1, .keys = {key(0, -500, 0, 0, 2), key(20, 500, 0, 0, 2)}}},
       .standing = {{.id = "V", .actor = 0, .x = 0, .y = 0, .z = 30}},
       .horizon = 600,
       .expected = {"W 2: walks through \"V\" at (-20, 0, 15) after 9.2 s (times 1)"}},
      {.name = "a walker passing 50 from a sign touches it only",
       .walkers = {{.id = "W", .actor = 1, .keys = {key(0, -500, 0, 0, 2), key(20, 500, 0, 0, 2)}}},
       .standing = {{.id = "sign", .actor = 0, .x = 0, .y = 0, .z = 50}},
       .horizon = 600,
       .expected = {}},
      {.name = "two actors standing at one spot: neither walks",
       .standing = {{.id = "chest", .actor = 0, .x = 0, .y = 0, .z = 0}, {.id = "sign", .actor = 1, .x = 0, .y = 0, .z = 0}},
       .horizon = 600,
       .expected = {}},
      {.name = "a meeting past the horizon is not found",
       .walkers = {{.id = "A", .actor = 0, .keys = {key(0, 0, 100, 0, 2), key(10, 400, 100, 0, 2, Motion::Arrived)}},
                   {.id = "B", .actor = 1, .keys = {key(0, 400, 100, 0, 2), key(10, 0, 100, 0, 2, Motion::Arrived)}}},
       .horizon = 4.3,
       .expected = {}},
      {.name = "a route far from everyone",
       .walkers = {{.id = "far", .actor = 2, .keys = {key(0, 5000, 0, 5000, 1), key(30, 5000, 0, 6000, 2)}},
                   {.id = "near", .actor = 0, .keys = {key(0, 0, 0, 0, 1), key(30, 0, 0, 1000, 1)}}},
       .standing = {{.id = "bench", .actor = 1, .x = 200, .y = 0, .z = 0}},
       .horizon = 600,
       .expected = {}},
  };
  // clang-format on
  for (const Case& row : cases) {
    EXPECT_EQ(lines_of(find_meetings(row.walkers, row.standing, row.horizon)), row.expected) << row.name;
  }
}

TEST(FindMeetings, FindingsCarryTheRoundedMomentAndPlace) {
  // clang-format off
  const std::vector<WalkerTrack> walkers = {
      {.id = "A", .actor = 0, .keys = {key(0, 0, 100, 0, 2), key(10, 400, 100, 0, 2, Motion::Arrived)}},
      {.id = "B", .actor = 1, .keys = {key(0, 400, 100, 0, 2), key(10, 0, 100, 0, 2, Motion::Arrived)}}};
  const std::vector<Meeting> meetings = find_meetings(walkers, {}, 600);
  ASSERT_EQ(meetings.size(), 1u);
  EXPECT_NEAR(meetings[0].seconds, 4.375, 0.01) << "the first moment, from the motion";
  const mods::json::Value finding = meeting_finding(meetings[0]);
  EXPECT_EQ(finding.get("seconds").number, 4.4);
  EXPECT_EQ(finding.get("at").get("x").number, 200);
  EXPECT_EQ(finding.get("other").str, "B");
  EXPECT_EQ(finding.get("level").str, "warning");
}

// Walkers (ids 0 to 39) wandering at random in a square of 1,000 units for 120 s, and ten actors standing (ids 40 to 49).
void random_crowd(std::mt19937& random, std::vector<WalkerTrack>& walkers, std::vector<StandingActor>& standing) {
  std::uniform_real_distribution<double> place(0, 1000), height(0, 150), leg(0.5, 6);
  for (std::size_t k = 0; k < 40; ++k) {
    WalkerTrack track{.id = std::to_string(k), .actor = k, .keys = {}};
    double t = 0;
    for (int point = 1; t < 120; ++point) {
      track.keys.push_back(key(t, place(random), height(random), place(random), point));
      t += leg(random);
    }
    walkers.push_back(std::move(track));
  }
  // clang-format on
  for (std::size_t k = 40; k < 50; ++k) {
    standing.push_back({.id = std::to_string(k), .actor = k, .x = place(random), .y = 0, .z = place(random)});
  }
}

TEST(FindMeetings, ACrowdMeetsAsItsPairsAloneAndWhereverItStands) {
  std::mt19937 random = test_support::seeded_random();
  std::vector<WalkerTrack> walkers;
  std::vector<StandingActor> standing;
  random_crowd(random, walkers, standing);
  const std::vector<std::string> crowd = lines_of(find_meetings(walkers, standing, 100));

  std::vector<std::string> pairs;  // each walker with every later walker and every standing actor, alone
  for (std::size_t i = 0; i < walkers.size(); ++i) {
    for (std::size_t j = i + 1; j < walkers.size(); ++j) {
      for (const std::string& line : lines_of(find_meetings({walkers[i], walkers[j]}, {}, 100))) pairs.push_back(line);
    }
    for (const StandingActor& actor : standing) {
      for (const std::string& line : lines_of(find_meetings({walkers[i]}, {actor}, 100))) pairs.push_back(line);
    }
  }
  std::vector<std::string> sorted_crowd = crowd;
  std::sort(sorted_crowd.begin(), sorted_crowd.end());
  std::sort(pairs.begin(), pairs.end());
  EXPECT_EQ(sorted_crowd, pairs);
  EXPECT_FALSE(crowd.empty()) << "a crowd this dense meets";

  // Moved by whole units but not whole cells of the sweep, the same meetings at the moved places.
  for (WalkerTrack& track : walkers) {
    for (TrackKey& k : track.keys) {
      k.x += 1000;
      k.z -= 3000;
    }
  }
  for (StandingActor& actor : standing) {
    actor.x += 1000;
    actor.z -= 3000;
  }
  const std::vector<Meeting> moved = find_meetings(walkers, standing, 100);
  const std::vector<Meeting> before = [&] {
    for (WalkerTrack& track : walkers) {
      for (TrackKey& k : track.keys) {
        k.x -= 1000;
        k.z += 3000;
      }
    }
    for (StandingActor& actor : standing) {
      actor.x -= 1000;
      actor.z += 3000;
    }
    return find_meetings(walkers, standing, 100);
  }();
  ASSERT_EQ(moved.size(), before.size());
  for (std::size_t k = 0; k < moved.size(); ++k) {
    EXPECT_EQ(moved[k].id + " " + moved[k].other, before[k].id + " " + before[k].other);
    EXPECT_EQ(moved[k].times, before[k].times) << moved[k].id << " " << moved[k].other;
    EXPECT_NEAR(moved[k].seconds, before[k].seconds, 0.01) << moved[k].id << " " << moved[k].other;
    EXPECT_NEAR(moved[k].x - 1000, before[k].x, 0.01) << moved[k].id << " " << moved[k].other;
  }
}

}  // namespace
}  // namespace host
