#include "Memory.h"

#include <cstddef>
#include <cstdlib>
#include <new>

bool (*refusesMemory)(size_t bytes) = nullptr;

static size_t failingFrom = 0;

NoMemoryFrom::NoMemoryFrom(size_t bytes) {
  failingFrom = bytes;
  refusesMemory = [](size_t size) { return size >= failingFrom; };
}

NoMemoryFrom::~NoMemoryFrom() { refusesMemory = nullptr; }

void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
  if (refusesMemory != nullptr && refusesMemory(size)) return nullptr;
  return malloc(size == 0 ? 1 : size);
}

void* operator new(size_t size) {
  void* memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { free(memory); }

void operator delete(void* memory, size_t /*size*/) noexcept { free(memory); }
