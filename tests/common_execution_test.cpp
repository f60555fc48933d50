#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ios>
#include <iostream>
#include <list>
#include <new>
#include <string>
#include <vector>

#include "CLog.h"
#include "Memory.h"
#include "Process.h"
#include "Scratch.h"
#include "common.h"

namespace {

using List = std::list<std::string>;

// More than the system passes on in one argument (128 KB): the shell cannot be started.
const std::string kTooLongCommand(200000, ':');

class CommonExecution : public LogTest {
 protected:
  // Runs without an error list.
  int run(const std::string& command, int maxLines = -1) {
    return execGetLines(out, command.c_str(), maxLines, nullptr, -1);
  }
  int runBoth(const std::string& command, int maxErrLines = -1) {
    return execGetLines(out, command.c_str(), -1, &err, maxErrLines);
  }

  List out = {"old"};
  List err = {"old"};
};

// ---- execGetLines: output ----------------------------------------------------------------------

TEST_F(CommonExecution, CapturesLinesAndTheExitCode) {
  EXPECT_EQ(run("echo one; echo two"), 0);
  EXPECT_EQ(out, (List{"one", "two"}));
  EXPECT_EQ(run("exit 3"), 3);
  EXPECT_EQ(out, List{});
  EXPECT_EQ(run("echo a; exit 255"), 255);
  EXPECT_EQ(out, List{"a"});
}

TEST_F(CommonExecution, ANullCommandTouchesNothing) {
  EXPECT_EQ(execGetLines(out, nullptr, -1, &err, -1), -1);
  EXPECT_EQ(out, List{"old"});
  EXPECT_EQ(err, List{"old"});
  EXPECT_EQ(logged(), Lines{"[I](common:1355):invalid param"});
}

TEST_F(CommonExecution, LineEndsAreRemoved) {
  struct {
    const char* text;
    List lines;
  } const rows[] = {
      {"", {}},
      {"last", {"last"}},
      {"a\\n", {"a"}},
      {"a\\nb", {"a", "b"}},
      {"\\n\\n", {"", ""}},
      {"a\\n\\nb\\n", {"a", "", "b"}},
      {"a\\r\\nb\\r\\n", {"a", "b"}},
      {"a\\r", {"a"}},
      {"a\\r\\r\\n", {"a\r"}},
      {"a\\rb\\n", {"a\rb"}},
      {"\\r\\n", {""}},
      {" a \\t\\n", {" a \t"}},
      {"\\244\\242\\n", {"\xa4\xa2"}},
      {"a\\000b\\nc\\n", {"a", "c"}},
      {"\\000\\n", {""}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(run(std::string("printf '") + row.text + "'"), 0);
    EXPECT_EQ(out, row.lines) << row.text;
  }
}

TEST_F(CommonExecution, LongLinesArriveInPiecesOf1023Bytes) {
  const auto text = [](size_t length) { return std::string(length, 'x'); };
  struct {
    size_t length;
    const char* end;
    List lines;
  } const rows[] = {
      {1022, "\\n", {text(1022)}},
      {1023, "\\n", {text(1023), ""}},
      {1023, "", {text(1023)}},
      {1024, "\\n", {text(1023), "x"}},
      {2000, "\\n", {text(1023), text(977)}},
      {2046, "\\n", {text(1023), text(1023), ""}},
      {1021, "\\r\\n", {text(1021)}},
      {1022, "\\r\\n", {text(1022), ""}},
      {1023, "\\r\\n", {text(1023), ""}},
  };
  for (const auto& row : rows) {
    const std::string command =
        format("head -c %zu /dev/zero | tr '\\0' x; printf '%s'", row.length, row.end);
    EXPECT_EQ(run(command), 0);
    EXPECT_EQ(out, row.lines) << row.length << row.end;
  }
}

TEST_F(CommonExecution, PiecesDoNotDependOnHowTheBytesArrive) {
  // Each byte in a write of its own, the writer waiting for nobody.
  EXPECT_EQ(run("for i in 1 2 3 4 5; do printf a; printf b; printf '\\r'; printf '\\n'; done"), 0);
  EXPECT_EQ(out, List(5, "ab"));
  // More than any buffer holds, in lines that do not divide it.
  EXPECT_EQ(run("yes 0123456789 | head -n 50000"), 0);
  EXPECT_EQ(out, List(50000, "0123456789"));
  EXPECT_EQ(run("head -c 300000 /dev/zero | tr '\\0' x"), 0);
  EXPECT_EQ(out.size(), 294u);
  EXPECT_EQ(out.back().size(), 300000u - 293 * 1023);
}

TEST_F(CommonExecution, TheLimitStopsTheKeepingNotTheReading) {
  const std::string five = "for i in 1 2 3 4 5; do echo $i; done; ";
  EXPECT_EQ(run(five + "exit 4", 2), 4);
  EXPECT_EQ(out, (List{"1", "2"}));
  EXPECT_EQ(run(five, 5), 0);
  EXPECT_EQ(out.size(), 5u);
  EXPECT_EQ(run(five, 6), 0);
  EXPECT_EQ(out.size(), 5u);
  EXPECT_EQ(run(five, -5), 0);
  EXPECT_EQ(out.size(), 5u);
  // Far more than a pipe holds: the command ends only when all has been read.
  EXPECT_EQ(run("head -c 3000000 /dev/zero | tr '\\0' '\\n'; exit 7", 0), 7);
  EXPECT_EQ(out, List{});
  // Each piece of a long line counts.
  EXPECT_EQ(run("head -c 3000 /dev/zero | tr '\\0' x", 2), 0);
  EXPECT_EQ(out.size(), 2u);
}

TEST_F(CommonExecution, TheCommandIsTheShellsOneArgument) {
  EXPECT_EQ(run("printf '%s|' \"$0\" \"$#\" 'a b' \"x;y\" $((1+2))"), 0);
  EXPECT_EQ(out, List{"/bin/sh|0|a b|x;y|3|"});
  EXPECT_EQ(run(""), 0);
  EXPECT_EQ(out, List{});
}

TEST_F(CommonExecution, InheritsEnvironmentDirectoryAndInput) {
  expectInChild([&] {
    setenv("MOXEL_TEST_VALUE", "value", 1);
    ASSERT_EQ(chdir(scratch.path().c_str()), 0);
    writeFile("input", "first\nsecond\n");
    ASSERT_NE(freopen("input", "r", stdin), nullptr);
    EXPECT_EQ(run("echo $MOXEL_TEST_VALUE; pwd; cat"), 0);
    EXPECT_EQ(out, (List{"value", scratch.path(), "first", "second"}));
  });
}

// ---- execGetLines: results ---------------------------------------------------------------------

TEST_F(CommonExecution, TheShellsOwnCodesAreResults) {
  EXPECT_EQ(run("/no/such/command"), 127);
  writeFile(scratch.file("script"), "echo a\n", 0644);
  EXPECT_EQ(run(scratch.file("script")), 126);
}

TEST_F(CommonExecution, ASignalIsAFailureThatKeepsTheOutput) {
  EXPECT_EQ(run("echo before; kill -9 $$"), -1);
  EXPECT_EQ(out, List{"before"});
  EXPECT_EQ(run("kill -15 $$"), -1);
}

TEST_F(CommonExecution, AShellThatCannotBeStartedGivesOne) {
  EXPECT_EQ(runBoth(kTooLongCommand), 1);
  EXPECT_EQ(out, List{});
  EXPECT_EQ(err, List{});
  const Lines lines = newlyLogged();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[1], "MXL90004L:com=" + kTooLongCommand);
  EXPECT_NE(lines[0].find(",wstat=00000100"), std::string::npos) << lines[0];
}

TEST_F(CommonExecution, AFailedExecEndsTheChildByAnOrdinaryExit) {
  const std::string output = scratch.file("output");
  expectInChild([&] {
    const int old = dup(STDOUT_FILENO);
    ASSERT_NE(freopen(output.c_str(), "w", stdout), nullptr);
    // Not flushed: belongs to this process, not to the command's output.
    printf("pending");
    static pid_t parent;
    static std::string marker;
    parent = getpid();
    marker = scratch.file("exit handler");
    // The file stays open: what the C library still writes must not take it for the output.
    atexit([] {
      if (getpid() == parent) return;
      const int file = open(marker.c_str(), O_WRONLY | O_CREAT, 0644);
      if (write(file, "ran", 3) != 3) abort();
    });
    const int result = run(kTooLongCommand);
    fflush(stdout);
    dup2(old, STDOUT_FILENO);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, List{});
  });
  EXPECT_EQ(readFile(output), "pending");
  EXPECT_EQ(readFile(scratch.file("exit handler")), "ran");
}

