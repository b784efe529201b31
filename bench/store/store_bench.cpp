// The store's costs on generated packages of 1,000 and 50,000 actors, each reported beside a baseline
// measured in the same run, as a ratio:
//   ChangeInMemory  a route change through the change service with the journal kept off the disk, against
//                   the same route edit run directly on the document (goal: median < 1 ms at 1,000,
//                   < 10 ms at 50,000 actors)
//   DurableChange   a route change made durable, against one fsync of a small file on the same disk
//                   (goal: at most 1.5); also what it adds to the bare route edit, in fsyncs, and the
//                   flushes it makes per change, counted
//   Checkpoint      rewriting the package file with a waiting change, against writing and flushing the
//                   same number of bytes once
//   OpenPackage     peak and lasting memory of opening a package, against the size of its text
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#if PATHWRIGHT_BENCH_MIMALLOC
#include <mimalloc.h>
#endif
#include <stdexcept>
#include <string>
#include <vector>

#include "json_text/json_text.h"
#include "session/host_session.h"
#include "tests/support/builders.h"

namespace {

using mods::json::Value;
using Clock = std::chrono::steady_clock;
using support::point;

// Residents with three-point routes, Bokoblins, and models with routes, in turn.
std::string package_text(int actors) {
  Value document = Value::object();
  document["name"] = Value::of("Generated");
  Value list = Value::array();
  for (int i = 0; i < actors; ++i) {
    Value actor = Value::object();
    actor["id"] = Value::of("actor_" + std::to_string(i));
    const double x = i % 1000, z = i / 1000.0;
    actor["position"] = point(x, 0, z);
    Value path = Value::object();
    path["points"] = Value::array();
    for (int k = 1; k <= 3; ++k) path["points"].items.push_back(point(x + k, 0, z + k));
    path["mode"] = Value::of("loop");
    switch (i % 3) {
      case 0:
        actor["actor"] = Value::of("resident");
        actor["parameters"]["resident"] = Value::of("ub3");
        actor["path"] = path;
        break;
      case 1: actor["actor"] = Value::of("bokoblin"); break;
      default:
        actor["actor"] = Value::of("statue_model");
        actor["kind"] = Value::of("mod");
        path["speed"] = Value::of(60.0);
        actor["path"] = path;
    }
    list.items.push_back(std::move(actor));
  }
  document["actors"] = std::move(list);
  std::string text, error;
  if (!json_text::print_json(document, json_text::JsonLayout::Indented, text, error)) throw std::runtime_error(error);
  return text;
}

class TempStore {
 public:
  explicit TempStore(int actors) {
    std::string pattern = (std::filesystem::temp_directory_path() / "pathwright-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a temporary folder");
    path = pattern;
    text = package_text(actors);
    std::ofstream(path + "/generated.json", std::ios::binary) << text;
  }
  ~TempStore() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::string path;
  std::string text;
};

// The real file system except that journal appends stay in memory: the change service without the disk.
class NoDiskJournal : public host::store::PosixFileSystem {
  class Discard : public host::store::AppendFile {
    int append(std::string_view) override { return 0; }
    int truncate(std::uint64_t) override { return 0; }
  };

