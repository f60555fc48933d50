#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <list>
#include <map>
#include <optional>
#include <string>

#include "Memory.h"
#include "Scratch.h"
#include "common.h"

namespace {

constexpr const char* kNull = nullptr;

class CommonStrings : public LogTest {};

TEST_F(CommonStrings, ArgumentsAreTheTextsThemselves) {
  std::string text = "text";
  const std::string constant = "constant";
  const char* pointer = "pointer";
  EXPECT_EQ(C(pointer), pointer);
  EXPECT_EQ(C(kNull), nullptr);
  EXPECT_EQ(C(text), text.c_str());
  EXPECT_EQ(C(constant), constant.c_str());
}

TEST_F(CommonStrings, TrimmingTakesWhiteSpaceFromBothEnds) {
  struct {
    const char* text;
    const char* result;
  } const rows[] = {{"", ""},
                    {"a", "a"},
                    {"  a", "a"},
                    {"a  ", "a"},
                    {" \t a b \n\r ", "a b"},
                    {"   ", ""},
                    {"\v\fa\v\f", "a"},
                    {"\xa0"
                     "a\xa0",
                     "\xa0"
                     "a\xa0"},
                    {"a\n", "a"}};
  for (const auto& row : rows) {
    char buffer[32];
    memset(buffer, 'x', sizeof buffer);
    strcpy(buffer, row.text);
    trim(buffer);
    EXPECT_STREQ(buffer, row.result);
    std::string text = row.text;
    EXPECT_EQ(trim(text), text.data());
    EXPECT_EQ(text, row.result);
  }
  trim(static_cast<char*>(nullptr));
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonStrings, TrailingWhiteSpaceIsOverwritten) {
  char buffer[] = "a \t ";
  trim(buffer);
  EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("a\0\0\0\0", 5));

  // What was moved to the front keeps its end.
  char moved[] = "  a  ";
  trim(moved);
  EXPECT_EQ(std::string(moved, sizeof moved), std::string("a\0\0\0 \0", 6));
  char blank[] = "   ";
  trim(blank);
  EXPECT_EQ(std::string(blank, sizeof blank), std::string("\0  \0", 4));
}

TEST_F(CommonStrings, OnePairOfQuotesIsTaken) {
  struct {
    const char* text;
    const char* result;
  } const rows[] = {{"\"a\"", "a"},
                    {"\"\"", ""},
                    {"\"", ""},
                    {"", ""},
                    {"a", "a"},
                    {"\"a", "\"a"},
                    {"a\"", "a\""},
                    {"'a'", "'a'"},
                    {"\"\"a\"\"", "\"a\""},
                    {"\"a\\\"b\"", "a\\\"b"},
                    {" \"a\"", " \"a\""},
                    {"\"\"\"", "\""}};
  for (const auto& row : rows) EXPECT_EQ(trimQuote(row.text), row.result) << row.text;
  EXPECT_EQ(logged(), Lines{});
  EXPECT_EQ(trimQuote(kNull), "");
  EXPECT_EQ(logged(), Lines{"[I](common:343):invalid param"});
}

TEST_F(CommonStrings, OnlyAsciiLettersBecomeSmall) {
  char text[] = "AbC-019_Z[@\xc1\xa4";
  toLowerStr(text);
  EXPECT_STREQ(text, "abc-019_z[@\xc1\xa4");
  toLowerStr(nullptr);
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonStrings, AValueStandsBehindTheFirstEqualsSign) {
  struct {
    const char* line;
    const char* value;
  } const rows[] = {{"key= value ", "value"}, {"key=", ""},    {"=v", "v"},
                    {"k=a=b", "a=b"},         {"k = \t ", ""}, {"k=v\r\n", "v"}};
  for (const auto& row : rows) {
    char line[32];
    strcpy(line, row.line);
    char* value = getValue(line);
    EXPECT_STREQ(value, row.value);
    EXPECT_EQ(value, strchr(line, '=') + 1) << "stands in the line";
  }
  for (const char* none : {"", "key value"}) {
    char line[32];
    strcpy(line, none);
    const char* value = getValue(line);
    EXPECT_STREQ(value, "");
    EXPECT_TRUE(value < line || value >= line + sizeof line) << "not in the line";
    EXPECT_STREQ(line, none);
  }
}

