// Loads the shared log: many processes write, some are killed inside of it, the file is rotated and
// the semaphore removed under them; then the same with a disk that is full for a while.
//
// usage: log_soak [PROCESSES [LINES]]

#include <semaphore.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/statvfs.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "CLog.h"
#include "CMutex.h"
#include "Process.h"
#include "Scratch.h"
#include "Shared.h"
#include "common.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kLinesOfARound = 100;
constexpr int kLinesOfALongRun = 1000;
constexpr int kMostProcesses = 1024;
constexpr int kLongestLine = 4000;
constexpr const char* kDirectory = "/tmp/log";
const std::string kLog = std::string(kDirectory) + "/moxel.log";
const std::string kBackup = std::string(kDirectory) + "/moxel.bak";

struct Shared {
  sem_t room;              // counts the writers that may go on, since the disk has room again
  std::atomic<int> ended;  // writers that have written all
  std::atomic<int> written[kMostProcesses];
  std::atomic<long> longestMicroseconds;
};

// The text of a writer's line; a reader can tell whether it is whole.
std::string lineOf(int writer, int line) {
  std::minstd_rand random(static_cast<unsigned>(writer * 100003 + line));
  const int length = 1 + static_cast<int>(random() % kLongestLine);
  const char fill = static_cast<char>('a' + random() % 26);
  return format("%d,%d,%d,", writer, line, length) +
         std::string(static_cast<size_t>(length), fill) + ".";
}

void write(Shared& shared, int writer, int from, int to) {
  for (int line = from; line < to; ++line) {
    const std::string text = lineOf(writer, line);
    const auto begin = Clock::now();
    gLog.ilog("%s", text.c_str());
    const long took =
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin).count();
    long longest = shared.longestMicroseconds;
    while (took > longest && !shared.longestMicroseconds.compare_exchange_weak(longest, took)) {
    }
    shared.written[writer] = line + 1;
  }
}

// All that the writers have written.
int linesOf(const Shared& shared, int writers) {
  return std::accumulate(shared.written, shared.written + writers, 0);
}

// What the files hold: the numbers of each writer's lines in their order; pieces of lines, which
// killed writers leave; and what is neither.
struct Contents {
  std::map<int, std::vector<int>> lines;
  int pieces = 0;
  int mixed = 0;
};

// Reads one whole line; false when it is none.
bool readLine(Contents& contents, const std::string& line) {
  int year = 0, pid = 0, writer = -1, number = -1, textAt = 0;
  const int fields = sscanf(line.c_str(), "%4d/%*2d/%*2d %*2d:%*2d:%*2d %d %n%d,%d,", &year, &pid,
                            &textAt, &writer, &number);
  if (fields != 4 || line.substr(static_cast<size_t>(textAt)) != lineOf(writer, number))
    return false;
  contents.lines[writer].push_back(number);
  return true;
}

// Reads what stands up to one line feed: a line, which a piece may precede directly.
void readInto(Contents& contents, const std::string& path) {
  constexpr size_t kDateBytes = 10;
  const std::string bytes = readFile(path);
  for (size_t begin = 0, end = 0; begin < bytes.size(); begin = end + 1) {
    end = std::min(bytes.find('\n', begin), bytes.size());
    const std::string line = bytes.substr(begin, end - begin);
    if (end < bytes.size() && readLine(contents, line)) continue;
    ++contents.pieces;
    if (end == bytes.size()) continue;
    // The last date that stands in it begins the whole line.
    const size_t slash = line.rfind('/');
    const size_t whole = slash == std::string::npos || slash + 3 < kDateBytes
                             ? std::string::npos
                             : slash + 3 - kDateBytes;
    if (whole == std::string::npos || !readLine(contents, line.substr(whole))) {
      ++contents.mixed;
      fprintf(stderr, "mixed in %s: %.120s\n", path.c_str(), line.c_str());
    }
  }
}

bool lockIsFree() {
  CMutex mutex(kDirectory, 1, false);
  return mutex.init(0) && mutex.lock(false) && mutex.release();
}

bool complain(bool good, const char* what) {
  if (!good) fprintf(stderr, "log_soak: %s\n", what);
  return good;
}

bool removeSemaphore() {
  const int set = setOf(kDirectory);
  return set != -1 && semctl(set, 0, IPC_RMID) == 0;
}

// The processes that write.
class Writers {
 public:
  // Starts each with its number.
  Writers(Shared& shared, int count, const std::function<void(int)>& body)
      : m_shared(shared), m_killed(static_cast<size_t>(count)) {
    for (int writer = 0; writer < count; ++writer) {
      m_pids.push_back(startChild([&] {
        body(writer);
        ++m_shared.ended;
        return 0;
      }));
    }
  }

  // One that has ended meanwhile counts as ended.
  void killOne(int writer) {
    const auto at = static_cast<size_t>(writer);
    kill(m_pids[at], SIGKILL);
    m_killed[at] = exitCode(waitFor(m_pids[at])) == -1;
    m_pids[at] = 0;
  }

