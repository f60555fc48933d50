// Text and path functions; sizes are bytes of text.

#include <absl/strings/ascii.h>
#include <absl/strings/str_cat.h>
#include <absl/strings/str_format.h>
#include <absl/strings/str_join.h>
#include <absl/strings/str_replace.h>
#include <absl/strings/str_split.h>
#include <absl/strings/strip.h>
#include <fmt/format.h>
#include <fmt/printf.h>
#include <fnmatch.h>
#include <wordexp.h>

#include <boost/algorithm/string.hpp>
#include <boost/filesystem/path.hpp>
#include <boost/regex.hpp>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <list>
#include <locale>
#include <memory>
#include <string>
#include <vector>

#include "Bench.h"
#include "common.h"
#include "common_template.h"

namespace {

using bench::add;
using bench::keep;
using bench::Operation;

const std::vector<long> kSizes = {20, 200, 2000};

// `piece` over and over, `size` bytes of it.
std::string repeated(const std::string& piece, long size) {
  std::string text;
  while (text.size() < static_cast<size_t>(size)) text += piece;
  text.resize(static_cast<size_t>(size));
  return text;
}

// An entry whose operation is a function of a text.
template <class Function>
bool onText(const char* row, const char* who, const std::string& piece, Function function) {
  return add(row, who, kSizes, [=](long size) {
    return Operation{[=, text = repeated(piece, size)] { function(text); }};
  });
}

// ---- Fields --------------------------------------------------------------------------------

const std::string kFields = "moxel,log,,collection,";

template <class Container>
bool splitInto(const char* row) {
  return onText(row, "moxel", kFields,
                [](const std::string& text) {
                  Container out;
                  keep(split(text.c_str(), ",", out, 0));
                }) &&
         onText(row, "abseil", kFields,
                [](const std::string& text) {
                  const Container out = absl::StrSplit(text, ',');
                  keep(out.size());
                }) &&
         onText(row, "boost", kFields, [](const std::string& text) {
           Container out;
           boost::split(out, text, [](char c) { return c == ','; });
           keep(out.size());
         });
}

const bool splits[] = {splitInto<std::vector<std::string>>("split into vector"),
                       splitInto<std::list<std::string>>("split into list")};

template <class Function>
bool onList(const char* row, const char* who, Function function) {
  return add(row, who, kSizes, [=](long size) {
    std::list<std::string> items;
    split(repeated(kFields, size).c_str(), ",", items, 0);
    return Operation{[=] { function(items); }};
  });
}

const bool joins[] = {
    onList("join", "moxel",
           [](const std::list<std::string>& items) { keep(join(items, ",").size()); }),
    onList("join", "abseil",
           [](const std::list<std::string>& items) { keep(absl::StrJoin(items, ",").size()); }),
    onList("join", "boost",
           [](const std::list<std::string>& items) {
             keep(boost::algorithm::join(items, ",").size());
           }),
};

// ---- White space ---------------------------------------------------------------------------

// Blanks at both ends, a tenth of the text each.
template <class Function>
bool onPadded(const char* row, const char* who, Function function) {
  return add(row, who, kSizes, [=](long size) {
    std::string text = repeated("collection of information ", size);
    const auto tenth = static_cast<size_t>(size / 10);
    std::fill_n(text.begin(), tenth, ' ');
    std::fill_n(text.rbegin(), tenth, ' ');
    return Operation{[=, copy = std::string()]() mutable {
      copy = text;
      function(copy);
      keep(copy.data());
    }};
  });
}

const bool trims[] = {
    onPadded("trim", "moxel", [](std::string& text) { trim(text); }),
    onPadded("trim", "abseil", [](std::string& text) { absl::StripAsciiWhitespace(&text); }),
    onPadded("trim", "boost", [](std::string& text) { boost::trim(text); }),
};

const bool pointerTrims[] = {
    onPadded("trim in a buffer", "moxel", [](std::string& text) { trim(text.data()); }),
    onPadded("trim in a buffer", "abseil",
             [](std::string& text) {
               const absl::string_view ink = absl::StripAsciiWhitespace(text.c_str());
               const auto trailing = static_cast<size_t>(text.data() + text.size() - ink.end());
               std::memmove(text.data(), ink.data(), ink.size());
               std::memset(text.data() + ink.size(), 0, trailing);
             }),
    onPadded("trim in a buffer", "boost",
             [](std::string& text) {
               auto range = boost::make_iterator_range(text.data(), text.data() + text.size());
               const auto ink = boost::algorithm::trim_copy(range);
               const auto trailing = static_cast<size_t>(text.data() + text.size() - ink.end());
               std::memmove(text.data(), ink.begin(), static_cast<size_t>(ink.size()));
               std::memset(text.data() + ink.size(), 0, trailing);
             }),
};

// ---- Escaping ------------------------------------------------------------------------------

const std::string kShellText = "Investigation (urgent) of $HOST/data, second part; ";
constexpr char kShellSpecial[] = "\"'\t ()|<>&#^`{}$\\";

const bool shells[] = {
    onText("shellEsc", "moxel", kShellText,
           [](const std::string& text) { keep(shellEsc(text, 0).size()); }),
    onText("shellEsc", "abseil", kShellText,
           [](const std::string& text) {
             static const auto replacements = [] {
               std::vector<std::pair<std::string, std::string>> pairs;
               for (const char* c = kShellSpecial; *c != '\0'; ++c)
                 pairs.emplace_back(std::string(1, *c), std::string("\\") + *c);
               return pairs;
             }();
             keep(absl::StrReplaceAll(text, replacements).size());
           }),
    onText("shellEsc", "boost", kShellText,
           [](const std::string& text) {
             const auto escaped = [](const auto& match) {
               return "\\" + std::string(match.begin(), match.end());
             };
             keep(boost::find_format_all_copy(
                      text, boost::token_finder(boost::is_any_of(kShellSpecial)), escaped)
                      .size());
           }),
};

const std::string kQuoted = "it's the set's log, 'moxel.log' in /var/log ";

const bool quotes[] = {
    onText("quoteEsc", "moxel", kQuoted,
           [](const std::string& text) { keep(quoteEsc(text.c_str(), '\'').size()); }),
    onText("quoteEsc", "abseil", kQuoted,
           [](const std::string& text) { keep(absl::StrReplaceAll(text, {{"'", "''"}}).size()); }),
    onText("quoteEsc", "boost", kQuoted,
           [](const std::string& text) { keep(boost::replace_all_copy(text, "'", "''").size()); }),
};

// ---- References and patterns ---------------------------------------------------------------

const std::string kReferences = "$HOME/collected/$LOGNAME/data ";

const bool references[] = {
    onText("replaceEnvValue", "moxel", kReferences,
           [](const std::string& text) { keep(replaceEnvValue(text.c_str()).size()); }),
    onText("replaceEnvValue", "abseil", kReferences,
           [](const std::string& text) {
             std::string out;
             absl::string_view rest = text;
             while (!rest.empty()) {
               const auto plain = std::min(rest.find('$'), rest.size());
               absl::StrAppend(&out, rest.substr(0, plain));
               rest.remove_prefix(plain);
               if (!absl::ConsumePrefix(&rest, "$")) break;
               size_t name = 0;
               while (name < rest.size() && (absl::ascii_isalnum(rest[name]) || rest[name] == '_'))
                 ++name;
               const char* value = std::getenv(std::string(rest.substr(0, name)).c_str());
               absl::StrAppend(&out, value == nullptr ? "" : value);
               rest.remove_prefix(name);
             }
             keep(out.size());
           }),
    onText("replaceEnvValue", "boost", kReferences,
           [](const std::string& text) {
             static const boost::regex reference("\\$(\\w+)");
             const auto value = [](const boost::smatch& match) {
               return getEnvValue(match[1].str().c_str());
             };
             keep(boost::regex_replace(text, reference, value).size());
           }),
    onText("replaceEnvValue", "wordexp", kReferences,
           [](const std::string& text) {
             wordexp_t words = {};
             keep(wordexp(text.c_str(), &words, WRDE_NOCMD));
             wordfree(&words);
           }),
};

template <class Function>
bool onName(const char* who, Function function) {
  return add("matchWild", who, kSizes, [=](long size) {
    return Operation{[=, name = repeated("collected-data", size - 4) + ".log"] { function(name); }};
  });
}

const bool patterns[] = {
    onName("moxel", [](const std::string& name) { keep(matchWild("c*.log", name.c_str())); }),
    onName("boost",
           [](const std::string& name) {
             static const boost::regex pattern("c[^/]*\\.log");
             keep(boost::regex_match(name, pattern));
           }),
    onName("fnmatch",
           [](const std::string& name) {
             keep(fnmatch("c*.log", name.c_str(), FNM_PATHNAME | FNM_NOESCAPE));
           }),
};

// ---- Paths ---------------------------------------------------------------------------------

const std::string kLoosePath = "/opt/kardo//moxel/bin///data/";

const bool loosePaths[] = {
    onText("justifyPath", "moxel", kLoosePath,
           [](const std::string& text) { keep(justifyPath(text.c_str()).size()); }),
    onText("justifyPath", "filesystem", kLoosePath,
           [](const std::string& text) {
             keep(std::filesystem::path(text).lexically_normal().native().size());
           }),
    onText("justifyPath", "boost", kLoosePath,
           [](const std::string& text) {
             keep(boost::filesystem::path(text).lexically_normal().native().size());
           }),
};

const std::string kDottedPath = "/opt/kardo/./moxel/../bin//data";

const bool dottedPaths[] = {
    onText("getCanonicalPath", "moxel", kDottedPath,
           [](const std::string& text) { keep(getCanonicalPath(text).size()); }),
    onText("getCanonicalPath", "filesystem", kDottedPath,
           [](const std::string& text) {
             keep(std::filesystem::path(text).lexically_normal().native().size());
           }),
    onText("getCanonicalPath", "boost", kDottedPath,
           [](const std::string& text) {
             keep(boost::filesystem::path(text).lexically_normal().native().size());
           }),
};

// ---- Formatting ----------------------------------------------------------------------------

const std::string kArgument = "collection of information ";

const bool formats[] = {
    onText("format", "moxel", kArgument,
           [](const std::string& text) { keep(format("%s:%d:%s", "MXL", 42, C(text)).size()); }),
    onText(
        "format", "abseil", kArgument,
        [](const std::string& text) { keep(absl::StrFormat("%s:%d:%s", "MXL", 42, text).size()); }),
    onText("format", "fmt", kArgument,
           [](const std::string& text) { keep(fmt::format("{}:{}:{}", "MXL", 42, text).size()); }),
    onText("format", "fmt::sprintf", kArgument,
           [](const std::string& text) { keep(fmt::sprintf("%s:%d:%s", "MXL", 42, text).size()); }),
    // The formatting that the library is bound to, into a buffer that is large enough.
    onText("format", "floor", kArgument,
           [](const std::string& text) {
             char buffer[4096];
             const int length = snprintf(buffer, sizeof buffer, "%s:%d:%s", "MXL", 42, C(text));
             keep(std::string(buffer, static_cast<size_t>(length)).size());
           }),
};

class Grouping : public std::numpunct<char> {
  std::string do_grouping() const override { return "\3"; }
};

template <class Function>
bool onNumber(const char* who, Function function) {
  return add("commas", who, {1000, 10000, 100000},
             [=](long size) { return Operation{[=] { function(size); }}; });
}

const bool numbers[] = {
    onNumber("moxel",
             [](long value) {
               std::string out;
               keep(commas(value, out));
             }),
    onNumber("fmt",
             [](long value) {
               static const std::locale grouping(std::locale::classic(), new Grouping);
               keep(fmt::format(grouping, "{:L}", value).size());
             }),
};

}  // namespace
