#include "common.h"

#include <stdio_ext.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "CLog.h"
#include "CTemp.h"
#include "LogLine.h"
#include "common_template.h"

namespace {

constexpr LogSource kSource("common");

constexpr size_t kPathBytes = 4096;
constexpr size_t kTextBytes = 1024;
constexpr size_t kPieceBytes = 1024;
constexpr size_t kReadBytes = 64 << 10;
constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kDirectoryBit = 040000;

}  // namespace

// ---- Command execution ---------------------------------------------------------------------

namespace {

class Descriptor {
 public:
  explicit Descriptor(int number) : m_number(number) {}
  ~Descriptor() { close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return m_number; }
  void close() {
    if (m_number != -1) ::close(m_number);
    m_number = -1;
  }

 private:
  int m_number;
};

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

// Reads a descriptor in the pieces that fgets would give with a buffer of 1024 bytes, and goes on
// where a signal interrupts a read.
class PieceReader {
 public:
  explicit PieceReader(int descriptor) : m_descriptor(descriptor) {}

  // Stores the next piece without its line end; false at the end of the input.
  bool next(char (&piece)[kPieceBytes]) {
    size_t length = wholePiece();
    while (length == 0 && fill()) length = wholePiece();
    if (length == 0) length = m_end - m_begin;
    if (length == 0) return false;

    std::memcpy(piece, m_buffer + m_begin, length);
    piece[length] = '\0';
    m_begin += length;
    eraseLastCRLF(piece);
    return true;
  }

 private:
  // Length of the piece at the front of what has been read, 0 when it may go on.
  size_t wholePiece() const {
    const size_t available = std::min(m_end - m_begin, kPieceBytes - 1);
    const char* front = m_buffer + m_begin;
    const void* lineFeed = std::memchr(front, '\n', available);
    if (lineFeed != nullptr)
      return static_cast<size_t>(static_cast<const char*>(lineFeed) - front) + 1;
    return available == kPieceBytes - 1 ? available : 0;
  }

  bool fill() {
    std::memmove(m_buffer, m_buffer + m_begin, m_end - m_begin);
    m_end -= m_begin;
    m_begin = 0;
    ssize_t count = -1;
    do {
      count = read(m_descriptor, m_buffer + m_end, sizeof m_buffer - m_end);
    } while (count == -1 && errno == EINTR);
    if (count <= 0) return false;
    m_end += static_cast<size_t>(count);
    return true;
  }

  int m_descriptor;
  size_t m_begin = 0;
  size_t m_end = 0;
  char m_buffer[kReadBytes];
};

// Reads to the end of the input; entries above the limit are dropped.
void readLines(int descriptor, std::list<std::string>& lines, int maxLines) {
  PieceReader reader(descriptor);
  char piece[kPieceBytes];
  for (long long count = 1; reader.next(piece); ++count) {
    if (maxLines < 0 || count <= maxLines) lines.emplace_back(piece);
  }
}

// Puts the command's output on `writeEnd` and its error output into `errorFile`, if that has a
// name, whichever of the descriptors 0 to 2 the caller had closed.
void redirectChild(int readEnd, int writeEnd, const std::string& errorFile) {
  close(readEnd);
  if (writeEnd != STDOUT_FILENO) {
    dup2(writeEnd, STDOUT_FILENO);
    close(writeEnd);
  }

  if (errorFile.empty()) {
    // Deliberately closed, not the caller's: the command runs without standard error.
    close(STDERR_FILENO);
    return;
  }
  FILE* file = fopen(errorFile.c_str(), "w");
  if (file == nullptr) {
    logEvent("MXL90006L", "failed to fopen():%s,%s", C(errorFile), strerror(errno));
    close(STDERR_FILENO);
    return;
  }
  if (fileno(file) != STDERR_FILENO) {
    dup2(fileno(file), STDERR_FILENO);
    fclose(file);
  }
}

[[noreturn]] void runChild(int readEnd, int writeEnd, const std::string& errorFile,
                           const char* command) {
  redirectChild(readEnd, writeEnd, errorFile);
  char shell[] = "/bin/sh";
  char option[] = "-c";
  char* const arguments[] = {shell, option, const_cast<char*>(command), nullptr};
  execvp(shell, arguments);
  // What the caller had not flushed is the caller's to write, not the command's output.
  __fpurge(stdout);
  exit(EXIT_FAILURE);
}

// Bits 8 to 15 of a wait status; 255 for -1.
int exitCodeOf(int wstat) { return (wstat >> 8) & 0xff; }

// The wait status of the child, or -1 (a status that `exitStatus` refuses) when there is none.
int waitForChild(pid_t pid) {
  int status = -1;
  while (waitpid(pid, &status, 0) == -1) {
    if (errno != EINTR) return -1;
  }
  return status;
}

}  // namespace

