// The constants both ends of the game link agree on (docs/game-link.md): the protocol version, where the
// game listens by default and the longest line either side takes. Constants only; any thread.
#ifndef PATHWRIGHT_PROTOCOL_LINK_PROTOCOL_H_
#define PATHWRIGHT_PROTOCOL_LINK_PROTOCOL_H_

#include <cstddef>
#include <cstdint>

namespace protocol {

// The version "hello" answers; Pathwright refuses a game that speaks another.
inline constexpr int kProtocolVersion = 1;

// The game's TCP port on 127.0.0.1 unless told otherwise.
inline constexpr std::uint16_t kDefaultPort = 47800;

// The longest line (bytes, without its "\n") either side reads: it bounds the memory one connection can
// hold (a ground query of a million probes is about 35 MB). The game answers a longer request with an
// error; Pathwright drops a connection whose answer is longer.
inline constexpr std::size_t kMaxLineBytes = 64u << 20;

}  // namespace protocol

#endif  // PATHWRIGHT_PROTOCOL_LINK_PROTOCOL_H_
