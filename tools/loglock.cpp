// The command loglock: shows, makes and removes the semaphore by which the set's tools take turns
// in the log.

#include <getopt.h>
#include <pwd.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "CLog.h"
#include "CMutex.h"
#include "Tool.h"

namespace {

constexpr Tool kTool = {
    "loglock",
    "usage: loglock [--make | --free [--force]]\n"
    "Shows the semaphore by which the tools take turns in the log (that of MOXEL_LOG, if set), "
    "and\n"
    "says in its last line what is wrong with it.\n"
    "  --make     make it, free, if there is none\n"
    "  --free     remove it, unless a living process holds it\n"
    "  --force    remove it all the same\n"
    "  -h, --help, --version\n"
    "Exit status: 0: there is none, or it is free or held by a living process; 1: nobody holds it\n"
    "and it is taken, or it belongs to a stranger, or something failed; 2: wrong use.\n"};

union SemaphoreArgument {
  int value;
  semid_ds* status;
  unsigned short* values;
};

struct State {
  int id = -1;  // -1: there is no set
  ipc_perm owner = {};
  int value = 0;
  pid_t lastUser = 0;
  int waiting = 0;
};

// Whether the state could be read; if not, errno has the reason.
bool read(key_t key, State& state) {
  state.id = semget(key, 1, 0);
  if (state.id == -1) return errno == ENOENT;
  semid_ds status = {};
  SemaphoreArgument argument = {};
  argument.status = &status;
  if (semctl(state.id, 0, IPC_STAT, argument) == -1) return false;
  state.owner = status.sem_perm;
  state.value = semctl(state.id, 0, GETVAL);
  state.lastUser = semctl(state.id, 0, GETPID);
  state.waiting = semctl(state.id, 0, GETNCNT);
  return state.value != -1 && state.lastUser != -1 && state.waiting != -1;
}

bool isLiving(pid_t process) { return process > 0 && (kill(process, 0) == 0 || errno == EPERM); }

// A process that dies with the lock gives it back. The lock is taken without a holder if the
// process that made it died before setting it free.
bool isHeld(const State& state) { return state.value == 0 && isLiving(state.lastUser); }

bool isStranger(uid_t user) { return user != 0 && user != geteuid(); }

std::string nameOf(uid_t user) {
  const passwd* entry = getpwuid(user);
  return (entry == nullptr ? "" : std::string(entry->pw_name) + " ") + "(" + std::to_string(user) +
         ")";
}

// Shows the state. Returns the exit status.
int show(const std::string& directory, key_t key, const State& state) {
  std::printf("log file    %s\n", gLog.path().c_str());
  std::printf("directory   %s\n", directory.c_str());
  std::printf("key         0x%08x\n", static_cast<unsigned>(key));
  if (state.id == -1) {
    std::printf("There is no semaphore yet; it will belong to whoever logs first.\n");
    return EXIT_SUCCESS;
  }
  const std::string process = std::to_string(state.lastUser);
  std::printf("owner       %s\n", nameOf(state.owner.uid).c_str());
  std::printf("value       %d\n", state.value);
  std::printf("last used   %s\n",
              state.lastUser == 0
                  ? "by no process that is known"
                  : ("by process " + process + (isLiving(state.lastUser) ? "" : ", which is gone"))
                        .c_str());
  std::printf("waiting     %d\n", state.waiting);

  // Its creator keeps an owner's rights even after giving it away.
  for (const uid_t user : {state.owner.uid, state.owner.cuid}) {
    if (!isStranger(user)) continue;
    std::printf("It belongs to %s: loglock --free --force, then loglock --make.\n",
                nameOf(user).c_str());
    return kExitFailure;
  }
  if (state.value > 0) {
    std::printf("It is free.\n");
  } else if (isHeld(state)) {
    std::printf("It is held by process %s.\n", process.c_str());
  } else {
    std::printf("It is taken, and nobody holds it: loglock --free, then loglock --make.\n");
    return kExitFailure;
  }
  return EXIT_SUCCESS;
}

int remove(const State& state, bool force) {
  if (state.id == -1) {
    std::printf("There is no semaphore.\n");
    return EXIT_SUCCESS;
  }
  if (isHeld(state) && !force) {
    std::fprintf(stderr, "%s: process %d holds it; --force removes it all the same\n", kTool.name,
                 static_cast<int>(state.lastUser));
    return kExitFailure;
  }
  if (semctl(state.id, 0, IPC_RMID) == -1) return kTool.failed("semaphore", errno);
  std::printf("It is removed.\n");
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  enum { kMake = 'm', kFree = 'f', kForce = 'F' };
  const option longOptions[] = {
      {"help", no_argument, nullptr, kHelp},   {"version", no_argument, nullptr, kVersion},
      {"make", no_argument, nullptr, kMake},   {"free", no_argument, nullptr, kFree},
      {"force", no_argument, nullptr, kForce}, {}};
  bool making = false;
  bool freeing = false;
  bool force = false;
  for (int found = 0; (found = getopt_long(argc, argv, "+h", longOptions, nullptr)) != -1;) {
    switch (found) {
      case kMake:
        making = true;
        break;
      case kFree:
        freeing = true;
        break;
      case kForce:
        force = true;
        break;
      default:
        return kTool.common(found);
    }
  }
  if (optind < argc) return kTool.misused("unknown argument", argv[optind]);
  if (making && freeing) return kTool.misused("not with --free", "--make");
  if (force && !freeing) return kTool.misused("only with --free", "--force");

  const std::string directory = gLog.getLockResource();
  const key_t key = ftok(directory.c_str(), CMutex::kProject);
  if (key == -1) return kTool.failed(directory.c_str(), errno);
  if (making && !CMutex(directory.c_str(), 1, false).init(0)) {
    return kTool.failed("semaphore", errno);
  }
  State state;
  if (!read(key, state)) return kTool.failed("semaphore", errno);
  return kTool.finish(freeing ? remove(state, force) : show(directory, key, state));
}
