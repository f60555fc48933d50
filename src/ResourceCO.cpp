#include "ResourceCO.h"

#include <libintl.h>

#include <cstddef>
#include <iterator>

#include "MsgTable.h"

ResourceCO::ResourceCO(const MSG_TABLE* table) {
  // Rows are grouped: a row's ID mostly follows that of the row before.
  auto next = byId.end();
  for (const MSG_TABLE* row = table; row->number != kMsgTableEnd; ++row) {
    tables.push_back(row);
    byNumber.insert_or_assign(byNumber.end(), row->number, row->text);
    if (row->id == nullptr) continue;
    const char* text = row->text == nullptr ? "" : row->text;
    next = std::next(byId.insert_or_assign(next, row->id, text));
  }
  m_askedByNumber.resize(tables.size());
  m_askedById.reserve(tables.size());
}

ResourceCO::~ResourceCO() = default;

const char* ResourceCO::getText(int number) {
  const char* text = textOf(number);
  return text == nullptr ? "" : gettext(text);
}

// gettext answers the empty text with the catalogue's heading.
const char* ResourceCO::getText(const char* id) {
  const char* text = getTextOrg(id);
  return *text == '\0' ? text : gettext(text);
}

const char* ResourceCO::getTextOrg(int number) {
  const char* text = textOf(number);
  return text == nullptr ? "" : text;
}

const char* ResourceCO::getTextOrg(const char* id) {
  return id == nullptr ? "" : textOf(id).c_str();
}

const char*& ResourceCO::textOf(int number) {
  const auto at = static_cast<size_t>(number);
  if (at >= m_askedByNumber.size()) return byNumber[number];
  if (m_askedByNumber[at] == nullptr) m_askedByNumber[at] = &byNumber[number];
  return *m_askedByNumber[at];
}

std::string& ResourceCO::textOf(const char* id) {
  const auto asked = m_askedById.find(id);
  if (asked != m_askedById.end()) return *asked->second;
  const auto entry = byId.try_emplace(id).first;
  m_askedById.emplace(entry->first, &entry->second);
  return entry->second;
}
