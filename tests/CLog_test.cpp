#include "CLog.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/ipc.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <ios>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "CEnvConf.h"
#include "CMutex.h"
#include "Memory.h"
#include "Process.h"
#include "Scratch.h"
#include "StatCalls.h"
#include "common.h"

namespace {

// Logs before main when the test of early lines asks for it.
struct EarlyLogger {
  EarlyLogger() {
    if (const char* line = getenv("MOXEL_TEST_EARLY_LINE")) gLog.ilog("%s", line);
  }
} const earlyLogger;

class CLogFile : public LogTest {
 protected:
  // Whether the log has made its lock, taken it and given it back.
  bool lockIsFree() const {
    if (setOf(scratch.path()) == -1) return false;
    CMutex mutex(scratch.path().c_str(), 1, false);
    return mutex.init(0) && mutex.lock(false) && mutex.release();
  }
};
class CLogLock : public CLogFile {};
class CLogRotation : public LogTest {};
class CLogSystem : public LogTest {};

void fill(const std::string& path, off_t size) {
  writeFile(path, "");
  ASSERT_EQ(truncate(path.c_str(), size), 0);
}

off_t sizeOf(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_size : -1;
}

// ---- The file ----------------------------------------------------------------------------------

TEST_F(CLogFile, ALineHasTimeProcessAndText) {
  const Environment zone("TZ", "JST-9");
  const time_t before = time(nullptr);
  gLog.ilog("%s is %d", "answer", 42);
  const time_t after = time(nullptr);

  const auto expected = [](time_t t) {
    const tm* local = localtime(&t);
    return format("%04d/%02d/%02d %02d:%02d:%02d %5d answer is 42\n", local->tm_year + 1900,
                  local->tm_mon + 1, local->tm_mday, local->tm_hour, local->tm_min, local->tm_sec,
                  static_cast<int>(getpid()));
  };
  const std::string line = readFile(logPath());
  bool matched = false;
  for (time_t t = before; t <= after; ++t) matched = matched || line == expected(t);
  EXPECT_TRUE(matched) << line;
}

TEST_F(CLogFile, TheProcessIdTakesFiveColumns) {
  // A process ID of fewer digits needs a process namespace of its own: there it is small.
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && unshare(CLONE_NEWPID) == 0);
    expectInChild([] { gLog.ilog("padded"); });
  });
  const std::string line = readFile(logPath());
  EXPECT_EQ(line.substr(19), "     1 padded\n");
}

TEST_F(CLogFile, LinesAreAppended) {
  writeFile(logPath(), "old\n");
  gLog.ilog("new");
  const std::string bytes = readFile(logPath());
  EXPECT_EQ(bytes.substr(0, 4), "old\n");
  EXPECT_EQ(bytes.substr(bytes.size() - 5), " new\n");
}

TEST_F(CLogFile, TheFileIsMadeAsTheMaskSays) {
  const mode_t old = umask(027);
  gLog.ilog("first");
  umask(old);
  EXPECT_EQ(modeOf(logPath()), 0640u);
}

TEST_F(CLogFile, LinesOfAnyLengthAreWhole) {
  Lines expected;
  for (const size_t length : {0, 1, 1023, 1024, 4096, 100000}) {
    expected.push_back(std::string(length, 'x'));
    gLog.ilog("%s", expected.back().c_str());
  }
  EXPECT_EQ(logged(), expected);
}

TEST_F(CLogFile, TextsAreNoFormats) {
  gLog.ilog("%s", "100% %s %n");
  EXPECT_EQ(logged(), Lines{"100% %s %n"});
}

