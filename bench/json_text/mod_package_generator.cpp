// Mod package generator: one actor in ten is a model, two in ten a Bokoblin or Moblin, the rest residents.
#include "bench/json_text/mod_package_generator.h"

#include <cstdint>
#include <cstdio>

namespace bench_json_text {
namespace {

constexpr const char* kResidents[] = {"ub3", "ko1", "sa2", "mi4", "ob1"};
constexpr const char* kModes[] = {"once", "loop", "back_and_forth"};
constexpr const char* kModels[] = {"windmill_blade", "ferry_boat", "gull_flock"};

// A small linear congruential generator: the same sequence on every platform.
struct Sequence {
  std::uint64_t state;
  std::uint32_t next() {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<std::uint32_t>(state >> 33);
  }
  // A coordinate in quarter units, like positions snapped in the editor: 1234.5, -88.25, 10.
  double coordinate(int range) { return static_cast<double>(static_cast<int>(next() % (range * 8)) - range * 4) / 4; }
};

void append_number(std::string& out, double n) {
  char buffer[32];
  const int length = std::snprintf(buffer, sizeof buffer, "%.17g", n);
  out.append(buffer, static_cast<std::size_t>(length));
}

void append_point(std::string& out, Sequence& seq, const char* indent) {
  out += indent;
  out += "{\"x\": ";
  append_number(out, seq.coordinate(4000));
  out += ", \"y\": ";
  append_number(out, seq.coordinate(200));
  out += ", \"z\": ";
  append_number(out, seq.coordinate(4000));
  out += "}";
}

}  // namespace

std::string generate_mod_package(std::size_t actors) {
  Sequence seq{actors};
  std::string out = "{\n  \"name\": \"generated_island_mod\",\n  \"version\": 3,\n  \"actors\": [\n";
  for (std::size_t i = 0; i < actors; ++i) {
    const std::uint32_t pick = seq.next() % 10;
    out += "    {\n";
    if (pick == 0) {
      out += "      \"id\": \"" + std::string(kModels[i % 3]) + "_" + std::to_string(i) + "\",\n";
      out += "      \"kind\": \"mod\",\n      \"model\": \"models/" + std::string(kModels[i % 3]) + ".obj\",\n";
      out += "      \"speed\": 60,\n";
    } else if (pick <= 2) {
      out += "      \"id\": \"camp_guard_" + std::to_string(i) + "\",\n";
      out += pick == 1 ? "      \"actor\": \"bokoblin\",\n" : "      \"actor\": \"moblin\",\n";
      out += "      \"parameters\": {\"weapon\": \"spear\", \"aggressive\": true},\n";
    } else {
      out += "      \"id\": \"villager_" + std::to_string(i) + "\",\n      \"actor\": \"resident\",\n";
      out += "      \"parameters\": {\"resident\": \"" + std::string(kResidents[seq.next() % 5]) + "\"},\n";
    }
    out += "      \"position\": ";
    append_point(out, seq, "");
    out += ",\n      \"rotation\": ";
    append_number(out, static_cast<double>(seq.next() % 8) * 45);
    out += ",\n      \"path\": {\n        \"points\": [\n";
    const std::uint32_t points = 3 + seq.next() % 4;
    for (std::uint32_t p = 0; p < points; ++p) {
      append_point(out, seq, "          ");
      out += p + 1 < points ? ",\n" : "\n";
    }
    out += "        ],\n        \"mode\": \"" + std::string(kModes[seq.next() % 3]) + "\"";
    if (pick == 0) out += ",\n        \"walk\": \"drift\",\n        \"idle\": \"bob\",\n        \"pauses\": 2.5";
    out += "\n      }\n    }";
    out += i + 1 < actors ? ",\n" : "\n";
  }
  out += "  ]\n}\n";
  return out;
}

}  // namespace bench_json_text
