// The configuration file, of any bytes.

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "ConfigurationModel.h"

extern "C" pid_t __wrap_fork() { return -1; }
extern "C" FILE* __wrap_popen(const char*, const char*) { return nullptr; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  model::checkFile(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
