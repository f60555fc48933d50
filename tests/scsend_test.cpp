// The command as it is built, at its real paths, in mounts of its own.

#include <elf.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/securebits.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Process.h"
#include "Reports.h"
#include "Scratch.h"

namespace {

namespace fs = std::filesystem;

// Whether the command is built to be watched at its run.
#if defined(MOXEL_COVERAGE) || defined(__SANITIZE_ADDRESS__)
constexpr bool kMeasured = true;
#else
constexpr bool kMeasured = false;
#endif

const std::string kCommand = "/opt/kardo/moxel/bin/scsend";
const std::string kScript = "/opt/kardo/moxel/bin/scsend.sh";
const std::string kAgent = "/opt/ZQRNvek/lib/libvekcom.so.2.0";
const std::string kLog = "/var/log/kardo/moxel/log/moxel.log";
const std::string kCommandLine = kScript + " -v 2>/dev/null";

class Scsend : public testing::Test {
 protected:
  Scsend() {
    for (const char* name : {"VEKCOM_STATUS", "VEKCOM_RESULT", "MOXEL_LOG", "MOXEL_LOG_LEVEL"}) {
      environment[name] = "";
    }
    environment["VEKCOM_LOG"] = scratch.file("calls");
  }

  // Installs command, agent and script over empty /opt and /var/log and runs the command there.
  void run() {
    const std::string command = readFile(MOXEL_BUILD_DIR "/scsend");
    const std::string library = readFile(agent);
    expectInChild([&] {
      ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/opt") && mountEmpty("/var/log"));
      for (const auto& path : {kCommand, kAgent})
        fs::create_directories(fs::path(path).parent_path());
      writeFile(kCommand, command, 0755);
      if (!agent.empty()) writeFile(kAgent, library);
      if (hasScript) writeFile(kScript, script, scriptMode);
      if (hasLogDirectory) fs::create_directories(fs::path(kLog).parent_path());

      // What the command's children leave behind becomes a child here.
      ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
      const pid_t pid = startChild([&] { return execute(); });
      writeFile(scratch.file("status"), std::to_string(waitFor(pid)));
      if (mayLeaveOrphan) waitpid(-1, nullptr, 0);
      ASSERT_FALSE(hasChildren());
      writeFile(scratch.file("pid"), std::to_string(pid));
      writeFile(scratch.file("log"), readFile(kLog));
      struct stat logStatus = {};
      if (stat(kLog.c_str(), &logStatus) == 0)
        writeFile(scratch.file("mode"), std::to_string(logStatus.st_mode & 07777));
      std::string files;
      for (const char* top : {"/opt", "/var/log"}) {
        for (const auto& entry : fs::recursive_directory_iterator(top)) {
          if (!entry.is_directory()) files += entry.path().string() + "\n";
        }
      }
      writeFile(scratch.file("files"), files);
    });
    if (HasFatalFailure()) return;
    const int waitStatus = std::stoi(readFile(scratch.file("status")));
    status = exitCode(waitStatus);
    signal = WIFSIGNALED(waitStatus) ? WTERMSIG(waitStatus) : 0;
    pid = readFile(scratch.file("pid"));
    output = readFile(scratch.file("output"));
    errors = readFile(scratch.file("errors"));
    calls = readFile(scratch.file("calls"));
    files.clear();
    std::istringstream names(readFile(scratch.file("files")));
    for (std::string name; std::getline(names, name);) {
      files.insert(name);
      const bool known = name == kAgent || name == kCommand || name == kScript || name == kLog;
      EXPECT_TRUE(known) << name << " is left";
    }
    log.clear();
    stamps.clear();
    for (const auto& line : parseLog(readFile(scratch.file("log")))) {
      EXPECT_EQ(std::to_string(line.pid), pid);
      log.push_back(line.text);
      stamps.push_back(line.stamp);
    }
  }

