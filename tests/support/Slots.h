#pragma once

#include <cstddef>
#include <cstring>

// Place of a virtual function in its class's table, as g++ and clang++ lay it out; 0 and 1 are the
// destructors. A pointer to a virtual function holds its offset in the table, plus 1 on some
// processors.
template <class Function>
size_t slotOf(Function function) {
  size_t word = 0;
  std::memcpy(&word, &function, sizeof word);
  return word / sizeof(void*);
}
