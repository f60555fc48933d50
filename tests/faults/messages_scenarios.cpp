// Configuration, messages, texts, times.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "CDspMsg.h"
#include "CEnvConf.h"
#include "MLog.h"
#include "MsgTable.h"
#include "ResourceBridgeImpFile.h"
#include "ResourceBridgeImpGettext.h"
#include "ResourceCO.h"
#include "Results.h"
#include "Scratch.h"
#include "Sweep.h"
#include "common.h"

namespace {

// Whether a configuration is read, and a setting of it.
std::string configured(const char* content) {
  gMsg.init(nullptr, "");
  writeFile("conf", content);
  setenv("MOXEL_CONF", "conf", 1);
  CEnvConf conf;
  const bool read = conf.init();
  return (read ? "true" : "false") + number(conf.getBigLimit());
}

std::string whetherText(const std::string& text) { return text.empty() ? "none" : "some"; }

}  // namespace

SCENARIO(readsTheConfiguration, {"false0", "true0"}, kMayPrint) {
  return configured("BigLimit=2mb\nAutoCleaning=yes\nSaveArea=/x/$HOSTNAME$\n");
}

SCENARIO(readsAWrongConfiguration, {"false0", "true0", "true2048"}) {
  return configured("BigLimit=2mb\nwrong\n");
}

SCENARIO(looksUpWhatIsNotThere, {}) {
  CEnvConf conf;
  std::string text = "old";
  int value = 7;
  bool flag = true;
  conf.getValueString("none", text);
  conf.getValueInt("none", value);
  conf.getValueBool("none", flag);
  ResourceBridgeImpFile bridge;
  ResourceCO index(gMsgTable);
  text += bridge.getText("MXL99999E");
  text += index.getText(9999);
  text += index.getText("MXL99999E");
  return text + number(value) + number(flag ? 1 : 0);
}

SCENARIO(readsAMessageFile, {"-1", "0"}) {
  writeFile("messages", "MXL00001I\ttext\nMXL00002I\tother\n");
  ResourceBridgeImpFile bridge;
  const int result = bridge.load("C", "messages");
  return number(result) + bridge.getText("MXL00001I");
}

// Its complaints are not of interest here.
SCENARIO(readsAWrongMessageFile, {"0-1"}) {
  if (freopen("/dev/null", "w", stderr) == nullptr) return "no error output";
  writeFile("messages", "wrong\n");
  ResourceBridgeImpFile bridge;
  const int wrong = bridge.load("C", "messages");
  return number(wrong) + number(bridge.load("C", "missing"));
}

SCENARIO(readsTheCompiledInTexts, {}) {
  ResourceBridgeImpGettext bridge;
  const int result = bridge.load(nullptr, "");
  return number(result) + bridge.getText("MXL10000I");
}

SCENARIO(showsMessages, {"0MXL10009W : "}) {
  CDspMsg messages;
  const int result = messages.init(nullptr, "");
  messages.dspMsg("MXL10102E", "file", 3);
  std::string text;
  messages.getStr(text, "MXL10009W", 5);
  return number(result) + text;
}

SCENARIO(showsMessagesBySwitch, {"-1"}) {
  CDspMsg messages;
  messages.init(nullptr, "");
  messages.dspMsgBySwitch(false, "MXL10102E", "file", 3);
  messages.dspMsgBySwitch(true, "MXL10102E", "file", 3);
  return number(messages.dspMsg("MXL10102E", "file", 3));
}

SCENARIO(waitsForALine, {}) {
  if (freopen("/dev/null", "r", stdin) == nullptr) return "no input";
  return number(getch());
}

SCENARIO(writesDebugLines, {}) {
  MLog log;
  log.LOGDEBUG("to nobody");
  return "written";
}

SCENARIO(countsCallsOfAKey, {}) {
  static int runs = 0;
  const std::string key = "key" + number(++runs);
  std::string result;
  for (int i = 0; i < 3; ++i) result += number(atOnce(key, nullptr, 1));
  return result;
}

SCENARIO(formatsATime, {"86400nonesome", "86400somenone", "86400nonenone"}) {
  std::string text;
  const long seconds = getTimeStr(text, 86400);
  return number(seconds) + whetherText(text) + whetherText(getTimeStr(86400L));
}

// A clock that fails stands a second before its start.
SCENARIO(readsTheClocks, {"neversomesomeelapsed", "nowsomesomestopped", "nownonesomeelapsed",
                          "nowsomenoneelapsed", "nownonenoneelapsed"}) {
  std::string text;
  const std::string now = getTimeStr(text, 0) > 0 ? "now" : "never";
  return now + whetherText(text) + whetherText(getTimeStr(0L)) +
         (elapsedTime() > 0 ? "elapsed" : "stopped");
}
