#include "CLog.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <string>
#include <tuple>

#include "CEnvConf.h"
#include "CMutex.h"
#include "Descriptor.h"
#include "common.h"

// Lives longer than a tool's own static objects, whose constructors and destructors may log.
CLog gLog __attribute__((init_priority(101)));

namespace {

constexpr char kDefaultPath[] = "/var/log/kardo/moxel/log/moxel.log";
constexpr char kDefaultDirectory[] = "/var/log/kardo/moxel/log";
constexpr off_t kRotateAboveBytes = 512000;
constexpr mode_t kFileMode = 0666;

constexpr size_t kStampBytes = 128;
constexpr size_t kSystemLineBytes = 2048;
constexpr size_t kSystemTextBytes = 1024;

struct Name {
  const char* name;
  int value;
};

// The system logger's own facility is deliberately missing: its lines are not the tools' to write.
constexpr Name kFacilities[] = {
    {"LOG_KERN", 0},     {"LOG_USER", 8},     {"LOG_MAIL", 16},    {"LOG_DAEMON", 24},
    {"LOG_AUTH", 32},    {"LOG_LPR", 48},     {"LOG_NEWS", 56},    {"LOG_UUCP", 64},
    {"LOG_CRON", 72},    {"LOG_LOCAL0", 128}, {"LOG_LOCAL1", 136}, {"LOG_LOCAL2", 144},
    {"LOG_LOCAL3", 152}, {"LOG_LOCAL4", 160}, {"LOG_LOCAL5", 168}, {"LOG_LOCAL6", 176},
    {"LOG_LOCAL7", 184},
};
constexpr int kDefaultFacility = 8;

constexpr Name kPriorities[] = {
    {"LOG_EMERG", 0},   {"LOG_ALERT", 1},  {"LOG_CRIT", 2}, {"LOG_ERR", 3},
    {"LOG_WARNING", 4}, {"LOG_NOTICE", 5}, {"LOG_INFO", 6}, {"LOG_DEBUG", 7},
};
constexpr int kDefaultPriority = 6;

template <size_t count>
int valueOf(const std::string& value, const Name (&names)[count], int defaultValue) {
  if (value.empty()) return defaultValue;
  if (isNumeric(value)) return static_cast<int>(std::strtol(value.c_str(), nullptr, 10));
  for (const Name& entry : names) {
    if (value == entry.name) return entry.value;
  }
  return defaultValue;
}

tm now() {
  const time_t seconds = time(nullptr);
  const tm* local = localtime(&seconds);
  return local == nullptr ? tm{} : *local;
}

// The log's lock, taken once and given back once. The set itself is never removed.
class Lock {
 public:
  explicit Lock(const std::string& resource)
      : m_mutex(resource.c_str(), 1, false), m_taken(m_mutex.init(0) && m_mutex.lock(true)) {}
  ~Lock() {
    if (m_taken) m_mutex.release();
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  bool taken() const { return m_taken; }

 private:
  CMutex m_mutex;
  bool m_taken;
};

// Whether the limit of file sizes leaves room for `bytes` more. A write beyond it would raise
// SIGXFSZ.
bool hasRoom(int file, size_t bytes) {
  rlimit limit = {};
  if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return true;
  const off_t end = lseek(file, 0, SEEK_END);
  return end == -1 || static_cast<rlim_t>(end) + bytes <= limit.rlim_cur;
}

// Appends the line, in one write as a rule. If it cannot be finished, its bytes are removed, unless
// somebody has written behind them.
void appendLine(int file, const std::string& line) {
  off_t begin = -1;
  size_t written = 0;
  while (written < line.size() && hasRoom(file, line.size() - written)) {
    const ssize_t count = write(file, line.data() + written, line.size() - written);
    if (count <= 0) break;
    written += static_cast<size_t>(count);
    if (written == line.size()) return;
    if (begin == -1) begin = lseek(file, 0, SEEK_CUR) - count;
  }
  const off_t end = begin + static_cast<off_t>(written);
  if (begin >= 0 && lseek(file, 0, SEEK_END) == end) std::ignore = ftruncate(file, begin);
}

bool isSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Renames a file that has grown too large, in the same directory. Failures are ignored.
void rotate(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0 || status.st_size <= kRotateAboveBytes) return;
  const std::string backup =
      format("%s/%s.bak", parentPath(path).c_str(), retrieveName2(path.c_str()).c_str());
  const bool renamed = rename(path.c_str(), backup.c_str()) == 0;
  // After a successful rename deliberately nothing is truncated: a file that is there again holds
  // another tool's lines. Only where both names were one file's is it emptied.
  struct stat left = {};
  const bool inPlace = !renamed || (stat(path.c_str(), &left) == 0 && isSameFile(left, status));
  if (inPlace) std::ignore = truncate(path.c_str(), 0);
}

class KeepErrno {
 public:
  KeepErrno() : m_value(errno) {}
  ~KeepErrno() { errno = m_value; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

 private:
  int m_value;
};

}  // namespace

CLog::CLog() : m_level(kLevelNormal) {
  const char* path = std::getenv("MOXEL_LOG");
  m_path = path == nullptr ? kDefaultPath : path;
  const char* level = std::getenv("MOXEL_LOG_LEVEL");
  if (level != nullptr && std::strcmp(level, "LOG_LEVEL_TRACE") == 0) m_level = kLevelTrace;
}

CLog::~CLog() = default;

int CLog::init(const char* program) {
  const KeepErrno keepErrno;
  try {
    m_ident = basename(program);
    rotate(m_path);
  } catch (const std::exception&) {
    // No memory for a name: the file goes on.
  }
  return 0;
}

void CLog::ilog(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  log(fmt, args);
  va_end(args);
}

void CLog::tlog(const char* fmt, ...) {
  if (!isTracing()) return;
  va_list args;
  va_start(args, fmt);
  log(fmt, args);
  va_end(args);
}

void CLog::log(const char* fmt, va_list args) {
  const KeepErrno keepErrno;
  try {
    writeLine(vformat(fmt, args));
  } catch (const std::exception&) {
    // The line is lost: no memory for it.
  }
}

void CLog::writeLine(const std::string& text) {
  const Lock lock(getLockResource());
  if (!lock.taken()) return;
  const Descriptor file(open(m_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kFileMode));
  if (file.number() == -1) return;

  const tm t = now();
  char stamp[kStampBytes] = "";
  snprintf(stamp, sizeof stamp, "%04d/%02d/%02d %02d:%02d:%02d %5d ", t.tm_year + 1900,
           t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, static_cast<int>(getpid()));
  const std::string line = stamp + text + "\n";
  appendLine(file.number(), line);
}

void CLog::slog(const char* fmt, ...) {
  const KeepErrno keepErrno;
  char text[kSystemTextBytes] = "";
  va_list args;
  va_start(args, fmt);
  vsnprintf(text, sizeof text, fmt, args);
  va_end(args);
  try {
    sendLine(text);
  } catch (const std::exception&) {
    // The line is lost: no memory for it.
  }
}

void CLog::sendLine(const char* text) {
  const tm t = now();
  char line[kSystemLineBytes] = "";
  snprintf(line, sizeof line, "%04d/%02d/%02d %02d:%02d:%02d PID=%5d %s", t.tm_year + 1900,
           t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, static_cast<int>(getpid()),
           text);
  for (char* c = line; *c != '\0'; ++c) {
    if (isgraph(static_cast<unsigned char>(*c)) == 0) *c = ' ';
  }

  std::string facility;
  std::string priority;
  gEnv.getValueString("SysLogFacility", facility);
  gEnv.getValueString("SysLogPriority", priority);
  openlog(m_ident.c_str(), LOG_NDELAY, getFacility(facility));
  // Deliberately the format itself: a "%" in the text is for the system logger to interpret.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
  syslog(getPriority(priority), line);
#pragma GCC diagnostic pop
  closelog();
}

std::string CLog::getLockResource() {
  std::string directory = parentPath(m_path.c_str());
  if (directory.empty() || !isDir(directory.c_str())) return kDefaultDirectory;
  return directory;
}

int CLog::getFacility(std::string value) { return valueOf(value, kFacilities, kDefaultFacility); }

int CLog::getPriority(std::string value) { return valueOf(value, kPriorities, kDefaultPriority); }
