#include "CEnvConf.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <type_traits>
#include <utility>

#include "CDspMsg.h"
#include "CLog.h"
#include "Process.h"
#include "Scratch.h"
#include "common.h"

namespace {

namespace fs = std::filesystem;

class CEnvConfSettings : public LogTest {
 protected:
  CEnvConfSettings()
      : file(scratch.file("moxel.conf")), m_conf("MOXEL_CONF", file), m_language("LC_ALL", "C") {
    gMsg.init(nullptr, "");
  }

  // Reads a configuration file of this content; what was shown is kept.
  bool load(const std::string& content) {
    writeFile(file, content);
    return load();
  }
  bool load() {
    testing::internal::CaptureStdout();
    const bool result = conf.init();
    fflush(stdout);
    shown = testing::internal::GetCapturedStdout();
    return result;
  }

  std::string value(const std::string& keyword) {
    std::string out = "before";
    EXPECT_TRUE(conf.getValueString(keyword, out));
    return out;
  }

  // What one setting becomes.
  std::string read(const std::string& keyword, const std::string& text) {
    EXPECT_TRUE(load(keyword + "=" + text + "\n")) << keyword << "=" << text;
    return value(keyword);
  }

  void expectError(const std::string& content, int line, const std::string& error) {
    newlyLogged();
    EXPECT_FALSE(load(content)) << content;
    EXPECT_EQ(newlyLogged(),
              Lines{file + "(line=" + std::to_string(line) + ") : " + error + " (CEnvConf::init)"})
        << content;
    EXPECT_EQ(shown,
              "MXL10101E\nSome error detected in Environment Definition File.\n"
              "MXL10102E\n" +
                  file + "(Line=" + std::to_string(line) + ")\n");
  }

  CEnvConf conf;
  std::string file;
  std::string shown;

