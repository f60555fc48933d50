#include "common_template.h"

#include <vector>

#include "Scratch.h"

namespace {

constexpr const char* kNull = nullptr;

class Templates : public LogTest {};

TEST_F(Templates, Join) {
  using List = std::list<std::string>;
  EXPECT_EQ(join(List{}, "\n"), "");
  EXPECT_EQ(join(List{"a"}, "\n"), "a");
  EXPECT_EQ(join(List{"a", "b", "c"}, ", "), "a, b, c");
  EXPECT_EQ(join(List{"a", "", "c"}, "/"), "a//c");
  EXPECT_EQ(join(List{"", ""}, "/"), "/");
  EXPECT_EQ(join(List{""}, "/"), "");
  EXPECT_EQ(join(List{"a", "b"}, ""), "ab");
  EXPECT_EQ(join(std::vector<std::string>{"a", "b"}, "-"), "a-b");
  EXPECT_EQ(logged(), Lines{});
  EXPECT_EQ(join(List{"a", "b"}, nullptr), "");
  EXPECT_EQ(logged(), Lines{"[I](common_template:88):invalid param"});
}

struct SplitRow {
  const char* text;
  const char* delim;
  int count;
  std::vector<std::string> fields;
};

const SplitRow kSplitRows[] = {
    {"a,b,,c", ",", 0, {"a", "b", "", "c"}},
    {"a,b,,c", ",", 1, {"a", "b", "", "c"}},
    {"a,b,,c", ",", -3, {"a", "b", "", "c"}},
    {"a,b,,c", ",", 2, {"a", "b,,c"}},
    {"a,b,,c", ",", 3, {"a", "b", ",c"}},
    {"a,b,,c", ",", 4, {"a", "b", "", "c"}},
    {"a,b,,c", ",", 5, {"a", "b", "", "c", ""}},
    {"a,b", ",", 4, {"a", "b", "", ""}},
    {"", ",", 0, {""}},
    {"", ",", 2, {"", ""}},
    {",", ",", 0, {"", ""}},
    {",a", ",", 0, {"", "a"}},
    {"a,", ",", 0, {"a", ""}},
    {",,", ",", 2, {"", ","}},
    {"a::b:c", "::", 0, {"a", "b:c"}},
    {"a:::b", "::", 0, {"a", ":b"}},
    {"a;b", ",;", 0, {"a;b"}},
    {"abc", "abcd", 0, {"abc"}},
    {"abc", "abc", 0, {"", ""}},
    // An empty delimiter splits nowhere.
    {"abc", "", 0, {"abc"}},
    {"abc", "", 3, {"abc", "", ""}},
    {"", "", 0, {""}},
};

TEST_F(Templates, SplitIntoAList) {
  for (const SplitRow& row : kSplitRows) {
    std::list<std::string> out = {"old"};
    EXPECT_EQ(split(row.text, row.delim, out, row.count), static_cast<int>(row.fields.size()));
    EXPECT_EQ(out, std::list<std::string>(row.fields.begin(), row.fields.end()))
        << row.text << " " << row.delim << " " << row.count;
  }
  EXPECT_EQ(logged(), Lines{});
  std::list<std::string> out = {"old"};
  EXPECT_EQ(split(kNull, ",", out, 4), 0);
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(logged(), Lines{"[I](common_template:267):invalid param"});
}

TEST_F(Templates, ATextMayStandInTheListItIsSplitInto) {
  std::list<std::string> out = {"a long text that is not kept within the string,b"};
  EXPECT_EQ(split(out.front().c_str(), ",", out, 0), 2);
  EXPECT_EQ(out, (std::list<std::string>{"a long text that is not kept within the string", "b"}));
}

}  // namespace
