#pragma once

#include <sys/types.h>

/// The mode bit by which the library recognises directories. It deliberately does not compare the
/// whole type: block devices and sockets count as directories everywhere.
constexpr mode_t kDirectoryBit = 040000;