int execGetLines(std::list<std::string>& out, const char* command, int maxLines,
                 std::list<std::string>* errLines, int maxErrLines) {
  if (command == nullptr) {
    kSource.invalidParam(1355);
    return -1;
  }
  kSource.trace(1359, "execGetLines():count=%d,%s", maxLines, command);
  out.clear();
  if (errLines != nullptr) errLines->clear();

  int ends[2];
  if (pipe(ends) != 0) {
    logEvent("MXL90003L", "failed to pipe():%s", strerror(errno));
    return -1;
  }
  Descriptor readEnd(ends[0]);
  Descriptor writeEnd(ends[1]);

  CTemp temp;
  std::string errorFile;
  if (errLines != nullptr) temp.getTempFile(errorFile, "execGetLines", nullptr, nullptr);

  int result = -1;
  const pid_t pid = fork();
  if (pid == 0) runChild(readEnd.number(), writeEnd.number(), errorFile, command);
  if (pid < 0) {
    // Deliberately "exec" and the error text first.
    logEvent("MXL90005L", "failed to exec(%s):%s", strerror(errno), command);
    readEnd.close();
    writeEnd.close();
  } else {
    writeEnd.close();
    readLines(readEnd.number(), out, maxLines);
    readEnd.close();
    const int status = waitForChild(pid);
    logEvent("MXL90004L", "pid=%d,wstat=%08x", static_cast<int>(pid),
             static_cast<unsigned>(status));
    logEvent("MXL90004L", "com=%s", command);
    result = exitStatus(status);
  }

  if (!errorFile.empty()) {
    const File file(fopen(errorFile.c_str(), "r"));
    if (file == nullptr) {
      logEvent("MXL90007L", "failed to fopen():%s,%s", C(errorFile), strerror(errno));
    } else {
      readLines(fileno(file.get()), *errLines, maxErrLines);
    }
  }
  return result;
}

int execGetLine(const char* command, char* line) {
  if (command == nullptr) return -1;
  FILE* output = popen(command, "r");
  if (output == nullptr) return -1;

  if (line != nullptr) *line = '\0';
  PieceReader reader(fileno(output));
  char piece[kPieceBytes];
  for (bool first = true; reader.next(piece); first = false) {
    // Deliberately unbounded: the caller's buffer holds a whole piece.
    if (first && line != nullptr) std::memcpy(line, piece, strlen(piece) + 1);
  }
  return exitCodeOf(pclose(output));
}

int exitStatus(int wstat) {
  constexpr int kStopped = 127;
  const int code = exitCodeOf(wstat);
  const int signal = wstat & 0x7f;
  kSource.trace(573, "   WIFEXITED:%d WEXITSTATUS:%d", signal == 0 ? 1 : 0, code);
  kSource.trace(574, " WIFSIGNALED:%d    WTERMSIG:%d", signal != 0 && signal != kStopped ? 1 : 0,
                signal);
  kSource.trace(575, "  WIFSTOPPED:%d    WSTOPSIG:%d", (wstat & 0xff) == kStopped ? 1 : 0, code);
  return signal == 0 ? code : -1;
}

