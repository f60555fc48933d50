#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "Memory.h"
#include "Process.h"
#include "Scratch.h"
#include "common.h"

namespace {

constexpr const char* kNull = nullptr;

class CommonPaths : public LogTest {};

TEST_F(CommonPaths, RepeatedSlashesBecomeOne) {
  struct {
    const char* path;
    const char* result;
  } const rows[] = {
      {"//a///b//", "/a/b"},   {"///", "/"}, {"/", "/"},           {"", ""},
      {"a/./b/", "a/./b"},     {"a", "a"},   {"a/", "a"},          {"a//b", "a/b"},
      {"/a/../b", "/a/../b"},  {"./", "."},  {"../..//", "../.."}, {"//a", "/a"},
      {"/a b/ c/", "/a b/ c"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(justifyPath(row.path), row.result) << row.path;
    EXPECT_EQ(justifyPath(std::string(row.path)), row.result) << row.path;
  }
  EXPECT_EQ(logged(), Lines{});
  EXPECT_EQ(justifyPath(kNull), "");
  EXPECT_EQ(logged(), Lines{"[I](common:793):invalid param"});
}

TEST_F(CommonPaths, CanonicalFormsHaveNoDots) {
  traceOn();
  struct {
    const char* path;
    const char* result;
  } const rows[] = {
      {"/a/./b/../c/", "/a/c"},
      {"/", ""},
      {"//", ""},
      {"/a/..", ""},
      {"/..", ""},
      {"/../x", "x"},
      {"/../..", ""},
      {"/../../x", "x"},
      {"/../x/y", "x/y"},
      {"/../x/..", ""},
      {"/../x/../..", ""},
      {"/.", ""},
      {"/./a", "/a"},
      {"//a//b//", "/a/b"},
      {"/a/...", "/a/..."},
      {"/a/b/../../c", "/c"},
      {"/a/.b/..c", "/a/.b/..c"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(getCanonicalPath(row.path), row.result) << row.path;
    EXPECT_EQ(newlyLogged(), Lines{std::string("[T](common:477):getCanonicalPath():") + row.path +
                                   "," + row.result});
  }
}

TEST_F(CommonPaths, CanonicalFormsEndAtAZeroByte) {
  EXPECT_EQ(getCanonicalPath(std::string("/a\0/..", 6)), "/a");
  EXPECT_EQ(isAllowDelete(std::string("/a/b\0/../c/d", 12)), 0);
  EXPECT_EQ(logged(), Lines{"MXL90008L:/a/b too shallow to delete"});
}

TEST_F(CommonPaths, TheTraceHasAPathAsItWasGiven) {
  traceOn();
  const std::string canonical = getCanonicalPath("x/./y");
  EXPECT_EQ(logged(), Lines{"[T](common:477):getCanonicalPath():x/./y," + canonical});
}

TEST_F(CommonPaths, ALogLineWithoutMemoryIsLostAndNothingThrown) {
  traceOn();
  {
    // Texts of more than 15 characters ask for memory.
    const NoMemoryFrom none(16);
    EXPECT_EQ(exitStatus(0), 0);                // trace lines
    EXPECT_FALSE(isAccessible(nullptr, R_OK));  // an information line
    EXPECT_EQ(removeFiles("", 0), 0);           // an event
  }
  EXPECT_FALSE(isFile(logPath()));
  isAccessible(nullptr, R_OK);
  EXPECT_EQ(logged(), Lines{"[I](common:1039):filename is NULL , mode=00000004"});
}

TEST_F(CommonPaths, CanonicalFormsOfRelativePathsStartFromTheWorkingDirectory) {
  expectInChild([&] {
    ASSERT_EQ(chdir("/tmp"), 0);
    EXPECT_EQ(getCanonicalPath("x/y"), "/tmp/x/y");
    EXPECT_EQ(getCanonicalPath("../x"), "/x");
    EXPECT_EQ(getCanonicalPath(""), "/tmp");
    EXPECT_EQ(getCanonicalPath("../../x"), "x");
    // A link counts as any name.
    ASSERT_EQ(symlink("/etc", scratch.file("link").c_str()), 0);
    EXPECT_EQ(getCanonicalPath(scratch.file("link/../file")), scratch.file("file"));
  });
}

TEST_F(CommonPaths, TheParentIsWhatStandsBeforeTheLastSlash) {
  struct {
    const char* path;
    const char* result;
  } const rows[] = {{"/a/b/", "/a"}, {"/a/b", "/a"},   {"a/b", "a"},   {"/a", "/"},
                    {"/a/", "/"},    {"file", "/"},    {"file/", "/"}, {"/", "/"},
                    {"", "/"},       {"a/b//", "a/b"}, {"//", "/"},    {"//a", "/"},
                    {"./a", "."},    {"/a//b", "/a/"}};
  for (const auto& row : rows) {
    EXPECT_EQ(parentPath(row.path), row.result) << row.path;
    EXPECT_EQ(parentPath(std::string(row.path)), row.result) << row.path;
  }
  EXPECT_EQ(parentPath(kNull), "");
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonPaths, AFullPathBeginsWithASlash) {
  for (const char* path : {"/", "/a", "//"}) {
    EXPECT_TRUE(isFullPath(path));
    EXPECT_TRUE(isFullPath(std::string(path)));
  }
  for (const char* path : {"", "a", "./a", " /a", "~/a", "c:/a"}) {
    EXPECT_FALSE(isFullPath(path));
    EXPECT_FALSE(isFullPath(std::string(path)));
  }
  EXPECT_FALSE(isFullPath(kNull));
  EXPECT_EQ(logged(), Lines{"[I](common:909):invalid param"});
}

TEST_F(CommonPaths, OneTrailingSlashIsErased) {
  struct {
    const char* path;
    const char* result;
  } const rows[] = {{"/a/", "/a"}, {"/a//", "/a/"}, {"/a", "/a"}, {"/", ""}, {"", ""}, {"a/", "a"}};
  for (const auto& row : rows) {
    char buffer[16];
    strcpy(buffer, row.path);
    EXPECT_EQ(eraseLastSlash(buffer), 0);
    EXPECT_STREQ(buffer, row.result);
    EXPECT_EQ(eraseLastSlash(row.path), row.result);
  }
  EXPECT_EQ(eraseLastSlash(kNull), "");
  EXPECT_EQ(eraseLastSlash(static_cast<char*>(nullptr)), -1);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonPaths, AWorkingDirectoryThatIsGoneIsADot) {
  expectInChild([&] {
    ASSERT_EQ(chdir(scratch.path().c_str()), 0);
    EXPECT_EQ(getCwd(), scratch.path());
    // A directory that is gone has no name.
    const char* const gone = "gone";
    ASSERT_TRUE(mkdir(gone, 0700) == 0 && chdir(gone) == 0 && rmdir("../gone") == 0);
    EXPECT_EQ(getCwd(), ".");
  });
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonPaths, AWorkingDirectoryTooDeepIsADot) {
  expectInChild([&] {
    enterDeepDirectory(scratch.path(), 4200);
    EXPECT_EQ(getCwd(), ".");
  });
}

TEST_F(CommonPaths, APathIsTakenApartAtItsLastSlash) {
  struct {
    const char* path;
    const char* name;
    const char* dir;
  } const rows[] = {{"/a/b", "b", "/a"},  {"/a/b/", "", "/a/b"}, {"/", "", "/"}, {"/a", "a", "/"},
                    {"file", "file", ""}, {"a/b", "b", "a"},     {"", "", ""},   {"//a", "a", "/"},
                    {"a//b", "b", "a/"},  {"a/", "", "a"},       {"//", "", "/"}};
  for (const auto& row : rows) {
    std::string dir = "before";
    EXPECT_EQ(basename(row.path, dir), row.name) << row.path;
    EXPECT_EQ(dir, row.dir) << row.path;
    dir = "before";
    EXPECT_EQ(basename(std::string(row.path), dir), row.name) << row.path;
    EXPECT_EQ(dir, row.dir) << row.path;
    EXPECT_EQ(basename(std::string(row.path)), row.name) << row.path;
  }
  std::string dir = "before";
  EXPECT_EQ(basename(kNull, dir), "");
  EXPECT_EQ(dir, "");
  EXPECT_EQ(logged(), Lines{});
  EXPECT_STREQ(basename("/a/b/"), "") << "the C library's";
}

TEST_F(CommonPaths, ALongPathIsTakenApartWhole) {
  for (const size_t length : {4094, 4095, 4096, 4097, 100000}) {
    const std::string name(length - 3, 'n');
    std::string dir;
    EXPECT_EQ(basename(("/d/" + name).c_str(), dir), name) << length;
    EXPECT_EQ(dir, "/d");
    EXPECT_EQ(basename(name + "/x", dir), "x");
    EXPECT_EQ(dir, name);
  }
}

TEST_F(CommonPaths, APathMayStandInTheDirectoryItIsTakenApartInto) {
  std::string dir = "/a long directory name, not kept within the string/b";
  EXPECT_EQ(basename(dir.c_str(), dir), "b");
  EXPECT_EQ(dir, "/a long directory name, not kept within the string");
}

TEST_F(CommonPaths, TheLastDotBeginsTheExtension) {
  struct {
    const char* path;
    const char* name;
    const char* ext;
  } const rows[] = {{"/x/archive.tar.gz", "archive.tar", "gz"},
                    {"/x.d/file", "file", ""},
                    {"a.b", "a", "b"},
                    {".profile", "", "profile"},
                    {"a.", "a", ""},
                    {"", "", ""},
                    {"/", "", ""},
                    {"/a.b/", "", ""},
                    {"src/common.cpp", "common", "cpp"},
                    {"..", ".", ""},
                    {"/x/.", "", ""}};
  for (const auto& row : rows) {
    std::string name = "before";
    std::string ext = "before";
    EXPECT_EQ(retrieveName(row.path, ext), row.name) << row.path;
    EXPECT_EQ(ext, row.ext) << row.path;
    EXPECT_EQ(retrieveExt(row.path, name), row.ext) << row.path;
    EXPECT_EQ(name, row.name) << row.path;
    EXPECT_EQ(retrieveName2(row.path), row.name) << row.path;
    EXPECT_EQ(retrieveExt2(row.path), row.ext) << row.path;
  }
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonPaths, NullHasNeitherNameNorExtension) {
  std::string name = "before";
  std::string ext = "before";
  EXPECT_EQ(retrieveName(kNull, ext), "");
  EXPECT_EQ(ext, "");
  EXPECT_EQ(retrieveExt(kNull, name), "");
  EXPECT_EQ(name, "");
  EXPECT_EQ(retrieveName2(kNull), "");
  EXPECT_EQ(logged(), Lines{});
  EXPECT_EQ(retrieveExt2(kNull), "");
  EXPECT_EQ(logged(), Lines{"[I](common:267):invalid param"});
}

void expectKind(const std::string& path, bool dir, bool file) {
  EXPECT_EQ(isDir(path), dir) << path;
  EXPECT_EQ(isDir(path.c_str()), dir) << path;
  EXPECT_EQ(isFile(path), file) << path;
  EXPECT_EQ(isFile(path.c_str()), file) << path;
}

// Every kind of entry, and whether it counts as a directory; missing ones are neither.
TEST_F(CommonPaths, DirectoriesAreToldFromFiles) {
  writeFile(scratch.file("regular"), "");
  ASSERT_EQ(mkfifo(scratch.file("fifo").c_str(), 0600), 0);
  ASSERT_EQ(symlink("regular", scratch.file("to file").c_str()), 0);
  ASSERT_EQ(symlink(scratch.path().c_str(), scratch.file("to directory").c_str()), 0);
  ASSERT_EQ(symlink("missing", scratch.file("dangling").c_str()), 0);
  makeSocket(scratch.file("socket"));

  expectKind(scratch.file("regular"), false, true);
  expectKind(scratch.path(), true, false);
  expectKind(scratch.path() + "/", true, false);
  expectKind("/dev/null", false, true);
  expectKind(scratch.file("fifo"), false, true);
  expectKind(scratch.file("socket"), true, false);
  expectKind(scratch.file("to file"), false, true);
  expectKind(scratch.file("to directory"), true, false);
  expectKind(scratch.file("dangling"), false, false);
  expectKind(scratch.file("missing"), false, false);
  expectKind(scratch.file("regular/below"), false, false);
  expectKind("", false, false);

  EXPECT_EQ(logged(), Lines{});
  EXPECT_FALSE(isDir(kNull));
  EXPECT_EQ(logged(), Lines{});
  EXPECT_FALSE(isFile(kNull));
  EXPECT_EQ(logged(), Lines{"[I](common:1286):invalid param"});
}

TEST_F(CommonPaths, BlockDevicesAreDirectories) {
  if (!makeBlockDevice(scratch.file("block"))) GTEST_SKIP() << "only root can make a block device";
  expectKind(scratch.file("block"), true, false);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonPaths, AccessIsWhatTheModeGrants) {
  chmod(scratch.path().c_str(), 0755);
  for (const mode_t mode : {0, 1, 2, 3, 4, 5, 6, 7}) {
    writeFile(scratch.file(std::to_string(mode)), "", mode * 0111);
  }
  expectInChild([&] {
    dropPrivileges();
    for (int mode = 0; mode < 8; ++mode) {
      const std::string path = scratch.file(std::to_string(mode));
      const bool reads = (mode & 4) != 0;
      const bool readsAndExecutes = (mode & 5) == 5;
      SCOPED_TRACE(mode);
      EXPECT_EQ(isReadable(path), reads);
      EXPECT_EQ(isReadable(path.c_str()), reads);
      EXPECT_EQ(isExecutable(path), readsAndExecutes);
      EXPECT_EQ(isExecutable(path.c_str()), readsAndExecutes);
      for (int asked = 0; asked < 8; ++asked) {
        EXPECT_EQ(isAccessible(path.c_str(), asked), (mode & asked) == asked) << asked;
      }
    }
  });
  EXPECT_FALSE(isReadable(scratch.file("missing")));
  EXPECT_FALSE(isAccessible(scratch.file("missing").c_str(), 0));
  EXPECT_FALSE(isReadable(""));
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonPaths, AccessIsCheckedForTheRealUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can have another effective user";
  chmod(scratch.path().c_str(), 0755);
  writeFile(scratch.file("roots"), "", 0400);
  expectInChild([&] {
    ASSERT_EQ(setresuid(65534, 0, 0), 0);
    EXPECT_FALSE(isReadable(scratch.file("roots")));
    EXPECT_FALSE(isAdmin());
  });
}

TEST_F(CommonPaths, NobodyHasAccessToNull) {
  EXPECT_FALSE(isAccessible(kNull, 0x1f));
  EXPECT_FALSE(isExecutable(kNull));
  EXPECT_FALSE(isReadable(kNull));
  EXPECT_EQ(logged(), (Lines{"[I](common:1039):filename is NULL , mode=0000001f",
                             "[I](common:1039):filename is NULL , mode=00000005",
                             "[I](common:1039):filename is NULL , mode=00000004"}));
}

TEST_F(CommonPaths, WildCardsAreStarQuestionMarkOrBracket) {
  for (const char* text : {"*", "a[b", "a]b", "?", "/a/*.log", "\\*"}) {
    EXPECT_TRUE(hasWildCard(text)) << text;
    EXPECT_TRUE(hasWildCard(std::string(text))) << text;
  }
  for (const char* text : {"", "abc", "{a,b}", "a!b", "~", "\\"}) {
    EXPECT_FALSE(hasWildCard(text)) << text;
    EXPECT_FALSE(hasWildCard(std::string(text))) << text;
  }
}

TEST_F(CommonPaths, NamesAreTheFirstLinesOfCommands) {
  char name[256] = "";
  ASSERT_EQ(gethostname(name, sizeof name), 0);
  EXPECT_EQ(getHostname(), name);
  EXPECT_EQ(newlyLogged("MXL90004L:com"), Lines{"MXL90004L:com=uname -n 2>/dev/null"});

  // The first line counts, whatever the command's exit code is.
  writeFile(scratch.file("uname"), "#!/bin/sh\n[ \"$*\" = -n ] && echo h1\necho h2\nexit 3\n",
            0755);
  writeFile(scratch.file("domainname"), "#!/bin/sh\necho d1.example\necho d2\nexit 3\n", 0755);
  const std::string path = getenv("PATH");
  {
    const Environment commands("PATH", scratch.path() + ":" + path);
    traceOn();
    EXPECT_EQ(getHostname(), "h1");
    EXPECT_EQ(newlyLogged("[T](common:1359)"),
              Lines{"[T](common:1359):execGetLines():count=1,uname -n 2>/dev/null"});
    EXPECT_EQ(getDomainname(), "d1.example");
    EXPECT_EQ(newlyLogged("[T](common:1359)"),
              Lines{"[T](common:1359):execGetLines():count=1,domainname 2>/dev/null"});
  }
  // A command that prints nothing, or is not there, gives the empty name.
  writeFile(scratch.file("uname"), "#!/bin/sh\n", 0755);
  writeFile(scratch.file("domainname"), "#!/bin/sh\n", 0755);
  const Environment commands("PATH", scratch.path());
  EXPECT_EQ(getHostname(), "");
  EXPECT_EQ(getDomainname(), "");
  unlink(scratch.file("domainname").c_str());
  EXPECT_EQ(getDomainname(), "");
  unlink(scratch.file("uname").c_str());
  EXPECT_EQ(getHostname(), "");
}

TEST_F(CommonPaths, OnlyRootIsAnAdministrator) {
  EXPECT_EQ(isAdmin(), getuid() == 0);
  expectInChild([] {
    dropPrivileges();
    EXPECT_FALSE(isAdmin());
  });
  // Root in a namespace of its own, whoever runs this.
  expectInChild([] {
    ASSERT_TRUE(enterPrivateNamespace());
    EXPECT_TRUE(isAdmin());
  });
}

}  // namespace
