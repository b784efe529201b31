#include "map/map_security.h"

#include <cstdio>
#include <fstream>

namespace host::map {
namespace {

constexpr std::size_t kTokenBytes = 16;  // random bytes in a token: 32 hex digits

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

}  // namespace

std::string random_token(std::string& error) {
  std::ifstream source("/dev/urandom", std::ios::binary);
  unsigned char bytes[kTokenBytes] = {};
  if (!source.read(reinterpret_cast<char*>(bytes), sizeof bytes)) {
    error = "cannot read /dev/urandom for the map's token";
    return "";
  }
  std::string token;
  for (unsigned char byte : bytes) {
    char hex[3];
    std::snprintf(hex, sizeof hex, "%02x", byte);
    token += hex;
  }
  return token;
}

std::string token_of(std::string_view authorization, std::string_view cookie) {
  constexpr std::string_view kBearer = "Bearer ";
  authorization = trimmed(authorization);
  if (authorization.substr(0, kBearer.size()) == kBearer) {
    return std::string(trimmed(authorization.substr(kBearer.size())));
  }
  const std::string prefix = std::string(kTokenCookie) + "=";
  while (!cookie.empty()) {
    const std::size_t end = cookie.find(';');
    std::string_view pair = trimmed(cookie.substr(0, end));
    if (pair.substr(0, prefix.size()) == prefix) return std::string(pair.substr(prefix.size()));
    if (end == std::string_view::npos) break;
    cookie.remove_prefix(end + 1);
  }
  return "";
}

bool same_token(std::string_view given, std::string_view expected) {
  if (given.size() != expected.size() || expected.empty()) return false;
  unsigned char differ = 0;
  for (std::size_t i = 0; i < given.size(); ++i) differ |= static_cast<unsigned char>(given[i] ^ expected[i]);
  return differ == 0;
}

std::vector<std::string> own_hosts(const std::string& bind, int port) {
  std::vector<std::string> own;
  for (const std::string& name : {std::string("127.0.0.1"), std::string("localhost"), bind}) {
    std::string host = name;
    host.append(":").append(std::to_string(port));
    if (own.size() < 2 || (name != "127.0.0.1" && name != "localhost")) own.push_back(host);
  }
  return own;
}

bool host_allowed(std::string_view host, const std::vector<std::string>& own) {
  for (const std::string& name : own)
    if (host == name) return true;
  return false;
}

bool origin_allowed(std::string_view origin, bool has_origin, const std::vector<std::string>& own) {
  if (!has_origin) return true;
  constexpr std::string_view kScheme = "http://";
  if (origin.substr(0, kScheme.size()) != kScheme) return false;
  return host_allowed(origin.substr(kScheme.size()), own);
}

}  // namespace host::map
