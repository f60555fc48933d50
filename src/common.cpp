#include "common.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <list>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "CLog.h"
#include "CTemp.h"
#include "Descriptor.h"
#include "DirectoryBit.h"
#include "File.h"
#include "LogLine.h"
#include "common_template.h"

namespace {

constexpr LogSource kSource("common");

constexpr size_t kPathBytes = 4096;
constexpr size_t kTextBytes = 1024;
constexpr size_t kCommandBytes = 1024;
constexpr size_t kPieceBytes = 1024;
constexpr size_t kReadBytes = 64 << 10;
constexpr mode_t kDirectoryMode = 0755;

// ---- Command execution ---------------------------------------------------------------------

// Reads a descriptor in the pieces that fgets would give with a buffer of 1024 bytes, and goes on
// where a signal interrupts a read.
class PieceReader {
 public:
  explicit PieceReader(int descriptor) : m_descriptor(descriptor) {}

  // Gives the next piece, without its line end and up to a zero byte, until the next call; false at
  // the end of the input.
  bool next(std::string_view& piece) {
    size_t length = wholePiece();
    while (length == 0 && fill()) length = wholePiece();
    if (length == 0) length = m_end - m_begin;
    if (length == 0) return false;

    const char* front = m_buffer + m_begin;
    m_begin += length;
    length = strnlen(front, length);
    if (length > 0 && front[length - 1] == '\n') --length;
    if (length > 0 && front[length - 1] == '\r') --length;
    piece = {front, length};
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
    ssize_t count = 0;
    while ((count = read(m_descriptor, m_buffer + m_end, sizeof m_buffer - m_end)) == -1 &&
           errno == EINTR) {
    }
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
  std::string_view piece;
  for (long long count = 1; reader.next(piece); ++count) {
    if (maxLines < 0 || count <= maxLines) lines.emplace_back(piece);
  }
}

// Puts `from` in the place of the descriptor `to`. Failing that, `to` is closed: the command never
// writes to what the caller has there.
void replaceDescriptor(int from, int to) {
  if (dup2(from, to) == -1) close(to);
}

// Puts the command's output on `writeEnd` and its error output into `errorFile`, if that has a
// name, whichever of the descriptors 0 to 2 the caller had closed.
void redirectChild(int readEnd, int writeEnd, const std::string& errorFile) {
  close(readEnd);
  if (writeEnd != STDOUT_FILENO) {
    replaceDescriptor(writeEnd, STDOUT_FILENO);
    close(writeEnd);
  }

  if (errorFile.empty()) {
    // Deliberately closed, not the caller's, on whose terminal a script's errors would appear.
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
    replaceDescriptor(fileno(file), STDERR_FILENO);
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
  // What the caller's buffers and exit handlers still write is no output of the command.
  const int nowhere = open("/dev/null", O_WRONLY);
  replaceDescriptor(nowhere, STDOUT_FILENO);
  replaceDescriptor(nowhere, STDERR_FILENO);
  exit(EXIT_FAILURE);
}

// Bits 8 to 15 of a wait status; 255 for -1.
int exitCodeOf(int wstat) { return (wstat >> 8) & 0xff; }

// A child and the pipe that its output comes through. Neither is left behind, whatever happens.
class Child {
 public:
  Child(pid_t pid, Descriptor& output) : m_pid(pid), m_output(output) {}
  ~Child() {
    if (m_pid != kNone) wait();
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Closes the pipe, so that a child that still writes does not wait for a reader, and gives the
  // wait status, or -1 (a status that `exitStatus` refuses) when there is none.
  int wait() {
    m_output.close();
    int status = -1;
    while (waitpid(m_pid, &status, 0) == -1 && errno == EINTR) {
    }
    m_pid = kNone;
    return status;
  }

 private:
  static constexpr pid_t kNone = -1;
  pid_t m_pid;
  Descriptor& m_output;
};

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
  const bool captured =
      errLines != nullptr && temp.getTempFile(errorFile, "execGetLines", nullptr, nullptr) == 1;
  // A failed attempt may leave the name that it intended.
  if (!captured) errorFile.clear();

  int result = -1;
  const pid_t pid = fork();
  if (pid == 0) runChild(readEnd.number(), writeEnd.number(), errorFile, command);
  if (pid < 0) {
    // Deliberately "exec", and the error text first: log texts are fixed, word for word.
    logEvent("MXL90005L", "failed to exec(%s):%s", strerror(errno), command);
  } else {
    Child child(pid, readEnd);
    writeEnd.close();
    readLines(readEnd.number(), out, maxLines);
    const int status = child.wait();
    logEvent("MXL90004L", "pid=%d,wstat=%08x", static_cast<int>(pid),
             static_cast<unsigned>(status));
    logEvent("MXL90004L", "com=%s", command);
    result = exitStatus(status);
  }

  if (captured) {
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
  std::string_view piece;
  for (bool first = true; reader.next(piece); first = false) {
    // Deliberately unbounded: callers hand a buffer for a whole piece and tell no size.
    if (first && line != nullptr) line[piece.copy(line, piece.size())] = '\0';
  }
  return exitCodeOf(pclose(output));
}

int exitStatus(int wstat) {
  constexpr int kStopped = 127;
  const int code = exitCodeOf(wstat);
  const int signal = wstat & 0x7f;
  // Deliberately with blanks, by which the three line up in the log.
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
    if (component == "..") {
      // Deliberately takes the root's empty component too, so that "/../x" gives "x".
      if (!kept.empty()) kept.pop_back();
    } else if (component != "." && (first || !component.empty())) {
      kept.push_back(component);
    }
    first = false;
  }
  const std::string result = join(kept, "/");
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

std::string basename(const char* path, std::string& dir) {
  std::string whole = path == nullptr ? "" : path;
  dir.clear();
  const auto slash = whole.rfind('/');
  if (slash == std::string::npos) return whole;
  dir = slash == 0 ? "/" : whole.substr(0, slash);
  return whole.substr(slash + 1);
}

std::string basename(std::string path) {
  std::string dir;
  return basename(path.c_str(), dir);
}

std::string basename(std::string path, std::string& dir) { return basename(path.c_str(), dir); }

std::string getCwd() {
  char buffer[kPathBytes] = {};
  return getcwd(buffer, sizeof buffer) == nullptr ? "." : buffer;
}

std::string retrieveName(const char* path, std::string& ext) {
  std::string name;
  ext = retrieveExt(path, name);
  return name;
}

std::string retrieveName2(const char* path) {
  std::string ext;
  return retrieveName(path, ext);
}

std::string retrieveExt(const char* path, std::string& name) {
  const std::string component = path == nullptr ? "" : basename(path);
  const auto dot = component.rfind('.');
  name = component.substr(0, dot);
  return dot == std::string::npos ? std::string() : component.substr(dot + 1);
}

std::string retrieveExt2(const char* path) {
  if (path == nullptr) kSource.invalidParam(267);
  std::string name;
  return retrieveExt(path, name);
}

bool isDir(const char* path) {
  struct stat status = {};
  if (path == nullptr || stat(path, &status) != 0) return false;
  // Deliberately one bit of the type, so that block devices and sockets count as directories.
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

bool isAccessible(const char* path, int mode) {
  if (path == nullptr) {
    kSource.info(1039, "filename is NULL , mode=%08x", static_cast<unsigned>(mode));
    return false;
  }
  return access(path, mode) == 0;
}

// Deliberately read and execute: the shell has to read a script that it runs.
bool isExecutable(const char* path) { return isAccessible(path, R_OK | X_OK); }

bool isExecutable(std::string path) { return isExecutable(path.c_str()); }

bool isReadable(const char* path) { return isAccessible(path, R_OK); }

bool isReadable(std::string path) { return isReadable(path.c_str()); }

bool hasWildCard(const char* text) { return strpbrk(text, "*[]?") != nullptr; }

bool hasWildCard(std::string text) { return hasWildCard(text.c_str()); }

namespace {

std::string firstLineOf(const char* command) {
  std::list<std::string> lines;
  execGetLines(lines, command, 1, nullptr, -1);
  return lines.empty() ? std::string() : lines.front();
}

}  // namespace

std::string getHostname() { return firstLineOf("uname -n 2>/dev/null"); }

std::string getDomainname() { return firstLineOf("domainname 2>/dev/null"); }

bool isAdmin() { return getuid() == 0; }

// ---- Strings and values --------------------------------------------------------------------

namespace {

bool isSpace(char c) { return isspace(static_cast<unsigned char>(c)) != 0; }

}  // namespace

void trim(char* text) {
  if (text == nullptr) return;
  const char* begin = text;
  while (isSpace(*begin)) ++begin;
  size_t length = strlen(begin);
  if (begin != text) memmove(text, begin, length + 1);
  while (length > 0 && isSpace(text[length - 1])) text[--length] = '\0';
}

char* trim(std::string& text) {
  size_t begin = 0;
  while (begin < text.size() && isSpace(text[begin])) ++begin;
  text.erase(0, begin);
  while (!text.empty() && isSpace(text.back())) text.pop_back();
  return text.data();
}

std::string trimQuote(const char* text) {
  if (text == nullptr) {
    kSource.invalidParam(343);
    return std::string();
  }
  std::string result = text;
  if (result.empty() || result.front() != '"' || result.back() != '"') return result;
  result.pop_back();
  return result.empty() ? result : result.substr(1);
}

void toLowerStr(char* text) {
  if (text == nullptr) return;
  for (; *text != '\0'; ++text)
    *text = static_cast<char>(tolower(static_cast<unsigned char>(*text)));
}

char* getValue(char* line) {
  static char none[] = "";
  char* equals = strchr(line, '=');
  if (equals == nullptr) return none;
  trim(equals + 1);
  return equals + 1;
}

int split(const char* text, const char* delim, std::vector<std::string>& out, int count) {
  if (text == nullptr) {
    out.clear();
    kSource.invalidParam(2232);
    return 0;
  }
  return common_template::splitInto(text, delim, out, count);
}

int splitKeyVal(const char* line, std::string& key, std::string& value) {
  key.clear();
  value.clear();
  if (line == nullptr) {
    kSource.invalidParam(596);
    return 0;
  }
  const char* equals = strchr(line, '=');
  if (equals != nullptr) {
    key.assign(line, equals);
    trim(key);
    // Deliberately not trimmed: a value's own blanks belong to it.
    value = equals + 1;
  }
  return 1;
}

namespace {

// `text` with `mark` before each character that is one of `special`.
std::string escape(const char* text, char mark, const std::string& special) {
  std::string result;
  for (; *text != '\0'; ++text) {
    if (special.find(*text) != std::string::npos) result += mark;
    result += *text;
  }
  return result;
}

}  // namespace

std::string quoteEsc(const char* text, char quote) {
  return escape(text, quote, std::string(1, quote));
}

std::string quoteEsc(std::string text, char quote) { return quoteEsc(text.c_str(), quote); }

std::string shellEsc(const char* text, int wild) {
  // Deliberately without the semicolon, "!", "~", "=" and the line feed: the tools' command lines
  // are built with these as they stand.
  const std::string special = "\"'\t ()|<>&#^`{}$\\";
  return escape(text, '\\', wild != 0 ? special + "*?[]" : special);
}

std::string shellEsc(const std::string& text, int wild) { return shellEsc(text.c_str(), wild); }

bool matchWild(const char* pattern, const char* name) {
  if (pattern == nullptr || name == nullptr) {
    kSource.invalidParam(622);
    return false;
  }
  return fnmatch(pattern, name, FNM_PATHNAME | FNM_NOESCAPE) == 0;
}

std::string matchedString(const char* a, const char* b) {
  if (a == nullptr || b == nullptr) {
    kSource.invalidParam(420);
    return std::string();
  }
  size_t length = 0;
  while (a[length] != '\0' && a[length] == b[length]) ++length;
  return std::string(a, length);
}

bool compareRightNoCase(const std::string& a, const std::string& b, int n) {
  const size_t length = n > 0 ? static_cast<size_t>(n) : b.size();
  if (a.size() < length || b.size() < length) return false;
  return strcasecmp(a.c_str() + a.size() - length, b.c_str() + b.size() - length) == 0;
}

bool conv2Bool(const char* text) {
  if (text == nullptr) {
    kSource.invalidParam(1077);
    return false;
  }
  for (const char* word : {"YES", "TRUE", "ON", "1"}) {
    if (strcasecmp(text, word) == 0) return true;
  }
  return false;
}

bool isNumeric(const char* text) {
  if (text == nullptr) {
    kSource.invalidParam(858);
    return false;
  }
  // Deliberately true for the empty text: callers test for that themselves.
  return text[strspn(text, "0123456789")] == '\0';
}

bool isNumeric(std::string text) { return isNumeric(text.c_str()); }

bool isAlpha(const char* text) {
  if (text == nullptr) {
    kSource.invalidParam(829);
    return false;
  }
  // Deliberately true for the empty text: callers test for that themselves.
  for (; *text != '\0'; ++text) {
    if (isalpha(static_cast<unsigned char>(*text)) == 0) return false;
  }
  return true;
}

bool isAlpha(std::string text) { return isAlpha(text.c_str()); }

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

std::string replaceEnvValue(const char* text) {
  std::string result;
  if (text == nullptr) return result;
  while (*text != '\0') {
    const char mark = *text++;
    if (mark == '$') {
      std::string name;
      while (isalnum(static_cast<unsigned char>(*text)) != 0 || *text == '_') name += *text++;
      result += name.empty() ? "$" : getEnvValue(name.c_str());
    } else if (mark == '%') {
      const char* end = strchr(text, '%');
      // A reference that is not closed stays as it is.
      if (end == nullptr) return result + mark + text;
      const std::string name(text, end);
      result += name.empty() ? "%" : getEnvValue(name.c_str());
      text = end + 1;
    } else {
      result += mark;
    }
  }
  return result;
}

const char* lookupString(const std::map<std::string, std::string>& table, const char* key) {
  if (key == nullptr) {
    kSource.invalidParam(1000);
    return "";
  }
  const auto entry = table.find(key);
  return entry == table.end() ? "" : entry->second.c_str();
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
  std::string text(kTextBytes, '\0');
  for (;;) {
    va_list pass;
    va_copy(pass, args);
    const int length = vsnprintf(text.data(), text.size(), fmt, pass);
    va_end(pass);
    if (length < 0 || static_cast<size_t>(length) < text.size()) {
      // Of a format that is rejected there is what was written before.
      text.resize(length < 0 ? strlen(text.c_str()) : static_cast<size_t>(length));
      return text;
    }
    try {
      text.resize(2 * text.size());
    } catch (const std::bad_alloc&) {
      // Without memory for more the text is cut.
      text.pop_back();
      return text;
    }
  }
}

// ---- File trees ----------------------------------------------------------------------------

namespace {

void refuseToDelete(const std::string& path) {
  logEvent("MXL90008L", "%s too shallow to delete", C(path));
}

}  // namespace

int isAllowDelete(std::string path) {
  std::list<std::string> components;
  split(getCanonicalPath(path).c_str(), "/", components, 0);
  components.pop_front();
  const size_t depth = components.size();
  const bool insideTmp = depth >= 2 && components.front() == "tmp";
  if (insideTmp || depth >= 3) return 1;
  refuseToDelete(path);
  return 0;
}

int removeFiles(const char* path, int recursive) {
  if (path == nullptr) {
    kSource.invalidParam(519);
    return -1;
  }
  // The empty path names nothing; "find" would take it for the working directory.
  if (*path == '\0') {
    refuseToDelete(path);
    return 0;
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
  split(eraseLastSlash(path.c_str()).c_str(), "/", components, 0);
  components.pop_front();
  std::string prefix;
  for (const std::string& component : components) {
    prefix += "/" + component;
    // A component that exists as a file is deliberately passed over, and no failure by itself.
    if (isDir(prefix) || isFile(prefix)) continue;
    if (mkdir(prefix.c_str(), kDirectoryMode) != 0) return -1;
  }
  return 0;
}

int makeDir(char* path, int recursive) {
  return path == nullptr ? -1 : makeDir(std::string(path), recursive);
}

int dupDir(const char* src, const char* dst) {
  if (src == nullptr || dst == nullptr) {
    kSource.invalidParam(370);
    return 0;
  }
  struct stat status = {};
  if (stat(src, &status) != 0) {
    kSource.info(379, "failed to stat():%s,%s", src, strerror(errno));
    return 0;
  }
  if (isFile(dst)) {
    // The wording is deliberate: log texts are fixed, word for word.
    logEvent("MXL90001L", "destination:%s is already exist and it's file", dst);
    return 0;
  }
  if (!isDir(dst) && makeDir(std::string(dst), 1) == -1) {
    logEvent("MXL90002L", "failed to makeDir():%s", dst);
    return 0;
  }
  const utimbuf times = {status.st_atime, status.st_mtime};
  // Deliberately ignored, so that a tool without root's rights gets its directory too.
  std::ignore = utime(dst, &times);
  std::ignore = chown(dst, status.st_uid, status.st_gid);
  std::ignore = chmod(dst, status.st_mode & 07777);
  return 1;
}

int rmTempFile(std::string path, int /*flag*/) {
  // Deliberately the quoted form, so that a name that quoting alters is never removed.
  return unlink(shellEsc(path, 0).c_str()) == 0 ? 0 : -1;
}

int rmTempFile(char* path, int flag) {
  return path == nullptr ? -1 : rmTempFile(std::string(path), flag);
}

// ---- File lists and sizes ------------------------------------------------------------------

namespace common_template {

void invalidParam(int line) { LogSource("common_template").invalidParam(line); }

}  // namespace common_template

namespace {

long long sizeError(const char* file) {
  gLog.ilog("get file size error(%s,%s)", file, strerror(errno));
  return -1;
}

}  // namespace

namespace {

// The total of what is in a directory, 0 when it cannot be opened. Nothing stays open while it
// descends, so that no depth of a tree takes descriptors.
long long totalBelow(const std::string& dir) {
  common_template::Directory directory(opendir(dir.c_str()));
  if (directory == nullptr) return 0;
  std::vector<std::pair<std::string, bool>> entries;  // whole name, whether it is a plain file
  while (const dirent* entry = readdir(directory.get())) {
    if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
    const std::string path = dir + "/" + entry->d_name;
    entries.emplace_back(path, entry->d_type == DT_REG && path.size() < PATH_MAX);
  }

  long long total = 0;
  for (const auto& [path, isPlain] : entries) {
    struct stat status = {};
    // Found from its open directory as from its whole name, but quicker. A link is not: the links
    // in its whole name count.
    if (isPlain && directory != nullptr &&
        fstatat(dirfd(directory.get()), path.c_str() + dir.size() + 1, &status, 0) == 0) {
      total += status.st_size;
    } else {
      directory.reset();
      total += getTotalFileSize({path}, 1);
    }
  }
  return total;
}

}  // namespace

long long getTotalFileSize(const std::list<std::string>& paths, int recursive) {
  long long total = 0;
  for (const std::string& path : paths) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
      const long long size = sizeError(path.c_str());
      // Deliberately "reurned", and a blank before the comma: log texts are fixed, word for word.
      kSource.trace(169, "getFileSize():reurned %lld , %s", size, C(path));
    } else if ((status.st_mode & kDirectoryBit) == 0) {
      total += status.st_size;
    } else if (recursive == 1) {
      std::string dir = C(path);
      while (!dir.empty() && dir.back() == '/') dir.pop_back();
      total += totalBelow(dir);
    }
  }
  return total;
}

int getDirSize(const char* dir) {
  if (dir == nullptr) return -1;
  char command[kCommandBytes] = "";
  snprintf(command, sizeof command, "du -sk %s", dir);
  char line[kPieceBytes] = "";
  execGetLine(command, line);
  return static_cast<int>(strtol(line, nullptr, 10));
}

int getDirFileSize(std::string dir, int& size, int patterns) {
  size = 0;
  if (dir.empty()) return -1;
  struct stat status = {};
  // Deliberately the wrong way round: only a name that does not exist, such as one that the shell
  // expands, goes on. The buffer is zeroed, so that a failed call leaves no size in it.
  if (stat(dir.c_str(), &status) == 0) return -1;

  std::list<std::string> lines;
  const char* rest =
      patterns != 0 ? "urgent.*.tar *.txt express.*.tar 2>/dev/null" : " 2>/dev/null";
  execGetLines(lines, ("ls -1 " + dir + rest).c_str(), -1, nullptr, -1);
  for (const std::string& line : lines) {
    if (line == "." || line == "..") continue;
    if (stat(line.c_str(), &status) == 0) return -1;
    if ((status.st_mode & kDirectoryBit) == 0) size += static_cast<int>(status.st_size);
  }
  return 0;
}

int getFreeSize(const char* path) {
  if (path == nullptr) return -1;
  char command[kCommandBytes] = "";
  snprintf(command, sizeof command,
           "df -kP %s | perl -ne '@e=split; printf(\"%%s %%s\n\", $e[0], $e[3]);' 2>/dev/null",
           path);
  FILE* output = popen(command, "r");
  if (output == nullptr) return -1;

  PieceReader reader(fileno(output));
  std::string_view line;
  // The first line is the heading.
  const bool found = reader.next(line) && reader.next(line);
  pclose(output);
  if (!found) return -1;
  line.remove_prefix(std::min(line.find_first_of(" \t"), line.size()));
  return static_cast<int>(strtol(std::string(line).c_str(), nullptr, 10));
}

long long getFileSize(const char* file) {
  struct stat status = {};
  if (file == nullptr) {
    errno = EFAULT;
    return sizeError("(null)");
  }
  return stat(file, &status) == 0 ? status.st_size : sizeError(file);
}

std::string acquireSamePrefix(std::list<std::string>& paths) {
  std::list<std::string> shared;
  for (const std::string& path : paths) {
    kSource.trace(58, "src:%s", C(path));
    std::list<std::string> components;
    split(justifyPath(isDir(path) ? path : parentPath(path)).c_str(), "/", components, 0);
    if (shared.empty()) {
      shared = components;
      continue;
    }
    // Deliberately by position: trees that differ in one level keep the levels below it.
    std::list<std::string> equal;
    auto component = components.begin();
    for (auto other = shared.begin(); other != shared.end() && component != components.end();
         ++other, ++component) {
      if (*other == *component) equal.push_back(*other);
    }
    if (equal.size() < shared.size()) shared = equal;
  }
  std::string result = shared.size() == 1 && shared.front().empty() ? "/" : join(shared, "/");
  kSource.trace(109, "same prefix:%s", C(result));
  return result;
}

// ---- Time, numbers and console -------------------------------------------------------------

namespace {

constexpr char kCompactTime[] = "%04d%02d%02d%02d%02d%02d";
constexpr char kDisplayTime[] = "%04d/%02d/%02d %02d:%02d:%02d";

// A time without a local form gives the empty text.
std::string localTime(const char* form, time_t t) {
  const tm* local = localtime(&t);
  if (local == nullptr) return std::string();
  return format(form, local->tm_year + 1900, local->tm_mon + 1, local->tm_mday, local->tm_hour,
                local->tm_min, local->tm_sec);
}

}  // namespace

char* commas(long long value, std::string& out) {
  // The sign deliberately counts as a digit: other tools print -,123,456 as well.
  constexpr size_t kGroup = 3;
  out = std::to_string(value);
  for (size_t at = out.size(); at > kGroup;) {
    at -= kGroup;
    out.insert(at, 1, ',');
  }
  return out.data();
}

long getTimeStr(std::string& out, long t) {
  if (t == 0) t = time(nullptr);
  out = localTime(kCompactTime, t);
  return t;
}

// Unlike the compact form, negative times deliberately mean now: 0 and less is "not set" to
// callers.
std::string getTimeStr(long t) { return localTime(kDisplayTime, t <= 0 ? time(nullptr) : t); }

int getFileDate(std::string path, std::string& out) {
  out.clear();
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) {
    gLog.ilog("get file date error(%s)", C(path));
    return -1;
  }
  out = localTime(kDisplayTime, status.st_mtime);
  return 0;
}

int convDate(const char* compact, char* display) {
  constexpr char kForm[] = "YYYY/MM/DD hh:mm:ss";
  for (const char* c = kForm; *c != '\0'; ++c) {
    *display++ = isalpha(static_cast<unsigned char>(*c)) != 0 ? *compact++ : *c;
  }
  *display = '\0';
  return 0;
}

double elapsedTime() {
  timeval now = {};
  gettimeofday(&now, nullptr);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) * 1e-6;
}

int getch() {
  char line[kPieceBytes];
  // The end of the input is as good as a line.
  std::ignore = fgets(line, sizeof line, stdin);
  return 0;
}

int logList(std::string prefix, std::list<std::string>& lines) {
  for (const std::string& line : lines) gLog.ilog("%s:%s", C(prefix), C(line));
  return 1;
}

int atOnce(std::string key, std::map<std::string, int>* counts, int limit) {
  // Never destroyed: a tool's static objects may ask in their destructors.
  static auto* const processCounts = new std::map<std::string, int>;
  int& count = (*(counts == nullptr ? processCounts : counts))[key];
  if (count > limit) return 0;
  ++count;
  return 1;
}
