// Makes every call of the C library in a scenario fail, one after the other, once and from then on,
// and looks at what comes of it: no crash but the documented end on exhausted memory, no hang, no
// descriptor, child or temporary file left, the result and the log line that the failure has, and
// the next call works again.
//
// usage: fault_sweep [-v] [SCENARIO...]     -v shows every outcome

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <list>
#include <map>
#include <new>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "CDspMsg.h"
#include "CEnvConf.h"
#include "CLog.h"
#include "CMutex.h"
#include "CMxlRmgLib.h"
#include "CTemp.h"
#include "FaultLayer.h"
#include "ICMxlRmgLib.h"
#include "MLog.h"
#include "MsgTable.h"
#include "Process.h"
#include "Reports.h"
#include "ResourceBridgeImpFile.h"
#include "ResourceBridgeImpGettext.h"
#include "ResourceCO.h"
#include "Scratch.h"
#include "common.h"
#include "common_template.h"

// The command's own entry, under another name.
extern "C" int scsendMain();

namespace {

using Strings = std::list<std::string>;
using faults::Mode;

constexpr unsigned kWatchdogSeconds = 10;
constexpr char kOutputBehind = '\x1f';
constexpr char kThrown[] = "thrown";
constexpr char kAtTimes[] = "?";
constexpr size_t kReportBytes = 1 << 18;
constexpr size_t kMostFaults = 100;
constexpr char kNewDirectory[] = "/tmp/new";

// What a failing call must lead to: a result, and a piece of the log.
struct Row {
  const char* function;
  int error;  // 0: any
  int call;   // the one that fails, once; 0: any, once or from then on
  const char* result;
  const char* logged;
};

struct Scenario {
  const char* name;
  std::function<std::string()> run;
  std::vector<Row> table = {};  // what a failing call gives
  // What else the failure of a function may give, besides no difference; with kAtTimes in front
  // when it depends on who is quicker, or on the order of a directory's entries.
  std::map<std::string, std::set<std::string>> outcomes = {};
  std::set<std::string> leaveFiles = {};  // functions whose failure may leave a temporary file
  int descriptorsLeft = 0;                // deliberately left open by each success
  std::set<std::string> leaveDescriptors = {};      // functions whose failure may leave one
  std::map<std::string, std::string> printed = {};  // the command's first line by its status
  bool endsWithoutMemory = false;  // exhausted memory may end the process, as is documented
};

std::string number(long long value) { return std::to_string(value); }
std::string lines(const Strings& list) { return "[" + join(list, "|") + "]"; }

// False when the log throws, which it never may.
template <class Log>
bool isQuiet(Log log) {
  try {
    log();
  } catch (...) {
    return false;
  }
  return true;
}

void makeTree() {
  std::filesystem::create_directories("tree/a/b/c");
  writeFile("tree/one", "12345");
  writeFile("tree/a/two", "1234567");
  writeFile("tree/a/b/c/three", "123");
}

// Whether a configuration is read, and a setting of it.
std::string configured(const char* content) {
  gMsg.init(nullptr, "");
  writeFile("conf", content);
  setenv("MOXEL_CONF", "conf", 1);
  CEnvConf conf;
  const bool read = conf.init();
  return std::string(read ? "true" : "false") + number(conf.getBigLimit());
}

// Functions whose failure can keep a temporary file where it is.
const std::set<std::string> kKeepFiles = {"rename", "unlink", "fork", "pipe",    "execvp",
                                          "stat",   "dup2",   "read", "waitpid", "operator new"};

// The first word of the command that ran last.
std::string commandName() {
  const std::string command = faults::takeCommand();
  return command.substr(0, command.find(' '));
}

std::string exists(bool there) { return there ? "there" : "gone"; }

std::vector<Scenario> makeScenarios() {
  return {
      {"execGetLines",
       [] {
         Strings out{"old"};
         const int result = execGetLines(out, "echo one; echo two; exit 3", -1, nullptr, -1);
         return number(result) + lines(out);
       },
       {{"pipe", 0, 0, "-1[]", "MXL90003L:failed to pipe():Too many open files"},
        {"fork", 0, 0, "-1[]",
         "MXL90005L:failed to exec(Resource temporarily unavailable):echo one"},
        {"execvp", 0, 0, "1[]", "wstat=00000100"},
        {"waitpid", EINTR, 1, "3[one|two]", "wstat=00000300"},
        {"waitpid", ECHILD, 1, "-1[one|two]", "wstat=ffffffff"}},
       // No output: the child could not connect the pipe, or it could not be read.
       {{"dup2", {"3[]"}}, {"read", {"?3[]", "?-1[]", "?-1[one]"}}}},
      {"execGetLines with error output",
       [] {
         Strings out;
         Strings errors{"old"};
         const int result = execGetLines(out, "echo one; echo bad >&2; exit 4", -1, &errors, -1);
         return number(result) + lines(out) + lines(errors);
       },
       {{"pipe", 0, 1, "-1[][]", "MXL90003L:"},
        {"fork", 0, 1, "-1[][]", "MXL90005L:"},
        {"execvp", 0, 1, "1[][]", "wstat=00000100"},
        {"fopen", 0, 1, "4[one][]", "MXL90006L:failed to fopen():/tmp/execGetLines"},
        {"fopen", 0, 2, "4[one][]", "MXL90007L:failed to fopen():/tmp/execGetLines"},
        // Up to nine attempts at the error file may fail.
        {"mkstemp", 0, 1, "4[one][bad]", "failed to mkstemp():Too many open files"},
        {"rename", 0, 1, "4[one][bad]", "MXL90104L:failed to rename()"}},
       {{"dup2", {"4[one][]", "4[][]", "4[][/bin/sh: 1: echo: echo: I/O error|bad]"}},
        {"mkstemp", {"4[one][]"}},
        {"read", {"4[one][]", "?4[][]", "?4[][bad]", "?-1[][]", "?-1[][bad]"}},
        {"rename", {"4[one][]"}},
        {"snprintf", {"4[one][]"}},
        {"stat", {"4[one][]"}},
        {"vsnprintf", {"4[one][]"}},
        {"waitpid", {"-1[one][bad]"}}},
       kKeepFiles,
       0,
       {},
       {},
       true},
      {"execGetLine",
       [] {
         char line[1024] = "old";
         const int result = execGetLine("echo first; echo second; exit 5", line);
         return number(result) + line;
       },
       {{"popen", 0, 0, "-1old", ""}, {"pclose", 0, 0, "255first", ""}},
       // The end of the output comes early; the command may end by SIGPIPE.
       {{"read", {"?5", "?5first", "?0", "?0first"}}}},
      {"getHostname",
       [] { return getHostname().empty() ? "none" : "some"; },
       {{"pipe", 0, 0, "none", "MXL90003L:"}, {"fork", 0, 0, "none", "MXL90005L:"}},
       {{"dup2", {"none"}}, {"execvp", {"none"}}, {"read", {"none"}}}},
      {"getDomainname",
       [] { return getDomainname().empty() ? "none" : "some"; },
       {{"pipe", 0, 0, "none", "MXL90003L:"}, {"fork", 0, 0, "none", "MXL90005L:"}},
       {{"dup2", {"none"}}, {"execvp", {"none"}}, {"read", {"none"}}}},
      {"removeFiles, recursive",
       [] {
         makeTree();
         const int result = removeFiles((getCwd() + "/tree").c_str(), 1);
         return number(result) + exists(isDir("tree"));
       },
       {{"fork", 0, 0, "-1there", "MXL90005L:"},
        {"pipe", 0, 0, "-1there", "MXL90003L:"},
        {"unlink", 0, 1, "-1there", ""},
        {"unlink", 0, 3, "-1there", ""},
        {"rmdir", 0, 1, "-1there", ""},
        {"rmdir", 0, 4, "-1there", ""}},
       {{"dup2", {"2there"}},
        {"execvp", {"1there"}},
        {"getcwd", {"0there"}},
        {"read", {"?141there", "?0there", "?1there", "?2there"}},
        {"rmdir", {"-1there"}},
        {"stat", {"-1there", "0there"}},
        {"unlink", {"-1there"}},
        {"waitpid", {"-1there"}}}},
      {"removeFiles, one file",
       [] {
         writeFile("file", "x");
         const int result = removeFiles((getCwd() + "/file").c_str(), 0);
         return number(result) + exists(isFile("file"));
       },
       {{"unlink", 0, 0, "-1there", ""}},
       {{"getcwd", {"0there"}}}},
      {"makeDir, with parents",
       [] {
         const int result = makeDir(std::string("/tmp/sweep/x/y/z"), 1);
         return number(result) + exists(std::filesystem::exists("/tmp/sweep/x/y/z"));
       },
       {{"mkdir", 0, 0, "-1gone", ""}},
       {{"stat", {"-1gone"}}}},
      {"makeDir, one",
       [] { return number(makeDir(std::string("/tmp/sweep/x"), 0)); },
       {{"mkdir", 0, 0, "-1", ""}},
       {}},
      {"dupDir",
       [] {
         std::filesystem::create_directory("source");
         const int result = dupDir("source", "/tmp/sweep/target/deep");
         return number(result) + exists(std::filesystem::exists("target/deep"));
       },
       {{"stat", 0, 1, "0gone", "failed to stat():source,Permission denied"},
        {"mkdir", 0, 1, "0gone", "MXL90002L:failed to makeDir():/tmp/sweep/target/deep"},
        {"utime", 0, 0, "1there", ""},
        {"chown", 0, 0, "1there", ""},
        {"chmod", 0, 0, "1there", ""}},
       {{"mkdir", {"0gone"}}, {"stat", {"0gone"}}}},
      {"rmTempFile",
       [] {
         writeFile("temporary", "x");
         const int result = rmTempFile(std::string("temporary"), 0);
         return number(result) + exists(std::filesystem::exists("temporary"));
       },
       {{"unlink", 0, 0, "-1there", ""}},
       {}},
      {"getTotalFileSize",
       [] {
         makeTree();
         return number(getTotalFileSize({"tree", "tree/one"}, 1));
       },
       {{"stat", 0, 1, "5", "get file size error(tree,Permission denied)"}},
       {{"opendir", {"5", "10", "17"}},
        {"readdir", {"?5", "?8", "?10", "?12", "?13", "?15", "?17"}},
        {"stat", {"0", "?5", "?10", "?12", "?15", "?17"}}}},
      {"getDirSize",
       [] {
         makeTree();
         const int size = getDirSize("tree");
         return number(size > 0 ? 1 : size) + commandName();
       },
       {{"snprintf", 0, 0, "0", ""}, {"popen", 0, 0, "0du", ""}},
       {{"read", {"0du"}}}},
      {"getDirFileSize",
       [] {
         // A listed name that is a file here, so that it is found where it should not be.
         makeTree();
         writeFile("one", "12345");
         int size = 7;
         const int result = getDirFileSize("tre*", size, 0);
         return number(result) + "," + number(size);
       },
       {{"pipe", 0, 0, "0,0", "MXL90003L:"}, {"fork", 0, 0, "0,0", "MXL90005L:"}},
       {{"dup2", {"0,0"}}, {"execvp", {"0,0"}}, {"read", {"0,0"}}, {"stat", {"0,0"}}}},
      {"getFreeSize",
       [] {
         const int size = getFreeSize("/tmp");
         return number(size > 0 ? 1 : size) + commandName();
       },
       {{"popen", 0, 0, "-1df", ""}, {"snprintf", 0, 0, "-1", ""}},
       {{"read", {"-1df"}}}},
      {"getFileList",
       [] {
         makeTree();
         Strings list{"old"};
         const int count = getFileList(list, "tree", 1, 0, 0);
         return number(count) + lines(list);
       },
       {{"opendir", 0, 0, "-1[]", ""}},
       {{"readdir", {"0[]", "?1[tree/one]", "?1[tree/a]"}},
        {"stat", {"-1[old]", "?2[tree/one|tree/a]", "?2[tree/a|tree/one]"}}}},
      {"getFileSize",
       [] {
         writeFile("file", "12345");
         return number(getFileSize("file"));
       },
       {{"stat", 0, 1, "-1", "get file size error("}},
       {}},
      {"getFileDate",
       [] {
         writeFile("file", "x");
         std::string date = "old";
         const int result = getFileDate("file", date);
         return number(result) + (date.empty() ? "none" : "some");
       },
       {{"stat", 0, 1, "-1none", "get file date error(file)"},
        {"localtime", 0, 0, "0none", ""},
        {"vsnprintf", 0, 1, "0none", ""}},
       {}},
      {"CTemp, a file",
       [] {
         std::string path;
         CTemp temp;
         std::string result = number(temp.getTempFile(path, "sweep", nullptr, nullptr));
         result += exists(std::filesystem::exists(path));
         result += number(temp.delTempFile(nullptr));
         return result + exists(std::filesystem::exists(path));
       },
       {{"mkstemp", 0, 1, "1there1gone",
         "failed to mkstemp():Too many open files:templ=/tmp/sweepXXXXXX"},
        {"snprintf", 0, 2, "1there1gone",
         "failed to mkstemp():Invalid argument:templ=/tmp/sweepXXXXXX"},
        {"rename", 0, 1, "1there1gone", "MXL90104L:failed to rename():/tmp/sweep"}},
       // The attempts all fail, or what was made is not removed.
       {{"mkstemp", {"0gone0gone"}},
        {"rename", {"0gone0gone"}},
        {"snprintf", {"0gone0gone"}},
        {"stat", {"0gone0gone", "1there1there"}},
        {"vsnprintf", {"0gone0gone"}},
        {"dup2", {"1there1there"}},
        {"execvp", {"1there1there"}},
        {"fork", {"1there1there"}},
        {"pipe", {"1there1there"}},
        {"read", {"1there1there"}},
        {"unlink", {"1there1there"}},
        {"waitpid", {"1there1there"}}},
       kKeepFiles,
       0,
       {},
       {},
       true},
      {"CTemp, a file with its descriptor",
       [] {
         std::string path;
         int descriptor = -1;
         CTemp temp;
         const int made = temp.getTempFile(path, "sweep", kNewDirectory, &descriptor);
         const bool usable = descriptor != -1 && fcntl(descriptor, F_GETFD) != -1;
         if (usable) syscall(SYS_close, descriptor);
         return number(made) + (usable ? "open" : "none");
       },
       {{"mkstemp", 0, 1, "1open", "failed to mkstemp()"},
        {"mkdir", 0, 1, "1open", "MXL90101L:failed to makeDir:/tmp/new"}},
       {{"mkdir", {"0none"}},
        {"mkstemp", {"0none"}},
        {"rename", {"0open"}},
        {"snprintf", {"0none"}},
        {"stat", {"0none"}},
        {"vsnprintf", {"0none"}}},
       kKeepFiles,
       0,
       // Each attempt that fails in its last step leaves one.
       {"rename", "operator new"},
       {},
       true},
      {"CTemp, a directory",
       [] {
         std::string path;
         CTemp temp;
         const int made = temp.getTempDir(path, "sweep", nullptr);
         return number(made) + exists(std::filesystem::is_directory(path));
       },
       {{"mkstemp", 0, 1, "1there", "MXL90102L:failed to mkstemp():Too many open files"},
        {"snprintf", 0, 2, "1there", "MXL90102L:failed to mkstemp():Invalid argument"},
        {"unlink", 0, 1, "1there", "MXL90102L:failed to unlink():Operation not permitted"},
        {"mkdir", 0, 1, "1there", "MXL90103L:failed to create dir:/tmp/"}},
       {{"mkdir", {"0gone"}},
        {"mkstemp", {"0gone"}},
        {"snprintf", {"0gone"}},
        {"stat", {"0gone"}},
        {"unlink", {"0gone"}}},
       {"unlink", "rmdir", "fork", "pipe", "execvp", "stat", "dup2", "read", "waitpid",
        "operator new"},
       1,
       {"unlink", "mkdir"},
       {},
       true},
      {"CLog, a line",
       [] {
         if (!isQuiet([] { gLog.ilog("%s", "a line"); })) return std::string(kThrown);
         std::error_code error;
         return std::string(std::filesystem::file_size("/tmp/log/moxel.log", error) > 0 && !error
                                ? "there"
                                : "lost");
       },
       {{"ftok", 0, 1, "lost", ""},
        {"open", 0, 1, "lost", ""},
        {"write", ENOSPC, 1, "lost", ""},
        {"write", EINTR, 1, "lost", ""},
        {"semget", 0, 1, "lost", ""},
        {"semctl", 0, 1, "lost", ""},
        {"semop", 0, 1, "lost", ""},
        {"semop", EIDRM, 2, "there", ""},
        {"localtime", 0, 0, "there", ""},
        {"time", 0, 0, "there", ""},
        {"stat", 0, 1, "lost", ""}},
       {}},
      {"CLog, a line within a limit of file sizes",
       [] {
         const rlimit limit = {1 << 20, RLIM_INFINITY};
         syscall(SYS_prlimit64, 0, RLIMIT_FSIZE, &limit, nullptr);
         if (!isQuiet([] { gLog.ilog("%s", "a line"); })) return std::string(kThrown);
         return std::string(std::filesystem::exists("/tmp/log/moxel.log") ? "there" : "lost");
       },
       {{"lseek", 0, 1, "there", ""}, {"getrlimit", 0, 1, "there", ""}},
       {{"ftok", {"lost"}},
        {"open", {"lost"}},
        {"semctl", {"lost"}},
        {"semget", {"lost"}},
        {"semop", {"lost"}},
        {"stat", {"lost"}}}},
      {"CLog, a line on a full disk",
       [] {
         bool mounted = false;
         {
           const faults::Pause pause;
           mounted = mountEmpty("/tmp/log", 0, "size=16k");
         }
         const bool quiet = mounted && isQuiet([] { gLog.ilog("%20000s", "x"); });
         const faults::Pause pause;
         std::error_code error;
         const auto size = std::filesystem::file_size("/tmp/log/moxel.log", error);
         umount("/tmp/log");
         if (!quiet) return std::string(kThrown);
         return std::string(error        ? "lost"
                            : size == 0  ? "taken back"
                            : size < 100 ? "whole"
                                         : "piece");
       },
       {{"ftruncate", 0, 1, "piece", ""},
        {"lseek", 0, 1, "piece", ""},
        {"lseek", 0, 2, "piece", ""},
        {"write", ENOSPC, 2, "taken back", ""}},
       {{"ftok", {"lost"}},
        {"open", {"lost"}},
        {"semget", {"lost"}},
        {"semop", {"lost"}},
        {"stat", {"lost"}},
        {"vsnprintf", {"piece", "whole"}}}},
      {"CLog, rotation",
       [] {
         const std::string log = "/tmp/log/moxel.log";
         writeFile(log, "");
         std::filesystem::resize_file(log, 600000);
         int result = -1;
         if (!isQuiet([&] { result = gLog.init("/bin/tool"); })) return std::string(kThrown);
         std::error_code error;
         const auto size = std::filesystem::file_size(log, error);
         return number(result) + (error ? "moved" : size == 0 ? "emptied" : "left");
       },
       {{"rename", 0, 0, "0emptied", ""}, {"stat", 0, 1, "0left", ""}},
       {{"vsnprintf", {"0emptied"}}}},
      {"CLog, rotation in place",
       [] {
         const std::string log = "/tmp/log/moxel.log";
         writeFile(log, "");
         std::filesystem::resize_file(log, 600000);
         // The backup's name is taken by what a file cannot replace.
         std::filesystem::create_directory("/tmp/log/moxel.bak");
         int result = -1;
         if (!isQuiet([&] { result = gLog.init("/bin/tool"); })) return std::string(kThrown);
         return number(result) + (std::filesystem::file_size(log) == 0 ? "emptied" : "left");
       },
       {{"truncate", 0, 0, "0left", ""}, {"stat", 0, 1, "0left", ""}},
       {}},
      {"slog",
       [] {
         if (!isQuiet([] { gLog.slog("%s", "text"); })) return std::string(kThrown);
         const std::string line = faults::takeSystemLine();
         const size_t id = line.find("PID=");
         if (id == std::string::npos) return line;
         const size_t text = line.find_first_not_of("0123456789 ", id + strlen("PID="));
         return text == std::string::npos ? "no text" : line.substr(text);
       },
       {{"snprintf", 0, 1, "", ""},
        {"syslog", 0, 1, "", ""},
        {"vsnprintf", 0, 0, "no text", ""},
        {"openlog", 0, 1, "text", ""},
        {"time", 0, 1, "text", ""},
        {"localtime", 0, 1, "text", ""}},
       {}},
      {"CMutex",
       [] {
         CMutex mutex("/tmp/sweep", 1, false);
         if (!mutex.init(0)) return std::string(mutex.remove(false, 0) ? "failed" : "none");
         std::string result = "i";
         result += mutex.lock(true) ? "l" : "-";
         result += mutex.release() ? "r" : "-";
         result += mutex.remove(false, 0) ? "d" : "-";
         return result;
       },
       {{"ftok", 0, 0, "none", ""},
        {"semget", 0, 1, "none", ""},
        {"semctl", 0, 1, "none", ""},
        {"semctl", 0, 2, "ilr-", ""},
        {"semop", EINTR, 1, "i-rd", ""},
        {"semop", ENOSPC, 1, "i-rd", ""},
        {"semop", EINVAL, 1, "i---", ""},
        {"semop", EIDRM, 1, "i---", ""}},
       {{"semop", {"il--"}}}},
      {"CMutex, removal under a waiter",
       [] {
         CMutex mutex("/tmp/sweep", 0, false);
         if (!mutex.init(0)) return std::string(mutex.remove(true, 0) ? "failed" : "none");
         pid_t waiter = -1;
         {
           const faults::Pause pause;
           waiter = startChild([] {
             CMutex other("/tmp/sweep", 0, false);
             return other.init(0) && !other.lock(true) ? errno : 0;
           });
           if (!eventually([] { return waitersFor("/tmp/sweep") == 1; })) return std::string("?");
         }
         const std::string result = mutex.remove(true, 0) ? "removed" : "left";
         const faults::Pause pause;
         return result + (exitCode(waitFor(waiter)) == EIDRM ? ", woken" : ", not woken");
       },
       {{"sleep", 0, 1, "removed, woken", ""},
        {"semctl", 0, 1, "none", ""},
        {"semctl", 0, 2, "left, woken", ""},
        {"semctl", 0, 3, "left, woken", ""},
        {"ftok", 0, 0, "none", ""},
        {"semget", 0, 1, "none", ""}},
       {}},
      {"CMutex, without waiting",
       [] {
         std::string result;
         int key = 0;
         {
           CMutex mutex("/tmp/sweep", 1, true);
           if (!mutex.init(0)) return std::string(mutex.remove(true, 0) ? "failed" : "none");
           CMutex other("/tmp/sweep", 1, false);
           result += other.init(0) ? "i" : "-";
           result += mutex.lock(false) ? "l" : "-";
           result += other.lock(false) ? "l" : "-";
           key = mutex.key();
         }
         // The first one's end has removed the set.
         const long left = syscall(SYS_semget, key, 1, 0);
         if (left != -1) syscall(SYS_semctl, left, 0, IPC_RMID);
         return result + exists(left != -1);
       },
       {{"semget", 0, 1, "none", ""}},
       {{"ftok", {"-l-gone", "none"}},
        {"semctl", {"none"}},
        {"semget", {"-l-gone"}},
        {"semop", {"i--gone", "i-lgone"}}}},
      {"CEnvConf, init",
       [] { return configured("BigLimit=2mb\nAutoCleaning=yes\nSaveArea=/x/$HOSTNAME$\n"); },
       {{"fopen", 0, 1, "false0", "CEnvConf : open conf error"}, {"fgets", 0, 1, "true0", ""}},
       {}},
      {"CEnvConf, init of a file with an error",
       [] { return configured("BigLimit=2mb\nwrong\n"); },
       {{"fopen", 0, 1, "false0", "CEnvConf : open conf error"},
        {"fgets", 0, 1, "true0", ""},
        {"fgets", 0, 2, "true2048", ""}},
       {}},
      {"CEnvConf, directory of crash dumps",
       [] {
         CEnvConf conf;
         char directory[4097] = "";
         const bool found = conf.setDefaultSaveCoreDir(directory);
         return std::string(found ? "true" : "false") +
                (strncmp(directory, "/var/crash/", 11) == 0 ? "default" : directory);
       },
       {},
       {}},
      {"CEnvConf, isRunning",
       [] {
         const std::ofstream held("held");
         CEnvConf conf;
         const std::string result = conf.isRunning("/tmp/sweep/held") ? "running" : "not";
         return result + commandName();
       },
       {{"snprintf", 0, 0, "not", ""}, {"popen", 0, 0, "not(echo", ""}},
       {{"read", {"not(echo"}}}},
      {"ResourceBridgeImpFile",
       [] {
         writeFile("messages", "MXL00001I\ttext\nMXL00002I\tother\n");
         ResourceBridgeImpFile bridge;
         const int result = bridge.load("C", "messages");
         return number(result) + bridge.getText("MXL00001I");
       },
       {{"fopen", 0, 0, "-1", ""}, {"fgets", 0, 1, "0", ""}},
       {}},
      {"ResourceBridgeImpFile, with an error",
       [] {
         // Its complaints are not of interest here.
         if (freopen("/dev/null", "w", stderr) == nullptr) return std::string("no error output");
         writeFile("messages", "wrong\n");
         ResourceBridgeImpFile bridge;
         const int wrong = bridge.load("C", "messages");
         return number(wrong) + number(bridge.load("C", "missing"));
       },
       {{"fprintf", 0, 1, "-1-1", ""},
        {"fprintf", 0, 2, "-1-1", ""},
        {"fopen", 0, 1, "-1-1", ""},
        {"fgets", 0, 1, "0-1", ""}},
       {}},
      {"ResourceBridgeImpGettext",
       [] {
         ResourceBridgeImpGettext bridge;
         const int result = bridge.load(nullptr, "");
         return number(result) +
                number(static_cast<long long>(strlen(bridge.getText("MXL10000I"))));
       },
       {},
       {}},
      {"CDspMsg, display",
       [] {
         CDspMsg messages;
         const int result = messages.init(nullptr, "");
         messages.dspMsg("MXL10102E", "file", 3);
         std::string text;
         messages.getStr(text, "MXL10009W", 5);
         return number(result) + text;
       },
       {},
       {{"vsnprintf", {"0MXL10009W : "}}}},
      {"logList",
       [] {
         Strings list{"one", "two"};
         return number(logList("prefix", list));
       },
       {},
       {}},
      {"CDspMsg, other forms",
       [] {
         CDspMsg messages;
         messages.init(nullptr, "");
         messages.dspMsgBySwitch(false, "MXL10102E", "file", 3);
         messages.dspMsgBySwitch(true, "MXL10102E", "file", 3);
         return number(messages.dspMsg("MXL10102E", "file", 3));
       },
       {{"printf", 0, 2, "-1", ""}},
       {}},
      {"isAccessible",
       [] {
         writeFile("file", "x");
         std::string result = number(isAccessible("file", R_OK));
         return result += number(isAccessible("file", F_OK));
       },
       {{"access", 0, 1, "01", ""}, {"access", 0, 2, "10", ""}},
       {{"access", {"00"}}}},
      {"getch",
       [] {
         if (freopen("/dev/null", "r", stdin) == nullptr) return std::string("no input");
         return number(getch());
       },
       {{"fgets", 0, 1, "0", ""}},
       {}},
      {"MLog",
       [] {
         MLog log;
         log.LOGDEBUG("to nobody");
         return std::string("written");
       },
       {},
       {}},
      {"getTimeStr",
       [] {
         std::string text;
         const long seconds = getTimeStr(text, 86400);
         std::string result = number(seconds) + (text.empty() ? "none" : "some");
         return result += getTimeStr(86400L).empty() ? "none" : "some";
       },
       {{"localtime", 0, 1, "86400nonesome", ""}, {"localtime", 0, 2, "86400somenone", ""}},
       {{"localtime", {"86400nonenone"}},
        {"vsnprintf", {"86400nonesome", "86400somenone", "86400nonenone"}}}},
      {"clocks",
       [] {
         std::string text;
         std::string result = getTimeStr(text, 0) > 0 ? "now" : "never";
         result += text.empty() ? "none" : "some";
         result += getTimeStr(0L).empty() ? "none" : "some";
         return result += elapsedTime() > 0 ? "elapsed" : "stopped";
       },
       // A clock that fails stands a second before its start.
       {{"time", 0, 1, "neversomesomeelapsed", ""},
        {"time", 0, 2, "nowsomesomeelapsed", ""},
        {"gettimeofday", 0, 1, "nowsomesomestopped", ""},
        {"localtime", 0, 1, "nownonesomeelapsed", ""},
        {"localtime", 0, 2, "nowsomenoneelapsed", ""}},
       {{"localtime", {"nownonenoneelapsed"}},
        {"vsnprintf", {"nownonesomeelapsed", "nowsomenoneelapsed", "nownonenoneelapsed"}}}},
      {"matchWild",
       [] { return number(matchWild("a*c", "abc")); },
       {{"fnmatch", 0, 1, "0", ""}},
       {}},
      {"atOnce",
       [] {
         static int runs = 0;
         const std::string key = "key" + number(++runs);
         std::string result;
         for (int i = 0; i < 3; ++i) result += number(atOnce(key, nullptr, 1));
         return result;
       },
       {},
       {}},
      {"look-ups of what is not there",
       [] {
         CEnvConf conf;
         std::string text = "old";
         int value = 7;
         bool flag = true;
         conf.getValueString("none", text);
         conf.getValueInt("none", value);
         conf.getValueBool("none", flag);
         ResourceBridgeImpFile bridge;
         ResourceCO index(gMsgTable);
         text += bridge.getText("MXL99999E");
         text += index.getText(9999);
         text += index.getText("MXL99999E");
         return text + number(value) + number(flag ? 1 : 0);
       },
       {},
       {}},
      {"agent's installation",
       [] {
         CMxlRmgLib client;
         return number(isVekExist()) + number(client.isKardoInstalled());
       },
       {},
       {}},
      {"getCanonicalPath",
       [] { return getCanonicalPath("x/../y"); },
       {},
       {{"getcwd", {"y"}}, {"vsnprintf", {""}}}},
      {"acquireSamePrefix",
       [] {
         makeTree();
         Strings paths{"tree/a/two", "tree/a/b"};
         return acquireSamePrefix(paths);
       },
       {},
       {}},
      {"isAllowDelete",
       [] { return number(isAllowDelete("/a/b")) + number(isAllowDelete("/tmp/x")); },
       {},
       {}},
      {"gateway client",
       [] {
         CMxlRmgLib client;
         std::string result = client.isOperate() ? "operating" : "not";
         result += number(client.startCom());
         char text[] = "text";
         result += number(client.sendNotify(7, text, nullptr));
         result += number(client.sendData(7, text, 4, nullptr));
         client.reportResult(3, client);
         result += number(client.stopCom());
         result += client.getMachineID();
         return result + client.toString() + client.toString1line();
       },
       {},
       {}},
      {"error record",
       [] {
         CMxlRmgLib client;
         client.setData({"-19", "1", "-5", "server said"});
         std::ostringstream out;
         out << client;
         std::istringstream in(out.str());
         CMxlRmgLib copy;
         in >> copy;
         const std::string explained = copy.toString();
         return explained + copy.toString1line();
       },
       {},
       {}},
      {"scsend, in operation",
       [] { return number(scsendMain()); },
       {{"pipe", 0, 0, "-1", "MXL90003L:"},
        {"fork", 0, 0, "-1", "MXL90005L:"},
        {"execvp", 0, 0, "1", "wstat=00000100"},
        {"waitpid", ECHILD, 0, "-1", "wstat=ffffffff"},
        {"puts", 0, 0, "0", ""}},
       {{"dup2", {"1"}}, {"read", {"?141", "?0"}}},
       {},
       0,
       {},
       {{"0", kCompleted}}},
      {"scsend, not in operation",
       [] {
         setenv("VEKCOM_STATUS", "0x10000", 1);
         const int status = scsendMain();
         unsetenv("VEKCOM_STATUS");
         return number(status);
       },
       {{"puts", 0, 0, "-1", ""}},
       {},
       {},
       0,
       {},
       {{"-1", kNotInOperation}}},
  };
}

// ---- One run -----------------------------------------------------------------------------------

struct Report {
  char result[kReportBytes];  // of the faulted run
  char logged[kReportBytes];
  char again[kReportBytes];  // of the next run, without a fault
  bool exhausted;            // an allocation failed and the caller saw it
  int descriptors;           // left open by the faulted run
  bool children;
  char files[4096];  // left in /tmp
  int injected;
  std::atomic<bool> complete;
};

struct Totals {
  std::atomic<int> scenarios;
  std::atomic<int> runs;
  std::atomic<int> faults;
  std::atomic<int> short_of;
  std::atomic<bool> met[kMostFaults];  // faults that were injected
};

template <class T>
T* makeShared() {
  return new (mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
      T{};
}

template <size_t size>
void store(char (&to)[size], const std::string& text) {
  to[text.copy(to, size - 1)] = '\0';
}

void makeWorkspace() {
  std::filesystem::current_path("/");
  for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
    std::filesystem::remove_all(entry.path());
  }
  std::filesystem::create_directories("/tmp/sweep");
  std::filesystem::create_directories("/tmp/log");
  std::filesystem::current_path("/tmp/sweep");
}

// What the scenario gives, its standard output behind it.
std::string perform(const Scenario& scenario, const std::function<void()>& arm) {
  fflush(stdout);
  const int saved = ::dup(STDOUT_FILENO);
  const int file = ::creat("/tmp/log/stdout", 0600);
  ::dup2(file, STDOUT_FILENO);
  ::close(file);
  std::string result;
  bool exhausted = false;
  try {
    arm();
    result = scenario.run();
  } catch (const std::bad_alloc&) {
    exhausted = true;
  }
  faults::disarm();
  std::cout.flush();
  fflush(stdout);
  ::dup2(saved, STDOUT_FILENO);
  ::close(saved);
  if (exhausted) throw std::bad_alloc();
  return result + kOutputBehind + readFile("/tmp/log/stdout");
}

void runOnce(const Scenario& scenario, size_t fault, int call, Mode mode, Report& report) {
  alarm(kWatchdogSeconds);
  std::set_terminate(abort);  // without its words
  makeWorkspace();
  const size_t before = openDescriptors().size();
  try {
    store(report.result, perform(scenario, [&] {
            if (call == 0) {
              faults::count();
            } else {
              faults::arm(fault, call, mode);
            }
          }));
  } catch (const std::bad_alloc&) {
    faults::disarm();
    report.exhausted = true;
  }
  report.injected = faults::injected();
  report.descriptors = static_cast<int>(openDescriptors().size() - before);
  report.children = hasChildren();
  std::string files;
  for (auto entry = std::filesystem::recursive_directory_iterator("/tmp");
       entry != std::filesystem::recursive_directory_iterator(); ++entry) {
    const std::string path = entry->path();
    const bool own = path == "/tmp/sweep" || path == "/tmp/log";
    if (own) entry.disable_recursion_pending();
    if (!own && path != kNewDirectory) files += path + " ";
  }
  store(report.files, files);
  store(report.logged, std::filesystem::exists("/tmp/log/moxel.log")
                           ? readFile("/tmp/log/moxel.log")
                           : std::string());
  makeWorkspace();
  store(report.again, perform(scenario, [] {}));
  report.complete = true;
}

// ---- The sweep ---------------------------------------------------------------------------------

class Sweep {
 public:
  Sweep(const Scenario& scenario, Totals& totals, bool verbose)
      : m_scenario(scenario),
        m_totals(totals),
        m_verbose(verbose),
        m_report(makeShared<Report>()) {}

