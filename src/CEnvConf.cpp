#include "CEnvConf.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "CDspMsg.h"
#include "CLog.h"
#include "File.h"
#include "common.h"

// Lives longer than a tool's own static objects, which may ask for settings or call `slog`.
CEnvConf gEnv __attribute__((init_priority(101)));

namespace {

constexpr char kDefaultFile[] = "/opt/kardo/moxel/etc/moxel.conf";
constexpr char kDefaultSaveArea[] = "/var/crash/$HOSTNAME$/kardo/moxel_sa";
constexpr char kDefaultSaveCore[] = "/var/crash/$HOSTNAME$";
constexpr char kHostToken[] = "$HOSTNAME$";
constexpr const char* kStartUpScripts[] = {"/etc/init.d/sysetup", "/etc/rc2.d/S75ZQRNsavecore"};

constexpr size_t kSettingBytes = 256;
constexpr size_t kPathBytes = 4097;
constexpr size_t kAnswerBytes = 1024;
constexpr size_t kRunningCommandBytes = 1024;
constexpr size_t kLookUpCommandBytes = 4096;
constexpr size_t kSizeDigits = 256;
constexpr size_t kIntDigits = 11;

constexpr int kMaxSendTotalKb = 10240;
constexpr long kMaxHours = 99;
constexpr long kMaxMinutes = 16383;

enum class Kind { kSize, kBoolean, kHours, kMinutes, kText };

struct Keyword {
  const char* name;
  Kind kind;
};

constexpr Keyword kKeywords[] = {
    {"SmallLimit", Kind::kSize},
    {"BigLimit", Kind::kSize},
    {"SaveAreaSize", Kind::kSize},
    {"AvailableSize", Kind::kSize},
    {"MaxSendTotal", Kind::kSize},
    {"SaveLocalHost", Kind::kBoolean},
    {"AutoCleaning", Kind::kBoolean},
    {"RCCollect", Kind::kBoolean},
    {"AllowSendAllInfo", Kind::kBoolean},
    {"RCExtremeTime", Kind::kHours},
    {"RCExtremeFrequency", Kind::kHours},
    {"RCWaitLimit", Kind::kMinutes},
    {"FORMAT_VER", Kind::kText},
    {"SaveArea", Kind::kText},
    {"SaveCore", Kind::kText},
    {"SysLogFacility", Kind::kText},
    {"SysLogPriority", Kind::kText},
    {"SWRetryCount", Kind::kText},
    {"SWRetryTime", Kind::kText},
    {"MailTimeout", Kind::kText},
    {"PCWaitLimit", Kind::kText},
};

constexpr const char* kBooleans[] = {"yes", "no", "on", "off", "true", "false"};

// The settings of the trace, in its order. The others are deliberately not shown: support reads the
// trace by its lines.
constexpr const char* kDumped[] = {
    "FORMAT_VER",     "SmallLimit",     "BigLimit",      "SaveArea",           "SaveCore",
    "SaveAreaSize",   "AvailableSize",  "MaxSendTotal",  "MailTimeout",        "SaveLocalHost",
    "AutoCleaning",   "RCCollect",      "RCExtremeTime", "RCExtremeFrequency", "RCWaitLimit",
    "SysLogFacility", "SysLogPriority",
};

int numberOf(const char* digits) {
  const long number = strtol(digits, nullptr, 10);
  return static_cast<int>(
      std::clamp(number, static_cast<long>(INT_MIN), static_cast<long>(INT_MAX)));
}

// In place of the text that is there.
void writeNumber(char* value, int number) {
  *std::to_chars(value, value + kIntDigits, number).ptr = '\0';
}

// Rewrites the size to KB; false when it is none.
bool convertSize(char* value) {
  constexpr int kKbPerMbBits = 10;
  toLowerStr(value);
  gLog.tlog("convValueInt = %s", value);

  size_t digits = 0;
  while (digits < kSizeDigits && value[digits] >= '0' && value[digits] <= '9') ++digits;
  char* unit = value + digits;
  if (*unit == '\0' || digits == kSizeDigits) {
    writeNumber(value, numberOf(value));
    return true;
  }
  const bool megabytes = strcmp(unit, "mb") == 0;
  if (!megabytes && strcmp(unit, "kb") != 0) return false;
  *unit = '\0';
  // Digits of "kb" deliberately stay as they are written, leading zeros included.
  if (megabytes) {
    const unsigned kilobytes = static_cast<unsigned>(numberOf(value)) << kKbPerMbBits;
    writeNumber(value, static_cast<int>(kilobytes));
  }
  return true;
}

// Cuts the value at its unit; a number outside of 1 to `most` becomes `otherwise`, without an
// error.
void convertTime(char* value, const char* unit, long most, const char* otherwise) {
  char* end = strstr(value, unit);
  if (end != nullptr) *end = '\0';
  const long number = strtol(value, nullptr, 10);
  if (number < 1 || number > most) memcpy(value, otherwise, strlen(otherwise) + 1);
}

// Appends as much of `text` as fits into a path buffer.
void append(char* out, const char* text, size_t length) {
  const size_t used = strlen(out);
  const size_t copied = std::min(length, kPathBytes - 1 - used);
  memcpy(out + used, text, copied);
  out[used + copied] = '\0';
}

int lookUp(const std::string& command, char* out) {
  if (out == nullptr) return -1;
  *out = '\0';
  const int result = execGetLine(command.substr(0, kLookUpCommandBytes - 1).c_str(), out);
  eraseLastCRLF(out);
  trim(out);
  return result;
}

}  // namespace

