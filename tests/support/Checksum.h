#pragma once

#include <cstdint>
#include <string>

// FNV-1a, 64 bits.
inline uint64_t checksum(const std::string& text) {
  uint64_t sum = 0xcbf29ce484222325;
  for (const char c : text) sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return sum;
}