  void run() {
    if (!perform(0, 0, Mode::kOnce) || !m_report->complete) {
      complain("the scenario itself fails");
      return;
    }
    m_plain = m_report->result;
    if (m_plain != m_report->again)
      complain(std::string("gives another result the second time: ") + m_plain + " | " +
               m_report->again);
    std::vector<int> calls;
    for (size_t fault = 0; fault < faults::kFaults.size(); ++fault)
      calls.push_back(faults::calls(fault));
    for (size_t fault = 0; fault < calls.size(); ++fault) {
      for (int call = 1; call <= calls[fault]; ++call) {
        for (const Mode mode : {Mode::kOnce, Mode::kFromThenOn}) inject(fault, call, mode);
      }
    }
    for (size_t i = 0; i < m_scenario.table.size(); ++i) {
      if (m_met.count(i) == 0)
        complain(format("row %zu of its table is never met (%s)", i, m_scenario.table[i].function));
    }
    m_what = "any fault";
    for (const auto& [function, outcomes] : m_scenario.outcomes) {
      for (const std::string& outcome : outcomes) {
        if (outcome.front() != *kAtTimes) requireSeen(function + " giving " + outcome);
      }
    }
    for (const auto& function : m_scenario.leaveFiles) requireSeen(function + " leaving a file");
    for (const auto& function : m_scenario.leaveDescriptors)
      requireSeen(function + " leaving a descriptor");
    if (m_scenario.endsWithoutMemory) requireSeen("the end without memory");
    ++m_totals.scenarios;
  }

