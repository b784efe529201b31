// Where a check_package answer's findings and route problems stand in the package file as it is, so that
// a report can start its lines with FILE:LINE:COLUMN: as compilers do and editors jump there. Adds
// "line" and "column" to the answer; pure text work on the caller's thread.
//
// The place is the route point a finding or a failing segment concerns (point 0: the actor's "position";
// a segment: the point it starts from), else the actor. An id several actors share: findings stand at the
// first of them (where the shared-id error is), routes at the last (the one check_route checks).
#ifndef PATHWRIGHT_CHECK_CHECK_PLACES_H_
#define PATHWRIGHT_CHECK_CHECK_PLACES_H_

#include <string_view>

#include "json/value.h"

namespace host::check {

// Adds "line" and "column" to each entry of `answer`'s "findings", to each entry of its "routes", and to
// each of their failing "segments", as `file_text` (the package's file) holds them. Entries whose actor
// the text does not hold, and every entry when the text is not a package, are left as they are.
void place_answer(mods::json::Value& answer, std::string_view file_text);

}  // namespace host::check

#endif  // PATHWRIGHT_CHECK_CHECK_PLACES_H_
