// The shared log, in a scratch directory that MOXEL_LOG names; sizes are bytes of text.

#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <sys/ipc.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "Bench.h"
#include "CLog.h"
#include "common.h"
#include "floor.h"

namespace {

using bench::add;
using bench::Operation;

const std::vector<long> kSizes = {10, 100, 1000};

// ---- One line ------------------------------------------------------------------------------

std::string textOf(long size) { return std::string(static_cast<size_t>(size), 'x'); }

// Opens and closes the file for the line, under the lock.
void logBySpdlog(const std::string& text) {
  const bench::LogLock lock;
  spdlog::logger logger("moxel",
                        std::make_shared<spdlog::sinks::basic_file_sink_mt>(bench::logPath()));
  logger.set_pattern("%Y/%m/%d %H:%M:%S %5P %v");
  logger.info("{}", text);
}

const bool lines[] = {
    add("ilog", "moxel", kSizes,
        [](long size) {
          bench::emptyLog();
          return Operation{[text = textOf(size)] { gLog.ilog("%s", text.c_str()); }};
        }),
    add("ilog", "floor", kSizes,
        [](long size) {
          bench::emptyLog();
          return Operation{[line = bench::logLine(textOf(size))] { bench::writeLine(line); }};
        }),
    add("ilog", "spdlog", kSizes,
        [](long size) {
          bench::emptyLog();
          return Operation{[text = textOf(size)] { logBySpdlog(text); }};
        }),
};

// ---- Many writers --------------------------------------------------------------------------

constexpr long kLines = 19200;

// The processes, which wait for the start before each measurement; the sizes are their number.
template <class Write>
Operation writers(long count, Write write) {
  struct Start {
    int ends[2];
  };
  const auto start = std::make_shared<Start>();
  const auto before = [=] {
    bench::emptyLog();
    if (pipe(start->ends) != 0) std::abort();
    for (long i = 0; i < count; ++i) {
      if (fork() != 0) continue;
      char byte = 0;
      close(start->ends[1]);
      if (read(start->ends[0], &byte, 1) != 0) std::abort();
      for (long line = 0; line < kLines / count; ++line) write();
      _exit(0);
    }
    close(start->ends[0]);
  };
  const auto run = [=] {
    close(start->ends[1]);
    for (long i = 0; i < count; ++i) wait(nullptr);
  };
  return {run, before};
}

const bool processes[] = {
    add("ilog from processes", "moxel", {1, 2, 4, 8, 16, 32, 64},
        [](long size) {
          return writers(size, [text = textOf(100)] { gLog.ilog("%s", text.c_str()); });
        }),
    add("ilog from processes", "floor", {1, 2, 4, 8, 16, 32, 64},
        [](long size) {
          return writers(size, [line = bench::logLine(textOf(100))] { bench::writeLine(line); });
        }),
    add("ilog from processes", "spdlog", {1, 2, 4, 8, 16, 32, 64},
        [](long size) { return writers(size, [text = textOf(100)] { logBySpdlog(text); }); }),
};

// ---- Trace that is off ---------------------------------------------------------------------

constexpr int kCalls = 1000;

__attribute__((noinline, format(printf, 2, 3))) void emptyCall(void* /*object*/,
                                                               const char* /*fmt*/, ...) {
  asm volatile("");
}

const bool traces[] = {
    add("1000 tlog, trace off", "moxel", kSizes,
        [](long size) {
          return Operation{[text = textOf(size)] {
            for (int i = 0; i < kCalls; ++i) gLog.tlog("%s %d", text.c_str(), i);
          }};
        }),
    add("1000 tlog, trace off", "empty call", kSizes,
        [](long size) {
          return Operation{[text = textOf(size)] {
            for (int i = 0; i < kCalls; ++i) emptyCall(&gLog, "%s %d", text.c_str(), i);
          }};
        }),
    // Three trace lines with location tags that are not built.
    add("1000 exitStatus, trace off", "moxel", {1, 10, 100},
        [](long size) {
          return Operation{[size] {
            for (int i = 0; i < kCalls; ++i) bench::keep(exitStatus(static_cast<int>(size) << 8));
          }};
        }),
    add("1000 exitStatus, trace off", "empty call", {1, 10, 100},
        [](long size) {
          return Operation{[size] {
            for (int i = 0; i < kCalls; ++i) {
              for (int line = 573; line < 576; ++line)
                emptyCall(&gLog, "(common:%d) %ld", line, size);
            }
          }};
        }),
};

}  // namespace
