#include "ResourceBridgeImpGettext.h"

#include <libintl.h>

#include <clocale>
#include <new>
#include <string>

#include "MsgTable.h"
#include "Resource.h"
#include "ResourceCO.h"

namespace {

constexpr char kDomain[] = "moxel";
constexpr char kCatalogues[] = "/usr/share/locale";

}  // namespace

ResourceBridgeImpGettext::~ResourceBridgeImpGettext() { delete resource; }

int ResourceBridgeImpGettext::load(const char* /*lang*/, std::string /*file*/) {
  try {
    MoxelCommon::Resource* index = new ResourceCO(gMsgTable);
    delete resource;
    resource = index;
  } catch (const std::bad_alloc&) {
    return -1;
  }
  setlocale(LC_ALL, "");
  bindtextdomain(kDomain, kCatalogues);
  textdomain(kDomain);
  return 0;
}

const char* ResourceBridgeImpGettext::getText(int number) {
  return resource == nullptr ? "" : resource->getText(number);
}

const char* ResourceBridgeImpGettext::getText(const char* id) {
  return resource == nullptr ? "" : resource->getText(id);
}

const char* ResourceBridgeImpGettext::getTextOrg(const char* id) {
  return resource == nullptr ? "" : resource->getTextOrg(id);
}
