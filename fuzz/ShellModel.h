#pragma once

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "Fuzz.h"
#include "common.h"

// shellEsc through a real shell: the shell gives back every text as it was. None may be empty or
// hold what passes unescaped by design: the semicolon and the line feed end a command; "!", "~" and
// "=" have a meaning in some shells and places. Without `wild`, * ? [ and ] are patterns, which the
// shell is told to leave alone; with it they would find the files here, 0, 1 and 2.

namespace model {

inline void checkShell(const std::vector<std::string>& texts, int wild) {
  std::string command =
      std::string("cd /proc/self/fdinfo") + (wild != 0 ? "" : "; set -f") + "; printf '<%s>'";
  std::string expected;
  for (const std::string& text : texts) {
    command += " " + shellEsc(text, wild);
    expected += "<" + text + ">";
  }
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
  REQUIRE(back == expected);
}

}  // namespace model
