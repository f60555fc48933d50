#include "StatCalls.h"

#include <functional>
#include <string>

struct stat;

int statCalls = 0;
std::function<void(const std::string&)> beforeStat;
bool (*statFails)() = nullptr;
bool (*fstatatFails)() = nullptr;

extern "C" {

int __real_stat(const char* path, struct stat* status);

int __wrap_stat(const char* path, struct stat* status) {
  ++statCalls;
  if (beforeStat) beforeStat(path);
  if (statFails != nullptr && statFails()) return -1;
  return __real_stat(path, status);
}

int __real_fstatat(int directory, const char* path, struct stat* status, int flags);

int __wrap_fstatat(int directory, const char* path, struct stat* status, int flags) {
  ++statCalls;
  if (fstatatFails != nullptr && fstatatFails()) return -1;
  return __real_fstatat(directory, path, status, flags);
}
}