  int execute() {
    const int out = open(scratch.file("output").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int err = open(scratch.file("errors").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (dup2(out, STDOUT_FILENO) == -1 || dup2(err, STDERR_FILENO) == -1) return 101;
    close(out);
    close(err);
    for (const auto& [name, value] : environment) {
      if (value.empty()) {
        unsetenv(name.c_str());
      } else {
        setenv(name.c_str(), value.c_str(), 1);
      }
    }
    if (beforeStart) beforeStart();
    execl(kCommand.c_str(), "scsend", static_cast<char*>(nullptr));
    return 102;
  }

  void expectRun(int expectedStatus, const std::string& expectedOutput) {
    run();
    EXPECT_EQ(status, expectedStatus);
    EXPECT_EQ(output, expectedOutput);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(calls, "VEK_GetStatus 0\n") << "one question, nothing started or stopped";
  }

  Scratch scratch;

  // What to run.
  std::string agent = MOXEL_BUILD_DIR "/libvekcom.so.2.0";
  std::string script = "#!/bin/sh\n";
  mode_t scriptMode = 0755;
  bool hasScript = true;
  bool hasLogDirectory = true;
  bool mayLeaveOrphan = false;  // the script outlives its shell
  std::map<std::string, std::string> environment;
  std::function<void()> beforeStart;

  // What came of it.
  int status = 0;
  int signal = 0;
  std::string pid;
  std::string output;
  std::string errors;
  std::string calls;
  std::set<std::string> files;
  std::vector<std::string> log;
  std::vector<std::string> stamps;  // of the log's lines
};

// As the log writes a time, of the universal time zone.
std::string universalTime(time_t seconds) {
  char stamp[] = "YYYY/MM/DD hh:mm:ss";
  strftime(stamp, sizeof stamp, "%Y/%m/%d %H:%M:%S", gmtime(&seconds));
  return stamp;
}

// ---- Outcomes ----------------------------------------------------------------------------------

TEST_F(Scsend, ASilentScriptLeavesOneLine) { expectRun(0, kCompleted); }

TEST_F(Scsend, TheScriptsLinesFollowAnEmptyLine) {
  script = "#!/bin/sh\necho a\necho b\n";
  expectRun(0, kCompleted + "\na\nb");
}

TEST_F(Scsend, AFailedScriptsStatusIsPassedOn) {
  script = "#!/bin/sh\necho a\necho b\nexit 3\n";
  expectRun(3, kNotCompleted + "\na\nb");
}

TEST_F(Scsend, AFailedSilentScriptLeavesOneLine) {
  script = "#!/bin/sh\nexit 255\n";
  expectRun(255, kNotCompleted);
}

TEST_F(Scsend, AScriptKilledByASignalIsNotCompleted) {
  script = "#!/bin/sh\necho before\nkill -9 $$\n";
  // The shell that runs the command line has the script's place or reports 128 and the signal.
  run();
  EXPECT_EQ(output, kNotCompleted + "\nbefore");
  ASSERT_EQ(log.size(), 2u);
  const std::string waitStatus = log[0].substr(log[0].find(','));
  EXPECT_TRUE((waitStatus == ",wstat=00008900" && status == 137) ||
              (waitStatus == ",wstat=00000009" && status == 255))
      << waitStatus << " " << status;
}

TEST_F(Scsend, AShellKilledByASignalIsNotCompleted) {
  // The command line's shell, which is the script's parent or has become the script.
  script =
      "#!/bin/sh\necho before\n"
      "case $(tr '\\0' ' ' </proc/$PPID/cmdline) in */sh*-c*) kill -9 $PPID ;; esac\nkill -9 $$\n";
  mayLeaveOrphan = true;
  run();
  EXPECT_EQ(output, kNotCompleted + "\nbefore");
  EXPECT_EQ(status, 255);
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].substr(log[0].find(',')), ",wstat=00000009");
}

TEST_F(Scsend, AMissingScriptIsNotCompleted) {
  hasScript = false;
  expectRun(127, kNotCompleted);
}

TEST_F(Scsend, AScriptThatIsNotExecutableIsNotCompleted) {
  scriptMode = 0644;
  expectRun(126, kNotCompleted);
}

TEST_F(Scsend, TheScriptIsRunVerboselyWithoutErrorOutput) {
  script = "#!/bin/sh\necho \"$#:$1\"\necho lost >&2\n";
  expectRun(0, kCompleted + "\n1:-v");
}

TEST_F(Scsend, EveryOtherStatusIsNotInOperation) {
  for (const char* word :
       {"0", "1", "31", "33", "0x10020", "0x10000", "0x20000", "0x30000", "-1"}) {
    script = "#!/bin/sh\necho ran\n";
    environment["VEKCOM_STATUS"] = word;
    unlink(scratch.file("calls").c_str());
    expectRun(255, kNotInOperation);
    EXPECT_TRUE(log.empty());
  }
}

TEST_F(Scsend, AnAgentThatFailsIsNotInOperation) {
  environment["VEKCOM_RESULT"] = "5";
  expectRun(255, kNotInOperation);
}

TEST_F(Scsend, AnAgentThatThrowsAnIntIsNotCompleted) {
  agent = MOXEL_BUILD_DIR "/throwing_agent/libvekcom.so.2.0";
  // The system keeps the low eight bits.
  for (const int thrown : {42, 256, -1, 0}) {
    environment["AGENT_THROWS"] = std::to_string(thrown);
    run();
    EXPECT_EQ(status, thrown & 255);
    EXPECT_EQ(output, kNotCompleted);
  }
}

TEST_F(Scsend, AnyOtherExceptionEndsTheRun) {
  agent = MOXEL_BUILD_DIR "/throwing_agent/libvekcom.so.2.0";
  run();
  EXPECT_EQ(signal, SIGABRT);
  EXPECT_EQ(output, "");
}

TEST_F(Scsend, WithoutTheAgentsLibraryTheCommandDoesNotStart) {
  agent = "";
  run();
  EXPECT_EQ(status, 127);
  EXPECT_EQ(output, "");
  EXPECT_NE(errors.find("libvekcom.so.2.0"), std::string::npos) << errors;
  EXPECT_TRUE(log.empty());
}

// ---- Output ------------------------------------------------------------------------------------

TEST_F(Scsend, TheLastLineHasNoEnd) {
  script = "#!/bin/sh\nprintf 'a\\nunended'\n";
  expectRun(0, kCompleted + "\na\nunended");
}

TEST_F(Scsend, LineEndsOfOtherSystemsAreRemovedEmptyLinesStay) {
  script = "#!/bin/sh\nprintf '\\n\\na\\r\\nb\\r\\n\\n'\n";
  expectRun(0, kCompleted + "\n\n\na\nb\n");
  script = "#!/bin/sh\necho\n";
  unlink(scratch.file("calls").c_str());
  expectRun(0, kCompleted + "\n");
}

TEST_F(Scsend, LongLinesArriveInPieces) {
  script = "#!/bin/sh\nhead -c 2500 /dev/zero | tr '\\0' x\necho\n";
  expectRun(0, kCompleted + "\n" + std::string(1023, 'x') + "\n" + std::string(1023, 'x') + "\n" +
                   std::string(454, 'x'));
}

TEST_F(Scsend, BytesPassUnchanged) {
  script = "#!/bin/sh\nprintf '\\244\\242%%s%%n\\001\\377\\n'\n";
  expectRun(0, kCompleted + "\n\xa4\xa2%s%n\x01\xff");
}

TEST_F(Scsend, MuchOutputIsShownWhole) {
  script = "#!/bin/sh\nyes 0123456789012345678901234567890123456789012345678 | head -c 50000000\n";
  run();
  EXPECT_EQ(status, 0);
  ASSERT_EQ(output.size(), kCompleted.size() + 50000000);
  EXPECT_EQ(output.substr(0, kCompleted.size() + 1), kCompleted + "\n");
  const std::string line = "0123456789012345678901234567890123456789012345678\n";
  bool same = true;
  for (size_t at = kCompleted.size() + 1; at < output.size() && same; at += line.size()) {
    same = line.compare(0, std::min(line.size(), output.size() - at), output, at,
                        std::min(line.size(), output.size() - at)) == 0;
  }
  EXPECT_TRUE(same);
}

TEST_F(Scsend, AClosedOutputDoesNotChangeTheStatus) {
  beforeStart = [] { close(STDOUT_FILENO); };
  script = "#!/bin/sh\necho a\n";
  expectRun(0, "");
  script = "#!/bin/sh\necho a\nexit 3\n";
  unlink(scratch.file("calls").c_str());
  expectRun(3, "");
}

TEST_F(Scsend, AFullOutputDoesNotChangeTheStatus) {
  beforeStart = [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); };
  script = "#!/bin/sh\nyes | head -n 100000\nexit 3\n";
  expectRun(3, "");
  script = "#!/bin/sh\necho a\n";
  unlink(scratch.file("calls").c_str());
  expectRun(0, "");
}

