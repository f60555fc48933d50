#pragma once

namespace MoxelCommon {

/// A table of message texts, by number and by message ID.
///
/// The texts belong to the table, or to the platform's message catalogue, and stay valid as long as
/// the table does. A missing number or ID has the empty text.
class Resource {
 public:
  virtual ~Resource() = default;

  /// The text in the language of the locale.
  virtual const char* getText(int number) = 0;
  virtual const char* getText(const char* id) = 0;

  /// The untranslated text.
  virtual const char* getTextOrg(int number) = 0;
  virtual const char* getTextOrg(const char* id) = 0;
};

}  // namespace MoxelCommon
