#include "CTemp.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <string>

#include "LogLine.h"
#include "common.h"

namespace {

constexpr LogSource kSource("CTemp");

constexpr char kDefaultDirectory[] = "/tmp";
constexpr int kAttempts = 10;
constexpr size_t kNameBytes = 4096;
constexpr int kTypeFile = 0;
constexpr int kTypeDirectory = 1;

// Sees to it that the parent directory exists.
bool provideDirectory(const char* dir) {
  if (isDir(dir)) return true;
  if (isFile(dir)) {
    logEvent("MXL90100L", "prefix:%s already exist and it's file", dir);
    return false;
  }
  if (makeDir(std::string(dir), 1) != 0) {
    logEvent("MXL90101L", "failed to makeDir:%s", dir);
    return false;
  }
  return true;
}

bool makeTempDirectory(std::string& path, const char* dir) {
  char name[kNameBytes] = "";
  snprintf(name, sizeof name, "%s/XXXXXX", dir);
  // The first file's descriptor deliberately stays open: who makes many directories has to leave
  // room for one descriptor each.
  if (mkstemp(name) == -1) {
    logEvent("MXL90102L", "failed to mkstemp():%s", strerror(errno));
    return false;
  }
  if (unlink(name) != 0) {
    logEvent("MXL90102L", "failed to unlink():%s", strerror(errno));
    return false;
  }
  path = std::string(name) + "_";
  // Not recursive: that would accept a directory that a stranger has made under this name
  // meanwhile.
  if (makeDir(path, 0) == -1) {
    logEvent("MXL90103L", "failed to create dir:%s", C(path));
    return false;
  }
  return true;
}

bool makeTempFile(std::string& path, const char* prefix, const char* dir, int* fd,
                  int& descriptor) {
  const std::string pattern = format("%s/%sXXXXXX", dir, prefix);
  char name[kNameBytes] = "";
  snprintf(name, sizeof name, "%s", C(pattern));
  descriptor = mkstemp(name);
  if (descriptor == -1) {
    // Deliberately without a message ID, unlike the failure of a directory.
    kSource.info(136, "failed to mkstemp():%s:templ=%s", strerror(errno), C(pattern));
    return false;
  }
  if (fd != nullptr) {
    *fd = descriptor;
  } else {
    close(descriptor);
  }
  path = std::string(name) + "_";
  if (rename(name, path.c_str()) == -1) {
    logEvent("MXL90104L", "failed to rename():%s to %s:%s", name, C(path), strerror(errno));
    return false;
  }
  return true;
}

}  // namespace

CTemp::~CTemp() { delTempFile(nullptr); }

int CTemp::getTempFile(std::string& path, const char* prefix, const char* dir, int* fd) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (getTemp_sub(path, prefix, dir, fd, kTypeFile) == 1) return 1;
  }
  return 0;
}

int CTemp::getTempDir(std::string& path, const char* prefix, const char* dir) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (getTemp_sub(path, prefix, dir, nullptr, kTypeDirectory) == 1) return 1;
  }
  return 0;
}

int CTemp::getTemp_sub(std::string& path, const char* prefix, const char* dir, int* fd, int type) {
  path.clear();
  if (prefix == nullptr) {
    kSource.invalidParam(68);
    return 0;
  }
  if (dir == nullptr) dir = kDefaultDirectory;
  // Deliberately named the other way round, as log texts are fixed: "prefix" is the directory.
  kSource.trace(75, "getTemp_sub():prefix=%s,templ=%s", dir, prefix);
  if (!provideDirectory(dir)) return 0;

  int descriptor = -1;
  const bool isDirectory = type != kTypeFile;
  const bool made =
      isDirectory ? makeTempDirectory(path, dir) : makeTempFile(path, prefix, dir, fd, descriptor);
  if (!made) return 0;
  tempFiles.push_back(path);
  // Deliberately with a blank before "DIR", so that what follows lines up.
  kSource.trace(160, "getTemp_sub():exit=%d,type=%s,FD=%d,%s", 1, isDirectory ? " DIR" : "FILE",
                descriptor, C(path));
  return 1;
}

int CTemp::delTempFile(const char* path) {
  if (!getEnvValue("MOXEL_NOT_DEL_TEMP").empty()) return 0;
  int count = 0;
  for (auto entry = tempFiles.begin(); entry != tempFiles.end();) {
    if (path != nullptr && *entry != path) {
      ++entry;
      continue;
    }
    kSource.trace(192, "delTempFile:%s", C(*entry));
    removeFiles(entry->c_str(), 1);
    ++count;
    entry = tempFiles.erase(entry);
  }
  return count;
}
