#include "tests/host/link/fake_game.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cmath>
#include <stdexcept>

#include "host/json_text/json_text.h"

namespace host::testing {
namespace {

using mods::json::Value;

constexpr int kPollMs = 20;  // ms; how often the server thread looks at its stop flag

std::string compact(const Value& value) {
  std::string out, error;
  print_json(value, JsonLayout::Compact, out, error);
  return out;
}

}  // namespace

Reply ok_reply(const Value& request, Value fields) {
  fields["id"] = request.get("id");
  fields["ok"] = Value::of(true);
  return {Reply::Act::Answer, compact(fields)};
}

Reply island_reply(const Value& request) {
  const std::string op = request.get("op").string("");
  Value fields = Value::object();
  auto ground = [](double x) { return std::fabs(x) <= 1000.0; };
  if (op == "hello") {
    fields["protocol"] = Value::of(1.0);
    fields["world"] = Value::of("island");
  } else if (op == "ground_height") {
    bool found = ground(request.get("x").number);
    fields["found"] = Value::of(found);
    if (found) fields["height"] = Value::of(100.0);
    else fields["note"] = Value::of("open sea below");
  } else if (op == "ground_heights") {
    fields["heights"] = Value::array();
    fields["found"] = Value::array();
    const auto& probes = request.get("probes").items;
    for (std::size_t k = 0; k + 2 < probes.size(); k += 3) {
      bool found = ground(probes[k].number);
      fields["heights"].items.push_back(Value::of(found ? 100.0 : 0.0));
      fields["found"].items.push_back(Value::of(found ? 1.0 : 0.0));
    }
  } else if (op == "link") {
    fields["x"] = Value::of(0.0);
    fields["y"] = Value::of(100.0);
    fields["z"] = Value::of(200.0);
  } else if (op == "load") {
    fields["walking"] = Value::of(0.0);
  } else if (op == "live_route") {
    fields["route"] = Value();
  } else {
    Value refusal = Value::object();
    refusal["id"] = request.get("id");
    refusal["ok"] = Value::of(false);
    refusal["error"] = Value::of("unknown op \"" + op + "\"");
    return {Reply::Act::Answer, compact(refusal)};
  }
  return ok_reply(request, fields);
}

FakeGame::FakeGame(Script script, std::uint16_t port) : script_(std::move(script)) {
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int one = 1;
  ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener_, 4) != 0) {
    ::close(listener_);
    throw std::runtime_error("the fake game cannot listen");
  }
  socklen_t length = sizeof address;
  ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { serve(); });
}

FakeGame::~FakeGame() {
  stop_ = true;
  thread_.join();
  ::close(listener_);
}

std::uint16_t FakeGame::free_port() {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  socklen_t length = sizeof address;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  ::close(fd);
  return ntohs(address.sin_port);
}

std::vector<std::string> FakeGame::lines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

std::vector<std::string> FakeGame::ops() const {
  std::vector<std::string> ops;
  for (const std::string& line : lines()) {
    Value request;
    JsonTextError error;
    ops.push_back(parse_json(line, request, error) ? request.get("op").string("?") : "?");
  }
  return ops;
}

void FakeGame::serve() {
  while (!stop_) {
    pollfd wait{listener_, POLLIN, 0};
    if (::poll(&wait, 1, kPollMs) <= 0) continue;
    int client = ::accept(listener_, nullptr, nullptr);
    if (client < 0) continue;
    ++connections_;
    std::string pending;
    bool open = true;
    while (open && !stop_) {
      pollfd p{client, POLLIN, 0};
      if (::poll(&p, 1, kPollMs) <= 0) continue;
      char chunk[4096];
      ssize_t n = ::recv(client, chunk, sizeof chunk, 0);
      if (n <= 0) break;
      pending.append(chunk, static_cast<std::size_t>(n));
      for (auto end = pending.find('\n'); open && end != std::string::npos; end = pending.find('\n')) {
        std::string line = pending.substr(0, end);
        pending.erase(0, end + 1);
        {
          std::lock_guard<std::mutex> lock(mutex_);
          lines_.push_back(line);
        }
        Value request;
        JsonTextError error;
        if (!parse_json(line, request, error)) request = Value::object();
        Reply reply = script_(request);
        if (reply.act == Reply::Act::Close) open = false;
        if (reply.act == Reply::Act::Answer) {
          std::string out = reply.line + "\n";
          ::send(client, out.data(), out.size(), MSG_NOSIGNAL);
        }
      }
    }
    ::close(client);
  }
}

}  // namespace host::testing
