#pragma once

/// @file
/// The templates of the common library.

#include <dirent.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "common.h"

namespace common_template {

/// Logs "invalid param" with this source's name.
void invalidParam(int line);

/// `split` for any sequence of strings. Logs nothing.
template <class Sequence>
int splitInto(const std::string& text, const std::string& delim, Sequence& out, int count) {
  const auto limit = count > 1 ? static_cast<typename Sequence::size_type>(count) : SIZE_MAX;
  out.clear();
  std::string::size_type begin = 0;
  while (out.size() + 1 < limit) {
    const auto end = delim.empty() ? std::string::npos : text.find(delim, begin);
    if (end == std::string::npos) break;
    out.push_back(text.substr(begin, end - begin));
    begin = end + delim.size();
  }
  out.push_back(text.substr(begin));
  while (count > 1 && out.size() < limit) out.push_back(std::string());
  return static_cast<int>(out.size());
}

/// How the owner of a directory stream closes it.
struct CloseDirectory {
  /// Closes `directory`.
  void operator()(DIR* directory) const { closedir(directory); }
};

/// The owner of a directory stream.
using Directory = std::unique_ptr<DIR, CloseDirectory>;

}  // namespace common_template

/// The items with `separator` between neighbours. A null separator gives the empty string.
template <class Container>
std::string join(const Container& items, const char* separator) {
  if (separator == nullptr) {
    common_template::invalidParam(88);
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

/// Splits `text` at every occurrence of the whole `delim` into `out`, replacing its content, and
/// returns the number of fields. Empty fields are kept; the empty text is one empty field.
///
/// With `count` above 1 there are exactly `count` fields: the last one takes the unsplit rest, and
/// missing ones are empty. An empty `delim` splits nowhere. A null `text` gives 0 fields and is
/// logged; `delim` must not be null.
template <class List>
int split(const char* text, const char* delim, List& out, int count) {
  if (text == nullptr) {
    out.clear();
    common_template::invalidParam(267);
    return 0;
  }
  return common_template::splitInto(text, delim, out, count);
}

/// Lists `dir` without "." and "..", in the system's order, into `out`, and returns the number of
/// names: bare ones, or "dir/name" if `fullPath` is not 0. With `dirsOnly` 1 only directories;
/// otherwise everything else, and with `withDirs` not 0 directories too. Links count as their
/// targets, sockets and block devices as directories, entries that cannot be examined as none.
///
/// -1 if `dir` is null (logged) or no directory (`out` is then untouched), or cannot be opened;
/// "/" cannot, since its trailing slash is removed, nor can names of 4096 bytes or more.
template <class List>
int getFileList(List& out, const char* dir, int fullPath, int withDirs, int dirsOnly) {
  if (dir == nullptr) {
    common_template::invalidParam(118);
    return -1;
  }
  if (!isDir(dir)) return -1;
  std::string name = dir;
  out.clear();
  while (!name.empty() && name.back() == '/') name.pop_back();
  const common_template::Directory directory(opendir(name.c_str()));
  if (directory == nullptr) return -1;

  while (const dirent* entry = readdir(directory.get())) {
    if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
    const std::string fullName = name + "/" + entry->d_name;
    const bool taken = dirsOnly == 1 ? isDir(fullName) : withDirs != 0 || !isDir(fullName);
    if (taken) out.push_back(fullPath != 0 ? fullName : entry->d_name);
  }
  return static_cast<int>(out.size());
}
