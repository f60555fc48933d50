// Command execution and the command itself.

#include <malloc.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <list>
#include <memory>
#include <string>

#include "Bench.h"
#include "common.h"
#include "floor.h"

extern char** environ;

namespace {

using bench::add;
using bench::keep;
using bench::Operation;

// ---- A trivial command ---------------------------------------------------------------------

// Sizes are bytes of output.
std::string echo(long size) { return "echo " + std::string(static_cast<size_t>(size - 1), 'x'); }

const bool trivial[] = {
    add("execGetLines of echo", "moxel", {10, 100, 1000},
        [](long size) {
          bench::emptyLog();
          return Operation{[command = echo(size)] {
            std::list<std::string> lines;
            keep(execGetLines(lines, command.c_str(), -1, nullptr, -1));
          }};
        }),
    add("execGetLines of echo", "floor", {10, 100, 1000},
        [](long size) {
          bench::emptyLog();
          return Operation{[command = echo(size), status = bench::logLine("MXL90004L:pid=12345"),
                            line = bench::logLine("MXL90004L:com=" + echo(size))] {
            keep(bench::runCommand(command.c_str()));
            bench::writeLine(status);
            bench::writeLine(line);
          }};
        }),
};

// ---- Much output ---------------------------------------------------------------------------

// A file of lines of 80 bytes; sizes are megabytes.
std::string bigFile(long megabytes) {
  const std::string path = bench::scratch() + "/" + std::to_string(megabytes);
  if (access(path.c_str(), R_OK) == 0) return path;
  std::ofstream file(path);
  const std::string line = std::string(79, 'x') + "\n";
  for (long i = 0; i < megabytes * 1000000 / 80; ++i) file << line;
  return path;
}

// What the caller does with the list, destruction included, is outside of the measurement.
template <class Fill>
Operation filling(long megabytes, Fill fill) {
  const std::string command = "cat " + bigFile(megabytes);
  const auto lines = std::make_shared<std::list<std::string>>();
  return {[=] { fill(*lines, command); },
          [=] {
            lines->clear();
            // Each run begins with a heap that has no memory left over.
            malloc_trim(0);
          }};
}

const bool much[] = {
    add("execGetLines of MB", "moxel", {2, 20, 200},
        [](long size) {
          bench::emptyLog();
          return filling(size, [](std::list<std::string>& lines, const std::string& command) {
            keep(execGetLines(lines, command.c_str(), -1, nullptr, -1));
          });
        }),
    add("execGetLines of MB", "getline", {2, 20, 200},
        [](long size) {
          return filling(size, [](std::list<std::string>& lines, const std::string& command) {
            FILE* output = popen(command.c_str(), "r");
            char* line = nullptr;
            size_t room = 0;
            for (ssize_t length = 0; (length = getline(&line, &room, output)) > 0;) {
              if (line[length - 1] == '\n') --length;
              lines.push_back(std::string(line, static_cast<size_t>(length)));
            }
            std::free(line);
            keep(pclose(output));
          });
        }),
    // The list alone, for the peak of memory.
    add("execGetLines of MB", "list alone", {2, 20, 200},
        [](long size) {
          return filling(size, [=](std::list<std::string>& lines, const std::string&) {
            const std::string line(79, 'x');
            for (long i = 0; i < size * 1000000 / 80; ++i) lines.emplace_back(line);
          });
        }),
};

// ---- The command ---------------------------------------------------------------------------

// Sizes are lines of the script's output.
void writeScript(long size) {
  const std::string path = "/opt/kardo/moxel/bin/scsend.sh";
  std::ofstream script(path);
  script << "#!/bin/sh\nprintf '%s\\n'";
  for (long i = 0; i < size; ++i) script << " 'moxel-conf: 4711 bytes'";
  script << "\n";
  script.close();
  if (chmod(path.c_str(), 0755) != 0) std::abort();
}

Operation program(const char* path) {
  return {[=] {
    char name[] = "program";
    char* arguments[] = {name, nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, path, nullptr, nullptr, arguments, environ) != 0) std::abort();
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) std::abort();
  }};
}

const bool commands[] = {
    add("scsend", "moxel", {1, 10, 100},
        [](long size) {
          writeScript(size);
          return program("/opt/kardo/moxel/bin/scsend");
        }),
    add("scsend", "popen", {1, 10, 100},
        [](long size) {
          writeScript(size);
          return program("/opt/kardo/moxel/bin/popen");
        }),
};

}  // namespace