TEST_F(CommonExecution, WhatTheCallersExitPrintsIsNoOutputOfAFailedExec) {
  const std::string output = scratch.file("output");
  expectInChild([&] {
    const int old = dup(STDOUT_FILENO);
    const int file = open(output.c_str(), O_WRONLY | O_CREAT, 0644);
    dup2(file, STDOUT_FILENO);
    static pid_t parent;
    parent = getpid();
    std::ios::sync_with_stdio(false);
    std::cout << "pending";
    atexit([] {
      if (getpid() == parent) return;
      printf("printed by the handler\n");
      std::cout << "and this";
      std::cerr << "and this error";
      fflush(stdout);
    });
    const int withErrors = runBoth(kTooLongCommand);
    const List lines = out;
    const int without = run(kTooLongCommand);
    std::cout.flush();
    dup2(old, STDOUT_FILENO);
    EXPECT_EQ(withErrors, 1);
    EXPECT_EQ(lines, List{});
    EXPECT_EQ(err, List{});
    EXPECT_EQ(without, 1);
    EXPECT_EQ(out, List{});
  });
  EXPECT_EQ(readFile(output), "pending");
}

TEST_F(CommonExecution, AFailedExecGivesNoLinesWithoutANullDeviceEither) {
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/dev"));
    printf("pending");
    List lines = {"old"};
    List errors = {"old"};
    EXPECT_EQ(execGetLines(lines, kTooLongCommand.c_str(), -1, &errors, -1), 1);
    EXPECT_EQ(lines, List{});
    EXPECT_EQ(errors, List{});
  });
}

