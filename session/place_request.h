// How a request names a place in the world: "position" (a point given outright) or "at" (where Link or the
// camera is, asked of the running game). Stateless; the game link it is given is used by one thread at a
// time.
#ifndef PATHWRIGHT_SESSION_PLACE_REQUEST_H_
#define PATHWRIGHT_SESSION_PLACE_REQUEST_H_

#include <cstdint>
#include <string>

#include "editor/live_game.h"
#include "editor/session.h"
#include "json/value.h"

namespace host::session {

// What resolved a place, as Place::resolved_from records it.
constexpr std::uint8_t kPlaceFromPosition = 1;
constexpr std::uint8_t kPlaceFromLink = 2;
constexpr std::uint8_t kPlaceFromCamera = 3;

// Resolves `params`'s "position" (first; a point as protocol::read_point_in_float_range reads it) or "at"
// into `place` (point, source, resolved_from), asking `game` (null when no game runs) for link or the
// camera. On false, `error` says why and `place` is unchanged.
bool resolve_place(const mods::json::Value& params, editor::LiveGame* game, editor::Place& place, std::string& error);

}  // namespace host::session

#endif  // PATHWRIGHT_SESSION_PLACE_REQUEST_H_
