#pragma once

#include <cstdarg>
#include <string>

/// The tool set's diagnostic log: lines appended to a file that all tools share, and lines sent to
/// the system logger.
///
/// Each line is written under the semaphore of the log's directory, so lines of different processes
/// never mix. Nothing stays open between lines. The log reports no failure to its caller and never
/// throws: a line that cannot be written is lost silently. `errno` is preserved. The log contains
/// command lines, and others may be able to read it: do not put passwords on a command line.
class CLog {
 public:
  /// Takes the log file from "MOXEL_LOG" if that is set, even to the empty text, else
  /// "/var/log/kardo/moxel/log/moxel.log"; trace is on when "MOXEL_LOG_LEVEL" is exactly
  /// "LOG_LEVEL_TRACE".
  CLog();
  CLog(const CLog&) = default;
  CLog& operator=(const CLog&) = default;
  virtual ~CLog();

  /// Each tool calls it once when it starts, with the path it was started by (not null), whose last
  /// component names it to the system logger. A log file above 512000 bytes is renamed to its name
  /// without extension and ".bak", over an older one (a name without a slash: to "/"); if that
  /// fails, or if both names are the same file's, it is emptied instead. After a successful rename,
  /// a new file that another tool has begun meanwhile is left alone. Always returns 0.
  int init(const char* program);

  /// Writes one line; adds no prefix to the text.
  void ilog(const char* fmt, ...) __attribute__((format(printf, 2, 3)));

  /// The same if trace is on.
  void tlog(const char* fmt, ...) __attribute__((format(printf, 2, 3)));

  /// Appends one line: local time as "YYYY/MM/DD hh:mm:ss", process ID in five columns, the
  /// formatted text, a line feed. The line is lost if the lock cannot be made or taken, if the file
  /// cannot be opened or written, if there is no memory for the text, or if the process's file size
  /// limit leaves no room for all of it. A handled signal or the removal of the semaphore set ends
  /// the wait for the lock; that line is lost, the next call works again.
  ///
  /// Existing content of the file is never changed: a line directly follows a fragment without line
  /// end, such as one left by a writer killed during its write. If writing fails in the middle of a
  /// line, only that line's own bytes are removed, unless another writer has followed.
  ///
  /// A process killed between making the set and setting its value leaves it taken: every writer
  /// then waits until the set is removed ("ipcrm") or a signal ends the wait.
  void log(const char* fmt, va_list args);

  /// Sends one line to the system logger under the configured "SysLogFacility" and
  /// "SysLogPriority": local time, process ID and at most 1023 bytes of text, every byte that is
  /// not a printable character of the locale replaced by a blank. The system logger takes the line
  /// as a format and interprets a "%" in the text, so the text must come from a trusted source.
  void slog(const char* fmt, ...) __attribute__((format(printf, 2, 3)));

  /// The log file.
  const std::string& path() const { return m_path; }

  /// The directory whose key guards the log file: the log file's own ("/" for a name without a
  /// slash) if it exists, else "/var/log/kardo/moxel/log".
  std::string getLockResource();

  /// The system logger's number for a configuration value: digits as a number, unchecked; a name
  /// such as "LOG_DAEMON" or "LOG_ERR", in upper case only; the default 8 (LOG_USER) or 6
  /// (LOG_INFO) for anything else. "LOG_SYSLOG" is no facility name here.
  int getFacility(std::string value);
  int getPriority(std::string value);

  /// Whether `tlog` writes, for callers that would otherwise build a text in vain.
  bool isTracing() const { return m_level == kLevelTrace; }

 private:
  void writeLine(const std::string& text);
  void sendLine(const char* text);

  static constexpr int kLevelNormal = 0;
  static constexpr int kLevelTrace = 1;

  std::string m_path;
  std::string m_ident;
  int m_level;
};

/// The log of the process. Usable before `main` and in forked children.
extern CLog gLog;
