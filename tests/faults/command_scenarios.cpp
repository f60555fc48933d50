// The gateway client, the agent's errors, and the command.

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>

#include "CMxlRmgLib.h"
#include "FaultLayer.h"
#include "ICMxlRmgLib.h"
#include "Reports.h"
#include "Results.h"
#include "Scratch.h"
#include "Sweep.h"

// The command's own entry, under another name.
extern "C" int scsendMain();

namespace {

// The command's status, and the outcome that its first line tells, which the sweep keeps in a file.
std::string runCommand() {
  const int status = scsendMain();
  std::cout.flush();
  fflush(stdout);
  const faults::Pause pause;
  const std::string printed = readFile("/tmp/log/stdout");
  std::string outcome = printed.empty() ? " nothing" : " something else";
  if (printed.rfind(kCompleted, 0) == 0) outcome = " completed";
  if (printed.rfind(kNotCompleted, 0) == 0) outcome = " not completed";
  if (printed.rfind(kNotInOperation, 0) == 0) outcome = " not in operation";
  return number(status) + outcome;
}

}  // namespace

SCENARIO(asksTheAgent, {}) {
  CMxlRmgLib client;
  std::string result = client.isOperate() ? "operating" : "not";
  result += number(client.startCom());
  char text[] = "text";
  result += number(client.sendNotify(7, text, nullptr));
  result += number(client.sendData(7, text, 4, nullptr));
  client.reportResult(3, client);
  result += number(client.stopCom());
  result += client.getMachineID();
  return result + client.toString() + client.toString1line();
}

SCENARIO(looksForTheAgent, {}) {
  CMxlRmgLib client;
  return number(isVekExist()) + number(client.isKardoInstalled());
}

SCENARIO(passesARecordOn, {}) {
  CMxlRmgLib client;
  client.setData({"-19", "1", "-5", "server said"});
  std::ostringstream out;
  out << client;
  std::istringstream in(out.str());
  CMxlRmgLib copy;
  in >> copy;
  const std::string explained = copy.toString();
  return explained + copy.toString1line();
}

// The line itself may be lost, and after it the script's lines stand first.
SCENARIO(sends, {"-1 not completed", "1 not completed", "0 something else", "?141 not completed"}) {
  return runCommand();
}

SCENARIO(doesNotSend, {"-1 nothing"}) {
  setenv("VEKCOM_STATUS", "0x10000", 1);
  const std::string result = runCommand();
  unsetenv("VEKCOM_STATUS");
  return result;
}