 private:
  Environment m_conf;
  Environment m_language;
};

const char* const kSizes[] = {"SmallLimit", "BigLimit", "SaveAreaSize", "AvailableSize",
                              "MaxSendTotal"};
const char* const kBooleans[] = {"SaveLocalHost", "AutoCleaning", "RCCollect", "AllowSendAllInfo"};
const char* const kHours[] = {"RCExtremeTime", "RCExtremeFrequency"};
const char* const kTexts[] = {"FORMAT_VER",  "SysLogFacility", "SysLogPriority", "SWRetryCount",
                              "SWRetryTime", "MailTimeout",    "PCWaitLimit"};
const char* const kDirectories[] = {"SaveArea", "SaveCore"};

// ---- The table ---------------------------------------------------------------------------------

TEST_F(CEnvConfSettings, HasAVirtualDestructor) {
  EXPECT_TRUE((std::has_virtual_destructor_v<CEnvConf>));
}

TEST_F(CEnvConfSettings, AnEmptyTableAnswersEmpty) {
  int number = 7;
  bool truth = true;
  EXPECT_EQ(value("SysLogFacility"), "");
  EXPECT_TRUE(conf.getValueInt("BigLimit", number));
  EXPECT_EQ(number, 0);
  EXPECT_TRUE(conf.getValueBool("AutoCleaning", truth));
  EXPECT_FALSE(truth);
  EXPECT_STREQ(conf.getSaveAreaPath(), "");
  EXPECT_EQ(conf.getBigLimit(), 0);
  EXPECT_EQ(conf.getSmallLimit(), 0);
  EXPECT_FALSE(conf.needAutoClean());
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CEnvConfSettings, ValuesAreStringsNumbersAndTruths) {
  ASSERT_TRUE(
      load("MailTimeout=30s\nSWRetryCount=-4\nSWRetryTime=none\nPCWaitLimit=99999999999\n"
           "FORMAT_VER=-99999999999\nAutoCleaning=ON\nRCCollect=no\nSaveLocalHost=true\n"
           "SysLogPriority=1\nBigLimit=5mb\nSmallLimit=7\n"));
  const auto number = [&](const char* keyword) {
    int out = 99;
    EXPECT_TRUE(conf.getValueInt(keyword, out));
    return out;
  };
  const auto truth = [&](const char* keyword) {
    bool out = true;
    EXPECT_TRUE(conf.getValueBool(keyword, out));
    return out;
  };
  EXPECT_EQ(value("MailTimeout"), "30s");
  EXPECT_EQ(number("MailTimeout"), 30);
  EXPECT_EQ(number("SWRetryCount"), -4);
  EXPECT_EQ(number("SWRetryTime"), 0);
  EXPECT_EQ(number("PCWaitLimit"), INT_MAX);
  EXPECT_EQ(number("FORMAT_VER"), INT_MIN);
  EXPECT_EQ(number("Unknown"), 0);
  EXPECT_TRUE(truth("AutoCleaning"));
  EXPECT_FALSE(truth("RCCollect"));
  EXPECT_TRUE(truth("SaveLocalHost"));
  EXPECT_TRUE(truth("SysLogPriority"));
  EXPECT_FALSE(truth("MailTimeout"));
  EXPECT_FALSE(truth("Unknown"));
  EXPECT_TRUE(conf.needAutoClean());
  EXPECT_EQ(conf.getBigLimit(), 5120);
  EXPECT_EQ(conf.getSmallLimit(), 7);
}

// ---- Reading -----------------------------------------------------------------------------------

TEST_F(CEnvConfSettings, EveryKeywordIsKnown) {
  std::string content;
  for (const char* keyword : kSizes) content += std::string(keyword) + "=1\n";
  for (const char* keyword : kBooleans) content += std::string(keyword) + "=yes\n";
  for (const char* keyword : kHours) content += std::string(keyword) + "=2\n";
  for (const char* keyword : kTexts) content += std::string(keyword) + "=text\n";
  for (const char* keyword : kDirectories) content += std::string(keyword) + "=/dir\n";
  content += "RCWaitLimit=3\n";
  EXPECT_TRUE(load(content));
  EXPECT_EQ(shown, "");
  for (const char* keyword : kSizes) EXPECT_EQ(value(keyword), "1");
  for (const char* keyword : kBooleans) EXPECT_EQ(value(keyword), "yes");
  for (const char* keyword : kHours) EXPECT_EQ(value(keyword), "2");
  for (const char* keyword : kTexts) EXPECT_EQ(value(keyword), "text");
  for (const char* keyword : kDirectories) EXPECT_EQ(value(keyword), "/dir");
  EXPECT_EQ(value("RCWaitLimit"), "3");
}

TEST_F(CEnvConfSettings, CommentsAndBlanksAroundALineAreDropped) {
  ASSERT_TRUE(
      load("# a comment = with a sign\n\n \t \n  FORMAT_VER=2.0 # remark\r\n"
           "SaveArea=/data/sa#remark\nMailTimeout= 3 0 \t#\nSWRetryTime=\n"));
  EXPECT_EQ(value("FORMAT_VER"), "2.0");
  EXPECT_EQ(value("SaveArea"), "/data/sa");
  EXPECT_EQ(value("MailTimeout"), " 3 0") << "only the line is trimmed";
  EXPECT_EQ(value("SWRetryTime"), "");
}

TEST_F(CEnvConfSettings, ValuesMayHoldAnything) {
  ASSERT_TRUE(
      load("FORMAT_VER=a=b==c\nMailTimeout=\"quoted\" 'text'\nSWRetryTime=100%s%n%d\n"
           "SWRetryCount=\xa4\xa2\n"));
  EXPECT_EQ(value("FORMAT_VER"), "a=b==c");
  EXPECT_EQ(value("MailTimeout"), "\"quoted\" 'text'");
  EXPECT_EQ(value("SWRetryTime"), "100%s%n%d");
  EXPECT_EQ(value("SWRetryCount"), "\xa4\xa2");
}

TEST_F(CEnvConfSettings, ALaterLineReplacesAnEarlierOne) {
  EXPECT_TRUE(load("FORMAT_VER=1\nFORMAT_VER=2\nFORMAT_VER=\n"));
  EXPECT_EQ(value("FORMAT_VER"), "");
}

TEST_F(CEnvConfSettings, TheLastLineNeedsNoEnd) {
  EXPECT_TRUE(load("FORMAT_VER=1"));
  EXPECT_EQ(value("FORMAT_VER"), "1");
}

TEST_F(CEnvConfSettings, ALineWithoutAKeywordIsAnError) {
  expectError("keyword\n", 1, "keyword not exist.");
  expectError("=value\n", 1, "keyword not exist.");
  expectError("  = value\n", 1, "keyword not exist.");
  expectError("FORMAT_VER # = 1\n", 1, "keyword not exist.");
}

TEST_F(CEnvConfSettings, AnUnknownKeywordIsAnError) {
  expectError("Unknown=1\n", 1, "keyword error.");
  expectError("formaT_VER=1\n", 1, "keyword error.");
  expectError("BIGLIMIT=1\n", 1, "keyword error.");
  expectError("BigLimit =1\n", 1, "keyword error.");
  expectError("FORMAT_VER = 1\n", 1, "keyword error.");
}

TEST_F(CEnvConfSettings, ALineIsCheckedAlone) {
  struct {
    std::string line;
    const char* error;
    const char* keyword;
    const char* value;
  } const rows[] = {
      {"", nullptr, "", ""},
      {" # BigLimit=1\n", nullptr, "", ""},
      {" BigLimit=2MB # two\n", nullptr, "BigLimit", "2048"},
      {"AutoCleaning=YES\n", nullptr, "AutoCleaning", "yes"},
      {"RCExtremeTime=100hour", nullptr, "RCExtremeTime", "0"},
      {"RCWaitLimit=", nullptr, "RCWaitLimit", "180"},
      {"SaveArea=", nullptr, "SaveArea", ""},
      {"MaxSendTotal=20mb", nullptr, "MaxSendTotal", "20480"},
      {"BigLimit", "keyword not exist.", "", ""},
      {"=1", "keyword not exist.", "", ""},
      {"BigLimit =1", "keyword error.", "", ""},
      {"BigLimit=1 kb", "value error.", "", ""},
      {"AutoCleaning=1", "value error.", "", ""},
      {"SaveArea=" + std::string(257, 'x'), "keyword or value longer than 256 bytes.", "", ""},
  };
  for (const auto& row : rows) {
    char line[CEnvConf::kLineBytes];
    strcpy(line, row.line.c_str());
    std::string keyword = "before";
    std::string text = "before";
    EXPECT_STREQ(CEnvConf::checkLine(line, keyword, text), row.error) << row.line;
    EXPECT_EQ(keyword, row.keyword) << row.line;
    EXPECT_EQ(text, row.value) << row.line;
  }
  EXPECT_EQ(logged(), Lines{}) << "a check logs nothing";
}

TEST_F(CEnvConfSettings, KeywordsAndValuesHave256BytesAtMost) {
  const std::string longest(256, 'x');
  EXPECT_EQ(read("FORMAT_VER", longest), longest);
  expectError("FORMAT_VER=" + longest + "y\n", 1, "keyword or value longer than 256 bytes.");
  expectError(longest + "=1\n", 1, "keyword error.");
  expectError(longest + "y=1\n", 1, "keyword or value longer than 256 bytes.");
  // The length comes before the keyword's own check.
  expectError("Unknown=" + longest + "y\n", 1, "keyword or value longer than 256 bytes.");
  expectError("=" + longest + "y\n", 1, "keyword or value longer than 256 bytes.");
  EXPECT_EQ(read("FORMAT_VER", "1#" + longest + longest), "1") << "a comment does not count";
}

TEST_F(CEnvConfSettings, EveryLineIsCounted) {
  expectError("# comment\n\nFORMAT_VER=1\n \nwrong\nUnknown=1\n", 5, "keyword not exist.");
}

TEST_F(CEnvConfSettings, LongLinesAreReadInPiecesOf8192Characters) {
  // A comment of 8192 characters and its line feed are two reads.
  expectError("#" + std::string(8191, 'x') + "\nwrong\n", 3, "keyword not exist.");
  expectError("#" + std::string(8190, 'x') + "\nwrong\n", 2, "keyword not exist.");
  // What follows is a line of its own, no comment any more.
  expectError("#" + std::string(8191, 'x') + "wrong\n", 2, "keyword not exist.");
  ASSERT_TRUE(load("#" + std::string(8191, 'x') + "FORMAT_VER=piece\n"));
  EXPECT_EQ(value("FORMAT_VER"), "piece");
}

TEST_F(CEnvConfSettings, AnErrorKeepsWhatStoodBeforeIt) {
  expectError("FORMAT_VER=1\nMaxSendTotal=20mb\nwrong\nMailTimeout=3\n", 3, "keyword not exist.");
  EXPECT_EQ(value("FORMAT_VER"), "1");
  EXPECT_EQ(value("MailTimeout"), "");
  EXPECT_EQ(value("MaxSendTotal"), "20480") << "no limit was set";
  EXPECT_EQ(value("SaveArea"), "") << "no directory was set";
  EXPECT_EQ(value("SaveCore"), "");
}

TEST_F(CEnvConfSettings, AFileThatCannotBeOpenedLeavesTheTable) {
  ASSERT_TRUE(load("FORMAT_VER=1\n"));
  unlink(file.c_str());
  newlyLogged();
  EXPECT_FALSE(load());
  EXPECT_EQ(newlyLogged(), Lines{"CEnvConf : open " + file + " error"});
  EXPECT_EQ(shown, "MXL10100E\nFailed to load the moxel conf file(" + file + ")\n");
  EXPECT_EQ(value("FORMAT_VER"), "1") << "the table is untouched";
}

TEST_F(CEnvConfSettings, ReadingLeavesNoDescriptor) {
  const auto before = openDescriptors();
  load("FORMAT_VER=1\n");
  load("wrong\n");
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(CEnvConfSettings, TheDefaultFileIsReadWhereTheVariableIsEmpty) {
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/opt"));
    fs::create_directories("/opt/kardo/moxel/etc");
    writeFile("/opt/kardo/moxel/etc/moxel.conf", "FORMAT_VER=default\n");
    unsetenv("MOXEL_CONF");
    EXPECT_TRUE(conf.init());
    EXPECT_EQ(value("FORMAT_VER"), "default");
    setenv("MOXEL_CONF", "", 1);
    CEnvConf other;
    std::string version;
    EXPECT_TRUE(other.init());
    other.getValueString("FORMAT_VER", version);
    EXPECT_EQ(version, "default");
  });
}

