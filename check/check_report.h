// The person's form of a check_package answer: one line per problem, like a compiler's, and a summary
// line per package. Pure text building; any thread.
//
//   windfall.json: young_man_um2: segment 0 to 1: a drop at (1525, 45.8, 800)
//   windfall.json: gate_guard: point 2: error: not a point (...): the check passes over it
//   windfall.json: 30 actors, 15 routes: 14 ok, 1 with problems; 0 errors, 0 warnings
#ifndef PATHWRIGHT_CHECK_CHECK_REPORT_H_
#define PATHWRIGHT_CHECK_CHECK_REPORT_H_

#include <string>

#include "json/value.h"

namespace host::check {

// The report of one check_package answer, every line ending in a newline.
std::string check_report(const mods::json::Value& answer);

// True when every route of the answer was checked and is walkable and there is no error finding.
bool check_passed(const mods::json::Value& answer);

}  // namespace host::check

#endif  // PATHWRIGHT_CHECK_CHECK_REPORT_H_