TEST_F(CommonExecution, WithoutAChildTheErrorFileStays) {
  // Removing it takes a child as well.
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/tmp"));
    denySystemCalls(kForkCalls, EAGAIN);
    List lines;
    List errors;
    EXPECT_EQ(execGetLines(lines, "echo a", -1, &errors, -1), -1);
    const std::vector<std::string> left = namesIn("/tmp");
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].rfind("execGetLines", 0), 0u) << left[0];
  });
}

TEST_F(CommonExecution, WithoutDescriptorsThereIsNoPipe) {
  expectInChild([&] {
    // The sanitizers need a pipe when they first meet a class.
    runBoth("echo a; echo b >&2");
    // One is enough for the log, not for a pipe.
    leaveDescriptors(1);
    EXPECT_EQ(runBoth("echo a"), -1);
    EXPECT_EQ(out, List{});
    EXPECT_EQ(err, List{});
    EXPECT_FALSE(hasChildren());
  });
  // No temporary file was tried: the pipe comes first.
  const Lines lines = logged();
  ASSERT_EQ(lines.back(), "MXL90003L:failed to pipe():Too many open files");
  EXPECT_EQ(std::count(lines.begin(), lines.end(), lines.back()), 1);
  for (const std::string& line : lines) EXPECT_EQ(line.find("mkstemp"), std::string::npos) << line;
}

TEST_F(CommonExecution, WithoutProcessesThereIsNoChild) {
  expectInChild([&] {
    const auto before = openDescriptors();
    denySystemCalls(kForkCalls, EAGAIN);
    EXPECT_EQ(run("echo a"), -1);
    EXPECT_EQ(out, List{});
    EXPECT_FALSE(hasChildren());
    EXPECT_EQ(openDescriptors(), before);
  });
  EXPECT_EQ(logged(), Lines{"MXL90005L:failed to exec(Resource temporarily unavailable):echo a"});
}

TEST_F(CommonExecution, WithoutAChildTheErrorFileIsReadAllTheSame) {
  // A file without any permission: the attempt to read it shows. It cannot be removed without a
  // child, so it is kept at once.
  const Environment keep("MOXEL_NOT_DEL_TEMP", "1");
  chmod(scratch.path().c_str(), 0777);
  writeFile(logPath(), "", 0666);
  expectInChild([&] {
    dropPrivileges();
    umask(0777);
    denySystemCalls(kForkCalls, EAGAIN);
    EXPECT_EQ(runBoth("echo a"), -1);
    EXPECT_EQ(out, List{});
    EXPECT_EQ(err, List{});
  });
  const Lines lines = logged();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "MXL90005L:failed to exec(Resource temporarily unavailable):echo a");
  const std::string begin = "MXL90007L:failed to fopen():";
  const std::string end = ",Permission denied";
  const std::string file =
      lines[1].substr(begin.size(), lines[1].size() - begin.size() - end.size());
  EXPECT_EQ(lines[1], begin + file + end);
  EXPECT_EQ(unlink(file.c_str()), 0) << file;
}