 public:
  int open_append(const std::string&, std::unique_ptr<host::store::AppendFile>& file) override {
    file = std::make_unique<Discard>();
    return 0;
  }
};

// The route service on a document with nothing around it: the edit runs in place.
class BareSession : public editor::Session {
 public:
  Package document_package;
  Package* package(const Value&, std::string&) override { return &document_package; }
  bool change(Package& package, const std::string&, const Edit& edit, Value&, std::string& error) override {
    return edit(package.document, error);
  }
  bool where(const Value&, editor::Place&, std::string& error) override {
    error = "no places here";
    return false;
  }
};

double median_ms(std::vector<double> samples) {
  if (samples.empty()) return 0;
  std::nth_element(samples.begin(), samples.begin() + samples.size() / 2, samples.end());
  return samples[samples.size() / 2];
}

// Route settings that differ from the actor's current ones, so every request changes it.
Value toggle_request(int actors, long step) {
  Value params = Value::object();
  params["package"] = Value::of("generated");
  params["id"] = Value::of("actor_" + std::to_string((actors / 2) / 3 * 3));  // a resident mid-package
  params["mode"] = Value::of(step % 2 == 0 ? "once" : "loop");
  return params;
}

double timed_ms(editor::Session& session, const Value& params) {
  std::string error;
  bool ok = false, handled = false;
  Clock::time_point start = Clock::now();
  session.dispatch_route("set_route", params, error, ok, handled);
  double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  if (!ok) throw std::runtime_error(error);
  return ms;
}

void report(benchmark::State& state, const std::vector<double>& figure, const std::vector<double>& baseline) {
  const double f = median_ms(figure), b = median_ms(baseline);
  state.counters["median_ms"] = f;
  state.counters["baseline_median_ms"] = b;
  state.counters["ratio"] = b > 0 ? f / b : 0;
}

void ChangeInMemory(benchmark::State& state) {
  const int actors = static_cast<int>(state.range(0));
  TempStore store(actors);
  std::string error;
  auto session = host::session::HostSession::open(store.path, std::make_unique<NoDiskJournal>(), error);
  BareSession bare;
  if (!session) throw std::runtime_error(error);
  json_text::JsonTextError json_error;
  json_text::parse_json(store.text, bare.document_package.document, json_error);
  timed_ms(*session, toggle_request(actors, 1));  // loads the package and writes the journal's start
  std::vector<double> figure, baseline;
  long step = 0;
  for (auto _ : state) {
    ++step;
    const double ms = timed_ms(*session, toggle_request(actors, step));
    figure.push_back(ms);
    state.SetIterationTime(ms / 1000);
    baseline.push_back(timed_ms(bare, toggle_request(actors, step)));
  }
  report(state, figure, baseline);
}

// The real file system, counting the operations that flush to the disk.
class CountingFileSystem : public host::store::PosixFileSystem {
  class Counted : public host::store::AppendFile {
   public:
    Counted(std::unique_ptr<host::store::AppendFile> inner, long& flushes)
        : inner_(std::move(inner)), flushes_(flushes) {}
    int append(std::string_view bytes) override {
      ++flushes_;
      return inner_->append(bytes);
    }
    int truncate(std::uint64_t size) override {
      ++flushes_;
      return inner_->truncate(size);
    }

   private:
    std::unique_ptr<host::store::AppendFile> inner_;
    long& flushes_;
  };

 public:
  explicit CountingFileSystem(long& flushes) : flushes_(flushes) {}
  int start_temporary(const std::string& folder, const std::string& prefix, std::string_view bytes, unsigned mode,
                      std::string& temporary, std::unique_ptr<host::store::StartedFile>& file) override {
    ++flushes_;  // its finish
    return PosixFileSystem::start_temporary(folder, prefix, bytes, mode, temporary, file);
  }
  int sync_folder(const std::string& path) override {
    ++flushes_;
    return PosixFileSystem::sync_folder(path);
  }
  int open_append(const std::string& path, std::unique_ptr<host::store::AppendFile>& file) override {
    std::unique_ptr<host::store::AppendFile> inner;
    int code = PosixFileSystem::open_append(path, inner);
    if (code == 0) file = std::make_unique<Counted>(std::move(inner), flushes_);
    return code;
  }

