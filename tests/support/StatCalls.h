#pragma once

#include <functional>
#include <string>

// How often this program's code has called `stat` or `fstatat`, which the linker wraps for it.
extern int statCalls;

// Runs before each call of `stat` with its path, if set.
extern std::function<void(const std::string&)> beforeStat;
