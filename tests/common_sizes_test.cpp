#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <list>
#include <string>

#include "CLog.h"
#include "Process.h"
#include "Scratch.h"
#include "StatCalls.h"
#include "common.h"
#include "common_template.h"

namespace {

using List = std::list<std::string>;

class CommonSizes : public LogTest {
 protected:
  CommonSizes() : dir(scratch.file("dir")) { mkdir(dir.c_str(), 0755); }

  // Puts a command of the test's own before the system's.
  void install(const std::string& name, const std::string& script) {
    mkdir(scratch.file("bin").c_str(), 0755);
    writeFile(scratch.file("bin/" + name), "#!/bin/sh\n" + script, 0755);
    setenv("PATH", (scratch.file("bin") + ":" + m_searchPath).c_str(), 1);
  }

  std::string dir;

 private:
  std::string m_searchPath = getenv("PATH");
  Environment m_restore{"PATH", m_searchPath};
};

// ---- getFileSize -------------------------------------------------------------------------------

TEST_F(CommonSizes, AFilesSizeIsInBytes) {
  writeFile(dir + "/file", "12345");
  ASSERT_EQ(symlink("file", (dir + "/link").c_str()), 0);
  EXPECT_EQ(getFileSize((dir + "/file").c_str()), 5);
  EXPECT_EQ(getFileSize((dir + "/link").c_str()), 5);
  writeFile(dir + "/large", "");
  ASSERT_EQ(truncate((dir + "/large").c_str(), 5LL << 30), 0);
  EXPECT_EQ(getFileSize((dir + "/large").c_str()), 5LL << 30);
  EXPECT_GE(getFileSize(dir.c_str()), 0);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonSizes, AFileThatCannotBeExaminedIsReported) {
  EXPECT_EQ(getFileSize((dir + "/missing").c_str()), -1);
  EXPECT_EQ(getFileSize(nullptr), -1);
  EXPECT_EQ(logged(), (Lines{"get file size error(" + dir + "/missing,No such file or directory)",
                             "get file size error((null),Bad address)"}));
}

// ---- getTotalFileSize --------------------------------------------------------------------------

TEST_F(CommonSizes, TotalAddsEveryFileGiven) {
  writeFile(dir + "/a", "1");
  writeFile(dir + "/b", "22");
  EXPECT_EQ(getTotalFileSize({}, 1), 0);
  EXPECT_EQ(getTotalFileSize({dir + "/a"}, 0), 1);
  EXPECT_EQ(getTotalFileSize({dir + "/a", dir + "/b", dir + "/a"}, 0), 4);
  EXPECT_EQ(getTotalFileSize({dir + "/a", dir}, 0), 1);
  EXPECT_EQ(getTotalFileSize({dir + "/a", dir}, 2), 1) << "only 1 is recursive";
  EXPECT_EQ(getTotalFileSize({dir + "/a", dir}, 1), 4);
  EXPECT_EQ(getTotalFileSize({dir + "//"}, 1), 3);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonSizes, TotalFollowsLinksInATree) {
  ASSERT_EQ(makeDir(dir + "/s/t/u", 1), 0);
  writeFile(dir + "/s/a", "1");
  writeFile(dir + "/s/t/b b", "22");
  writeFile(dir + "/s/t/u/.c", "333");
  ASSERT_EQ(mkfifo((dir + "/fifo").c_str(), 0600), 0);
  ASSERT_EQ(symlink("s/a", (dir + "/to file").c_str()), 0);
  ASSERT_EQ(symlink("s/t", (dir + "/to dir").c_str()), 0);
  makeSocket((dir + "/socket"));
  // The tree once, what the links lead to once more.
  EXPECT_EQ(getTotalFileSize({dir}, 1), 6 + 1 + 5);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonSizes, AwkwardNamesAreNames) {
  long long expected = 0;
  for (const std::string& name : kAwkwardNames) {
    const std::string path = dir + "/" + name;
    ASSERT_EQ(makeDir(path, 1), 0) << name;
    writeFile(path + "/" + name, std::string(static_cast<size_t>(++expected), 'x'));
    EXPECT_EQ(getFileSize((path + "/" + name).c_str()), expected) << name;
    std::string date;
    EXPECT_EQ(getFileDate(path, date), 0) << name;
    EXPECT_EQ(dupDir(path.c_str(), (scratch.file("copy") + name).c_str()), 1) << name;
    EXPECT_TRUE(isDir(scratch.file("copy") + name)) << name;
  }
  const long long count = static_cast<long long>(kAwkwardNames.size());
  EXPECT_EQ(getTotalFileSize({dir}, 1), count * (count + 1) / 2);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonSizes, TotalPassesOverWhatCannotBeExamined) {
  traceOn();
  writeFile(dir + "/a", "1");
  ASSERT_EQ(symlink("missing", (dir + "/dangling").c_str()), 0);
  EXPECT_EQ(getTotalFileSize({dir}, 1), 1);
  const std::string name = dir + "/dangling";
  EXPECT_EQ(logged(), (Lines{"get file size error(" + name + ",No such file or directory)",
                             "[T](common:169):getFileSize():reurned -1 , " + name}));
}

TEST_F(CommonSizes, TotalPassesOverDirectoriesThatCannotBeOpenedOrSearched) {
  ASSERT_EQ(makeDir(dir + "/closed/sub", 1), 0);
  ASSERT_EQ(makeDir(dir + "/listed/sub", 1), 0);
  writeFile(dir + "/closed/file", "1");
  writeFile(dir + "/listed/file", "22");
  writeFile(dir + "/file", "333");
  chmod((dir + "/closed").c_str(), 0111);
  chmod((dir + "/listed").c_str(), 0444);
  chmod(scratch.path().c_str(), 0777);
  expectInChild([&] {
    dropPrivileges();
    EXPECT_EQ(getTotalFileSize({dir}, 1), 3);
  });
  // What is listed but cannot be examined is reported, file or directory; what cannot be listed is
  // empty.
  Lines lines = logged();
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ(lines, (Lines{"get file size error(" + dir + "/listed/file,Permission denied)",
                          "get file size error(" + dir + "/listed/sub,Permission denied)"}));
}

TEST_F(CommonSizes, TotalOfTheRootIsNothing) { EXPECT_EQ(getTotalFileSize({"/", "//"}, 1), 0); }

TEST_F(CommonSizes, TotalOfADeepTreeTakesFewDescriptors) {
  std::string path = dir;
  while (path.size() < 3800) path += "/" + std::string(200, 'd');
  ASSERT_EQ(makeDir(path, 1), 0);
  writeFile(path + "/file", "12345");
  expectInChild([&] {
    leaveDescriptors(1);
    EXPECT_EQ(getTotalFileSize({dir}, 1), 5);
  });
}

TEST_F(CommonSizes, TotalPassesOverNamesThatAreTooLongToBeExamined) {
  expectInChild([&] {
    enterDeepDirectory(dir, 4000);
    // A slash and 94 more make 4095, the longest name.
    writeFile(std::string(94, 'l'), "22");
    writeFile(std::string(95, 't'), "1");
    EXPECT_EQ(getTotalFileSize({dir}, 1), 2);
  });
  const Lines lines = logged();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].rfind("get file size error(" + dir + "/d", 0), 0u);
  EXPECT_EQ(lines[0].substr(lines[0].size() - 21), "t,File name too long)");
}

