#pragma once

#include <filesystem>
#include <list>
#include <string>

#include "FaultLayer.h"
#include "Scratch.h"
#include "common_template.h"

// Pieces of the scenarios' results.

using Strings = std::list<std::string>;

inline std::string number(long long value) { return std::to_string(value); }
inline std::string lines(const Strings& list) { return "[" + join(list, "|") + "]"; }
inline std::string whether(bool there) { return there ? "there" : "gone"; }

// The first word of the command that popen was given last.
inline std::string commandName() {
  const std::string command = faults::takeCommand();
  return command.substr(0, command.find(' '));
}

inline void makeTree() {
  std::filesystem::create_directories("tree/a/b/c");
  writeFile("tree/one", "12345");
  writeFile("tree/a/two", "1234567");
  writeFile("tree/a/b/c/three", "123");
}