 private:
  // What is permitted and never occurs hides what it would be wrong for.
  void requireSeen(const std::string& what) {
    if (m_seen.count(what) == 0) complain("permitted, and never seen: " + what);
  }

  // Runs the scenario in a child; false when the child was killed.
  bool perform(size_t fault, int call, Mode mode) {
    *m_report->result = *m_report->logged = *m_report->again = *m_report->files = '\0';
    m_report->exhausted = m_report->children = m_report->complete = false;
    m_report->descriptors = m_report->injected = 0;
    fflush(stdout);
    m_status = inChild([&] {
      runOnce(m_scenario, fault, call, mode, *m_report);
      return 0;
    });
    return exitCode(m_status) == 0;
  }

  void inject(size_t fault, int call, Mode mode) {
    const std::string& function = faults::kFaults[fault].function;
    m_what = format("%s #%d (%s) %s", C(function), call, strerror(faults::kFaults[fault].error),
                    mode == Mode::kOnce ? "once" : "from then on");
    const bool ended = perform(fault, call, mode);
    ++m_totals.runs;
    m_totals.faults += m_report->injected;
    if (m_report->injected > 0) m_totals.met[fault] = true;
    const bool allocation = function == "operator new";
    if (m_verbose)
      printf("%s: %s: %s%s\n", m_scenario.name, C(m_what), m_report->result,
             m_report->exhausted ? "(no memory)" : "");
    if (!ended) {
      // Exhausted memory inside of what must not throw ends the run.
      const bool aborted = WIFSIGNALED(m_status) && WTERMSIG(m_status) == SIGABRT;
      if (allocation && aborted && m_scenario.endsWithoutMemory) {
        m_seen.insert("the end without memory");
        return;
      }
      complain(WIFSIGNALED(m_status) ? format("killed by %s", strsignal(WTERMSIG(m_status)))
                                     : format("exit code %d", exitCode(m_status)));
      return;
    }
    if (m_report->again != m_plain) complain(std::string("the next call gives ") + m_report->again);
    if (m_report->children) complain("a child is left");
    if (m_report->exhausted && !allocation) complain("throws");
    if (plainPart(m_report->result) == kThrown) complain("throws without memory");
    judgeLeftovers(function);
    if (m_report->exhausted) return;
    judgePrinted(function);
    judgeResult(function, faults::kFaults[fault].error, call, mode, allocation);
  }

