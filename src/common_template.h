#pragma once

/// @file
/// The templates of the common library.

#include <string>
#include <utility>

#include "LogLine.h"
#include "common.h"

namespace common_template {

inline constexpr LogSource kSource("common_template");

/// `split` for any sequence of strings with push_back and size; nothing is logged.
template <class Sequence>
int splitInto(const std::string& text, const std::string& delim, Sequence& out, int count) {
  using Size = typename Sequence::size_type;
  const bool limited = count > 1;
  const Size limit = limited ? static_cast<Size>(count) : 0;
  Sequence fields;
  std::string::size_type begin = 0;
  for (;;) {
    const bool last = limited && fields.size() == limit - 1;
    const auto end = last || delim.empty() ? std::string::npos : text.find(delim, begin);
    if (end == std::string::npos) break;
    fields.push_back(text.substr(begin, end - begin));
    begin = end + delim.size();
  }
  fields.push_back(text.substr(begin));
  while (limited && fields.size() < limit) fields.push_back(std::string());
  out = std::move(fields);
  return static_cast<int>(out.size());
}

}  // namespace common_template

/// The items with `separator` between neighbours. A null separator gives the empty string.
template <class Container>
std::string join(const Container& items, const char* separator) {
  if (separator == nullptr) {
    common_template::kSource.invalidParam(88);
    return std::string();
  }
  std::string text;
  bool first = true;
  for (const auto& item : items) {
    if (!first) text += separator;
    first = false;
    text += item;
  }
  return text;
}

/// Splits `text` at every `delim`, a whole text of its own, into `out`, whose old content goes, and
/// returns the number of fields. Empty fields are kept; the empty text is one empty field.
///
/// With `count` above 1 there are exactly `count` fields: the last one takes the unsplit rest,
/// empty ones fill up. An empty `delim` splits nowhere. A null `text` gives 0 fields; `delim` must
/// not be null.
template <class List>
int split(const char* text, const char* delim, List& out, int count) {
  if (text == nullptr) {
    out.clear();
    common_template::kSource.invalidParam(267);
    return 0;
  }
  return common_template::splitInto(text, delim, out, count);
}