TEST_F(CommonSizes, TotalExaminesEachFileOnce) {
  for (const char* name : {"/a", "/b", "/sub/c", "/sub/d"}) {
    ASSERT_EQ(makeDir(dir + "/sub", 1), 0);
    writeFile(dir + name, "1");
  }
  statCalls = 0;
  EXPECT_EQ(getTotalFileSize({dir}, 1), 4);
  EXPECT_EQ(statCalls, 1 + 4 + 1) << "the path itself, each file, and the directory below";
}

TEST_F(CommonSizes, TotalKeepsNothingOpenWhileItDescends) {
  // Each directory has five bytes and a link to the next.
  const std::string chain = scratch.file("chain");
  ASSERT_EQ(mkdir(chain.c_str(), 0755), 0);
  constexpr int kDirectories = 31;
  for (int i = 0; i < kDirectories; ++i) {
    const std::string one = chain + "/" + std::to_string(i);
    ASSERT_EQ(mkdir(one.c_str(), 0755), 0);
    writeFile(one + "/file", "12345");
    if (i == kDirectories - 1) break;
    ASSERT_EQ(symlink(("../" + std::to_string(i + 1)).c_str(), (one + "/next").c_str()), 0);
  }
  for (const int descriptors : {40, 20, 10, 1}) {
    expectInChild([&] {
      leaveDescriptors(descriptors);
      EXPECT_EQ(getTotalFileSize({chain + "/0"}, 1), kDirectories * 5) << descriptors;
    });
  }
}

