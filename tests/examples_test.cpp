// The example programs as they are built.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Process.h"
#include "Scratch.h"

namespace {

class Examples : public LogTest {
 protected:
  Examples() : m_conf("MOXEL_CONF", std::nullopt), m_language("LC_ALL", "C") {}

  int run(const std::string& program, const std::vector<std::string>& arguments) {
    return run(program, arguments, scratch.file("output"));
  }
  int run(const std::string& program, const std::vector<std::string>& arguments,
          const std::string& outputFile) {
    const std::string path = MOXEL_BUILD_DIR "/" + program;
    std::vector<char*> argv = {const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments)
      argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    const int status = inChild([&] {
      const int out = open(outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      const int err = open(scratch.file("errors").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      if (dup2(out, STDOUT_FILENO) == -1 || dup2(err, STDERR_FILENO) == -1) return 100;
      execv(path.c_str(), argv.data());
      return 101;
    });
    output = outputFile == "/dev/full" ? "" : readFile(outputFile);
    errors = readFile(scratch.file("errors"));
    return exitCode(status);
  }

  std::string conf(const std::string& content) {
    writeFile(scratch.file("conf"), content);
    return scratch.file("conf");
  }

  // The line of one setting.
  std::string setting(const std::string& keyword) {
    const size_t begin = output.find("  " + keyword + " ");
    return begin == std::string::npos ? "" : output.substr(begin, output.find('\n', begin) - begin);
  }

  std::string output;
  std::string errors;

 private:
  Environment m_conf;
  Environment m_language;
};

TEST_F(Examples, ConfcheckShowsEverySettingWithUnitAndSource) {
  const std::string file = conf(
      "BigLimit=2MB # two\nAutoCleaning=YES\nRCExtremeTime=12hour\n"
      "SaveCore=/var/crash\nSysLogFacility=LOG_DAEMON\nMailTimeout=\n");
  EXPECT_EQ(run("confcheck", {file}), 0);
  EXPECT_EQ(errors, "");
  EXPECT_EQ(output.substr(0, output.find('\n')), file);
  EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 22) << "21 settings";
  EXPECT_EQ(setting("BigLimit"), "  BigLimit            file     2048 KB");
  EXPECT_EQ(setting("SmallLimit"), "  SmallLimit          default  0 KB");
  EXPECT_EQ(setting("AutoCleaning"), "  AutoCleaning        file     yes");
  EXPECT_EQ(setting("RCCollect"), "  RCCollect           default  no");
  EXPECT_EQ(setting("RCExtremeTime"), "  RCExtremeTime       file     12 hours");
  EXPECT_EQ(setting("RCWaitLimit"), "  RCWaitLimit         default  0 minutes");
  EXPECT_EQ(setting("SaveCore"), "  SaveCore            file     /var/crash");
  EXPECT_EQ(setting("SysLogFacility"), "  SysLogFacility      file     LOG_DAEMON");
  EXPECT_EQ(setting("SysLogPriority"), "  SysLogPriority      default  LOG_INFO");
  EXPECT_EQ(setting("MailTimeout"), "  MailTimeout         default  (none)");
  EXPECT_EQ(setting("SaveArea").substr(0, 42), "  SaveArea            default  /var/crash/");
}

TEST_F(Examples, ConfcheckReadsTheConfiguredFile) {
  const Environment path("MOXEL_CONF", conf("FORMAT_VER=2.0\n"));
  EXPECT_EQ(run("confcheck", {}), 0);
  EXPECT_EQ(output.substr(0, output.find('\n')), scratch.file("conf"));
  EXPECT_EQ(setting("FORMAT_VER"), "  FORMAT_VER          file     2.0");
}

TEST_F(Examples, ConfcheckShowsTheSetsMessagesForAWrongFile) {
  const std::string file = conf("FORMAT_VER=2.0\nBigLimit = 5\n");
  EXPECT_EQ(run("confcheck", {file}), 1);
  EXPECT_EQ(output, "MXL10101E\nSome error detected in Environment Definition File.\nMXL10102E\n" +
                        file + "(Line=2)\n");
  EXPECT_EQ(logged(), Lines{file + "(line=2) : keyword error. (CEnvConf::init)"});

  EXPECT_EQ(run("confcheck", {"/nonexistent"}), 1);
  EXPECT_EQ(output, "MXL10100E\nFailed to load the moxel conf file(/nonexistent)\n");
}

TEST_F(Examples, ConfcheckFailsWhereItCannotWrite) {
  EXPECT_EQ(run("confcheck", {conf("")}, "/dev/full"), 1);
}

TEST_F(Examples, ExplainPrintsTheCatalogueAndOneLine) {
  EXPECT_EQ(run("explain", {"HTTP", "-14", "5"}), 0);
  EXPECT_EQ(errors, "");
  EXPECT_EQ(
      output,
      "(HTTP) \xa5\xe1\xa5\xe2\xa5\xea\xa4\xac\xc9\xd4\xc2\xad\xa4\xb7\xa4\xc6\xa4\xa4\xa4\xde"
      "\xa4\xb9\xa1\xa3\n"
      "\xc9\xd4\xcd\xd7\xa4\xca\xa5\xa2\xa5\xd7\xa5\xea\xa5\xb1\xa1\xbc\xa5\xb7\xa5\xe7\xa5\xf3"
      "\xa4\xf2\xbd\xaa\xce\xbb\xb8\xe5\xa1\xa2\xba\xc6\xc5\xd9\xc1\xe0\xba\xee\xa4\xf2\xbc\xc2"
      "\xbb\xdc\xa4\xb7\xa4\xc6\xa4\xaf\xa4\xc0\xa4\xb5\xa4\xa4\xa1\xa3\n"
      "RL:-14,QD-Agent:5\n(HTTP) RL:-14,QD-Agent:5,Mailsvr:\"\"\n");
  EXPECT_EQ(run("explain", {"SMTP", "-1", "0", "535 no %s"}), 0);
  EXPECT_EQ(output, "(SMTP) RL:-1,QD-Agent:0\n(SMTP) RL:-1,QD-Agent:0,Mailsvr:\"535 no %s\"\n");
}

TEST_F(Examples, HelpIsPrinted) {
  for (const char* program : {"confcheck", "explain"}) {
    EXPECT_EQ(run(program, {"-h"}), 0);
    EXPECT_EQ(output.substr(0, 7), "usage: ") << program;
    EXPECT_EQ(errors, "");
  }
}

TEST_F(Examples, WrongUseIsToldOnStandardError) {
  struct {
    const char* program;
    std::vector<std::string> arguments;
    const char* message;
  } const rows[] = {
      {"confcheck", {"-x"}, "confcheck: unknown option: -x\n"},
      {"confcheck", {""}, "confcheck: unknown option: \n"},
      {"confcheck", {"a", "b"}, "confcheck: too many arguments: b\n"},
      {"explain", {}, "explain: too few arguments: none given\n"},
      {"explain", {"HTTP", "1"}, "explain: too few arguments: 1\n"},
      {"explain", {"HTTP", "1", "2", "m", "x"}, "explain: too many arguments: x\n"},
      {"explain", {"http", "1", "2"}, "explain: neither SMTP nor HTTP: http\n"},
      {"explain", {"HTTP", "one", "2"}, "explain: no number: one\n"},
      {"explain", {"HTTP", "1", ""}, "explain: no number: \n"},
      {"explain", {"HTTP", "1", "2x"}, "explain: no number: 2x\n"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(run(row.program, row.arguments), 2) << row.message;
    EXPECT_EQ(output, "");
    EXPECT_EQ(errors.substr(0, errors.find("usage: ")), row.message);
  }
}

}  // namespace
