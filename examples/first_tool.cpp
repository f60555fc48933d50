// A first tool of the set: saves the disks' usage, and tells the user the size of that file.

#include <list>
#include <string>

#include "CDspMsg.h"
#include "CEnvConf.h"
#include "CLog.h"
#include "CTemp.h"
#include "common.h"

int main(int, char** argv) {
  gLog.init(argv[0]);          // renames a log that has grown too large
  gMsg.init(nullptr, "");      // messages in the user's language
  if (!gEnv.init()) return 1;  // the configuration; reports its own errors

  gMsg.dspMsg("MXL10201I");  // "The basic information is being collected."

  CTemp temp;  // removes its files when it is destroyed
  std::string file;
  if (temp.getTempFile(file, "first_tool", nullptr, nullptr) != 1) return 1;

  std::list<std::string> lines;
  const int code = execGetLines(lines, format("df -kP >%s", C(file)).c_str(), -1, nullptr, 0);
  if (code != 0) {
    gLog.ilog("first_tool : df ended with %d", code);
    return 1;
  }

  constexpr long long kBytesPerKb = 1024;
  const int sizeKb = static_cast<int>((getFileSize(file.c_str()) + kBytesPerKb - 1) / kBytesPerKb);
  const int limitKb = gEnv.getBigLimit();
  if (limitKb != 0 && sizeKb > limitKb) {
    gLog.ilog("first_tool : %dKB, more than BigLimit", sizeKb);
    return 1;
  }
  gMsg.dspMsg("MXL30242I", sizeKb);  // "The collected files take up %dKB."
  return 0;
}
