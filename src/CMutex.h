#pragma once

#include <optional>
#include <string>

/// A lock between processes on one System V semaphore, whose key comes from a path or is given.
///
/// Order of calls: constructor, `init`, pairs of `lock` and `release`, optionally `remove`. The
/// semaphore set outlives the object unless it is removed. Every operation returns a bool, leaves
/// errno as the system call set it and logs nothing; without a set all return false. A process
/// that ends while it holds the lock gives it back.
class CMutex {
 public:
  /// The character that `ftok` combines with the path into a key.
  static constexpr int kProject = 'S';

  /// Copies `path`, which may be null when `init` gets a key. `initial` is the value of a set that
  /// this object creates: 1 free, 0 taken; negative values become 0. No system call is made.
  CMutex(const char* path, int initial, bool removeOnDestroy);

  /// Removes the set if `removeOnDestroy` was true, without waiting for anyone.
  virtual ~CMutex();

  CMutex(const CMutex&) = delete;
  CMutex& operator=(const CMutex&) = delete;

  /// Creates the set for `key` (0: derived from the path with `ftok` and `kProject`), with rights
  /// for the owner only, or attaches to an existing one, whose value stays. False if the path has
  /// no key (`key()` is then 0), if the set can be neither created nor attached, or if a new set's
  /// value cannot be set (the set then stays attached).
  ///
  /// A process that attaches to a set before its value is set waits in `lock` until then.
  bool init(int key);

  /// Takes the lock. With `wait` it blocks until the lock is free; otherwise it returns false with
  /// EAGAIN if the lock is taken. False also if a signal or the removal of the set ends the wait.
  bool lock(bool wait);

  /// Gives the lock back.
  bool release();

  /// Removes the set from the system; waiting calls of `lock` return false. With `waitForWaiters`,
  /// and if anyone is waiting, it first sleeps `seconds` once.
  bool remove(bool waitForWaiters, unsigned seconds);

  /// The key in use; 0 before `init` and if the path has none.
  int key() const { return m_key; }

 private:
  bool change(short delta, short flags);

  std::optional<std::string> m_path;
  int m_key = 0;
  int m_semaphoreId = -1;
  int m_initialValue;
  bool m_removeOnDestroy;
};