TEST_F(CommonStrings, AKeyIsTrimmedItsValueIsNot) {
  struct {
    const char* line;
    const char* key;
    const char* value;
  } const rows[] = {{" name = value ", "name", " value "},
                    {"a=b=c", "a", "b=c"},
                    {"=", "", ""},
                    {"=v", "", "v"},
                    {" \t=\n", "", "\n"},
                    {"none", "", ""},
                    {"", "", ""}};
  for (const auto& row : rows) {
    std::string key = "before";
    std::string value = "before";
    EXPECT_EQ(splitKeyVal(row.line, key, value), 1) << row.line;
    EXPECT_EQ(key, row.key) << row.line;
    EXPECT_EQ(value, row.value) << row.line;
  }
  EXPECT_EQ(logged(), Lines{});
  std::string key = "before";
  std::string value = "before";
  EXPECT_EQ(splitKeyVal(nullptr, key, value), 0);
  EXPECT_EQ(key + value, "");
  EXPECT_EQ(logged(), Lines{"[I](common:596):invalid param"});
}

TEST_F(CommonStrings, QuotesAreDoubled) {
  EXPECT_EQ(quoteEsc("it's 'x'", '\''), "it''s ''x''");
  EXPECT_EQ(quoteEsc(std::string("a\"b"), '"'), "a\"\"b");
  EXPECT_EQ(quoteEsc("aaa", 'a'), "aaaaaa");
  EXPECT_EQ(quoteEsc("", '\''), "");
  EXPECT_EQ(quoteEsc("\xa4\xa2", '\xa4'), "\xa4\xa4\xa2");
}

TEST_F(CommonStrings, PatternsMatchAsInTheShellAndHiddenNamesToo) {
  struct {
    const char* pattern;
    const char* name;
    bool matches;
  } const rows[] = {{"*.log", "a.log", true}, {"*.log", "a.log.1", false},
                    {"*", "a/b", false},      {"*/*", "a/b", true},
                    {"?", "a", true},         {"?", "/", false},
                    {"?", "", false},         {"[a-c]x", "bx", true},
                    {"[!a]", "a", false},     {"[/]", "/", false},
                    {"\\*", "*", false},      {"\\*", "\\x", true},
                    {"", "", true},           {"*", "", true},
                    {"*", ".hidden", true},   {"A", "a", false},
                    {"a b", "a b", true}};
  for (const auto& row : rows) {
    EXPECT_EQ(matchWild(row.pattern, row.name), row.matches) << row.pattern << " " << row.name;
  }
  EXPECT_EQ(logged(), Lines{});
  EXPECT_FALSE(matchWild(nullptr, "a"));
  EXPECT_FALSE(matchWild("a", nullptr));
  EXPECT_EQ(logged(), Lines(2, "[I](common:622):invalid param"));
}

TEST_F(CommonStrings, CommonBeginningsRespectCase) {
  EXPECT_EQ(matchedString("abcd", "abxd"), "ab");
  EXPECT_EQ(matchedString("abc", "abc"), "abc");
  EXPECT_EQ(matchedString("abc", "abcdef"), "abc");
  EXPECT_EQ(matchedString("abcdef", "abc"), "abc");
  EXPECT_EQ(matchedString("Abc", "abc"), "");
  EXPECT_EQ(matchedString("", "abc"), "");
  EXPECT_EQ(logged(), Lines{});
  EXPECT_EQ(matchedString(nullptr, "a"), "");
  EXPECT_EQ(matchedString("a", nullptr), "");
  EXPECT_EQ(logged(), Lines(2, "[I](common:420):invalid param"));
}