// ---- Hostile surroundings ----------------------------------------------------------------------

class ScsendSurroundings : public Scsend {};

TEST_F(ScsendSurroundings, AClosedStandardDescriptorDoesNotChangeTheStatus) {
  script = "#!/bin/sh\necho a\nexit 4\n";
  for (int closed = 1; closed < 8; ++closed) {
    beforeStart = [closed] {
      for (int fd = 0; fd < 3; ++fd) {
        if ((closed & 1 << fd) != 0) close(fd);
      }
    };
    unlink(scratch.file("calls").c_str());
    expectRun(4, (closed & 2) != 0 ? "" : kNotCompleted + "\na");
    ASSERT_EQ(log.size(), 2u) << closed;
  }
}

TEST_F(ScsendSurroundings, ALimitOfFourDescriptorsIsNotCompleted) {
  if (kMeasured) GTEST_SKIP() << "what watches it needs files itself";
  beforeStart = [] {
    close_range(3, ~0U, 0);
    const rlimit four = {4, 4};
    setrlimit(RLIMIT_NOFILE, &four);
  };
  expectRun(255, kNotCompleted);
  EXPECT_EQ(log, Lines{"MXL90003L:failed to pipe():Too many open files"});
}

TEST_F(ScsendSurroundings, ALimitOfFileSizesDoesNotChangeTheStatus) {
  if (kMeasured) GTEST_SKIP() << "what watches it needs files itself";
  // The substitute's own log would end the command.
  environment["VEKCOM_LOG"] = "";
  script = "#!/bin/sh\necho a\nexit 3\n";
  for (const rlim_t bytes : {0, 10}) {
    beforeStart = [bytes] {
      const rlimit limit = {bytes, bytes};
      setrlimit(RLIMIT_FSIZE, &limit);
    };
    run();
    EXPECT_EQ(signal, 0);
    EXPECT_EQ(status, 3);
    EXPECT_EQ(output, kNotCompleted.substr(0, bytes));
    EXPECT_EQ(log, Lines{});
  }
}

