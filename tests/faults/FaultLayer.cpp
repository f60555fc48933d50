#include "FaultLayer.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/ipc.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>
#include <utime.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <string>
#include <string_view>
#include <vector>

#include "Memory.h"
#include "Shared.h"
#include "StatCalls.h"

namespace faults {
namespace {

enum Function {
#define FUNCTION(name, ...) k_##name,
#include "functions.def"
#undef FUNCTION
  kFunctions
};

// Shared with the children, who inherit what is armed.
struct Shared {
  std::atomic<int> calls[kFunctions];
  std::atomic<int> injected;
};

Shared* shared = makeShared<Shared>();
bool armed = false;
int target = kFunctions;
int targetError = 0;
int targetCall = 0;
Mode targetMode = Mode::kOnce;
char command[4096] = "";
char systemLine[4096] = "";

std::vector<Fault> makeFaults() {
  std::vector<Fault> faults;
#define FUNCTION(name, ...) \
  for (const int error : {__VA_ARGS__}) faults.push_back({#name, k_##name, error});
#include "functions.def"
#undef FUNCTION
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

void separate() { shared = makeShared<Shared>(); }

void count() {
  refusesMemory = [](size_t) { return strike(k_operator_new); };
  statFails = [] { return strike(k_stat); };
  fstatatFails = [] { return strike(k_fstatat); };
  for (auto& calls : shared->calls) calls = 0;
  target = kFunctions;
  armed = true;
}

void arm(size_t fault, int call, Mode mode) {
  count();
  shared->injected = 0;
  target = kFaults[fault].index;
  targetError = kFaults[fault].error;
  targetCall = call;
  targetMode = mode;
}

void disarm() { armed = false; }

Pause::Pause() : m_armed(armed) { armed = false; }

Pause::~Pause() { armed = m_armed; }

int calls(size_t fault) { return shared->calls[kFaults[fault].index]; }

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
#define WRAP(result, name, parameters, arguments, failure) \
  extern "C" result __real_##name parameters;              \
  extern "C" result __wrap_##name parameters {             \
    if (strike(k_##name)) return failure;                  \
    return __real_##name arguments;                        \
  }

// The same for a function that gives something back whatever it answers.
#define WRAP_RELEASE(result, name, parameters, arguments, failure) \
  extern "C" result __real_##name parameters;                      \
  extern "C" result __wrap_##name parameters {                     \
    const result real = __real_##name arguments;                   \
    return strike(k_##name) ? failure : real;                      \
  }

WRAP(int, access, (const char* path, int mode), (path, mode), -1)
WRAP(char*, bindtextdomain, (const char* domain, const char* dir), (domain, dir), nullptr)
WRAP(int, chmod, (const char* path, mode_t mode), (path, mode), -1)
WRAP(int, chown, (const char* path, uid_t uid, gid_t gid), (path, uid, gid), -1)
WRAP_RELEASE(int, close, (int number), (number), -1)
WRAP_RELEASE(int, closedir, (DIR * directory), (directory), -1)
WRAP(int, dup2, (int from, int to), (from, to), -1)
WRAP(int, execvp, (const char* file, char* const argv[]), (file, argv), -1)
WRAP_RELEASE(int, fclose, (FILE * file), (file), EOF)
WRAP(char*, fgets, (char* line, int size, FILE* file), (line, size, file), nullptr)
WRAP(int, fnmatch, (const char* pattern, const char* name, int flags), (pattern, name, flags), -1)
WRAP(FILE*, fopen, (const char* path, const char* mode), (path, mode), nullptr)
WRAP(pid_t, fork, (), (), -1)
WRAP(key_t, ftok, (const char* path, int project), (path, project), -1)
WRAP(int, ftruncate, (int number, off_t length), (number, length), -1)
WRAP(char*, getcwd, (char* buffer, size_t size), (buffer, size), nullptr)
WRAP(int, getrlimit, (__rlimit_resource_t resource, struct rlimit* limit), (resource, limit), -1)
WRAP(int, gettimeofday, (timeval * now, void* zone), (now, zone), -1)
WRAP(tm*, localtime, (const time_t* t), (t), nullptr)
WRAP(off_t, lseek, (int number, off_t offset, int whence), (number, offset, whence), -1)
WRAP(int, mkdir, (const char* path, mode_t mode), (path, mode), -1)
WRAP(int, mkstemp, (char* name), (name), -1)
WRAP(DIR*, opendir, (const char* path), (path), nullptr)
WRAP_RELEASE(int, pclose, (FILE * file), (file), -1)
WRAP(int, pipe, (int ends[2]), (ends), -1)
WRAP(int, puts, (const char* line), (line), EOF)
WRAP(ssize_t, read, (int number, void* bytes, size_t count), (number, bytes, count), -1)
WRAP(dirent*, readdir, (DIR * directory), (directory), nullptr)
WRAP(int, rename, (const char* from, const char* to), (from, to), -1)
WRAP(int, rmdir, (const char* path), (path), -1)
WRAP(int, semget, (key_t key, int count, int flags), (key, count, flags), -1)
WRAP(char*, setlocale, (int category, const char* locale), (category, locale), nullptr)
WRAP(sighandler_t, signal, (int number, sighandler_t handler), (number, handler), SIG_ERR)
// An interrupted wait: all of it is left.
WRAP(unsigned, sleep, (unsigned seconds), (seconds), seconds)
WRAP(char*, textdomain, (const char* domain), (domain), nullptr)
WRAP(time_t, time, (time_t* seconds), (seconds), -1)
WRAP(int, truncate, (const char* path, off_t length), (path, length), -1)
WRAP(int, unlink, (const char* path), (path), -1)
WRAP(int, utime, (const char* path, const struct utimbuf* times), (path, times), -1)
WRAP(int, vprintf, (const char* fmt, va_list args), (fmt, args), -1)
WRAP(int, vsnprintf, (char* text, size_t size, const char* fmt, va_list args),
     (text, size, fmt, args), -1)
WRAP(ssize_t, write, (int number, const void* bytes, size_t count), (number, bytes, count), -1)
// A text that is not translated: the catalogue is gone.
WRAP(char*, gettext, (const char* text), (text), const_cast<char*>(text))

extern "C" int __real_open(const char* path, int flags, ...);
extern "C" int __wrap_open(const char* path, int flags, ...) {
  va_list args;
  va_start(args, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
  va_end(args);
  return strike(k_open) ? -1 : __real_open(path, flags, mode);
}

// A logger that is not there takes nothing and reports nothing.
WRAP(void, openlog, (const char* ident, int options, int facility), (ident, options, facility),
     void())

extern "C" void __wrap_syslog(int /*priority*/, const char* fmt, ...) {
  if (strike(k_syslog)) return;
  va_list args;
  va_start(args, fmt);
  __real_vsnprintf(systemLine, sizeof systemLine, fmt, args);
  va_end(args);
}

extern "C" int __wrap_fprintf(FILE* file, const char* fmt, ...) {
  if (strike(k_fprintf)) return -1;
  va_list args;
  va_start(args, fmt);
  const int length = vfprintf(file, fmt, args);
  va_end(args);
  return length;
}

// Writes nothing: the caller's buffer stays as it is.
extern "C" int __wrap_snprintf(char* text, size_t size, const char* fmt, ...) {
  if (strike(k_snprintf)) return -1;
  va_list args;
  va_start(args, fmt);
  const int length = __real_vsnprintf(text, size, fmt, args);
  va_end(args);
  return length;
}

extern "C" int __wrap_printf(const char* fmt, ...) {
  if (strike(k_printf)) return -1;
  va_list args;
  va_start(args, fmt);
  const int length = vfprintf(stdout, fmt, args);
  va_end(args);
  return length;
}

extern "C" FILE* __real_popen(const char* line, const char* mode);
extern "C" FILE* __wrap_popen(const char* line, const char* mode) {
  command[std::string_view(line).copy(command, sizeof command - 1)] = '\0';
  return strike(k_popen) ? nullptr : __real_popen(line, mode);
}

// A set that is gone: somebody has removed it.
extern "C" int __real_semctl(int id, int number, int command, ...);
extern "C" int __wrap_semctl(int id, int number, int command, ...) {
  va_list args;
  va_start(args, command);
  void* argument = va_arg(args, void*);
  va_end(args);
  if (!strike(k_semctl)) return __real_semctl(id, number, command, argument);
  __real_semctl(id, 0, IPC_RMID);
  errno = EIDRM;
  return -1;
}

extern "C" int __real_semop(int id, sembuf* operations, size_t count);
extern "C" int __wrap_semop(int id, sembuf* operations, size_t count) {
  // Giving back never waits and needs nothing; it fails only where the set is gone.
  const bool goneOnly =
      operations->sem_op > 0 && target == k_semop && targetError != EIDRM && targetError != EINVAL;
  if (goneOnly || !strike(k_semop)) return __real_semop(id, operations, count);
  if (targetError == EIDRM || targetError == EINVAL) __real_semctl(id, 0, IPC_RMID);
  errno = targetError;
  return -1;
}

// Whose caller ignores SIGCHLD waits for the child's end and gets no status.
extern "C" pid_t __real_waitpid(pid_t pid, int* status, int options);
extern "C" pid_t __wrap_waitpid(pid_t pid, int* status, int options) {
  if (!strike(k_waitpid)) return __real_waitpid(pid, status, options);
  int lost = 0;
  if (targetError == ECHILD) __real_waitpid(pid, &lost, options);
  errno = targetError;
  return -1;
}
