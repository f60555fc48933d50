#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "Process.h"
#include "Scratch.h"
#include "common.h"

namespace {

class CommonFiles : public LogTest {
 protected:
  // A tree to be removed, two levels below the scratch directory's own content.
  std::string tree() const { return scratch.file("tree"); }
  void makeTree(const std::string& below = "") const { ASSERT_EQ(makeDir(tree() + below, 1), 0); }
};

// ---- isAllowDelete -----------------------------------------------------------------------------

TEST_F(CommonFiles, ShallowPathsAreRefused) {
  for (const char* path : {"/", "//", "/tmp", "/tmp/", "/usr", "/usr/local", "/usr/local/",
                           "/usr//local", "/usr/./local", "/tmp/..", "/tmp/x/..", "/a/b/c/..",
                           "/tmp/../usr", "/..", "/../tmp/x", "/../a/b/c", "/tmpx/a"}) {
    EXPECT_EQ(isAllowDelete(path), 0) << path;
    EXPECT_EQ(newlyLogged(), Lines{std::string("MXL90008L:") + path + " too shallow to delete"});
  }
}

TEST_F(CommonFiles, DeeperPathsAndTheInsideOfTmpAreAllowed) {
  for (const char* path :
       {"/tmp/a", "/tmp/a/b", "/tmp/a/b/c", "/tmp/./a", "/x/../tmp/a", "/usr/local/x", "/a/b/c/d",
        "/a/b/../c/d", "//a//b//c//", "/usr/tmp/x", "/tmpx/a/b", "/../tmp/x/y/z"}) {
    EXPECT_EQ(isAllowDelete(path), 1) << path;
  }
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonFiles, RelativePathsAreJudgedFromTheWorkingDirectory) {
  expectInChild([&] {
    ASSERT_EQ(chdir("/usr"), 0);
    EXPECT_EQ(isAllowDelete("a"), 0);
    EXPECT_EQ(isAllowDelete("a/b"), 1);
    EXPECT_EQ(isAllowDelete(""), 0);
    ASSERT_EQ(chdir("/tmp"), 0);
    EXPECT_EQ(isAllowDelete("a"), 1);
    EXPECT_EQ(isAllowDelete("."), 0);
    EXPECT_EQ(isAllowDelete(".."), 0);
    ASSERT_EQ(chdir(scratch.path().c_str()), 0);
    EXPECT_EQ(isAllowDelete(""), 1);
  });
  EXPECT_EQ(logged(),
            (Lines{"MXL90008L:a too shallow to delete", "MXL90008L: too shallow to delete",
                   "MXL90008L:. too shallow to delete", "MXL90008L:.. too shallow to delete"}));
}

// ---- removeFiles -------------------------------------------------------------------------------

TEST_F(CommonFiles, ANullPathIsNotRemoved) {
  EXPECT_EQ(removeFiles(nullptr, 1), -1);
  EXPECT_EQ(logged(), Lines{"[I](common:519):invalid param"});
}

TEST_F(CommonFiles, ARefusalIsNoFailure) {
  expectInChild([] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/mnt"));
    writeFile("/mnt/file", "");
    EXPECT_EQ(removeFiles("/mnt", 1), 0);
    EXPECT_EQ(removeFiles("/mnt/file", 0), 0);
    EXPECT_EQ(removeFiles("/mnt/file", 1), 0);
    EXPECT_TRUE(exists("/mnt/file"));
  });
  EXPECT_EQ(logged(), (Lines{"MXL90008L:/mnt too shallow to delete",
                             "MXL90008L:/mnt/file too shallow to delete",
                             "MXL90008L:/mnt/file too shallow to delete"}));
}

TEST_F(CommonFiles, TheEmptyPathIsNotTheWorkingDirectory) {
  makeTree();
  writeFile(tree() + "/file", "");
  expectInChild([&] {
    ASSERT_EQ(chdir(tree().c_str()), 0);
    EXPECT_EQ(removeFiles("", 1), 0);
    EXPECT_EQ(removeFiles("", 0), 0);
  });
  EXPECT_TRUE(exists(tree() + "/file"));
  EXPECT_EQ(logged(), Lines(2, "MXL90008L: too shallow to delete"));
}