TEST_F(CommonStrings, EqualEndingsIgnoreCase) {
  struct {
    const char* a;
    const char* b;
    int n;
    bool equal;
  } const rows[] = {{"report.TXT", ".txt", 0, true},
                    {"report.TXT", ".txt", -1, true},
                    {"report.TXT", ".txt", 4, true},
                    {"report.TXT", ".txt", 5, false},
                    {"report.TXT", "a.txt", 5, false},
                    {"report.TXT", "a.txt", 4, true},
                    {"txt", ".txt", 0, false},
                    {"txt", ".txt", 3, true},
                    {"report.doc", ".txt", 0, false},
                    {"a", "", 0, true},
                    {"", "", 0, true},
                    {"", "", 1, false},
                    {"abc", "abc", 3, true},
                    {"xbc", "abc", 3, false}};
  for (const auto& row : rows) {
    EXPECT_EQ(compareRightNoCase(row.a, row.b, row.n), row.equal)
        << row.a << " " << row.b << " " << row.n;
  }
}

TEST_F(CommonStrings, TruthIsYesTrueOnOrOne) {
  for (const char* text : {"YES", "yes", "Yes", "TRUE", "tRuE", "ON", "on", "1"}) {
    EXPECT_TRUE(conv2Bool(text)) << text;
  }
  for (const char* text : {"", "0", "no", " yes", "yes ", "y", "11", "true1", "off"}) {
    EXPECT_FALSE(conv2Bool(text)) << text;
  }
  EXPECT_EQ(logged(), Lines{});
  EXPECT_FALSE(conv2Bool(nullptr));
  EXPECT_EQ(logged(), Lines{"[I](common:1077):invalid param"});
}

TEST_F(CommonStrings, OnlyAsciiLettersAreLetters) {
  for (const char* text : {"", "a", "azAZ"}) {
    EXPECT_TRUE(isAlpha(text)) << text;
    EXPECT_TRUE(isAlpha(std::string(text))) << text;
  }
  for (const char* text : {"a1", " a", "a ", "_", "@", "[", "`", "{", "\xe1", "a\xa4"}) {
    EXPECT_FALSE(isAlpha(text)) << text;
    EXPECT_FALSE(isAlpha(std::string(text))) << text;
  }
  EXPECT_EQ(logged(), Lines{});
  EXPECT_FALSE(isAlpha(kNull));
  EXPECT_EQ(logged(), Lines{"[I](common:829):invalid param"});
}

