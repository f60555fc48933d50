#pragma once

#include <string>

/// A source of message texts: a message file or the compiled-in table.
///
/// The texts belong to the bridge and stay valid as long as it does. What is not there gives the
/// empty text, as does a null ID.
class ResourceBridge {
 public:
  virtual ~ResourceBridge() = default;

  /// Makes the texts available; 0, or -1 when that fails. To be called once, before the others.
  virtual int load(const char* lang, std::string file) = 0;

  /// The text to be shown.
  virtual const char* getText(int number) = 0;
  virtual const char* getText(const char* id) = 0;

  /// The text before any translation.
  virtual const char* getTextOrg(const char* id) = 0;
};