 private:
  long& flushes_;
};

// Milliseconds to append `bytes` to the open file `fd` and flush it.
double flushed_write_ms(int fd, const std::string& bytes) {
  Clock::time_point start = Clock::now();
  if (::write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()) || ::fsync(fd) != 0)
    throw std::runtime_error("cannot write the baseline file");
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void DurableChange(benchmark::State& state) {
  const int actors = static_cast<int>(state.range(0));
  TempStore store(actors);
  std::string error;
  long flushes = 0;
  auto session = host::session::HostSession::open(store.path, std::make_unique<CountingFileSystem>(flushes), error);
  if (!session) throw std::runtime_error(error);
  BareSession bare;
  json_text::JsonTextError json_error;
  json_text::parse_json(store.text, bare.document_package.document, json_error);
  timed_ms(*session, toggle_request(actors, 1));
  flushes = 0;
  const std::string small = store.path + "/small.bin";
  int fd = ::open(small.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  std::vector<double> figure, baseline, added;
  long step = 0;
  const std::string record(100, 'x');  // about the size of a small route change's journal record
  for (auto _ : state) {
    ++step;
    const double ms = timed_ms(*session, toggle_request(actors, step));
    figure.push_back(ms);
    state.SetIterationTime(ms / 1000);
    baseline.push_back(flushed_write_ms(fd, record));
    added.push_back(ms - timed_ms(bare, toggle_request(actors, step)));
  }
  ::close(fd);
  report(state, figure, baseline);
  state.counters["added_ratio"] = median_ms(added) / median_ms(baseline);
  state.counters["flushes_per_change"] = static_cast<double>(flushes) / static_cast<double>(step);
}

void Checkpoint(benchmark::State& state) {
  const int actors = static_cast<int>(state.range(0));
  TempStore store(actors);
  std::string error;
  auto session = host::session::HostSession::open(store.path, error);
  if (!session) throw std::runtime_error(error);
  const std::string plain = store.path + "/plain.bin";
  std::vector<double> figure, baseline;
  long step = 0;
  for (auto _ : state) {
    ++step;
    timed_ms(*session, toggle_request(actors, step));
    Clock::time_point start = Clock::now();
    if (!session->flush(error)) throw std::runtime_error(error);
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    figure.push_back(ms);
    state.SetIterationTime(ms / 1000);
    int fd = ::open(plain.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    baseline.push_back(flushed_write_ms(fd, store.text));
    ::close(fd);
  }
  report(state, figure, baseline);
}

long status_kib(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  const std::string key = std::string(field) + ":";
  while (std::getline(status, line))
    if (line.rfind(key, 0) == 0) return std::stol(line.substr(key.size()));
  return -1;
}

// Hands memory the heap holds but no one uses back to the system, whichever allocator is linked.
void release_free_memory() {
#if PATHWRIGHT_BENCH_MIMALLOC
  mi_collect(true);
#endif
  ::malloc_trim(0);
}

// Opens the package in a child process, whose peak resident size starts from the fork, so that nothing
// else this program did counts. Answers peak and lasting growth in bytes through a pipe.
void OpenPackage(benchmark::State& state) {
  const int actors = static_cast<int>(state.range(0));
  TempStore store(actors);
  double peak = 0, lasting = 0;
  for (auto _ : state) {
    int pipe_ends[2];
    if (::pipe(pipe_ends) != 0) throw std::runtime_error("pipe");
    pid_t child = ::fork();
    if (child == 0) {
      release_free_memory();  // give back what the parent freed, so that reusing it shows as growth
      std::ofstream("/proc/self/clear_refs") << "5";  // peak resident size starts again from here
      const long before = status_kib("VmRSS");
      std::string error;
      auto session = host::session::HostSession::open(store.path, error);
      Value which = Value::object();
      which["package"] = Value::of("generated");
      bool loaded = session && session->package(which, error) != nullptr;
      const long peak_kib = status_kib("VmHWM");
      release_free_memory();  // what the loading freed (the text, the parser's scratch) no longer counts
      double growth[2] = {loaded ? (peak_kib - before) * 1024.0 : -1,
                          loaded ? (status_kib("VmRSS") - before) * 1024.0 : -1};
      ssize_t written = ::write(pipe_ends[1], growth, sizeof growth);
      ::_exit(written == sizeof growth ? 0 : 1);
    }
    double growth[2] = {0, 0};
    ssize_t got = ::read(pipe_ends[0], growth, sizeof growth);
    ::close(pipe_ends[0]);
    ::close(pipe_ends[1]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (got != sizeof growth || growth[0] < 0) throw std::runtime_error("the child could not open the package");
    peak = growth[0];
    lasting = growth[1];
  }
  state.counters["text_mib"] = store.text.size() / 1048576.0;
  state.counters["peak_mib"] = peak / 1048576.0;
  state.counters["peak_ratio"] = peak / static_cast<double>(store.text.size());
  state.counters["lasting_ratio"] = lasting / static_cast<double>(store.text.size());
}

}  // namespace

BENCHMARK(ChangeInMemory)->Arg(1000)->Arg(50000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(DurableChange)->Arg(1000)->Arg(50000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Checkpoint)->Arg(1000)->Arg(50000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(OpenPackage)->Arg(1000)->Arg(50000)->Iterations(1)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
