// `pathwright tour`: a guided walk through what Pathwright does, on a temporary copy of the demo store
// with the simulated game in this process. Each step prints a one-line explanation, the JSON-RPC request
// and the answer, and checks the answer, so the tour doubles as an end-to-end test. Runs on the calling
// thread.
#ifndef PATHWRIGHT_CLI_TOUR_H_
#define PATHWRIGHT_CLI_TOUR_H_

#include <ostream>
#include <string>

namespace host::cli {

// Runs every step, writing the walk-through to `out`. True when every step answered as expected; the
// steps that did not are marked in `out`, and a failure to set up the tour is written there too.
bool run_tour(const std::string& examples_dir, std::ostream& out);

}  // namespace host::cli

#endif  // PATHWRIGHT_CLI_TOUR_H_
