#include "MsgTable.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <string>

#include "Checksum.h"

namespace {

constexpr int kRows = 275;
constexpr int kRowsOfSeries3 = 86;  // the first ones; all others are of series 1

TEST(MsgTable, RowsAreNumberedByTheirPositions) {
  for (int row = 0; row < kRows; ++row) EXPECT_EQ(gMsgTable[row].number, row);
  EXPECT_EQ(gMsgTable[kRows].number, 99999999);
  EXPECT_EQ(gMsgTable[kRows].id, nullptr);
  EXPECT_EQ(gMsgTable[kRows].text, nullptr);
}

TEST(MsgTable, IdsStandInTheirOrder) {
  std::string ids;
  for (int row = 0; row < kRows; ++row) ids += std::string(row == 0 ? "" : ",") + gMsgTable[row].id;
  EXPECT_EQ(checksum(ids), 0xf25986980f339927u) << "of the list of messages, by another program";
}

TEST(MsgTable, IdsHaveTheirFormAndOccurOnce) {
  std::set<std::string> ids;
  std::map<char, int> kinds;
  for (int row = 0; row < kRows; ++row) {
    const std::string id = gMsgTable[row].id;
    ASSERT_EQ(id.size(), 9u);
    EXPECT_EQ(id.substr(0, 3), "MXL");
    EXPECT_EQ(id.find_first_not_of("0123456789", 3), 8u);
    EXPECT_EQ(id[3], row < kRowsOfSeries3 ? '3' : '1');
    EXPECT_TRUE(ids.insert(id).second) << id;
    ++kinds[id.back()];
  }
  // Counted in the list of messages.
  EXPECT_EQ(kinds, (std::map<char, int>{{'E', 94}, {'I', 169}, {'L', 3}, {'W', 9}}));
}

struct KnownRow {
  int number;
  const char* id;
  size_t bytes;
  uint64_t checksum;
};

// Texts that other tools know by their bytes: length and checksum, in EUC-JP made by another
// converter than the build's.
// clang-format off
const KnownRow kKnownRows[] = {
    {  0, "MXL30010E",  41, 0x69b279e3ce950b5a},
    {  1, "MXL30104E",  52, 0x0c4511766b4229d7},
    {  4, "MXL30107E",  47, 0x2a7bc3745b7dbace},
    { 66, "MXL30663E",  39, 0xff0ea559e27759f6},
    { 86, "MXL10000I",  33, 0x71a90e2461eedcc7},
    { 93, "MXL10007W", 137, 0x5bf709241d9e1af3},
    { 94, "MXL10008W", 135, 0x2149ed0ea754d74a},
    { 95, "MXL10009W",  55, 0x3dc1caa14b1f0c9e},
    { 99, "MXL10100E",  38, 0x729f4a4339b3d66a},
    {100, "MXL10101E",  51, 0x7bcfb7a7df467398},
    {101, "MXL10102E",  11, 0xfdb5dbf5a01c6e1c},
    {103, "MXL10104E",  32, 0x2eb551bbfaa67ea4},
    {111, "MXL10204W",  88, 0xe2f44f7890289328},
    {122, "MXL10404I",  85, 0x9cf1a74355cad49d},
    {238, "MXL11425W", 142, 0x27dd71a2bd091f36},
    {252, "MXL11907I",  56, 0xc2a8923bc490ec03},
    {253, "MXL11908I",   2, 0x07b53d07b4815e69},
    {260, "MXL12006I",  36, 0xa9f21fa4f730c7a1},
    {266, "MXL12012E", 100, 0x0fe57b7644b7ec52},
    {267, "MXL12100L",  44, 0x34ce63f06bd23c20},
    {268, "MXL12101L",  39, 0xf398edda56bf19be},
    {269, "MXL12102L",  40, 0xfb568ba12e0c9d12},
    {270, "MXL10708E",  19, 0x1a3e9b95635dda1f},
    {272, "MXL10711I",  46, 0x476c1e08d52c6f67},
    {273, "MXL13000I",   4, 0x57ade424d57c6edf},
    {274, "MXL13001I",   8, 0x739264aa3476b5b4},
};
// clang-format on

TEST(MsgTable, KnownTextsAreThereByteForByte) {
  for (const KnownRow& row : kKnownRows) {
    EXPECT_STREQ(gMsgTable[row.number].id, row.id);
    EXPECT_EQ(strlen(gMsgTable[row.number].text), row.bytes) << row.id;
    EXPECT_EQ(checksum(gMsgTable[row.number].text), row.checksum) << row.id;
  }
}

TEST(MsgTable, TextsCanBeShownAndStored) {
  std::set<std::string> texts;
  for (int row = 0; row < kRows; ++row) {
    const std::string text = gMsgTable[row].text;
    EXPECT_FALSE(text.empty());
    EXPECT_LE(text.size(), 200u) << text;
    EXPECT_EQ(text.find_first_of("#\t\r"), std::string::npos) << text;
    EXPECT_NE(text.back(), '\n') << text;
    EXPECT_TRUE(texts.insert(text).second) << text;
    // Only conversions that every tool knows.
    for (size_t at = 0; (at = text.find('%', at)) != std::string::npos; at += 2) {
      ASSERT_LT(at + 1, text.size()) << text;
      EXPECT_NE(std::string("sd%").find(text.substr(at + 1, 1)), std::string::npos) << text;
    }
    // English is ASCII; Japanese is whole EUC-JP characters.
    for (size_t at = 0; at < text.size(); ++at) {
      if (static_cast<unsigned char>(text[at]) < 0x80) continue;
      ASSERT_LT(at + 1, text.size());
      EXPECT_GE(static_cast<unsigned char>(text[at]), 0xa1) << gMsgTable[row].id;
      EXPECT_GE(static_cast<unsigned char>(text[++at]), 0xa1) << gMsgTable[row].id;
    }
  }
}

}  // namespace
