#pragma once

#include <cstddef>

// The allocation of the whole program: whether a request of this size is refused; null: never.
extern bool (*refusesMemory)(size_t bytes);

// Refuses requests of `bytes` or more until the end of the scope.
class NoMemoryFrom {
 public:
  explicit NoMemoryFrom(size_t bytes);
  ~NoMemoryFrom();
  NoMemoryFrom(const NoMemoryFrom&) = delete;
  NoMemoryFrom& operator=(const NoMemoryFrom&) = delete;
};
