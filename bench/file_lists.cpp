// One file-list operation on one directory, named by the arguments, a number of times: the fastest
// time, the result and the peak memory on one line. Run once under strace it shows the system
// calls.

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <string>

#include "common.h"
#include "common_template.h"

namespace {

namespace fs = std::filesystem;

long long listNames(const std::string& dir) {
  std::list<std::string> out;
  return getFileList(out, dir.c_str(), 1, 0, 0);
}

long long listNamesByFilesystem(const std::string& dir) {
  std::list<std::string> out;
  for (const auto& entry : fs::directory_iterator(dir)) {
    if (!entry.is_directory()) out.push_back(entry.path().string());
  }
  return static_cast<long long>(out.size());
}

long long total(const std::string& dir) { return getTotalFileSize({dir}, 1); }

long long totalByFilesystem(const std::string& dir) {
  long long sum = 0;
  for (const auto& entry : fs::recursive_directory_iterator(dir)) {
    if (!entry.is_directory()) sum += static_cast<long long>(entry.file_size());
  }
  return sum;
}

// Counts the directories' own sizes as well.
long long totalByDu(const std::string& dir) {
  char line[1024] = "";
  execGetLine(("du -sb " + shellEsc(dir, 1)).c_str(), line);
  return std::atoll(line);
}

const std::map<std::string, std::function<long long(const std::string&)>> kOperations = {
    {"getFileList", listNames},         {"getFileList/filesystem", listNamesByFilesystem},
    {"getTotalFileSize", total},        {"getTotalFileSize/filesystem", totalByFilesystem},
    {"getTotalFileSize/du", totalByDu},
};

}  // namespace

int main(int argc, char** argv) {
  const auto operation = argc == 4 ? kOperations.find(argv[1]) : kOperations.end();
  if (operation == kOperations.end()) {
    std::fputs("usage: file_lists OPERATION DIRECTORY TIMES\n", stderr);
    return 2;
  }
  double best = 1e9;
  long long result = 0;
  for (int i = 0; i < std::atoi(argv[3]); ++i) {
    const double begin = elapsedTime();
    result = operation->second(argv[2]);
    best = std::min(best, elapsedTime() - begin);
  }
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  std::printf("%.2f %lld %ld\n", best * 1000, result, usage.ru_maxrss);
  return 0;
}
