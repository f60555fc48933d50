// The configuration-send command: while remote support is in operation it runs the set's send
// script and reports in Japanese (EUC-JP) whether sending completed; then it prints what the script
// printed. Exit status: 0, the script's own, or -1 (255) when not in operation.

#include <csignal>
#include <cstdio>
#include <iostream>
#include <list>
#include <string>

#include "CMxlRmgLib.h"
#include "common.h"
#include "common_template.h"

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
      puts("構成情報送信が完了しました");
    } else {
      puts("現在運用中でないため実行できません");
      status = -1;
    }
  } catch (int e) {
    puts("構成情報送信が完了しませんでした");
    status = e;
  }
  // The exit status tells the outcome even where the output finds no reader or no room.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  if (!lines.empty()) std::cout << std::endl << C(join(lines, "\n"));
  return status;
}
