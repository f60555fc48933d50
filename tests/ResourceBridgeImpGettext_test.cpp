#include "ResourceBridgeImpGettext.h"

#include <gtest/gtest.h>
#include <libintl.h>
#include <sys/mount.h>

#include <algorithm>
#include <clocale>
#include <cstddef>
#include <cstdlib>
#include <string>

#include "Memory.h"
#include "MsgTable.h"
#include "Process.h"
#include "Resource.h"
#include "ResourceCO.h"
#include "Scratch.h"

namespace {

constexpr const char* kNull = nullptr;

class ResourceBridgeImpGettextCatalogue : public testing::Test {
 protected:
  // The texts of all rows in a locale, by number, one behind the other; with the catalogue that the
  // build has made, or without any.
  std::string texts(const std::string& locale, bool installed) {
    const std::string result = scratch.file("texts");
    SCOPED_TRACE(locale);
    expectInChild([&] {
      // The catalogues' directory and the locales are this test's own.
      const char* const directory = "/usr/share/locale";
      ASSERT_TRUE(enterPrivateNamespace() && mountEmpty(directory));
      if (installed) {
        ASSERT_EQ(mount(MOXEL_BUILD_DIR "/locale", directory, "none", MS_BIND, nullptr), 0);
      }
      ASSERT_TRUE(locale == "C" || makeLocale(locale));
      setenv("LOCPATH", scratch.path().c_str(), 1);
      setenv("LC_ALL", locale.c_str(), 1);
      unsetenv("LANGUAGE");
      // Where another part of the tool bound the domain to does not matter.
      bindtextdomain("moxel", "/elsewhere");
      ResourceBridgeImpGettext bridge;
      EXPECT_EQ(bridge.load("ignored", "/ignored"), 0);
      EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), locale.c_str());
      EXPECT_STREQ(setlocale(LC_CTYPE, nullptr), locale.c_str());
      EXPECT_STREQ(textdomain(nullptr), "moxel");
      EXPECT_STREQ(bindtextdomain("moxel", nullptr), directory);
      std::string all;
      for (const MSG_TABLE* row = gMsgTable; row->number != kMsgTableEnd; ++row) {
        const std::string text = bridge.getText(row->number);
        EXPECT_EQ(bridge.getText(row->id), text);
        EXPECT_STREQ(bridge.getTextOrg(row->id), row->text);
        all += text + "\n--\n";
      }
      // A text that is not there is empty, not the catalogue's heading.
      EXPECT_STREQ(bridge.getText(9999), "");
      for (const char* id : {"MXL99999E", kNull, ""}) EXPECT_STREQ(bridge.getText(id), "");
      // An empty text of a row is passed on by its number, not by its ID.
      const MSG_TABLE empty[] = {{1, "MXL99999E", ""}, {kMsgTableEnd, nullptr, nullptr}};
      ResourceCO index(empty);
      EXPECT_STREQ(index.getText(1), gettext(""));
      EXPECT_EQ(*index.getText(1) == '\0', !installed || locale == "C");
      EXPECT_STREQ(index.getText("MXL99999E"), "");
      writeFile(result, all);
    });
    return readFile(result);
  }

  bool makeLocale(const std::string& locale) {
    const std::string charset = locale == "ja_JP.eucJP" ? "EUC-JP" : "UTF-8";
    return system(("localedef -i ja_JP -f " + charset + " " + scratch.file(locale)).c_str()) == 0;
  }

  std::string untranslated() {
    std::string all;
    for (const MSG_TABLE* row = gMsgTable; row->number != kMsgTableEnd; ++row) {
      all += row->text + std::string("\n--\n");
    }
    return all;
  }

  std::string inUtf8(const std::string& eucjp) {
    writeFile(scratch.file("eucjp"), eucjp);
    EXPECT_EQ(
        system(("iconv -f EUC-JP -t UTF-8 " + scratch.file("eucjp") + " >" + scratch.file("utf8"))
                   .c_str()),
        0);
    return readFile(scratch.file("utf8"));
  }

  Scratch scratch;
};

TEST_F(ResourceBridgeImpGettextCatalogue, WithoutACatalogueTheTextsAreTheTables) {
  EXPECT_EQ(texts("C", false), untranslated());
  EXPECT_EQ(texts("C", true), untranslated()) << "the C locale has no translations";
  EXPECT_EQ(texts("ja_JP.eucJP", false), untranslated());
}

