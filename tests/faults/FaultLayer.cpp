#include "FaultLayer.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <libintl.h>
#include <locale.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>
#include <utime.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace faults {
namespace {

// Every function once, in the order of their first rows in kFaults.
enum Function {
  kAccess,
  kAllocation,
  kBindtextdomain,
  kChmod,
  kChown,
  kClose,
  kClosedir,
  kDup2,
  kExecvp,
  kFclose,
  kFgets,
  kFnmatch,
  kFopen,
  kFork,
  kFprintf,
  kFstatat,
  kFtok,
  kFtruncate,
  kGetcwd,
  kGetrlimit,
  kGettext,
  kGettimeofday,
  kLocaltime,
  kLseek,
  kMkdir,
  kMkstemp,
  kOpen,
  kOpendir,
  kOpenlog,
  kPclose,
  kPipe,
  kPopen,
  kPrintf,
  kPuts,
  kRead,
  kReaddir,
  kRename,
  kRmdir,
  kSemctl,
  kSemget,
  kSemop,
  kSetlocale,
  kSignal,
  kSleep,
  kSnprintf,
  kStat,
  kSyslog,
  kTextdomain,
  kTime,
  kTruncate,
  kUnlink,
  kUtime,
  kVprintf,
  kVsnprintf,
  kWaitpid,
  kWrite,
  kFunctions
};

// Shared with the children, who inherit what is armed.
struct Shared {
  std::atomic<int> calls[kFunctions];
  std::atomic<int> injected;
};

Shared* makeShared() {
  return new (mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1,
                   0)) Shared{};
}
Shared* shared = makeShared();
bool armed = false;
int target = kFunctions;
int targetError = 0;
int targetCall = 0;
Mode targetMode = Mode::kOnce;
char command[4096] = "";
char systemLine[4096] = "";

struct Row {
  const char* name;
  Function function;
  int error;
};

constexpr Row kRows[] = {
    {"access", kAccess, EACCES},
    {"operator new", kAllocation, ENOMEM},
    {"bindtextdomain", kBindtextdomain, ENOMEM},
    {"chmod", kChmod, EPERM},
    {"chown", kChown, EPERM},
    {"close", kClose, EIO},
    {"closedir", kClosedir, EBADF},
    {"dup2", kDup2, EBUSY},
    {"execvp", kExecvp, ENOENT},
    {"fclose", kFclose, ENOSPC},
    {"fgets", kFgets, EIO},
    {"fnmatch", kFnmatch, ENOMEM},
    {"fopen", kFopen, EMFILE},
    {"fork", kFork, EAGAIN},
    {"fprintf", kFprintf, ENOSPC},
    {"fstatat", kFstatat, EACCES},
    {"ftok", kFtok, ENOENT},
    {"ftruncate", kFtruncate, EIO},
    {"getcwd", kGetcwd, ENOENT},
    {"getrlimit", kGetrlimit, EPERM},
    {"gettext", kGettext, 0},
    {"gettimeofday", kGettimeofday, EPERM},
    {"localtime", kLocaltime, EOVERFLOW},
    {"lseek", kLseek, ESPIPE},
    {"mkdir", kMkdir, ENOSPC},
    {"mkstemp", kMkstemp, EMFILE},
    {"open", kOpen, EMFILE},
    {"opendir", kOpendir, EMFILE},
    {"openlog", kOpenlog, ECONNREFUSED},
    {"pclose", kPclose, ECHILD},
    {"pipe", kPipe, EMFILE},
    {"popen", kPopen, ENOMEM},
    {"printf", kPrintf, EIO},
    {"puts", kPuts, ENOSPC},
    {"read", kRead, EINTR},
    {"read", kRead, EIO},
    {"readdir", kReaddir, EIO},
    {"rename", kRename, EXDEV},
    {"rmdir", kRmdir, EBUSY},
    {"semctl", kSemctl, EIDRM},
    {"semget", kSemget, ENOSPC},
    {"semget", kSemget, ENOENT},
    {"semget", kSemget, EIDRM},
    {"semget", kSemget, EINVAL},
    {"semop", kSemop, EINTR},
    {"semop", kSemop, EIDRM},
    {"semop", kSemop, EINVAL},
    {"semop", kSemop, ENOSPC},
    {"setlocale", kSetlocale, ENOENT},
    {"signal", kSignal, EINVAL},
    {"sleep", kSleep, EINTR},
    {"snprintf", kSnprintf, EOVERFLOW},
    {"stat", kStat, EACCES},
    {"syslog", kSyslog, ECONNREFUSED},
    {"textdomain", kTextdomain, ENOMEM},
    {"time", kTime, EPERM},
    {"truncate", kTruncate, EIO},
    {"unlink", kUnlink, EPERM},
    {"utime", kUtime, EPERM},
    {"vprintf", kVprintf, EIO},
    {"vsnprintf", kVsnprintf, EOVERFLOW},
    {"waitpid", kWaitpid, EINTR},
    {"waitpid", kWaitpid, ECHILD},
    {"write", kWrite, EINTR},
    {"write", kWrite, ENOSPC},
};