TEST_F(ScsendSurroundings, AnOutputWithoutReaderDoesNotChangeTheStatus) {
  script = "#!/bin/sh\nyes | head -n 100000\nexit 3\n";
  beforeStart = [] {
    int ends[2];
    if (pipe(ends) != 0) return;
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
  };
  expectRun(3, "");
  EXPECT_EQ(signal, 0);
}

TEST_F(ScsendSurroundings, NoBufferingChangesTheStatusWithoutReader) {
  // stdbuf loads a library in front of the sanitizer's.
  environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
  for (const char* buffering : {"-o0", "-oL"}) {
    for (const bool operates : {true, false}) {
      script = "#!/bin/sh\necho a line\nexit 3\n";
      environment["VEKCOM_STATUS"] = operates ? "32" : "0";
      beforeStart = [=] {
        int ends[2];
        if (pipe(ends) != 0) return;
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execlp("stdbuf", "stdbuf", buffering, kCommand.c_str(), static_cast<char*>(nullptr));
      };
      unlink(scratch.file("calls").c_str());
      expectRun(operates ? 3 : 255, "");
      EXPECT_EQ(signal, 0) << buffering;
    }
  }
}

TEST_F(ScsendSurroundings, TheScriptDiesOfABrokenPipeAsEverywhere) {
  // What the command ignores for its own output is not ignored for the script.
  beforeStart = [] {
    for (int number = 1; number < SIGRTMIN; ++number) ::signal(number, SIG_DFL);
  };
  script = "#!/bin/sh\ngrep SigIgn /proc/$$/status\n";
  run();
  EXPECT_EQ(output, kCompleted + "\nSigIgn:\t0000000000000000");
}

