#pragma once

#include <cstdarg>
#include <string>

/// The tool set's one diagnostic log: lines appended to a file that all tools share, and lines for
/// the system logger.
///
/// Each line of the file takes the semaphore of the log's directory, so writers in different
/// processes never mix. Nothing stays open between lines. The log never fails towards its caller
/// and never throws: a line that cannot be written is lost, silently. `errno` is kept. Command
/// lines go into the log, whose file others may read: do not put passwords on a command line.
class CLog {
 public:
  /// Takes the log file from "MOXEL_LOG" if that is set, even to the empty text, else
  /// "/var/log/kardo/moxel/log/moxel.log"; trace is on when "MOXEL_LOG_LEVEL" is exactly
  /// "LOG_LEVEL_TRACE".
  CLog();
  CLog(const CLog&) = default;
  CLog& operator=(const CLog&) = default;
  virtual ~CLog();

  /// To be called once by each tool at its start, with the path it was started by (not null), whose
  /// last component names it to the system logger. A log file above 512000 bytes is renamed to its
  /// name without extension and ".bak", over an older one; where that fails, or both names are one
  /// file's, it is emptied instead. After a successful rename, a file that another tool has begun
  /// meanwhile is left alone. Returns 0 whatever happens.
  int init(const char* program);

  /// Writes one line, as it stands.
  void ilog(const char* fmt, ...) __attribute__((format(printf, 2, 3)));

  /// Writes one line, as it stands, when trace is on.
  void tlog(const char* fmt, ...) __attribute__((format(printf, 2, 3)));

  /// Appends one line: local time as "YYYY/MM/DD hh:mm:ss", process ID in five columns, the
  /// formatted text, a line feed. The line is lost when the lock cannot be made or taken, when the
  /// file cannot be opened or written, when there is no memory for the text, or when the process's
  /// limit of file sizes leaves no room for all of it. A signal that the process handles ends the
  /// wait for the lock, as does the removal of the semaphore set; that line is lost, the next call
  /// goes on.
  ///
  /// Nothing that stands in the file is changed: a line follows directly behind a piece without
  /// line end, such as a writer killed in the middle of a write leaves behind. Only its own bytes
  /// are taken back when writing fails in the middle of a line, unless another writer has followed.
  ///
  /// A process killed between making the set and setting its value leaves it taken: every writer
  /// then waits until the set is removed ("ipcrm") or a signal ends the wait.
  void log(const char* fmt, va_list args);

  /// Sends one line to the system logger under the configured "SysLogFacility" and
  /// "SysLogPriority": local time, process ID and at most 1023 bytes of text, every byte that is
  /// not a printable character of the locale replaced by a blank. The system logger takes the line
  /// as a format: a "%" in the text is interpreted by it, so the text must come from a trusted
  /// source.
  void slog(const char* fmt, ...) __attribute__((format(printf, 2, 3)));

  /// The log file.
  const std::string& path() const { return m_path; }

  /// Directory whose key guards the log file: the log file's if it exists, else
  /// "/var/log/kardo/moxel/log".
  std::string getLockResource();

  /// System logger numbers for a configuration value: digits as they stand, unchecked; a name such
  /// as "LOG_DAEMON" or "LOG_ERR" in exactly this case; the default 8 (LOG_USER) or 6 (LOG_INFO)
  /// for anything else. "LOG_SYSLOG" is no facility name here.
  int getFacility(std::string value);
  int getPriority(std::string value);

  /// Whether `tlog` writes, for callers that would have to build a text for it.
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
