// shellEsc through a real shell: the shell gives back every byte as it was, but for those that pass
// unescaped by design.

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "Fuzz.h"
#include "common.h"

namespace {

void check(const uint8_t* data, size_t size) {
  // By design: the semicolon and the line feed end a command; "!", "~" and "=" have a meaning in
  // some shells and places. Without `wild`, * ? [ and ] are patterns, which the shell is told to
  // leave alone; with it they would find the files here, 0, 1 and 2.
  std::string text;
  for (size_t i = 0; i < size && text.size() < 900; ++i) {
    const char c = static_cast<char>(data[i]);
    if (c != '\0' && strchr(";\n!~=", c) == nullptr) text += c;
  }
  if (text.empty()) return;
  for (const int wild : {0, 1}) {
    const std::string command = std::string("cd /proc/self/fdinfo") +
                                (wild != 0 ? "" : "; set -f") + "; printf '<%s>' " +
                                shellEsc(text, wild);
    FILE* shell = popen(command.c_str(), "r");
    REQUIRE(shell != nullptr);
    std::string back;
    // The fuzzer's own clock interrupts the reading now and then.
    for (;;) {
      const int c = fgetc(shell);
      if (c != EOF) {
        back += static_cast<char>(c);
      } else if (ferror(shell) == 0 || errno != EINTR) {
        break;
      } else {
        clearerr(shell);
      }
    }
    REQUIRE(pclose(shell) == 0);
    REQUIRE(back == "<" + text + ">");
  }
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
