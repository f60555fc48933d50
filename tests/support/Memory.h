#pragma once

#include <cstddef>
#include <cstdint>

// Allocations of this many bytes or more fail while an object of this class lives.
class NoMemoryFrom {
 public:
  explicit NoMemoryFrom(size_t bytes);
  ~NoMemoryFrom();
  NoMemoryFrom(const NoMemoryFrom&) = delete;
  NoMemoryFrom& operator=(const NoMemoryFrom&) = delete;
};