  int count() const { return static_cast<int>(m_pids.size()); }
  bool isGone(int writer) const { return m_pids[static_cast<size_t>(writer)] == 0; }
  bool isKilled(int writer) const { return m_killed[static_cast<size_t>(writer)]; }
  int killed() const {
    return static_cast<int>(std::count(m_killed.begin(), m_killed.end(), true));
  }
  bool allHaveEnded() const { return m_shared.ended + killed() == count(); }

  void collect() {
    for (pid_t& pid : m_pids) {
      if (pid != 0) waitFor(pid);
      pid = 0;
    }
  }

  // Where one is blocked for ever: kills what is left. False.
  bool giveUp() {
    for (const pid_t pid : m_pids) {
      if (pid > 0) kill(pid, SIGKILL);
    }
    return complain(false, "a writer is blocked for ever");
  }

 private:
  Shared& m_shared;
  std::vector<pid_t> m_pids;  // 0: collected
  std::vector<bool> m_killed;
};

// ---- Kills, rotation, removal of the semaphore -------------------------------------------------

// A third of the writers, and the line at which each is killed: at random, but not where it would
// be done before it is seen.
std::map<int, int> chooseVictims(int processes, int lines) {
  std::minstd_rand random(static_cast<unsigned>(getpid()));
  std::map<int, int> victims;
  for (int i = 0; i < processes / 3; ++i)
    victims[i * 3] = static_cast<int>(random() % static_cast<unsigned>(lines * 3 / 4 + 1));
  return victims;
}

void killVictims(Writers& writers, const Shared& shared, const std::map<int, int>& victims,
                 int lines) {
  for (const auto& [writer, line] : victims) {
    const int written = shared.written[writer];
    if (writers.isGone(writer) || written < line || written >= lines) continue;
    writers.killOne(writer);
  }
}

// Rotates a log that has grown; the files so far, since of older generations the log has only one.
void rotate(std::vector<std::string>& files) {
  gLog.init("log_soak");
  if (!std::filesystem::exists(kBackup)) return;
  files.push_back(format("%s/generation.%zu", kDirectory, files.size()));
  std::filesystem::rename(kBackup, files.back());
}

// What is wrong with the order and the number of the writers' lines.
struct Losses {
  size_t found = 0;
  int missing = 0;
  int disordered = 0;
  bool explained = true;  // a removal of the set costs each writer that waits for it one line
};

Losses countLosses(Contents& contents, const Writers& writers, const Shared& shared, int lines,
                   int removals) {
  Losses losses;
  for (int writer = 0; writer < writers.count(); ++writer) {
    const std::vector<int>& numbers = contents.lines[writer];
    losses.found += numbers.size();
    for (size_t i = 1; i < numbers.size(); ++i) losses.disordered += numbers[i] <= numbers[i - 1];
    const int whole = writers.isKilled(writer) ? shared.written[writer].load() : lines;
    const int lost = std::max(0, whole - static_cast<int>(numbers.size()));
    losses.missing += lost;
    losses.explained = losses.explained && lost <= removals;
  }
  return losses;
}

bool soak(int processes, int lines) {
  Shared& shared = *makeShared<Shared>();
  Writers writers(shared, processes, [&](int writer) { write(shared, writer, 0, lines); });
  const std::map<int, int> victims = chooseVictims(processes, lines);
  std::vector<std::string> files;
  int removals = 0;
  for (int round = 0; !writers.allHaveEnded(); ++round) {
    killVictims(writers, shared, victims, lines);
    if (round % 5 == 0 && removeSemaphore()) ++removals;
    rotate(files);
    const int next = linesOf(shared, processes) + kLinesOfARound;
    if (!eventually([&] { return linesOf(shared, processes) >= next || writers.allHaveEnded(); }))
      return writers.giveUp();
  }
  writers.collect();
  files.push_back(kLog);

  Contents contents;
  for (const std::string& file : files) readInto(contents, file);
  const Losses losses = countLosses(contents, writers, shared, lines, removals);
  const long longest = shared.longestMicroseconds / 1000;
  printf(
      "%d processes, %zu lines in %zu files, %d killed, %d removals of the semaphore: %d lost to "
      "these, %d out of order, %d mixed, %d pieces of killed writers, longest wait %ld ms\n",
      processes, losses.found, files.size(), writers.killed(), removals, losses.missing,
      losses.disordered, contents.mixed, contents.pieces, longest);
  // A short run may have nothing to rotate, and its writers may be too quick to be killed.
  const bool isShort = lines < kLinesOfALongRun;
  return complain(
             isShort || (writers.killed() == processes / 3 && removals > 0 && files.size() > 1),
             "too few were killed, or nothing was removed or rotated") &&
         complain(losses.explained, "a writer lost more lines than sets were removed") &&
         complain(
             losses.disordered == 0 && contents.mixed == 0 && contents.pieces <= writers.killed(),
             "lines are out of order or mixed, or there are pieces without a kill") &&
         complain(longest < 1000, "a writer was blocked for more than a second") &&
         complain(lockIsFree(), "the lock is taken");
}

