#include "common_template.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <list>
#include <string>
#include <vector>

#include "Memory.h"
#include "Process.h"
#include "Scratch.h"
#include "StatCalls.h"
#include "common.h"

namespace {

constexpr const char* kNull = nullptr;

class CommonTemplate : public LogTest {};

TEST_F(CommonTemplate, JoiningPutsTheSeparatorBetween) {
  using List = std::list<std::string>;
  EXPECT_EQ(join(List{}, "\n"), "");
  EXPECT_EQ(join(List{"a"}, "\n"), "a");
  EXPECT_EQ(join(List{"a", "b", "c"}, ", "), "a, b, c");
  EXPECT_EQ(join(List{"a", "", "c"}, "/"), "a//c");
  EXPECT_EQ(join(List{"", ""}, "/"), "/");
  EXPECT_EQ(join(List{""}, "/"), "");
  EXPECT_EQ(join(List{"a", "b"}, ""), "ab");
  EXPECT_EQ(join(std::vector<std::string>{"a", "b"}, "-"), "a-b");
  EXPECT_EQ(logged(), Lines{});
  EXPECT_EQ(join(List{"a", "b"}, nullptr), "");
  EXPECT_EQ(logged(), Lines{"[I](common_template:88):invalid param"});
}

struct SplitRow {
  const char* text;
  const char* delim;
  int count;
  std::vector<std::string> fields;
};

const SplitRow kSplitRows[] = {
    {"a,b,,c", ",", 0, {"a", "b", "", "c"}},
    {"a,b,,c", ",", 1, {"a", "b", "", "c"}},
    {"a,b,,c", ",", -3, {"a", "b", "", "c"}},
    {"a,b,,c", ",", 2, {"a", "b,,c"}},
    {"a,b,,c", ",", 3, {"a", "b", ",c"}},
    {"a,b,,c", ",", 4, {"a", "b", "", "c"}},
    {"a,b,,c", ",", 5, {"a", "b", "", "c", ""}},
    {"a,b", ",", 4, {"a", "b", "", ""}},
    {"", ",", 0, {""}},
    {"", ",", 2, {"", ""}},
    {",", ",", 0, {"", ""}},
    {",a", ",", 0, {"", "a"}},
    {"a,", ",", 0, {"a", ""}},
    {",,", ",", 2, {"", ","}},
    {"a::b:c", "::", 0, {"a", "b:c"}},
    {"a:::b", "::", 0, {"a", ":b"}},
    {"a::b::c", "::", 2, {"a", "b::c"}},
    {"a::b", "::", 3, {"a", "b", ""}},
    {"a;b", ",;", 0, {"a;b"}},
    {"abc", "abcd", 0, {"abc"}},
    {"abc", "abc", 0, {"", ""}},
    // An empty delimiter splits nowhere.
    {"abc", "", 0, {"abc"}},
    {"abc", "", 3, {"abc", "", ""}},
    {"", "", 0, {""}},
};

TEST_F(CommonTemplate, SplittingFillsAList) {
  for (const SplitRow& row : kSplitRows) {
    std::list<std::string> out = {"old"};
    EXPECT_EQ(split(row.text, row.delim, out, row.count), static_cast<int>(row.fields.size()));
    EXPECT_EQ(out, std::list<std::string>(row.fields.begin(), row.fields.end()))
        << row.text << " " << row.delim << " " << row.count;
  }
  EXPECT_EQ(logged(), Lines{});
  std::list<std::string> out = {"old"};
  EXPECT_EQ(split(kNull, ",", out, 4), 0);
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(logged(), Lines{"[I](common_template:267):invalid param"});
}

TEST_F(CommonTemplate, SplittingFillsAVector) {
  for (const SplitRow& row : kSplitRows) {
    std::vector<std::string> out = {"old"};
    EXPECT_EQ(split(row.text, row.delim, out, row.count), static_cast<int>(row.fields.size()));
    EXPECT_EQ(out, row.fields) << row.text << " " << row.delim << " " << row.count;
  }
  EXPECT_EQ(logged(), Lines{});
  std::vector<std::string> out = {"old"};
  EXPECT_EQ(split(kNull, ",", out, 4), 0);
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(logged(), Lines{"[I](common:2232):invalid param"});
}

TEST_F(CommonTemplate, ATextMayStandInTheListItIsSplitInto) {
  std::list<std::string> out = {"a long text that is not kept within the string,b"};
  EXPECT_EQ(split(out.front().c_str(), ",", out, 0), 2);
  EXPECT_EQ(out, (std::list<std::string>{"a long text that is not kept within the string", "b"}));
}

TEST(CommonTemplateSplit, TakesNoRoomForFieldsThatAreNotThere) {
  // "a" stands where "ab" might begin, a million times.
  const std::string text(1000000, 'a');
  std::vector<std::string> fields;
  const NoMemoryFrom none(4 << 20);
  EXPECT_EQ(split(text.c_str(), "ab", fields, 0), 1);
  EXPECT_EQ(fields.capacity(), 1u);
}

// ---- getFileList -------------------------------------------------------------------------------

class CommonTemplateFileList : public LogTest {
 protected:
  // A directory with every kind of entry.
  CommonTemplateFileList() : dir(scratch.file("dir")) {
    mkdir(dir.c_str(), 0755);
    writeFile(dir + "/f1", "12345");
    writeFile(dir + "/f 2", "");
    writeFile(dir + "/.hidden", "");
    mkfifo((dir + "/fifo").c_str(), 0600);
    mkdir((dir + "/sub").c_str(), 0755);
    writeFile(dir + "/sub/below", "");
    EXPECT_EQ(symlink("f1", (dir + "/to file").c_str()), 0);
    EXPECT_EQ(symlink("sub", (dir + "/to dir").c_str()), 0);
    EXPECT_EQ(symlink("missing", (dir + "/dangling").c_str()), 0);
    makeSocket((dir + "/socket"));
  }