std::vector<Fault> makeFaults() {
  std::vector<Fault> faults;
  for (const Row& row : kRows) faults.push_back({row.name, row.error});
  return faults;
}

// Counts a call; true when it has to fail, with errno set.
bool strike(Function function) {
  if (!armed) return false;
  const int call = ++shared->calls[function];
  if (function != target) return false;
  const bool hit = targetMode == Mode::kOnce ? call == targetCall : call >= targetCall;
  // A call that is interrupted for ever is none that anything could go on after.
  if (targetError == EINTR && call >= targetCall + 100) return false;
  if (!hit) return false;
  ++shared->injected;
  errno = targetError;
  return true;
}

}  // namespace

const std::vector<Fault> kFaults = makeFaults();

void separate() { shared = makeShared(); }

void count() {
  for (auto& calls : shared->calls) calls = 0;
  target = kFunctions;
  armed = true;
}

void arm(size_t fault, int call, Mode mode) {
  count();
  shared->injected = 0;
  target = kRows[fault].function;
  targetError = kRows[fault].error;
  targetCall = call;
  targetMode = mode;
}

void disarm() { armed = false; }

Pause::Pause() : m_armed(armed) { armed = false; }

Pause::~Pause() { armed = m_armed; }

int calls(size_t fault) { return shared->calls[kRows[fault].function]; }

int injected() { return shared->injected; }

namespace {
std::string take(char* text) {
  std::string taken = text;
  *text = '\0';
  return taken;
}
}  // namespace

std::string takeCommand() { return take(command); }
std::string takeSystemLine() { return take(systemLine); }

}  // namespace faults

// ---- The wrapped functions ---------------------------------------------------------------------

using namespace faults;

// Defines the wrapper of a function: __wrap_NAME fails or calls __real_NAME.
#define WRAP(result, name, parameters, arguments, function, failure) \
  extern "C" result __real_##name parameters;                        \
  extern "C" result __wrap_##name parameters {                       \
    if (strike(function)) return failure;                            \
    return __real_##name arguments;                                  \
  }

// The same for a function that gives something back whatever it answers.
#define WRAP_RELEASE(result, name, parameters, arguments, function, failure) \
  extern "C" result __real_##name parameters;                                \
  extern "C" result __wrap_##name parameters {                               \
    const result real = __real_##name arguments;                             \
    return strike(function) ? failure : real;                                \
  }

WRAP(int, access, (const char* path, int mode), (path, mode), kAccess, -1)
WRAP(char*, bindtextdomain, (const char* domain, const char* dir), (domain, dir), kBindtextdomain,
     nullptr)
