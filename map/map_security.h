// The map server's gatekeeping, as plain functions over request header values: the random token, where
// a request may carry it (bearer header or cookie), and which Host and Origin headers count as the
// server's own. No state; any thread.
#ifndef PATHWRIGHT_MAP_MAP_SECURITY_H_
#define PATHWRIGHT_MAP_MAP_SECURITY_H_

#include <string>
#include <string_view>
#include <vector>

namespace host::map {

constexpr const char* kTokenCookie = "pathwright_token";  // the cookie POST /session sets

// 32 lower-case hex digits from the system's random source. On "" `error` says why.
std::string random_token(std::string& error);

// The token a request carries: from "Authorization: Bearer T", else from the cookie kTokenCookie in the
// Cookie header; "" when neither is there.
std::string token_of(std::string_view authorization, std::string_view cookie);

// Whether `given` equals `expected`, in a time that does not depend on where they first differ.
bool same_token(std::string_view given, std::string_view expected);

// The Host header values this server answers to: 127.0.0.1:PORT, localhost:PORT and BIND:PORT.
std::vector<std::string> own_hosts(const std::string& bind, int port);

// Whether `host` (the Host header) is one of `own`.
bool host_allowed(std::string_view host, const std::vector<std::string>& own);

// Whether a POST with Origin `origin` may go on: no Origin, or "http://" + one of `own`.
bool origin_allowed(std::string_view origin, bool has_origin, const std::vector<std::string>& own);

}  // namespace host::map

#endif  // PATHWRIGHT_MAP_MAP_SECURITY_H_