TEST_F(ScsendSurroundings, ACallerThatIgnoresTheEndOfChildrenIsNotCompleted) {
  // The child's status is lost; its output is not.
  beforeStart = [] { ::signal(SIGCHLD, SIG_IGN); };
  script = "#!/bin/sh\necho a\n";
  expectRun(255, kNotCompleted + "\na");
  ASSERT_EQ(log.size(), 2u);
  EXPECT_NE(log[0].find("wstat=ffffffff"), std::string::npos) << log[0];
}

TEST_F(ScsendSurroundings, AnUmaskOfEverythingClosesTheLogOnly) {
  // The substitute's file is there before: what the mask leaves of it a user could not read.
  writeFile(scratch.file("calls"), "");
  beforeStart = [] { umask(0777); };
  script = "#!/bin/sh\necho a\n";
  expectRun(0, kCompleted + "\na");
  EXPECT_EQ(log.size(), 2u);
  EXPECT_EQ(readFile(scratch.file("mode")), "0") << "the log has what the mask leaves of it";
}

TEST_F(ScsendSurroundings, AWorkingDirectoryThatIsGoneOrClosedChangesNothing) {
  script = "#!/bin/sh\necho a\n";
  for (const bool gone : {true, false}) {
    beforeStart = [&] {
      const std::string directory = scratch.file("cwd");
      mkdir(directory.c_str(), 0700);
      if (chdir(directory.c_str()) != 0) abort();
      chmod(directory.c_str(), 0);
      if (gone) rmdir(directory.c_str());
    };
    unlink(scratch.file("calls").c_str());
    expectRun(0, kCompleted + "\na");
    ASSERT_EQ(log.size(), 2u);
  }
}

TEST_F(ScsendSurroundings, AWorkingDirectoryThatCannotBeReadIsTheScriptsToo) {
  script = "#!/bin/sh\nls . >/dev/null 2>&1 || echo unreadable\n";
  beforeStart = [&] {
    const std::string directory = scratch.file("cwd");
    mkdir(directory.c_str(), 0700);
    if (chdir(directory.c_str()) != 0) abort();
    chmod(directory.c_str(), 0);
    // Root is a user as any other from the next program on.
    if (prctl(PR_SET_SECUREBITS, SECBIT_NOROOT) != 0) abort();
  };
  expectRun(0, kCompleted + "\nunreadable");
  EXPECT_EQ(log.size(), 2u);
}

TEST_F(ScsendSurroundings, VariablesOf100KilobytesChangeNothing) {
  const std::string big(100 << 10, 'x');
  script = "#!/bin/sh\necho a\n";
  for (const char* name : {"LANG", "LC_ALL", "MOXEL_CONF", "MOXEL_LOG_LEVEL", "MOXEL_NOT_DEL_TEMP",
                           "PATH", "HOME", "TZ"}) {
    environment[name] = big;
    unlink(scratch.file("calls").c_str());
    expectRun(0, kCompleted + "\na");
    ASSERT_EQ(log.size(), 2u) << name;
    environment[name] = name == std::string("PATH") ? "/usr/bin:/bin" : "";
  }
  environment["MOXEL_LOG"] = "/" + big;
  unlink(scratch.file("calls").c_str());
  expectRun(0, kCompleted + "\na");
  EXPECT_EQ(log, Lines{});
}

