#include <sys/resource.h>

#include <clocale>
#include <cstring>

#include "Process.h"
#include "Scratch.h"
#include "common.h"

namespace {

constexpr const char* kNull = nullptr;

class Strings : public LogTest {};

TEST_F(Strings, TextsOfArguments) {
  std::string text = "text";
  const std::string constant = "constant";
  const char* pointer = "pointer";
  EXPECT_EQ(C(pointer), pointer);
  EXPECT_EQ(C(kNull), nullptr);
  EXPECT_EQ(C(text), text.c_str());
  EXPECT_EQ(C(constant), constant.c_str());
}

TEST_F(Strings, ShellEscapes) {
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

TEST_F(Strings, EveryEscapedByteReachesTheShellAsItself) {
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

TEST_F(Strings, Numeric) {
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

TEST_F(Strings, LineEnds) {
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

TEST_F(Strings, EnvironmentValues) {
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

TEST_F(Strings, Format) {
  EXPECT_EQ(format("plain"), "plain");
  EXPECT_EQ(format("%d %s %5.1f %%", 3, "x", 2.25), "3 x   2.2 %");
  EXPECT_EQ(format("%s", ""), "");
  for (const size_t length : {1022, 1023, 1024, 1025, 2047, 2048, 2049, 4096, 100000}) {
    const std::string text(length, 'x');
    EXPECT_EQ(format("%s", text.c_str()), text) << length;
    EXPECT_EQ(format("%s%d", text.c_str(), 12345), text + "12345") << length;
  }
}

TEST_F(Strings, AFormatThatIsRejectedNeverGrows) {
  // A wide character that the C locale cannot show.
  const std::string text = format("ab%lc", static_cast<wint_t>(0x3042));
  EXPECT_TRUE(text == "" || text == "ab") << text;
}

TEST_F(Strings, AFormatWithoutMemoryIsCut) {
#if !defined(__SANITIZE_ADDRESS__)
  const int status = inChild([] {
    const std::string text(64 << 20, 'x');
    const rlimit limit = {200 << 20, 200 << 20};
    if (setrlimit(RLIMIT_AS, &limit) != 0) return 1;
    // Doubling up to the size of the text needs more than there is.
    const std::string cut = format("%s%s%s%s", text.c_str(), text.c_str(), text.c_str(), "end");
    if (cut.size() < 1023 || cut.size() >= 3 * text.size()) return 2;
    return cut.find_first_not_of('x') == std::string::npos ? 0 : 3;
  });
  EXPECT_EQ(exitCode(status), 0);
#else
  GTEST_SKIP() << "the address sanitizer needs the address space";
#endif
}

}  // namespace
