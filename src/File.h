#pragma once

#include <cstdio>
#include <memory>

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};

/// The owner of one stdio stream.
using File = std::unique_ptr<FILE, CloseFile>;