TEST_F(ScsendSurroundings, WithoutItsTimeZoneTheLogIsInUniversalTime) {
  environment["TZ"] = ":/nonexistent/zone";
  script = "#!/bin/sh\necho a\n";
  const time_t before = time(nullptr);
  expectRun(0, kCompleted + "\na");
  const time_t after = time(nullptr);
  ASSERT_EQ(log.size(), 2u);
  for (const std::string& stamp : stamps) {
    EXPECT_GE(stamp, universalTime(before));
    EXPECT_LE(stamp, universalTime(after));
  }
}

TEST_F(ScsendSurroundings, AnEmptyPathIsTheScriptsToo) {
  beforeStart = [] { setenv("PATH", "", 1); };
  script = "#!/bin/sh\necho \"[$PATH]\"\n";
  expectRun(0, kCompleted + "\n[]");
  EXPECT_EQ(log.size(), 2u);
}

// ---- Log ---------------------------------------------------------------------------------------

TEST_F(Scsend, ARunLeavesTheChildsTwoLines) {
  script = "#!/bin/sh\nexit 3\n";
  run();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].substr(0, 14), "MXL90004L:pid=");
  EXPECT_EQ(log[0].substr(log[0].find(',')), ",wstat=00000300");
  EXPECT_EQ(log[1], "MXL90004L:com=" + kCommandLine);
}

TEST_F(Scsend, TraceShowsEveryStep) {
  environment["MOXEL_LOG_LEVEL"] = "LOG_LEVEL_TRACE";
  run();
  ASSERT_EQ(log.size(), 6u);
  EXPECT_EQ(log[0], "[T](common:1359):execGetLines():count=-1," + kCommandLine);
  EXPECT_EQ(log[2], "MXL90004L:com=" + kCommandLine);
  EXPECT_EQ(log[3], "[T](common:573):   WIFEXITED:1 WEXITSTATUS:0");
  EXPECT_EQ(log[4], "[T](common:574): WIFSIGNALED:0    WTERMSIG:0");
  EXPECT_EQ(log[5], "[T](common:575):  WIFSTOPPED:0    WSTOPSIG:0");
}

TEST_F(Scsend, WithoutALogDirectoryTheLinesAreLost) {
  hasLogDirectory = false;
  script = "#!/bin/sh\necho a\n";
  expectRun(0, kCompleted + "\na");
  EXPECT_EQ(files, (std::set<std::string>{kAgent, kCommand, kScript}));
}

TEST_F(Scsend, LeavesNothingButItsLog) {
  script = "#!/bin/sh\necho a\n";
  run();
  EXPECT_EQ(files, (std::set<std::string>{kAgent, kCommand, kScript, kLog}));
}

TEST_F(Scsend, ArgumentsAreNotExamined) {
  beforeStart = [] {
    execl(kCommand.c_str(), "scsend", "--help", "x", static_cast<char*>(nullptr));
  };
  expectRun(0, kCompleted);
}

// ---- The file ----------------------------------------------------------------------------------

// The entries of the dynamic section of a file: tag and, for those that name something, the name.
std::vector<std::pair<long, std::string>> dynamicSection(const std::string& path) {
  const std::string bytes = readFile(path);
  std::vector<std::pair<long, std::string>> entries;
  Elf64_Ehdr header;
  memcpy(&header, bytes.data(), sizeof header);
  const auto section = [&](int index) {
    Elf64_Shdr result;
    memcpy(&result, bytes.data() + header.e_shoff + static_cast<size_t>(index) * sizeof result,
           sizeof result);
    return result;
  };
  for (int index = 0; index < header.e_shnum; ++index) {
    const Elf64_Shdr dynamic = section(index);
    if (dynamic.sh_type != SHT_DYNAMIC) continue;
    const Elf64_Shdr strings = section(static_cast<int>(dynamic.sh_link));
    for (size_t at = 0; at < dynamic.sh_size; at += sizeof(Elf64_Dyn)) {
      Elf64_Dyn entry;
      memcpy(&entry, bytes.data() + dynamic.sh_offset + at, sizeof entry);
      const bool named = entry.d_tag == DT_NEEDED || entry.d_tag == DT_RUNPATH ||
                         entry.d_tag == DT_RPATH || entry.d_tag == DT_SONAME;
      entries.emplace_back(entry.d_tag,
                           named ? bytes.data() + strings.sh_offset + entry.d_un.d_val : "");
    }
  }
  return entries;
}

