// The command confcheck: shows the settings that tools get from the configuration file, or its
// errors.

#include <getopt.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "CDspMsg.h"
#include "CEnvConf.h"
#include "CLog.h"
#include "Tool.h"
#include "common.h"

namespace {

constexpr Tool kTool = {
    "confcheck",
    "usage: confcheck [-q] [FILE]\n"
    "Checks FILE, or the configuration file of the tool set, and shows each setting as the tools\n"
    "get it, with its unit and where it comes from.\n"
    "  -q         print nothing but errors\n"
    "  -h, --help, --version\n"
    "Exit status: 0; 1 when the file is wrong or cannot be read; 2 for wrong use.\n"};
constexpr char kDefaultFile[] = "/opt/kardo/moxel/etc/moxel.conf";
constexpr double kKbPerMb = 1024;

enum class Kind { kSize, kBoolean, kHours, kMinutes, kDirectory, kFacility, kPriority, kText };

struct Setting {
  const char* keyword;
  Kind kind;
};

constexpr Setting kSettings[] = {
    {"FORMAT_VER", Kind::kText},
    {"SmallLimit", Kind::kSize},
    {"BigLimit", Kind::kSize},
    {"SaveArea", Kind::kDirectory},
    {"SaveCore", Kind::kDirectory},
    {"SaveAreaSize", Kind::kSize},
    {"AvailableSize", Kind::kSize},
    {"MaxSendTotal", Kind::kSize},
    {"MailTimeout", Kind::kText},
    {"SaveLocalHost", Kind::kBoolean},
    {"AutoCleaning", Kind::kBoolean},
    {"RCCollect", Kind::kBoolean},
    {"AllowSendAllInfo", Kind::kBoolean},
    {"RCExtremeTime", Kind::kHours},
    {"RCExtremeFrequency", Kind::kHours},
    {"RCWaitLimit", Kind::kMinutes},
    {"SysLogFacility", Kind::kFacility},
    {"SysLogPriority", Kind::kPriority},
    {"SWRetryCount", Kind::kText},
    {"SWRetryTime", Kind::kText},
    {"PCWaitLimit", Kind::kText},
};

constexpr const char* kFacilities[] = {
    "LOG_KERN",   "LOG_USER",   "LOG_MAIL",   "LOG_DAEMON", "LOG_AUTH",   "LOG_LPR",
    "LOG_NEWS",   "LOG_UUCP",   "LOG_CRON",   "LOG_LOCAL0", "LOG_LOCAL1", "LOG_LOCAL2",
    "LOG_LOCAL3", "LOG_LOCAL4", "LOG_LOCAL5", "LOG_LOCAL6", "LOG_LOCAL7",
};
constexpr const char* kPriorities[] = {
    "LOG_EMERG",   "LOG_ALERT",  "LOG_CRIT", "LOG_ERR",
    "LOG_WARNING", "LOG_NOTICE", "LOG_INFO", "LOG_DEBUG",
};

// The file's own text for each keyword.
using Texts = std::map<std::string, std::string>;

// Reads the file like the library, but to its end, and shows every wrong line.
int check(const std::string& path, Texts& texts) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode)) {
    std::fprintf(stderr, "%s: %s: a pipe can be read only once\n", kTool.name, path.c_str());
    return EXIT_FAILURE;
  }
  FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) return kTool.failed(path.c_str(), errno);
  int result = EXIT_SUCCESS;
  char line[CEnvConf::kLineBytes];
  for (int number = 1; std::fgets(line, sizeof line, file) != nullptr; ++number) {
    std::string text = line;
    std::string keyword;
    std::string value;
    const char* error = CEnvConf::checkLine(line, keyword, value);
    if (error != nullptr) {
      trim(text);
      std::fprintf(stderr, "%s: %s:%d: %s\n  %s\n", kTool.name, path.c_str(), number, error,
                   text.c_str());
      result = EXIT_FAILURE;
    } else if (!keyword.empty()) {
      text.resize(std::min(text.find('#'), text.size()));
      trim(text);
      texts[keyword] = text.substr(keyword.size() + 1);
    }
  }
  if (std::ferror(file) != 0) result = kTool.failed(path.c_str(), errno);
  std::fclose(file);
  return result;
}