TEST_F(CLogFile, KeepsErrno) {
  errno = ENOTDIR;
  gLog.ilog("line");
  EXPECT_EQ(errno, ENOTDIR);
  const Environment path("MOXEL_LOG", scratch.file("missing/moxel.log"));
  CLog lost;
  lost.ilog("line");
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_EQ(lost.init("tool"), 0);
  EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(CLogFile, TraceLinesNeedTheLevel) {
  gLog.tlog("hidden");
  EXPECT_FALSE(gLog.isTracing());
  EXPECT_FALSE(exists(logPath()));
  traceOn();
  EXPECT_TRUE(gLog.isTracing());
  gLog.tlog("shown %d", 1);
  gLog.ilog("always");
  EXPECT_EQ(logged(), (Lines{"shown 1", "always"}));
}

TEST_F(CLogFile, TheLevelIsOneExactWord) {
  for (const char* other : {"log_level_trace", "LOG_LEVEL_TRACE ", " LOG_LEVEL_TRACE",
                            "LOG_LEVEL_TRACEX", "LOG_LEVEL", "1", ""}) {
    const Environment level("MOXEL_LOG_LEVEL", other);
    EXPECT_FALSE(CLog().isTracing()) << other;
  }
  const Environment level("MOXEL_LOG_LEVEL", "LOG_LEVEL_TRACE");
  EXPECT_TRUE(CLog().isTracing());
}

TEST_F(CLogFile, TheEnvironmentIsReadAtConstructionOnly) {
  const Environment path("MOXEL_LOG", scratch.file("other.log"));
  const Environment level("MOXEL_LOG_LEVEL", "LOG_LEVEL_TRACE");
  gLog.ilog("line");
  gLog.tlog("trace");
  EXPECT_EQ(logged(), Lines{"line"});
  EXPECT_FALSE(exists(scratch.file("other.log")));
}

TEST_F(CLogFile, AnUnwritableFileLosesTheLineAndFreesTheLock) {
  const Environment path("MOXEL_LOG", scratch.file("directory"));
  ASSERT_EQ(mkdir(scratch.file("directory").c_str(), 0700), 0);
  CLog log;
  log.ilog("lost");
  EXPECT_TRUE(lockIsFree());
  EXPECT_TRUE(namesIn(scratch.file("directory")).empty());
}

TEST_F(CLogFile, AFullDiskLosesTheLineAndFreesTheLock) {
  const Environment path("MOXEL_LOG", scratch.file("full"));
  ASSERT_EQ(symlink("/dev/full", scratch.file("full").c_str()), 0);
  CLog log;
  log.ilog("lost");
  EXPECT_TRUE(lockIsFree());
}

TEST_F(CLogLock, ALockThatCannotBeMadeLosesTheLine) {
  expectInChild([] {
    denySystemCalls(kSemgetCalls, ENOSPC);
    gLog.ilog("lost");
  });
  EXPECT_FALSE(exists(logPath()));
}

TEST_F(CLogLock, AWriterWaitsForTheLock) {
  CMutex mutex(scratch.path().c_str(), 1, false);
  ASSERT_TRUE(mutex.init(0) && mutex.lock(true));
  const pid_t child = startChild([] {
    gLog.ilog("waited");
    return 0;
  });
  EXPECT_TRUE(eventually([&] { return waitersFor(scratch.path()) == 1; }));
  EXPECT_FALSE(exists(logPath()));
  mutex.release();
  EXPECT_EQ(exitCode(waitFor(child)), 0);
  EXPECT_EQ(logged(), Lines{"waited"});
}

// A child that logs two lines, with the end of a pipe that tells of each signal that it has
// handled.
class InterruptedWriter {
 public:
  InterruptedWriter() {
    EXPECT_EQ(pipe(s_ends), 0);
    m_child = startChild([] {
      struct sigaction action = {};
      action.sa_handler = [](int) { static_cast<void>(write(s_ends[1], "x", 1) == 1); };
      sigaction(SIGUSR1, &action, nullptr);
      gLog.ilog("first");
      gLog.ilog("second");
      return 0;
    });
    close(s_ends[1]);
  }
  ~InterruptedWriter() { close(s_ends[0]); }

  // Interrupts the wait for the lock and returns when that wait is over.
  void interrupt(const std::string& resource) {
    EXPECT_TRUE(eventually([&] { return waitersFor(resource) == 1; }));
    kill(m_child, SIGUSR1);
    char handled = 0;
    EXPECT_EQ(read(s_ends[0], &handled, 1), 1);
  }

  int wait() { return exitCode(waitFor(m_child)); }

 private:
  static inline int s_ends[2];
  pid_t m_child;
};

TEST_F(CLogLock, AWaitThatASignalEndsLosesItsLineOnly) {
  CMutex mutex(scratch.path().c_str(), 1, false);
  ASSERT_TRUE(mutex.init(0) && mutex.lock(true));
  InterruptedWriter writer;
  writer.interrupt(scratch.path());
  EXPECT_TRUE(eventually([&] { return waitersFor(scratch.path()) == 1; }));
  EXPECT_TRUE(mutex.release());
  EXPECT_EQ(writer.wait(), 0);
  EXPECT_EQ(logged(), Lines{"second"});
}

TEST_F(CLogLock, AnAlarmFreesAToolFromASetThatNobodyGivesBack) {
  // As a process leaves it that is killed between making the set and setting its value.
  CMutex mutex(scratch.path().c_str(), 0, false);
  ASSERT_TRUE(mutex.init(0));
  const pid_t child = startChild([] {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    gLog.ilog("lost");
    return 0;
  });
  EXPECT_TRUE(eventually([&] { return waitersFor(scratch.path()) == 1; }));
  kill(child, SIGALRM);
  EXPECT_EQ(waitFor(child), 0);
  EXPECT_FALSE(exists(logPath()));
}

TEST_F(CLogLock, ALockThatCannotBeGivenBackIsNotRemoved) {
  int set = -1;
  const int status = traceSystemCalls(
      [] {
        gLog.ilog("line");
        return 0;
      },
      [&](long number) {
        if (number != SYS_openat || set != -1) return;
        // The largest value: one more fails.
        set = setOf(scratch.path());
        EXPECT_EQ(semctl(set, 0, SETVAL, 32767), 0);
      });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(logged(), Lines{"line"});
  EXPECT_EQ(setOf(scratch.path()), set);
}

TEST_F(CLogLock, LinesOfOtherUsersThanTheLocksAreLost) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  gLog.ilog("the owner's");
  chmod(scratch.path().c_str(), 0777);
  chmod(logPath().c_str(), 0666);
  expectInChild([] {
    dropPrivileges();
    gLog.ilog("somebody's");
  });
  EXPECT_EQ(logged(), Lines{"the owner's"});
}

TEST_F(CLogFile, ALineThatIsWrittenInPartsIsWhole) {
  // A pipe takes a part; a signal then ends the write.
  ASSERT_EQ(mkfifo(logPath().c_str(), 0600), 0);
  std::string text;
  for (int i = 0; i < 30000; ++i) text += std::to_string(i) + " ";
  const pid_t child = startChild([&] {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    gLog.ilog("%s", text.c_str());
    return 0;
  });
  const int reader = open(logPath().c_str(), O_RDONLY);
  ASSERT_NE(reader, -1);
  const int capacity = fcntl(reader, F_GETPIPE_SZ);
  int waiting = 0;
  EXPECT_TRUE(
      eventually([&] { return ioctl(reader, FIONREAD, &waiting) == 0 && waiting == capacity; }));
  kill(child, SIGUSR1);
  std::string bytes;
  char buffer[65536];
  for (ssize_t count; (count = read(reader, buffer, sizeof buffer)) > 0;) {
    bytes.append(buffer, static_cast<size_t>(count));
  }
  close(reader);
  EXPECT_EQ(exitCode(waitFor(child)), 0);
  ASSERT_GT(bytes.size(), text.size());
  EXPECT_EQ(bytes.substr(bytes.size() - text.size() - 2), " " + text + "\n");
}

