#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// A directory of the test's own, removed with all that is in it.
class Scratch {
 public:
  Scratch();
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::string& path() const { return m_path; }
  std::string file(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes, mode_t mode = 0644);
void makeSocket(const std::string& path);

// Makes the special file of the first loop device, which need not be there; false: not permitted.
bool makeBlockDevice(const std::string& path);

bool exists(const std::string& path);
mode_t modeOf(const std::string& path);
std::vector<std::string> namesIn(const std::string& directory);

// Makes directories below `top`, one in the other, until the name of the last is `length` bytes
// long, which it returns; the process works there then.
std::string enterDeepDirectory(const std::string& top, size_t length);

// Sets an environment variable, or unsets it, until the end of the scope.
class Environment {
 public:
  Environment(const char* name, std::optional<std::string> value);
  ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

 private:
  std::string m_name;
  std::optional<std::string> m_old;
};

struct LogLineRead {
  std::string stamp;
  int pid;
  std::string text;
};

// Takes a log apart; a line of another form fails the test.
std::vector<LogLineRead> parseLog(const std::string& bytes);

// A test whose process logs into a scratch file and works in the scratch directory: should code
// that removes files go wrong, it finds nothing else there.
class LogTest : public testing::Test {
 protected:
  LogTest();
  ~LogTest() override;

  void traceOn();
  std::string logPath() const { return scratch.file("moxel.log"); }

  // The texts in the log so far.
  std::vector<std::string> logged() const;

  // The texts since the last call.
  std::vector<std::string> newlyLogged();

  // The new texts of one kind: those that begin with `prefix`.
  std::vector<std::string> newlyLogged(const std::string& prefix);

  Scratch scratch;

 private:
  std::string m_oldDirectory;
  Environment m_path;
  Environment m_level;
  Environment m_keepTemp;
  size_t m_seen = 0;
};

// Names that a shell, a format or a code set would take for something else.
extern const std::vector<std::string> kAwkwardNames;

using Lines = std::vector<std::string>;
