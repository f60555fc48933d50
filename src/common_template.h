#pragma once

/// @file
/// The templates of the common library.

#include <dirent.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LogLine.h"
#include "common.h"

namespace common_template {

/// These templates as their log lines name them.
inline constexpr LogSource kSource("common_template");

/// Makes room in a vector for the fields of `text`, for no more than `limit` unless that is 0;
/// other sequences need none.
template <class Item>
void makeRoom(std::vector<Item>& fields, std::string_view text, std::string_view delim,
              size_t limit) {
  if (delim.empty()) return;
  const auto delims = std::count(text.begin(), text.end(), delim.front());
  const size_t most = static_cast<size_t>(delims) + 1;
  fields.reserve(limit == 0 ? most : std::min(most, limit));
}
/// Does nothing.
template <class Sequence>
void makeRoom(Sequence&, std::string_view, std::string_view, size_t) {}

/// `split` for any sequence of strings with emplace_back and size; nothing is logged.
template <class Sequence>
int splitInto(std::string_view text, std::string_view delim, Sequence& out, int count) {
  using Size = typename Sequence::size_type;
  const bool limited = count > 1;
  const Size limit = limited ? static_cast<Size>(count) : 0;
  Sequence fields;
  makeRoom(fields, text, delim, limit);
  std::string_view::size_type begin = 0;
  for (;;) {
    const bool last = limited && fields.size() == limit - 1;
    const auto end = last || delim.empty() ? std::string_view::npos : text.find(delim, begin);
    if (end == std::string_view::npos) break;
    fields.emplace_back(text.substr(begin, end - begin));
    begin = end + delim.size();
  }
  fields.emplace_back(text.substr(begin));
  while (limited && fields.size() < limit) fields.emplace_back();
  out = std::move(fields);
  return static_cast<int>(out.size());
}

/// How the owner of a directory stream closes it.
struct CloseDirectory {
  /// Closes `directory`.
  void operator()(DIR* directory) const { closedir(directory); }
};

/// The owner of a directory that is being read.
using Directory = std::unique_ptr<DIR, CloseDirectory>;

/// What `isDir` says of `fullName`, an entry of a directory, from the entry's own type where that
/// suffices.
bool isDirectory(const dirent& entry, const std::string& fullName);

}  // namespace common_template

/// The items with `separator` between neighbours. A null separator gives the empty string.
template <class Container>
std::string join(const Container& items, const char* separator) {
  if (separator == nullptr) {
    common_template::kSource.invalidParam(88);
    return std::string();
  }
  const std::string_view between(separator);
  size_t length = 0;
  for (const auto& item : items) length += std::string_view(item).size() + between.size();
  if (length == 0) return std::string();

  std::string text(length - between.size(), '\0');
  char* end = text.data();
  const auto append = [&end](std::string_view piece) { end += piece.copy(end, piece.size()); };
  bool first = true;
  for (const auto& item : items) {
    if (!first) append(between);
    first = false;
    append(item);
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

/// Lists `dir` without "." and "..", in the system's order, into `out`, and returns the number of
/// names: bare ones, or "dir/name" when `fullPath` is not 0. With `dirsOnly` 1 only directories;
/// otherwise all that are none, and with `withDirs` not 0 directories too. Links count as what they
/// lead to, sockets and block devices as directories, what cannot be examined as none. Of what the
/// directory says is a file, pipe or character device nothing more is asked: a socket mounted over
/// one counts as what it covers.
///
/// -1 when `dir` is null (logged), no directory (`out` is then untouched), or cannot be opened; "/"
/// itself cannot, since its trailing slash is removed, and neither can names of 4096 bytes or more.
template <class List>
int getFileList(List& out, const char* dir, int fullPath, int withDirs, int dirsOnly) {
  if (dir == nullptr) {
    common_template::kSource.invalidParam(118);
    return -1;
  }
  if (!isDir(dir)) return -1;
  std::string name = dir;
  out.clear();
  while (!name.empty() && name.back() == '/') name.pop_back();
  const common_template::Directory directory(opendir(name.c_str()));
  if (directory == nullptr) return -1;

  const bool all = dirsOnly != 1 && withDirs != 0;
  std::string fullName = name + "/";
  const auto nameAt = fullName.size();
  while (const dirent* entry = readdir(directory.get())) {
    if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
    fullName.resize(nameAt);
    fullName += entry->d_name;
    if (!all && common_template::isDirectory(*entry, fullName) != (dirsOnly == 1)) continue;
    if (fullPath != 0) {
      out.push_back(fullName);
    } else {
      out.push_back(entry->d_name);
    }
  }
  return static_cast<int>(out.size());
}