// ---- Lines that cannot be written whole --------------------------------------------------------

TEST_F(CLogFile, WhateverStandsInTheFileStays) {
  const std::string stamp = "2026/11/21 10:00:00   123 ";
  for (const std::string& before :
       {std::string("4711"), std::string("remark\n12"), std::string("2"),
        std::string("2026/11/21 "), std::string("2026/11/21 10:00:00 backup of /var "), stamp,
        stamp + "a killed tool's last words", stamp + "whole\n" + stamp + "piece",
        stamp + std::string(100000, 'x'), std::string("\n"), std::string("a remark"),
        std::string("\0\n\0", 3)}) {
    writeFile(logPath(), before);
    gLog.ilog("next");
    const std::string log = readFile(logPath());
    ASSERT_EQ(log.substr(0, before.size()), before);
    const auto lines = parseLog(log.substr(before.size()));
    ASSERT_EQ(lines.size(), 1U) << before.substr(0, 40);
    EXPECT_EQ(lines[0].text, "next");
  }
}

TEST_F(CLogFile, APieceBetweenTwoLinesOfOneProcessStays) {
  gLog.ilog("first");
  std::ofstream(logPath(), std::ios::app) << "2026/11/21 10:00:00   123 another program's";
  const std::string before = readFile(logPath());
  gLog.ilog("second");
  const std::string log = readFile(logPath());
  ASSERT_EQ(log.substr(0, before.size()), before);
  EXPECT_EQ(parseLog(log.substr(before.size())).size(), 1U);
}

// The system calls that one more line makes, in a process that has logged already.
std::vector<long> callsOfALine(const std::function<void()>& prepare) {
  std::vector<long> calls;
  int markers = 0;
  const int status = traceSystemCalls(
      [&] {
        gLog.ilog("first");
        prepare();
        getppid();
        gLog.ilog("second");
        getppid();
        return 0;
      },
      [&](long number) {
        if (number == SYS_getppid) {
          ++markers;
        } else if (markers == 1) {
          calls.push_back(number);
        }
      });
  EXPECT_EQ(status, 0);
  return calls;
}

TEST_F(CLogFile, ALineTakesFewSystemCalls) {
  // A time zone that is not read from a file.
  const Environment zone("TZ", "JST-9");
  const std::vector<long> calls = callsOfALine([] {});
  const std::vector<long> expected = {SYS_newfstatat,  // the directory of the log
                                      SYS_newfstatat,  // and its key
                                      SYS_semget,      // the set is not made,
                                      SYS_semget,      // but found
                                      SYS_semtimedop,  // and taken
                                      SYS_openat,     SYS_getpid, SYS_prlimit64,
                                      SYS_write,      SYS_close,  SYS_semtimedop};
  EXPECT_EQ(calls, expected);
}

TEST_F(CLogFile, OnlyALimitOfFileSizesAsksForTheEndOfTheFile) {
  const std::vector<long> calls = callsOfALine([] {
    const rlimit limit = {1000000, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
  });
  EXPECT_EQ(std::count(calls.begin(), calls.end(), SYS_lseek), 1) << testing::PrintToString(calls);
}

// Where the limit, or the end of the file, cannot be asked for, the line is written all the same.
TEST_F(CLogFile, WithoutAnAnswerAboutRoomTheLineIsWritten) {
  for (const int denied : {SYS_prlimit64, SYS_lseek}) {
    expectInChild([&] {
      const rlimit limit = {1 << 20, RLIM_INFINITY};
      ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
      denySystemCalls({denied}, EPERM);
      gLog.ilog("a line");
    });
  }
  EXPECT_EQ(logged(), (Lines{"a line", "a line"}));
}

// What cannot be taken back stays as a piece.
TEST_F(CLogFile, APieceThatCannotBeTakenBackStays) {
  for (const int denied : {SYS_ftruncate, SYS_lseek}) {
    expectInChild([&] {
      ASSERT_TRUE(enterPrivateNamespace() && mountEmpty(scratch.path(), 0, "size=16k"));
      denySystemCalls({denied}, EPERM);
      gLog.ilog("%s", std::string(20000, 'x').c_str());
      EXPECT_EQ(sizeOf(logPath()), 16 << 10);
      EXPECT_TRUE(lockIsFree());
    });
  }
}

// The first part fills the disk; the rest is asked about and written when there is room again.
TEST_F(CLogFile, ALineThatIsWrittenInPartsMayReachTheLimitOfFileSizes) {
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty(scratch.path(), 0, "size=64k"));
    const std::string text(20000, 'x');
    const std::string ballast = scratch.file("ballast");
    writeFile(ballast, std::string(56 << 10, 'b'));
    bool begun = false;
    const int status = traceSystemCalls(
        [&] {
          // For the text, its stamp and its end.
          const rlimit limit = {20040, RLIM_INFINITY};
          setrlimit(RLIMIT_FSIZE, &limit);
          gLog.ilog("%s", text.c_str());
          return 0;
        },
        [&](long number) {
          if (begun) unlink(ballast.c_str());
          begun = begun || number == SYS_write;
        });
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(begun);
    EXPECT_EQ(logged(), Lines{text});
  });
}