TEST_F(CommonSizes, TotalReportsInTheOrderOfTheEntries) {
  for (const char* name : {"/a", "/b", "/c"}) {
    ASSERT_EQ(makeDir(dir + name, 1), 0);
    ASSERT_EQ(symlink("missing", (dir + name + "/dangling").c_str()), 0);
    ASSERT_EQ(symlink("missing", (dir + name + "2").c_str()), 0);
  }
  EXPECT_EQ(getTotalFileSize({dir}, 1), 0);
  List entries;
  ASSERT_EQ(getFileList(entries, dir.c_str(), 1, 1, 0), 6);
  Lines expected;
  for (const std::string& entry : entries) {
    const std::string name = entry.back() == '2' ? entry : entry + "/dangling";
    expected.push_back("get file size error(" + name + ",No such file or directory)");
  }
  EXPECT_EQ(logged(), expected);
}

// What the total is made of: the size of each path, of each entry's whole name.
long long totalOf(const List& paths) {
  long long total = 0;
  for (const std::string& path : paths) {
    List entries;
    if (isDir(path)) {
      getFileList(entries, path.c_str(), 1, 1, 0);
      total += totalOf(entries);
    } else {
      total += std::max(0LL, getFileSize(path.c_str()));
    }
  }
  return total;
}

TEST_F(CommonSizes, TotalCountsTheLinksOfAWholeName) {
  writeFile(dir + "/file", "12345");
  ASSERT_EQ(symlink("file", (dir + "/link").c_str()), 0);
  ASSERT_EQ(symlink(".", (dir + "/loop").c_str()), 0);
  const long long expected = totalOf({dir});
  const Lines lines = newlyLogged();
  EXPECT_EQ(getTotalFileSize({dir}, 1), expected);
  EXPECT_EQ(newlyLogged(), lines);
  // One of the name of the loop alone, one of the link behind it.
  EXPECT_EQ(lines.size(), 2u);
}

TEST_F(CommonSizes, TotalCountsWhatItHasReportedBefore) {
  // The log lies in the tree between links that lead nowhere, alone or in directories.
  for (int i = 0; i < 20; ++i) {
    std::string name = scratch.file("x" + std::to_string(i));
    if (i % 2 == 0) {
      ASSERT_EQ(mkdir(name.c_str(), 0755), 0);
      name += "/x";
    }
    ASSERT_EQ(symlink("missing", name.c_str()), 0);
  }
  gLog.ilog("first");
  List entries;
  ASSERT_EQ(getFileList(entries, scratch.path().c_str(), 1, 1, 0), 20 + 2) << "links, log, dir";
  entries.remove(dir);
  const auto before =
      std::distance(entries.begin(), std::find(entries.begin(), entries.end(), logPath()));
  ASSERT_LT(before, 21);
  const long long total = getTotalFileSize({scratch.path()}, 1);
  const std::string log = readFile(logPath());
  size_t end = 0;
  for (long line = 0; line < 1 + before; ++line) end = log.find('\n', end) + 1;
  EXPECT_EQ(total, static_cast<long long>(end));
  EXPECT_EQ(logged().size(), 21u);
}

