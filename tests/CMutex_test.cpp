#include "CMutex.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <type_traits>

#include "Process.h"
#include "Scratch.h"

namespace {

class CMutexSet : public testing::Test {
 protected:
  const char* path() const { return scratch.path().c_str(); }
  key_t key() const { return ftok(path(), 'S'); }
  int set() const { return setOf(path()); }
  int value() const { return semctl(set(), 0, GETVAL); }

  // Waits for the semaphore, which `value` is the first value of, until somebody removes the set.
  void waitUntilRemoved(int value) const {
    CMutex mutex(path(), value, false);
    mutex.init(0);
    EXPECT_FALSE(mutex.lock(true));
    EXPECT_EQ(errno, EIDRM);
  }

  Scratch scratch;
};

TEST_F(CMutexSet, IsDetachedBeforeInit) {
  CMutex mutex(path(), 1, false);
  EXPECT_EQ(mutex.key(), 0);
  EXPECT_FALSE(mutex.lock(false));
  EXPECT_FALSE(mutex.lock(true));
  EXPECT_FALSE(mutex.release());
  EXPECT_FALSE(mutex.remove(false, 0));
  EXPECT_FALSE(mutex.remove(true, 3600));
  EXPECT_EQ(set(), -1) << "the constructor makes no set";
}

TEST_F(CMutexSet, CreatesOneSemaphoreForTheOwner) {
  CMutex mutex(path(), 1, false);
  ASSERT_TRUE(mutex.init(0));
  EXPECT_EQ(mutex.key(), key());
  semid_ds status = {};
  ASSERT_EQ(semctl(set(), 0, IPC_STAT, &status), 0);
  EXPECT_EQ(status.sem_perm.mode & 0777, 0600);
  EXPECT_EQ(status.sem_nsems, 1u);
  EXPECT_EQ(value(), 1);
}

TEST_F(CMutexSet, TheCreatorSetsTheValueAndOthersKeepIt) {
  CMutex creator(path(), 3, false);
  ASSERT_TRUE(creator.init(0));
  EXPECT_EQ(value(), 3);
  CMutex other(path(), 7, false);
  ASSERT_TRUE(other.init(0));
  EXPECT_EQ(other.key(), key());
  EXPECT_EQ(value(), 3);
  EXPECT_TRUE(other.lock(false));
  EXPECT_EQ(value(), 2) << "both have the same semaphore";
  EXPECT_TRUE(other.release());
}

TEST_F(CMutexSet, ANegativeInitialValueStartsTaken) {
  CMutex mutex(path(), -5, false);
  ASSERT_TRUE(mutex.init(0));
  EXPECT_EQ(value(), 0);
  EXPECT_FALSE(mutex.lock(false));
  EXPECT_EQ(errno, EAGAIN);
}

TEST_F(CMutexSet, AMissingPathGivesNoKey) {
  const std::string missing = scratch.file("missing");
  CMutex mutex(missing.c_str(), 1, false);
  EXPECT_FALSE(mutex.init(0));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(mutex.key(), 0);
  EXPECT_FALSE(mutex.lock(false));
  EXPECT_FALSE(mutex.release());
  EXPECT_FALSE(mutex.remove(false, 0));
}

TEST_F(CMutexSet, AMissingPathDetachesFromAnEarlierSet) {
  const std::string file = scratch.file("file");
  writeFile(file, "");
  CMutex owner(file.c_str(), 1, true);
  ASSERT_TRUE(owner.init(0));
  CMutex mutex(file.c_str(), 1, false);
  ASSERT_TRUE(mutex.init(0));
  unlink(file.c_str());
  EXPECT_FALSE(mutex.init(0));
  EXPECT_EQ(mutex.key(), 0);
  EXPECT_FALSE(mutex.lock(false));
  EXPECT_FALSE(mutex.release());
  EXPECT_FALSE(mutex.remove(false, 0));
}

TEST_F(CMutexSet, WhoAttachesToAFreshSetWaitsForItsValue) {
  const int id = semget(key(), 1, IPC_CREAT | IPC_EXCL | 0600);
  ASSERT_NE(id, -1);
  const pid_t child = startExpecting([&] {
    CMutex mutex(path(), 1, false);
    EXPECT_TRUE(mutex.init(0));
    EXPECT_FALSE(mutex.lock(false));
    EXPECT_TRUE(mutex.lock(true));
  });
  EXPECT_TRUE(eventually([&] { return waitersFor(path()) == 1; }));
  union {
    int number;
    void* unused;
  } one;
  one.number = 1;
  ASSERT_EQ(semctl(id, 0, SETVAL, one), 0);
  EXPECT_EQ(exitCode(waitFor(child)), 0);
}

TEST_F(CMutexSet, ANullPathNeedsAKey) {
  CMutex mutex(nullptr, 1, true);
  errno = 0;
  EXPECT_FALSE(mutex.init(0));
  EXPECT_EQ(errno, EFAULT) << "as the system would answer";
  EXPECT_EQ(mutex.key(), 0);
  EXPECT_FALSE(mutex.lock(false));
  EXPECT_TRUE(mutex.init(key())) << "a key of this test's own";
  EXPECT_TRUE(mutex.lock(false));
}

TEST_F(CMutexSet, AGivenKeyIsUsedWithoutThePath) {
  const std::string missing = scratch.file("missing");
  CMutex mutex(missing.c_str(), 1, true);
  ASSERT_TRUE(mutex.init(key()));
  EXPECT_EQ(mutex.key(), key());
  EXPECT_EQ(value(), 1);
}

TEST_F(CMutexSet, HasAVirtualDestructor) { EXPECT_TRUE((std::has_virtual_destructor_v<CMutex>)); }

TEST_F(CMutexSet, CopiesThePath) {
  std::string path = scratch.path();
  CMutex mutex(path.c_str(), 1, false);
  path.assign(path.size(), 'x');
  EXPECT_TRUE(mutex.init(0));
}

TEST_F(CMutexSet, AValueThatCannotBeSetLeavesTheSetAttached) {
  CMutex mutex(path(), 40000, false);
  EXPECT_FALSE(mutex.init(0));
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(value(), 0);
  EXPECT_FALSE(mutex.lock(false));
  EXPECT_EQ(errno, EAGAIN) << "there is a set to ask";
  EXPECT_TRUE(mutex.remove(false, 0));
}

TEST_F(CMutexSet, ASetThatCannotBeCreatedLeavesItDetached) {
  expectInChild([&] {
    denySystemCalls(kSemgetCalls, ENOSPC);
    CMutex mutex(path(), 1, false);
    EXPECT_FALSE(mutex.init(0));
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(mutex.key(), key());
    EXPECT_FALSE(mutex.lock(false));
    EXPECT_FALSE(mutex.release());
    EXPECT_FALSE(mutex.remove(false, 0));
  });
}

TEST_F(CMutexSet, AFailedInitDetaches) {
  CMutex mutex(path(), 1, false);
  ASSERT_TRUE(mutex.init(0));
  expectInChild([&] {
    denySystemCalls(kSemgetCalls, ENOSPC);
    EXPECT_FALSE(mutex.init(0));
    EXPECT_FALSE(mutex.lock(false));
  });
}

TEST_F(CMutexSet, LockAndReleaseChangeTheValueByOne) {
  CMutex mutex(path(), 1, false);
  ASSERT_TRUE(mutex.init(0));
  EXPECT_TRUE(mutex.lock(false));
  EXPECT_EQ(value(), 0);
  EXPECT_FALSE(mutex.lock(false));
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_TRUE(mutex.release());
  EXPECT_EQ(value(), 1);
  EXPECT_TRUE(mutex.lock(true));
  EXPECT_TRUE(mutex.release());
  EXPECT_EQ(value(), 1);
}

TEST_F(CMutexSet, AWaitEndsWithTheRelease) {
  CMutex mutex(path(), 1, false);
  ASSERT_TRUE(mutex.init(0));
  ASSERT_TRUE(mutex.lock(true));
  const pid_t child = startExpecting([&] {
    CMutex other(path(), 1, false);
    EXPECT_TRUE(other.init(0));
    EXPECT_FALSE(other.lock(false));
    EXPECT_TRUE(other.lock(true));
  });
  EXPECT_TRUE(eventually([&] { return waitersFor(path()) == 1; }));
  EXPECT_TRUE(mutex.release());
  EXPECT_EQ(exitCode(waitFor(child)), 0);
  EXPECT_EQ(value(), 1) << "the child's lock went back with its end";
}

TEST_F(CMutexSet, AKilledHolderBlocksNobody) {
  CMutex mutex(path(), 1, false);
  ASSERT_TRUE(mutex.init(0));
  const pid_t child = startExpecting([&] {
    CMutex other(path(), 1, false);
    other.init(0);
    ASSERT_TRUE(other.lock(true));
    pause();
  });
  EXPECT_TRUE(eventually([&] { return value() == 0; }));
  EXPECT_FALSE(mutex.lock(false));
  kill(child, SIGKILL);
  EXPECT_EQ(exitCode(waitFor(child)), -1);
  EXPECT_TRUE(mutex.lock(true));
  EXPECT_TRUE(mutex.release());
}

TEST_F(CMutexSet, AReleaseIsTakenBackWithTheProcessToo) {
  CMutex mutex(path(), 0, false);
  ASSERT_TRUE(mutex.init(0));
  expectInChild([&] { EXPECT_TRUE(mutex.release()); });
  EXPECT_EQ(value(), 0);
}

TEST_F(CMutexSet, ASignalEndsTheWait) {
  CMutex mutex(path(), 0, false);
  ASSERT_TRUE(mutex.init(0));
  const pid_t child = startExpecting([&] {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    EXPECT_FALSE(mutex.lock(true));
    EXPECT_EQ(errno, EINTR);
  });
  EXPECT_TRUE(eventually([&] { return waitersFor(path()) == 1; }));
  kill(child, SIGUSR1);
  EXPECT_EQ(exitCode(waitFor(child)), 0);
}

TEST_F(CMutexSet, RemovalDetachesAndTheNextInitMakesANewSet) {
  CMutex mutex(path(), 1, false);
  ASSERT_TRUE(mutex.init(0));
  ASSERT_TRUE(mutex.lock(true));
  EXPECT_TRUE(mutex.remove(false, 3600));
  EXPECT_EQ(set(), -1);
  errno = 0;
  EXPECT_FALSE(mutex.remove(false, 0));
  EXPECT_FALSE(mutex.lock(true));
  EXPECT_FALSE(mutex.release());
  EXPECT_EQ(errno, 0) << "the system is not asked any more";
  ASSERT_TRUE(mutex.init(0));
  EXPECT_EQ(value(), 1);
}

TEST_F(CMutexSet, ARemovalThatFailsKeepsTheSetsId) {
  CMutex mutex(path(), 1, false);
  ASSERT_TRUE(mutex.init(0));
  CMutex other(path(), 1, false);
  ASSERT_TRUE(other.init(0));
  ASSERT_TRUE(other.remove(false, 0));
  errno = 0;
  EXPECT_FALSE(mutex.remove(false, 0));
  EXPECT_EQ(errno, EINVAL) << "the system was asked";
  errno = 0;
  EXPECT_FALSE(mutex.remove(false, 0));
  EXPECT_EQ(errno, EINVAL) << "and is asked again";
}

volatile sig_atomic_t alarms = 0;

TEST_F(CMutexSet, RemovalSleepsOnceForWaiters) {
  CMutex mutex(path(), 1, false);
  ASSERT_TRUE(mutex.init(0));
  // Nobody waits: no sleep, or this test would take an hour.
  CMutex unwanted(path(), 1, false);
  ASSERT_TRUE(unwanted.init(0));
  EXPECT_TRUE(unwanted.remove(true, 3600));

  ASSERT_TRUE(mutex.init(0));
  ASSERT_TRUE(mutex.lock(true));
  const pid_t child = startExpecting([&] { waitUntilRemoved(1); });
  ASSERT_TRUE(eventually([&] { return waitersFor(path()) == 1; }));
  // An alarm ends the sleep; the waiter still waits then, and the set goes all the same.
  struct sigaction action = {};
  struct sigaction old = {};
  action.sa_handler = [](int) { alarms = alarms + 1; };
  sigaction(SIGALRM, &action, &old);
  alarms = 0;
  const itimerval timer = {{0, 20000}, {0, 20000}};
  setitimer(ITIMER_REAL, &timer, nullptr);
  EXPECT_TRUE(mutex.remove(true, 3600));
  const itimerval none = {};
  setitimer(ITIMER_REAL, &none, nullptr);
  EXPECT_GE(alarms, 1) << "it slept";
  sigaction(SIGALRM, &old, nullptr);
  EXPECT_EQ(exitCode(waitFor(child)), 0);
}

TEST_F(CMutexSet, RemovalWithoutWaitingForWaitersDoesNotSleep) {
  CMutex mutex(path(), 0, false);
  ASSERT_TRUE(mutex.init(0));
  const pid_t child = startExpecting([&] { waitUntilRemoved(1); });
  ASSERT_TRUE(eventually([&] { return waitersFor(path()) == 1; }));
  EXPECT_TRUE(mutex.remove(false, 3600));
  EXPECT_EQ(exitCode(waitFor(child)), 0);
}

TEST_F(CMutexSet, TheDestructorRemovesTheSetWhenToldTo) {
  {
    CMutex mutex(path(), 1, false);
    ASSERT_TRUE(mutex.init(0));
  }
  EXPECT_NE(set(), -1);
  {
    CMutex mutex(path(), 1, true);
    ASSERT_TRUE(mutex.init(0));
  }
  EXPECT_EQ(set(), -1);
}

TEST_F(CMutexSet, TheDestructorDoesNotWaitForWaiters) {
  const pid_t waiter = startExpecting([&] { waitUntilRemoved(0); });
  ASSERT_TRUE(eventually([&] { return set() != -1 && waitersFor(path()) == 1; }));
  const int status = traceSystemCalls(
      [&] {
        alarm(60);  // ends any other wait
        CMutex mutex(path(), 0, true);
        mutex.init(0);
        return 0;
      },
      [](long number) {
        EXPECT_NE(number, SYS_nanosleep);
        EXPECT_NE(number, SYS_clock_nanosleep);
      });
  EXPECT_EQ(exitCode(status), 0);
  EXPECT_EQ(exitCode(waitFor(waiter)), 0);
}

}  // namespace
