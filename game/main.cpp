// pathwright-game: the simulated game, serving the game link on 127.0.0.1 until SIGINT or SIGTERM.
// Reports where it listens (and any failure) on stderr; stdout stays silent.
#include <pthread.h>
#include <signal.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <thread>

#include "game/game_world.h"
#include "game/link_server.h"
#include "protocol/link_protocol.h"

namespace {

int run(int argc, char** argv) {
  CLI::App app{"pathwright-game: a simulated game world that speaks the game link on 127.0.0.1"};
  std::uint16_t port = protocol::kDefaultPort;
  std::string world_file;
  std::string clock_name = "real";
  app.add_option("--port", port, "TCP port on 127.0.0.1 (0 picks a free one)")
      ->check(CLI::Validator(
          [](const std::string& text) {
            char* end = nullptr;
            const long number = std::strtol(text.c_str(), &end, 10);
            if (end == text.c_str() || *end != '\0' || number < 0 || number > 65535)
              return "the port is 0 to 65535 (0 picks a free one), not " + text;
            return std::string();
          },
          "N"))
      ->capture_default_str();
  app.add_option("--world", world_file, "an OBJ file to use as the world instead of the built-in island");
  app.add_option("--clock", clock_name, "real: time runs by itself; manual: only \"advance\" moves it")
      ->check(CLI::IsMember({"real", "manual"}))
      ->capture_default_str();
  app.set_version_flag("--version", std::string("pathwright-game ") + PATHWRIGHT_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // Help goes to stdout as usual for a command; errors to stderr.
    return app.exit(e);
  }

  // Signals are taken by sigwait below; block them before any thread (Embree's included) starts.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  const game::Clock clock = clock_name == "manual" ? game::Clock::Manual : game::Clock::Real;
  std::string error;
  std::unique_ptr<game::GameWorld> world =
      world_file.empty() ? game::GameWorld::island(clock, error) : game::GameWorld::from_obj(world_file, clock, error);
  if (!world) {
    std::fprintf(stderr, "pathwright-game: %s\n", error.c_str());
    return 1;
  }
  game::LinkServer server(*world);
  if (!server.listen(port, error)) {
    std::fprintf(stderr, "pathwright-game: %s\n", error.c_str());
    return 1;
  }
  std::fprintf(stderr, "pathwright-game: listening on 127.0.0.1:%u (world %s)\n", static_cast<unsigned>(server.port()),
               world->name().c_str());
  std::fflush(stderr);

  std::thread serving([&server] { server.run(); });
  int received = 0;
  sigwait(&signals, &received);
  server.stop();
  serving.join();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "pathwright-game: %s\n", e.what());
    return 1;
  }
}
