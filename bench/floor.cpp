#include "floor.h"

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "Bench.h"

namespace bench {

namespace {

std::string logDirectory() { return std::filesystem::path(logPath()).parent_path(); }

}  // namespace

std::string logPath() {
  static const std::string path = std::getenv("MOXEL_LOG");
  return path;
}

void emptyLog() { std::ofstream(logPath(), std::ios::trunc); }

std::string logLine(const std::string& text) { return "2026/11/21 12:00:00 12345 " + text + "\n"; }

LogLock::LogLock() {
  static const std::string directory = logDirectory();
  struct stat status = {};
  stat(directory.c_str(), &status);
  const key_t key = ftok(directory.c_str(), 'S');
  m_set = semget(key, 1, IPC_CREAT | IPC_EXCL | 0600);
  if (m_set != -1) {
    semctl(m_set, 0, SETVAL, 1);
  } else {
    m_set = semget(key, 1, 0);
  }
  sembuf take = {0, -1, SEM_UNDO};
  semop(m_set, &take, 1);
}

LogLock::~LogLock() {
  sembuf give = {0, 1, SEM_UNDO};
  semop(m_set, &give, 1);
}

void writeLine(const std::string& line) {
  static const std::string path = logPath();
  const LogLock lock;
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  const time_t now = time(nullptr);
  keep(localtime(&now));
  keep(getpid());
  keep(write(file, line.data(), line.size()));
  close(file);
}

int runCommand(const char* command) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    dup2(ends[1], 1);
    close(ends[1]);
    close(2);
    execl("/bin/sh", "/bin/sh", "-c", command, nullptr);
    _exit(1);
  }
  close(ends[1]);
  char buffer[64 << 10];
  while (read(ends[0], buffer, sizeof buffer) > 0) {
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return status;
}

}  // namespace bench