TEST_F(CommonExecution, AnErrorFileThatCannotBeRenamedIsNone) {
  expectInChild([&] {
    denySystemCalls(kRenameCalls, EPERM);
    EXPECT_EQ(runBoth("echo lost >&2; echo a"), 0);
    EXPECT_EQ(out, List{"a"});
    EXPECT_EQ(err, List{});
  });
  const std::string begin = "MXL90104L:failed to rename():";
  const Lines failures = newlyLogged(begin);
  EXPECT_EQ(failures.size(), 10u) << "a temporary file takes ten attempts";
  for (const std::string& line : failures) {
    const std::string first =
        line.substr(begin.size(), line.find(" to ", begin.size()) - begin.size());
    EXPECT_EQ(unlink(first.c_str()), 0) << first;
    EXPECT_FALSE(exists(first + "_"));
  }
}

TEST_F(CommonExecution, AStatusThatCannotBeHadIsAFailure) {
  expectInChild([&] {
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(run("echo a"), -1);
    EXPECT_EQ(out, List{"a"});
  });
  const Lines lines = logged();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].find(",wstat=ffffffff"), std::string::npos) << lines[0];
}

TEST_F(CommonExecution, SignalsInterruptNeitherReadingNorWaiting) {
  expectInChild([&] {
    // Each signal has been handled when the command sends the next.
    static volatile sig_atomic_t signals;
    static int handled;
    const std::string fifo = scratch.file("handled");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    handled = open(fifo.c_str(), O_RDWR);
    struct sigaction action = {};
    action.sa_handler = [](int) {
      signals = signals + 1;
      static_cast<void>(write(handled, "\n", 1) == 1);
    };
    sigaction(SIGALRM, &action, nullptr);
    const std::string interrupt =
        "i=0; while [ $i -lt 100 ]; do kill -ALRM $PPID; read handled; i=$((i+1)); done <" + fifo;
    // The second half is spent with the output closed, in the wait.
    EXPECT_EQ(
        run("printf 'half '; " + interrupt + "; echo line; exec >&-; " + interrupt + "; exit 9"),
        9);
    EXPECT_EQ(out, List{"half line"});
    EXPECT_EQ(signals, 200);
    EXPECT_FALSE(hasChildren());
  });
}

TEST_F(CommonExecution, ExhaustedMemoryLeavesNoChildAndNoDescriptor) {
  const auto before = openDescriptors();
  const std::string line(900, 'x');
  {
    // The first long line cannot be kept; the command would go on writing for ever.
    const std::string command = "yes " + line;
    const NoMemoryFrom none(800);
    EXPECT_THROW(execGetLines(out, command.c_str(), -1, nullptr, -1), std::bad_alloc);
  }
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_FALSE(hasChildren());
}

TEST_F(CommonExecution, LeavesNoDescriptorAndNoChild) {
  const auto before = openDescriptors();
  run("echo a");
  run("exit 1");
  run("kill -9 $$");
  run(kTooLongCommand);
  runBoth("echo b >&2");
  runBoth("rm $(readlink /proc/$$/fd/2)");
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_FALSE(hasChildren());
}

TEST_F(CommonExecution, TheChildHasNoDescriptorOfTheCall) {
  // All that this process has, less descriptor 2; the pipe is on 1 only.
  const size_t before = openDescriptors().size();
  ASSERT_EQ(run("ls /proc/$$/fd; true"), 0);
  EXPECT_EQ(out.size(), before - 1);
}

// ---- execGetLines: standard error --------------------------------------------------------------

const char* const kDescriptors =
    "for fd in 0 1 2; do if [ -e /proc/$$/fd/$fd ]; then echo $fd; fi; done";

TEST_F(CommonExecution, WithoutAnErrorListDescriptor2IsClosed) {
  EXPECT_EQ(run(kDescriptors), 0);
  EXPECT_EQ(out, (List{"0", "1"}));
  EXPECT_EQ(run("echo lost >&2 && echo written"), 2) << "the shell's own code for a closed one";
  EXPECT_EQ(out, List{});
}

