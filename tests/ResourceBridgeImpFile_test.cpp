#include "ResourceBridgeImpFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "Process.h"
#include "ResourceBridge.h"
#include "Scratch.h"
#include "Slots.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kNull = nullptr;
const std::string kDirectory = "/opt/kardo/moxel/lib/locale";

// The bridge with its texts in view.
struct Bridge : ResourceBridgeImpFile {
  using ResourceBridgeImpFile::messages;
};

class ResourceBridgeImpFileTexts : public testing::Test {
 protected:
  // Loads a file of this content; what went to standard error is kept.
  int load(const std::string& content) {
    writeFile(scratch.file("messages"), content);
    return loadFile(scratch.file("messages"));
  }
  int loadFile(const std::string& file, const char* lang = nullptr) {
    testing::internal::CaptureStderr();
    const int result = bridge.load(lang, file);
    errors = testing::internal::GetCapturedStderr();
    return result;
  }

  Scratch scratch;
  Bridge bridge;
  std::string errors;
};

TEST(ResourceBridgeImpFile, SlotsStandInTheirOrder) {
  EXPECT_EQ(slotOf(&ResourceBridge::load), 2u);
  EXPECT_EQ(slotOf<const char* (ResourceBridge::*)(int)>(&ResourceBridge::getText), 3u);
  EXPECT_EQ(slotOf<const char* (ResourceBridge::*)(const char*)>(&ResourceBridge::getText), 4u);
  EXPECT_EQ(slotOf(&ResourceBridge::getTextOrg), 5u);
}

TEST_F(ResourceBridgeImpFileTexts, LinesHaveIdAndText) {
  EXPECT_EQ(load("MXL10000I\tHello\nMXL10001E\tfailed(%s) %d\nMXL10002I\tlast"), 0);
  EXPECT_EQ(errors, "");
  EXPECT_STREQ(bridge.getText("MXL10000I"), "Hello");
  EXPECT_STREQ(bridge.getText("MXL10001E"), "failed(%s) %d");
  EXPECT_STREQ(bridge.getText("MXL10002I"), "last");
  EXPECT_EQ(bridge.messages.size(), 3u);
}

TEST_F(ResourceBridgeImpFileTexts, TextsAreTakenAsTheyStand) {
  EXPECT_EQ(load("  MXL10000I\t a  b \t c  \r\n"
                 "MXL10001I\t\xa4\xa2\xa4\xa4\n"
                 "abcdefghi\tany nine characters\n"
                 "MXL10000I \n"),
            -1)
      << "the last line has no tab";
  EXPECT_STREQ(bridge.getText("MXL10000I"), " a  b \t c");
  EXPECT_STREQ(bridge.getText("MXL10001I"), "\xa4\xa2\xa4\xa4");
  EXPECT_STREQ(bridge.getText("abcdefghi"), "any nine characters");
}

TEST_F(ResourceBridgeImpFileTexts, BackslashAndNAreABlankAndALineFeed) {
  EXPECT_EQ(load("MXL10000I\tHello\\nWorld\nMXL10001I\t\\n\\\\n\\x\\N\\n\n"), 0);
  EXPECT_STREQ(bridge.getText("MXL10000I"), "Hello \nWorld");
  EXPECT_STREQ(bridge.getText("MXL10001I"), " \n\\ \n\\x\\N \n");
}

TEST_F(ResourceBridgeImpFileTexts, CommentsAndEmptyLinesAreSkipped) {
  EXPECT_EQ(load("# comment\n\n   \t \nMXL10000I\ttext # note\n  # MXL10001I\tno\n"), 0);
  EXPECT_STREQ(bridge.getText("MXL10000I"), "text");
  EXPECT_EQ(bridge.messages.size(), 1u);
}

TEST_F(ResourceBridgeImpFileTexts, ALaterLineReplacesAnEarlierOne) {
  EXPECT_EQ(load("MXL10000I\tone\nMXL10000I\ttwo\n"), 0);
  EXPECT_STREQ(bridge.getText("MXL10000I"), "two");
}

TEST_F(ResourceBridgeImpFileTexts, AnEmptyFileHasNoTexts) {
  EXPECT_EQ(load(""), 0);
  EXPECT_TRUE(bridge.messages.empty());
}

TEST_F(ResourceBridgeImpFileTexts, LinesOfAnotherFormEndTheReading) {
  const std::string good = "MXL10000I\tgood\n";
  for (const char* bad :
       {"MXL10000I text", "MXL1000I\ttext", "MXL10000II\ttext", "MXL10000I \ttext", "\ttext",
        "MXL10000I", "MXL10000I\t", "MXL10000I#\ttext", "x"}) {
    bridge.messages.clear();
    EXPECT_EQ(load(std::string("# comment\n\n") + bad + "\n"), -1) << bad;
    EXPECT_EQ(errors, "message file format error(Line = 1)\n") << bad;
    EXPECT_EQ(load(good + "\n# comment\n" + bad + "\nMXL10009I\tbehind\n"), -1) << bad;
    EXPECT_EQ(errors, "message file format error(Line = 2)\n") << bad;
    EXPECT_EQ(bridge.messages.size(), 1u) << "what stood before stays";
    EXPECT_STREQ(bridge.getText("MXL10000I"), "good");
  }
}

