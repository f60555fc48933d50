#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "Process.h"
#include "Scratch.h"
#include "common.h"

namespace {

constexpr const char* kNull = nullptr;

class Paths : public LogTest {};

TEST_F(Paths, Justify) {
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

TEST_F(Paths, Canonical) {
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

TEST_F(Paths, CanonicalFormsOfRelativePathsStartFromTheWorkingDirectory) {
  const int status = inChild([&] {
    if (chdir("/tmp") != 0) return 1;
    if (getCanonicalPath("x/y") != "/tmp/x/y") return 2;
    if (getCanonicalPath("../x") != "/x") return 3;
    if (getCanonicalPath("") != "/tmp") return 4;
    if (getCanonicalPath("../../x") != "x") return 5;
    // A link counts as any name.
    if (symlink("/etc", scratch.file("link").c_str()) != 0) return 6;
    return getCanonicalPath(scratch.file("link/../file")) == scratch.file("file") ? 0 : 7;
  });
  EXPECT_EQ(exitCode(status), 0);
}

TEST_F(Paths, Parent) {
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

TEST_F(Paths, Full) {
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

TEST_F(Paths, OneTrailingSlashIsErased) {
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

TEST_F(Paths, WorkingDirectory) {
  const int status = inChild([&] {
    if (chdir(scratch.path().c_str()) != 0 || getCwd() != scratch.path()) return 1;
    // A directory that is gone has no name.
    const std::string gone = scratch.file("gone");
    if (mkdir(gone.c_str(), 0700) != 0 || chdir(gone.c_str()) != 0) return 2;
    if (rmdir(gone.c_str()) != 0) return 3;
    return getCwd() == "." ? 0 : 4;
  });
  EXPECT_EQ(exitCode(status), 0);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(Paths, AWorkingDirectoryTooDeepIsADot) {
  const int status = inChild([&] {
    if (chdir(scratch.path().c_str()) != 0) return 1;
    const std::string name(250, 'd');
    for (int depth = 0; depth < 17; ++depth) {
      if (mkdir(name.c_str(), 0700) != 0 || chdir(name.c_str()) != 0) return 2;
    }
    return getCwd() == "." ? 0 : 3;
  });
  EXPECT_EQ(exitCode(status), 0);
}

TEST_F(Paths, NameWithoutExtension) {
  struct {
    const char* path;
    const char* name;
  } const rows[] = {{"/x/archive.tar.gz", "archive.tar"},
                    {"/x.d/file", "file"},
                    {"a.b", "a"},
                    {".profile", ""},
                    {"a.", "a"},
                    {"", ""},
                    {"/", ""},
                    {"/a.b/", ""},
                    {"src/common.cpp", "common"},
                    {"..", "."}};
  for (const auto& row : rows) EXPECT_EQ(retrieveName2(row.path), row.name) << row.path;
  EXPECT_EQ(retrieveName2(kNull), "");
  EXPECT_EQ(logged(), Lines{});
}

// Every kind of entry, and whether it counts as a directory; missing ones are neither.
TEST_F(Paths, DirectoriesAndFiles) {
  const auto expectKind = [](const std::string& path, bool dir, bool file) {
    EXPECT_EQ(isDir(path), dir) << path;
    EXPECT_EQ(isDir(path.c_str()), dir) << path;
    EXPECT_EQ(isFile(path), file) << path;
    EXPECT_EQ(isFile(path.c_str()), file) << path;
  };
  writeFile(scratch.file("regular"), "");
  ASSERT_EQ(mkfifo(scratch.file("fifo").c_str(), 0600), 0);
  ASSERT_EQ(symlink("regular", scratch.file("to file").c_str()), 0);
  ASSERT_EQ(symlink(scratch.path().c_str(), scratch.file("to directory").c_str()), 0);
  ASSERT_EQ(symlink("missing", scratch.file("dangling").c_str()), 0);
  const int listener = socket(AF_UNIX, SOCK_DGRAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  strcpy(address.sun_path, scratch.file("socket").c_str());
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(listener);

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
  if (mknod(scratch.file("block").c_str(), S_IFBLK | 0600, makedev(7, 0)) == 0) {
    expectKind(scratch.file("block"), true, false);
  }

  EXPECT_EQ(logged(), Lines{});
  EXPECT_FALSE(isDir(kNull));
  EXPECT_EQ(logged(), Lines{});
  EXPECT_FALSE(isFile(kNull));
  EXPECT_EQ(logged(), Lines{"[I](common:1286):invalid param"});
}

}  // namespace
