// The reading of what a command prints, beside fgets into 1024 bytes.

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "Fuzz.h"
#include "common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static InputFile file;
  file.write(data, size);
  std::list<std::string> expected;
  FILE* input = fopen(file.path().c_str(), "r");
  REQUIRE(input != nullptr);
  for (char piece[1024]; fgets(piece, sizeof piece, input) != nullptr;) {
    std::string line = piece;
    if (!line.empty() && line.back() == '\n') line.pop_back();
    if (!line.empty() && line.back() == '\r') line.pop_back();
    expected.push_back(line);
  }
  fclose(input);

  std::list<std::string> lines;
  const std::string command = "cat <" + file.path();
  REQUIRE(execGetLines(lines, command.c_str(), -1, nullptr, -1) == 0);
  REQUIRE(lines == expected);

  char first[1024] = "?";
  REQUIRE(execGetLine(command.c_str(), first) == 0);
  REQUIRE(first == (expected.empty() ? std::string() : expected.front()));
  return 0;
}
