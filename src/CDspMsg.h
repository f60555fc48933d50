#pragma once

#include <cstdarg>
#include <string>

#include "ResourceBridge.h"

/// Shows numbered messages on standard output, or formats them into a string: the text of a message
/// ID, filled from the caller's arguments as printf does. The last letter of an ID is the message's
/// kind; warnings ("W") and errors ("E") show their ID.
///
/// Call `init` first; before it every text is empty. An unknown ID and a null ID have an empty
/// text. Nothing is logged. The variable arguments must match the text's conversions and be of
/// types that may be passed to printf; a va_list goes with an ID that is a const char*.
class CDspMsg {
 public:
  CDspMsg() = default;
  virtual ~CDspMsg();

  CDspMsg(const CDspMsg&) = delete;
  CDspMsg& operator=(const CDspMsg&) = delete;

  /// Loads the compiled-in texts in the language of the environment. Both arguments are
  /// deliberately ignored: the user's language counts, not the tool's. Returns 0 even if loading
  /// fails; -1 if there is no memory for the bridge.
  int init(const char* lang, std::string file);

  /// Prints the ID on a separate line if the kind shows it, the text, and a line feed. Returns the
  /// result of writing the line feed, negative if that fails.
  int display(const char* id, va_list args);
  int dspMsg(const char* id, va_list args);

  /// `display` with the arguments passed directly.
  template <class... Args>
  int dspMsg(const char* id, Args... args) {
    return displayCall(id, args...);
  }
  template <class... Args>
  int dspMsg(std::string id, Args... args) {
    return displayCall(id.c_str(), args...);
  }

  /// The same without the ID.
  int displayDesc(const char* id, va_list args);

  /// `displayDesc` unless `quiet`.
  template <class... Args>
  void dspMsgBySwitch(bool quiet, const char* id, Args... args) {
    if (!quiet) displayDescCall(id, args...);
  }
  template <class... Args>
  void dspMsgBySwitch(bool quiet, std::string id, Args... args) {
    if (!quiet) displayDescCall(id.c_str(), args...);
  }

  /// `out` receives the ID and " : " if the kind shows it, and at most 1023 bytes of the text,
  /// without a line feed. Returns `out`. `retStringOrg` uses the untranslated text.
  std::string& retString(std::string& out, const char* id, va_list args);
  std::string& retStringOrg(std::string& out, const char* id, va_list args);

  /// `retString`; returns 0.
  template <class... Args>
  int getStr(std::string& out, const char* id, Args... args) {
    return formatCall(out, id, args...);
  }
  template <class... Args>
  int getStr(std::string& out, std::string id, Args... args) {
    return formatCall(out, id.c_str(), args...);
  }

 protected:
  ResourceBridge* bridge = nullptr;  ///< The text source, owned; null before `init`.

 private:
  // Turn variable arguments into a va_list. The templates above keep a literal 0 from being taken
  // for one.
  int displayCall(const char* id, ...);
  int displayDescCall(const char* id, ...);
  int formatCall(std::string& out, const char* id, ...);
};

/// A new bridge to the compiled-in texts, owned by the caller; null if there is no memory for it.
/// The spelling is deliberate: tools call it by this name.
ResourceBridge* creatMethod();

/// The message display of the process. A tool calls `gMsg.init` when it starts, before `gEnv.init`,
/// which shows messages.
extern CDspMsg gMsg;