CEnvConf::~CEnvConf() = default;

bool CEnvConf::init() {
  std::string path = getEnvValue("MOXEL_CONF");
  if (path.empty()) path = kDefaultFile;
  File file(fopen(path.c_str(), "r"));
  if (file == nullptr) {
    gLog.ilog("CEnvConf : open %s error", C(path));
    gMsg.dspMsg("MXL10100E", C(path));
    return false;
  }

  char line[kLineBytes];
  for (int number = 1; fgets(line, sizeof line, file.get()) != nullptr; ++number) {
    std::string keyword;
    std::string value;
    const char* error = checkLine(line, keyword, value);
    if (error != nullptr) {
      gLog.ilog("%s(line=%d) : %s (CEnvConf::init)", C(path), number, error);
      gMsg.dspMsg("MXL10101E");
      gMsg.dspMsg("MXL10102E", C(path), number);
      return false;
    }
    if (!keyword.empty()) m_values[keyword] = value;
  }
  file.reset();

  completeDirectories();
  limitTransmission();
  dump();
  return true;
}

const char* CEnvConf::checkLine(char* line, std::string& keyword, std::string& value) {
  keyword.clear();
  value.clear();
  line[strcspn(line, "#")] = '\0';
  trim(line);
  if (*line == '\0') return nullptr;

  const char* equals = strchr(line, '=');
  if (equals == nullptr) return "keyword not exist.";
  const std::string name(line, static_cast<size_t>(equals - line));
  const size_t length = strlen(equals + 1);
  if (name.size() > kSettingBytes || length > kSettingBytes) {
    return "keyword or value longer than 256 bytes.";
  }
  if (name.empty()) return "keyword not exist.";

  const auto* known = std::find_if(std::begin(kKeywords), std::end(kKeywords),
                                   [&](const Keyword& entry) { return name == entry.name; });
  if (known == std::end(kKeywords)) return "keyword error.";

  char text[kSettingBytes + 1];
  memcpy(text, equals + 1, length + 1);
  switch (known->kind) {
    case Kind::kSize:
      if (!convertSize(text)) return "value error.";
      break;
    case Kind::kBoolean:
      toLowerStr(text);
      if (std::none_of(std::begin(kBooleans), std::end(kBooleans),
                       [&](const char* word) { return strcmp(text, word) == 0; })) {
        return "value error.";
      }
      break;
    case Kind::kHours:
      convertTime(text, "hour", kMaxHours, "0");
      break;
    case Kind::kMinutes:
      convertTime(text, "min", kMaxMinutes, "180");
      break;
    case Kind::kText:
      break;
  }
  keyword = name;
  value = text;
  return nullptr;
}

void CEnvConf::completeDirectories() {
  char path[kPathBytes];
  std::string& saveArea = m_values["SaveArea"];
  setSaveArea(path, saveArea.empty() ? kDefaultSaveArea : saveArea.c_str());
  saveArea = path;

  std::string& saveCore = m_values["SaveCore"];
  if (saveCore.empty()) {
    setDefaultSaveCoreDir(path);
  } else {
    setSaveArea(path, saveCore.c_str());
  }
  saveCore = path;
}

