#pragma once

/// @file
/// The system calls that an operation cannot do without, by hand and without any failure handled.

#include <string>

namespace bench {

/// The log file of the measurements, in its own directory.
std::string logPath();

/// Empties the log file.
void emptyLog();

/// `text` as a whole line of the log.
std::string logLine(const std::string& text);

/// Takes the lock of the log's directory as a writer of the log does, and gives it back.
class LogLock {
 public:
  LogLock();
  ~LogLock();
  LogLock(const LogLock&) = delete;
  LogLock& operator=(const LogLock&) = delete;

 private:
  int m_set;
};

/// Appends a line that is ready to the log: the calls that the lock, the time, the process ID, the
/// file, and the promise that a line is there whole or not at all ask for.
void writeLine(const std::string& line);

/// Runs a shell command and reads its output to the end; nothing is logged. Gives its wait status.
int runCommand(const char* command);

}  // namespace bench
