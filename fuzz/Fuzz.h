#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

// What every target needs. Processes are not made unless a target says so: the linker wraps fork
// and popen for the targets that would make one for each input.

// Ends the run: the input shows a fault.
[[noreturn]] inline void fault(const char* what, int line) {
  fprintf(stderr, "line %d: %s\n", line, what);
  abort();
}

#define REQUIRE(condition) \
  if (!(condition)) fault(#condition, __LINE__)

// A file of the process's own, removed at its end.
class InputFile {
 public:
  InputFile() {
    char name[] = "/tmp/moxel-fuzz-XXXXXX";
    m_descriptor = mkstemp(name);
    if (m_descriptor == -1) abort();
    m_link = "/proc/self/fd/" + std::to_string(m_descriptor);
    unlink(name);
  }

  void write(const void* bytes, size_t count) {
    if (ftruncate(m_descriptor, 0) != 0 ||
        pwrite(m_descriptor, bytes, count, 0) != static_cast<ssize_t>(count)) {
      abort();
    }
  }

  // Opens anew from the start by this name.
  const std::string& path() const { return m_link; }

 private:
  int m_descriptor;
  std::string m_link;
};
