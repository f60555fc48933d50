#pragma once

#include <optional>
#include <string>

/// A lock between processes on one System V semaphore, whose key comes from a path or is given.
///
/// Order of calls: constructor, `init`, pairs of `lock` and `release`, optionally `remove`. The
/// semaphore set outlives the object unless it is removed. Every operation answers with a bool,
/// leaves errno as the system call set it and logs nothing; without a set all answer false. A
/// process that ends while it holds the lock gives it back.
class CMutex {
 public:
  /// The character from which, with a path, `ftok` makes a key.
  static constexpr int kProject = 'S';

  /// Copies `path`, which may be null when `init` gets a key. `initial` is the value of a set that
  /// this object creates: 1 free, 0 taken; negative values become 0. No system call is made.
  CMutex(const char* path, int initial, bool removeOnDestroy);

  /// Removes the set when the constructor was told so, without waiting for anyone.
  virtual ~CMutex();

  CMutex(const CMutex&) = delete;
  CMutex& operator=(const CMutex&) = delete;

  /// Creates the set for `key` (0: derived from the path with `ftok` and `kProject`), with
  /// rights for the owner only, or attaches to the one that exists, whose value stays. False when
  /// the path gives no key (`key()` is then 0), when the set can be neither created nor attached,
  /// or when a new set's value cannot be set (the set then stays attached).
  ///
  /// Who attaches to a set between its creation and the setting of its value waits in `lock` until
  /// the value is set.
  bool init(int key);

  /// Takes the lock. With `wait` it blocks until the lock is free; otherwise a taken lock gives
  /// false with EAGAIN. False also when a signal ends the wait or the set is removed under it.
  bool lock(bool wait);

  /// Gives the lock back.
  bool release();

  /// Removes the set from the system; who waits for it gets false from `lock`. With
  /// `waitForWaiters`, and if anyone is waiting, it first sleeps `seconds` once.
  bool remove(bool waitForWaiters, unsigned seconds);

  /// The key in use; 0 before `init` and when the path gave none.
  int key() const { return m_key; }

 private:
  bool change(short delta, short flags);

  std::optional<std::string> m_path;
  int m_key = 0;
  int m_semaphoreId = -1;
  int m_initialValue;
  bool m_removeOnDestroy;
};
