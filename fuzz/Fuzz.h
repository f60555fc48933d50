#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

// What every target needs.

// The input shows a fault. In a target nobody catches it, so that it ends the run.
struct Fault : std::logic_error {
  using std::logic_error::logic_error;
};

[[noreturn]] inline void fault(const char* what, const char* file, int line) {
  throw Fault(std::string(file) + ":" + std::to_string(line) + ": " + what);
}

#define REQUIRE(condition) \
  if (!(condition)) fault(#condition, __FILE__, __LINE__)

// A file of the process's own, in memory.
class InputFile {
 public:
  InputFile() : m_descriptor(memfd_create("input", 0)) {
    if (m_descriptor == -1) abort();
    m_link = "/proc/self/fd/" + std::to_string(m_descriptor);
  }

  void write(const void* bytes, size_t count) {
    if (ftruncate(m_descriptor, 0) != 0 ||
        pwrite(m_descriptor, bytes, count, 0) != static_cast<ssize_t>(count)) {
      abort();
    }
  }

  std::string read() const {
    std::string bytes(1 << 16, '\0');
    const ssize_t length = pread(m_descriptor, bytes.data(), bytes.size(), 0);
    bytes.resize(length > 0 ? static_cast<size_t>(length) : 0);
    return bytes;
  }

  // Opens anew from the start by this name.
  const std::string& path() const { return m_link; }

 private:
  int m_descriptor;
  std::string m_link;
};

inline bool isBlank(char c) { return isspace(static_cast<unsigned char>(c)) != 0; }

inline std::string lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

// The lines of a text file as a tool of the set reads them, in pieces of at most `piece` bytes:
// without comments and surrounding white space, the empty ones left out.
inline std::vector<std::string> contentLines(const std::string& bytes, size_t piece) {
  std::vector<std::string> lines;
  for (size_t at = 0; at < bytes.size();) {
    size_t end = bytes.find('\n', at);
    end = end == std::string::npos ? bytes.size() : end + 1;
    if (end - at > piece) end = at + piece;
    std::string line = bytes.substr(at, end - at);
    at = end;
    line = line.substr(0, line.find('\0'));
    line = line.substr(0, line.find('#'));
    while (!line.empty() && isBlank(line.front())) line.erase(0, 1);
    while (!line.empty() && isBlank(line.back())) line.pop_back();
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}
