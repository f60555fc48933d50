#pragma once

#include <map>
#include <string>

#include "ResourceBridge.h"

/// Message texts from a file, one a line: ID, tab, text.
///
/// Everything from a "#" on is a comment; blanks around the rest are cut off, and empty lines do
/// not count. The ID has nine characters, the text 256 at most, in which backslash and n stand for
/// a blank and a line feed. A line of more than 511 bytes is read in pieces, each a line of its
/// own. The bytes are taken as they are, EUC-JP in the Japanese file.
class ResourceBridgeImpFile : public ResourceBridge {
 public:
  ResourceBridgeImpFile() = default;
  ~ResourceBridgeImpFile() override;

  /// Reads `file`, or when that is empty "/opt/kardo/moxel/lib/locale/moxel_msg.ja" for a `lang`
  /// (null: the environment variable "LANG") that begins with "ja", else moxel_msg.C beside it. A
  /// later line replaces an earlier one with its ID.
  ///
  /// 0; -1 when the file cannot be opened or a line has another form, with one line on standard
  /// error. The texts before that line stay. The line's number there counts neither empty lines nor
  /// comments.
  /// An error of reading counts as the end of the file.
  int load(const char* lang, std::string file) override;

  /// The empty text: a file has no numbered messages.
  const char* getText(int number) override;

  /// The text of `id`; one that is not there is entered with an empty text.
  const char* getText(const char* id) override;

  /// The empty text: a file has no other form of its texts.
  const char* getTextOrg(const char* id) override;

 protected:
  std::map<std::string, std::string> messages;  ///< ID and text.

 private:
  bool addLine(char* line);
};