TEST_F(CEnvConfSettings, ReadingAgainReadsOverTheTable) {
  const std::string host = getHostname();
  ASSERT_TRUE(load("FORMAT_VER=1\nMailTimeout=3\nSaveArea=/a/$HOSTNAME$/$HOSTNAME$\n"));
  EXPECT_EQ(value("SaveArea"), "/a/" + host + "/$HOSTNAME$");
  ASSERT_TRUE(load("FORMAT_VER=2\n"));
  EXPECT_EQ(value("FORMAT_VER"), "2");
  EXPECT_EQ(value("MailTimeout"), "3");
  EXPECT_EQ(value("SaveArea"), "/a/" + host + "/" + host) << "rewritten once more";
}

TEST_F(CEnvConfSettings, WithoutMessagesOnlyTheIdsAreShown) {
  unlink(file.c_str());
  const int status = inChild([&] {
    // As in a tool that has not initialised its messages.
    setenv("MOXEL_TEST_OUTPUT", scratch.file("output").c_str(), 1);
    execl("/proc/self/exe", "moxel_test", "--gtest_filter=CEnvConfAlone.ShowsTheIdOfAMissingFile",
          static_cast<char*>(nullptr));
    return 1;
  });
  EXPECT_EQ(exitCode(status), 0);
  EXPECT_EQ(readFile(scratch.file("output")), "MXL10100E\n\n");
}

// Runs in a process of its own, for the test above.
TEST(CEnvConfAlone, ShowsTheIdOfAMissingFile) {
  const char* output = getenv("MOXEL_TEST_OUTPUT");
  if (output == nullptr) GTEST_SKIP() << "part of another test";
  testing::internal::CaptureStdout();
  EXPECT_FALSE(CEnvConf().init());
  fflush(stdout);
  writeFile(output, testing::internal::GetCapturedStdout());
}

