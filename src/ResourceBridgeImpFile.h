#pragma once

#include <map>
#include <string>

#include "ResourceBridge.h"

/// Message texts from a file, one per line: ID, tab, text.
///
/// Everything from a "#" on is a comment; white space around the rest is removed, and empty lines
/// are ignored. The ID has nine characters, the text 256 bytes at most; in it backslash and n stand
/// for a blank and a line feed. A line of more than 511 bytes is read in pieces, each as a separate
/// line. The bytes are not converted; the shipped files are EUC-JP.
class ResourceBridgeImpFile : public ResourceBridge {
 public:
  ResourceBridgeImpFile() = default;
  ~ResourceBridgeImpFile() override;

  /// Reads `file`, or if that is empty "/opt/kardo/moxel/lib/locale/moxel_msg.ja" for a `lang`
  /// (null: the environment variable "LANG") that begins with "ja", else moxel_msg.C beside it. A
  /// later line replaces an earlier one with the same ID.
  ///
  /// 0; -1 if the file cannot be opened or a line has another form, with one line on standard
  /// error. The texts before that line stay. The line number shown does not count empty lines and
  /// comments. A read error counts as the end of the file.
  int load(const char* lang, std::string file) override;

  /// The empty text: a file has no message numbers.
  const char* getText(int number) override;

  /// The text of `id`; a missing ID is entered with an empty text.
  const char* getText(const char* id) override;

  /// The empty text: a file has no untranslated texts.
  const char* getTextOrg(const char* id) override;

 protected:
  std::map<std::string, std::string> messages;  ///< ID and text.

 private:
  bool addLine(char* line);
};