void CEnvConf::limitTransmission() {
  int total = 0;
  getValueInt("MaxSendTotal", total);
  if (total > kMaxSendTotalKb) m_values["MaxSendTotal"] = format("%d", kMaxSendTotalKb);
}

void CEnvConf::dump() {
  for (const char* keyword : kDumped) gLog.tlog("%-19s: %s", keyword, C(m_values[keyword]));
  gLog.tlog("machine type : BORKA");
}

bool CEnvConf::getValueString(std::string key, std::string& out) {
  out = m_values[key];
  return true;
}

bool CEnvConf::getValueInt(std::string key, int& out) {
  out = numberOf(C(m_values[key]));
  return true;
}

bool CEnvConf::getValueBool(std::string key, bool& out) {
  out = conv2Bool(C(m_values[key]));
  return true;
}

int CEnvConf::convValueInt(char* value) { return value != nullptr && convertSize(value) ? 1 : 0; }

const char* CEnvConf::getSaveAreaPath() { return C(m_values["SaveArea"]); }

int CEnvConf::getBigLimit() {
  int limit = 0;
  getValueInt("BigLimit", limit);
  return limit;
}

int CEnvConf::getSmallLimit() {
  int limit = 0;
  getValueInt("SmallLimit", limit);
  return limit;
}

bool CEnvConf::needAutoClean() {
  bool needed = false;
  getValueBool("AutoCleaning", needed);
  return needed;
}

void CEnvConf::setSaveArea(char* out, const char* dir) {
  if (out == nullptr) return;
  const std::string whole = dir == nullptr ? "" : dir;
  const std::string host = getHostname();
  const auto token = whole.find(kHostToken);
  *out = '\0';
  if (token == std::string::npos) {
    append(out, whole.c_str(), whole.size());
    return;
  }
  const auto rest = token + strlen(kHostToken);
  append(out, whole.c_str(), token);
  append(out, host.c_str(), host.size());
  append(out, whole.c_str() + rest, whole.size() - rest);
}

bool CEnvConf::setDefaultSaveCoreDir(char* out) {
  if (out == nullptr) return false;
  char found[kPathBytes] = "";
  lookUpSaveCoreDirFromDumpadm(found);
  if (*found != '\0') gLog.ilog("save core decided from dumpadm : %s", found);
  for (const char* script : kStartUpScripts) {
    if (*found != '\0') break;
    lookUpSaveCoreDirFromScript(script, found);
    if (*found != '\0') gLog.ilog("save core decided from %s : %s", script, found);
  }
  if (*found == '\0') {
    gLog.ilog("save core decided to default");
    setSaveArea(out, kDefaultSaveCore);
  } else {
    setSaveArea(out, found);
  }
  return true;
}

int CEnvConf::lookUpSaveCoreDirFromDumpadm(char* out) {
  return lookUp(
      "( dumpadm | \t\tawk '/Savecore directory:/ { loc = index($0,\":\"); val = substr( $0 , "
      "loc+1 "
      "); print val;}' ) 2>/dev/null",
      out);
}

int CEnvConf::lookUpSaveCoreDirFromScript(const char* script, char* out) {
  if (script == nullptr) {
    if (out != nullptr) *out = '\0';
    return -1;
  }
  return lookUp(format("(awk '\t\t{ \t\t\tloc=index($0,\"#\"); \t\t\tif( loc == 0 ) { print $0; }"
                       "\t\t\telse { print substr($0,1,loc-1); }\t\t}' < %s |"
                       "\t\tawk '\t\t/^[ \\t]*savecore/{ \t\t\tloc = index( $0 , \"savecore\" );"
                       "\t\t\tif( loc != 0 )\t\t\t{\t\t\t\tprint \"echo \" substr( $0 , "
                       "loc+length(\"savecore\")+1 );\t\t\t}\t\t}' | /bin/sh -s ) 2>/dev/null",
                       script),
                out);
}

bool CEnvConf::isRunning(const char* path) {
  if (path == nullptr) return false;
  char command[kRunningCommandBytes] = "";
  snprintf(command, sizeof command, "(echo `fuser %s` |awk '{print NF}') 2>/dev/null", path);
  char count[kAnswerBytes] = "";
  return execGetLine(command, count) >= 0 && strtol(count, nullptr, 10) > 0;
}

bool CEnvConf::isSavecoreRunning() { return isRunning("/bin/savecore"); }

bool CEnvConf::isQzsnapRunning() { return isRunning("/opt/ZQRNsnap/bin/qzsnap"); }