  // The command's first line tells its status, whatever fails but the line itself.
  void judgePrinted(const std::string& function) {
    const std::string result = m_report->result;
    const auto printed = m_scenario.printed.find(plainPart(result));
    if (m_scenario.printed.empty() || function == "puts") return;
    const std::string& expected =
        printed == m_scenario.printed.end() ? kNotCompleted : printed->second;
    const std::string output = result.substr(result.find(kOutputBehind) + 1);
    if (output.compare(0, expected.size(), expected) != 0) complain("prints " + output);
  }

  void judgeLeftovers(const std::string& function) {
    if (m_report->descriptors > m_scenario.descriptorsLeft) {
      m_seen.insert(function + " leaving a descriptor");
      if (m_scenario.leaveDescriptors.count(function) == 0)
        complain(format("%d descriptors are left", m_report->descriptors));
    }
    if (*m_report->files != '\0') {
      m_seen.insert(function + " leaving a file");
      if (m_scenario.leaveFiles.count(function) == 0)
        complain(std::string("files are left: ") + m_report->files);
    }
  }

  void judgeResult(const std::string& function, int error, int call, Mode mode, bool allocation) {
    const std::string result = m_report->result;
    for (size_t i = 0; i < m_scenario.table.size(); ++i) {
      const Row& row = m_scenario.table[i];
      if (row.function != function) continue;
      if (row.call != 0 && (row.call != call || mode != Mode::kOnce)) continue;
      if (row.error != 0 && row.error != error) continue;
      m_met.insert(i);
      if (plainPart(result) != row.result) complain("gives " + result + ", not " + row.result);
      if (std::string(m_report->logged).find(row.logged) == std::string::npos) {
        complain(std::string("does not log \"") + row.logged + "\" but\n" + m_report->logged);
      }
      return;
    }
    if (result == m_plain || allocation) return;
    for (const Row& row : m_scenario.table) {
      const bool same = row.function == function && (row.error == 0 || row.error == error);
      if (same && mode == Mode::kFromThenOn && plainPart(result) == row.result) return;
    }
    const bool prints = function == "puts" || function == "printf" || function == "vprintf";
    if (prints && plainPart(result) == plainPart(m_plain)) return;
    if (m_plain.back() == kOutputBehind && result.back() != kOutputBehind) {
      complain("prints what it should not: " + result);
    }
    const auto outcomes = m_scenario.outcomes.find(function);
    if (outcomes != m_scenario.outcomes.end()) {
      m_seen.insert(function + " giving " + plainPart(result));
      if (outcomes->second.count(plainPart(result)) != 0) return;
      if (outcomes->second.count(kAtTimes + plainPart(result)) != 0) return;
    }
    complain("gives " + result);
  }