TEST_F(CommonExecution, AnErrorListReceivesTheErrorOutput) {
  EXPECT_EQ(runBoth("echo a; echo b >&2; echo c; echo d >&2; exit 5"), 5);
  EXPECT_EQ(out, (List{"a", "c"}));
  EXPECT_EQ(err, (List{"b", "d"}));
  EXPECT_EQ(runBoth(kDescriptors), 0);
  EXPECT_EQ(out, (List{"0", "1", "2"}));
  EXPECT_EQ(err, List{});
}

TEST_F(CommonExecution, TheErrorListHasALimitOfItsOwn) {
  const char* command = "for i in 1 2 3; do echo $i >&2; done";
  EXPECT_EQ(runBoth(command, 2), 0);
  EXPECT_EQ(err, (List{"1", "2"}));
  EXPECT_EQ(runBoth(command, 0), 0);
  EXPECT_EQ(err, List{});
  EXPECT_EQ(execGetLines(out, command, 0, &err, -3), 0);
  EXPECT_EQ(err, (List{"1", "2", "3"}));
  EXPECT_EQ(runBoth("head -c 2000 /dev/zero | tr '\\0' x >&2; printf 'y\\r\\n' >&2"), 0);
  EXPECT_EQ(err, (List{std::string(1023, 'x'), std::string(977, 'x') + "y"}));
}

TEST_F(CommonExecution, MuchErrorOutputBlocksNobody) {
  EXPECT_EQ(runBoth("head -c 2000000 /dev/zero | tr '\\0' '\\n' >&2; echo done"), 0);
  EXPECT_EQ(out, List{"done"});
  EXPECT_EQ(err.size(), 2000000u);
}

TEST_F(CommonExecution, TheErrorFileIsATemporaryOne) {
  EXPECT_EQ(runBoth("readlink /proc/$$/fd/2"), 0);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out.front().substr(0, 17), "/tmp/execGetLines");
  EXPECT_EQ(out.front().size(), strlen("/tmp/execGetLinesNNNNNN_"));
  EXPECT_FALSE(exists(out.front()));

  const Environment keep("MOXEL_NOT_DEL_TEMP", "1");
  EXPECT_EQ(runBoth("readlink /proc/$$/fd/2; echo kept >&2"), 0);
  EXPECT_EQ(readFile(out.front()), "kept\n");
  EXPECT_EQ(unlink(out.front().c_str()), 0);
}

TEST_F(CommonExecution, OutputAndErrorsArriveWhicheverDescriptorsTheCallerHasClosed) {
  for (int closed = 0; closed < 8; ++closed) {
    SCOPED_TRACE(closed);
    expectInChild([&] {
      const int old = dup(STDOUT_FILENO);
      for (int fd = 0; fd < 3; ++fd) {
        if ((closed & (1 << fd)) != 0) close(fd);
      }
      const auto before = openDescriptors();
      const int withErrors = runBoth("echo out; echo err >&2; exit 6");
      const List lines = out;
      const int without = run("echo out; echo err >&2");
      const auto after = openDescriptors();
      dup2(old, STDOUT_FILENO);
      EXPECT_EQ(withErrors, 6);
      EXPECT_EQ(lines, List{"out"});
      EXPECT_EQ(err, List{"err"});
      EXPECT_EQ(without, 2);
      EXPECT_EQ(out, List{"out"});
      EXPECT_EQ(after, before);
    });
  }
}

TEST_F(CommonExecution, WithoutATemporaryFileTheErrorListStaysEmpty) {
  chmod(scratch.path().c_str(), 0777);
  expectInChild([&] {
    // The log must stay writable.
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/mnt") && mountEmpty("/tmp", MS_RDONLY));
    setenv("MOXEL_LOG", "/mnt/moxel.log", 1);
    gLog = CLog();
    EXPECT_EQ(runBoth("echo a; echo b >&2; echo c"), 0);
    EXPECT_EQ(out, (List{"a", "c"}));
    EXPECT_EQ(err, List{});
    EXPECT_EQ(runBoth(kDescriptors), 0);
    EXPECT_EQ(out, (List{"0", "1"}));
    const auto lines = parseLog(readFile("/mnt/moxel.log"));
    int failures = 0;
    for (const auto& line : lines) {
      failures +=
          line.text.rfind("[I](CTemp:136):failed to mkstemp():Read-only file system", 0) == 0;
      EXPECT_NE(line.text.rfind("MXL90007L", 0), 0u) << line.text;
    }
    EXPECT_EQ(failures, 20);
  });
}

