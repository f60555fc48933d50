#include "ICMxlRmgLib.h"

#include <sys/stat.h>

#include "DirectoryBit.h"

const char* gVekLibraryPath = "/opt/ZQRNvek/lib/libvekcom.so";

bool isVekExist() {
  struct stat status = {};
  if (stat(gVekLibraryPath, &status) != 0) return false;
  return (status.st_mode & kDirectoryBit) == 0;
}

ICMxlRmgLib::~ICMxlRmgLib() = default;

bool ICMxlRmgLib::isKardoInstalled() {
  m_installed = isVekExist();
  return m_installed;
}

int ICMxlRmgLib::loadLibrary(const char* /*name*/) { return 0; }

void ICMxlRmgLib::scenarioLoadLibraries() {}

void ICMxlRmgLib::scenarioUnloadLibraries() {}