TEST_F(CLogFile, AFullDiskLeavesNoPieceOfALine) {
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty(scratch.path(), 0, "size=64k"));
    gLog.ilog("%s", "first");
    const std::string text(3000, 'x');
    off_t full = 0;
    for (int i = 0; i < 40; ++i) {
      gLog.ilog("%s", text.c_str());
      full = std::max(full, sizeOf(logPath()));
    }
    for (const LogLineRead& line : parseLog(readFile(logPath()))) {
      EXPECT_TRUE(line.text == "first" || line.text == text) << line.text;
    }
    EXPECT_EQ(sizeOf(logPath()), full);
    EXPECT_GT(full, 50000);
    // With room again the next line is there.
    ASSERT_EQ(truncate(logPath().c_str(), 0), 0);
    gLog.ilog("again");
    EXPECT_EQ(logged(), Lines{"again"});
    EXPECT_TRUE(lockIsFree());
  });
}

// What the log holds when a disk is full in the middle of a line and, as the line's writer asks for
// a position in the file for the `which`th time, there is room again and another writer has
// appended.
std::string logWithAnother(const Scratch& scratch, const std::string& text, int which) {
  EXPECT_TRUE(enterPrivateNamespace() && mountEmpty(scratch.path(), 0, "size=64k"));
  writeFile(scratch.file("filler"), std::string(40000, 'x'));
  int positions = 0;
  const int status = traceSystemCalls(
      [&] {
        gLog.ilog("first");  // reads the time zone
        getppid();
        gLog.ilog("%s", text.c_str());
        return 0;
      },
      [&](long number) {
        if (number == SYS_getppid) positions = 0;
        if (number != SYS_lseek || ++positions != which) return;
        // The first line's positions come before the marker.
        if (readFile(scratch.file("moxel.log")).find('y') == std::string::npos) return;
        EXPECT_EQ(unlink(scratch.file("filler").c_str()), 0);
        std::ofstream(scratch.file("moxel.log"), std::ios::app) << "another's";
      });
  EXPECT_EQ(status, 0);
  return readFile(scratch.file("moxel.log"));
}

TEST_F(CLogFile, WhatAnotherWriterPutsBetweenTwoPartsOfALineStays) {
  expectInChild([&] {
    const std::string text(50000, 'y');
    std::string log = logWithAnother(scratch, text, 1);
    const size_t at = log.find("yanother'sy");
    ASSERT_NE(at, std::string::npos);
    log.erase(at + 1, strlen("another's"));
    EXPECT_EQ(parseLog(log).back().text, text);
  });
}

TEST_F(CLogFile, OnAFullDiskWhatAnotherWriterAppendsStays) {
  expectInChild([&] {
    const std::string text(50000, 'y');
    const std::string log = logWithAnother(scratch, text, 2);
    EXPECT_EQ(log.substr(log.size() - 10), "yanother's");
    EXPECT_LT(log.size(), text.size());
    EXPECT_TRUE(lockIsFree());
  });
}

TEST_F(CLogFile, AWriterThatTakesTheRoomBelowTheLimitKillsNobody) {
  constexpr off_t kLimit = 1000;
  constexpr off_t kLeft = 200;
  bool marked = false;
  const int status = traceSystemCalls(
      [&] {
        gLog.ilog("first");
        const rlimit limit = {kLimit, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &limit);
        getppid();
        gLog.ilog("%s", std::string(400, 'y').c_str());
        return 0;
      },
      [&](long number) {
        marked = marked || number == SYS_getppid;
        // Between the look for room and the write.
        const off_t size = sizeOf(logPath());
        if (number != SYS_write || !marked || size >= kLimit - kLeft) return;
        std::ofstream(logPath(), std::ios::app)
            << std::string(static_cast<size_t>(kLimit - kLeft - size), 'z');
      });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(sizeOf(logPath()), kLimit - kLeft) << "nothing of the line stays";
}

