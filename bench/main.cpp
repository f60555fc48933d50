// Runs the measurements: with Google Benchmark's options all of them, with --once a single one a
// number of times, for strace, callgrind and the peak of memory.

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "Bench.h"

namespace bench {

std::vector<Entry>& entries() {
  static std::vector<Entry> all;
  return all;
}

bool add(std::string row, std::string who, std::vector<long> sizes,
         std::function<Operation(long size)> make) {
  entries().push_back({std::move(row), std::move(who), std::move(sizes), std::move(make)});
  return true;
}

namespace {

struct Scratch {
  Scratch() {
    char name[] = "/tmp/moxel-bench-XXXXXX";
    if (mkdtemp(name) == nullptr) std::abort();
    path = name;
  }
  ~Scratch() { std::filesystem::remove_all(path); }
  std::string path;
};

void measure(benchmark::State& state, const Entry& entry) {
  // A heap that the measurement before has left over would make each fork dearer.
  malloc_trim(0);
  const Operation operation = entry.make(state.range(0));
  if (!operation.before) operation.run();
  for (auto _ : state) {
    if (operation.before) {
      state.PauseTiming();
      operation.before();
      state.ResumeTiming();
    }
    operation.run();
  }
}

// Runs the entry that ROW/WHO/SIZE names and shows the peak of memory in KB.
int runOnce(const std::string& name, int times) {
  for (const Entry& entry : entries()) {
    for (const long size : entry.sizes) {
      if (name != entry.row + "/" + entry.who + "/" + std::to_string(size)) continue;
      const Operation operation = entry.make(size);
      for (int i = 0; i < times; ++i) {
        if (operation.before) operation.before();
        operation.run();
      }
      rusage usage = {};
      getrusage(RUSAGE_SELF, &usage);
      std::fprintf(stderr, "%ld\n", usage.ru_maxrss);
      return 0;
    }
  }
  std::fprintf(stderr, "no such measurement: %s\n", name.c_str());
  return 2;
}

int runAll(int argc, char** argv) {
  for (const Entry& entry : entries()) {
    auto* registered =
        benchmark::RegisterBenchmark((entry.row + "/" + entry.who).c_str(),
                                     [&entry](benchmark::State& state) { measure(state, entry); });
    for (const long size : entry.sizes) registered->Arg(size);
    registered->UseRealTime();
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

}  // namespace

std::string scratch() {
  static const Scratch directory;
  return directory.path;
}

}  // namespace bench

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--once") == 0) {
    return bench::runOnce(argv[2], std::atoi(argv[3]));
  }
  if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
    for (const bench::Entry& entry : bench::entries()) {
      std::printf("%s\t%s\t", entry.row.c_str(), entry.who.c_str());
      for (const long size : entry.sizes) std::printf("%ld ", size);
      std::printf("\n");
    }
    return 0;
  }
  return bench::runAll(argc, argv);
}
