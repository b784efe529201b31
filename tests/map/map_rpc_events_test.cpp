// JSON-RPC over POST /rpc answers as `serve` does, and the event stream: the game's state first, a
// "change" event for every change whichever front end made it, replay after a reconnect, and "reload"
// when the page missed more than is kept.
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <thread>

#include "map/event_hub.h"
#include "server/json_rpc.h"
#include "tests/map/map_fixture.h"

namespace host::map::testing {

using server::JsonRpcServer;

namespace {

constexpr const char* kAddPoint = R"({"jsonrpc":"2.0","id":7,"method":"add_route_point",)"
                                  R"("params":{"id":"baker_ub3","position":{"x":10,"y":100,"z":10}}})";

// The answers themselves are the JSON-RPC server's (serve_test.cpp, docs/json-rpc.md): here /rpc hands
// each over whole, errors and batches included, and answers a notification with no body.
TEST_F(MapFixture, RpcAnswersAsServeDoes) {
  const char* const requests[] = {
      R"({"jsonrpc":"2.0","id":"a","method":"document","params":{"package":"windfall"}})",
      R"({"jsonrpc":"2.0","id":3,"method":"check_route","params":{"id":"nobody"}})",
      R"([{"jsonrpc":"2.0","id":4,"method":"history"},{"jsonrpc":"2.0","method":"status"}])",
      "{not json",
  };
  JsonRpcServer serve(shared_->runner());
  for (const char* request : requests) {
    auto answer = client()->Post("/rpc", bearer(), request, "application/json");
    ASSERT_TRUE(answer) << request;
    EXPECT_EQ(answer->status, 200) << request;
    EXPECT_EQ(answer->get_header_value("Content-Type"), "application/json") << request;
    EXPECT_EQ(answer->body, serve.answer_line(request)) << request;
  }
  auto notification = client()->Post("/rpc", bearer(), R"({"jsonrpc":"2.0","method":"status"})", "application/json");
  ASSERT_TRUE(notification);
  EXPECT_EQ(notification->status, 204);
}

// Regression: the library compressed every answer with brotli at its highest quality when the browser
// accepted it, so a page of 10,000 listed actors took four seconds instead of a tenth of one.
TEST_F(MapFixture, AnswersAndPageFilesAreSentUncompressedWhateverTheBrowserAccepts) {
  auto http = client();
  http->set_decompress(false);
  httplib::Headers headers = bearer();
  headers.emplace("Accept-Encoding", "gzip, deflate, br");
  const char* const request = R"({"jsonrpc":"2.0","id":1,"method":"placed_actors","params":{"routes":false}})";
  auto answer = http->Post("/rpc", headers, request, "application/json");
  ASSERT_TRUE(answer);
  EXPECT_FALSE(answer->has_header("Content-Encoding")) << answer->get_header_value("Content-Encoding");
  EXPECT_EQ(answer->body, JsonRpcServer(shared_->runner()).answer_line(request));
  std::ofstream(web_ + "/index.html") << "<!doctype html><html lang=\"en\"><title>map</title></html>\n";
  auto page = http->Get("/", headers);
  ASSERT_TRUE(page);
  EXPECT_FALSE(page->has_header("Content-Encoding")) << page->get_header_value("Content-Encoding");
  EXPECT_NE(page->body.find("<html"), std::string::npos);
}

// Listens to GET /events on its own thread and keeps what arrives.
class Listener {
 public:
  Listener(int port, const httplib::Headers& headers) : http_("127.0.0.1", port) {
    http_.set_read_timeout(20, 0);
    thread_ = std::thread([this, headers] {
      http_.Get("/events", headers, [this](const char* data, std::size_t size) {
        std::lock_guard<std::mutex> hold(mutex_);
        text_.append(data, size);
        arrived_.notify_all();
        return !done_;
      });
    });
  }
  ~Listener() {
    {
      std::lock_guard<std::mutex> hold(mutex_);
      done_ = true;
    }
    http_.stop();
    thread_.join();
  }
  // Waits until the stream holds `wanted`; answers everything received so far.
  std::string wait_for(const std::string& wanted) {
    std::unique_lock<std::mutex> hold(mutex_);
    arrived_.wait_for(hold, std::chrono::seconds(10), [&] { return text_.find(wanted) != std::string::npos; });
    return text_;
  }