TEST_F(CLogFile, ALineBeyondTheLimitOfFileSizesIsLostAndKillsNobody) {
  expectInChild([&] {
    gLog.ilog("first");
    const off_t first = sizeOf(logPath());
    const rlimit limit = {static_cast<rlim_t>(first) * 2, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    gLog.ilog("%s", std::string(static_cast<size_t>(first), 'x').c_str());
    const off_t second = sizeOf(logPath());
    gLog.ilog("secon");  // just fits
    gLog.ilog("x");
    const rlimit none = {RLIM_INFINITY, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
    EXPECT_EQ(second, first);
    EXPECT_EQ(logged(), (Lines{"first", "secon"}));
    EXPECT_TRUE(lockIsFree());
  });
}

TEST_F(CLogFile, HasAVirtualDestructor) { EXPECT_TRUE((std::has_virtual_destructor_v<CLog>)); }

TEST_F(CLogLock, TheLocksSetStays) {
  gLog.ilog("one");
  const int set = setOf(scratch.path());
  ASSERT_NE(set, -1);
  EXPECT_EQ(semctl(set, 0, GETVAL), 1);
  gLog.ilog("two");
  EXPECT_EQ(setOf(scratch.path()), set);
  EXPECT_EQ(semctl(set, 0, GETVAL), 1);
}

TEST_F(CLogLock, OneDirectoryHasOneLock) {
  const Environment path("MOXEL_LOG", scratch.file("other.log"));
  CLog other;
  gLog.ilog("one");
  const int set = setOf(scratch.path());
  CMutex mutex(scratch.path().c_str(), 1, false);
  ASSERT_TRUE(mutex.init(0) && mutex.lock(true));
  const pid_t child = startChild([&] {
    other.ilog("two");
    return 0;
  });
  EXPECT_TRUE(eventually([&] { return semctl(set, 0, GETNCNT) == 1; }));
  mutex.release();
  EXPECT_EQ(exitCode(waitFor(child)), 0);
}

TEST_F(CLogFile, ALineWithoutMemoryIsLostAndTheNextIsThere) {
  const std::string text(1000, 'x');
  {
    const NoMemoryFrom none(500);
    gLog.ilog("%s", text.c_str());
  }
  EXPECT_FALSE(exists(logPath()));
  {
    // Enough for the text, not for the line, whose memory doubles for stamp and line feed.
    const NoMemoryFrom none(1500);
    gLog.ilog("%s", text.c_str());
  }
  EXPECT_TRUE(exists(logPath()));
  EXPECT_TRUE(lockIsFree());
  gLog.ilog("next");
  EXPECT_EQ(logged(), Lines{"next"});
}

TEST_F(CLogLock, ASetRemovedUnderTheWaitLosesThatLineOnly) {
  CMutex mutex(scratch.path().c_str(), 1, false);
  ASSERT_TRUE(mutex.init(0) && mutex.lock(true));
  const pid_t child = startChild([] {
    gLog.ilog("first");
    gLog.ilog("second");
    return 0;
  });
  EXPECT_TRUE(eventually([&] { return waitersFor(scratch.path()) == 1; }));
  EXPECT_TRUE(mutex.remove(false, 0));
  EXPECT_EQ(exitCode(waitFor(child)), 0);
  EXPECT_EQ(logged(), Lines{"second"});
}

TEST_F(CLogLock, AProcessKilledWithTheLockBlocksNobody) {
  const pid_t child = startExpecting([&] {
    CMutex mutex(scratch.path().c_str(), 1, false);
    ASSERT_TRUE(mutex.init(0) && mutex.lock(true));
    writeFile(scratch.file("locked"), "");
    pause();
  });
  EXPECT_TRUE(eventually([&] { return exists(scratch.file("locked")); }));
  kill(child, SIGKILL);
  waitFor(child);
  gLog.ilog("after");
  EXPECT_EQ(logged(), Lines{"after"});
}

TEST_F(CLogFile, AForkedChildLogsUnderItsOwnProcessId) {
  const pid_t child = startChild([] {
    gLog.ilog("child");
    return 0;
  });
  waitFor(child);
  gLog.ilog("parent");
  const auto lines = parseLog(readFile(logPath()));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].pid, child);
  EXPECT_EQ(lines[0].text, "child");
  EXPECT_EQ(lines[1].pid, getpid());
}

TEST_F(CLogFile, LinesBeforeMainAreWritten) {
  const Environment line("MOXEL_TEST_EARLY_LINE", "before main");
  const pid_t child = startChild([] {
    execl("/proc/self/exe", "moxel_test", "--gtest_list_tests", "--gtest_filter=None",
          static_cast<char*>(nullptr));
    return 1;
  });
  EXPECT_EQ(exitCode(waitFor(child)), 0);
  const auto lines = parseLog(readFile(logPath()));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text, "before main");
  EXPECT_EQ(lines[0].pid, child);
}

TEST_F(CLogFile, ManyWritersNeverMixTheirLines) {
  constexpr int kWriters = 8;
  constexpr int kLines = 100;
  std::vector<pid_t> writers;
  for (int writer = 0; writer < kWriters; ++writer) {
    writers.push_back(startChild([writer] {
      for (int line = 0; line < kLines; ++line) {
        gLog.ilog("%d %d %s", writer, line,
                  std::string(static_cast<size_t>(line) * 40, 'x').c_str());
      }
      return 0;
    }));
  }
  for (const pid_t writer : writers) EXPECT_EQ(exitCode(waitFor(writer)), 0);

  std::vector<int> next(kWriters, 0);
  for (const std::string& text : logged()) {
    int writer = -1;
    int line = -1;
    int end = 0;
    ASSERT_EQ(sscanf(text.c_str(), "%d %d %n", &writer, &line, &end), 2) << text;
    ASSERT_EQ(line, next[writer]++);
    ASSERT_EQ(text.substr(end), std::string(static_cast<size_t>(line) * 40, 'x'));
  }
  EXPECT_EQ(next, std::vector<int>(kWriters, kLines));
}

TEST_F(CLogFile, LeavesNoDescriptorOpen) {
  const auto before = openDescriptors();
  gLog.ilog("line");
  EXPECT_EQ(openDescriptors(), before);
}

// ---- Lock resource -----------------------------------------------------------------------------

TEST_F(CLogLock, TheDirectoryOfTheLogIsTheLock) {
  EXPECT_EQ(gLog.getLockResource(), scratch.path());
  gLog.ilog("line");
  struct {
    std::string path;
    std::string resource;
  } const rows[] = {
      {scratch.file("a/moxel.log"), "/var/log/kardo/moxel/log"},
      {logPath() + "/below-a-file", "/var/log/kardo/moxel/log"},
      {"/moxel.log", "/"},
      {"moxel.log", "/"},
      {"", "/"},
      {scratch.path() + "/", "/tmp"},
  };
  for (const auto& row : rows) {
    const Environment path("MOXEL_LOG", row.path);
    EXPECT_EQ(CLog().getLockResource(), row.resource) << row.path;
  }
}