TEST_F(CommonSizes, TotalTakesAPathUpToAZeroByte) {
  ASSERT_EQ(makeDir(dir + "/sub", 1), 0);
  writeFile(dir + "/sub/file", "123");
  EXPECT_EQ(getTotalFileSize({dir + std::string("\0x", 2)}, 1), 3);
}

TEST_F(CommonSizes, TotalReportsAPathThatIsMissing) {
  traceOn();
  writeFile(dir + "/a", "1");
  const std::string missing = dir + "/missing";
  for (const int recursive : {0, 1}) {
    EXPECT_EQ(getTotalFileSize({missing, dir + "/a"}, recursive), 1);
    EXPECT_EQ(newlyLogged(),
              (Lines{"get file size error(" + missing + ",No such file or directory)",
                     "[T](common:169):getFileSize():reurned -1 , " + missing}));
  }
}

TEST_F(CommonSizes, TotalAddsThousandsOfFiles) {
  const std::string many = dir + "/many";
  ASSERT_EQ(mkdir(many.c_str(), 0755), 0);
  for (int i = 0; i < 20000; ++i) {
    ASSERT_EQ(mknod((many + "/" + std::to_string(i)).c_str(), S_IFREG | 0600, 0), 0);
  }
  writeFile(many + "/7", "7777777");
  EXPECT_EQ(getTotalFileSize({dir}, 1), 7);
}

// ---- getDirSize --------------------------------------------------------------------------------

TEST_F(CommonSizes, DirectorySizeIsWhatDuPrints) {
  writeFile(dir + "/file", std::string(100000, 'x'));
  List out;
  ASSERT_EQ(execGetLines(out, ("du -sk " + dir).c_str(), 1, nullptr, -1), 0);
  EXPECT_GE(getDirSize(dir.c_str()), 100000 / 1024);
  EXPECT_EQ(getDirSize(dir.c_str()), atoi(out.front().c_str()));

  install("du", "echo \"123$*\"");
  EXPECT_EQ(getDirSize("x"), 123);
  install("du", "[ \"$*\" = '-sk a b' ] && echo '  77\tx'; exit 3");
  EXPECT_EQ(getDirSize("a b"), 77) << "neither quoted nor checked";
  install("du", "echo -5");
  EXPECT_EQ(getDirSize("x"), -5);
}

TEST_F(CommonSizes, ADirectorySizeThatCannotBeHadIsNothing) {
  EXPECT_EQ(getDirSize(nullptr), -1);
  EXPECT_EQ(logged(), Lines{});
  install("du", "exit 1");
  EXPECT_EQ(getDirSize("/nonexistent"), 0);
  install("du", "echo cannot");
  EXPECT_EQ(getDirSize("/nonexistent"), 0);
}

TEST_F(CommonSizes, DirectorySizeCommandsAreCutAt1023Bytes) {
  install("du", "printf '%s' \"$2\" | wc -c");
  const int fixed = static_cast<int>(strlen("du -sk "));
  for (const int length : {1, 1000, 1023 - fixed}) {
    EXPECT_EQ(getDirSize(std::string(static_cast<size_t>(length), 'x').c_str()), length);
  }
  EXPECT_EQ(getDirSize(std::string(1024, 'x').c_str()), 1023 - fixed);
  EXPECT_EQ(getDirSize(std::string(5000, 'x').c_str()), 1023 - fixed);
}

// ---- getDirFileSize ----------------------------------------------------------------------------

TEST_F(CommonSizes, DirectoryFileSizeOfWhatExistsFails) {
  int size = 99;
  EXPECT_EQ(getDirFileSize("", size, 0), -1);
  EXPECT_EQ(size, 0);
  for (const std::string& path : {dir, dir + "/", std::string("/dev/null")}) {
    size = 99;
    EXPECT_EQ(getDirFileSize(path, size, 0), -1) << path;
    EXPECT_EQ(size, 0);
    EXPECT_EQ(getDirFileSize(path, size, 1), -1) << path;
  }
  EXPECT_EQ(newlyLogged("MXL90004L"), Lines{}) << "no command was run";
}

