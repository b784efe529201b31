// World points as the game link and the host's requests carry them: {"x", "y", "z"} objects of numbers.
// There are three rules for reading one, each with its own reader, named for the rule; one writer gives
// the float's shortest text. Stateless functions; any thread.
#ifndef PATHWRIGHT_PROTOCOL_POINT_CODEC_H_
#define PATHWRIGHT_PROTOCOL_POINT_CODEC_H_

#include <string>

#include "editor/points/world_point.h"
#include "json/value.h"

namespace protocol {

// True when `value` is an object whose "x", "y" and "z" are numbers that narrow to finite floats (as
// narrow_to_float decides); `point` then holds the narrowed coordinates. Used for what the game is sent.
// On false `point` may have been partly written.
bool read_point_narrowing(const mods::json::Value& value, story_notebook::WorldPoint& point);

// True when `value` is an object whose "x", "y" and "z" are finite numbers no larger in magnitude than
// the largest float; `point` then holds them. On false `point` is unchanged. Used for points in the
// host's requests.
bool read_point_in_float_range(const mods::json::Value& value, story_notebook::WorldPoint& point);

// True when "x", "y" and "z" of `value` are numbers of any size; `point` then holds them cast to float.
// On false `point` is unchanged. Used for the game's own answers, which the game narrowed already.
bool read_point_as_sent(const mods::json::Value& value, story_notebook::WorldPoint& point);

// Sets "x", "y" and "z" of the object `out` to the point's coordinates, each as the double whose
// shortest text is the float's (wire_double).
void put_point(mods::json::Value& out, const story_notebook::WorldPoint& point);
// A new object holding the point as put_point writes it.
mods::json::Value point_value(const story_notebook::WorldPoint& point);

// The request members `"x":X,"y":Y,"z":Z`, each coordinate as its shortest float text.
std::string point_fields(const story_notebook::WorldPoint& point);

}  // namespace protocol

#endif  // PATHWRIGHT_PROTOCOL_POINT_CODEC_H_
