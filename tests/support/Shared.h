#pragma once

#include <sys/mman.h>

#include <new>

// An object that this process shares with the children that it forks, until all have ended.
template <class T>
T* makeShared() {
  return new (mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
      T{};
}
