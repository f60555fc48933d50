#pragma once

#include <cstdio>
#include <memory>

/// How the owner of a stream closes it.
struct CloseFile {
  /// Closes `file`.
  void operator()(FILE* file) const { fclose(file); }
};

/// The owner of one stdio stream.
using File = std::unique_ptr<FILE, CloseFile>;