TEST_F(CommonFiles, OneFileIsUnlinked) {
  writeFile(tree(), "");
  EXPECT_EQ(removeFiles(tree().c_str(), 0), 0);
  EXPECT_FALSE(exists(tree()));
  errno = 0;
  EXPECT_EQ(removeFiles(tree().c_str(), 0), -1);
  EXPECT_EQ(errno, ENOENT);
  makeTree();
  EXPECT_EQ(removeFiles(tree().c_str(), 0), -1) << "a directory";
  EXPECT_EQ(removeFiles(tree().c_str(), 2), -1) << "only 1 is recursive";
  EXPECT_TRUE(exists(tree()));
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonFiles, ATreeIsRemovedChildrenFirst) {
  makeTree("/a/b/c");
  for (const char* name : {"/file", "/a/file", "/a.file", "/a-", "/a/b/c/file", "/z"}) {
    writeFile(tree() + name, "");
  }
  ASSERT_EQ(mkfifo((tree() + "/fifo").c_str(), 0600), 0);
  ASSERT_EQ(symlink("file", (tree() + "/link").c_str()), 0);
  EXPECT_EQ(removeFiles(tree().c_str(), 1), 0);
  EXPECT_FALSE(exists(tree()));
  // Behind the two lines of the listing.
  const Lines lines = newlyLogged();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].rfind("MXL90004L:pid=", 0), 0u) << lines[0];
  EXPECT_EQ(lines[1].rfind("MXL90004L:com=", 0), 0u) << lines[1];
  EXPECT_EQ(lines[2], "remove path=" + tree());
}

TEST_F(CommonFiles, TheListingIsTheFixedCommand) {
  makeTree();
  writeFile(tree() + "/it's", "");
  removeFiles((tree() + "/it's").c_str(), 1);
  EXPECT_EQ(newlyLogged("MXL90004L:com"),
            Lines{"MXL90004L:com=find " + tree() + "/it\\'s 2>&1 | sort -r 2>&1"});
}

TEST_F(CommonFiles, NamesThatTheShellKnowsAreNames) {
  for (const char* name :
       {"a b", "it's", "\"quoted\"", "$HOME", "a#b", "back\\slash", "a&b", "(a)", "`b`", "{c,d}",
        "<in>", "a|b", "\xa4\xa2\xa4\xa4", "tab\there", "-n", "^x"}) {
    makeTree();
    writeFile(tree() + "/bystander", "");
    const std::string path = tree() + "/" + name;
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0) << name;
    writeFile(path + "/" + name, "");
    EXPECT_EQ(removeFiles(path.c_str(), 1), 0) << name;
    EXPECT_EQ(namesIn(tree()), Lines{"bystander"}) << name;
  }
}

TEST_F(CommonFiles, TheShellExpandsWildCards) {
  for (const char* name : {"/a1", "/a2", "/b"}) makeTree(name);
  EXPECT_EQ(removeFiles((tree() + "/a*").c_str(), 1), 0);
  EXPECT_EQ(namesIn(tree()), Lines{"b"});
}

TEST_F(CommonFiles, AMissingPathRemovesNothing) {
  // The listing prints an error message, which names no entry.
  EXPECT_EQ(removeFiles(tree().c_str(), 1), 0);
  EXPECT_EQ(newlyLogged("remove"), Lines{"remove path=" + tree()});
}

TEST_F(CommonFiles, TheFirstEntryThatStaysEndsTheWalk) {
  makeTree("/m");
  for (const char* name : {"/a", "/m/x", "/z"}) writeFile(tree() + name, "");
  // A link to a directory counts as one, and cannot be removed as one.
  ASSERT_EQ(symlink("/", (tree() + "/m/link").c_str()), 0);
  EXPECT_EQ(removeFiles(tree().c_str(), 1), -1);
  EXPECT_EQ(namesIn(tree()), (Lines{"a", "m"})) << "z came first, a would have come after";
  EXPECT_EQ(namesIn(tree() + "/m"), Lines{"link"});
}