TEST_F(CEnvConfSettings, PercentSignsInPathsAreCharacters) {
  file = scratch.file("100%s%n%d.conf");
  setenv("MOXEL_CONF", file.c_str(), 1);
  EXPECT_FALSE(load());
  EXPECT_EQ(newlyLogged(), Lines{"CEnvConf : open " + file + " error"});
  EXPECT_EQ(shown, "MXL10100E\nFailed to load the moxel conf file(" + file + ")\n");
  expectError("wrong\n", 1, "keyword not exist.");
}

TEST_F(CEnvConfSettings, NullArgumentsAreRefused) {
  char out[4097] = "before";
  EXPECT_EQ(conf.convValueInt(nullptr), 0);
  conf.setSaveArea(out, nullptr);
  EXPECT_STREQ(out, "");
  strcpy(out, "before");
  EXPECT_EQ(conf.lookUpSaveCoreDirFromScript(nullptr, out), -1);
  EXPECT_STREQ(out, "");
  EXPECT_FALSE(conf.isRunning(nullptr));
  conf.setSaveArea(nullptr, "/x");
  EXPECT_FALSE(conf.setDefaultSaveCoreDir(nullptr));
  EXPECT_EQ(conf.lookUpSaveCoreDirFromDumpadm(nullptr), -1);
  EXPECT_EQ(conf.lookUpSaveCoreDirFromScript("/dev/null", nullptr), -1);
  EXPECT_EQ(conf.lookUpSaveCoreDirFromScript(nullptr, nullptr), -1);
}

// ---- Kinds -------------------------------------------------------------------------------------

struct SizeRow {
  const char* text;
  const char* result;  // null: rejected
};

const SizeRow kSizeRows[] = {
    {"2MB", "2048"},
    {"007", "7"},
    {"007kb", "007"},  // digits before "kb" stay as they are
    {"10", "10"},
    {"10kb", "10"},
    {"10KB", "10"},
    {"10Mb", "10240"},
    {"", "0"},
    {"0", "0"},
    {"000", "0"},
    {"kb", ""},
    {"mb", "0"},
    {"0mb", "0"},
    {"2147483647", "2147483647"},
    {"2147483648", "2147483647"},
    {"99999999999999999999999", "2147483647"},
    // As many MB as fit an int, times 1024 in 32 bits.
    {"2097151mb", "2147482624"},
    {"2097152mb", "-2147483648"},
    {"4194304mb", "0"},
    {"99999999999mb", "-1024"},
    {"99999999999kb", "99999999999"},
    {"2 MB", nullptr},
    {"10k", nullptr},
    {"10b", nullptr},
    {"10gb", nullptr},
    {"10kbx", nullptr},
    {"10mbb", nullptr},
    {"-1", nullptr},
    {"+1", nullptr},
    {"1.5mb", nullptr},
    {" 1", nullptr},
    {"x", nullptr},
    {"10\xa4\xa2", nullptr},
};

TEST_F(CEnvConfSettings, SizesAreConvertedInPlace) {
  for (const SizeRow& row : kSizeRows) {
    char buffer[64];
    memset(buffer, 'x', sizeof buffer);
    strcpy(buffer, row.text);
    EXPECT_EQ(conf.convValueInt(buffer), row.result != nullptr ? 1 : 0) << row.text;
    if (row.result != nullptr) {
      EXPECT_STREQ(buffer, row.result) << row.text;
    }
  }
}

TEST_F(CEnvConfSettings, ASizeNeedsTwelveBytes) {
  for (const char* text : {"2mb", "", "99999999999", "9mb", "2097152mb"}) {
    char buffer[24];
    memset(buffer, 'x', sizeof buffer);
    strcpy(buffer, text);
    conf.convValueInt(buffer);
    for (size_t at = 12; at < sizeof buffer; ++at) EXPECT_EQ(buffer[at], 'x') << text;
  }
}

TEST_F(CEnvConfSettings, ARejectedSizeIsLowered) {
  char buffer[16] = "10GB";
  EXPECT_EQ(conf.convValueInt(buffer), 0);
  EXPECT_STREQ(buffer, "10gb");
}

TEST_F(CEnvConfSettings, SizesAreTraced) {
  traceOn();
  char buffer[16] = "2MB";
  conf.convValueInt(buffer);
  EXPECT_EQ(logged(), Lines{"convValueInt = 2mb"});
}

TEST_F(CEnvConfSettings, WhatFollows256DigitsIsNotExamined) {
  // With the 7 they are 256.
  const std::string zeros(255, '0');
  for (const auto& [text, result] : {std::pair<std::string, std::string>{zeros + "7", "7"},
                                     {zeros + "7mb", "7"},
                                     {zeros + "7x", "7"},
                                     {zeros + "78", "78"},
                                     {zeros.substr(1) + "7mb", "7168"}}) {
    char buffer[300];
    strcpy(buffer, text.c_str());
    EXPECT_EQ(conf.convValueInt(buffer), 1) << text;
    EXPECT_EQ(buffer, result) << text;
  }
}

TEST_F(CEnvConfSettings, SizesBecomeKilobytes) {
  for (const char* keyword : kSizes) {
    EXPECT_EQ(read(keyword, "2MB"), "2048");
    EXPECT_EQ(read(keyword, "007kb"), "007");
    EXPECT_EQ(read(keyword, ""), "0");
    for (const char* wrong : {"2 MB", "10k", "-1", "x"}) {
      expectError(std::string(keyword) + "=" + wrong + "\n", 1, "value error.");
    }
  }
}