// ---- A full disk -------------------------------------------------------------------------------

// Kills a third while the disk is full, and removes the semaphore under the others. False when one
// does not get as far.
bool killOnFullDisk(Writers& writers, const Shared& shared, int before) {
  std::minstd_rand random(static_cast<unsigned>(getpid()));
  for (int writer = 0; writer < writers.count(); writer += 3) {
    const int line = static_cast<int>(random() % static_cast<unsigned>(before));
    if (!eventually([&] { return shared.written[writer] >= line; })) return false;
    if (shared.written[writer] >= before) continue;
    writers.killOne(writer);
    removeSemaphore();
  }
  return true;
}

// Whether each writer that lives has written what it had to before the disk has room again.
bool allHaveFilled(const Writers& writers, const Shared& shared, int before) {
  for (int writer = 0; writer < writers.count(); ++writer) {
    if (!writers.isKilled(writer) && shared.written[writer] < before) return false;
  }
  return true;
}

bool fullDisk(int processes, int lines) {
  if (!mountEmpty(kDirectory, 0, "size=4m")) return false;
  Shared& shared = *makeShared<Shared>();
  // Room for a part of the lines only.
  const std::string ballast = std::string(kDirectory) + "/ballast";
  writeFile(ballast, std::string(3 << 20, 'x'));
  const int before = lines / 20;
  const int after = 5;
  sem_init(&shared.room, 1, 0);
  Writers writers(shared, processes, [&](int writer) {
    write(shared, writer, 0, before);
    sem_wait(&shared.room);
    write(shared, writer, before, before + after);
  });
  if (!killOnFullDisk(writers, shared, before)) return writers.giveUp();
  if (!eventually([&] { return allHaveFilled(writers, shared, before); })) return writers.giveUp();
  struct statvfs status = {};
  const bool isFull = statvfs(kDirectory, &status) == 0 && status.f_bavail < 2;
  // Rotated while there is no room.
  gLog.init("log_soak");
  const bool isRotated = std::filesystem::exists(kBackup);
  std::filesystem::remove(ballast);
  for (int writer = 0; writer < processes; ++writer) sem_post(&shared.room);
  if (!eventually([&] { return writers.allHaveEnded(); })) return writers.giveUp();
  writers.collect();

  Contents contents;
  if (isRotated) readInto(contents, kBackup);
  readInto(contents, kLog);
  int found = 0;
  int late = 0;
  bool ordered = true;
  for (const auto& [writer, numbers] : contents.lines) {
    found += static_cast<int>(numbers.size());
    ordered = ordered && std::is_sorted(numbers.begin(), numbers.end()) &&
              std::adjacent_find(numbers.begin(), numbers.end()) == numbers.end();
    late += static_cast<int>(
        std::count_if(numbers.begin(), numbers.end(), [&](int n) { return n >= before; }));
  }
  const int expected = (processes - writers.killed()) * after;
  const long longest = shared.longestMicroseconds / 1000;
  printf(
      "full disk: %d processes, %d killed, %d lines there from before it was full, %d of %d "
      "afterwards, %d mixed, %d pieces, longest wait %ld ms\n",
      processes, writers.killed(), found - late, late, expected, contents.mixed, contents.pieces,
      longest);
  return complain(isFull && isRotated, "the disk was never full, or the log not rotated then") &&
         complain(contents.mixed == 0 && contents.pieces <= writers.killed(),
                  "lines are mixed, or there are pieces without a kill") &&
         complain(ordered && late == expected, "lines are lost") &&
         complain(longest < 1000, "a writer was blocked for more than a second") &&
         complain(lockIsFree(), "the lock is taken");
}

}  // namespace

int main(int argc, char** argv) {
  // The log's path is read before main.
  if (getenv("MOXEL_LOG") == nullptr) {
    setenv("MOXEL_LOG", kLog.c_str(), 1);
    execv("/proc/self/exe", argv);
    return 1;
  }
  const int processes = argc > 1 ? atoi(argv[1]) : 64;
  const int lines = argc > 2 ? atoi(argv[2]) : 2000;
  if (processes < 3 || processes > kMostProcesses || lines < 100) {
    fprintf(stderr, "usage: log_soak [PROCESSES [LINES]]\n");
    return 2;
  }
  if (!enterPrivateNamespace() || !mountEmpty("/tmp", 0, "size=8g")) {
    fprintf(stderr, "log_soak: this machine does not permit the private mounts that it needs\n");
    return 1;
  }
  std::filesystem::create_directories(kDirectory);
  const bool good = soak(processes, lines);
  return fullDisk(processes, lines) && good ? 0 : 1;
}