TEST_F(CommonFiles, SocketsCountAsDirectoriesAndStay) {
  makeTree();
  makeSocket(tree() + "/socket");
  EXPECT_EQ(removeFiles(tree().c_str(), 1), -1);
  EXPECT_EQ(namesIn(tree()), Lines{"socket"});
}

TEST_F(CommonFiles, BlockDevicesCountAsDirectoriesAndStay) {
  makeTree();
  if (!makeBlockDevice(tree() + "/block")) GTEST_SKIP() << "only root can make a block device";
  EXPECT_EQ(removeFiles(tree().c_str(), 1), -1);
  EXPECT_EQ(namesIn(tree()), Lines{"block"});
  unlink((tree() + "/block").c_str());
  ASSERT_EQ(mknod((tree() + "/character").c_str(), S_IFCHR | 0600, makedev(1, 3)), 0);
  EXPECT_EQ(removeFiles(tree().c_str(), 1), 0);
  EXPECT_FALSE(exists(tree()));
}

TEST_F(CommonFiles, WhatCannotBeListedStays) {
  chmod(scratch.path().c_str(), 0777);
  writeFile(logPath(), "", 0666);
  expectInChild([&] {
    dropPrivileges();
    ASSERT_EQ(makeDir(tree() + "/closed/inside", 1), 0);
    chmod((tree() + "/closed").c_str(), 0);
    EXPECT_EQ(removeFiles(tree().c_str(), 1), -1);
  });
  EXPECT_EQ(namesIn(tree()), Lines{"closed"});
  chmod((tree() + "/closed").c_str(), 0700);
}

TEST_F(CommonFiles, DanglingLinksArePassedOver) {
  makeTree();
  ASSERT_EQ(symlink("missing", (tree() + "/dangling").c_str()), 0);
  writeFile(tree() + "/a", "");
  EXPECT_EQ(removeFiles(tree().c_str(), 1), -1) << "the directory is not empty";
  EXPECT_EQ(namesIn(tree()), Lines{"dangling"});
}

TEST_F(CommonFiles, AFailedListingIsTheResult) {
  makeTree();
  expectInChild([&] {
    setenv("PATH", "/nonexistent", 1);
    EXPECT_EQ(removeFiles(tree().c_str(), 1), 127);
  });
  EXPECT_TRUE(exists(tree()));
  EXPECT_EQ(newlyLogged("remove"), Lines{});
}

TEST_F(CommonFiles, AnEmptyListingIsNoFailure) {
  makeTree();
  writeFile(scratch.file("sort"), "#!/bin/sh\ncat >/dev/null\n", 0755);
  expectInChild([&] {
    setenv("PATH", (scratch.path() + ":" + getenv("PATH")).c_str(), 1);
    EXPECT_EQ(removeFiles(tree().c_str(), 1), 0);
  });
  EXPECT_TRUE(exists(tree()));
  EXPECT_EQ(newlyLogged("remove"), Lines{});
}

// ---- makeDir -----------------------------------------------------------------------------------