  // The result without what was printed.
  static std::string plainPart(const std::string& result) {
    return result.substr(0, result.find(kOutputBehind));
  }

  void complain(const std::string& text) {
    ++m_totals.short_of;
    printf("SHORT %s: %s: %s\n", m_scenario.name, C(m_what), C(text));
  }

  const Scenario& m_scenario;
  Totals& m_totals;
  bool m_verbose;
  Report* m_report;
  int m_status = 0;
  std::string m_plain;
  std::string m_what = "no fault";
  std::set<size_t> m_met;
  std::set<std::string> m_seen;  // what was permitted and occurred
};

// A machine of the sweep's own: nothing of it is seen outside.
bool enterWorkshop() {
  if (!enterPrivateNamespace() || !mountEmpty("/tmp") || !mountEmpty("/opt")) return false;
  std::filesystem::create_directories("/opt/kardo/moxel/bin");
  writeFile("/opt/kardo/moxel/bin/scsend.sh", "#!/bin/sh\necho sent\n", 0755);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  // The log's path is read before main.
  if (getenv("MOXEL_LOG") == nullptr) {
    setenv("MOXEL_LOG", "/tmp/log/moxel.log", 1);
    setenv("MOXEL_LOG_LEVEL", "LOG_LEVEL_TRACE", 1);
    setenv("LC_ALL", "C", 1);
    execv("/proc/self/exe", argv);
    return 1;
  }
  bool verbose = false;
  std::set<std::string> wanted;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "-v") == 0) {
      verbose = true;
    } else {
      wanted.insert(argv[i]);
    }
  }
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
  setvbuf(stdout, nullptr, _IOLBF, 0);

  const std::vector<Scenario> scenarios = makeScenarios();
  auto* const totals = makeShared<Totals>();
  auto* const next = makeShared<std::atomic<size_t>>();
  std::vector<pid_t> workers;
  for (int i = 0; i < 2; ++i) {
    workers.push_back(startChild([&] {
      if (!enterWorkshop()) return 1;
      faults::separate();
      for (size_t at; (at = (*next)++) < scenarios.size();) {
        if (!wanted.empty() && wanted.count(scenarios[at].name) == 0) continue;
        Sweep(scenarios[at], *totals, verbose).run();
      }
      return 0;
    }));
  }
  bool worked = true;
  for (const pid_t worker : workers) worked = exitCode(waitFor(worker)) == 0 && worked;
  if (!worked) {
    fprintf(stderr, "fault_sweep: this machine does not permit the private mounts that it needs\n");
    return 1;
  }
  for (size_t fault = 0; fault < faults::kFaults.size() && wanted.empty(); ++fault) {
    if (totals->met[fault]) continue;
    ++totals->short_of;
    printf("SHORT %s is called in no scenario\n", C(faults::kFaults[fault].function));
  }
  printf("%d scenarios, %d runs, %d faults injected, %d fell short\n", totals->scenarios.load(),
         totals->runs.load(), totals->faults.load(), totals->short_of.load());
  return totals->short_of == 0 && totals->runs > 0 ? 0 : 1;
}
