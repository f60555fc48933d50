#include "Process.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#if defined(MOXEL_COVERAGE)
extern "C" void __gcov_dump();
#endif

namespace {

constexpr unsigned kNobody = 65534;
constexpr int kCannotTrace = 120;

bool writeText(const char* path, const std::string& text) {
  const int file = open(path, O_WRONLY);
  if (file == -1) return false;
  const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  close(file);
  return written;
}

// The rest of a child's life. An exception would go on to the test's caller, and the child with it
// to the next test.
[[noreturn]] void runAndEnd(const std::function<int()>& body) noexcept {
  const int code = body();
#if defined(MOXEL_COVERAGE)
  __gcov_dump();
#endif
  _exit(code);
}

// Of the test so far.
int failures() {
  const testing::TestResult& result =
      *testing::UnitTest::GetInstance()->current_test_info()->result();
  int count = 0;
  for (int part = 0; part < result.total_part_count(); ++part) {
    if (result.GetTestPartResult(part).failed()) ++count;
  }
  return count;
}

}  // namespace

pid_t startChild(const std::function<int()>& body) {
  // What is printed so far is the parent's.
  fflush(stdout);
  const pid_t child = fork();
  if (child == 0) runAndEnd(body);
  return child;
}

int waitFor(pid_t child) {
  int status = -1;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  return status;
}

int inChild(const std::function<int()>& body) { return waitFor(startChild(body)); }

pid_t startExpecting(const std::function<void()>& body) {
  return startChild([&] {
    const int before = failures();
    body();
    return failures() == before ? 0 : 1;
  });
}

void expectInChild(const std::function<void()>& body) {
  const int status = waitFor(startExpecting(body));
  if (WIFSIGNALED(status)) FAIL() << "the child: " << strsignal(WTERMSIG(status));
  ASSERT_EQ(exitCode(status), 0) << "the child has failed";
}

int exitCode(int waitStatus) { return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : -1; }

void dropPrivileges() {
  if (geteuid() != 0) return;
  if (setresgid(kNobody, kNobody, kNobody) != 0) abort();
  if (setresuid(kNobody, kNobody, kNobody) != 0) abort();
}

int traceSystemCalls(const std::function<int()>& body, const std::function<void(long)>& onCall) {
  const pid_t child = fork();
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(kCannotTrace);
    raise(SIGSTOP);
    // An exception ends the process, as it does in other children.
    _exit([&]() noexcept { return body(); }());
  }
  int status = waitFor(child);
  ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  for (bool entered = false; WIFSTOPPED(status); status = waitFor(child)) {
    // A stop at a system call, before or behind it; any other is for a signal, which goes on.
    const bool atCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
    if (atCall) {
      __ptrace_syscall_info info = {};
      ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
      entered = !entered;
      if (entered) onCall(static_cast<long>(info.entry.nr));
    }
    const long signal = atCall || WSTOPSIG(status) == SIGSTOP ? 0 : WSTOPSIG(status);
    ptrace(PTRACE_SYSCALL, child, nullptr, signal);
  }
  return status;
}

bool enterPrivateNamespace() {
  const uid_t uid = geteuid();
  const gid_t gid = getegid();
  if (unshare(CLONE_NEWNS | CLONE_NEWIPC | (uid == 0 ? 0 : CLONE_NEWUSER)) != 0) return false;
  if (uid != 0) {
    writeText("/proc/self/setgroups", "deny");
    if (!writeText("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1")) return false;
    if (!writeText("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1")) return false;
  }
  return mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool mountEmpty(const std::string& directory, unsigned long flags, const std::string& options) {
  return mount("tmpfs", directory.c_str(), "tmpfs", flags, options.c_str()) == 0;
}

bool noteShellCommands(const std::string& file) {
  const std::string shell = file + ".sh";
  std::ofstream(shell) << "#!/bin/bash\nprintf '%s' \"${@: -1}\" >" << file << "\n";
  return chmod(shell.c_str(), 0755) == 0 &&
         mount(shell.c_str(), "/bin/sh", "none", MS_BIND, nullptr) == 0;
}

std::vector<int> openDescriptors() {
  std::vector<int> numbers;
  DIR* directory = opendir("/proc/self/fd");
  while (const dirent* entry = readdir(directory)) {
    const int number = atoi(entry->d_name);
    if (entry->d_name[0] != '.' && number != dirfd(directory)) numbers.push_back(number);
  }
  closedir(directory);
  return numbers;
}

bool hasChildren() { return waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD; }

bool eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

int setOf(const std::string& path) { return semget(ftok(path.c_str(), 'S'), 1, 0); }

int waitersFor(const std::string& path) {
  const int set = setOf(path);
  return set == -1 ? 0 : semctl(set, 0, GETNCNT);
}

// The older calls of each pair are missing on some processors.
const std::vector<int> kForkCalls = {
#if defined(SYS_fork)
    SYS_fork, SYS_vfork,
#endif
    SYS_clone, SYS_clone3};
const std::vector<int> kMkdirCalls = {
#if defined(SYS_mkdir)
    SYS_mkdir,
#endif
    SYS_mkdirat};
const std::vector<int> kRenameCalls = {
#if defined(SYS_rename)
    SYS_rename, SYS_renameat,
#endif
    SYS_renameat2};
const std::vector<int> kSemgetCalls = {SYS_semget};
const std::vector<int> kUnlinkCalls = {
#if defined(SYS_unlink)
    SYS_unlink,
#endif
    SYS_unlinkat};

void denySystemCalls(const std::vector<int>& numbers, int error) {
  std::vector<sock_filter> program = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
  for (const int number : numbers) {
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(number), 0, 1));
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)));
  }
  program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) abort();
  if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) abort();
}

void leaveDescriptors(int count) {
  // The lowest numbers are given out first, so fill the gaps and set the limit above them.
  const std::vector<int> open = openDescriptors();
  const int highest = *std::max_element(open.begin(), open.end());
  while (dup(STDERR_FILENO) < highest) {
  }
  const std::vector<int> filled = openDescriptors();
  const int last = *std::max_element(filled.begin(), filled.end());
  const rlimit limit = {static_cast<rlim_t>(last + 1 + count),
                        static_cast<rlim_t>(last + 1 + count)};
  if (setrlimit(RLIMIT_NOFILE, &limit) != 0) abort();
}