// ---- Paths ---------------------------------------------------------------------------------

std::string justifyPath(const char* path) {
  if (path == nullptr) {
    kSource.invalidParam(793);
    return std::string();
  }
  std::string result;
  for (const char* c = path; *c != '\0'; ++c) {
    if (*c != '/' || result.empty() || result.back() != '/') result += *c;
  }
  return result == "/" ? result : eraseLastSlash(result.c_str());
}

std::string justifyPath(std::string path) { return justifyPath(path.c_str()); }

std::string getCanonicalPath(std::string path) {
  const std::string full = isFullPath(path) ? path : format("%s/%s", C(getCwd()), C(path));
  std::list<std::string> components;
  split(justifyPath(full).c_str(), "/", components, 0);

  std::list<std::string> kept;
  bool first = true;
  for (const std::string& component : components) {
    const bool rootMarker = first && component.empty();
    first = false;
    if (component == "..") {
      // Deliberately takes the root marker as well.
      if (!kept.empty()) kept.pop_back();
    } else if (rootMarker || (!component.empty() && component != ".")) {
      kept.push_back(component);
    }
  }
  std::string result = join(kept, "/");
  kSource.trace(477, "getCanonicalPath():%s,%s", C(path), C(result));
  return result;
}

std::string parentPath(const char* path) {
  if (path == nullptr) return std::string();
  std::string parent = eraseLastSlash(path);
  const auto slash = parent.rfind('/');
  if (slash == std::string::npos || slash == 0) return "/";
  parent.resize(slash);
  return parent;
}

std::string parentPath(std::string path) { return parentPath(path.c_str()); }

bool isFullPath(const char* path) {
  if (path == nullptr) {
    kSource.invalidParam(909);
    return false;
  }
  return *path == '/';
}

bool isFullPath(std::string path) { return isFullPath(path.c_str()); }

int eraseLastSlash(char* path) {
  if (path == nullptr) return -1;
  const size_t length = strlen(path);
  if (length > 0 && path[length - 1] == '/') path[length - 1] = '\0';
  return 0;
}

std::string eraseLastSlash(const char* path) {
  if (path == nullptr) return std::string();
  std::string copy = path;
  if (!copy.empty() && copy.back() == '/') copy.pop_back();
  return copy;
}

std::string getCwd() {
  char buffer[kPathBytes] = {};
  return getcwd(buffer, sizeof buffer) == nullptr ? "." : buffer;
}

std::string retrieveName2(const char* path) {
  if (path == nullptr) return std::string();
  const std::string component = basename(path);
  return component.substr(0, component.rfind('.'));
}

bool isDir(const char* path) {
  struct stat status = {};
  if (path == nullptr || stat(path, &status) != 0) return false;
  // Deliberately one bit of the type: block devices and sockets count as directories.
  return (status.st_mode & kDirectoryBit) != 0;
}

bool isDir(std::string path) { return isDir(path.c_str()); }

bool isFile(const char* path) {
  if (path == nullptr) {
    kSource.invalidParam(1286);
    return false;
  }
  struct stat status = {};
  if (stat(path, &status) != 0) return false;
  return (status.st_mode & kDirectoryBit) == 0;
}

bool isFile(std::string path) { return isFile(path.c_str()); }

// ---- Strings and values --------------------------------------------------------------------

std::string shellEsc(const char* text, int wild) {
  // Deliberately without the semicolon, "!", "~", "=" and the line feed.
  const char* const special = wild != 0 ? "\"'\t ()|<>&#^`{}$\\*?[]" : "\"'\t ()|<>&#^`{}$\\";
  std::string escaped;
  for (const char* c = text; *c != '\0'; ++c) {
    if (strchr(special, *c) != nullptr) escaped += '\\';
    escaped += *c;
  }
  return escaped;
}

std::string shellEsc(const std::string& text, int wild) { return shellEsc(text.c_str(), wild); }

