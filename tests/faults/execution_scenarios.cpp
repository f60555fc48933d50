// Commands that the library runs.

#include <fstream>
#include <string>

#include "CEnvConf.h"
#include "CTemp.h"
#include "Results.h"
#include "Scratch.h"
#include "Sweep.h"
#include "common.h"

SCENARIO(runsACommand, {"-1[]", "1[]", "3[]", "?-1[one]", "-1[one|two]"}) {
  Strings out{"old"};
  const int result = execGetLines(out, "echo one; echo two; exit 3", -1, nullptr, -1);
  return number(result) + lines(out);
}

// Up to nine attempts at the file of the error output may fail.
SCENARIO(keepsErrorOutput,
         {"-1[][]", "1[][]", "4[one][]", "4[][]", "?4[][bad]", "?-1[][bad]", "-1[one][bad]",
          "4[][/bin/sh: 1: echo: echo: I/O error|bad]"},
         kMayLeaveFiles | kMayEndWithoutMemory) {
  Strings out;
  Strings errors{"old"};
  const int result = execGetLines(out, "echo one; echo bad >&2; exit 4", -1, &errors, -1);
  return number(result) + lines(out) + lines(errors);
}

// The command may end by SIGPIPE.
SCENARIO(keepsTheFirstLine, {"-1old", "255first", "?5", "?0", "?0first"}) {
  char line[1024] = "old";
  const int result = execGetLine("echo first; echo second; exit 5", line);
  return number(result) + line;
}

SCENARIO(tellsTheHostName, {"none"}) { return getHostname().empty() ? "none" : "some"; }

SCENARIO(tellsTheDomainName, {"none"}) { return getDomainname().empty() ? "none" : "some"; }

SCENARIO(measuresADirectory, {"0", "0du"}) {
  makeTree();
  const int size = getDirSize("tree");
  return number(size > 0 ? 1 : size) + commandName();
}

// A listed name that is a file here, so that it is found where it should not be.
SCENARIO(measuresThePatternsOfADirectory, {"0,0"}) {
  makeTree();
  writeFile("one", "12345");
  int size = 7;
  const int result = getDirFileSize("tre*", size, 0);
  return number(result) + "," + number(size);
}

SCENARIO(measuresFreeSpace, {"-1", "-1df"}) {
  const int size = getFreeSize("/tmp");
  return number(size > 0 ? 1 : size) + commandName();
}

SCENARIO(findsTheDirectoryOfCrashDumps, {}) {
  CEnvConf conf;
  char directory[4097] = "";
  const bool found = conf.setDefaultSaveCoreDir(directory);
  const bool isDefault = std::string(directory).rfind("/var/crash/", 0) == 0;
  return std::string(found ? "true" : "false") + (isDefault ? "default" : directory);
}

SCENARIO(seesThatAFileIsInUse, {"not", "not(echo"}) {
  const std::ofstream held("held");
  CEnvConf conf;
  const std::string result = conf.isRunning("/tmp/sweep/held") ? "running" : "not";
  return result + commandName();
}
