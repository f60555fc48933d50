#include "ResourceCO.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "MsgTable.h"
#include "Resource.h"
#include "Slots.h"

namespace {

constexpr const char* kNull = nullptr;
constexpr size_t kRows = 275;  // of the shipped table

// The index with its parts in view.
struct Index : ResourceCO {
  using ResourceCO::byId;
  using ResourceCO::byNumber;
  using ResourceCO::ResourceCO;
  using ResourceCO::tables;
};

TEST(ResourceCO, SlotsStandInTheirOrder) {
  using Resource = MoxelCommon::Resource;
  using ByNumber = const char* (Resource::*)(int);
  using ById = const char* (Resource::*)(const char*);
  EXPECT_EQ(slotOf<ByNumber>(&Resource::getText), 2u);
  EXPECT_EQ(slotOf<ById>(&Resource::getText), 3u);
  EXPECT_EQ(slotOf<ByNumber>(&Resource::getTextOrg), 4u);
  EXPECT_EQ(slotOf<ById>(&Resource::getTextOrg), 5u);
}

TEST(ResourceCO, IndexesTheShippedTable) {
  Index index(gMsgTable);
  EXPECT_EQ(index.tables.size(), kRows);
  EXPECT_EQ(index.tables.front(), gMsgTable);
  EXPECT_EQ(index.tables.back(), gMsgTable + kRows - 1);
  EXPECT_EQ(index.byNumber.size(), kRows);
  EXPECT_EQ(index.byId.size(), kRows);
  EXPECT_EQ(index.byNumber.count(kMsgTableEnd), 0u);
  for (const MSG_TABLE* row = gMsgTable; row->number != kMsgTableEnd; ++row) {
    EXPECT_EQ(index.getTextOrg(row->number), row->text);
    EXPECT_STREQ(index.getTextOrg(row->id), row->text);
    EXPECT_STREQ(index.getText(row->number), row->text) << "no catalogue is bound";
    EXPECT_STREQ(index.getText(row->id), row->text);
  }
  EXPECT_STREQ(index.getTextOrg(273), "Sent");
  EXPECT_STREQ(index.getTextOrg("MXL13001I"), "Not sent");
}

TEST(ResourceCO, LaterRowsReplaceEarlierOnes) {
  const MSG_TABLE table[] = {
      {5, "A", "one"},   {5, "B", "two"},   {6, "A", "three"},          {7, nullptr, "four"},
      {8, "C", nullptr}, {-1, "D", "five"}, {kMsgTableEnd, "E", "end"}, {9, "F", "behind"}};
  Index index(table);
  EXPECT_EQ(index.tables.size(), 6u);
  EXPECT_STREQ(index.getTextOrg(5), "two");
  EXPECT_STREQ(index.getTextOrg("A"), "three");
  EXPECT_STREQ(index.getTextOrg("B"), "two");
  EXPECT_STREQ(index.getTextOrg(7), "four");
  EXPECT_STREQ(index.getTextOrg(8), "");
  EXPECT_STREQ(index.getTextOrg("C"), "");
  EXPECT_STREQ(index.getTextOrg(-1), "five");
  EXPECT_STREQ(index.getText(-1), "five");
  EXPECT_EQ(index.byId.size(), 4u);
  EXPECT_STREQ(index.getTextOrg("E"), "");
  EXPECT_STREQ(index.getTextOrg(9), "");
}

TEST(ResourceCO, AnEmptyTableHasNoTexts) {
  const MSG_TABLE table[] = {{kMsgTableEnd, nullptr, nullptr}};
  Index index(table);
  EXPECT_TRUE(index.tables.empty());
  EXPECT_STREQ(index.getText(0), "");
}

TEST(ResourceCO, LookUpsEnterWhatIsNotThere) {
  Index index(gMsgTable);
  EXPECT_STREQ(index.getText(9999), "");
  EXPECT_STREQ(index.getTextOrg(9998), "");
  EXPECT_EQ(index.byNumber.size(), kRows + 2);
  EXPECT_EQ(index.byNumber.at(9999), nullptr);
  EXPECT_EQ(index.byNumber.at(9998), nullptr);

  EXPECT_STREQ(index.getText("MXL99999E"), "");
  EXPECT_STREQ(index.getTextOrg(""), "");
  EXPECT_EQ(index.byId.size(), kRows + 2);
  EXPECT_EQ(index.byId.at("MXL99999E"), "");

  EXPECT_STREQ(index.getText(kNull), "");
  EXPECT_STREQ(index.getTextOrg(kNull), "");
  EXPECT_EQ(index.byId.size(), kRows + 2);
}

TEST(ResourceCO, EntriesThatHaveBeenAskedForMayBeChanged) {
  Index index(gMsgTable);
  for (const char* text : {"Sent", "sent at last"}) {
    index.byNumber[273] = text;
    index.byId["MXL13000I"] = text;
    for (int times = 0; times < 2; ++times) {
      EXPECT_EQ(index.getTextOrg(273), text);
      EXPECT_EQ(index.getTextOrg("MXL13000I"), index.byId.at("MXL13000I").c_str());
      EXPECT_STREQ(index.getTextOrg(std::string("MXL13000I").c_str()), text);
      EXPECT_STREQ(index.getTextOrg(9999), "");
      EXPECT_STREQ(index.getTextOrg("MXL99999E"), "");
    }
  }
  EXPECT_EQ(index.byNumber.size(), kRows + 1);
  EXPECT_EQ(index.byId.size(), kRows + 1);
}

TEST(ResourceCO, EntriesThatADerivedClassErasesAreEnteredAgainEmpty) {
  static_assert(sizeof(ResourceCO) == sizeof(void*) + sizeof(std::vector<const MSG_TABLE*>) +
                                          sizeof(std::map<int, const char*>) +
                                          sizeof(std::map<std::string, std::string>),
                "three fields and no others");
  Index index(gMsgTable);
  for (int times = 0; times < 2; ++times) {
    index.getText("MXL13000I");
    index.getText(273);
    index.byId.erase("MXL13000I");
    index.byNumber.erase(273);
    EXPECT_STREQ(index.getTextOrg("MXL13000I"), "");
    EXPECT_STREQ(index.getText("MXL13000I"), "");
    EXPECT_STREQ(index.getTextOrg(273), "");
    EXPECT_STREQ(index.getText(273), "");
    EXPECT_EQ(index.byId.count("MXL13000I"), 1u);
    EXPECT_EQ(index.byNumber.count(273), 1u);
  }
}

TEST(ResourceCO, TextsByIdAreCopies) {
  MSG_TABLE table[] = {{1, "A", "one"}, {kMsgTableEnd, nullptr, nullptr}};
  Index index(table);
  EXPECT_NE(index.getTextOrg("A"), table[0].text);
  EXPECT_EQ(index.getTextOrg(1), table[0].text);
  table[0].text = "other";
  EXPECT_STREQ(index.getTextOrg("A"), "one");
}

}  // namespace