TEST_F(CommonExecution, AnErrorFileThatCannotBeOpenedIsReportedByChildAndParent) {
  // Made without any permission, the file can be opened again by nobody but root.
  chmod(scratch.path().c_str(), 0777);
  writeFile(logPath(), "", 0666);
  expectInChild([&] {
    dropPrivileges();
    umask(0777);
    EXPECT_EQ(runBoth(kDescriptors), 0);
    EXPECT_EQ(out, (List{"0", "1"}));
    EXPECT_EQ(err, List{});
  });
  const auto lines = parseLog(readFile(logPath()));
  ASSERT_GE(lines.size(), 4u);
  const std::string report = "failed to fopen():/tmp/execGetLines";
  const std::string reason = "_,Permission denied";
  EXPECT_EQ(lines[0].text.substr(0, 10 + report.size()), "MXL90006L:" + report);
  EXPECT_EQ(lines[0].text.substr(lines[0].text.size() - reason.size()), reason);
  EXPECT_EQ(lines[1].text, format("MXL90004L:pid=%d,wstat=00000000", lines[0].pid))
      << "the child itself reports";
  EXPECT_NE(lines[0].pid, lines[1].pid);
  EXPECT_EQ(lines[3].text.substr(0, 10 + report.size()), "MXL90007L:" + report);
  EXPECT_EQ(lines[3].text.substr(lines[3].text.size() - reason.size()), reason);
  EXPECT_EQ(lines[3].pid, lines[1].pid);
}

TEST_F(CommonExecution, AnErrorFileThatIsGoneAfterwardsIsReported) {
  EXPECT_EQ(runBoth("f=$(readlink /proc/$$/fd/2); echo $f; echo lost >&2; rm $f; exit 4"), 4);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(err, List{});
  EXPECT_EQ(newlyLogged("MXL90007L"),
            Lines{"MXL90007L:failed to fopen():" + out.front() + ",No such file or directory"});
}

// ---- execGetLines: log -------------------------------------------------------------------------

TEST_F(CommonExecution, EveryChildLeavesTwoLines) {
  run("echo $$; exit 3");
  EXPECT_EQ(logged(), (Lines{"MXL90004L:pid=" + out.front() + ",wstat=00000300",
                             "MXL90004L:com=echo $$; exit 3"}));
}

TEST_F(CommonExecution, ASignalShowsInTheWaitStatus) {
  run("echo $$; kill -9 $$");
  EXPECT_EQ(newlyLogged("MXL90004L:pid"),
            Lines{"MXL90004L:pid=" + out.front() + ",wstat=00000009"});
}

TEST_F(CommonExecution, TraceShowsTheCallAndTheStatus) {
  traceOn();
  run("echo $$; exit 2", 7);
  EXPECT_EQ(logged(),
            (Lines{"[T](common:1359):execGetLines():count=7,echo $$; exit 2",
                   "MXL90004L:pid=" + out.front() + ",wstat=00000200",
                   "MXL90004L:com=echo $$; exit 2", "[T](common:573):   WIFEXITED:1 WEXITSTATUS:2",
                   "[T](common:574): WIFSIGNALED:0    WTERMSIG:0",
                   "[T](common:575):  WIFSTOPPED:0    WSTOPSIG:2"}));
}

TEST_F(CommonExecution, CommandsWithPercentSignsAreLoggedAsTheyStand) {
  run("true '%s%n%d'");
  EXPECT_EQ(logged().back(), "MXL90004L:com=true '%s%n%d'");
}

// ---- exitStatus --------------------------------------------------------------------------------

