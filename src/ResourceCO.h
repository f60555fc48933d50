#pragma once

#include <map>
#include <string>
#include <vector>

#include "MsgTable.h"
#include "Resource.h"

/// Message texts of a compiled-in table, translated by `gettext` from the text domain selected.
///
/// A look-up enters what it does not find, with an empty text; such texts never reach `gettext`. A
/// null ID gives the empty text and enters nothing.
class ResourceCO : public MoxelCommon::Resource {
 public:
  /// Indexes `table` up to its end row (kMsgTableEnd). The table stays the caller's and must
  /// outlive this object. Of rows with the same number or ID the last one counts.
  explicit ResourceCO(const MSG_TABLE* table);
  ~ResourceCO() override;

  const char* getText(int number) override;
  const char* getText(const char* id) override;
  const char* getTextOrg(int number) override;
  const char* getTextOrg(const char* id) override;

 protected:
  std::vector<const MSG_TABLE*> tables;     ///< The rows, in their order.
  std::map<int, const char*> byNumber;      ///< Number and text.
  std::map<std::string, std::string> byId;  ///< ID and text.
};
