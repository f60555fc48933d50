// File trees, lists, sizes, temporary files.

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "CTemp.h"
#include "Results.h"
#include "Scratch.h"
#include "Sweep.h"
#include "common.h"
#include "common_template.h"

SCENARIO(removesATree, {"-1there", "0there", "1there", "2there", "?141there"}) {
  makeTree();
  const int result = removeFiles((getCwd() + "/tree").c_str(), 1);
  return number(result) + whether(isDir("tree"));
}

SCENARIO(removesAFile, {"-1there", "0there"}) {
  writeFile("file", "x");
  const int result = removeFiles((getCwd() + "/file").c_str(), 0);
  return number(result) + whether(isFile("file"));
}

SCENARIO(removesATemporaryFile, {"-1there"}) {
  writeFile("temporary", "x");
  const int result = rmTempFile(std::string("temporary"), 0);
  return number(result) + whether(std::filesystem::exists("temporary"));
}

SCENARIO(makesADirectoryWithItsParents, {"-1gone"}) {
  const int result = makeDir(std::string("/tmp/sweep/x/y/z"), 1);
  return number(result) + whether(std::filesystem::exists("/tmp/sweep/x/y/z"));
}

SCENARIO(makesOneDirectory, {"-1"}) { return number(makeDir(std::string("/tmp/sweep/x"), 0)); }

SCENARIO(copiesTheRightsOfADirectory, {"0gone"}) {
  std::filesystem::create_directory("source");
  const int result = dupDir("source", "/tmp/sweep/target/deep");
  return number(result) + whether(std::filesystem::exists("target/deep"));
}

SCENARIO(measuresATree, {"0", "5", "?8", "10", "?12", "?13", "?15", "17"}) {
  makeTree();
  return number(getTotalFileSize({"tree", "tree/one"}, 1));
}

SCENARIO(measuresAFile, {"-1"}) {
  writeFile("file", "12345");
  return number(getFileSize("file"));
}

SCENARIO(datesAFile, {"-1none", "0none"}) {
  writeFile("file", "x");
  std::string date = "old";
  const int result = getFileDate("file", date);
  return number(result) + (date.empty() ? "none" : "some");
}

// The order is the directory's.
SCENARIO(listsADirectory, {"-1[]", "-1[old]", "0[]", "?1[tree/one]", "?1[tree/a]",
                           "?2[tree/one|tree/a]", "?2[tree/a|tree/one]"}) {
  makeTree();
  Strings list{"old"};
  const int count = getFileList(list, "tree", 1, 0, 0);
  return number(count) + lines(list);
}

SCENARIO(findsWhatPathsShare, {}) {
  makeTree();
  Strings paths{"tree/a/two", "tree/a/b"};
  return acquireSamePrefix(paths);
}

SCENARIO(makesPathsCanonical, {"y", ""}) { return getCanonicalPath("x/../y"); }

SCENARIO(tellsWhatMayBeDeleted, {}) {
  return number(isAllowDelete("/a/b")) + number(isAllowDelete("/tmp/x"));
}

SCENARIO(testsAccess, {"01", "10", "00"}) {
  writeFile("file", "x");
  std::string result = number(isAccessible("file", R_OK));
  return result += number(isAccessible("file", F_OK));
}

SCENARIO(matchesPatterns, {"0"}) { return number(matchWild("a*c", "abc")); }

SCENARIO(makesATemporaryFile, {"0gone0gone", "1there1there"},
         kMayLeaveFiles | kMayEndWithoutMemory) {
  std::string path;
  CTemp temp;
  std::string result = number(temp.getTempFile(path, "sweep", nullptr, nullptr));
  result += whether(std::filesystem::exists(path));
  result += number(temp.delTempFile(nullptr));
  return result + whether(std::filesystem::exists(path));
}

// Each attempt that fails in its last step leaves a descriptor.
SCENARIO(makesAnOpenTemporaryFile, {"0none", "0open"},
         kMayLeaveFiles | kMayLeaveDescriptors | kMayEndWithoutMemory) {
  constexpr char kNewDirectory[] = "/tmp/new";
  int made = 0;
  int descriptor = -1;
  {
    std::string path;
    CTemp temp;
    made = temp.getTempFile(path, "sweep", kNewDirectory, &descriptor);
  }
  const bool usable = descriptor != -1 && fcntl(descriptor, F_GETFD) != -1;
  if (usable) syscall(SYS_close, descriptor);
  syscall(SYS_unlinkat, AT_FDCWD, kNewDirectory, AT_REMOVEDIR);
  return number(made) + (usable ? "open" : "none");
}

// Each attempt that gets a name leaves a descriptor.
SCENARIO(makesATemporaryDirectory, {"0gone"},
         kMayLeaveFiles | kMayLeaveDescriptors | kMayEndWithoutMemory) {
  std::string path;
  CTemp temp;
  const int made = temp.getTempDir(path, "sweep", nullptr);
  return number(made) + whether(std::filesystem::is_directory(path));
}