TEST_F(CommonSizes, DirectoryFileSizeGoesOnForWhatDoesNotExist) {
  const std::string patterns = "urgent.*.tar *.txt express.*.tar 2>/dev/null";
  expectInChild([&] {
    // Nothing there for the patterns.
    ASSERT_EQ(chdir(dir.c_str()), 0);
    int size = 99;
    EXPECT_EQ(getDirFileSize("/nonexistent/", size, 1), 0);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(getDirFileSize("/nonexistent/", size, 0), 0);
    EXPECT_EQ(getDirFileSize(std::string(5000, 'x'), size, -1), 0);
    // What the patterns find exists.
    writeFile("found.txt", "12345");
    EXPECT_EQ(getDirFileSize("/nonexistent/", size, 1), -1);
    EXPECT_EQ(size, 0);
  });
  EXPECT_EQ(newlyLogged("MXL90004L:com"),
            (Lines{"MXL90004L:com=ls -1 /nonexistent/" + patterns,
                   "MXL90004L:com=ls -1 /nonexistent/ 2>/dev/null",
                   "MXL90004L:com=ls -1 " + std::string(5000, 'x') + patterns,
                   "MXL90004L:com=ls -1 /nonexistent/" + patterns}));
}

TEST_F(CommonSizes, DirectoryFileSizeFailsWhereAListedNameExists) {
  int size = 99;
  writeFile(dir + "/file", "12345");
  // The shell expands the text; the names are sought in the working directory.
  const std::string pattern = scratch.file("d?r");
  EXPECT_EQ(getDirFileSize(pattern, size, 0), 0);
  EXPECT_EQ(size, 0);

  install("ls", "echo .; echo ..; echo missing; echo other");
  EXPECT_EQ(getDirFileSize("/nonexistent", size, 0), 0);
  EXPECT_EQ(size, 0);
  install("ls", "echo .; echo ..; echo missing; echo " + dir + "/file");
  EXPECT_EQ(getDirFileSize("/nonexistent", size, 0), -1);
  EXPECT_EQ(size, 0);
  install("ls", "echo " + dir);
  EXPECT_EQ(getDirFileSize("/nonexistent", size, 0), -1);
}

// ---- getFreeSize -------------------------------------------------------------------------------

TEST_F(CommonSizes, FreeSizeIsWhatDfPrints) {
  install("df",
          "[ \"$*\" = '-kP some dir' ] || exit 1\n"
          "echo 'Filesystem 1024-blocks Used Available Capacity Mounted on'\n"
          "echo '/dev/sda1 5000 3766 1234 76% /'\n");
  EXPECT_EQ(getFreeSize("some dir"), 1234) << "not quoted";
}

TEST_F(CommonSizes, FreeSizeIsThatOfTheFileSystem) {
  expectInChild([] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/mnt", 0, "size=1234k"));
    struct statfs mounted = {};
    ASSERT_EQ(statfs("/mnt", &mounted), 0);
    const long long free = static_cast<long long>(mounted.f_bavail) * mounted.f_bsize / 1024;
    EXPECT_EQ(getFreeSize("/mnt"), free);
    EXPECT_GT(free, 1000);
  });
}

TEST_F(CommonSizes, FreeSizeReadsTheNumberAfterTheFirstBlank) {
  struct {
    const char* second;
    int size;
  } const rows[] = {{"fs 77", 77}, {" 88 99", 88}, {"fs\t66", 66}, {"fs   55x", 55},
                    {"fs", 0},     {"", 0},        {"fs none", 0}, {"123", 0}};
  for (const auto& row : rows) {
    install("perl", format("cat >/dev/null; printf 'heading 1\\n%s\\nthird 3\\n'", row.second));
    EXPECT_EQ(getFreeSize("/"), row.size) << row.second;
  }
}

TEST_F(CommonSizes, FreeSizeCommandIsTheFixedOne) {
  // A shell that notes what it is asked to run stands in for the system's.
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && noteShellCommands(scratch.file("command")));
    getFreeSize("/a dir");
  });
  EXPECT_EQ(readFile(scratch.file("command")),
            "df -kP /a dir | perl -ne '@e=split; printf(\"%s %s\n\", $e[0], $e[3]);' 2>/dev/null");
}