  // The listing in alphabetical order; its number is checked.
  Lines list(int fullPath, int withDirs, int dirsOnly) {
    std::list<std::string> out = {"old"};
    const int count = getFileList(out, dir.c_str(), fullPath, withDirs, dirsOnly);
    EXPECT_EQ(count, static_cast<int>(out.size()));
    out.sort();
    return Lines(out.begin(), out.end());
  }

  std::string dir;
};

TEST_F(CommonTemplateFileList, ListsFilesDirectoriesOrBoth) {
  const Lines files = {".hidden", "dangling", "f 2", "f1", "fifo", "to file"};
  // A socket counts as a directory.
  const Lines directories = {"socket", "sub", "to dir"};
  const Lines both = {".hidden", "dangling", "f 2",    "f1",     "fifo",
                      "socket",  "sub",      "to dir", "to file"};
  EXPECT_EQ(list(0, 0, 0), files);
  EXPECT_EQ(list(0, 1, 0), both);
  EXPECT_EQ(list(0, -1, 0), both);
  EXPECT_EQ(list(0, 0, 1), directories);
  EXPECT_EQ(list(0, 1, 1), directories);
  EXPECT_EQ(list(0, 0, 2), files) << "only 1 means directories only";
  EXPECT_EQ(list(0, 1, 2), both);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonTemplateFileList, CharacterDevicesAreFiles) {
  std::list<std::string> files;
  EXPECT_GT(getFileList(files, "/dev", 0, 0, 0), 0);
  EXPECT_EQ(std::count(files.begin(), files.end(), "null"), 1);
  EXPECT_EQ(std::count(files.begin(), files.end(), "shm"), 0);
}

TEST_F(CommonTemplateFileList, BlockDevicesAreDirectories) {
  if (!makeBlockDevice(dir + "/block")) GTEST_SKIP() << "only root can make a block device";
  const Lines directories = list(0, 0, 1);
  EXPECT_EQ(std::count(directories.begin(), directories.end(), "block"), 1);
}

TEST_F(CommonTemplateFileList, FullNamesHaveOneSlashBetween) {
  const Lines expected = {dir + "/socket", dir + "/sub", dir + "/to dir"};
  EXPECT_EQ(list(1, 0, 1), expected);
  EXPECT_EQ(list(2, 0, 1), expected);
  for (const char* slashes : {"/", "//", "///"}) {
    std::list<std::string> out;
    EXPECT_EQ(getFileList(out, (dir + slashes).c_str(), 1, 0, 1), 3);
    out.sort();
    EXPECT_EQ(Lines(out.begin(), out.end()), expected);
  }
}

TEST_F(CommonTemplateFileList, AwkwardNamesAreNames) {
  const std::string awkward = scratch.file("awkward");
  ASSERT_EQ(mkdir(awkward.c_str(), 0755), 0);
  for (const std::string& name : kAwkwardNames) writeFile(awkward + "/" + name, "");
  std::list<std::string> out;
  EXPECT_EQ(getFileList(out, awkward.c_str(), 0, 0, 0), static_cast<int>(kAwkwardNames.size()));
  EXPECT_TRUE(std::is_permutation(out.begin(), out.end(), kAwkwardNames.begin()));
}

TEST_F(CommonTemplateFileList, ASocketMountedOverAFileCountsAsADirectory) {
  // The directory itself still calls it a file.
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace());
    writeFile(dir + "/mounted", "");
    ASSERT_EQ(
        mount((dir + "/socket").c_str(), (dir + "/mounted").c_str(), "none", MS_BIND, nullptr), 0);
    const Lines directories = list(0, 0, 1);
    EXPECT_EQ(std::count(directories.begin(), directories.end(), "mounted"), 1);
    const Lines files = list(0, 0, 0);
    EXPECT_EQ(std::count(files.begin(), files.end(), "mounted"), 0);
  });
}

