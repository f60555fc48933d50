#pragma once

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "CEnvConf.h"
#include "Fuzz.h"

// The configuration file, beside a reader of its own that is as simple as can be: which line is the
// first wrong one, and what every keyword is worth.

namespace model {

inline const std::set<std::string> kSizes = {"SmallLimit", "BigLimit", "SaveAreaSize",
                                             "AvailableSize", "MaxSendTotal"};
inline const std::set<std::string> kBooleans = {"SaveLocalHost", "AutoCleaning", "RCCollect",
                                                "AllowSendAllInfo"};
inline const std::set<std::string> kHours = {"RCExtremeTime", "RCExtremeFrequency"};
inline const std::set<std::string> kTexts = {"FORMAT_VER",     "SaveArea",       "SaveCore",
                                             "SysLogFacility", "SysLogPriority", "SWRetryCount",
                                             "SWRetryTime",    "MailTimeout",    "PCWaitLimit"};
constexpr size_t kPiece = 8192;

inline long leadingNumber(const std::string& text) { return strtol(text.c_str(), nullptr, 10); }

inline int clamped(const std::string& digits) {
  const long number = leadingNumber(digits);
  return number > INT_MAX ? INT_MAX : static_cast<int>(number);
}

// A size in KB, or false.
inline bool asSize(std::string& value) {
  value = lower(value);
  size_t digits = 0;
  while (digits < value.size() && isdigit(static_cast<unsigned char>(value[digits])) != 0) ++digits;
  const std::string unit = value.substr(digits);
  const std::string number = value.substr(0, digits);
  if (unit.empty()) {
    value = std::to_string(clamped(number));
  } else if (unit == "kb") {
    value = number;
  } else if (unit == "mb") {
    const auto kilobytes = static_cast<uint32_t>(clamped(number)) * 1024U;
    value = std::to_string(static_cast<int32_t>(kilobytes));
  } else {
    return false;
  }
  return true;
}

inline void limit(std::string& value, const char* unit, long most, const char* otherwise) {
  value = value.substr(0, value.find(unit));
  const long number = leadingNumber(value);
  if (number < 1 || number > most) value = otherwise;
}

// One setting; false when it is wrong.
inline bool readSetting(const std::string& line, std::string& key, std::string& value) {
  const size_t equals = line.find('=');
  if (equals == std::string::npos) return false;
  key = line.substr(0, equals);
  value = line.substr(equals + 1);
  if (key.size() > 256 || value.size() > 256 || key.empty()) return false;
  if (kSizes.count(key) != 0) return asSize(value);
  if (kBooleans.count(key) != 0) {
    value = lower(value);
    const std::set<std::string> words = {"yes", "no", "on", "off", "true", "false"};
    return words.count(value) != 0;
  }
  if (kHours.count(key) != 0) {
    limit(value, "hour", 99, "0");
  } else if (key == "RCWaitLimit") {
    limit(value, "min", 16383, "180");
  } else if (kTexts.count(key) == 0) {
    return false;
  }
  return true;
}

// The values, up to the first wrong line; false when there is one.
inline bool readAll(const std::string& bytes, std::map<std::string, std::string>& values) {
  for (const std::string& line : contentLines(bytes, kPiece)) {
    std::string key;
    std::string value;
    if (!readSetting(line, key, value)) return false;
    values[key] = value;
  }
  if (leadingNumber(values["MaxSendTotal"]) > 10240) values["MaxSendTotal"] = "10240";
  return true;
}

inline void checkSize(const std::string& text) {
  constexpr size_t kShortest = 12;
  std::vector<char> buffer(std::max(text.size() + 1, kShortest));
  memcpy(buffer.data(), text.c_str(), text.size());
  std::string expected = text;
  const bool good = asSize(expected);
  CEnvConf conf;
  REQUIRE(conf.convValueInt(buffer.data()) == (good ? 1 : 0));
  REQUIRE(!good || expected == buffer.data());
}

// One line, its end included, as a file gives it.
inline void checkLine(const std::string& line) {
  std::vector<char> buffer(line.c_str(), line.c_str() + line.size() + 1);
  std::string keyword = "?";
  std::string value = "?";
  const char* const error = CEnvConf::checkLine(buffer.data(), keyword, value);
  const std::vector<std::string> content = contentLines(line, kPiece);
  std::string expectedKeyword;
  std::string expectedValue;
  const bool good = content.empty() || readSetting(content.front(), expectedKeyword, expectedValue);
  REQUIRE((error == nullptr) == good);
  REQUIRE(!good || keyword == expectedKeyword);
  REQUIRE(!good || value == expectedValue);
}

// A whole file. There must be no processes: the directories are not looked for.
inline void checkFile(const std::string& bytes) {
  static InputFile file;
  file.write(bytes.data(), bytes.size());
  setenv("MOXEL_CONF", file.path().c_str(), 1);
  CEnvConf conf;
  const bool good = conf.init();

  std::map<std::string, std::string> expected;
  REQUIRE(good == readAll(bytes, expected));
  for (const auto& [key, value] : expected) {
    // The directories get their defaults and the host name.
    if (good && (key == "SaveArea" || key == "SaveCore")) continue;
    std::string found;
    REQUIRE(conf.getValueString(key, found));
    REQUIRE(found == value);
  }
  int number = 0;
  bool truth = false;
  conf.getValueInt("BigLimit", number);
  conf.getValueBool("AutoCleaning", truth);
  REQUIRE(number == conf.getBigLimit());
  REQUIRE(truth == conf.needAutoClean());
  REQUIRE(strlen(conf.getSaveAreaPath()) <= 4096);
}

}  // namespace model