bool isNumeric(const char* text) {
  if (text == nullptr) {
    kSource.invalidParam(858);
    return false;
  }
  // Deliberately true for the empty text.
  return text[strspn(text, "0123456789")] == '\0';
}

bool isNumeric(std::string text) { return isNumeric(text.c_str()); }

int eraseLastCRLF(char* line) {
  if (line == nullptr) {
    kSource.invalidParam(1588);
    return -1;
  }
  size_t length = strlen(line);
  if (length > 0 && line[length - 1] == '\n') line[--length] = '\0';
  if (length > 0 && line[length - 1] == '\r') line[--length] = '\0';
  return 0;
}

std::string getEnvValue(const char* name) {
  if (name == nullptr) {
    kSource.invalidParam(641);
    return std::string();
  }
  const char* value = getenv(name);
  return value == nullptr ? "" : value;
}

std::string format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::string text = vformat(fmt, args);
  va_end(args);
  return text;
}

std::string vformat(const char* fmt, va_list args) {
  if (fmt == nullptr) return std::string();
  struct Free {
    void operator()(char* memory) const { free(memory); }
  };
  char stack[kTextBytes] = "";
  std::unique_ptr<char, Free> heap;
  char* buffer = stack;
  size_t size = sizeof stack;
  for (;;) {
    va_list pass;
    va_copy(pass, args);
    const int length = vsnprintf(buffer, size, fmt, pass);
    va_end(pass);
    // A rejected format has a negative length and never makes the buffer grow.
    if (length < 0 || static_cast<size_t>(length) < size) break;
    size *= 2;
    std::unique_ptr<char, Free> larger(static_cast<char*>(malloc(size + 1)));
    if (larger == nullptr) break;
    heap = std::move(larger);
    buffer = heap.get();
    *buffer = '\0';
  }
  return buffer;
}

// ---- File trees ----------------------------------------------------------------------------

int isAllowDelete(std::string path) {
  std::list<std::string> components;
  // The empty path stands for no directory, least of all for the working directory.
  if (!path.empty()) {
    split(getCanonicalPath(path).c_str(), "/", components, 0);
    components.pop_front();
  }
  const size_t depth = components.size();
  const bool insideTmp = depth >= 2 && components.front() == "tmp";
  if (insideTmp || depth >= 3) return 1;
  logEvent("MXL90008L", "%s too shallow to delete", C(path));
  return 0;
}

int removeFiles(const char* path, int recursive) {
  if (path == nullptr) {
    kSource.invalidParam(519);
    return -1;
  }
  if (isAllowDelete(path) != 1) return 0;
  if (recursive != 1) return unlink(path);

  std::list<std::string> entries;
  const std::string command = "find " + shellEsc(path, 0) + " 2>&1 | sort -r 2>&1";
  const int listed = execGetLines(entries, command.c_str(), -1, nullptr, -1);
  if (listed != 0 || entries.empty()) return listed;
  gLog.ilog("remove path=%s", path);
  for (const std::string& entry : entries) {
    int removed = 0;
    if (isFile(entry)) {
      removed = unlink(entry.c_str());
    } else if (isDir(entry)) {
      removed = rmdir(entry.c_str());
    }
    if (removed != 0) return removed;
  }
  return 0;
}

int makeDir(std::string path, int recursive) {
  if (path.empty() || path == "/" || path.front() != '/') return -1;
  if (recursive != 1) return mkdir(path.c_str(), kDirectoryMode);

  std::list<std::string> components;
  split(eraseLastSlash(path.c_str()).c_str() + 1, "/", components, 0);
  std::string prefix;
  for (const std::string& component : components) {
    prefix += "/" + component;
    // A component that exists as a file is deliberately passed over.
    if (isDir(prefix) || isFile(prefix)) continue;
    if (mkdir(prefix.c_str(), kDirectoryMode) != 0) return -1;
  }
  return 0;
}

int makeDir(char* path, int recursive) {
  return path == nullptr ? -1 : makeDir(std::string(path), recursive);
}
