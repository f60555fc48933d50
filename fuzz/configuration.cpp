// The configuration file, read by CEnvConf::init, beside a reader of its own that is as simple as
// can be: which line is the first wrong one, and what every keyword is worth.

#include <climits>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <vector>

#include "CEnvConf.h"
#include "Fuzz.h"

extern "C" pid_t __wrap_fork() { return -1; }
extern "C" FILE* __wrap_popen(const char*, const char*) { return nullptr; }

namespace {

const std::set<std::string> kSizes = {"SmallLimit", "BigLimit", "SaveAreaSize", "AvailableSize",
                                      "MaxSendTotal"};
const std::set<std::string> kBooleans = {"SaveLocalHost", "AutoCleaning", "RCCollect",
                                         "AllowSendAllInfo"};
const std::set<std::string> kHours = {"RCExtremeTime", "RCExtremeFrequency"};
const std::set<std::string> kTexts = {"FORMAT_VER",     "SaveArea",       "SaveCore",
                                      "SysLogFacility", "SysLogPriority", "SWRetryCount",
                                      "SWRetryTime",    "MailTimeout",    "PCWaitLimit"};
constexpr size_t kPiece = 8192;

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return text;
}

long leadingNumber(const std::string& text) { return strtol(text.c_str(), nullptr, 10); }

int clamped(const std::string& digits) {
  const long number = leadingNumber(digits);
  return number > INT_MAX ? INT_MAX : static_cast<int>(number);
}

// A size in KB, or false.
bool asSize(std::string& value) {
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

void limit(std::string& value, const char* unit, long most, const char* otherwise) {
  value = value.substr(0, value.find(unit));
  const long number = leadingNumber(value);
  if (number < 1 || number > most) value = otherwise;
}

// The values, up to the first wrong line; false when there is one.
bool read(const std::string& bytes, std::map<std::string, std::string>& values) {
  for (const std::string& line : contentLines(bytes, kPiece)) {
    const size_t equals = line.find('=');
    if (equals == std::string::npos) return false;
    const std::string key = line.substr(0, equals);
    std::string value = line.substr(equals + 1);
    if (key.size() > 256 || value.size() > 256 || key.empty()) return false;
    if (kSizes.count(key) != 0) {
      if (!asSize(value)) return false;
    } else if (kBooleans.count(key) != 0) {
      value = lower(value);
      const std::set<std::string> words = {"yes", "no", "on", "off", "true", "false"};
      if (words.count(value) == 0) return false;
    } else if (kHours.count(key) != 0) {
      limit(value, "hour", 99, "0");
    } else if (key == "RCWaitLimit") {
      limit(value, "min", 16383, "180");
    } else if (kTexts.count(key) == 0) {
      return false;
    }
    values[key] = value;
  }
  if (leadingNumber(values["MaxSendTotal"]) > 10240) values["MaxSendTotal"] = "10240";
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static InputFile file;
  file.write(data, size);
  setenv("MOXEL_CONF", file.path().c_str(), 1);
  CEnvConf conf;
  const bool good = conf.init();

  std::map<std::string, std::string> expected;
  REQUIRE(good == read(std::string(reinterpret_cast<const char*>(data), size), expected));
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
  return 0;
}
