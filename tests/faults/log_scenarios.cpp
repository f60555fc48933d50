// The log, its lines for the system logger, and the lock.

#include <sys/ipc.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "CLog.h"
#include "CMutex.h"
#include "FaultLayer.h"
#include "Process.h"
#include "Results.h"
#include "Scratch.h"
#include "Sweep.h"
#include "common.h"

namespace {

constexpr char kLog[] = "/tmp/log/moxel.log";

// Bytes of the log; -1 when there is none.
std::intmax_t logBytes() {
  std::error_code error;
  const auto size = std::filesystem::file_size(kLog, error);
  return error ? -1 : static_cast<std::intmax_t>(size);
}

// The log throws nothing, whatever happens.
template <class Log>
std::string quietly(const Log& log) {
  try {
    log();
  } catch (...) {
    return "thrown ";
  }
  return "";
}

void growLog() {
  writeFile(kLog, "");
  std::filesystem::resize_file(kLog, 600000);
}

}  // namespace

SCENARIO(logsALine, {"lost"}) {
  const std::string thrown = quietly([] { gLog.ilog("%s", "a line"); });
  return thrown + (logBytes() > 0 ? "there" : "lost");
}

SCENARIO(logsALineBelowALimit, {"lost"}) {
  const rlimit limit = {1 << 20, RLIM_INFINITY};
  syscall(SYS_prlimit64, 0, RLIMIT_FSIZE, &limit, nullptr);
  const std::string thrown = quietly([] { gLog.ilog("%s", "a line"); });
  return thrown + (logBytes() > 0 ? "there" : "lost");
}

// The line has more bytes than the disk; with its text cut it fits.
SCENARIO(logsALineOnAFullDisk, {"lost", "piece", "whole"}) {
  {
    const faults::Pause pause;
    if (!mountEmpty("/tmp/log", 0, "size=16k")) return "no disk";
  }
  const std::string thrown = quietly([] { gLog.ilog("%20000s", "x"); });
  const faults::Pause pause;
  const auto bytes = logBytes();
  umount("/tmp/log");
  if (bytes <= 0) return thrown + (bytes == 0 ? "taken back" : "lost");
  return thrown + (bytes < 100 ? "whole" : "piece");
}

SCENARIO(rotatesTheLog, {"emptied", "left"}) {
  growLog();
  const std::string thrown = quietly([] { gLog.init("/bin/tool"); });
  const auto bytes = logBytes();
  return thrown + (bytes == -1 ? "moved" : bytes == 0 ? "emptied" : "left");
}

// The backup's name is taken by what a file cannot replace.
SCENARIO(emptiesTheLog, {"left"}) {
  growLog();
  std::filesystem::create_directory("/tmp/log/moxel.bak");
  const std::string thrown = quietly([] { gLog.init("/bin/tool"); });
  return thrown + (logBytes() == 0 ? "emptied" : "left");
}

SCENARIO(sendsALineToTheSystemLogger, {"", "no text"}) {
  const std::string thrown = quietly([] { gLog.slog("%s", "text"); });
  const std::string line = faults::takeSystemLine();
  const size_t id = line.find("PID=");
  if (id == std::string::npos) return thrown + line;
  const size_t text = line.find_first_not_of("0123456789 ", id + strlen("PID="));
  return thrown + (text == std::string::npos ? "no text" : line.substr(text));
}

SCENARIO(logsAList, {}) {
  Strings list{"one", "two"};
  return number(logList("prefix", list));
}

SCENARIO(takesTheLock, {"none", "ilr-", "i-rd", "i---", "il--"}) {
  CMutex mutex("/tmp/sweep", 1, false);
  if (!mutex.init(0)) return mutex.remove(false, 0) ? "failed" : "none";
  std::string result = "i";
  result += mutex.lock(true) ? "l" : "-";
  result += mutex.release() ? "r" : "-";
  return result += mutex.remove(false, 0) ? "d" : "-";
}

SCENARIO(removesTheLockUnderAWaiter, {"none", "left, woken"}) {
  CMutex mutex("/tmp/sweep", 0, false);
  if (!mutex.init(0)) return mutex.remove(true, 0) ? "failed" : "none";
  const auto startWaiter = [] {
    const faults::Pause pause;
    const auto child = startChild([] {
      CMutex other("/tmp/sweep", 0, false);
      return other.init(0) && !other.lock(true) ? errno : 0;
    });
    return eventually([] { return waitersFor("/tmp/sweep") == 1; }) ? child : -1;
  };
  const auto waiter = startWaiter();
  if (waiter == -1) return "nobody waits";
  const std::string result = mutex.remove(true, 0) ? "removed" : "left";
  const faults::Pause pause;
  return result + (exitCode(waitFor(waiter)) == EIDRM ? ", woken" : ", not woken");
}

SCENARIO(takesTheLockWithoutWaiting, {"none", "-l-gone", "i--gone", "i-lgone"}) {
  std::string result;
  int key = 0;
  {
    CMutex mutex("/tmp/sweep", 1, true);
    if (!mutex.init(0)) return mutex.remove(true, 0) ? "failed" : "none";
    CMutex other("/tmp/sweep", 1, false);
    result += other.init(0) ? "i" : "-";
    result += mutex.lock(false) ? "l" : "-";
    result += other.lock(false) ? "l" : "-";
    key = mutex.key();
  }
  // The first one's end has removed the set.
  const long left = syscall(SYS_semget, key, 1, 0);
  if (left != -1) syscall(SYS_semctl, left, 0, IPC_RMID);
  return result + whether(left != -1);
}
