#pragma once

#include <map>
#include <string>
#include <vector>

#include "MsgTable.h"
#include "Resource.h"

/// Message texts of a compiled-in table, translated by `gettext` from the selected text domain.
///
/// An unknown number or ID has the empty text and is entered in its map; a null ID has the empty
/// text and is not entered. `gettext` is not called for unknown ones, nor for an ID whose text is
/// empty. For a number whose text in the table is empty it is called, and returns the catalogue's
/// header.
class ResourceCO : public MoxelCommon::Resource {
 public:
  /// Indexes `table`, which must not be null, up to its end row (kMsgTableEnd). The table stays the
  /// caller's and must outlive this object. If rows have the same number or ID, the last one
  /// counts.
  explicit ResourceCO(const MSG_TABLE* table);
  ~ResourceCO() override;

  ResourceCO(const ResourceCO&) = delete;
  ResourceCO& operator=(const ResourceCO&) = delete;

  const char* getText(int number) override;
  const char* getText(const char* id) override;
  const char* getTextOrg(int number) override;
  const char* getTextOrg(const char* id) override;

 protected:
  std::vector<const MSG_TABLE*> tables;     ///< The rows, in their order.
  std::map<int, const char*> byNumber;      ///< Number and text.
  std::map<std::string, std::string> byId;  ///< ID and text.
};