WRAP(int, chmod, (const char* path, mode_t mode), (path, mode), kChmod, -1)
WRAP(int, chown, (const char* path, uid_t uid, gid_t gid), (path, uid, gid), kChown, -1)
WRAP_RELEASE(int, close, (int number), (number), kClose, -1)
WRAP_RELEASE(int, closedir, (DIR * directory), (directory), kClosedir, -1)
WRAP(int, dup2, (int from, int to), (from, to), kDup2, -1)
WRAP(int, execvp, (const char* file, char* const argv[]), (file, argv), kExecvp, -1)
WRAP_RELEASE(int, fclose, (FILE * file), (file), kFclose, EOF)
WRAP(char*, fgets, (char* line, int size, FILE* file), (line, size, file), kFgets, nullptr)
WRAP(int, fnmatch, (const char* pattern, const char* name, int flags), (pattern, name, flags),
     kFnmatch, -1)
WRAP(FILE*, fopen, (const char* path, const char* mode), (path, mode), kFopen, nullptr)
WRAP(pid_t, fork, (), (), kFork, -1)
WRAP(int, fstatat, (int number, const char* path, struct stat* status, int flags),
     (number, path, status, flags), kFstatat, -1)
WRAP(key_t, ftok, (const char* path, int project), (path, project), kFtok, -1)
WRAP(int, ftruncate, (int number, off_t length), (number, length), kFtruncate, -1)
WRAP(char*, getcwd, (char* buffer, size_t size), (buffer, size), kGetcwd, nullptr)
WRAP(int, getrlimit, (__rlimit_resource_t resource, struct rlimit* limit), (resource, limit),
     kGetrlimit, -1)
WRAP(int, gettimeofday, (timeval * now, void* zone), (now, zone), kGettimeofday, -1)
WRAP(tm*, localtime, (const time_t* t), (t), kLocaltime, nullptr)
WRAP(off_t, lseek, (int number, off_t offset, int whence), (number, offset, whence), kLseek, -1)
WRAP(int, mkdir, (const char* path, mode_t mode), (path, mode), kMkdir, -1)
WRAP(int, mkstemp, (char* name), (name), kMkstemp, -1)
WRAP(DIR*, opendir, (const char* path), (path), kOpendir, nullptr)
WRAP_RELEASE(int, pclose, (FILE * file), (file), kPclose, -1)
WRAP(int, pipe, (int ends[2]), (ends), kPipe, -1)
WRAP(int, puts, (const char* line), (line), kPuts, EOF)
WRAP(ssize_t, read, (int number, void* bytes, size_t count), (number, bytes, count), kRead, -1)
WRAP(dirent*, readdir, (DIR * directory), (directory), kReaddir, nullptr)
WRAP(int, rename, (const char* from, const char* to), (from, to), kRename, -1)
WRAP(int, rmdir, (const char* path), (path), kRmdir, -1)
WRAP(int, semget, (key_t key, int count, int flags), (key, count, flags), kSemget, -1)
WRAP(char*, setlocale, (int category, const char* locale), (category, locale), kSetlocale, nullptr)
WRAP(sighandler_t, signal, (int number, sighandler_t handler), (number, handler), kSignal, SIG_ERR)
// An interrupted wait: all of it is left.
WRAP(unsigned, sleep, (unsigned seconds), (seconds), kSleep, seconds)
WRAP(int, stat, (const char* path, struct stat* status), (path, status), kStat, -1)
WRAP(char*, textdomain, (const char* domain), (domain), kTextdomain, nullptr)
WRAP(time_t, time, (time_t* seconds), (seconds), kTime, -1)
WRAP(int, truncate, (const char* path, off_t length), (path, length), kTruncate, -1)
WRAP(int, unlink, (const char* path), (path), kUnlink, -1)
WRAP(int, utime, (const char* path, const struct utimbuf* times), (path, times), kUtime, -1)
WRAP(int, vprintf, (const char* fmt, va_list args), (fmt, args), kVprintf, -1)
WRAP(int, vsnprintf, (char* text, size_t size, const char* fmt, va_list args),
     (text, size, fmt, args), kVsnprintf, -1)