TEST_F(CEnvConfSettings, TransmissionIsLimited) {
  EXPECT_EQ(read("MaxSendTotal", "10240"), "10240");
  EXPECT_EQ(read("MaxSendTotal", "10mb"), "10240");
  EXPECT_EQ(read("MaxSendTotal", "10241"), "10240");
  EXPECT_EQ(read("MaxSendTotal", "20mb"), "10240");
  EXPECT_EQ(read("MaxSendTotal", "010239kb"), "010239");
  EXPECT_EQ(read("MaxSendTotal", "010240kb"), "010240");
  // 2 to the 32nd and 1: compared as a number.
  EXPECT_EQ(read("MaxSendTotal", "4294967297kb"), "10240");
  EXPECT_EQ(read("BigLimit", "20mb"), "20480") << "the others are not";
}

TEST_F(CEnvConfSettings, TruthWordsBecomeSmallLetters) {
  for (const char* keyword : kBooleans) {
    for (const char* word : {"yes", "no", "on", "off", "true", "false"}) {
      EXPECT_EQ(read(keyword, word), word);
    }
    EXPECT_EQ(read(keyword, "YES"), "yes");
    EXPECT_EQ(read(keyword, "oFF"), "off");
    for (const char* wrong : {"", "1", "0", "y", " yes", "yess"}) {
      expectError(std::string(keyword) + "=" + wrong + "\n", 1, "value error.");
    }
  }
}

TEST_F(CEnvConfSettings, HoursOutOfRangeBecomeZero) {
  struct {
    const char* text;
    const char* result;
  } const rows[] = {{"12hour", "12"},
                    {"12hours", "12"},
                    {"12 hour", "12 "},
                    {"1", "1"},
                    {"99", "99"},
                    {"100", "0"},
                    {"100hour", "0"},
                    {"0", "0"},
                    {"-1", "0"},
                    {"", "0"},
                    {"hour", "0"},
                    {"x", "0"},
                    {" 5", " 5"},
                    {"+5", "+5"},
                    {"5x", "5x"},
                    {"12HOUR", "12HOUR"},
                    {"007hour", "007"},
                    {"4294967297", "0"},
                    {"99999999999999999999", "0"}};
  for (const char* keyword : kHours) {
    for (const auto& row : rows) EXPECT_EQ(read(keyword, row.text), row.result) << row.text;
  }
}

TEST_F(CEnvConfSettings, MinutesOutOfRangeBecome180) {
  struct {
    const char* text;
    const char* result;
  } const rows[] = {{"90min", "90"},    {"90minutes", "90"},  {"90 min", "90 "}, {"1", "1"},
                    {"16383", "16383"}, {"16384", "180"},     {"20000", "180"},  {"0", "180"},
                    {"-5", "180"},      {"", "180"},          {"min", "180"},    {"7x", "7x"},
                    {"90MIN", "90MIN"}, {"4294967297", "180"}};
  for (const auto& row : rows) EXPECT_EQ(read("RCWaitLimit", row.text), row.result) << row.text;
  EXPECT_EQ(shown, "");
}

// ---- The dump ----------------------------------------------------------------------------------

TEST_F(CEnvConfSettings, TraceShowsTheSettings) {
  traceOn();
  writeFile(file,
            "AllowSendAllInfo=yes\nSWRetryCount=1\nSWRetryTime=2\nPCWaitLimit=3\n"
            "FORMAT_VER=2.0\nSmallLimit=1\nBigLimit=2\nSaveArea=/sa\nSaveCore=/sc\n"
            "SaveAreaSize=3\nAvailableSize=4\nMaxSendTotal=20mb\nMailTimeout=5%s\n"
            "SaveLocalHost=yes\nAutoCleaning=no\nRCCollect=on\nRCExtremeTime=6hour\n"
            "RCExtremeFrequency=7\nRCWaitLimit=8min\nSysLogFacility=LOG_DAEMON\n");
  ASSERT_TRUE(load());
  const Lines lines = logged();
  const Lines expected = {
      "FORMAT_VER         : 2.0",        "SmallLimit         : 1",     "BigLimit           : 2",
      "SaveArea           : /sa",        "SaveCore           : /sc",   "SaveAreaSize       : 3",
      "AvailableSize      : 4",          "MaxSendTotal       : 10240", "MailTimeout        : 5%s",
      "SaveLocalHost      : yes",        "AutoCleaning       : no",    "RCCollect          : on",
      "RCExtremeTime      : 6",          "RCExtremeFrequency : 7",     "RCWaitLimit        : 8",
      "SysLogFacility     : LOG_DAEMON", "SysLogPriority     : ",      "machine type : BORKA"};
  ASSERT_GT(lines.size(), expected.size());
  const auto first = lines.end() - static_cast<long>(expected.size());
  EXPECT_EQ(Lines(first, lines.end()), expected);
  // The other four settings are not shown: what stands before is the trace of a look-up.
  EXPECT_EQ(first[-1].substr(0, 3), "[T]") << first[-1];
}

TEST_F(CEnvConfSettings, AnErrorShowsNoSettings) {
  traceOn();
  ASSERT_FALSE(load("FORMAT_VER=2.0\nwrong\n"));
  EXPECT_EQ(logged(), Lines{file + "(line=2) : keyword not exist. (CEnvConf::init)"});
}

TEST_F(CEnvConfSettings, WithoutTraceNothingIsShown) {
  ASSERT_TRUE(load("SaveCore=/sc\n"));
  for (const std::string& line : logged()) EXPECT_EQ(line.substr(0, 9), "MXL90004L") << line;
}

