#include "residents/resident_types.h"

namespace story_resident_types {

// Catalogue order is fixed (not sorted by code or number): other parts of the editor list types in it.
const Type kTypes[16] = {
    {"uo2", 1, 0, 255, "Man from the bar", "The man from the Windfall bar."},
    {"um1", 9, 0, 255, "Windmill keeper", "The man from up on the Windfall windmill."},
    {"uo1", 0, 0, 255, "Old man on the bench", "The old man from the sea-view bench at the Windfall cliff."},
    {"uo3", 2, 0, 255, "Well-dressed man", "A well-dressed man; a placed copy stands still."},
    {"ub1", 3, 0, 255, "Chatting woman (first)", "One of the two women chatting on the Windfall steps."},
    {"ub2", 4, 0, 255, "Chatting woman (second)", "The other of the two women chatting on the Windfall steps."},
    {"ub3", 5, 0, 255, "Woman from the pier", "The woman on the Windfall harbour pier."},
    {"ub4", 6, 0, 255, "Woman by the gate", "The woman by the Windfall town gate (not in the photo studio, Ocmera)."},
    {"uw1", 7, 0, 255, "Bar worker", "The young woman working in the Windfall bar."},
    {"uw2", 8, 255, 255, "Young woman", "The young woman of the Windfall town square; a placed copy is always there."},
    {"um2", 10, 255, 255, "Young man", "The young man of the Windfall town square; a placed copy is always there."},
    {"sa1", 12, 0, 255, "Sailor from the bar", "A sailor who drinks in the Windfall bar at night."},
    {"sa2", 13, 0, 255, "Lookout sailor", "The sailor on the Windfall high lookout."},
    {"sa3", 14, 0, 255, "Sailor from the dock", "The sailor on the Windfall stone dock."},
    {"sa4", 15, 0, 255, "Sailor from the pier", "The sailor at the end of the Windfall wooden pier."},
    {"ym1", 19, 1, 0, "Seated man", "A seated man; author his height, he doesn't walk or turn in scenes."},
};

const Type* find(const std::string& code) {
  constexpr std::size_t kCodeLength = 3;  // every code is exactly three characters
  if (code.size() != kCodeLength) return nullptr;
  for (const Type& type : kTypes) {
    if (code == type.code) return &type;
  }
  return nullptr;
}

}  // namespace story_resident_types
