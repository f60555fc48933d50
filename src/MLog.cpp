#include "MLog.h"

#include <iostream>
#include <string>

MLog::~MLog() = default;

void MLog::LOGDEBUG(std::string text) { LOGDEBUG(text.c_str()); }

void MLog::LOGDEBUG(const char* text) {
  std::string line = text == nullptr ? "" : text;
  line += '\n';
  std::cerr << line << std::flush;
}
