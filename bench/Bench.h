#pragma once

/// @file
/// What is measured: every row's operation as the library does it, beside what a user would pick
/// instead and beside the bare system calls that it cannot do without (the floor).

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// An operation that can be run over and over.
struct Operation {
  std::function<void()> run;
  std::function<void()> before = nullptr;  ///< Called before each run, outside of the measurement.
};

/// One way of doing what `row` names, at each of the sizes.
struct Entry {
  std::string row;
  std::string who;
  std::vector<long> sizes;
  std::function<Operation(long size)> make;
};

/// All that is measured.
std::vector<Entry>& entries();

/// Adds an entry; the result only makes the call possible before `main`.
bool add(std::string row, std::string who, std::vector<long> sizes,
         std::function<Operation(long size)> make);

/// A directory of its own below "/tmp", removed at the end of the process.
std::string scratch();

/// Keeps the compiler from leaving out what gives `value`.
template <class T>
void keep(const T& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

}  // namespace bench