// Whether the text is a number, followed by one of the units, that means `value`.
bool means(const std::string& text, const std::map<std::string, double>& units, int value) {
  const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  const auto unit = units.find(text.substr(digits));
  if (digits == 0 || unit == units.end()) return false;
  return std::strtod(text.substr(0, digits).c_str(), nullptr) * unit->second == value;
}

// A setting as the tools get it; `exact` becomes false if the file's text means something else.
std::string effective(const Setting& setting, const std::string& text, bool& exact) {
  std::string value;
  gEnv.getValueString(setting.keyword, value);
  int number = 0;
  gEnv.getValueInt(setting.keyword, number);
  std::string lower = text;
  toLowerStr(lower.data());
  const auto quantity = [&](const std::string& said, const char* unit,
                            const std::map<std::string, double>& units) {
    exact = means(said, units, number);
    return format("%d %s", number, unit);
  };
  const auto name = [&](const auto& names, auto numberOf) {
    const std::string meant = std::to_string(numberOf(value));
    std::string shown = meant;
    for (const char* candidate : names) {
      if (std::to_string(numberOf(candidate)) == meant) shown = candidate;
    }
    exact = text == shown || text == meant;
    return shown;
  };

  switch (setting.kind) {
    case Kind::kSize:
      return quantity(lower, "KB", {{"", 1}, {"kb", 1}, {"mb", kKbPerMb}});
    case Kind::kHours:
      return quantity(text, "hours", {{"", 1}, {"hour", 1}});
    case Kind::kMinutes:
      return quantity(text, "minutes", {{"", 1}, {"min", 1}});
    case Kind::kBoolean: {
      bool truth = false;
      gEnv.getValueBool(setting.keyword, truth);
      return truth ? "yes" : "no";
    }
    case Kind::kFacility:
      return name(kFacilities, [](const std::string& text) { return gLog.getFacility(text); });
    case Kind::kPriority:
      return name(kPriorities, [](const std::string& text) { return gLog.getPriority(text); });
    case Kind::kDirectory:
      exact = text == value;
      break;
    case Kind::kText:
      break;
  }
  return value.empty() ? "(none)" : value;
}

void show(const std::string& path, const Texts& texts) {
  std::printf("%s\n", path.c_str());
  for (const Setting& setting : kSettings) {
    const auto found = texts.find(setting.keyword);
    const bool isText = setting.kind >= Kind::kDirectory;
    // An empty text counts as none.
    const bool fromFile = found != texts.end() && !(isText && found->second.empty());
    const std::string text = fromFile ? found->second : "";
    bool exact = true;
    const std::string value = effective(setting, text, exact);
    std::printf("  %-18s  %-7s  %s", setting.keyword, fromFile ? "file" : "default", value.c_str());
    if (fromFile && !exact) std::printf("  (the file says \"%s\")", text.c_str());
    std::printf("\n");
  }
}

}  // namespace

int main(int argc, char** argv) {
  gMsg.init(nullptr, "");
  bool quiet = false;
  const option longOptions[] = {
      {"help", no_argument, nullptr, kHelp}, {"version", no_argument, nullptr, kVersion}, {}};
  for (int found = 0; (found = getopt_long(argc, argv, "+hq", longOptions, nullptr)) != -1;) {
    switch (found) {
      case 'q':
        quiet = true;
        break;
      default:
        return kTool.common(found);
    }
  }
  if (argc - optind > 1) return kTool.misused("too many arguments", argv[optind + 1]);

  std::string path = getEnvValue("MOXEL_CONF");
  if (path.empty()) path = kDefaultFile;
  if (optind < argc) path = argv[optind];
  Texts texts;
  const int status = check(path, texts);
  if (status != EXIT_SUCCESS || quiet) return status;

  setenv("MOXEL_CONF", path.c_str(), 1);
  if (!gEnv.init()) return EXIT_FAILURE;
  show(path, texts);
  return kTool.finish(EXIT_SUCCESS);
}
