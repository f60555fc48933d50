#include "ExtErrCatalogue.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "Checksum.h"

namespace {

struct Row {
  const char* type;
  int rmCode;
  int ssCode;
  int kind;
  size_t bytes;
  uint64_t checksum;
};

// Length and checksum of each text in EUC-JP, made from the texts by another converter than the
// build's: a changed, lost or differently converted character shows.
// clang-format off
const Row kRows[] = {
    {"HTTP", -62,  54, 0,  77, 0xa8f8498e75974baa},
    {"HTTP", -58,  62, 0, 112, 0x8166ddfc59c8dd69},
    {"HTTP", -57,  53, 0, 100, 0xd5e15d53aca6e320},
    {"HTTP", -56,  20, 0, 146, 0x2a67e94a36e9c305},
    {"HTTP", -56,  30, 0, 156, 0xb3411f425b97335d},
    {"HTTP", -56,  59, 0, 412, 0x6cd0ccc0bf44b155},
    {"HTTP", -56,  60, 0,  76, 0x0903d7f531acff08},
    {"HTTP", -56,  99, 0,  99, 0x62e19b9be841dedb},
    {"HTTP", -55,  49, 0, 185, 0xf8c8d37c514a5d8e},
    {"HTTP", -54,  41, 0, 236, 0x393ad499af42749d},
    {"HTTP", -54,  42, 0,  77, 0xa8f8498e75974baa},
    {"HTTP", -54,  52, 0,  77, 0xa8f8498e75974baa},
    {"HTTP", -52,   1, 0, 103, 0xfc177288e0a78c88},
    {"HTTP", -52,   6, 0, 103, 0xfc177288e0a78c88},
    {"HTTP", -27,  32, 0, 138, 0x8cb71ae872532599},
    {"HTTP", -27,  34, 0,  99, 0x62e19b9be841dedb},
    {"HTTP", -21, 257, 0,  95, 0x693c825537c6d1a6},
    {"HTTP", -20,   1, 0, 100, 0x34e0e843a1c3d532},
    {"HTTP", -19,  10, 0,  99, 0x62e19b9be841dedb},
    {"HTTP", -18, 258, 0,  99, 0x8d6a2fb76997ce40},
    {"HTTP", -16,  31, 0,  91, 0x9830a3b2a00e075c},
    {"HTTP", -16,  51, 0,  95, 0xa4040982f4f4eb9e},
    {"HTTP", -14,   5, 0,  85, 0x8a93c3dcc242beb2},
    {"HTTP", -14,  50, 0,  85, 0x8a93c3dcc242beb2},
    {"HTTP", -13,  45, 0,  77, 0xa8f8498e75974baa},
    {"HTTP", -13,  46, 0,  77, 0xa8f8498e75974baa},
    {"HTTP", -12,  44, 0,  77, 0xa8f8498e75974baa},
    {"HTTP",  -7,  43, 0, 199, 0xc862481b23695ea3},
    {"HTTP",  -2,  35, 0,  77, 0xa8f8498e75974baa},
    {"HTTP",  -2,  40, 0,  77, 0xa8f8498e75974baa},
    {"HTTP",  -2,  56, 0, 125, 0x140da30bde021d84},
    {"SMTP", -91,  -5, 0,  77, 0x6c9f45184fb0f636},
    {"SMTP", -79, -26, 1, 265, 0x3e78a54c56dfa08f},
    {"SMTP", -79, -25, 1, 169, 0xe8441f1500fdef30},
    {"SMTP", -79, -18, 2, 251, 0xe0c24efeb677df0b},
    {"SMTP", -79, -17, 0, 192, 0xfc6cf487da7b3846},
    {"SMTP", -79, -16, 2, 239, 0x2dff605347042714},
    {"SMTP", -79, -15, 2, 202, 0x36148cf011461438},
    {"SMTP", -74, -10, 1, 243, 0x0f977c99c5725888},
    {"SMTP", -74,  -7, 1, 231, 0x73842f5a684c4db3},
    {"SMTP", -72,  -6, 1,  93, 0x47dfa4e2df0c12c0},
    {"SMTP", -27,  -3, 0, 281, 0xb23d0116170b4d7a},
    {"SMTP", -19,  -5, 0,  77, 0x6c9f45184fb0f636},
    {"SMTP", -14,  -2, 0,  85, 0x8a93c3dcc242beb2},
    {"SMTP",  -7,  -4, 0, 178, 0x284e1dfc77b5d1be},
    {"HTTP", -52, 259, 0, 103, 0xfc177288e0a78c88},
};
// clang-format on

TEST(ExtErrCatalogue, RowsStandInTheirOrderWithTheirTexts) {
  const EXTERR* row = gExtErrCatalogue;
  for (const Row& expected : kRows) {
    SCOPED_TRACE(testing::Message()
                 << expected.type << " " << expected.rmCode << " " << expected.ssCode);
    EXPECT_STREQ(row->type, expected.type);
    EXPECT_EQ(row->rmCode, expected.rmCode);
    EXPECT_EQ(row->ssCode, expected.ssCode);
    EXPECT_EQ(row->kind, expected.kind);
    EXPECT_EQ(strlen(row->text), expected.bytes);
    EXPECT_EQ(checksum(row->text), expected.checksum);
    ++row;
  }
  EXPECT_STREQ(row->type, "");
  EXPECT_EQ(row->rmCode, 9999);
  EXPECT_EQ(row->ssCode, 9999);
  EXPECT_EQ(row->kind, 0);
  EXPECT_STREQ(row->text, "");
}

TEST(ExtErrCatalogue, TextsAreEucJp) {
  // MINUS SIGN and the full-width forms, which converters disagree on.
  const EXTERR* smtpAuth = &gExtErrCatalogue[32];
  EXPECT_NE(strstr(smtpAuth->text, "\xa1\xdd\xa1\xa1SMTP"), nullptr);
  EXPECT_NE(strstr(smtpAuth->text,
                   "\xa1\xca"
                   "SMTP\xa1\xcb"),
            nullptr);
  // ＨＴＴＰ／
  EXPECT_EQ(strncmp(gExtErrCatalogue[7].text, "\xa3\xc8\xa3\xd4\xa3\xd4\xa3\xd0\xa1\xbf", 10), 0);
}

TEST(ExtErrCatalogue, HeadingsAreThereByteForByte) {
  EXPECT_EQ(strlen(gSmtpMessageHeading), 30u);
  EXPECT_EQ(checksum(gSmtpMessageHeading), 0x2ed023ca6b8617d6u);
  EXPECT_EQ(strlen(gPop3MessageHeading), 30u);
  EXPECT_EQ(checksum(gPop3MessageHeading), 0xbae5da95e0e619eau);
}

}  // namespace
