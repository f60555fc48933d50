#pragma once

#include <sys/types.h>

/// The one bit of a mode by which the library tells directories. The whole type is deliberately not
/// compared: block devices and sockets count as directories everywhere.
constexpr mode_t kDirectoryBit = 040000;
