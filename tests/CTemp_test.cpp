#include "CTemp.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <list>
#include <type_traits>

#include "CMutex.h"
#include "Process.h"
#include "Scratch.h"
#include "common.h"

namespace {

// The owner with its list in view.
struct Temp : CTemp {
  using CTemp::tempFiles;
};

class CTempFiles : public LogTest {
 protected:
  const char* dir() const { return scratch.path().c_str(); }
};

bool isSameFile(int descriptor, const std::string& path) {
  struct stat open = {};
  struct stat named = {};
  return fstat(descriptor, &open) == 0 && stat(path.c_str(), &named) == 0 &&
         open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

int lowestFreeDescriptor() {
  const int number = dup(STDERR_FILENO);
  close(number);
  return number;
}

// `prefix`, six characters and "_".
void expectName(const std::string& path, const std::string& prefix) {
  EXPECT_EQ(path.substr(0, prefix.size()), prefix);
  ASSERT_EQ(path.size(), prefix.size() + 7);
  EXPECT_EQ(path.back(), '_');
  EXPECT_NE(path.substr(prefix.size(), 6), "XXXXXX");
}

// The scratch directory under a name of `length` bytes.
std::string longName(const std::string& dir, size_t length) {
  return dir + std::string(length - dir.size(), '/');
}

TEST_F(CTempFiles, NamesAreCutAt4095Bytes) {
  CTemp temp;
  std::string path;
  const auto start = [&] { return logged().empty() ? "" : logged().back().substr(0, 60); };
  const std::string files = longName(dir(), 4000);
  // Cut in the middle of what mkstemp replaces: 4000, a slash, 89 and six X are 4096. Whole, but
  // without room for the last byte.
  EXPECT_EQ(temp.getTemp_sub(path, std::string(89, 'p').c_str(), files.c_str(), nullptr, 0), 0);
  EXPECT_EQ(start().substr(0, 56), "[I](CTemp:136):failed to mkstemp():Invalid argument:temp");
  EXPECT_EQ(temp.getTemp_sub(path, std::string(88, 'p').c_str(), files.c_str(), nullptr, 0), 0);
  EXPECT_EQ(start().substr(0, 29), "MXL90104L:failed to rename():");
  EXPECT_EQ(path.size(), 4096u);

  // The same of a directory, which has no prefix: 4089, a slash and six X.
  EXPECT_EQ(temp.getTemp_sub(path, "", longName(dir(), 4089).c_str(), nullptr, 1), 0);
  EXPECT_EQ(start(), "MXL90102L:failed to mkstemp():Invalid argument");
  EXPECT_EQ(temp.getTemp_sub(path, "", longName(dir(), 4088).c_str(), nullptr, 1), 0);
  EXPECT_EQ(start().substr(0, 31), "MXL90103L:failed to create dir:");
  EXPECT_EQ(path.size(), 4096u);
}

TEST_F(CTempFiles, AFileStandsInTmpByDefault) {
  std::string path;
  {
    CTemp temp;
    int fd = -1;
    EXPECT_EQ(temp.getTempFile(path, "moxelabc", nullptr, &fd), 1);
    expectName(path, "/tmp/moxelabc");
    EXPECT_TRUE(isSameFile(fd, path));
    EXPECT_EQ(modeOf(path), 0600u);
    EXPECT_EQ(write(fd, "x", 1), 1);
    close(fd);
  }
  EXPECT_FALSE(exists(path));
}

TEST_F(CTempFiles, AFileStandsInTheDirectoryGiven) {
  CTemp temp;
  std::string path = "before";
  const auto before = openDescriptors();
  EXPECT_EQ(temp.getTempFile(path, "abc", dir(), nullptr), 1);
  expectName(path, scratch.file("abc"));
  EXPECT_TRUE(isFile(path));
  EXPECT_EQ(namesIn(dir()), Lines{path.substr(scratch.path().size() + 1)})
      << "no file is left under its first name";
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(CTempFiles, AnEmptyPrefixIsAPrefix) {
  CTemp temp;
  std::string path;
  EXPECT_EQ(temp.getTempFile(path, "", dir(), nullptr), 1);
  expectName(path, scratch.file(""));
}

TEST_F(CTempFiles, ADirectoryIgnoresThePrefix) {
  std::string path;
  const auto before = openDescriptors();
  const int descriptor = lowestFreeDescriptor();
  {
    CTemp temp;
    EXPECT_EQ(temp.getTempDir(path, "abc", dir()), 1);
    expectName(path, scratch.file(""));
    EXPECT_TRUE(isDir(path));
    EXPECT_EQ(namesIn(dir()), Lines{path.substr(scratch.path().size() + 1)});
    writeFile(path + "/inside", "");
  }
  EXPECT_FALSE(exists(path));

  EXPECT_EQ(openDescriptors().size(), before.size() + 1)
      << "one descriptor deliberately stays open";
  close(descriptor);
}

TEST_F(CTempFiles, DirectoriesHaveMode755LessTheMask) {
  expectInChild([&] {
    umask(027);
    Temp temp;
    std::string path;
    temp.getTempDir(path, "", dir());
    EXPECT_EQ(modeOf(path), 0750u);
  });
}

TEST_F(CTempFiles, AMissingDirectoryIsMadeWithItsParents) {
  CTemp temp;
  std::string path;
  EXPECT_EQ(temp.getTempFile(path, "abc", scratch.file("a/b").c_str(), nullptr), 1);
  expectName(path, scratch.file("a/b/abc"));
  expectInChild([&] {
    CTemp child;
    EXPECT_EQ(child.getTempDir(path, "abc", scratch.file("c/d").c_str()), 1);
    EXPECT_EQ(path.rfind(scratch.file("c/d/"), 0), 0u) << path;
    EXPECT_TRUE(isDir(path)) << path;
  });
  EXPECT_TRUE(isDir(scratch.file("c/d")));
}

TEST_F(CTempFiles, EachStepIsTraced) {
  traceOn();
  std::string file;
  std::string kept;
  int fd = -1;
  {
    CTemp temp;
    temp.getTempFile(file, "abc", dir(), nullptr);
    const int closed = lowestFreeDescriptor();
    EXPECT_EQ(newlyLogged("[T](CTemp"),
              (Lines{"[T](CTemp:75):getTemp_sub():prefix=" + scratch.path() + ",templ=abc",
                     format("[T](CTemp:160):getTemp_sub():exit=1,type=FILE,FD=%d,%s", closed,
                            file.c_str())}));
    temp.getTempFile(kept, "abc", dir(), &fd);
    EXPECT_EQ(
        newlyLogged("[T](CTemp:160)"),
        Lines{format("[T](CTemp:160):getTemp_sub():exit=1,type=FILE,FD=%d,%s", fd, kept.c_str())});
    temp.delTempFile(file.c_str());
    EXPECT_EQ(newlyLogged("[T](CTemp"), Lines{"[T](CTemp:192):delTempFile:" + file});
  }
  close(fd);
  EXPECT_EQ(newlyLogged("[T](CTemp"), Lines{"[T](CTemp:192):delTempFile:" + kept});
}

TEST_F(CTempFiles, ADirectoryIsTracedWithItsBlankAndNoDescriptor) {
  traceOn();
  expectInChild([&] {
    CTemp temp;
    std::string path;
    temp.getTempDir(path, "abc", nullptr);
    writeFile(scratch.file("path"), path);
  });
  const std::string path = readFile(scratch.file("path"));
  expectName(path, "/tmp/");
  EXPECT_EQ(newlyLogged("[T](CTemp"),
            (Lines{"[T](CTemp:75):getTemp_sub():prefix=/tmp,templ=abc",
                   "[T](CTemp:160):getTemp_sub():exit=1,type= DIR,FD=-1," + path,
                   "[T](CTemp:192):delTempFile:" + path}));
}

TEST_F(CTempFiles, WithoutTraceASuccessLogsNothing) {
  CTemp temp;
  std::string path;
  temp.getTempFile(path, "abc", dir(), nullptr);
  EXPECT_EQ(newlyLogged(), Lines{});
}

TEST_F(CTempFiles, ANullPrefixFailsTenTimes) {
  Temp temp;
  std::string path = "before";
  int fd = -7;
  EXPECT_EQ(temp.getTempFile(path, nullptr, dir(), &fd), 0);
  EXPECT_EQ(path, "");
  EXPECT_EQ(fd, -7);
  EXPECT_EQ(newlyLogged(), Lines(10, "[I](CTemp:68):invalid param"));
  path = "before";
  EXPECT_EQ(temp.getTempDir(path, nullptr, dir()), 0);
  EXPECT_EQ(path, "");
  EXPECT_EQ(newlyLogged(), Lines(10, "[I](CTemp:68):invalid param"));
  EXPECT_TRUE(temp.tempFiles.empty());
}

TEST_F(CTempFiles, OneAttemptLogsOnce) {
  Temp temp;
  std::string path;
  EXPECT_EQ(temp.getTemp_sub(path, nullptr, dir(), nullptr, 0), 0);
  EXPECT_EQ(newlyLogged(), Lines{"[I](CTemp:68):invalid param"});
  EXPECT_EQ(temp.getTemp_sub(path, "p", dir(), nullptr, 0), 1);
  EXPECT_TRUE(isFile(path));
  EXPECT_EQ(temp.tempFiles, std::list<std::string>{path});
}

TEST_F(CTempFiles, AnyOtherTypeIsADirectory) {
  expectInChild([&] {
    CTemp temp;
    std::string path;
    for (const int type : {1, 2, -1}) {
      int fd = -7;
      EXPECT_EQ(temp.getTemp_sub(path, "p", dir(), &fd, type), 1) << type;
      EXPECT_TRUE(isDir(path)) << type;
      EXPECT_EQ(fd, -7) << type;
    }
  });
}

TEST_F(CTempFiles, AFileInTheDirectorysPlaceFailsTenTimes) {
  writeFile(scratch.file("file"), "");
  const std::string expected =
      "MXL90100L:prefix:" + scratch.file("file") + " already exist and it's file";
  CTemp temp;
  std::string path = "before";
  int fd = -7;
  EXPECT_EQ(temp.getTempFile(path, "abc", scratch.file("file").c_str(), &fd), 0);
  EXPECT_EQ(path, "");
  EXPECT_EQ(fd, -7);
  EXPECT_EQ(newlyLogged(), Lines(10, expected));
  EXPECT_EQ(temp.getTempDir(path, "abc", scratch.file("file").c_str()), 0);
  EXPECT_EQ(newlyLogged(), Lines(10, expected));
}

TEST_F(CTempFiles, ALaterAttemptMaySucceed) {
  // The first attempt's log line waits for the lock; what made it fail is mended meanwhile.
  const std::string place = scratch.file("place");
  writeFile(place, "");
  CMutex mutex(scratch.path().c_str(), 1, false);
  ASSERT_TRUE(mutex.init(0) && mutex.lock(true));
  const pid_t child = startExpecting([&] {
    Temp temp;
    std::string path;
    ASSERT_EQ(temp.getTempFile(path, "abc", place.c_str(), nullptr), 1);
    EXPECT_EQ(temp.tempFiles.size(), 1u);
    EXPECT_EQ(namesIn(place).size(), 1u);
  });
  EXPECT_TRUE(eventually([&] { return waitersFor(scratch.path()) == 1; }));
  unlink(place.c_str());
  mutex.release();
  EXPECT_EQ(exitCode(waitFor(child)), 0);
  EXPECT_EQ(newlyLogged("MXL901"),
            Lines{"MXL90100L:prefix:" + place + " already exist and it's file"});
}

TEST_F(CTempFiles, HasAVirtualDestructorAndOneField) {
  EXPECT_TRUE((std::has_virtual_destructor_v<CTemp>));
  EXPECT_EQ(sizeof(CTemp), sizeof(void*) + sizeof(std::list<std::string>));
}

TEST_F(CTempFiles, ADirectoryThatCannotBeMadeFailsTenTimes) {
  writeFile(scratch.file("file"), "");
  const std::string below = scratch.file("file/below");
  CTemp temp;
  std::string path;
  EXPECT_EQ(temp.getTempFile(path, "abc", below.c_str(), nullptr), 0);
  EXPECT_EQ(newlyLogged(), Lines(10, "MXL90101L:failed to makeDir:" + below));
  EXPECT_EQ(temp.getTempDir(path, "abc", below.c_str()), 0);
  EXPECT_EQ(newlyLogged(), Lines(10, "MXL90101L:failed to makeDir:" + below));
  EXPECT_EQ(temp.getTempFile(path, "abc", "relative", nullptr), 0);
  EXPECT_EQ(newlyLogged(), Lines(10, "MXL90101L:failed to makeDir:relative"));
  EXPECT_EQ(temp.getTempFile(path, "abc", "", nullptr), 0);
  EXPECT_EQ(newlyLogged(), Lines(10, "MXL90101L:failed to makeDir:"));
}

TEST_F(CTempFiles, ADirectoryWithoutPermissionFailsTenTimes) {
  const std::string closed = scratch.file("closed");
  ASSERT_EQ(mkdir(closed.c_str(), 0555), 0);
  chmod(dir(), 0777);
  expectInChild([&] {
    dropPrivileges();
    Temp temp;
    std::string path = "before";
    int fd = -7;
    EXPECT_EQ(temp.getTempFile(path, "abc", closed.c_str(), &fd), 0);
    EXPECT_EQ(path, "");
    EXPECT_EQ(fd, -7);
    EXPECT_EQ(temp.getTempDir(path, "abc", closed.c_str()), 0);
    EXPECT_EQ(path, "");
    EXPECT_TRUE(temp.tempFiles.empty());
  });
  Lines expected(
      10, "[I](CTemp:136):failed to mkstemp():Permission denied:templ=" + closed + "/abcXXXXXX");
  expected.insert(expected.end(), 10, "MXL90102L:failed to mkstemp():Permission denied");
  EXPECT_EQ(newlyLogged(), expected);
}

TEST_F(CTempFiles, ANameThatIsCutFailsTenTimes) {
  const std::string prefix(5000, 'p');
  CTemp temp;
  std::string path;
  EXPECT_EQ(temp.getTempFile(path, prefix.c_str(), dir(), nullptr), 0);
  EXPECT_EQ(newlyLogged(), Lines(10, "[I](CTemp:136):failed to mkstemp():Invalid argument:templ=" +
                                         scratch.file(prefix) + "XXXXXX"));
}

TEST_F(CTempFiles, ADirectorysNameOf4096BytesFailsTenTimes) {
  expectInChild([&] {
    // A slash and the six X are one too many.
    const std::string deep = enterDeepDirectory(dir(), 4089);
    Temp temp;
    std::string path = "before";
    EXPECT_EQ(temp.getTempDir(path, "abc", deep.c_str()), 0);
    EXPECT_EQ(path, "");
    EXPECT_TRUE(temp.tempFiles.empty());
  });
  EXPECT_EQ(newlyLogged(), Lines(10, "MXL90102L:failed to mkstemp():Invalid argument"));
}

TEST_F(CTempFiles, AFailureIsTracedAtItsBeginningOnly) {
  traceOn();
  CTemp temp;
  std::string path;
  temp.getTemp_sub(path, nullptr, dir(), nullptr, 0);
  EXPECT_EQ(newlyLogged(), Lines{"[I](CTemp:68):invalid param"});
  writeFile(scratch.file("file"), "");
  temp.getTemp_sub(path, "abc", scratch.file("file").c_str(), nullptr, 0);
  EXPECT_EQ(newlyLogged(),
            (Lines{"[T](CTemp:75):getTemp_sub():prefix=" + scratch.file("file") + ",templ=abc",
                   "MXL90100L:prefix:" + scratch.file("file") + " already exist and it's file"}));
}

TEST_F(CTempFiles, OneAttemptMakesAMissingDirectory) {
  CTemp temp;
  std::string path;
  EXPECT_EQ(temp.getTemp_sub(path, "abc", scratch.file("a/b").c_str(), nullptr, 0), 1);
  EXPECT_EQ(temp.getTemp_sub(path, "abc", scratch.file("c").c_str(), nullptr, 1), 1);
}

TEST_F(CTempFiles, ASlashBehindTheDirectoryStays) {
  CTemp temp;
  std::string path;
  ASSERT_EQ(temp.getTempDir(path, "abc", scratch.file("").c_str()), 1);
  expectName(path, scratch.file("/"));
  ASSERT_EQ(temp.getTempFile(path, "abc", scratch.file("").c_str(), nullptr), 1);
  expectName(path, scratch.file("/abc"));
}

TEST_F(CTempFiles, AFirstFileThatCannotBeUnlinkedFailsTheDirectory) {
  expectInChild([&] {
    denySystemCalls(kUnlinkCalls, EPERM);
    Temp temp;
    std::string path = "before";
    EXPECT_EQ(temp.getTempDir(path, "abc", dir()), 0);
    EXPECT_EQ(path, "");
    EXPECT_TRUE(temp.tempFiles.empty());
  });
  EXPECT_EQ(newlyLogged(), Lines(10, "MXL90102L:failed to unlink():Operation not permitted"));
}

TEST_F(CTempFiles, ADirectoryThatCannotBeMadeAtLastFails) {
  expectInChild([&] {
    denySystemCalls(kMkdirCalls, EPERM);
    Temp temp;
    std::string path;
    EXPECT_EQ(temp.getTemp_sub(path, "abc", dir(), nullptr, 1), 0);
    EXPECT_TRUE(temp.tempFiles.empty());
    writeFile(scratch.file("path"), path);
  });
  const std::string path = readFile(scratch.file("path"));
  expectName(path, scratch.file(""));
  EXPECT_EQ(newlyLogged(), Lines{"MXL90103L:failed to create dir:" + path});
  EXPECT_EQ(namesIn(dir()), (Lines{"moxel.log", "path"}));
}

TEST_F(CTempFiles, AFailedRenameLeavesTheFileUnderItsFirstName) {
  expectInChild([&] {
    denySystemCalls(kRenameCalls, EPERM);
    Temp temp;
    std::string path;
    int fd = -7;
    EXPECT_EQ(temp.getTemp_sub(path, "abc", dir(), &fd, 0), 0);
    ASSERT_FALSE(path.empty());
    EXPECT_EQ(path.back(), '_');
    const std::string first = path.substr(0, path.size() - 1);
    EXPECT_TRUE(isSameFile(fd, first)) << first;
    EXPECT_TRUE(temp.tempFiles.empty());
    writeFile(scratch.file("first"), first);
  });
  const std::string first = readFile(scratch.file("first"));
  EXPECT_TRUE(exists(first));
  EXPECT_EQ(newlyLogged(), Lines{"MXL90104L:failed to rename():" + first + " to " + first +
                                 "_:Operation not permitted"});
}

TEST_F(CTempFiles, AFailedRenameClosesWhatTheCallerDidNotWant) {
  expectInChild([&] {
    denySystemCalls(kRenameCalls, EPERM);
    CTemp temp;
    std::string path;
    const auto before = openDescriptors();
    EXPECT_EQ(temp.getTempFile(path, "abc", dir(), nullptr), 0);
    EXPECT_EQ(openDescriptors(), before);
  });
  EXPECT_EQ(newlyLogged("MXL90104L").size(), 10u);
}

// ---- Removal -----------------------------------------------------------------------------------

TEST_F(CTempFiles, AreRemovedInTheOrderOfTheirMaking) {
  Temp temp;
  std::string paths[3];
  for (std::string& path : paths) temp.getTempFile(path, "t", dir(), nullptr);
  traceOn();
  newlyLogged();
  EXPECT_EQ(temp.delTempFile(nullptr), 3);
  Lines removals;
  for (const std::string& line : newlyLogged()) {
    if (line.find("delTempFile:") != std::string::npos || line.rfind("remove path=", 0) == 0)
      removals.push_back(line);
  }
  Lines expected;
  for (const std::string& path : paths) {
    expected.push_back("[T](CTemp:192):delTempFile:" + path);
    expected.push_back("remove path=" + path);
  }
  EXPECT_EQ(removals, expected);
}

TEST_F(CTempFiles, AStrangersDirectoryIsNotHandedOut) {
  // Whoever watches the directory takes the name between the removal of the file and the making of
  // the directory; once with a directory, once with a link.
  for (const bool asLink : {false, true}) {
    const std::string below = scratch.file(asLink ? "link" : "directory");
    ASSERT_EQ(mkdir(below.c_str(), 0755), 0);
    std::string taken;
    const auto onCall = [&](long number) {
      if (taken.empty()) {
        const bool removes = std::count(kUnlinkCalls.begin(), kUnlinkCalls.end(), number) > 0;
        if (removes) taken = below + "/" + namesIn(below).front() + "_";
        return;
      }
      // The first call behind the removal.
      if (exists(taken)) return;
      if (asLink) {
        EXPECT_EQ(symlink("/etc", taken.c_str()), 0);
      } else {
        EXPECT_EQ(mkdir(taken.c_str(), 0755), 0);
      }
    };
    const int status = traceSystemCalls(
        [&] {
          Temp temp;
          std::string path;
          EXPECT_EQ(temp.getTempDir(path, "t", below.c_str()), 1);
          writeFile(scratch.file("path"), path);
          temp.tempFiles.clear();
          return HasFailure() ? 1 : 0;
        },
        onCall);
    EXPECT_EQ(status, 0);
    const std::string path = readFile(scratch.file("path"));
    EXPECT_TRUE(exists(taken));
    EXPECT_NE(path, taken);
    EXPECT_TRUE(isDir(path)) << path;
    EXPECT_EQ(newlyLogged("MXL90103L"), Lines{"MXL90103L:failed to create dir:" + taken});
  }
}

TEST_F(CTempFiles, PathsAreRemovedOneByOneOrAllTogether) {
  Temp temp;
  std::string one;
  std::string two;
  std::string three;
  temp.getTempFile(one, "one", dir(), nullptr);
  temp.getTempFile(two, "two", dir(), nullptr);
  temp.getTempFile(three, "three", dir(), nullptr);
  EXPECT_EQ(temp.tempFiles, (std::list<std::string>{one, two, three}));

  EXPECT_EQ(temp.delTempFile(two.c_str()), 1);
  EXPECT_FALSE(exists(two));
  EXPECT_TRUE(exists(one) && exists(three));
  EXPECT_EQ(temp.tempFiles, (std::list<std::string>{one, three}));
  EXPECT_EQ(temp.delTempFile(two.c_str()), 0);
  EXPECT_EQ(temp.delTempFile("x"), 0);
  EXPECT_EQ(temp.delTempFile(""), 0);

  EXPECT_EQ(temp.delTempFile(nullptr), 2);
  EXPECT_FALSE(exists(one) || exists(three));
  EXPECT_TRUE(temp.tempFiles.empty());
  EXPECT_EQ(temp.delTempFile(nullptr), 0);
}

TEST_F(CTempFiles, EqualEntriesAreAllRemoved) {
  Temp temp;
  std::string path;
  temp.getTempFile(path, "abc", dir(), nullptr);
  temp.tempFiles.push_back(scratch.file("other"));
  temp.tempFiles.push_back(path);
  EXPECT_EQ(temp.delTempFile(path.c_str()), 2) << "removed is what was tried";
  EXPECT_EQ(temp.tempFiles, std::list<std::string>{scratch.file("other")});
}

TEST_F(CTempFiles, WhatHasBecomeADirectoryOrNothingIsRemoved) {
  Temp temp;
  std::string path;
  temp.getTempFile(path, "abc", dir(), nullptr);
  unlink(path.c_str());
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  writeFile(path + "/inside", "");
  EXPECT_EQ(temp.delTempFile(path.c_str()), 1);
  EXPECT_FALSE(exists(path));

  temp.getTempFile(path, "abc", dir(), nullptr);
  unlink(path.c_str());
  EXPECT_EQ(temp.delTempFile(nullptr), 1);
}

TEST_F(CTempFiles, AShallowPathIsCountedAndStays) {
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/mnt"));
    Temp temp;
    std::string path;
    EXPECT_EQ(temp.getTempFile(path, "abc", "/mnt", nullptr), 1);
    EXPECT_EQ(temp.delTempFile(nullptr), 1);
    EXPECT_TRUE(temp.tempFiles.empty());
    EXPECT_EQ(logged(), Lines{"MXL90008L:" + path + " too shallow to delete"});
    EXPECT_TRUE(exists(path)) << path;
  });
}

TEST_F(CTempFiles, TheEnvironmentKeepsFiles) {
  std::string path;
  for (const char* value : {"1", "0", " "}) {
    const Environment keep("MOXEL_NOT_DEL_TEMP", value);
    {
      Temp temp;
      temp.getTempFile(path, "abc", dir(), nullptr);
      traceOn();
      newlyLogged();
      EXPECT_EQ(temp.delTempFile(nullptr), 0) << value;
      EXPECT_EQ(temp.delTempFile(path.c_str()), 0) << value;
      EXPECT_EQ(temp.tempFiles.size(), 1u);
      EXPECT_EQ(newlyLogged(), Lines{});
    }
    EXPECT_TRUE(exists(path)) << value;
  }
  const Environment keep("MOXEL_NOT_DEL_TEMP", "");
  {
    CTemp temp;
    temp.getTempFile(path, "abc", dir(), nullptr);
  }
  EXPECT_FALSE(exists(path));
}

}  // namespace
