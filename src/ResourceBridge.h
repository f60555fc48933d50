#pragma once

#include <string>

/// A source of message texts: a message file or the compiled-in table.
///
/// The texts belong to the bridge and stay valid as long as it does. A missing number or ID and a
/// null ID have the empty text.
class ResourceBridge {
 public:
  virtual ~ResourceBridge() = default;

  /// Makes the texts available; 0, or -1 if that fails. Call it once, before the others.
  virtual int load(const char* lang, std::string file) = 0;

  /// The text to show.
  virtual const char* getText(int number) = 0;
  virtual const char* getText(const char* id) = 0;

  /// The text before any translation.
  virtual const char* getTextOrg(const char* id) = 0;
};
