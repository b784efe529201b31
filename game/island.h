// The built-in island of the simulated game: a town plateau with a wall block, a cliff down to a beach
// shelf, a pier over open sea, and nothing below the sea. Its layout is fixed (docs/simulated-game.md
// lists the places); these constants are the one place it is written down in code. Read-only; usable
// from any thread.
#ifndef PATHWRIGHT_GAME_ISLAND_H_
#define PATHWRIGHT_GAME_ISLAND_H_

#include "editor/points/world_point.h"
#include "game/world_mesh.h"

namespace game::island {

// World units, y up.
inline constexpr float kPlateauHeight = 100;  // town plateau ground
inline constexpr float kPlateauWest = -2000, kPlateauEast = 1500;
inline constexpr float kPlateauSouth = -1500, kPlateauNorth = 1500;
inline constexpr float kBeachHeight = 0;  // 100 below the plateau: the cliff at x = 1500
inline constexpr float kBeachEast = 2500;
inline constexpr float kWallWest = -1000, kWallEast = -900;
inline constexpr float kWallSouth = -500, kWallNorth = 500;
inline constexpr float kWallTop = 300;  // 200 above the plateau
inline constexpr float kPierWest = -100, kPierEast = 100;
inline constexpr float kPierEnd = -2600;  // the pier runs south from the plateau to here
inline constexpr float kPierHeight = 100;

inline constexpr story_notebook::WorldPoint kTownSquare{0, 100, 0};
inline constexpr story_notebook::WorldPoint kLinkSpawn{0, 100, 200};
inline constexpr story_notebook::WorldPoint kCliffEdge{1500, 100, 0};
inline constexpr story_notebook::WorldPoint kBelowCliff{1800, 0, 0};
inline constexpr story_notebook::WorldPoint kWallFace{-1000, 100, 0};
inline constexpr story_notebook::WorldPoint kOnTheWall{-950, 300, 0};
inline constexpr story_notebook::WorldPoint kPierEndPoint{0, 100, -2600};
inline constexpr story_notebook::WorldPoint kOpenSeaSouth{0, 100, -3000};
inline constexpr story_notebook::WorldPoint kOpenSeaEast{3000, 0, 0};

inline constexpr const char* kWorldName = "island";

// The island's triangles: top surfaces plus the vertical faces of the cliff and the wall block.
WorldMesh build();

}  // namespace game::island

#endif  // PATHWRIGHT_GAME_ISLAND_H_
