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
    "usage: loglock [--free [--force]] [--make]\n"
    "Shows the semaphore by which the tools take turns in the log (that of MOXEL_LOG, if set), "
    "and\n"
    "says in its last line what is wrong with it.\n"
    "  --make     make it, free, if there is none\n"
    "  --free     remove it, unless a living process holds it\n"
    "  --force    remove it all the same\n"
    "  -h, --help, --version\n"
    "Exit status: 0: there is none, or it is free or held by a living process; 1: nobody holds it\n"
    "and it is taken, or it belongs to a stranger, or something failed; 2: wrong use.\n"};

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
  if (semctl(state.id, 0, IPC_STAT, &status) == -1) return false;
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

std::string nameOfLastUser(const State& state) {
  if (state.lastUser == 0) return "by no process that is known";
  return "by process " + std::to_string(state.lastUser) +
         (isLiving(state.lastUser) ? "" : ", which is gone");
}

// Shows the state of a semaphore that exists. Returns the exit status.
int show(const State& state) {
  std::printf("owner       %s\n", nameOf(state.owner.uid).c_str());
  std::printf("value       %d\n", state.value);
  std::printf("last used   %s\n", nameOfLastUser(state).c_str());
  std::printf("waiting     %d\n", state.waiting);

  // Its creator keeps an owner's rights even after giving it away.
  for (const uid_t user : {state.owner.uid, state.owner.cuid}) {
    if (!isStranger(user)) continue;
    std::printf("It belongs to %s: loglock --free --force --make.\n", nameOf(user).c_str());
    return EXIT_FAILURE;
  }
  if (state.value > 1) {
    std::printf("It lets %d tools write at once, which mixes lines: loglock --free --make.\n",
                state.value);
    return EXIT_FAILURE;
  }
  if (state.value == 1) {
    std::printf("It is free.\n");
  } else if (isHeld(state)) {
    std::printf("It is held by process %d.\n", static_cast<int>(state.lastUser));
  } else {
    std::printf("It is taken, and nobody holds it: loglock --free --make.\n");
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}

int remove(const State& state, bool force) {
  if (state.id == -1) return EXIT_SUCCESS;
  if (isHeld(state) && !force) {
    std::fprintf(stderr, "%s: process %d holds it; --force removes it all the same\n", kTool.name,
                 static_cast<int>(state.lastUser));
    return EXIT_FAILURE;
  }
  if (semctl(state.id, 0, IPC_RMID) == -1) return kTool.failed("semaphore", errno);
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
  if (force && !freeing) return kTool.misused("only with --free", "--force");

  const std::string directory = gLog.getLockResource();
  const key_t key = ftok(directory.c_str(), CMutex::kProject);
  if (key == -1) return kTool.failed(directory.c_str(), errno);
  std::printf("log file    %s\n", gLog.path().c_str());
  std::printf("directory   %s\n", directory.c_str());
  std::printf("key         0x%08x\n", static_cast<unsigned>(key));
  if (std::fflush(stdout) != 0) return kTool.failed("standard output", errno);

  State state;
  if (!read(key, state)) return kTool.failed("semaphore", errno);
  if (freeing && remove(state, force) != EXIT_SUCCESS) return EXIT_FAILURE;
  if (making && !CMutex(directory.c_str(), 1, false).init(0)) {
    return kTool.failed("semaphore", errno);
  }
  if (!read(key, state)) return kTool.failed("semaphore", errno);
  if (state.id == -1) {
    std::printf("There is no semaphore; it will belong to whoever logs first.\n");
    return kTool.finish(EXIT_SUCCESS);
  }
  return kTool.finish(show(state));
}