TEST_F(CommonFiles, DirectoriesAreMade) {
  EXPECT_EQ(makeDir(tree(), 0), 0);
  EXPECT_TRUE(isDir(tree()));
  EXPECT_EQ(makeDir(tree(), 0), -1) << "exists";
  EXPECT_EQ(makeDir(tree() + "/a/b", 0), -1) << "no parent";
  EXPECT_EQ(makeDir(tree() + "/a/b", 2), -1) << "only 1 is recursive";
  EXPECT_EQ(makeDir(tree() + "/a/b", 1), 0);
  EXPECT_TRUE(isDir(tree() + "/a/b"));
  EXPECT_EQ(makeDir(tree() + "/a/b", 1), 0) << "exists";
  EXPECT_EQ(makeDir(tree() + "/x/y/", 1), 0);
  EXPECT_TRUE(isDir(tree() + "/x/y"));
  EXPECT_EQ(makeDir(tree() + "//p//q//", 1), 0);
  EXPECT_TRUE(isDir(tree() + "/p/q"));
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonFiles, DirectoriesHaveMode755LessTheMask) {
  expectInChild([&] {
    umask(0);
    makeDir(tree() + "/a", 1);
    makeDir(tree() + "/b", 0);
    umask(027);
    makeDir(tree() + "/c", 1);
  });
  EXPECT_EQ(modeOf(tree()), 0755u);
  EXPECT_EQ(modeOf(tree() + "/a"), 0755u);
  EXPECT_EQ(modeOf(tree() + "/b"), 0755u);
  EXPECT_EQ(modeOf(tree() + "/c"), 0750u);
}

TEST_F(CommonFiles, EmptyRootAndRelativePathsAreRefused) {
  expectInChild([&] {
    ASSERT_EQ(chdir(scratch.path().c_str()), 0);
    for (const char* path : {"", "/", "a", "a/b", "./a"}) {
      for (const int recursive : {0, 1}) {
        EXPECT_EQ(makeDir(std::string(path), recursive), -1) << path << ", " << recursive;
      }
    }
  });
  EXPECT_TRUE(namesIn(scratch.path()).empty());
}

TEST_F(CommonFiles, ComponentsThatAreFilesArePassedOver) {
  writeFile(scratch.file("file"), "");
  EXPECT_EQ(makeDir(scratch.file("file"), 1), 0);
  EXPECT_TRUE(isFile(scratch.file("file")));
  EXPECT_EQ(makeDir(scratch.file("file/below"), 1), -1);
}

TEST_F(CommonFiles, ThePointerFormIsTheSame) {
  char path[256];
  strcpy(path, (tree() + "/a").c_str());
  EXPECT_EQ(makeDir(path, 0), -1);
  EXPECT_EQ(makeDir(path, 1), 0);
  EXPECT_TRUE(isDir(path));
  EXPECT_EQ(makeDir(static_cast<char*>(nullptr), 1), -1);
}

// ---- dupDir ------------------------------------------------------------------------------------

struct stat statusOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status;
}

class CommonFilesDupDir : public CommonFiles {
 protected:
  CommonFilesDupDir() : src(scratch.file("src")), dst(scratch.file("dst")) {
    EXPECT_EQ(mkdir(src.c_str(), 0700), 0);
    writeFile(src + "/content", "");
    const timespec times[2] = {{1000000000, 5}, {1100000000, 7}};
    EXPECT_EQ(utimensat(AT_FDCWD, src.c_str(), times, 0), 0);
    EXPECT_EQ(chown(src.c_str(), geteuid() == 0 ? 12 : -1, geteuid() == 0 ? 34 : -1), 0);
    chmod(src.c_str(), 02751);
  }

  int dup() const { return dupDir(src.c_str(), dst.c_str()); }

  void expectSame() const {
    const struct stat from = statusOf(src);
    const struct stat to = statusOf(dst);
    EXPECT_EQ(to.st_atime, 1000000000);
    EXPECT_EQ(to.st_mtime, 1100000000);
    EXPECT_EQ(to.st_uid, from.st_uid);
    EXPECT_EQ(to.st_gid, from.st_gid);
    EXPECT_EQ(to.st_mode, from.st_mode);
  }

  std::string src;
  std::string dst;
};

TEST_F(CommonFilesDupDir, AnExistingDirectoryTakesTimesOwnerAndMode) {
  ASSERT_EQ(mkdir(dst.c_str(), 0700), 0);
  EXPECT_EQ(dup(), 1);
  expectSame();
  EXPECT_TRUE(namesIn(dst).empty());
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonFilesDupDir, AMissingDirectoryIsMadeWithItsParents) {
  dst = scratch.file("a/b/dst");
  EXPECT_EQ(dup(), 1);
  expectSame();
  EXPECT_NE(modeOf(scratch.file("a")), 02751u) << "only the last one takes the mode";
}

