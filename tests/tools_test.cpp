// The small commands as they are built.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "CLog.h"
#include "CMutex.h"
#include "ExtErrCatalogue.h"
#include "Process.h"
#include "Scratch.h"
#include "common.h"

namespace {

class Tools : public LogTest {
 protected:
  Tools() : m_conf("MOXEL_CONF", std::nullopt), m_language("LC_ALL", "C") {}

  int run(const std::string& program, const std::vector<std::string>& arguments) {
    return run(program, arguments, scratch.file("output"));
  }
  int run(const std::string& program, const std::vector<std::string>& arguments,
          const std::string& outputFile, const std::string& inputFile = "/dev/null") {
    const std::string path = m_programs + "/" + program;
    std::vector<char*> argv = {const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments)
      argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    const int status = inChild([&] {
      const int out = open(outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      const int err = open(scratch.file("errors").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      const int in = open(inputFile.c_str(), O_RDONLY);
      if (dup2(in, STDIN_FILENO) == -1 || dup2(out, STDOUT_FILENO) == -1 ||
          dup2(err, STDERR_FILENO) == -1) {
        return 100;
      }
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

  // Lets a child without root's rights run the program, wherever it was built, and write the
  // outputs.
  void openToOthers(const std::string& program) {
    chmod(scratch.path().c_str(), 0755);
    std::filesystem::copy_file(m_programs + "/" + program, scratch.file(program));
    m_programs = scratch.path();
    for (const char* name : {"output", "errors"}) {
      writeFile(scratch.file(name), "");
      chmod(scratch.file(name).c_str(), 0666);
    }
  }

  std::string output;
  std::string errors;

 private:
  std::string m_programs = MOXEL_BUILD_DIR;
  Environment m_conf;
  Environment m_language;
};

TEST_F(Tools, ConfcheckShowsEverySettingWithUnitAndSource) {
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

// What the tools get, and beside it what the file says where that is something else.
TEST_F(Tools, ConfcheckMarksWhatIsReplacedOrCut) {
  const std::string hosts = "/x/" + getHostname() + "  (the file says \"/x/$HOSTNAME$\")";
  struct {
    const char* keyword;
    const char* text;
    std::string shown;
  } const rows[] = {
      {"SaveArea", "/x/$HOSTNAME$", hosts},
      {"SaveCore", "/x/$HOSTNAME$", hosts},
      {"BigLimit", "007kb", "7 KB"},
      {"BigLimit", "2Mb", "2048 KB"},
      {"BigLimit", "99999999999kb", "2147483647 KB  (the file says \"99999999999kb\")"},
      {"BigLimit", "2097152mb", "-2147483648 KB  (the file says \"2097152mb\")"},
      {"BigLimit", "kb", "0 KB  (the file says \"kb\")"},
      {"BigLimit", "", "0 KB  (the file says \"\")"},
      {"MaxSendTotal", "10mb", "10240 KB"},
      {"MaxSendTotal", "20mb # much", "10240 KB  (the file says \"20mb\")"},
      {"RCExtremeTime", "99", "99 hours"},
      {"RCExtremeTime", "100hour", "0 hours  (the file says \"100hour\")"},
      {"RCExtremeTime", "12Hour", "12 hours  (the file says \"12Hour\")"},
      {"RCExtremeFrequency", "-3", "0 hours  (the file says \"-3\")"},
      {"RCWaitLimit", "90min", "90 minutes"},
      {"RCWaitLimit", "0", "180 minutes  (the file says \"0\")"},
      {"RCWaitLimit", "2hour", "2 minutes  (the file says \"2hour\")"},
      {"AutoCleaning", "on", "yes"},
      {"AutoCleaning", "off", "no"},
      {"SysLogFacility", "24", "LOG_DAEMON"},
      {"SysLogFacility", "5", "5"},
      {"SysLogFacility", "4294967299", "3  (the file says \"4294967299\")"},
      {"SysLogFacility", "log_daemon", "LOG_USER  (the file says \"log_daemon\")"},
      {"SysLogPriority", "LOG_ERR", "LOG_ERR"},
      {"SysLogPriority", "error", "LOG_INFO  (the file says \"error\")"},
      {"SaveArea", "/a b/$HOSTNAME", "/a b/$HOSTNAME"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(run("confcheck", {conf(std::string(row.keyword) + "=" + row.text)}), 0);
    std::string line = "  " + std::string(row.keyword);
    line.resize(22, ' ');
    EXPECT_EQ(setting(row.keyword), line + "file     " + row.shown);
  }
}

TEST_F(Tools, ConfcheckReadsTheConfiguredFile) {
  const Environment path("MOXEL_CONF", conf("FORMAT_VER=2.0\n"));
  EXPECT_EQ(run("confcheck", {}), 0);
  EXPECT_EQ(output.substr(0, output.find('\n')), scratch.file("conf"));
  EXPECT_EQ(setting("FORMAT_VER"), "  FORMAT_VER          file     2.0");
  EXPECT_EQ(run("confcheck", {"--"}), 0);
  EXPECT_EQ(setting("FORMAT_VER"), "  FORMAT_VER          file     2.0");
}

// Also where nothing can be logged.
TEST_F(Tools, ConfcheckShowsEveryWrongLineWithItsReason) {
  const Environment log("MOXEL_LOG", scratch.file("none/moxel.log"));
  const std::string file = conf("FORMAT_VER=2.0\nBigLimit = 5 # 5\n\nRCCollect=1\nnone\n");
  EXPECT_EQ(run("confcheck", {file}), 1);
  EXPECT_EQ(output, "");
  EXPECT_EQ(errors, "confcheck: " + file + ":2: keyword error.\n  BigLimit = 5 # 5\n" +
                        "confcheck: " + file + ":4: value error.\n  RCCollect=1\n" +
                        "confcheck: " + file + ":5: keyword not exist.\n  none\n");
  // A long line counts in pieces, as the library counts it.
  EXPECT_EQ(run("confcheck", {conf("#" + std::string(9000, ' ') + "x\n")}), 1);
  EXPECT_EQ(errors, "confcheck: " + file + ":2: keyword not exist.\n  x\n");
}

TEST_F(Tools, ConfcheckTellsWhyAFileCannotBeRead) {
  EXPECT_EQ(run("confcheck", {scratch.file("none")}), 1);
  EXPECT_EQ(errors, "confcheck: " + scratch.file("none") + ": No such file or directory\n");
  EXPECT_EQ(run("confcheck", {""}), 1);
  EXPECT_EQ(errors, "confcheck: : No such file or directory\n");
  EXPECT_EQ(run("confcheck", {scratch.path()}), 1);
  EXPECT_EQ(errors, "confcheck: " + scratch.path() + ": Is a directory\n");
  EXPECT_EQ(output, "");

  ASSERT_EQ(mkfifo(scratch.file("pipe").c_str(), 0600), 0);
  EXPECT_EQ(run("confcheck", {scratch.file("pipe")}), 1);
  EXPECT_EQ(errors, "confcheck: " + scratch.file("pipe") + ": a pipe can be read only once\n");

  const std::string file = conf("");
  chmod(file.c_str(), 0);
  openToOthers("confcheck");
  expectInChild([&] {
    dropPrivileges();
    EXPECT_EQ(run("confcheck", {file}), 1);
    EXPECT_EQ(errors, "confcheck: " + file + ": Permission denied\n");
  });
}

TEST_F(Tools, ConfcheckPrintsNothingButErrorsWhenQuiet) {
  EXPECT_EQ(run("confcheck", {"-q", conf("BigLimit=1")}), 0);
  EXPECT_EQ(output + errors, "");
  EXPECT_EQ(run("confcheck", {"-q", conf("BigLimit=x")}), 1);
  EXPECT_EQ(errors, "confcheck: " + scratch.file("conf") + ":1: value error.\n  BigLimit=x\n");
}

// The texts in UTF-8.
constexpr char kNoAddress[] =
    "(SMTP) 有効なメールアドレスがありません。\nE-Mailアドレスが正しく設定されていません。\n"
    "RL:-19,QD-Agent:-5\n(SMTP) RL:-19,QD-Agent:-5,Mailsvr:\"";

TEST_F(Tools, ExplainPrintsTheCatalogueAndOneLine) {
  const Environment utf8("LC_ALL", "C.UTF-8");
  EXPECT_EQ(run("explain", {"SMTP", "-19", "-5"}), 0);
  EXPECT_EQ(errors, "");
  EXPECT_EQ(output, std::string(kNoAddress) + "\"\n");
  EXPECT_EQ(run("explain", {"--", "SMTP", "-19", "-5", "550 宛先"}), 0);
  EXPECT_EQ(output, std::string(kNoAddress) + "550 宛先\"\n");
  EXPECT_EQ(run("explain", {"SMTP", "-1", "0", "535 no %s"}), 0);
  EXPECT_EQ(output, "(SMTP) RL:-1,QD-Agent:0\n(SMTP) RL:-1,QD-Agent:0,Mailsvr:\"535 no %s\"\n");
}

TEST_F(Tools, ExplainPrintsTheBytesOfTheCatalogueWhenRaw) {
  const Environment utf8("LC_ALL", "C.UTF-8");
  EXPECT_EQ(run("explain", {"--raw", "HTTP", "-14", "5", "\xff"}), 0);
  // メモリが不足しています。不要なアプリケーションを終了後、再度操作を実施してください。
  EXPECT_EQ(
      output,
      "(HTTP) \xa5\xe1\xa5\xe2\xa5\xea\xa4\xac\xc9\xd4\xc2\xad\xa4\xb7\xa4\xc6\xa4\xa4\xa4\xde"
      "\xa4\xb9\xa1\xa3\n"
      "\xc9\xd4\xcd\xd7\xa4\xca\xa5\xa2\xa5\xd7\xa5\xea\xa5\xb1\xa1\xbc\xa5\xb7\xa5\xe7\xa5\xf3"
      "\xa4\xf2\xbd\xaa\xce\xbb\xb8\xe5\xa1\xa2\xba\xc6\xc5\xd9\xc1\xe0\xba\xee\xa4\xf2\xbc\xc2"
      "\xbb\xdc\xa4\xb7\xa4\xc6\xa4\xaf\xa4\xc0\xa4\xb5\xa4\xa4\xa1\xa3\n"
      "RL:-14,QD-Agent:5\n(HTTP) RL:-14,QD-Agent:5,Mailsvr:\"\xff\"\n");
}

// The locale C has no Japanese: one "?" for each character, or the C library's own for it.
TEST_F(Tools, ExplainReplacesWhatTheLocaleCannotShow) {
  EXPECT_EQ(run("explain", {"SMTP", "-19", "-5"}), 0);
  EXPECT_EQ(output.substr(0, 10), "(SMTP) ???");
  for (const char c : output) EXPECT_EQ(c & 0x80, 0);
  const Environment utf8("LC_ALL", "C.UTF-8");
  EXPECT_EQ(run("explain", {"SMTP", "-1", "0",
                            "a\xff"
                            "b"}),
            0);
  EXPECT_NE(output.find("Mailsvr:\"a?b\""), std::string::npos);
}

TEST_F(Tools, ExplainListsTheCatalogue) {
  const Environment utf8("LC_ALL", "C.UTF-8");
  int rows = 0;
  std::string first[2];
  for (const EXTERR* row = gExtErrCatalogue; row->rmCode != kExtErrEnd; ++row) ++rows;
  EXPECT_EQ(run("explain", {"--list"}), 0);
  EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), rows);
  EXPECT_NE(output.find("SMTP   -19     -5  有効なメールアドレスがありません。\n"),
            std::string::npos);
  const std::string all = output;

  EXPECT_EQ(run("explain", {"--list", "HTTP"}), 0);
  const std::string web = output;
  EXPECT_EQ(web.find("SMTP"), std::string::npos);
  EXPECT_NE(web.find("HTTP   -14      5  メモリが不足しています。\n"), std::string::npos);
  EXPECT_EQ(run("explain", {"--list", "SMTP"}), 0);
  EXPECT_EQ(web.size() + output.size(), all.size());
}

TEST_F(Tools, ExplainReadsRecords) {
  const Environment utf8("LC_ALL", "C.UTF-8");
  const auto read = [&](const std::string& records) {
    writeFile(scratch.file("records"), records);
    return run("explain", {"-"}, scratch.file("output"), scratch.file("records"));
  };
  EXPECT_EQ(read("-19\n1\n-5\n550 x\n0\n0\n0\n\n\n-1\n2\n7\nend"), 0);
  EXPECT_EQ(output, std::string(kNoAddress) +
                        "550 x\"\n\nRL:0, no error of a transport\n\n"
                        "(HTTP) RL:-1,QD-Agent:7\n(HTTP) RL:-1,QD-Agent:7,Mailsvr:\"end\"\n");
  EXPECT_EQ(errors, "");
  EXPECT_EQ(read(""), 0);
  EXPECT_EQ(output + errors, "");
  EXPECT_EQ(read("-19\n1\n-5\nx\n1\n2\n"), 1);
  EXPECT_EQ(output, std::string(kNoAddress) + "x\"\n");
  EXPECT_EQ(errors, "explain: standard input: record 2 is cut off\n");
  EXPECT_EQ(read("-19\n1\n-5\n\x1b[2J\tx\n"), 0);
  EXPECT_EQ(output, std::string(kNoAddress) + "?[2J?x\"\n") << "nothing for the terminal to obey";
  for (const std::string code : {"", "x", "1x", "2147483648", "-99999999999999"}) {
    EXPECT_EQ(read("1\n" + code + "\n1\nmessage\n"), 1);
    EXPECT_EQ(errors, "explain: standard input: record 1: no number of 32 bits: " + code + "\n");
  }
  EXPECT_EQ(run("explain", {"-"}, scratch.file("output"), scratch.path()), 1);
  EXPECT_EQ(errors, "explain: standard input: Is a directory\n");
}

// The semaphore of the scratch log, in the states that tools or others leave it in.
class ToolsLoglock : public Tools {
 protected:
  ~ToolsLoglock() override { semctl(set(), 0, IPC_RMID); }

  key_t key() const { return ftok(scratch.path().c_str(), CMutex::kProject); }
  int set() const { return setOf(scratch.path()); }

  // A set as a process leaves it that is killed before it has set it free.
  void makeTaken() { ASSERT_NE(semget(key(), 1, IPC_CREAT | IPC_EXCL | 0600), -1); }

  std::string lastLine() const {
    const size_t end = output.size() - 1;
    return output.substr(output.rfind('\n', end - 1) + 1);
  }
};

TEST_F(ToolsLoglock, TellsThatThereIsNone) {
  EXPECT_EQ(run("loglock", {}), 0);
  EXPECT_EQ(output, format("log file    %s\ndirectory   %s\nkey         0x%08x\n", C(logPath()),
                           C(scratch.path()), static_cast<unsigned>(key())) +
                        "There is no semaphore; it will belong to whoever logs first.\n");
  EXPECT_EQ(set(), -1) << "looking makes none";
  EXPECT_EQ(run("loglock", {"--free"}), 0);
  EXPECT_EQ(lastLine(), "There is no semaphore; it will belong to whoever logs first.\n");
}

TEST_F(ToolsLoglock, MakesAFreeOne) {
  EXPECT_EQ(run("loglock", {"--make"}), 0);
  EXPECT_EQ(lastLine(), "It is free.\n");
  EXPECT_EQ(semctl(set(), 0, GETVAL), 1);
  gLog.ilog("a line");
  EXPECT_EQ(logged(), Lines{"a line"});

  // One that is there stays as it is.
  CMutex mutex(scratch.path().c_str(), 1, false);
  ASSERT_TRUE(mutex.init(0) && mutex.lock(false));
  const int before = set();
  EXPECT_EQ(run("loglock", {"--make"}), 0);
  EXPECT_EQ(set(), before);
  EXPECT_EQ(semctl(set(), 0, GETVAL), 0);
}

TEST_F(ToolsLoglock, ShowsWhoHoldsIt) {
  CMutex mutex(scratch.path().c_str(), 1, false);
  ASSERT_TRUE(mutex.init(0));
  EXPECT_EQ(run("loglock", {}), 0);
  EXPECT_EQ(lastLine(), "It is free.\n");
  ASSERT_TRUE(mutex.lock(false));
  const pid_t waiter = startChild([&] { return mutex.lock(true) ? 0 : 1; });
  ASSERT_TRUE(eventually([&] { return waitersFor(scratch.path()) == 1; }));
  EXPECT_EQ(run("loglock", {}), 0);
  EXPECT_NE(output.find(format("(%d)\nvalue       0\nlast used   by process %d\nwaiting     1\n",
                               static_cast<int>(geteuid()), static_cast<int>(getpid()))),
            std::string::npos)
      << output;
  EXPECT_EQ(lastLine(), format("It is held by process %d.\n", static_cast<int>(getpid())));

  EXPECT_EQ(run("loglock", {"--free"}), 1);
  EXPECT_EQ(errors, format("loglock: process %d holds it; --force removes it all the same\n",
                           static_cast<int>(getpid())));
  EXPECT_NE(set(), -1);
  EXPECT_EQ(run("loglock", {"--free", "--force"}), 0);
  EXPECT_EQ(lastLine(), "There is no semaphore; it will belong to whoever logs first.\n");
  EXPECT_EQ(set(), -1);
  EXPECT_EQ(exitCode(waitFor(waiter)), 1) << "its wait ended";
}

TEST_F(ToolsLoglock, TellsThatNobodyHoldsIt) {
  const std::string wrong = "It is taken, and nobody holds it: loglock --free --make.\n";
  makeTaken();
  EXPECT_EQ(run("loglock", {}), 1);
  EXPECT_EQ(lastLine(), wrong);
  EXPECT_NE(output.find("last used   by no process that is known\n"), std::string::npos);
  EXPECT_EQ(run("loglock", {"--make"}), 1) << "it mends nothing by itself";
  EXPECT_EQ(lastLine(), wrong);

  // Set so by a process that is gone.
  const pid_t gone = startExpecting([&] { EXPECT_EQ(semctl(set(), 0, SETVAL, 0), 0); });
  EXPECT_EQ(exitCode(waitFor(gone)), 0);
  EXPECT_EQ(run("loglock", {}), 1);
  EXPECT_EQ(lastLine(), wrong);
  EXPECT_NE(output.find(format("by process %d, which is gone\n", static_cast<int>(gone))),
            std::string::npos);

  EXPECT_EQ(run("loglock", {"--free"}), 0);
  EXPECT_EQ(set(), -1);

  makeTaken();
  EXPECT_EQ(run("loglock", {"--free", "--make"}), 0);
  EXPECT_EQ(lastLine(), "It is free.\n");
}

TEST_F(ToolsLoglock, TellsThatItLetsTwoWriteAtOnce) {
  ASSERT_EQ(run("loglock", {"--make"}), 0);
  ASSERT_EQ(semctl(set(), 0, SETVAL, 2), 0);
  EXPECT_EQ(run("loglock", {}), 1);
  EXPECT_EQ(lastLine(),
            "It lets 2 tools write at once, which mixes lines: loglock --free --make.\n");
}

// Whoever made it keeps an owner's rights when it is given away.
TEST_F(ToolsLoglock, TellsThatItBelongsToAStranger) {
  constexpr uid_t kStranger = 12345;
  ASSERT_EQ(run("loglock", {"--make"}), 0);
  semid_ds status = {};
  ASSERT_EQ(semctl(set(), 0, IPC_STAT, &status), 0);
  status.sem_perm.uid = kStranger;
  ASSERT_EQ(semctl(set(), 0, IPC_SET, &status), 0);
  EXPECT_EQ(run("loglock", {}), 1);
  EXPECT_NE(output.find("owner       (12345)\n"), std::string::npos);
  EXPECT_EQ(lastLine(), "It belongs to (12345): loglock --free --force --make.\n");
  EXPECT_EQ(run("loglock", {"--free"}), 0) << "nobody holds it";
}

TEST_F(ToolsLoglock, TellsThatAStrangerHasMadeIt) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  expectInChild([&] {
    dropPrivileges();
    EXPECT_NE(semget(key(), 1, IPC_CREAT | IPC_EXCL | 0600), -1);
  });
  semid_ds status = {};
  ASSERT_EQ(semctl(set(), 0, IPC_STAT, &status), 0);
  status.sem_perm.uid = 0;
  ASSERT_EQ(semctl(set(), 0, IPC_SET, &status), 0);
  EXPECT_EQ(run("loglock", {}), 1);
  EXPECT_NE(output.find("owner       root (0)\n"), std::string::npos);
  EXPECT_EQ(lastLine().substr(0, 14), "It belongs to ");
}

TEST_F(ToolsLoglock, TellsWhatCannotBeSeen) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  ASSERT_EQ(run("loglock", {"--make"}), 0);
  openToOthers("loglock");
  expectInChild([&] {
    dropPrivileges();
    EXPECT_EQ(run("loglock", {}), 1);
    EXPECT_EQ(errors, "loglock: semaphore: Permission denied\n");
    EXPECT_EQ(lastLine().substr(0, 14), "key         0x");
  });
}

TEST_F(ToolsLoglock, TellsThatThereIsNoDirectory) {
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/var/log"));
    const Environment log("MOXEL_LOG", scratch.file("none/moxel.log"));
    EXPECT_EQ(run("loglock", {}), 1);
    EXPECT_EQ(errors, "loglock: /var/log/kardo/moxel/log: No such file or directory\n");
  });
}

// The tool that its page takes apart.
TEST_F(Tools, TheFirstToolDoesWhatItsPageSays) {
  const Environment path("MOXEL_CONF", conf(""));
  const Environment trace("MOXEL_LOG_LEVEL", "LOG_LEVEL_TRACE");
  EXPECT_EQ(run("first_tool", {}), 0);
  EXPECT_EQ(errors, "");
  EXPECT_EQ(output.substr(0, output.rfind(' ')),
            "The basic information is being collected.\nThe collected files take up");
  const Lines lines = logged();
  const auto made = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
    return line.find("com=df -kP >/tmp/first_tool") != std::string::npos;
  });
  ASSERT_NE(made, lines.end());
  EXPECT_FALSE(exists(made->substr(made->find("/tmp/")))) << "its file is gone";