WRAP(ssize_t, write, (int number, const void* bytes, size_t count), (number, bytes, count), kWrite,
     -1)
// A text that is not translated: the catalogue is gone.
WRAP(char*, gettext, (const char* text), (text), kGettext, const_cast<char*>(text))

extern "C" int __real_open(const char* path, int flags, ...);
extern "C" int __wrap_open(const char* path, int flags, ...) {
  va_list args;
  va_start(args, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
  va_end(args);
  return strike(kOpen) ? -1 : __real_open(path, flags, mode);
}

// A logger that is not there takes nothing and reports nothing.
WRAP(void, openlog, (const char* ident, int options, int facility), (ident, options, facility),
     kOpenlog, void())

extern "C" void __wrap_syslog(int /*priority*/, const char* fmt, ...) {
  if (strike(kSyslog)) return;
  va_list args;
  va_start(args, fmt);
  __real_vsnprintf(systemLine, sizeof systemLine, fmt, args);
  va_end(args);
}

extern "C" int __wrap_fprintf(FILE* file, const char* fmt, ...) {
  if (strike(kFprintf)) return -1;
  va_list args;
  va_start(args, fmt);
  const int length = vfprintf(file, fmt, args);
  va_end(args);
  return length;
}

// Writes nothing: the caller's buffer stays as it is.
extern "C" int __wrap_snprintf(char* text, size_t size, const char* fmt, ...) {
  if (strike(kSnprintf)) return -1;
  va_list args;
  va_start(args, fmt);
  const int length = __real_vsnprintf(text, size, fmt, args);
  va_end(args);
  return length;
}

extern "C" int __wrap_printf(const char* fmt, ...) {
  if (strike(kPrintf)) return -1;
  va_list args;
  va_start(args, fmt);
  const int length = vfprintf(stdout, fmt, args);
  va_end(args);
  return length;
}

extern "C" FILE* __real_popen(const char* line, const char* mode);
extern "C" FILE* __wrap_popen(const char* line, const char* mode) {
  command[std::string_view(line).copy(command, sizeof command - 1)] = '\0';
  return strike(kPopen) ? nullptr : __real_popen(line, mode);
}

// A set that is gone: somebody has removed it.
extern "C" int __real_semctl(int id, int number, int command, ...);
extern "C" int __wrap_semctl(int id, int number, int command, ...) {
  va_list args;
  va_start(args, command);
  void* argument = va_arg(args, void*);
  va_end(args);
  if (!strike(kSemctl)) return __real_semctl(id, number, command, argument);
  __real_semctl(id, 0, IPC_RMID);
  errno = EIDRM;
  return -1;
}

extern "C" int __real_semop(int id, sembuf* operations, size_t count);
extern "C" int __wrap_semop(int id, sembuf* operations, size_t count) {
  // Giving back never waits and needs nothing; it fails only where the set is gone.
  const bool goneOnly =
      operations->sem_op > 0 && target == kSemop && targetError != EIDRM && targetError != EINVAL;
  if (goneOnly || !strike(kSemop)) return __real_semop(id, operations, count);
  if (targetError == EIDRM || targetError == EINVAL) __real_semctl(id, 0, IPC_RMID);
  errno = targetError;
  return -1;
}

// Whose caller ignores SIGCHLD waits for the child's end and gets no status.
extern "C" pid_t __real_waitpid(pid_t pid, int* status, int options);
extern "C" pid_t __wrap_waitpid(pid_t pid, int* status, int options) {
  if (!strike(kWaitpid)) return __real_waitpid(pid, status, options);
  int lost = 0;
  if (targetError == ECHILD) __real_waitpid(pid, &lost, options);
  errno = targetError;
  return -1;
}

void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return strike(kAllocation) ? nullptr : malloc(size == 0 ? 1 : size);
}

void* operator new(size_t size) {
  void* memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { free(memory); }
void operator delete(void* memory, size_t /*size*/) noexcept { free(memory); }