TEST_F(CommonStrings, ReferencesBecomeTheEnvironmentsValues) {
  const Environment variables[] = {
      {"HOME", "/root"},         {"HOME_DIR", "dir"}, {"EMPTY", ""}, {"UNSET", std::nullopt},
      {"NESTED", "$HOME%HOME%"}, {"A B", "blank"},    {"1", "one"}};
  struct {
    const char* text;
    const char* result;
  } const rows[] = {
      {"$HOME/x", "/root/x"},
      {"%HOME%x", "/rootx"},
      {"$HOME_DIR", "dir"},
      {"100%", "100%"},
      {"a$", "a$"},
      {"%%", "%"},
      {"$", "$"},
      {"%", "%"},
      {"", ""},
      {"$$HOME", "$/root"},
      {"$$", "$$"},
      {"${HOME}", "${HOME}"},
      {"$HOME$HOME", "/root/root"},
      {"$HOME%HOME%", "/root/root"},
      {"%HOME%%HOME%", "/root/root"},
      {"%HOME%HOME%", "/rootHOME%"},
      {"$UNSET.", "."},
      {"%UNSET%.", "."},
      {"$EMPTY.", "."},
      {"$NESTED", "$HOME%HOME%"},
      {"%A B%", "blank"},
      {"%$HOME%", ""},
      {"$%HOME%", "$/root"},
      {"$1", "one"},
      {"%%%", "%%"},
      {"a%HOME", "a%HOME"},
      {"$HOME-x", "/root-x"},
      {"$ HOME", "$ HOME"},
      {"\xa4\xa2$HOME\xa4", "\xa4\xa2/root\xa4"},
      {"\\$HOME", "\\/root"},
  };
  for (const auto& row : rows) EXPECT_EQ(replaceEnvValue(row.text), row.result) << row.text;
  EXPECT_EQ(replaceEnvValue(nullptr), "");
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(CommonStrings, LookUpsAddNothing) {
  std::map<std::string, std::string> table = {{"a", "1"}, {"", "empty"}};
  EXPECT_STREQ(lookupString(table, "a"), "1");
  EXPECT_STREQ(lookupString(table, ""), "empty");
  EXPECT_STREQ(lookupString(table, "b"), "");
  EXPECT_EQ(table.size(), 2u);
  const char* value = lookupString(table, "a");
  table["c"] = "3";
  EXPECT_EQ(value, table["a"].c_str());
  EXPECT_EQ(logged(), Lines{});
  EXPECT_STREQ(lookupString(table, nullptr), "");
  EXPECT_EQ(logged(), Lines{"[I](common:1000):invalid param"});
}

TEST_F(CommonStrings, TheShellsCharactersAreEscaped) {
  struct {
    const char* text;
    int wild;
    const char* result;
  } const rows[] = {
      {"a b;c", 0, "a\\ b;c"},
      {"*.log", 1, "\\*.log"},
      {"*.log", 0, "*.log"},
      {"", 0, ""},
      {"\"'\t ()|<>&#^`{}$\\", 0, "\\\"\\'\\\t\\ \\(\\)\\|\\<\\>\\&\\#\\^\\`\\{\\}\\$\\\\"},
      {"\"'\t ()|<>&#^`{}$\\", 1, "\\\"\\'\\\t\\ \\(\\)\\|\\<\\>\\&\\#\\^\\`\\{\\}\\$\\\\"},
      {";!~=*?[]\n", 0, ";!~=*?[]\n"},
      {";!~=*?[]\n", 1, ";!~=\\*\\?\\[\\]\n"},
      {"*?[]", 2, "\\*\\?\\[\\]"},
      {"*?[]", -1, "\\*\\?\\[\\]"},
      {"abc/.-_%@:,+09\xa4\xa2\x01\x7f", 1, "abc/.-_%@:,+09\xa4\xa2\x01\x7f"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(shellEsc(row.text, row.wild), row.result) << row.text;
    EXPECT_EQ(shellEsc(std::string(row.text), row.wild), row.result) << row.text;
  }
}

TEST_F(CommonStrings, EveryEscapedByteReachesTheShellAsItself) {
  for (int byte = 1; byte < 256; ++byte) {
    if (strchr(";!~=\n", byte) != nullptr) continue;
    const std::string text = std::string("a") + static_cast<char>(byte) + "b";
    std::list<std::string> out;
    ASSERT_EQ(
        execGetLines(out, ("printf %s " + shellEsc(text, 1) + "; echo x").c_str(), -1, nullptr, -1),
        0);
    ASSERT_EQ(out.size(), 1u) << byte;
    EXPECT_EQ(out.front(), text + "x") << byte;
  }
}

TEST_F(CommonStrings, OnlyDigitsAreNumeric) {
  for (const char* text : {"", "0", "0123456789", "00000000000000000000000000000000"}) {
    EXPECT_TRUE(isNumeric(text)) << text;
    EXPECT_TRUE(isNumeric(std::string(text))) << text;
  }
  for (const char* text : {"-1", "+1", " 1", "1 ", "1.0", "a", "1a", "0x1", "\xb1", "/", ":"}) {
    EXPECT_FALSE(isNumeric(text)) << text;
    EXPECT_FALSE(isNumeric(std::string(text))) << text;
  }
  EXPECT_EQ(logged(), Lines{});
  EXPECT_FALSE(isNumeric(kNull));
  EXPECT_EQ(logged(), Lines{"[I](common:858):invalid param"});
}

TEST_F(CommonStrings, OneLineEndIsErased) {
  struct {
    const char* text;
    const char* result;
  } const rows[] = {{"a\r\n", "a"},   {"a\n", "a"},     {"a\r", "a"},       {"a\n\r", "a\n"},
                    {"a\n\n", "a\n"}, {"a\r\r", "a\r"}, {"a\r\r\n", "a\r"}, {"\r\n", ""},
                    {"\n", ""},       {"\r", ""},       {"", ""},           {"a", "a"},
                    {"a\nb", "a\nb"}, {"\n\r\n", "\n"}};
  for (const auto& row : rows) {
    char buffer[16];
    strcpy(buffer, row.text);
    EXPECT_EQ(eraseLastCRLF(buffer), 0);
    EXPECT_STREQ(buffer, row.result);
  }
  EXPECT_EQ(logged(), Lines{});
  EXPECT_EQ(eraseLastCRLF(nullptr), -1);
  EXPECT_EQ(logged(), Lines{"[I](common:1588):invalid param"});
}

TEST_F(CommonStrings, AnUnsetVariableIsEmpty) {
  const Environment set("MOXEL_TEST_VALUE", " value ");
  const Environment empty("MOXEL_TEST_EMPTY", "");
  const Environment unset("MOXEL_TEST_UNSET", std::nullopt);
  EXPECT_EQ(getEnvValue("MOXEL_TEST_VALUE"), " value ");
  EXPECT_EQ(getEnvValue("MOXEL_TEST_EMPTY"), "");
  EXPECT_EQ(getEnvValue("MOXEL_TEST_UNSET"), "");
  EXPECT_EQ(getEnvValue(""), "");
  EXPECT_EQ(logged(), Lines{});
  EXPECT_EQ(getEnvValue(nullptr), "");
  EXPECT_EQ(logged(), Lines{"[I](common:641):invalid param"});
}

TEST_F(CommonStrings, FormattedTextsHaveAnyLength) {
  EXPECT_EQ(format("plain"), "plain");
  EXPECT_EQ(format("%d %s %5.1f %%", 3, "x", 2.25), "3 x   2.2 %");
  EXPECT_EQ(format("%s", ""), "");
  for (const size_t length :
       {1022, 1023, 1024, 1025, 2047, 2048, 2049, 4096, 8187, 8191, 8192, 8193, 100000}) {
    const std::string text(length, 'x');
    EXPECT_EQ(format("%s", text.c_str()), text) << length;
    EXPECT_EQ(format("%s%d", text.c_str(), 12345), text + "12345") << length;
  }
}

TEST_F(CommonStrings, ARejectedFormatKeepsItsFirst1023Bytes) {
  setlocale(LC_ALL, "C");
  const std::string text(3000, 'x');
  EXPECT_EQ(format("%s%lc", text.c_str(), static_cast<wint_t>(0x3042)), text.substr(0, 1023));
}

TEST_F(CommonStrings, AFormatThatIsRejectedNeverGrows) {
  setlocale(LC_ALL, "C");
  // A wide character that this locale cannot show.
  const std::string text = format("ab%lc", static_cast<wint_t>(0x3042));
  EXPECT_TRUE(text == "" || text == "ab") << text;
}

TEST_F(CommonStrings, AFormatWithoutMemoryIsCut) {
  const std::string text(5000, 'x');
  // The buffer grows from 1024 bytes to 2048, 4096 and 8192.
  struct {
    size_t failing;
    size_t kept;
  } const rows[] = {{8000, 4095}, {4096, 2047}, {2048, 1023}};
  for (const auto& row : rows) {
    std::string cut;
    {
      const NoMemoryFrom none(row.failing);
      cut = format("%s", text.c_str());
    }
    EXPECT_EQ(cut, text.substr(0, row.kept)) << row.failing;
  }
}

}  // namespace
