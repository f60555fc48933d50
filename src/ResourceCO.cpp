#include "ResourceCO.h"

#include <libintl.h>

#include "MsgTable.h"

ResourceCO::ResourceCO(const MSG_TABLE* table) {
  for (const MSG_TABLE* row = table; row->number != kMsgTableEnd; ++row) {
    tables.push_back(row);
    byNumber[row->number] = row->text;
    if (row->id != nullptr) byId[row->id] = row->text == nullptr ? "" : row->text;
  }
}

ResourceCO::~ResourceCO() = default;

const char* ResourceCO::getText(int number) {
  const char* text = byNumber[number];
  return text == nullptr ? "" : gettext(text);
}

// gettext answers the empty text with the catalogue's heading.
const char* ResourceCO::getText(const char* id) {
  const char* text = getTextOrg(id);
  return *text == '\0' ? text : gettext(text);
}

const char* ResourceCO::getTextOrg(int number) {
  const char* text = byNumber[number];
  return text == nullptr ? "" : text;
}

const char* ResourceCO::getTextOrg(const char* id) { return id == nullptr ? "" : byId[id].c_str(); }
