// `pathwright serve`'s loop: reads JSON-RPC messages from standard input, one per line, answers each on
// standard output as one line, and lets the store fold its journal while input is idle. Nothing else is
// ever written to standard output. Runs on the calling thread until input ends.
#ifndef PATHWRIGHT_SERVER_STDIO_SERVER_H_
#define PATHWRIGHT_SERVER_STDIO_SERVER_H_

#include <cstddef>
#include <string>

namespace host::server {

class SharedWorkbench;
class Workbench;

// How long the loop waits for input before it lets the store do its upkeep (ms).
constexpr int kIdlePollMs = 150;

// The longest request line served by default (bytes, without its newline): `serve --max-request`.
constexpr std::size_t kDefaultMaxRequestBytes = std::size_t{16} << 20;  // 16 MiB

// Serves until standard input ends (or standard output closes), then flushes the store. A line longer
// than `max_request` bytes is never held in memory: it is skipped to its newline and answered with an
// invalid-request error. Answers 0 when everything was saved; otherwise 1, with `error` saying why.
int serve_stdio(Workbench& bench, std::string& error, std::size_t max_request = kDefaultMaxRequestBytes);
// The same on a Workbench that other front ends of this process (the store's socket, the map) share: each
// command and each upkeep runs with the Workbench to itself.
int serve_stdio(SharedWorkbench& bench, std::string& error, std::size_t max_request = kDefaultMaxRequestBytes);

}  // namespace host::server

#endif  // PATHWRIGHT_SERVER_STDIO_SERVER_H_
