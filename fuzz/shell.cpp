// shellEsc through a real shell, on any bytes.

#include <cstdint>
#include <cstring>
#include <string>

#include "Fuzz.h"
#include "ShellModel.h"

namespace {

void check(const uint8_t* data, size_t size) {
  std::string text;
  for (size_t i = 0; i < size && text.size() < 900; ++i) {
    const char c = static_cast<char>(data[i]);
    if (c != '\0' && strchr(";\n!~=", c) == nullptr) text += c;
  }
  if (text.empty()) return;
  for (const int wild : {0, 1}) model::checkShell({text}, wild);
}

// Every byte, whatever the inputs hold.
bool checkAll() {
  uint8_t bytes[256];
  for (int i = 0; i < 256; ++i) bytes[i] = static_cast<uint8_t>(i);
  check(bytes, sizeof bytes);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool allAreGood = checkAll();
  REQUIRE(allAreGood);
  check(data, size);
  return 0;
}