TEST_F(CommonExecution, WaitStatusesAreDecoded) {
  traceOn();
  struct {
    int wstat;
    int result;
    Lines lines;
  } const rows[] = {
      {0x0000,
       0,
       {"   WIFEXITED:1 WEXITSTATUS:0", " WIFSIGNALED:0    WTERMSIG:0",
        "  WIFSTOPPED:0    WSTOPSIG:0"}},
      {0xff00,
       255,
       {"   WIFEXITED:1 WEXITSTATUS:255", " WIFSIGNALED:0    WTERMSIG:0",
        "  WIFSTOPPED:0    WSTOPSIG:255"}},
      {0x0009,
       -1,
       {"   WIFEXITED:0 WEXITSTATUS:0", " WIFSIGNALED:1    WTERMSIG:9",
        "  WIFSTOPPED:0    WSTOPSIG:0"}},
      {0x008b,
       -1,
       {"   WIFEXITED:0 WEXITSTATUS:0", " WIFSIGNALED:1    WTERMSIG:11",
        "  WIFSTOPPED:0    WSTOPSIG:0"}},
      {0x137f,
       -1,
       {"   WIFEXITED:0 WEXITSTATUS:19", " WIFSIGNALED:0    WTERMSIG:127",
        "  WIFSTOPPED:1    WSTOPSIG:19"}},
      {0x13ff,
       -1,
       {"   WIFEXITED:0 WEXITSTATUS:19", " WIFSIGNALED:0    WTERMSIG:127",
        "  WIFSTOPPED:0    WSTOPSIG:19"}},
      {0x12300,
       0x23,
       {"   WIFEXITED:1 WEXITSTATUS:35", " WIFSIGNALED:0    WTERMSIG:0",
        "  WIFSTOPPED:0    WSTOPSIG:35"}},
      {0x0080,
       0,
       {"   WIFEXITED:1 WEXITSTATUS:0", " WIFSIGNALED:0    WTERMSIG:0",
        "  WIFSTOPPED:0    WSTOPSIG:0"}},
      {-1,
       -1,
       {"   WIFEXITED:0 WEXITSTATUS:255", " WIFSIGNALED:0    WTERMSIG:127",
        "  WIFSTOPPED:0    WSTOPSIG:255"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(exitStatus(row.wstat), row.result) << row.wstat;
    EXPECT_EQ(newlyLogged(),
              (Lines{"[T](common:573):" + row.lines[0], "[T](common:574):" + row.lines[1],
                     "[T](common:575):" + row.lines[2]}));
  }
}

// ---- execGetLine -------------------------------------------------------------------------------

TEST_F(CommonExecution, OneLineIsKeptAndTheExitCodeGiven) {
  char line[1024] = "old";
  EXPECT_EQ(execGetLine("echo one; echo two; exit 3", line), 3);
  EXPECT_STREQ(line, "one");
  EXPECT_EQ(execGetLine("printf 'a\\r\\n'", line), 0);
  EXPECT_STREQ(line, "a");
  EXPECT_EQ(execGetLine("printf '\\n'; echo two", line), 0);
  EXPECT_STREQ(line, "");
  EXPECT_EQ(execGetLine("printf unended", line), 0);
  EXPECT_STREQ(line, "unended");
  EXPECT_EQ(execGetLine("true", line), 0);
  EXPECT_STREQ(line, "") << "no output";
  EXPECT_EQ(execGetLine("head -c 2000 /dev/zero | tr '\\0' x; exit 2", line), 2);
  EXPECT_EQ(std::string(line), std::string(1023, 'x'));
  EXPECT_EQ(execGetLine("head -c 3000000 /dev/zero; exit 8", nullptr), 8);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonExecution, OneLinesFailuresKeepWhatWasRead) {
  char line[1024] = "old";
  EXPECT_EQ(execGetLine(nullptr, line), -1);
  EXPECT_STREQ(line, "old");
  EXPECT_EQ(execGetLine(nullptr, nullptr), -1);
  EXPECT_EQ(execGetLine("echo a; kill -9 $$", line), 0);
  EXPECT_STREQ(line, "a");
  EXPECT_EQ(execGetLine("/no/such/command 2>/dev/null", line), 127);

  expectInChild([&] {
    leaveDescriptors(1);
    strcpy(line, "old");
    EXPECT_EQ(execGetLine("echo a", line), -1);
    EXPECT_STREQ(line, "old");
  });
  expectInChild([&] {
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(execGetLine("echo a", line), 255);
    EXPECT_STREQ(line, "a");
  });
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonExecution, OneLineLeavesNoDescriptorAndNoChild) {
  const auto before = openDescriptors();
  char line[1024];
  execGetLine("echo a", line);
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_FALSE(hasChildren());
}

}  // namespace