TEST_F(CommonFilesDupDir, AFileMayBeTheSource) {
  writeFile(scratch.file("file"), "", 0640);
  src = scratch.file("file");
  EXPECT_EQ(dup(), 1);
  EXPECT_TRUE(isDir(dst));
  EXPECT_EQ(modeOf(dst), 0640u);
}

TEST_F(CommonFilesDupDir, NullArgumentsAreRefused) {
  EXPECT_EQ(dupDir(nullptr, dst.c_str()), 0);
  EXPECT_EQ(dupDir(src.c_str(), nullptr), 0);
  EXPECT_EQ(logged(), Lines(2, "[I](common:370):invalid param"));
}

TEST_F(CommonFilesDupDir, ASourceThatCannotBeExaminedMakesNothing) {
  src = scratch.file("missing");
  EXPECT_EQ(dup(), 0);
  EXPECT_EQ(logged(),
            Lines{"[I](common:379):failed to stat():" + src + ",No such file or directory"});
  EXPECT_FALSE(exists(dst));
}

TEST_F(CommonFilesDupDir, AFileInTheDirectorysPlaceIsReported) {
  writeFile(dst, "");
  EXPECT_EQ(dup(), 0);
  EXPECT_EQ(logged(), Lines{"MXL90001L:destination:" + dst + " is already exist and it's file"});
}

TEST_F(CommonFilesDupDir, ADirectoryThatCannotBeMadeIsReported) {
  writeFile(scratch.file("file"), "");
  dst = scratch.file("file/dst");
  EXPECT_EQ(dup(), 0);
  EXPECT_EQ(logged(), Lines{"MXL90002L:failed to makeDir():" + dst});
}

TEST_F(CommonFilesDupDir, WhatTheSystemForbidsIsNoFailure) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can have a source of another owner";
  ASSERT_EQ(mkdir(dst.c_str(), 0777), 0);
  chmod(scratch.path().c_str(), 0777);
  expectInChild([&] {
    dropPrivileges();
    EXPECT_EQ(dup(), 1);
  });
  EXPECT_EQ(statusOf(dst).st_uid, 0u);
}

// ---- rmTempFile --------------------------------------------------------------------------------

TEST_F(CommonFiles, TemporaryFilesAreUnlinked) {
  char pointer[256];
  writeFile(scratch.file("file"), "");
  EXPECT_EQ(rmTempFile(scratch.file("file"), 0), 0);
  EXPECT_FALSE(exists(scratch.file("file")));
  EXPECT_EQ(rmTempFile(scratch.file("file"), 0), -1);

  writeFile(scratch.file("file"), "");
  strcpy(pointer, scratch.file("file").c_str());
  EXPECT_EQ(rmTempFile(pointer, 1), 0);
  EXPECT_FALSE(exists(scratch.file("file")));
  EXPECT_EQ(rmTempFile(pointer, 1), -1);

  EXPECT_EQ(rmTempFile(scratch.path(), 0), -1) << "a directory";
  EXPECT_EQ(rmTempFile(static_cast<char*>(nullptr), 0), -1);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonFiles, TemporaryFilesAreSoughtUnderTheQuotedName) {
  writeFile(scratch.file("a b"), "");
  EXPECT_EQ(rmTempFile(scratch.file("a b"), 0), -1);
  EXPECT_TRUE(exists(scratch.file("a b")));
  writeFile(scratch.file("a\\ b"), "");
  EXPECT_EQ(rmTempFile(scratch.file("a b"), 0), 0);
  EXPECT_FALSE(exists(scratch.file("a\\ b")));
  writeFile(scratch.file("a*"), "");
  EXPECT_EQ(rmTempFile(scratch.file("a*"), 0), 0) << "wild cards are not quoted";
}

}  // namespace
