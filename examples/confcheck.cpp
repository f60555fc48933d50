// Shows what the configuration file sets: every setting with its unit and where it comes from.
//
// Written as the tools of the set are: messages first, then the configuration, which shows the
// set's own messages when it cannot be read.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>

#include "CDspMsg.h"
#include "CEnvConf.h"
#include "CLog.h"
#include "common.h"

namespace {

constexpr char kUsage[] =
    "usage: confcheck [-h] [FILE]\n"
    "Reads FILE, or the configuration file of the tool set, and shows every setting: its value, "
    "its\n"
    "unit, and whether the file or a default gives it. Exit status 0; 1 when the file is wrong or\n"
    "cannot be read; 2 for a wrong use.\n";
constexpr char kDefaultFile[] = "/opt/kardo/moxel/etc/moxel.conf";

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

struct Setting {
  const char* keyword;
  const char* unit;
  const char* otherwise;  // what holds when the file sets nothing
};

constexpr Setting kSettings[] = {
    {"FORMAT_VER", "", "(none)"},
    {"SmallLimit", "KB", "0"},
    {"BigLimit", "KB", "0"},
    {"SaveArea", "", ""},
    {"SaveCore", "", ""},
    {"SaveAreaSize", "KB", "0"},
    {"AvailableSize", "KB", "0"},
    {"MaxSendTotal", "KB", "0"},
    {"MailTimeout", "", "(none)"},
    {"SaveLocalHost", "", "no"},
    {"AutoCleaning", "", "no"},
    {"RCCollect", "", "no"},
    {"AllowSendAllInfo", "", "no"},
    {"RCExtremeTime", "hours", "0"},
    {"RCExtremeFrequency", "hours", "0"},
    {"RCWaitLimit", "minutes", "0"},
    {"SysLogFacility", "", "LOG_USER"},
    {"SysLogPriority", "", "LOG_INFO"},
    {"SWRetryCount", "", "(none)"},
    {"SWRetryTime", "", "(none)"},
    {"PCWaitLimit", "", "(none)"},
};

// The keywords that a file, known to be right, gives a value.
std::set<std::string> keywordsIn(const std::string& path) {
  std::set<std::string> keywords;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    line.resize(std::min(line.find('#'), line.size()));
    trim(line);
    std::string keyword;
    std::string value;
    splitKeyVal(line.c_str(), keyword, value);
    if (value.empty()) {
      keywords.erase(keyword);
    } else {
      keywords.insert(keyword);
    }
  }
  return keywords;
}

int misused(const char* problem, const char* argument) {
  std::fprintf(stderr, "confcheck: %s: %s\n%s", problem, argument, kUsage);
  return kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2) return misused("too many arguments", argv[2]);
  if (argc == 2) {
    const std::string argument = argv[1];
    if (argument == "-h") {
      std::fputs(kUsage, stdout);
      return EXIT_SUCCESS;
    }
    if (argument.empty() || argument.front() == '-') return misused("unknown option", argv[1]);
    setenv("MOXEL_CONF", argv[1], 1);
  }

  gLog.init(argv[0]);
  gMsg.init(nullptr, "");
  if (!gEnv.init()) return kExitFailure;

  const std::string named = getEnvValue("MOXEL_CONF");
  const std::string path = named.empty() ? kDefaultFile : named;
  const std::set<std::string> fromFile = keywordsIn(path);
  std::printf("%s\n", path.c_str());
  for (const Setting& setting : kSettings) {
    std::string value;
    gEnv.getValueString(setting.keyword, value);
    if (value.empty()) value = setting.otherwise;
    const char* blank = *setting.unit == '\0' ? "" : " ";
    const char* source = fromFile.count(setting.keyword) != 0 ? "file" : "default";
    std::printf("  %-18s  %-8s %s%s%s\n", setting.keyword, source, value.c_str(), blank,
                setting.unit);
  }
  return std::fflush(stdout) == 0 ? EXIT_SUCCESS : kExitFailure;
}