TEST_F(CommonSizes, FreeSizeWithoutAnAnswerFails) {
  EXPECT_EQ(getFreeSize(nullptr), -1);
  EXPECT_EQ(getFreeSize("/nonexistent"), -1);
  install("df", "echo heading");
  EXPECT_EQ(getFreeSize("/"), -1);
  install("perl", "cat >/dev/null; echo heading; echo '/dev/x 7'");
  EXPECT_EQ(getFreeSize("/"), 7);
  install("perl", "cat >/dev/null");
  EXPECT_EQ(getFreeSize("/"), -1);
  expectInChild([] {
    leaveDescriptors(1);
    EXPECT_EQ(getFreeSize("/"), -1);
  });
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonSizes, FreeSizeCommandsAreCutAt1023Bytes) {
  // What is cut off takes the pipe to perl with it: "df" answers alone.
  install("df", "echo heading; printf '%s' \"$2\" | wc -c | sed 's/^/x /'");
  EXPECT_EQ(getFreeSize(std::string(2000, 'x').c_str()),
            1023 - static_cast<int>(strlen("df -kP ")));
}

TEST_F(CommonSizes, CommandsLeaveNoDescriptorAndNoChild) {
  const auto before = openDescriptors();
  getFreeSize("/");
  getFreeSize("/nonexistent");
  getDirSize("/nonexistent");
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_FALSE(hasChildren());
}

// ---- acquireSamePrefix -------------------------------------------------------------------------

TEST_F(CommonSizes, SharedDirectoryIsTheLastCommonOne) {
  for (const char* path : {"/a/b", "/a/c", "/a/x/c", "/a/y/c", "/d/e"}) {
    ASSERT_EQ(makeDir(dir + path, 1), 0);
  }
  writeFile(dir + "/a/b/f", "");
  writeFile(dir + "/a/b/g", "");
  const auto below = [&](std::initializer_list<const char*> names) {
    List paths;
    for (const char* name : names) paths.push_back(dir + name);
    return paths;
  };
  struct {
    List paths;
    std::string result;
  } const rows[] = {
      {{}, ""},
      {below({"/a/b/f"}), dir + "/a/b"},
      {below({"/a/b"}), dir + "/a/b"},
      {below({"/a/b/f", "/a/b/g"}), dir + "/a/b"},
      {below({"/a/b", "/a/c"}), dir + "/a"},
      {below({"/a/b", "/a/b/f"}), dir + "/a/b"},
      {below({"/a/b", "/a"}), dir + "/a"},
      {below({"/a", "/a/b"}), dir + "/a"},
      {below({"/a/b//", "/a//b/"}), dir + "/a/b"},
      {below({"/a/x/c", "/a/y/c"}), dir + "/a/c"},
      {below({"/a/x/c", "/a/y/c", "/d/e"}), dir},
      {below({"/missing/file"}), dir + "/missing"},
      {{"/usr", "/etc"}, "/"},
      {{"/"}, "/"},
      {{"/", "/usr"}, "/"},
      {{"/usr"}, "/usr"},
      {{"/missing"}, "/"},
      {{"no such/relative"}, "no such"},
      {{"no such/relative", "no such/other"}, "no such"},
      {{"no such/relative", "other/relative"}, ""},
      {{"no such/a", "other/a", "third/x/a"}, "third/x"},
      {{""}, "/"},
  };
  for (const auto& row : rows) {
    List paths = row.paths;
    EXPECT_EQ(acquireSamePrefix(paths), row.result) << testing::PrintToString(row.paths);
    EXPECT_EQ(paths, row.paths);
  }
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonSizes, SharedDirectoryIsTraced) {
  traceOn();
  List paths = {dir, dir + "/missing"};
  acquireSamePrefix(paths);
  EXPECT_EQ(logged(), (Lines{"[T](common:58):src:" + dir, "[T](common:58):src:" + dir + "/missing",
                             "[T](common:109):same prefix:" + dir}));
}

}  // namespace