TEST(ScsendFile, NeedsTheAgentAndSearchesTheTwoDirectoriesOnly) {
  bool needsAgent = false;
  std::vector<std::string> paths;
  for (const auto& [tag, name] : dynamicSection(MOXEL_BUILD_DIR "/scsend")) {
    needsAgent = needsAgent || (tag == DT_NEEDED && name == "libvekcom.so.2.0");
    if (tag == DT_RUNPATH || tag == DT_RPATH) paths.push_back(name);
  }
  EXPECT_TRUE(needsAgent);
  EXPECT_EQ(paths, std::vector<std::string>{"/opt/ZQRNvek/lib:/opt/kardo/moxel/lib"});
}

TEST(ScsendFile, TheSubstituteHasTheAgentsName) {
  std::vector<std::string> names;
  for (const auto& [tag, name] : dynamicSection(MOXEL_BUILD_DIR "/libvekcom.so.2.0")) {
    if (tag == DT_SONAME) names.push_back(name);
  }
  EXPECT_EQ(names, std::vector<std::string>{"libvekcom.so.2.0"});
}

// What `readelf` says of the command.
std::string readelf(const std::string& options) {
  Scratch scratch;
  const std::string output = scratch.file("output");
  EXPECT_EQ(system(("readelf -W " + options + " '" MOXEL_BUILD_DIR "/scsend' >" + output).c_str()),
            0);
  return readFile(output);
}

// The line of `text` that holds `word`, empty when there is none.
std::string lineWith(const std::string& text, const std::string& word) {
  const size_t at = text.find(word);
  if (at == std::string::npos) return "";
  const size_t begin = text.rfind('\n', at) + 1;
  return text.substr(begin, text.find('\n', at) - begin);
}

#if defined(__x86_64__)
// The command's instructions.
std::string disassembly() {
  Scratch scratch;
  const std::string output = scratch.file("output");
  EXPECT_EQ(system(("objdump -d '" MOXEL_BUILD_DIR "/scsend' >" + output).c_str()), 0);
  return readFile(output);
}

TEST(ScsendFile, GuardsItsStackAndItsJumps) {
  if (!MOXEL_HARDENED) GTEST_SKIP() << "a build for measurement only";
  const std::string code = disassembly();
  // A frame of 64 KB touches each of its pages, and the entry is a marked target.
  EXPECT_NE(lineWith(code, "$0x0,(%rsp)"), "");
  const std::string entry = code.substr(code.find("<main>:"));
  EXPECT_NE(entry.substr(0, entry.find('\n', entry.find('\n') + 1)).find("endbr64"),
            std::string::npos);
}
#endif

TEST(ScsendFile, IsHardened) {
  if (!MOXEL_HARDENED) GTEST_SKIP() << "a build for measurement only";
  const std::string header = readelf("-h");
  EXPECT_NE(lineWith(header, "Type:").find("DYN (Position-Independent Executable file)"),
            std::string::npos);
  const std::string segments = readelf("-l");
  EXPECT_NE(lineWith(segments, "GNU_RELRO"), "");
  EXPECT_NE(lineWith(segments, "GNU_STACK").find(" RW "), std::string::npos);
  const std::string dynamic = readelf("-d");
  EXPECT_NE(lineWith(dynamic, "(FLAGS)").find("BIND_NOW"), std::string::npos);
  EXPECT_NE(lineWith(dynamic, "(FLAGS_1)").find("NOW"), std::string::npos);
  EXPECT_EQ(lineWith(dynamic, "TEXTREL"), "");
  const std::string symbols = readelf("--dyn-syms");
  EXPECT_NE(lineWith(symbols, "__stack_chk_fail"), "");
#if defined(NDEBUG)
  EXPECT_NE(lineWith(symbols, "_chk@"), "") << "checked library functions";
#endif
}

}  // namespace