// ---- Directories -------------------------------------------------------------------------------

class CEnvConfDirectories : public CEnvConfSettings {
 protected:
  CEnvConfDirectories() : host(getHostname()) { newlyLogged(); }

  std::string saveArea(const std::string& dir) {
    char out[4097 + 16];
    memset(out, 'x', sizeof out);
    conf.setSaveArea(out, dir.c_str());
    for (size_t at = 4097; at < sizeof out; ++at) EXPECT_EQ(out[at], 'x');
    return out;
  }

  // Puts a command of the test's own before the system's.
  void install(const std::string& name, const std::string& script) {
    fs::create_directories(scratch.file("bin"));
    writeFile(scratch.file("bin/" + name), "#!/bin/sh\n" + script, 0755);
    setenv("PATH", (scratch.file("bin") + ":" + m_searchPath).c_str(), 1);
  }

  std::string script(const std::string& content, int expected = 0) {
    writeFile(scratch.file("script"), content);
    char out[4097] = "before";
    EXPECT_EQ(conf.lookUpSaveCoreDirFromScript(scratch.file("script").c_str(), out), expected);
    return out;
  }

  std::string host;

 private:
  std::string m_searchPath = getenv("PATH");
  Environment m_restore{"PATH", m_searchPath};
};

TEST_F(CEnvConfDirectories, TheFirstTokenBecomesTheHostName) {
  EXPECT_EQ(saveArea("/var/crash/$HOSTNAME$/kardo/moxel_sa"),
            "/var/crash/" + host + "/kardo/moxel_sa");
  EXPECT_EQ(saveArea("/a/$HOSTNAME$/$HOSTNAME$"), "/a/" + host + "/$HOSTNAME$");
  EXPECT_EQ(saveArea("$HOSTNAME$"), host);
  EXPECT_EQ(saveArea("/plain/path"), "/plain/path");
  EXPECT_EQ(saveArea(""), "");
  EXPECT_EQ(saveArea("/$HOSTNAME/$hostname$"), "/$HOSTNAME/$hostname$");
  EXPECT_EQ(saveArea("$$HOSTNAME$$"), "$" + host + "$");
  // The host is asked for in any case.
  EXPECT_EQ(newlyLogged("MXL90004L:com").size(), 7u);
}

TEST_F(CEnvConfDirectories, ThePathIsCutAt4096Bytes) {
  const std::string longest(4096, 'd');
  EXPECT_EQ(saveArea(longest), longest);
  EXPECT_EQ(saveArea(longest + "x"), longest);
  EXPECT_EQ(saveArea("$HOSTNAME$" + longest), (host + longest).substr(0, 4096));
  EXPECT_EQ(saveArea(longest.substr(1) + "$HOSTNAME$"), (longest.substr(1) + host).substr(0, 4096));
  EXPECT_EQ(saveArea(longest + "$HOSTNAME$/x"), longest);
}

TEST_F(CEnvConfDirectories, TheSaveAreaHasADefault) {
  ASSERT_TRUE(load(""));
  EXPECT_EQ(value("SaveArea"), "/var/crash/" + host + "/kardo/moxel_sa");
  EXPECT_EQ(std::string(conf.getSaveAreaPath()), value("SaveArea"));
  EXPECT_EQ(value("SaveCore"), "/var/crash/" + host);
  ASSERT_TRUE(load("SaveArea=/data/$HOSTNAME$\n"));
  EXPECT_STREQ(conf.getSaveAreaPath(), ("/data/" + host).c_str());
}

TEST_F(CEnvConfDirectories, TheFileIsClosedWhenCommandsRun) {
  install("uname", "readlink /proc/$$/fd/* >>'" + scratch.file("open") + "'\necho host\n");
  ASSERT_TRUE(load("FORMAT_VER=2.0\n"));
  EXPECT_EQ(value("SaveArea"), "/var/crash/host/kardo/moxel_sa");
  const std::string open = readFile(scratch.file("open"));
  EXPECT_NE(open, "");
  EXPECT_EQ(open.find(file), std::string::npos) << open;
}

TEST_F(CEnvConfDirectories, DumpadmNamesTheDirectory) {
  install("dumpadm",
          "echo '      Dump content: kernel pages'\n"
          "echo '  Savecore directory: /var/crash/h1 '\n"
          "echo '    Savecore enabled: yes'\nexit 3\n");
  char out[4097] = "before";
  EXPECT_EQ(conf.lookUpSaveCoreDirFromDumpadm(out), 0) << "that of the pipe's last command";
  EXPECT_STREQ(out, "/var/crash/h1");

  install("dumpadm", "echo 'Savecore directory: /a:b'\necho 'Savecore directory: /second'\n");
  conf.lookUpSaveCoreDirFromDumpadm(out);
  EXPECT_STREQ(out, "/a:b") << "from the first colon on";
  install("dumpadm", "echo 'x: Savecore directory: /a'\n");
  conf.lookUpSaveCoreDirFromDumpadm(out);
  EXPECT_STREQ(out, "Savecore directory: /a");
  install("dumpadm", "echo 'Savecore directory: /a%s%n'\n");
  newlyLogged();
  ASSERT_TRUE(load(""));
  EXPECT_EQ(value("SaveCore"), "/a%s%n");
  EXPECT_EQ(newlyLogged("save core"), Lines{"save core decided from dumpadm : /a%s%n"});
  install("dumpadm", "echo 'savecore directory: /a'\necho 'Savecore directory /a' >&2\n");
  conf.lookUpSaveCoreDirFromDumpadm(out);
  EXPECT_STREQ(out, "");
}