TEST_F(CommonTemplateFileList, TheSystemsOrderIsKept) {
  for (int i = 0; i < 200; ++i) writeFile(dir + "/" + std::to_string(i * 7919), "");
  Lines expected;
  DIR* directory = opendir(dir.c_str());
  while (const dirent* entry = readdir(directory)) {
    if (entry->d_name != std::string(".") && entry->d_name != std::string("..")) {
      expected.push_back(entry->d_name);
    }
  }
  closedir(directory);
  std::list<std::string> out;
  getFileList(out, dir.c_str(), 0, 1, 0);
  EXPECT_EQ(Lines(out.begin(), out.end()), expected);
}

TEST_F(CommonTemplateFileList, AnyListServes) {
  std::vector<std::string> out = {"old"};
  EXPECT_EQ(getFileList(out, (dir + "/sub").c_str(), 0, 0, 0), 1);
  EXPECT_EQ(out, Lines{"below"});
}

TEST_F(CommonTemplateFileList, AnEmptyDirectoryGivesAnEmptyList) {
  ASSERT_EQ(mkdir(scratch.file("empty").c_str(), 0700), 0);
  std::list<std::string> out = {"old"};
  EXPECT_EQ(getFileList(out, scratch.file("empty").c_str(), 0, 1, 0), 0);
  EXPECT_TRUE(out.empty());
}

TEST_F(CommonTemplateFileList, WhatIsNoDirectoryLeavesTheListAlone) {
  std::list<std::string> out = {"old"};
  for (const std::string& path :
       {dir + "/f1", dir + "/missing", dir + "/dangling", std::string()}) {
    EXPECT_EQ(getFileList(out, path.c_str(), 0, 1, 0), -1) << path;
    EXPECT_EQ(out, std::list<std::string>{"old"});
  }
  EXPECT_EQ(logged(), Lines{});
  EXPECT_EQ(getFileList(out, nullptr, 0, 1, 0), -1);
  EXPECT_EQ(out, std::list<std::string>{"old"});
  EXPECT_EQ(logged(), Lines{"[I](common_template:118):invalid param"});
}