TEST_F(ResourceBridgeImpFileTexts, TextsHave256CharactersAtMost) {
  const std::string longest(256, 'x');
  EXPECT_EQ(load("MXL10000I\t" + longest + "\n"), 0);
  EXPECT_EQ(bridge.getText("MXL10000I"), longest);
  EXPECT_EQ(load("MXL10000I\t" + longest + "y\n"), -1);
  EXPECT_EQ(errors, "message file format error(Line = 1)\n");
  // The length is that in the file.
  EXPECT_EQ(load("MXL10000I\t" + std::string(254, 'x') + "\\n\n"), 0);
  EXPECT_EQ(load("MXL10000I\t" + std::string(255, 'x') + "\\n\n"), -1);
}

TEST_F(ResourceBridgeImpFileTexts, LongLinesAreReadInPiecesOf511Bytes) {
  // Blanks up to the end of the first piece; the second piece is a line of its own.
  const std::string first = "MXL10000I\ttext";
  EXPECT_EQ(load(first + std::string(511 - first.size(), ' ') + "MXL10001I\tpiece\n"), 0);
  EXPECT_STREQ(bridge.getText("MXL10000I"), "text");
  EXPECT_STREQ(bridge.getText("MXL10001I"), "piece");
  EXPECT_EQ(load(first + std::string(510 - first.size(), ' ') + "MXL10001I\tpiece\n"), -1);
  EXPECT_EQ(errors, "message file format error(Line = 1)\n");
  EXPECT_EQ(load(first + std::string(512 - first.size(), ' ') + "MXL10001I\tpiece\n"), 0);
}

TEST_F(ResourceBridgeImpFileTexts, AFileThatCannotBeOpenedIsReported) {
  EXPECT_EQ(loadFile(scratch.file("missing")), -1);
  EXPECT_EQ(errors, "message file open error " + scratch.file("missing") + "\n");
}

TEST_F(ResourceBridgeImpFileTexts, LoadingLeavesNoDescriptor) {
  const auto before = openDescriptors();
  load("MXL10000I\ttext\n");
  load("wrong\n");
  loadFile(scratch.file("missing"));
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ResourceBridgeImpFileTexts, LookUpsEnterWhatIsNotThere) {
  load("MXL10000I\ttext\n");
  EXPECT_STREQ(bridge.getText("MXL99999E"), "");
  EXPECT_EQ(bridge.messages.size(), 2u);
  EXPECT_EQ(bridge.messages.at("MXL99999E"), "");
  EXPECT_STREQ(bridge.getText(kNull), "");
  EXPECT_EQ(bridge.messages.size(), 2u);
}

TEST_F(ResourceBridgeImpFileTexts, NumbersAndOriginalsAreEmpty) {
  load("MXL10000I\ttext\n");
  EXPECT_STREQ(bridge.getText(0), "");
  EXPECT_STREQ(bridge.getTextOrg("MXL10000I"), "");
  EXPECT_STREQ(bridge.getTextOrg(kNull), "");
  EXPECT_EQ(bridge.messages.size(), 1u);
}

TEST_F(ResourceBridgeImpFileTexts, TheLanguageChoosesTheFile) {
  struct {
    const char* lang;
    const char* environment;
    const char* expected;
  } const rows[] = {
      {nullptr, "ja_JP.eucJP", "ja"},
      {nullptr, "ja", "ja"},
      {nullptr, "japanese", "ja"},
      {nullptr, "jabberwocky", "ja"},
      {nullptr, "C", "C"},
      {nullptr, "Japanese", "C"},
      {nullptr, "j", "C"},
      {nullptr, "", "C"},
      {nullptr, nullptr, "C"},
      {nullptr, "en_US.UTF-8", "C"},
      {"ja_JP", "C", "ja"},
      {"C", "ja_JP", "C"},
      {"", "ja_JP", "C"},
      {" ja", "ja", "C"},
  };
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/opt"));
    fs::create_directories(kDirectory);
    writeFile(kDirectory + "/moxel_msg.C", "MXL10000I\tC\n");
    writeFile(kDirectory + "/moxel_msg.ja", "MXL10000I\tja\n");
    for (const auto& row : rows) {
      const Environment lang("LANG", row.environment == nullptr
                                         ? std::optional<std::string>()
                                         : std::optional<std::string>(row.environment));
      ResourceBridgeImpFile loaded;
      SCOPED_TRACE(testing::Message() << row.lang << ", LANG=" << row.environment);
      EXPECT_EQ(loaded.load(row.lang, ""), 0);
      EXPECT_STREQ(loaded.getText("MXL10000I"), row.expected);
    }
    // A file that is named is read whatever the language is.
    writeFile("/opt/other", "MXL10000I\tother\n");
    ResourceBridgeImpFile loaded;
    EXPECT_EQ(loaded.load("ja", "/opt/other"), 0);
    EXPECT_STREQ(loaded.getText("MXL10000I"), "other");
  });
}

TEST_F(ResourceBridgeImpFileTexts, TheDefaultFilesAreNamedWhenTheyAreMissing) {
  expectInChild([&] {
    ASSERT_TRUE(enterPrivateNamespace() && mountEmpty("/opt"));
    EXPECT_EQ(loadFile("", "C"), -1);
    EXPECT_EQ(errors, "message file open error /opt/kardo/moxel/lib/locale/moxel_msg.C\n");
    EXPECT_EQ(loadFile("", "ja"), -1);
    EXPECT_EQ(errors, "message file open error /opt/kardo/moxel/lib/locale/moxel_msg.ja\n");
  });
}

}  // namespace
