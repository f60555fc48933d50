#pragma once

#include <string>

#include "Resource.h"
#include "ResourceBridge.h"

/// Message texts of the compiled-in table, translated by the catalogue
/// "/usr/share/locale/LANGUAGE/LC_MESSAGES/moxel.mo" if there is one. Before `load` every text is
/// empty.
class ResourceBridgeImpGettext : public ResourceBridge {
 public:
  ResourceBridgeImpGettext() = default;
  ~ResourceBridgeImpGettext() override;

  ResourceBridgeImpGettext(const ResourceBridgeImpGettext&) = delete;
  ResourceBridgeImpGettext& operator=(const ResourceBridgeImpGettext&) = delete;

  /// Indexes the table, sets all locale categories of the process from the environment, and selects
  /// the text domain "moxel". Both arguments are ignored. 0; -1 if there is no memory for the
  /// index. A missing catalogue is no failure.
  int load(const char* lang, std::string file) override;

  const char* getText(int number) override;
  const char* getText(const char* id) override;
  const char* getTextOrg(const char* id) override;

 protected:
  MoxelCommon::Resource* resource = nullptr;  ///< The table's index, owned; null before `load`.
};