 private:
  httplib::Client http_;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::string text_;
  bool done_ = false;
};

TEST_F(MapFixture, EveryListenerSeesChangesFromEveryFrontEnd) {
  Listener first(server_->port(), bearer());
  const std::string opening = first.wait_for("event: game");
  for (const char* part : {R"("connected":true)", R"("world":"island")", R"("bounds":{"high":{"x":)"})
    EXPECT_NE(opening.find(part), std::string::npos) << part << " not in " << opening;
  EXPECT_TRUE(rpc(kAddPoint).has("result"));
  const std::string added =
      "event: change\n"
      R"(data: {"kind":"change","label":"Add a route point to baker_ub3","package":"windfall","revision":1})";
  EXPECT_NE(first.wait_for(added).find(added), std::string::npos);

  Listener second(server_->port(), {{"Cookie", std::string("pathwright_token=") + kToken}});
  second.wait_for("event: game");
  // Another front end (standard input, the store's socket) runs on the same shared Workbench.
  EXPECT_TRUE(shared_->run("undo", Value::object()).ok);
  const std::string undone =
      R"(data: {"kind":"undo","label":"Add a route point to baker_ub3","package":"windfall","revision":2})";
  EXPECT_NE(first.wait_for(undone).find(undone), std::string::npos);
  EXPECT_NE(second.wait_for(undone).find(undone), std::string::npos);
  EXPECT_EQ(second.wait_for(undone).find("revision\":1"), std::string::npos) << "a new listener got old news";
}

TEST_F(MapFixture, ReconnectingListenerGetsWhatItMissed) {
  const std::uint64_t seen = server_->events().last_id();
  EXPECT_TRUE(rpc(kAddPoint).has("result"));
  Listener back(server_->port(),
                {{"Authorization", std::string("Bearer ") + kToken}, {"Last-Event-ID", std::to_string(seen)}});
  const std::string text = back.wait_for("\"revision\":1");
  EXPECT_NE(text.find("id: " + std::to_string(seen + 1) + "\nevent: change"), std::string::npos) << text;
}

// Regression: a page that had seen id 900 of an earlier run of the server waited for id 901 and missed
// every change of the new run.
TEST_F(MapFixture, ListenerWithAnIdFromAnEarlierRunIsToldToReload) {
  Listener back(server_->port(), {{"Authorization", std::string("Bearer ") + kToken}, {"Last-Event-ID", "900"}});
  EXPECT_NE(back.wait_for("event: reload").find("event: reload\ndata: {}"), std::string::npos);
  EXPECT_TRUE(rpc(kAddPoint).has("result"));
  EXPECT_NE(back.wait_for("\"revision\":1").find("\"revision\":1"), std::string::npos);
}

TEST_F(MapFixture, WatchingPageGetsLiveActorsOfItsPackage) {
  Listener page(server_->port(), bearer());
  EXPECT_EQ(rpc(R"({"jsonrpc":"2.0","id":1,"method":"advance_game","params":{"seconds":3}})").get("result"),
            parse(R"({"time":3})"));
  const std::string text = page.wait_for("\"time\":3");
  const std::size_t live = text.find("event: live\ndata: {\"actors\":[{\"id\":");
  ASSERT_NE(live, std::string::npos) << text;
  const std::string line = text.substr(live, text.find('\n', text.find("data: ", live)) - live);
  EXPECT_NE(line.find(R"("package":"windfall","time":3})"), std::string::npos) << line;
  EXPECT_NE(line.find(R"("point":)"), std::string::npos) << line;
}

TEST(EventHub, TooOldAListenerIsToldToReload) {
  EventHub hub;
  for (std::size_t i = 0; i < EventHub::kCapacity + 2; ++i) hub.publish("change", "{}");
  bool too_old = false;
  EXPECT_TRUE(hub.next(1, 0, "", std::chrono::milliseconds(0), too_old).empty());
  EXPECT_TRUE(too_old);
  const auto kept = hub.next(2, 0, "", std::chrono::milliseconds(0), too_old);
  EXPECT_FALSE(too_old);
  EXPECT_EQ(kept.size(), EventHub::kCapacity);
}

TEST(EventHub, LiveEventsGoOnlyToTheirPackageAndOnlyTheNewest) {
  EventHub hub;
  hub.publish_live("windfall", R"({"time":1})");
  const std::uint64_t newest = hub.publish_live("windfall", R"({"time":2})");
  hub.publish_live("other", R"({"time":3})");
  bool too_old = false;
  const auto events = hub.next(0, 0, "windfall", std::chrono::milliseconds(0), too_old);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].id, newest);
  EXPECT_EQ(events[0].data, R"({"time":2})");
  EXPECT_TRUE(hub.next(0, newest, "windfall", std::chrono::milliseconds(0), too_old).empty());
}

// Regression: an event stream for a package the store does not hold streamed as if it existed.
TEST_F(MapFixture, EventsOfAnUnknownPackageAreNotFound) {
  auto http = client();
  http->set_read_timeout(2, 0);  // a stream would not end by itself
  auto answer = http->Get("/events?package=nosuch", bearer());
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 404);
  EXPECT_EQ(answer->body, "the store holds no package \"nosuch\"\n");
}

}  // namespace
}  // namespace host::map::testing
