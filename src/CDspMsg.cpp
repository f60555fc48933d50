#include "CDspMsg.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "ResourceBridge.h"
#include "ResourceBridgeImpGettext.h"

// Lives longer than a tool's own static objects, which may show messages when they are destroyed.
CDspMsg gMsg __attribute__((init_priority(101)));

namespace {

constexpr size_t kTextBytes = 1024;

bool showsId(const char* id) {
  if (id == nullptr || *id == '\0') return false;
  const char kind = id[strlen(id) - 1];
  return kind == 'W' || kind == 'E';
}

std::string& formatText(std::string& out, const char* id, const char* text, va_list args) {
  char formatted[kTextBytes] = "";
  vsnprintf(formatted, sizeof formatted, text, args);
  std::string message = showsId(id) ? std::string(id) + " : " : std::string();
  out = message + formatted;
  return out;
}

}  // namespace

ResourceBridge* creatMethod() { return new (std::nothrow) ResourceBridgeImpGettext; }

CDspMsg::~CDspMsg() { delete bridge; }

int CDspMsg::init(const char* /*lang*/, std::string /*file*/) {
  delete bridge;
  bridge = creatMethod();
  if (bridge == nullptr) return -1;
  bridge->load(nullptr, std::string());
  return 0;
}

int CDspMsg::display(const char* id, va_list args) {
  if (showsId(id)) printf("%s\n", id);
  return displayDesc(id, args);
}

int CDspMsg::dspMsg(const char* id, va_list args) { return display(id, args); }

int CDspMsg::displayDesc(const char* id, va_list args) {
  if (bridge != nullptr) vprintf(bridge->getText(id), args);
  return printf("\n");
}

std::string& CDspMsg::retString(std::string& out, const char* id, va_list args) {
  return formatText(out, id, bridge == nullptr ? "" : bridge->getText(id), args);
}

std::string& CDspMsg::retStringOrg(std::string& out, const char* id, va_list args) {
  return formatText(out, id, bridge == nullptr ? "" : bridge->getTextOrg(id), args);
}

int CDspMsg::displayCall(const char* id, ...) {
  va_list args;
  va_start(args, id);
  const int result = display(id, args);
  va_end(args);
  return result;
}

int CDspMsg::displayDescCall(const char* id, ...) {
  va_list args;
  va_start(args, id);
  const int result = displayDesc(id, args);
  va_end(args);
  return result;
}

int CDspMsg::formatCall(std::string& out, const char* id, ...) {
  va_list args;
  va_start(args, id);
  retString(out, id, args);
  va_end(args);
  return 0;
}