TEST_F(CommonTemplateFileList, WhatCannotBeOpenedGivesAnEmptyList) {
  chmod(scratch.path().c_str(), 0755);
  chmod(dir.c_str(), 0311);
  expectInChild([&] {
    dropPrivileges();
    std::list<std::string> out = {"old"};
    EXPECT_EQ(getFileList(out, dir.c_str(), 0, 1, 0), -1);
    EXPECT_TRUE(out.empty());
  });
  // A socket counts as a directory, and nothing is left of "/" without its slash.
  std::list<std::string> out = {"old"};
  EXPECT_EQ(getFileList(out, (dir + "/socket").c_str(), 0, 1, 0), -1);
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(getFileList(out, "/", 0, 1, 0), -1);
  EXPECT_EQ(getFileList(out, "///", 0, 1, 0), -1);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonTemplateFileList, NamesOf4096BytesAreNoDirectories) {
  std::list<std::string> out = {"old"};
  const std::string path = dir + std::string(4096, '/');
  EXPECT_EQ(getFileList(out, path.c_str(), 0, 1, 0), -1);
  EXPECT_EQ(out, std::list<std::string>{"old"});
}

TEST_F(CommonTemplateFileList, WithoutTheRightToSearchNothingIsKnownToBeADirectory) {
  chmod(scratch.path().c_str(), 0755);
  chmod(dir.c_str(), 0444);
  expectInChild([&] {
    dropPrivileges();
    std::list<std::string> out;
    EXPECT_EQ(getFileList(out, dir.c_str(), 0, 0, 0), 9);
    EXPECT_EQ(getFileList(out, dir.c_str(), 0, 1, 1), 0);
  });
}

TEST_F(CommonTemplateFileList, WhatCannotBeExaminedIsNoDirectory) {
  // Gone before it is looked at.
  const std::string vanishing = dir + "/vanishing";
  for (const int dirsOnly : {0, 1}) {
    ASSERT_EQ(mkdir(vanishing.c_str(), 0700), 0);
    beforeStat = [&](const std::string& path) {
      if (path == vanishing) rmdir(vanishing.c_str());
    };
    std::list<std::string> out;
    getFileList(out, dir.c_str(), 0, 0, dirsOnly);
    beforeStat = nullptr;
    EXPECT_EQ(std::count(out.begin(), out.end(), "vanishing"), dirsOnly == 1 ? 0 : 1);
  }
}

TEST_F(CommonTemplateFileList, NamesTooLongToBeExaminedAreNoDirectories) {
  // The directory's own name is still short enough, its entries' names are not.
  expectInChild([&] {
    const std::string path = enterDeepDirectory(dir, 4000);
    // A slash and 94 more make 4095, the longest name.
    const std::string longest(94, 'l');
    const std::string tooLong(95, 't');
    ASSERT_TRUE(mkdir(longest.c_str(), 0700) == 0 && mkdir(tooLong.c_str(), 0700) == 0);
    std::list<std::string> out;
    EXPECT_EQ(getFileList(out, path.c_str(), 0, 0, 1), 1);
    EXPECT_EQ(out, std::list<std::string>{longest});
    EXPECT_EQ(getFileList(out, path.c_str(), 0, 0, 0), 1);
    EXPECT_EQ(out, std::list<std::string>{tooLong});
  });
}

TEST_F(CommonTemplateFileList, ADirectoryMayStandInItsOwnList) {
  std::list<std::string> out = {dir + "/sub"};
  EXPECT_EQ(getFileList(out, out.front().c_str(), 0, 0, 0), 1);
  EXPECT_EQ(out, std::list<std::string>{"below"});
}

TEST_F(CommonTemplateFileList, LeavesNoDescriptor) {
  const auto before = openDescriptors();
  std::list<std::string> out;
  getFileList(out, dir.c_str(), 0, 0, 0);
  getFileList(out, (dir + "/socket").c_str(), 0, 0, 0);
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
