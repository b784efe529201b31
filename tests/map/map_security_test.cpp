// The map's gatekeeping through a real HTTP client: what is refused without the token or from a foreign
// Host or Origin, the body limit, the page loading without a token, the cookie, and a connection that
// stalls without holding the server.
#include "map/map_security.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <fstream>

#include "tests/map/map_fixture.h"

namespace host::map::testing {
namespace {

constexpr const char* kStatus = R"({"jsonrpc":"2.0","id":1,"method":"status"})";

struct Case {
  const char* name;
  const char* method;  // "GET" or "POST"
  const char* path;
  httplib::Headers headers;
  int status;
};

// Which files of the page are served, with or without a token, is in page_files_test.cpp.
TEST_F(MapFixture, EachEndpointAdmitsOnlyWhatItShould) {
  const std::pair<const std::string, std::string> auth{"Authorization", std::string("Bearer ") + kToken};
  const std::string cookie = std::string(kTokenCookie) + "=" + kToken;
  const std::string own = "127.0.0.1:" + std::to_string(server_->port());
  const std::string local = "localhost:" + std::to_string(server_->port());
  // clang-format off
  const Case cases[] = {
      {.name = "rpc without token",        .method = "POST", .path = "/rpc",              .headers = {},                                           .status = 401},
      {.name = "rpc wrong token",          .method = "POST", .path = "/rpc",              .headers = {{"Authorization", "Bearer 0123"}},           .status = 401},
      {.name = "rpc bearer",               .method = "POST", .path = "/rpc",              .headers = {auth},                                       .status = 200},
      {.name = "rpc cookie",               .method = "POST", .path = "/rpc",              .headers = {{"Cookie", "a=b; " + cookie}},               .status = 200},
      {.name = "rpc wrong cookie",         .method = "POST", .path = "/rpc",              .headers = {{"Cookie", std::string(kTokenCookie) + "=x"}}, .status = 401},
      {.name = "rpc localhost",            .method = "POST", .path = "/rpc",              .headers = {auth, {"Host", local}},                      .status = 200},
      {.name = "rpc foreign host",         .method = "POST", .path = "/rpc",              .headers = {auth, {"Host", "evil.example:80"}},          .status = 403},
      {.name = "rpc other port",           .method = "POST", .path = "/rpc",              .headers = {auth, {"Host", "127.0.0.1:1"}},              .status = 403},
      {.name = "rpc own origin",           .method = "POST", .path = "/rpc",              .headers = {auth, {"Origin", "http://" + own}},          .status = 200},
      {.name = "rpc foreign origin",       .method = "POST", .path = "/rpc",              .headers = {auth, {"Origin", "http://evil.example"}},    .status = 403},
      {.name = "rpc null origin",          .method = "POST", .path = "/rpc",              .headers = {auth, {"Origin", "null"}},                   .status = 403},
      {.name = "session without token",    .method = "POST", .path = "/session",          .headers = {},                                           .status = 401},
      {.name = "session by cookie",        .method = "POST", .path = "/session",          .headers = {{"Cookie", cookie}},                         .status = 401},
      {.name = "session bearer",           .method = "POST", .path = "/session",          .headers = {auth},                                       .status = 204},
      {.name = "page without token",       .method = "GET",  .path = "/",                 .headers = {},                                           .status = 200},
      {.name = "page from foreign host",   .method = "GET",  .path = "/",                 .headers = {{"Host", "evil.example"}},                   .status = 403},
      {.name = "events without token",     .method = "GET",  .path = "/events",           .headers = {},                                           .status = 401},
      {.name = "tile without token",       .method = "GET",  .path = "/ground/0/0/0.png", .headers = {},                                           .status = 401},
  };
  // clang-format on
  std::ofstream(web_ + "/index.html") << "<!doctype html><title>map</title>";
  for (const Case& c : cases) {
    auto http = client();
    auto answer = std::string(c.method) == "GET" ? http->Get(c.path, c.headers)
                                                 : http->Post(c.path, c.headers, kStatus, "application/json");
    ASSERT_TRUE(answer) << c.name;
    EXPECT_EQ(answer->status, c.status) << c.name << ": " << answer->body;
    EXPECT_FALSE(answer->has_header("Access-Control-Allow-Origin")) << c.name;
  }
}

TEST_F(MapFixture, PageCarriesItsPolicyAndSaysWhenItIsNotInstalled) {
  auto missing = client()->Get("/");
  ASSERT_TRUE(missing);
  EXPECT_EQ(missing->status, 404);
  EXPECT_NE(missing->body.find("the map's page is not installed"), std::string::npos) << missing->body;

  std::ofstream(web_ + "/index.html") << "<!doctype html><title>map</title>";
  auto page = client()->Get("/");
  ASSERT_TRUE(page);
  EXPECT_EQ(page->status, 200);
  EXPECT_EQ(page->get_header_value("Content-Type"), "text/html; charset=utf-8");
  EXPECT_EQ(page->get_header_value("Content-Security-Policy"),
            "default-src 'self'; img-src 'self' data: blob:; style-src 'self' 'unsafe-inline'");
}

// The cookie it sets is the one the table above admits ("rpc cookie").
TEST_F(MapFixture, SessionSetsTheTokenCookieForLaterRequests) {
  auto session = client()->Post("/session", bearer(), "", "text/plain");
  ASSERT_TRUE(session);
  ASSERT_EQ(session->status, 204);
  EXPECT_EQ(session->get_header_value("Set-Cookie"),
            std::string(kTokenCookie) + "=" + kToken + "; HttpOnly; SameSite=Strict; Path=/");
}

TEST_F(MapFixture, BodyAboveTheLimitIsRefused) {
  const std::string at_limit(MapServerOptions::kDefaultBodyLimit, ' ');
  const std::string above = at_limit + " ";
  auto fits = client()->Post("/rpc", bearer(), at_limit, "application/json");
  ASSERT_TRUE(fits);
  EXPECT_EQ(fits->status, 200);  // blank text: a parse error, answered
  auto refused = client()->Post("/rpc", bearer(), above, "application/json");
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->status, 413);
}

// A raw connection that sends the start of a request and then nothing.
int half_open(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return -1;
  const std::string start = "POST /rpc HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 100\r\n";
  return ::send(fd, start.data(), start.size(), 0) == static_cast<ssize_t>(start.size()) ? fd : -1;
}

// Whether the server ends the connection `fd` (whatever it says first) within `ms`.
bool closed_within(int fd, int ms) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd ready{fd, POLLIN, 0};
    if (left.count() <= 0 || ::poll(&ready, 1, static_cast<int>(left.count())) != 1) return false;
    char chunk[512];
    if (::recv(fd, chunk, sizeof chunk, 0) <= 0) return true;
  }
}

TEST_F(MapFixture, StalledConnectionsNeitherHoldTheServerNorStayOpen) {
  constexpr int kStalled = 6;            // connections that stop half way through a request
  constexpr int kAnswerWithinMs = 2000;  // ms for an ordinary request beside them
  // ms until the server drops a stalled one: the HTTP library gives up after about two read timeouts of 5 s
  // (10 s measured), so the bound leaves room for a loaded machine rather than sitting on that edge.
  constexpr int kClosedWithinMs = 15000;
  int stalled[kStalled];
  for (int& fd : stalled) ASSERT_GE(fd = half_open(server_->port()), 0);
  const auto start = std::chrono::steady_clock::now();
  const Value answer = rpc(kStatus);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_TRUE(answer.has("result"));
  EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(took).count(), kAnswerWithinMs);
  for (int fd : stalled) {
    EXPECT_TRUE(closed_within(fd, kClosedWithinMs));
    ::close(fd);
  }
}

}  // namespace
}  // namespace host::map::testing
