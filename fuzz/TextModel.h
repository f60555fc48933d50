#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "Fuzz.h"
#include "common.h"
#include "common_template.h"

// The text and path functions, each beside a model that is as simple as can be.

namespace model {

using Strings = std::vector<std::string>;

inline bool isDigit(char c) { return c >= '0' && c <= '9'; }
inline bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

inline Strings cut(const std::string& text, const std::string& delim) {
  Strings fields(1);
  for (size_t i = 0; i < text.size();) {
    if (!delim.empty() && text.compare(i, delim.size(), delim) == 0) {
      fields.emplace_back();
      i += delim.size();
    } else {
      fields.back() += text[i++];
    }
  }
  return fields;
}

inline std::string glue(const Strings& fields, const std::string& delim) {
  std::string text;
  for (size_t i = 0; i < fields.size(); ++i) text += (i == 0 ? "" : delim) + fields[i];
  return text;
}

inline std::string trimmed(std::string text) {
  while (!text.empty() && isBlank(text.front())) text.erase(0, 1);
  while (!text.empty() && isBlank(text.back())) text.pop_back();
  return text;
}

inline std::string simple(const std::string& path) {
  std::string result;
  for (const char c : path) {
    if (c != '/' || result.empty() || result.back() != '/') result += c;
  }
  if (result.size() > 1 && result.back() == '/') result.pop_back();
  return result;
}

// The root is a component of its own, an empty one, which ".." removes too.
inline std::string canonical(const std::string& path) {
  Strings kept;
  const std::string whole = path.substr(0, 1) == "/" ? path : getCwd() + "/" + path;
  for (const std::string& part : cut(simple(whole), "/")) {
    if (part == ".") continue;
    if (part == "..") {
      if (!kept.empty()) kept.pop_back();
    } else {
      kept.push_back(part);
    }
  }
  if (simple(whole) == "/") return "";
  return glue(kept, "/");
}

inline bool matches(const char* pattern, const char* name) {
  if (*pattern == '\0') return *name == '\0';
  if (*pattern == '*') {
    if (matches(pattern + 1, name)) return true;
    return *name != '\0' && *name != '/' && matches(pattern, name + 1);
  }
  if (*name == '\0') return false;
  if (*pattern == '?' ? *name == '/' : *pattern != *name) return false;
  return matches(pattern + 1, name + 1);
}

inline std::string expanded(const std::string& text) {
  std::string result;
  for (size_t i = 0; i < text.size();) {
    size_t end = i + 1;
    if (text[i] == '$') {
      while (end < text.size() && (isDigit(text[end]) || isLetter(text[end]) || text[end] == '_'))
        ++end;
      if (end > i + 1) {
        const char* value = getenv(text.substr(i + 1, end - i - 1).c_str());
        result += value == nullptr ? "" : value;
        i = end;
        continue;
      }
    } else if (text[i] == '%') {
      end = text.find('%', i + 1);
      if (end == std::string::npos) return result + text.substr(i);
      const std::string name = text.substr(i + 1, end - i - 1);
      const char* value = name.empty() ? "%" : getenv(name.c_str());
      result += value == nullptr ? "" : value;
      i = end + 1;
      continue;
    }
    result += text[i++];
  }
  return result;
}

// The directory of one path, cut to its components.
inline Strings directoryOf(const std::string& path) {
  const std::string erased = eraseLastSlash(path.c_str());
  const size_t up = erased.rfind('/');
  const std::string parent = up == std::string::npos || up == 0 ? "/" : erased.substr(0, up);
  return cut(simple(isDir(path) ? path : parent), "/");
}

// Two paths' directory: the components that are the same at the same place.
inline std::string shared(const std::string& a, const std::string& b) {
  const Strings first = directoryOf(a);
  const Strings second = directoryOf(b);
  Strings both;
  for (size_t i = 0; i < first.size() && i < second.size(); ++i) {
    if (first[i] == second[i]) both.push_back(first[i]);
  }
  if (both == Strings{""}) return "/";
  return glue(both, "/");
}

inline void checkPath(const std::string& path) {
  REQUIRE(justifyPath(path) == simple(path));
  REQUIRE(justifyPath(path.c_str()) == simple(path));
  REQUIRE(isFullPath(path) == (path.substr(0, 1) == "/"));
  REQUIRE(hasWildCard(path) == (path.find_first_of("*[]?") != std::string::npos));
  REQUIRE(getCanonicalPath(path) == canonical(path));

  const Strings parts = cut(canonical(path), "/");
  const bool deep = parts.size() > 3 || (parts.size() > 2 && parts[1] == "tmp");
  REQUIRE(isAllowDelete(path) == (deep ? 1 : 0));

  const size_t slash = path.rfind('/');
  const std::string last = slash == std::string::npos ? path : path.substr(slash + 1);
  std::string dir = "?";
  REQUIRE(basename(path, dir) == last);
  REQUIRE(dir == (slash == std::string::npos ? "" : slash == 0 ? "/" : path.substr(0, slash)));
  REQUIRE(basename(path) == last);

  const size_t dot = last.rfind('.');
  std::string ext = "?";
  std::string name = "?";
  const std::string expectedName = last.substr(0, dot);
  const std::string expectedExt = dot == std::string::npos ? "" : last.substr(dot + 1);
  REQUIRE(retrieveName(path.c_str(), ext) == expectedName && ext == expectedExt);
  REQUIRE(retrieveName2(path.c_str()) == expectedName);
  REQUIRE(retrieveExt(path.c_str(), name) == expectedExt && name == expectedName);
  REQUIRE(retrieveExt2(path.c_str()) == expectedExt);

  std::string erased = path;
  if (!erased.empty() && erased.back() == '/') erased.pop_back();
  REQUIRE(eraseLastSlash(path.c_str()) == erased);
  std::vector<char> buffer(path.c_str(), path.c_str() + path.size() + 1);
  REQUIRE(eraseLastSlash(buffer.data()) == 0 && erased == buffer.data());

  const size_t up = erased.rfind('/');
  REQUIRE(parentPath(path) == (up == std::string::npos || up == 0 ? "/" : erased.substr(0, up)));
}

inline void checkTwoPaths(const std::string& a, const std::string& b) {
  std::list<std::string> both{a, b};
  REQUIRE(acquireSamePrefix(both) == shared(a, b));
}

// `*` and `?` only; a "/" is matched by a "/".
inline void checkPattern(const std::string& pattern, const std::string& name) {
  // Patterns with brackets have no simple model; with many asterisks matching takes for ever.
  if (pattern.size() < 24 && std::count(pattern.begin(), pattern.end(), '*') < 4 &&
      name.size() < 200 && pattern.find('[') == std::string::npos &&
      (pattern + name).find_first_of("\x80\xff") == std::string::npos) {
    REQUIRE(matchWild(pattern.c_str(), name.c_str()) == matches(pattern.c_str(), name.c_str()));
  }
}

// One text.
inline void checkString(const std::string& a) {
  std::vector<char> buffer(a.c_str(), a.c_str() + a.size() + 1);
  trim(buffer.data());
  REQUIRE(trimmed(a) == buffer.data());
  std::string copy = a;
  REQUIRE(trimmed(a) == trim(copy) && copy == trimmed(a));

  buffer.assign(a.c_str(), a.c_str() + a.size() + 1);
  toLowerStr(buffer.data());
  REQUIRE(lower(a) == buffer.data());

  std::string bare = a;
  if (a == "\"") {
    bare.clear();
  } else if (a.size() > 1 && a.front() == '"' && a.back() == '"') {
    bare = a.substr(1, a.size() - 2);
  }
  REQUIRE(trimQuote(a.c_str()) == bare);

  const size_t equals = a.find('=');
  std::string key = "?";
  std::string value = "?";
  REQUIRE(splitKeyVal(a.c_str(), key, value) == 1);
  REQUIRE(key == (equals == std::string::npos ? "" : trimmed(a.substr(0, equals))));
  REQUIRE(value == (equals == std::string::npos ? "" : a.substr(equals + 1)));
  buffer.assign(a.c_str(), a.c_str() + a.size() + 1);
  REQUIRE(getValue(buffer.data()) ==
          (equals == std::string::npos ? "" : trimmed(a.substr(equals + 1))));

  if (a.size() == 14) {
    char display[20];
    REQUIRE(convDate(a.c_str(), display) == 0);
    REQUIRE(display == a.substr(0, 4) + "/" + a.substr(4, 2) + "/" + a.substr(6, 2) + " " +
                           a.substr(8, 2) + ":" + a.substr(10, 2) + ":" + a.substr(12));
  }

  const std::string word = lower(a);
  REQUIRE(conv2Bool(a.c_str()) == (word == "yes" || word == "true" || word == "on" || a == "1"));
  REQUIRE(isNumeric(a) == std::all_of(a.begin(), a.end(), isDigit));
  REQUIRE(isAlpha(a) == std::all_of(a.begin(), a.end(), isLetter));

  std::string ended = a;
  if (!ended.empty() && ended.back() == '\n') ended.pop_back();
  if (!ended.empty() && ended.back() == '\r') ended.pop_back();
  buffer.assign(a.c_str(), a.c_str() + a.size() + 1);
  REQUIRE(eraseLastCRLF(buffer.data()) == 0 && ended == buffer.data());

  REQUIRE(replaceEnvValue(a.c_str()) == expanded(a));
}

// One text beside, or split at, another.
inline void checkStrings(const std::string& a, const std::string& b, int count) {
  Strings fields = cut(a, b);
  if (count > 1) {
    const auto most = static_cast<size_t>(count);
    if (fields.size() > most) {
      const Strings rest(fields.begin() + count - 1, fields.end());
      fields.resize(most - 1);
      fields.push_back(glue(rest, b));
    }
    fields.resize(most);
  }
  Strings vector{"old"};
  std::list<std::string> list{"old"};
  REQUIRE(split(a.c_str(), b.c_str(), vector, count) == static_cast<int>(fields.size()));
  REQUIRE(vector == fields);
  REQUIRE(split(a.c_str(), b.c_str(), list, count) == static_cast<int>(fields.size()));
  REQUIRE(Strings(list.begin(), list.end()) == fields);
  REQUIRE(join(list, b.c_str()) == glue(fields, b));

  std::map<std::string, std::string> table{{b, "found"}};
  REQUIRE(lookupString(table, a.c_str()) == std::string(a == b ? "found" : ""));
  REQUIRE(table.size() == 1);

  const char quote = b.empty() ? '"' : b.front();
  std::string doubled;
  for (const char c : a) doubled += std::string(c == quote ? 2 : 1, c);
  REQUIRE(quoteEsc(a, quote) == doubled);

  size_t same = 0;
  while (same < a.size() && same < b.size() && a[same] == b[same]) ++same;
  REQUIRE(matchedString(a.c_str(), b.c_str()) == a.substr(0, same));

  const size_t tail = count > 0 ? static_cast<size_t>(count) : b.size();
  REQUIRE(compareRightNoCase(a, b, count) ==
          (a.size() >= tail && b.size() >= tail &&
           lower(a.substr(a.size() - tail)) == lower(b.substr(b.size() - tail))));
}

inline void checkNumber(long long value) {
  std::string digits = std::to_string(value);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) {
    digits.insert(static_cast<size_t>(at), ",");
  }
  std::string out = "?";
  REQUIRE(commas(value, out) == digits && out == digits);
}

}  // namespace model
