#include "Tool.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int Tool::common(int found) const {
  switch (found) {
    case kHelp:
      std::fputs(usage, stdout);
      return finish(EXIT_SUCCESS);
    case kVersion:
      std::printf("%s (moxel) %s\n", name, MOXEL_VERSION);
      return finish(EXIT_SUCCESS);
    default:
      std::fputs(usage, stderr);
      return kExitUsage;
  }
}

int Tool::misused(const char* problem, const char* argument) const {
  std::fprintf(stderr, "%s: %s: %s\n%s", name, problem, argument, usage);
  return kExitUsage;
}

int Tool::failed(const char* what, int error) const {
  std::fprintf(stderr, "%s: %s: %s\n", name, what, std::strerror(error));
  return EXIT_FAILURE;
}

int Tool::finish(int status) const {
  const bool whole = std::ferror(stdout) == 0 && std::fflush(stdout) == 0;
  return whole ? status : failed("standard output", errno);
}
