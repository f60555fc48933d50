#pragma once

#include <cstddef>
#include <cstring>

// Place of a virtual function in its class's table, as g++ and clang++ lay it out on x86-64; 0 and
// 1 are the destructors.
template <class Function>
size_t slotOf(Function function) {
  size_t word = 0;
  std::memcpy(&word, &function, sizeof word);
  return (word - 1) / sizeof(void*);
}