TEST_F(CLogFile, WithoutTheVariableTheSharedLogIsUsed) {
  expectInChild([] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/var/log"));
    const Environment path("MOXEL_LOG", std::nullopt);
    CLog log;
    log.ilog("lost");
    EXPECT_EQ(log.getLockResource(), "/var/log/kardo/moxel/log");
    EXPECT_EQ(namesIn("/var/log"), Lines{});
    EXPECT_EQ(makeDir(std::string("/var/log/kardo/moxel/log"), 1), 0);
    log.ilog("kept");
    const auto lines = parseLog(readFile("/var/log/kardo/moxel/log/moxel.log"));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "kept");
  });
}

TEST_F(CLogFile, AMissingDirectoryLosesTheLine) {
  // With and without the fallback directory for the lock.
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/var/log"));
    const Environment path("MOXEL_LOG", scratch.file("missing/moxel.log"));
    CLog log;
    log.ilog("lost");
    EXPECT_EQ(makeDir(std::string("/var/log/kardo/moxel/log"), 1), 0);
    log.ilog("lost");
    EXPECT_EQ(namesIn("/var/log/kardo/moxel/log"), Lines{});
    EXPECT_EQ(semctl(setOf("/var/log/kardo/moxel/log"), 0, GETVAL), 1);
  });
  EXPECT_FALSE(exists(scratch.file("missing")));
}

// ---- Rotation ----------------------------------------------------------------------------------

TEST_F(CLogRotation, RotatesAbove512000Bytes) {
  fill(logPath(), 512000);
  EXPECT_EQ(gLog.init("/opt/tool"), 0);
  EXPECT_EQ(sizeOf(logPath()), 512000);
  EXPECT_FALSE(exists(scratch.file("moxel.bak")));

  fill(logPath(), 512001);
  EXPECT_EQ(gLog.init("tool"), 0);
  EXPECT_FALSE(exists(logPath()));
  EXPECT_EQ(sizeOf(scratch.file("moxel.bak")), 512001);

  gLog.ilog("new file");
  EXPECT_EQ(logged(), Lines{"new file"});
  EXPECT_EQ(gLog.init("tool"), 0);
  EXPECT_EQ(sizeOf(scratch.file("moxel.bak")), 512001);
}

TEST_F(CLogRotation, RotationReplacesTheOlderBackup) {
  writeFile(scratch.file("moxel.bak"), "older");
  fill(logPath(), 600000);
  gLog.init("tool");
  EXPECT_EQ(sizeOf(scratch.file("moxel.bak")), 600000);
}

TEST_F(CLogRotation, SizesBeyond32BitsAreCompared) {
  fill(logPath(), (off_t{1} << 32) + 5);
  gLog.init("tool");
  EXPECT_EQ(sizeOf(scratch.file("moxel.bak")), (off_t{1} << 32) + 5);
}

TEST_F(CLogRotation, TheBackupLosesTheLastExtensionOnly) {
  for (const auto& [name, backup] : {std::pair<std::string, std::string>{"a.b.log", "a.b.bak"},
                                     {"plain", "plain.bak"},
                                     {".log", ".bak"}}) {
    const Environment path("MOXEL_LOG", scratch.file(name));
    fill(scratch.file(name), 512001);
    CLog().init("tool");
    EXPECT_TRUE(exists(scratch.file(backup))) << name;
    EXPECT_FALSE(exists(scratch.file(name)));
    unlink(scratch.file(backup).c_str());
  }
}

TEST_F(CLogRotation, AFailedRenameStillEmptiesTheLog) {
  ASSERT_EQ(mkdir(scratch.file("moxel.bak").c_str(), 0700), 0);
  fill(logPath(), 512001);
  EXPECT_EQ(gLog.init("tool"), 0);
  EXPECT_EQ(sizeOf(logPath()), 0);
}

TEST_F(CLogRotation, WhatCanNeitherBeRenamedNorEmptiedGoesOn) {
  fill(logPath(), 512001);
  std::vector<int> denied = kRenameCalls;
  denied.push_back(SYS_truncate);
  expectInChild([&] {
    denySystemCalls(denied, EPERM);
    EXPECT_EQ(gLog.init("tool"), 0);
  });
  EXPECT_EQ(sizeOf(logPath()), 512001);
  EXPECT_FALSE(exists(scratch.file("moxel.bak")));
}

TEST_F(CLogRotation, WithoutMemoryForANameTheFileGoesOn) {
  fill(logPath(), 512001);
  {
    const NoMemoryFrom none(16);
    EXPECT_EQ(gLog.init("a program with a long name"), 0);
  }
  EXPECT_EQ(sizeOf(logPath()), 512001);
}

TEST_F(CLogRotation, TheBackupOfARelativeNameStandsInTheRoot) {
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace());
    ASSERT_EQ(chroot(scratch.path().c_str()), 0);
    ASSERT_TRUE(mkdir("/sub", 0755) == 0 && chdir("/sub") == 0);
    fill("tool.log", 512001);
    setenv("MOXEL_LOG", "tool.log", 1);
    CLog().init("tool");
    EXPECT_TRUE(exists("/tool.bak"));
    EXPECT_FALSE(exists("tool.log"));
  });
}