TEST_F(ResourceBridgeImpGettextCatalogue, JapaneseTextsHaveTheCodeSetOfTheLocale) {
  const std::string eucjp = texts("ja_JP.eucJP", true);
  const std::string utf8 = texts("ja_JP.UTF-8", true);
  EXPECT_EQ(utf8, inUtf8(eucjp));
  // "Sent" and "Not sent", the last two rows.
  EXPECT_EQ(utf8.substr(utf8.find("送信済み\n--\n未送信\n--\n")), "送信済み\n--\n未送信\n--\n");
  EXPECT_NE(utf8.find("アーカイブする調査グループが多すぎます。\n--\n"), std::string::npos);
  // A row whose text is Japanese in the table.
  EXPECT_NE(utf8.find("MOXEL V1.xの調査資料をMOXEL V2.0にコンバートしています。\n--\n"),
            std::string::npos);
  EXPECT_NE(eucjp.find(gMsgTable[252].text), std::string::npos);
}

TEST_F(ResourceBridgeImpGettextCatalogue, EveryRowIsTranslated) {
  const std::string eucjp = texts("ja_JP.eucJP", true);
  size_t begin = 0;
  for (const MSG_TABLE* row = gMsgTable; row->number != kMsgTableEnd; ++row) {
    const size_t end = eucjp.find("\n--\n", begin);
    ASSERT_NE(end, std::string::npos);
    const std::string text = eucjp.substr(begin, end - begin);
    begin = end + 4;
    const std::string original = row->text;
    const bool isJapanese = std::any_of(original.begin(), original.end(), [](char c) {
      return static_cast<unsigned char>(c) > 0x7f;
    });
    if (isJapanese || original == "%s") {
      EXPECT_EQ(text, original) << row->id;
    } else {
      EXPECT_NE(text, original) << row->id;
    }
  }
}

TEST(ResourceBridgeImpGettext, BeforeLoadingThereAreNoTexts) {
  ResourceBridgeImpGettext bridge;
  EXPECT_STREQ(bridge.getText(273), "");
  EXPECT_STREQ(bridge.getText("MXL13000I"), "");
  EXPECT_STREQ(bridge.getTextOrg("MXL13000I"), "");
}

TEST(ResourceBridgeImpGettext, LoadingTwiceIsLoadingOnce) {
  const Environment language("LC_ALL", "C");
  ResourceBridgeImpGettext bridge;
  EXPECT_EQ(bridge.load(nullptr, ""), 0);
  EXPECT_EQ(bridge.load(nullptr, ""), 0);
  EXPECT_STREQ(bridge.getTextOrg("MXL13000I"), "Sent");
}

TEST(ResourceBridgeImpGettext, WithoutMemoryLoadingFailsAndDoesNotThrow) {
  const Environment language("LC_ALL", "C");
  ResourceBridgeImpGettext bridge;
  int result = 0;
  {
    const NoMemoryFrom none(1);
    result = bridge.load(nullptr, "");
  }
  EXPECT_EQ(result, -1);
  EXPECT_STREQ(bridge.getText("MXL13000I"), "");
  EXPECT_EQ(bridge.load(nullptr, ""), 0) << "the next call works again";
  EXPECT_STREQ(bridge.getText("MXL13000I"), "Sent");
}

TEST(ResourceBridgeImpGettext, OwnsItsTable) {
  struct Owned : MoxelCommon::Resource {
    explicit Owned(bool& destroyed) : m_destroyed(destroyed) {}
    ~Owned() override { m_destroyed = true; }
    const char* getText(int) override { return "by number"; }
    const char* getText(const char*) override { return "by ID"; }
    const char* getTextOrg(int) override { return ""; }
    const char* getTextOrg(const char*) override { return "original"; }
    bool& m_destroyed;
  };
  struct Bridge : ResourceBridgeImpGettext {
    using ResourceBridgeImpGettext::resource;
  };
  bool destroyed = false;
  {
    Bridge bridge;
    EXPECT_EQ(bridge.resource, nullptr);
    bridge.resource = new Owned(destroyed);
    EXPECT_STREQ(bridge.getText(1), "by number");
    EXPECT_STREQ(bridge.getText("x"), "by ID");
    EXPECT_STREQ(bridge.getTextOrg("x"), "original");
    EXPECT_FALSE(destroyed);
  }
  EXPECT_TRUE(destroyed);
}

}  // namespace
