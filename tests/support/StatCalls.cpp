#include "StatCalls.h"

struct stat;

int statCalls = 0;

extern "C" {

int __real_stat(const char* path, struct stat* status);

int __wrap_stat(const char* path, struct stat* status) {
  ++statCalls;
  return __real_stat(path, status);
}
}