TEST_F(CLogRotation, RotationKeepsWhatAnotherToolWritesMeanwhile) {
  fill(logPath(), 512001);
  beforeStat = [&](const std::string&) {
    if (exists(scratch.file("moxel.bak")) && !exists(logPath())) writeFile(logPath(), "line\n");
  };
  gLog.init("tool");
  beforeStat = nullptr;
  EXPECT_EQ(sizeOf(scratch.file("moxel.bak")), 512001);
  EXPECT_EQ(readFile(logPath()), "line\n");
}

TEST_F(CLogRotation, ARenameWithoutEffectStillEmptiesTheLog) {
  fill(logPath(), 512001);
  ASSERT_EQ(link(logPath().c_str(), scratch.file("moxel.bak").c_str()), 0);
  gLog.init("tool");
  EXPECT_EQ(sizeOf(logPath()), 0);
}

TEST_F(CLogRotation, RotationTakesNoLock) {
  CMutex mutex(scratch.path().c_str(), 1, false);
  ASSERT_TRUE(mutex.init(0) && mutex.lock(true));
  fill(logPath(), 512001);
  EXPECT_EQ(gLog.init("tool"), 0);
  EXPECT_TRUE(exists(scratch.file("moxel.bak")));
  mutex.release();
}

TEST_F(CLogRotation, WithoutALogThereIsNothingToRotate) {
  EXPECT_EQ(gLog.init("tool"), 0);
  EXPECT_TRUE(namesIn(scratch.path()).empty());
}

// ---- The system logger -------------------------------------------------------------------------

// The numbers of <syslog.h>, where a facility is its position times 8.
TEST_F(CLogSystem, FacilitiesAreNamesOrNumbersAndElseUser) {
  struct {
    const char* value;
    int number;
  } const rows[] = {
      {"LOG_KERN", 0},
      {"LOG_USER", 8},
      {"LOG_MAIL", 16},
      {"LOG_DAEMON", 24},
      {"LOG_AUTH", 32},
      {"LOG_LPR", 48},
      {"LOG_NEWS", 56},
      {"LOG_UUCP", 64},
      {"LOG_CRON", 72},
      {"LOG_LOCAL0", 128},
      {"LOG_LOCAL1", 136},
      {"LOG_LOCAL2", 144},
      {"LOG_LOCAL3", 152},
      {"LOG_LOCAL4", 160},
      {"LOG_LOCAL5", 168},
      {"LOG_LOCAL6", 176},
      {"LOG_LOCAL7", 184},
      {"", 8},
      {"LOG_SYSLOG", 8},
      {"log_local0", 8},
      {"LOG_LOCAL", 8},
      {"LOG_LOCAL00", 8},
      {" LOG_KERN", 8},
      {"16", 16},
      {"0", 0},
      {"007", 7},
      {"40", 40},
      {"99999", 99999},
      {"16x", 8},
      {"-16", 8},
      {"+16", 8},
      {"LOG_ERR", 8},
  };
  for (const auto& row : rows) EXPECT_EQ(gLog.getFacility(row.value), row.number) << row.value;
}

TEST_F(CLogSystem, PrioritiesAreNamesOrNumbersAndElseInfo) {
  struct {
    const char* value;
    int number;
  } const rows[] = {
      {"LOG_EMERG", 0},  {"LOG_ALERT", 1}, {"LOG_CRIT", 2},  {"LOG_ERR", 3}, {"LOG_WARNING", 4},
      {"LOG_NOTICE", 5}, {"LOG_INFO", 6},  {"LOG_DEBUG", 7}, {"", 6},        {"3", 3},
      {"3a", 6},         {"log_err", 6},   {"LOG_ERR ", 6},  {"0", 0},       {"12345", 12345},
      {"LOG_KERN", 6},
  };
  for (const auto& row : rows) EXPECT_EQ(gLog.getPriority(row.value), row.number) << row.value;
}

TEST_F(CLogSystem, ManyDigitsAreTakenUnchecked) {
  // As strtol gives it, in an int.
  EXPECT_EQ(gLog.getFacility(std::string(2000, '9')), static_cast<int>(LONG_MAX));
  EXPECT_EQ(gLog.getFacility(std::string(2000, '0') + "16"), 16);
}

// Runs `body` where /dev/log is a socket of the test's own and returns what arrived there, one
// datagram a line.
std::string sentToSystemLogger(const Scratch& scratch, const std::function<void()>& body) {
  const std::string received = scratch.file("received");
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/dev"));
    const int logger = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, "/dev/log");
    ASSERT_EQ(bind(logger, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    body();
    char datagram[8192];
    std::ofstream out(received);
    for (ssize_t size; (size = recv(logger, datagram, sizeof datagram, MSG_DONTWAIT)) > 0;) {
      out << std::string(datagram, static_cast<size_t>(size)) << "\n";
    }
  });
  return readFile(received);
}

// The parts of a datagram "<priority>Mmm dd hh:mm:ss ident: YYYY/MM/DD hh:mm:ss PID=ppppp text".
struct SystemLine {
  explicit SystemLine(const std::string& datagram) {
    const size_t identBegin = datagram.find('>') + 17;
    const size_t identEnd = datagram.find(": ", identBegin);
    priority = atoi(datagram.substr(1).c_str());
    ident = datagram.substr(identBegin, identEnd - identBegin);
    stamp = datagram.substr(identEnd + 2, 20);
    const size_t pidEnd = datagram.find_first_not_of(' ', identEnd + 26);
    pid = datagram.substr(identEnd + 22, 4);
    const size_t textBegin = datagram.find(' ', pidEnd) + 1;
    process = datagram.substr(identEnd + 26, textBegin - 1 - (identEnd + 26));
    text = datagram.substr(textBegin, datagram.size() - textBegin - 1);
  }
  int priority;
  std::string ident, stamp, pid, process, text;
};