TEST_F(CEnvConfDirectories, WithoutDumpadmTheAnswerIsEmpty) {
  char out[4097] = "before";
  EXPECT_EQ(conf.lookUpSaveCoreDirFromDumpadm(out), 0);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(newlyLogged(), Lines{});
}

TEST_F(CEnvConfDirectories, StartUpScriptsNameTheDirectory) {
  EXPECT_EQ(script("savecore /var/crash/h1\n"), "/var/crash/h1");
  EXPECT_EQ(script("#!/bin/sh\n# savecore /no\n\techo start\n \t savecore  /var/crash/h1  # end\n"),
            "/var/crash/h1");
  EXPECT_EQ(script("savecore -v -f /dev/x /var/crash\n"), "-v -f /dev/x /var/crash")
      << "options are not told apart";
  EXPECT_EQ(script("savecore /one\nsavecore /two\n"), "/one");
  EXPECT_EQ(script("savecore '/a  b' \"c\"\n"), "/a  b c");
  EXPECT_EQ(script("savecore\t/tab\n"), "/tab");
  EXPECT_EQ(script("savecore2 /x\n"), "/x") << "one character is passed over, whatever it is";
  EXPECT_EQ(script("xsavecore /x\necho savecore /x\n/bin/savecore /x\n"), "");
  EXPECT_EQ(script("savecore\nsavecore /two\n"), "") << "the first line counts, and is empty";
  EXPECT_EQ(script(""), "");
}

TEST_F(CEnvConfDirectories, VariablesOfTheScriptAreTheEnvironments) {
  const Environment directory("MOXEL_TEST_DIR", "/from/environment");
  EXPECT_EQ(script("savecore $MOXEL_TEST_DIR/x\n"), "/from/environment/x");
  EXPECT_EQ(script("D=/not/run\nsavecore $D/x\n"), "/x") << "other lines are not run";
}

TEST_F(CEnvConfDirectories, ScriptCommandsAreCutAt4095Bytes) {
  writeFile(scratch.file("script"), "savecore /found\n");
  // Many slashes are one to the system; with too many the command has no end.
  const auto lookUp = [&](size_t slashes) {
    char out[4097];
    const std::string path = scratch.path() + std::string(slashes, '/') + "script";
    conf.lookUpSaveCoreDirFromScript(path.c_str(), out);
    return std::string(out);
  };
  EXPECT_EQ(lookUp(1), "/found");
  EXPECT_EQ(lookUp(3700), "/found");
  EXPECT_EQ(lookUp(4000), "");

  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && noteShellCommands(scratch.file("command")));
    lookUp(4000);
  });
  EXPECT_EQ(readFile(scratch.file("command")).size(), 4095u);
}

TEST_F(CEnvConfDirectories, AMissingScriptHasNoAnswer) {
  char out[4097] = "before";
  conf.lookUpSaveCoreDirFromScript("/nonexistent", out);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(newlyLogged(), Lines{});
}

TEST_F(CEnvConfDirectories, LookUpCommandsAreTheFixedOnes) {
  // A shell that notes what it is asked to run stands in for the system's.
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && noteShellCommands(scratch.file("command")));
    char out[4097];
    conf.lookUpSaveCoreDirFromDumpadm(out);
    writeFile(scratch.file("dumpadm command"), readFile(scratch.file("command")));
    conf.lookUpSaveCoreDirFromScript("/etc/script", out);
    writeFile(scratch.file("script command"), readFile(scratch.file("command")));
    conf.isRunning("/bin/x");
  });
  EXPECT_EQ(
      readFile(scratch.file("dumpadm command")),
      R"(( dumpadm | 		awk '/Savecore directory:/ { loc = index($0,":"); val = substr( $0 , loc+1 ); print val;}' ) 2>/dev/null)");
  EXPECT_EQ(
      readFile(scratch.file("script command")),
      R"((awk '		{ 			loc=index($0,"#"); 			if( loc == 0 ) { print $0; }			else { print substr($0,1,loc-1); }		}' < /etc/script |		awk '		/^[ \t]*savecore/{ 			loc = index( $0 , "savecore" );			if( loc != 0 )			{				print "echo " substr( $0 , loc+length("savecore")+1 );			}		}' | /bin/sh -s ) 2>/dev/null)");
  EXPECT_EQ(readFile(scratch.file("command")),
            "(echo `fuser /bin/x` |awk '{print NF}') 2>/dev/null");
}

TEST_F(CEnvConfDirectories, TheFirstSourceThatAnswersWins) {
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace());
    // An /etc of this test's own, with the system's choice of commands.
    const std::string alternatives = scratch.file("alternatives");
    const char* const place = "/etc/alternatives";
    fs::create_directories(alternatives);
    const bool hasAlternatives = exists(place);
    if (hasAlternatives) {
      ASSERT_EQ(mount(place, alternatives.c_str(), "none", MS_BIND, nullptr), 0);
    }
    ASSERT_TRUE(mountEmpty("/etc"));
    fs::create_directories(place);
    if (hasAlternatives) {
      ASSERT_EQ(mount(alternatives.c_str(), place, "none", MS_BIND, nullptr), 0);
    }
    fs::create_directories("/etc/init.d");
    fs::create_directories("/etc/rc2.d");

    char out[4097];
    newlyLogged();
    const auto expectDecided = [&](const std::string& directory, const std::string& line) {
      memset(out, 'x', sizeof out);
      EXPECT_TRUE(conf.setDefaultSaveCoreDir(out));
      EXPECT_EQ(out, directory);
      EXPECT_EQ(newlyLogged("save core"), Lines{line});
    };
    expectDecided("/var/crash/" + host, "save core decided to default");
    writeFile("/etc/rc2.d/S75ZQRNsavecore", "savecore /from/rc2/$HOSTNAME$\n");
    expectDecided("/from/rc2/$", "save core decided from /etc/rc2.d/S75ZQRNsavecore : /from/rc2/$");
    writeFile("/etc/init.d/sysetup", "savecore '/from/sysetup/$HOSTNAME$'\n");
    expectDecided("/from/sysetup/" + host,
                  "save core decided from /etc/init.d/sysetup : /from/sysetup/$HOSTNAME$");
    install("dumpadm", "echo 'Savecore directory: /from/dumpadm'\n");
    expectDecided("/from/dumpadm", "save core decided from dumpadm : /from/dumpadm");
  });
}

