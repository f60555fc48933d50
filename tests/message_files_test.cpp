// The two message files that the build writes from the table and the catalogue.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

#include "MsgTable.h"
#include "ResourceBridgeImpFile.h"
#include "Scratch.h"

namespace {

constexpr int kRows = 275;  // of the shipped table

// What the file form makes of a line feed.
std::string asLoaded(std::string text) {
  for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) {
    text.insert(at, " ");
  }
  return text;
}

std::string conversions(const std::string& text) {
  std::string found;
  for (size_t at = 0; (at = text.find('%', at)) != std::string::npos; at += 2) {
    if (text[at + 1] != '%') found += text[at + 1];
  }
  return found;
}

// A catalogue's own texts, in EUC-JP, by the table's.
std::map<std::string, std::string> catalogue(const std::string& language) {
  Scratch scratch;
  const std::string text = scratch.file("text");
  EXPECT_EQ(system(("msgunfmt --no-wrap '" MOXEL_BUILD_DIR "/locale/" + language +
                    "/LC_MESSAGES/moxel.mo' >" + text + " 2>/dev/null")
                       .c_str()),
            0);
  std::map<std::string, std::string> texts;
  std::istringstream lines(readFile(text));
  std::string key;
  std::string value;
  std::string* target = &key;
  for (std::string line; std::getline(lines, line);) {
    if (line.empty()) {
      texts[key] = value;
      key.clear();
      value.clear();
    }
    if (line.rfind("msgid ", 0) == 0) target = &key;
    if (line.rfind("msgstr ", 0) == 0) target = &value;
    const size_t begin = line.find('"');
    if (begin == std::string::npos) continue;
    std::string piece = line.substr(begin + 1, line.rfind('"') - begin - 1);
    for (size_t at = 0; (at = piece.find("\\n", at)) != std::string::npos;)
      piece.replace(at, 2, "\n");
    *target += piece;
  }
  texts[key] = value;
  return texts;
}

TEST(MessageFiles, TheCFileHasTheTablesTexts) {
  ResourceBridgeImpFile bridge;
  ASSERT_EQ(bridge.load(nullptr, MOXEL_BUILD_DIR "/moxel_msg.C"), 0);
  int rows = 0;
  for (const MSG_TABLE* row = gMsgTable; row->number != kMsgTableEnd; ++row, ++rows) {
    EXPECT_EQ(bridge.getText(row->id), asLoaded(row->text)) << row->id;
  }
  EXPECT_EQ(rows, kRows);
}

TEST(MessageFiles, TheJapaneseFileHasTheCataloguesTexts) {
  const auto texts = catalogue("ja");
  ResourceBridgeImpFile bridge;
  ASSERT_EQ(bridge.load(nullptr, MOXEL_BUILD_DIR "/moxel_msg.ja"), 0);
  for (const MSG_TABLE* row = gMsgTable; row->number != kMsgTableEnd; ++row) {
    ASSERT_EQ(texts.count(row->text), 1u) << row->id;
    EXPECT_EQ(bridge.getText(row->id), asLoaded(texts.at(row->text))) << row->id;
  }
  // The heading is the one entry more.
  EXPECT_EQ(texts.size(), kRows + 1u);
}

TEST(MessageFiles, TranslationsHaveTheConversionsOfTheirOriginals) {
  ResourceBridgeImpFile bridge;
  ASSERT_EQ(bridge.load(nullptr, MOXEL_BUILD_DIR "/moxel_msg.ja"), 0);
  for (const MSG_TABLE* row = gMsgTable; row->number != kMsgTableEnd; ++row) {
    EXPECT_EQ(conversions(bridge.getText(row->id)), conversions(row->text)) << row->id;
  }
}

TEST(MessageFiles, TheEnglishCatalogueHasEveryRowInEnglish) {
  const auto isEnglish = [](const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<signed char>(c) > 0; });
  };
  const auto texts = catalogue("en");
  for (const MSG_TABLE* row = gMsgTable; row->number != kMsgTableEnd; ++row) {
    ASSERT_EQ(texts.count(row->text), 1u) << row->id;
    const std::string& text = texts.at(row->text);
    EXPECT_TRUE(isEnglish(text)) << row->id;
    if (isEnglish(row->text)) {
      EXPECT_EQ(text, row->text) << row->id;
    }
    EXPECT_EQ(conversions(text), conversions(row->text)) << row->id;
  }
  EXPECT_EQ(texts.size(), kRows + 1u);
}

TEST(MessageFiles, TheFilesHoldTheMessagesAndNothingElse) {
  for (const char* file : {MOXEL_BUILD_DIR "/moxel_msg.C", MOXEL_BUILD_DIR "/moxel_msg.ja"}) {
    const std::string bytes = readFile(file);
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '\n'), kRows) << file;
    EXPECT_EQ(bytes.find('#'), std::string::npos) << file;
  }
}

}  // namespace
