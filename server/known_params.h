// The parameters each command reads (the command table's "params"), so that a misspelt one ("speeed") is
// told back rather than passed over in silence. Pure; any thread.
#ifndef PATHWRIGHT_SERVER_KNOWN_PARAMS_H_
#define PATHWRIGHT_SERVER_KNOWN_PARAMS_H_

#include <string>
#include <vector>

#include "json/value.h"

namespace host::server {

// `unknown parameter "NAME"` for each member of `params` that `method` does not read, sorted by
// name; empty for a method the table does not know (it is refused elsewhere), a row whose parameters are
// not checked, or params not an object.
std::vector<std::string> unknown_param_warnings(const std::string& method, const mods::json::Value& params);

// Appends `warnings` to the answer's "warnings" array (made when missing); an answer that is not an object
// is left as it is.
void add_warnings(mods::json::Value& answer, const std::vector<std::string>& warnings);

}  // namespace host::server

#endif  // PATHWRIGHT_SERVER_KNOWN_PARAMS_H_