TEST_F(CLogSystem, SendsALineUnderTheDefaults) {
  const Environment zone("TZ", "JST-9");
  const time_t before = time(nullptr);
  const SystemLine line(sentToSystemLogger(scratch, [&] {
    gLog.init("/opt/kardo/moxel/bin/tool");
    gLog.slog("disk %s at %d", "full", 99);
    writeFile(scratch.file("pid"), std::to_string(getpid()));
  }));
  const time_t after = time(nullptr);
  const int pid = atoi(readFile(scratch.file("pid")).c_str());
  EXPECT_EQ(line.priority, LOG_USER | LOG_INFO);
  EXPECT_EQ(line.ident, "tool");
  EXPECT_EQ(line.pid, "PID=");
  EXPECT_EQ(line.process, format("%5d", pid));
  EXPECT_EQ(line.text, "disk full at 99");
  tm parsed = {};
  EXPECT_NE(strptime(line.stamp.c_str(), "%Y/%m/%d %H:%M:%S ", &parsed), nullptr) << line.stamp;
  const time_t stamped = mktime(&parsed);
  EXPECT_LE(before, stamped);
  EXPECT_LE(stamped, after);
}

TEST_F(CLogSystem, SendsALineUnderTheConfiguredNumbers) {
  struct {
    const char* conf;
    int priority;
  } const rows[] = {
      {"SysLogFacility=LOG_LOCAL3\nSysLogPriority=LOG_ERR\n", LOG_LOCAL3 | LOG_ERR},
      {"SysLogFacility=24\nSysLogPriority=2\n", LOG_DAEMON | LOG_CRIT},
      {"SysLogFacility=LOG_SYSLOG\nSysLogPriority=nonsense\n", LOG_USER | LOG_INFO},
      {"SysLogFacility=log_daemon\nSysLogPriority=3x\n", LOG_USER | LOG_INFO},
      {"SysLogPriority=LOG_DEBUG\n", LOG_USER | LOG_DEBUG},
      {"SysLogFacility=LOG_MAIL\n", LOG_MAIL | LOG_INFO},
  };
  for (const auto& row : rows) {
    writeFile(scratch.file("conf"), row.conf);
    const Environment conf("MOXEL_CONF", scratch.file("conf"));
    const SystemLine line(sentToSystemLogger(scratch, [] {
      gEnv = CEnvConf();
      if (gEnv.init()) gLog.slog("text");
    }));
    EXPECT_EQ(line.priority, row.priority) << row.conf;
    EXPECT_EQ(line.text, "text");
  }
}

TEST_F(CLogSystem, SystemLinesHoldPrintableCharactersOnly) {
  const SystemLine line(sentToSystemLogger(scratch, [] {
    gLog.slog("%s",
              "a\nb\tc\rd\x01"
              "e\x7f"
              "f\xa4\xa2g!~");
  }));
  EXPECT_EQ(line.text, "a b c d e f  g!~");
}

TEST_F(CLogSystem, SystemTextsAreCutAt1023Bytes) {
  const SystemLine line(
      sentToSystemLogger(scratch, [] { gLog.slog("%s", std::string(3000, 'x').c_str()); }));
  EXPECT_EQ(line.text, std::string(1023, 'x'));
}

TEST_F(CLogSystem, TheSystemLoggerInterpretsPercentSigns) {
  const SystemLine line(sentToSystemLogger(scratch, [] { gLog.slog("%s", "100%% done"); }));
  EXPECT_EQ(line.text, "100% done");
}

TEST_F(CLogSystem, TheIdentIsEmptyBeforeInit) {
  const SystemLine line(sentToSystemLogger(scratch, [] { gLog.slog("text"); }));
  EXPECT_EQ(line.ident, "");
  EXPECT_EQ(line.text, "text");
}

TEST_F(CLogSystem, TheSystemLoggersConnectionIsClosedAgain) {
  const std::string lines = sentToSystemLogger(scratch, [] {
    const auto before = openDescriptors();
    gLog.slog("text");
    EXPECT_EQ(openDescriptors(), before);
  });
  EXPECT_NE(lines.find("text\n"), std::string::npos);
}

TEST_F(CLogSystem, ASystemLineWithoutMemoryIsLost) {
  EXPECT_EQ(sentToSystemLogger(scratch,
                               [] {
                                 const NoMemoryFrom none(1);
                                 gLog.slog("%s", "lost");
                               }),
            "");
}

TEST_F(CLogSystem, SystemLinesTakeNoLock) {
  CMutex mutex(scratch.path().c_str(), 1, false);
  ASSERT_TRUE(mutex.init(0) && mutex.lock(true));
  const SystemLine line(sentToSystemLogger(scratch, [] {
    alarm(10);
    gLog.slog("text");
  }));
  EXPECT_EQ(line.text, "text");
  mutex.release();
}

TEST_F(CLogSystem, SystemLinesNeedNoLogFile) {
  const std::string lines = sentToSystemLogger(scratch, [] {
    gLog.slog("one");
    gLog.slog("two");
  });
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2);
  EXPECT_FALSE(exists(logPath()));
}

TEST_F(CLogSystem, AMissingSystemLoggerIsNoFailure) {
  expectInChild([] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/dev"));
    errno = ENOTDIR;
    gLog.slog("lost");
    EXPECT_EQ(errno, ENOTDIR);
  });
}

}  // namespace
