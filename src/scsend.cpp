// The configuration-send command: while remote support is in operation it runs the set's send
// script and reports in Japanese (EUC-JP) whether sending completed; then it prints what the script
// printed. Exit status: 0 when sending completed; the script's own status, the shell's 126 or 127
// for a script that cannot be run and 128 and more for one that a signal ended, 1 when there is no
// shell; -1 (255 for the caller) when not in operation, when a signal ended the shell, when no
// child can be had, or when the caller ignores SIGCHLD. Any exception but an int ends the run by
// abort.

#include <csignal>
#include <cstdio>
#include <iostream>
#include <list>
#include <string>

#include "CMxlRmgLib.h"
#include "common.h"
#include "common_template.h"

namespace {

// Prints the result line. From here on the exit status tells the outcome even where the output
// finds no reader or no room. Called only after the script has ended, since the script would
// inherit the ignored signals.
void report(const char* line) {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  puts(line);
}

}  // namespace

int main() {
  std::list<std::string> lines;
  CMxlRmgLib client;
  int status = 0;
  try {
    if (client.isOperate()) {
      const int result =
          execGetLines(lines, "/opt/kardo/moxel/bin/scsend.sh -v 2>/dev/null", -1, nullptr, -1);
      // Thrown to the handler below, so that every int that is thrown ends in the same line.
      if (result != 0) throw result;
      report("構成情報送信が完了しました");
    } else {
      report("現在運用中でないため実行できません");
      status = -1;
    }
  } catch (int e) {
    report("構成情報送信が完了しませんでした");
    status = e;
  }
  if (!lines.empty()) std::cout << std::endl << C(join(lines, "\n"));
  return status;
}