TEST_F(CEnvConfDirectories, ReadingChoosesTheCrashDumpDirectory) {
  install("dumpadm", "echo 'Savecore directory: /from/dumpadm'\n");
  ASSERT_TRUE(load(""));
  EXPECT_EQ(value("SaveCore"), "/from/dumpadm");
  newlyLogged();
  ASSERT_TRUE(load("SaveCore=/own/$HOSTNAME$\n"));
  EXPECT_EQ(value("SaveCore"), "/own/" + host);
  EXPECT_EQ(newlyLogged("save core"), Lines{}) << "nothing was looked up";
}

// ---- Running programs --------------------------------------------------------------------------

TEST_F(CEnvConfDirectories, AFileThatNobodyUsesIsNotRunning) {
  writeFile(scratch.file("unused"), "");
  EXPECT_FALSE(conf.isRunning(scratch.file("unused").c_str()));
  EXPECT_FALSE(conf.isRunning(scratch.file("missing").c_str()));
  EXPECT_FALSE(conf.isSavecoreRunning());
  EXPECT_FALSE(conf.isQzsnapRunning());
}

TEST_F(CEnvConfDirectories, AFileThatIsOpenIsRunning) {
  writeFile(scratch.file("open"), "");
  const pid_t child = startChild([&] {
    const int descriptor = open(scratch.file("open").c_str(), O_RDONLY);
    gLog.ilog("opened");
    pause();
    return descriptor;
  });
  EXPECT_TRUE(eventually([&] { return !newlyLogged("opened").empty(); }));
  EXPECT_TRUE(conf.isRunning(scratch.file("open").c_str()));
  kill(child, SIGKILL);
  waitFor(child);
  EXPECT_FALSE(conf.isRunning(scratch.file("open").c_str()));
}

TEST_F(CEnvConfDirectories, AProgramThatRunsIsRunning) {
  // Known to run when it has written to the pipe.
  fs::copy_file("/bin/cat", scratch.file("program"));
  chmod(scratch.file("program").c_str(), 0755);
  int input[2];
  int output[2];
  ASSERT_EQ(pipe(input), 0);
  ASSERT_EQ(pipe(output), 0);
  const pid_t child = startChild([&] {
    dup2(input[0], STDIN_FILENO);
    dup2(output[1], STDOUT_FILENO);
    for (const int end : {input[0], input[1], output[0], output[1]}) close(end);
    execl(scratch.file("program").c_str(), "program", static_cast<char*>(nullptr));
    return 1;
  });
  char byte = 'x';
  ASSERT_EQ(write(input[1], &byte, 1), 1);
  ASSERT_EQ(::read(output[0], &byte, 1), 1);
  EXPECT_TRUE(conf.isRunning(scratch.file("program").c_str()));
  for (const int end : {input[0], input[1], output[0], output[1]}) close(end);
  EXPECT_EQ(exitCode(waitFor(child)), 0);
  EXPECT_FALSE(conf.isRunning(scratch.file("program").c_str()));
}

TEST_F(CEnvConfDirectories, RunningProgramsAreCountedByFuser) {
  install("fuser", "[ \"$*\" = /bin/savecore ] && echo ' 12 34'; exit 1\n");
  EXPECT_TRUE(conf.isSavecoreRunning());
  EXPECT_FALSE(conf.isQzsnapRunning());
  install("fuser", "[ \"$*\" = /opt/ZQRNsnap/bin/qzsnap ] && echo 7\n");
  EXPECT_FALSE(conf.isSavecoreRunning());
  EXPECT_TRUE(conf.isQzsnapRunning());
  install("fuser", "echo name >&2\n");
  EXPECT_FALSE(conf.isRunning("x"));
  install("awk", "echo -3\n");
  EXPECT_FALSE(conf.isRunning("x"));
  install("awk", "echo none\n");
  EXPECT_FALSE(conf.isRunning("x"));
  expectInChild([&] {
    leaveDescriptors(1);
    EXPECT_FALSE(conf.isRunning("x"));
  });
}

TEST_F(CEnvConfDirectories, RunningCommandsAreCutAt1023Bytes) {
  const std::string path(1023, 'x');
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && noteShellCommands(scratch.file("command")));
    conf.isRunning(path.c_str());
  });
  EXPECT_EQ(readFile(scratch.file("command")), ("(echo `fuser " + path).substr(0, 1023));

  // A command that is cut is no command.
  install("fuser", "echo 1 2 3\n");
  EXPECT_TRUE(conf.isRunning("x"));
  EXPECT_FALSE(conf.isRunning(path.c_str()));
}

}  // namespace