  conf("SaveCore=x\nBigLimit=x\n");
  EXPECT_EQ(run("first_tool", {}), 1);
  EXPECT_EQ(output.substr(0, 10), "MXL10101E\n");
}

TEST_F(Tools, AFullOutputIsAFailure) {
  struct {
    const char* program;
    std::vector<std::string> arguments;
  } const rows[] = {
      {"confcheck", {conf("")}}, {"confcheck", {"-h"}},           {"confcheck", {"--version"}},
      {"explain", {"--list"}},   {"explain", {"HTTP", "1", "2"}}, {"explain", {"--help"}},
      {"loglock", {}},           {"loglock", {"--help"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(run(row.program, row.arguments, "/dev/full"), 1) << row.program;
    EXPECT_EQ(errors, std::string(row.program) + ": standard output: No space left on device\n");
  }
}

TEST_F(Tools, HelpAndVersionArePrinted) {
  for (const std::string program : {"confcheck", "explain", "loglock"}) {
    for (const char* option : {"-h", "--help"}) {
      EXPECT_EQ(run(program, {option}), 0);
      EXPECT_EQ(output.substr(0, 7 + program.size()), "usage: " + program) << option;
      EXPECT_EQ(errors, "");
    }
    EXPECT_EQ(run(program, {"--version"}), 0);
    EXPECT_EQ(output, program + " (moxel) " MOXEL_VERSION "\n");
    EXPECT_EQ(errors, "");
  }
}

TEST_F(Tools, WrongUseIsToldOnStandardError) {
  struct {
    const char* program;
    std::vector<std::string> arguments;
    const char* message;
  } const rows[] = {
      {"confcheck", {"a", "b"}, "confcheck: too many arguments: b\n"},
      {"confcheck", {"a", "-q"}, "confcheck: too many arguments: -q\n"},
      {"explain", {}, "explain: too few arguments: none\n"},
      {"explain", {"HTTP", "1"}, "explain: too few arguments: 1\n"},
      {"explain", {"HTTP", "1", "2", "m", "x"}, "explain: too many arguments: x\n"},
      {"explain", {"http", "1", "2"}, "explain: neither SMTP nor HTTP: http\n"},
      {"explain", {"HTTP", "one", "2"}, "explain: no number of 32 bits: one\n"},
      {"explain", {"HTTP", "1", ""}, "explain: no number of 32 bits: \n"},
      {"explain", {"HTTP", "1", "2x"}, "explain: no number of 32 bits: 2x\n"},
      {"explain", {"HTTP", "-2147483649", "2"}, "explain: no number of 32 bits: -2147483649\n"},
      {"explain", {"HTTP", "1", "2147483648"}, "explain: no number of 32 bits: 2147483648\n"},
      {"explain", {"--list", "-"}, "explain: neither SMTP nor HTTP: -\n"},
      {"explain", {"--list", "HTTP", "1"}, "explain: too many arguments: 1\n"},
      {"explain", {"-", "1"}, "explain: too many arguments: 1\n"},
      {"loglock", {"x"}, "loglock: unknown argument: x\n"},
      {"loglock", {"--make", "--force"}, "loglock: only with --free: --force\n"},
      {"loglock", {"--force"}, "loglock: only with --free: --force\n"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(run(row.program, row.arguments), 2) << row.message;
    EXPECT_EQ(output, "");
    EXPECT_EQ(errors.substr(0, errors.find("usage: ")), row.message);
  }
  for (const std::string program : {"confcheck", "explain", "loglock"}) {
    EXPECT_EQ(run(program, {"-x"}), 2);
    EXPECT_EQ(output, "");
    EXPECT_EQ(errors.substr(0, errors.find("usage: ")), program + ": invalid option -- 'x'\n");
  }
}

}  // namespace
