// A point in the game world: three 32-bit floats; y is the height (up is positive), x and z are
// horizontal. Horizontal distances never include y. Held by value.
#ifndef PATHWRIGHT_EDITOR_POINTS_WORLD_POINT_H_
#define PATHWRIGHT_EDITOR_POINTS_WORLD_POINT_H_

namespace story_notebook {

struct WorldPoint {
  float x = 0, y = 0, z = 0;
};

}  // namespace story_notebook

#endif  // PATHWRIGHT_EDITOR_POINTS_WORLD_POINT_H_
