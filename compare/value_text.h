// How the diff and the merge quote values in their lines: numbers shortest (as the check writes places),
// a point as (X, Y, Z), anything else as compact JSON, and an actor's id as it is unless it would be
// misread. Pure; any thread.
#ifndef PATHWRIGHT_COMPARE_VALUE_TEXT_H_
#define PATHWRIGHT_COMPARE_VALUE_TEXT_H_

#include <string>

#include "json/value.h"

namespace host::compare {

// "(1525, 45.8, 800)" for a point with nothing else in it; compact JSON otherwise.
std::string value_text(const mods::json::Value& value);

// The id as a line shows it: as it is, or as a JSON string when it is empty, holds a control character or
// ": ", or starts or ends with a space.
std::string id_label(const std::string& id);

}  // namespace host::compare

#endif  // PATHWRIGHT_COMPARE_VALUE_TEXT_H_
