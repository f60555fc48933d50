#include "CMutex.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

constexpr int kOwnerOnly = 0600;
constexpr int kNoSet = -1;
constexpr unsigned kRemoveWaitSeconds = 10;

// Fourth argument of semctl; the caller has to define it.
union SemaphoreArgument {
  int value;
  semid_ds* status;
  unsigned short* values;
};

}  // namespace

CMutex::CMutex(const char* path, int initial, bool removeOnDestroy)
    : m_initialValue(std::max(0, initial)), m_removeOnDestroy(removeOnDestroy) {
  if (path != nullptr) m_path = path;
}

CMutex::~CMutex() {
  if (m_removeOnDestroy) remove(false, kRemoveWaitSeconds);
}

bool CMutex::init(int key) {
  m_key = key;
  m_semaphoreId = kNoSet;
  if (key == 0) {
    if (!m_path) {
      errno = EFAULT;
      return false;
    }
    m_key = ftok(m_path->c_str(), kProject);
    if (m_key == -1) {
      m_key = 0;
      return false;
    }
  }

  m_semaphoreId = semget(m_key, 1, IPC_CREAT | IPC_EXCL | kOwnerOnly);
  if (m_semaphoreId != kNoSet) {
    SemaphoreArgument argument;
    argument.value = m_initialValue;
    return semctl(m_semaphoreId, 0, SETVAL, argument) == 0;
  }
  if (errno == EEXIST) m_semaphoreId = semget(m_key, 1, 0);
  return m_semaphoreId != kNoSet;
}

bool CMutex::lock(bool wait) {
  return change(-1, static_cast<short>(wait ? SEM_UNDO : SEM_UNDO | IPC_NOWAIT));
}

bool CMutex::release() { return change(1, SEM_UNDO); }

// Undo goes with both directions, so that the kernel gives back what a killed holder took.
bool CMutex::change(short delta, short flags) {
  if (m_semaphoreId == kNoSet) return false;
  sembuf operation = {0, delta, flags};
  return semop(m_semaphoreId, &operation, 1) == 0;
}

bool CMutex::remove(bool waitForWaiters, unsigned seconds) {
  if (m_semaphoreId == kNoSet) return false;
  if (waitForWaiters && semctl(m_semaphoreId, 0, GETNCNT) > 0) sleep(seconds);
  if (semctl(m_semaphoreId, 0, IPC_RMID) != 0) return false;
  m_semaphoreId = kNoSet;
  return true;
}
