#include "Scratch.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ios>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "CLog.h"
#include "CMutex.h"

namespace fs = std::filesystem;

const std::vector<std::string> kAwkwardNames = {
    "a b",   " lead", "trail ",      "it's", "\"quoted\"",
    "$HOME", "a#b",   "back\\slash", "a&b",  "(a)",
    "`b`",   "{c,d}", "<in>",        "a|b",  "tab\there",
    "-n",    "^x",    "100%s%n",     "*",    "[x]",
    "a;b",   "~",     "!x",          "a\nb", "\xa4\xa2\xa4\xa4",
    "\xff",  "=x",    "..x",         "?",    ".h"};

// Gives the directories below one back the rights that a test took from them.
static void reopen(const fs::path& directory) {
  chmod(directory.c_str(), 0700);
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(directory, ignored)) {
    if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) reopen(entry.path());
  }
}

Scratch::Scratch() {
  char name[] = "/tmp/moxel-test-XXXXXX";
  if (mkdtemp(name) == nullptr) abort();
  m_path = name;
}

Scratch::~Scratch() {
  // A log in this directory has made a semaphore set for it.
  CMutex(m_path.c_str(), 1, true).init(0);
  reopen(m_path);
  std::error_code ignored;
  fs::remove_all(m_path, ignored);
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

void writeFile(const std::string& path, const std::string& bytes, mode_t mode) {
  std::ofstream(path, std::ios::binary) << bytes;
  chmod(path.c_str(), mode);
}

void makeSocket(const std::string& path) {
  const int listener = socket(AF_UNIX, SOCK_DGRAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  strcpy(address.sun_path, path.c_str());
  EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0) << path;
  close(listener);
}

bool makeBlockDevice(const std::string& path) {
  return mknod(path.c_str(), S_IFBLK | 0600, makedev(7, 0)) == 0;
}

bool exists(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0;
}

mode_t modeOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

std::vector<std::string> namesIn(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string enterDeepDirectory(const std::string& top, size_t length) {
  constexpr size_t kLongestName = 250;
  std::string path = top;
  bool done = chdir(top.c_str()) == 0;
  while (done && path.size() < length) {
    const size_t left = length - path.size() - 1;
    // What is left for the last name is never a slash alone.
    const std::string name(left > kLongestName ? kLongestName - 2 : left, 'd');
    done = mkdir(name.c_str(), 0700) == 0 && chdir(name.c_str()) == 0;
    path += "/" + name;
  }
  if (!done) abort();
  return path;
}

Environment::Environment(const char* name, std::optional<std::string> value) : m_name(name) {
  if (const char* old = getenv(name)) m_old = old;
  if (value) {
    setenv(name, value->c_str(), 1);
  } else {
    unsetenv(name);
  }
}

Environment::~Environment() {
  if (m_old) {
    setenv(m_name.c_str(), m_old->c_str(), 1);
  } else {
    unsetenv(m_name.c_str());
  }
}

std::vector<LogLineRead> parseLog(const std::string& bytes) {
  std::vector<LogLineRead> lines;
  std::istringstream stream(bytes);
  EXPECT_TRUE(bytes.empty() || bytes.back() == '\n') << "the last line has no end";
  for (std::string line; std::getline(stream, line);) {
    // "YYYY/MM/DD hh:mm:ss ppppp text"
    const std::string pattern = "dddd/dd/dd dd:dd:dd ";
    bool wellFormed = line.size() > pattern.size();
    for (size_t i = 0; wellFormed && i < pattern.size(); ++i) {
      wellFormed = pattern[i] == 'd' ? isdigit(line[i]) != 0 : line[i] == pattern[i];
    }
    size_t end = pattern.size();
    while (end < line.size() && line[end] == ' ') ++end;
    while (end < line.size() && isdigit(line[end]) != 0) ++end;
    wellFormed = wellFormed && end >= pattern.size() + 5 && end < line.size() && line[end] == ' ';
    EXPECT_TRUE(wellFormed) << line;
    if (!wellFormed) continue;
    lines.push_back({line.substr(0, pattern.size() - 1),
                     atoi(line.substr(pattern.size(), end - pattern.size()).c_str()),
                     line.substr(end + 1)});
  }
  return lines;
}

LogTest::LogTest()
    : m_oldDirectory(fs::current_path()),
      m_path("MOXEL_LOG", scratch.file("moxel.log")),
      m_level("MOXEL_LOG_LEVEL", std::nullopt),
      m_keepTemp("MOXEL_NOT_DEL_TEMP", std::nullopt) {
  fs::current_path(scratch.path());
  gLog = CLog();
}

LogTest::~LogTest() {
  fs::current_path(m_oldDirectory);
  gLog = CLog();
}

void LogTest::traceOn() {
  setenv("MOXEL_LOG_LEVEL", "LOG_LEVEL_TRACE", 1);
  gLog = CLog();
}

std::vector<std::string> LogTest::logged() const {
  std::vector<std::string> texts;
  if (!exists(logPath())) return texts;
  for (const LogLineRead& line : parseLog(readFile(logPath()))) texts.push_back(line.text);
  return texts;
}

std::vector<std::string> LogTest::newlyLogged() {
  std::vector<std::string> texts = logged();
  const size_t seen = m_seen;
  m_seen = texts.size();
  texts.erase(texts.begin(), texts.begin() + static_cast<long>(seen));
  return texts;
}

std::vector<std::string> LogTest::newlyLogged(const std::string& prefix) {
  std::vector<std::string> texts = newlyLogged();
  const auto other = [&](const std::string& text) { return text.rfind(prefix, 0) != 0; };
  texts.erase(std::remove_if(texts.begin(), texts.end(), other), texts.end());
  return texts;
}
