#include "Memory.h"

#include <cstdint>
#include <cstdlib>
#include <new>

static size_t failingFrom = SIZE_MAX;

NoMemoryFrom::NoMemoryFrom(size_t bytes) { failingFrom = bytes; }

NoMemoryFrom::~NoMemoryFrom() { failingFrom = SIZE_MAX; }

// The allocation of the whole program.

void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return size >= failingFrom ? nullptr : malloc(size == 0 ? 1 : size);
}

void* operator new(size_t size) {
  void* memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { free(memory); }

void operator delete(void* memory, size_t /*size*/) noexcept { free(memory); }
