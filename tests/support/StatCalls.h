#pragma once

#include <functional>
#include <string>

// Calls of stat and fstatat in code that is linked with "-Wl,--wrap=stat,--wrap=fstatat".
extern int statCalls;

// What is done before each stat, with its path.
extern std::function<void(const std::string&)> beforeStat;

// Whether the call that is made now fails, errno being set; null: never.
extern bool (*statFails)();
extern bool (*fstatatFails)();
