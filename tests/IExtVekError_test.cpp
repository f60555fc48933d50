#include "IExtVekError.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <ios>
#include <iostream>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>

#include "ExtErrCatalogue.h"
#include "Slots.h"

namespace {

struct Record : IExtVekError {
  using IExtVekError::m_lastSmtpMsg;
  int Communicate(unsigned long, int, int, void*) override { return 0; }
};

Record recordOf(int rmCode, int type, int ssCode, const std::string& message = "") {
  Record record;
  record.setData({std::to_string(rmCode), std::to_string(type), std::to_string(ssCode), message});
  return record;
}

std::string textOf(int rmCode, int ssCode) {
  for (const EXTERR* row = gExtErrCatalogue; row->rmCode != kExtErrEnd; ++row) {
    if (row->rmCode == rmCode && row->ssCode == ssCode) return row->text;
  }
  ADD_FAILURE() << "no row " << rmCode << "," << ssCode;
  return "";
}

std::string message(Record& record) {
  return std::string(record.m_lastSmtpMsg,
                     strnlen(record.m_lastSmtpMsg, sizeof record.m_lastSmtpMsg));
}

void expectRecord(Record& record, int rmCode, int type, int ssCode, const std::string& text) {
  EXPECT_EQ(record.getLastRMErrCode(), rmCode);
  EXPECT_EQ(record.getLastSSErrType(), type);
  EXPECT_EQ(record.getLastSSErrCode(), ssCode);
  EXPECT_EQ(message(record), text);
}

// A derived class whose texts are null where it is told so.
struct NullTexts : Record {
  bool nullType = false;
  bool nullMessage = false;
  const char* getLastSSErrTypeStr() override {
    return nullType ? nullptr : Record::getLastSSErrTypeStr();
  }
  const char* getLastSmtpMsg() override { return nullMessage ? nullptr : Record::getLastSmtpMsg(); }
};

// ---- The record --------------------------------------------------------------------------------

TEST(IExtVekError, AFreshRecordIsEmpty) {
  Record record;
  expectRecord(record, 0, 0, 0, "");
  EXPECT_STREQ(record.getLastSSErrTypeStr(), "");
  EXPECT_STREQ(record.toString(), "");
  EXPECT_STREQ(record.toString1line(), "");
  for (const char byte : record.m_lastSmtpMsg) ASSERT_EQ(byte, 0);
}

TEST(IExtVekError, SlotsStandInTheirOrder) {
  const size_t slots[] = {slotOf(&IExtVekError::Communicate),
                          slotOf(&IExtVekError::reportResult),
                          slotOf(&IExtVekError::getLastSmtpMsg),
                          slotOf(&IExtVekError::getLastSSErrType),
                          slotOf(&IExtVekError::getLastSSErrTypeStr),
                          slotOf(&IExtVekError::getLastSSErrCode),
                          slotOf(&IExtVekError::getLastRMErrCode),
                          slotOf(&IExtVekError::toString),
                          slotOf(&IExtVekError::toString1line),
                          slotOf(&IExtVekError::formatExtRMError),
                          slotOf(&IExtVekError::lookup),
                          slotOf(&IExtVekError::setData)};
  size_t expected = 2;
  for (const size_t slot : slots) EXPECT_EQ(slot, expected++);
}

TEST(IExtVekError, DataIsReadInOrder) {
  Record record;
  record.setData({"12", "2", "300", "x"});
  expectRecord(record, 12, 2, 300, "x");
  EXPECT_STREQ(record.getLastSSErrTypeStr(), "HTTP");
  record.setData({"-1", "1", "-2", "y", "99", "z"});
  expectRecord(record, -1, 1, -2, "y");
  EXPECT_STREQ(record.getLastSSErrTypeStr(), "SMTP");
}

TEST(IExtVekError, MissingItemsLeaveTheirFields) {
  Record record = recordOf(1, 2, 3, "m");
  record.setData({"7", "8"});
  expectRecord(record, 7, 8, 3, "m");
  EXPECT_STREQ(record.getLastSSErrTypeStr(), "");
  record.setData({});
  expectRecord(record, 7, 8, 3, "m");
}

TEST(IExtVekError, NumbersAreReadAsStrtolDoes) {
  struct {
    const char* text;
    int value;
  } const rows[] = {
      {" \t42x", 42}, {"-7.5", -7},      {"+3", 3},
      {"", 0},        {"none", 0},       {"0x10", 0},
      {"010", 10},    {"4294967297", 1}, {"99999999999999999999", static_cast<int>(LONG_MAX)}};
  for (const auto& row : rows) {
    Record record;
    record.setData({row.text, row.text, row.text});
    expectRecord(record, row.value, row.value, row.value, "");
  }
}

TEST(IExtVekError, MessagesAreCutAt256BytesAndPadded) {
  Record record = recordOf(0, 1, 0, std::string(300, 'a'));
  EXPECT_EQ(std::string(record.m_lastSmtpMsg, 256), std::string(256, 'a'));
  EXPECT_EQ(record.getLastSmtpMsg(), record.m_lastSmtpMsg);

  record.setData({"0", "1", "0", std::string(256, 'b')});
  EXPECT_EQ(std::string(record.m_lastSmtpMsg, 256), std::string(256, 'b')) << "no terminator";

  record.setData({"0", "1", "0", "c"});
  EXPECT_EQ(std::string(record.m_lastSmtpMsg, 256), "c" + std::string(255, '\0'));
}

// ---- Streams -----------------------------------------------------------------------------------

TEST(IExtVekError, WritesFourLines) {
  Record record = recordOf(-79, 1, -26, "535 auth failed");
  std::ostringstream out;
  EXPECT_EQ(&(out << record), &out);
  EXPECT_EQ(out.str(), "-79\n1\n-26\n535 auth failed\n");
}

TEST(IExtVekError, NumbersAreWrittenInDecimalWhateverTheStreamIsSetTo) {
  Record record = recordOf(-79, 10, 1000, "m");
  std::ostringstream out;
  out << std::hex << std::showbase;
  out << record;
  EXPECT_EQ(out.str(), "-79\n10\n1000\nm\n");
}

TEST(IExtVekError, WritesAnUnterminatedMessageWithinItsBounds) {
  Record record = recordOf(1, 2, 3, std::string(300, 'a'));
  std::ostringstream out;
  out << record;
  EXPECT_EQ(out.str(), "1\n2\n3\n" + std::string(256, 'a') + "\n");
}

TEST(IExtVekError, WritesNothingToAFailedStream) {
  Record record = recordOf(1, 2, 3, "m");
  for (const auto state : {std::ios::failbit, std::ios::badbit}) {
    std::ostringstream out;
    out.setstate(state);
    out << record;
    EXPECT_EQ(out.str(), "");
  }
}

TEST(IExtVekError, StopsWritingWhereTheStreamFails) {
  // Takes a few bytes and then refuses.
  struct Narrow : std::streambuf {
    std::streamsize xsputn(const char* bytes, std::streamsize count) override {
      if (taken.size() + static_cast<size_t>(count) > 5) return 0;
      taken.append(bytes, static_cast<size_t>(count));
      return count;
    }
    std::string taken;
  } narrow;
  std::ostream out(&narrow);
  Record record = recordOf(12, 345, 6, "");
  out << record;
  EXPECT_EQ(narrow.taken, "12\n") << "the third line would have fitted";
}

TEST(IExtVekError, ReadsBackWhatItWrote) {
  Record written = recordOf(-79, 1, -26, "535 auth failed");
  std::stringstream stream;
  stream << written;
  Record read = recordOf(9, 9, 9, std::string(256, 'x'));
  EXPECT_EQ(&(stream >> read), &stream);
  expectRecord(read, -79, 1, -26, "535 auth failed");
  EXPECT_TRUE(stream.good());
}

TEST(IExtVekError, ReadsTheLastLineWithoutItsEnd) {
  std::istringstream in("1\n2\n3\nmessage");
  Record record;
  in >> record;
  expectRecord(record, 1, 2, 3, "message");
  EXPECT_TRUE(in.eof());
  EXPECT_FALSE(in.fail());
}

TEST(IExtVekError, TheEndOfInputStoresOneEmptyLineAndFails) {
  Record record = recordOf(1, 2, 3, "m");
  std::istringstream one("-79\n");
  one >> record;
  expectRecord(record, -79, 0, 3, "m");
  EXPECT_TRUE(one.fail());

  record = recordOf(1, 2, 3, "m");
  std::istringstream unended("-79");
  unended >> record;
  expectRecord(record, -79, 0, 3, "m");
  EXPECT_TRUE(unended.fail());

  record = recordOf(1, 2, 3, "m");
  std::istringstream none("");
  none >> record;
  expectRecord(record, 0, 2, 3, "m");

  record = recordOf(1, 2, 3, "m");
  std::istringstream three("4\n5\n6\n");
  three >> record;
  expectRecord(record, 4, 5, 6, "");
  EXPECT_TRUE(three.fail());
}

TEST(IExtVekError, ReadsNothingFromAFailedStream) {
  for (const auto state : {std::ios::failbit, std::ios::badbit}) {
    std::istringstream in("4\n5\n6\n7\n");
    in.setstate(state);
    Record record = recordOf(1, 2, 3, "m");
    in >> record;
    expectRecord(record, 1, 2, 3, "m");
  }
}

TEST(IExtVekError, ALineOf4095CharactersIsStoredAndFails) {
  const auto line = [](size_t length) { return std::string(length - 2, ' ') + "42"; };
  struct {
    size_t length;
    int first;
    bool fails;
  } const rows[] = {{4094, 42, false}, {4095, 42, true}, {4096, 4, true}, {5000, 0, true}};
  for (const auto& row : rows) {
    for (const char* rest : {"\n5\n6\n7\n", ""}) {
      std::istringstream in(line(row.length) + rest);
      Record record = recordOf(1, 2, 3, "m");
      in >> record;
      EXPECT_EQ(record.getLastRMErrCode(), row.first) << row.length;
      if (*rest != '\0') {
        EXPECT_EQ(in.fail(), row.fails) << row.length;
        EXPECT_EQ(record.getLastSSErrType(), row.fails ? 2 : 5) << row.length;
      } else {
        EXPECT_TRUE(in.fail());
        EXPECT_EQ(record.getLastSSErrType(), row.fails ? 2 : 0) << row.length;
      }
    }
  }
}

TEST(IExtVekError, ALongMessageLineFillsTheBuffer) {
  std::istringstream in("1\n2\n3\n" + std::string(300, 'a') + "\n");
  Record record;
  in >> record;
  EXPECT_EQ(std::string(record.m_lastSmtpMsg, 256), std::string(256, 'a'));
  EXPECT_TRUE(in.good());

  std::istringstream longer("1\n2\n3\n" + std::string(5000, 'b') + "\n");
  longer >> record;
  EXPECT_EQ(std::string(record.m_lastSmtpMsg, 256), std::string(256, 'b'));
  EXPECT_TRUE(longer.fail());
}

TEST(IExtVekError, ReportPrintsTheArgument) {
  Record owner = recordOf(1, 1, 1, "owner");
  Record argument = recordOf(-79, 1, -26, "argument");
  testing::internal::CaptureStdout();
  std::ostream& returned = owner.reportResult(-5, argument);
  returned.flush();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "-5\n-79\n1\n-26\nargument\n\n");
  EXPECT_EQ(&returned, &std::cout);
}

// ---- Texts -------------------------------------------------------------------------------------

TEST(IExtVekError, ExplanationHasHeadingTextAndCodes) {
  Record record = recordOf(-62, 2, 54);
  EXPECT_EQ(record.toString(), "(HTTP) " + textOf(-62, 54) + "\nRL:-62,QD-Agent:54\n");
  EXPECT_STREQ(record.toString1line(), "(HTTP) RL:-62,QD-Agent:54,Mailsvr:\"\"");
}

TEST(IExtVekError, OnlyTypeZeroHasNoExplanation) {
  Record none = recordOf(-62, 0, 54, "m");
  EXPECT_STREQ(none.toString(), "");
  EXPECT_STREQ(none.toString1line(), "");

  Record unknown = recordOf(-62, 3, 54, "m");
  EXPECT_STREQ(unknown.toString(), "() RL:-62,QD-Agent:54\n");
  EXPECT_STREQ(unknown.toString1line(), "() RL:-62,QD-Agent:54,Mailsvr:\"m\"");
  Record negative = recordOf(0, -1, 0);
  EXPECT_STREQ(negative.toString(), "() RL:0,QD-Agent:0\n");
}

TEST(IExtVekError, ATextReplacesTheLast) {
  Record record = recordOf(-62, 2, 54);
  record.toString();
  record.setData({"-62", "0"});
  EXPECT_STREQ(record.toString(), "");
  record.setData({"-62", "2"});
  record.toString1line();
  record.setData({"-62", "0"});
  EXPECT_STREQ(record.toString1line(), "");
}

TEST(IExtVekError, MailErrorsCarryTheServersMessage) {
  Record smtp = recordOf(-79, 1, -26, "535 auth failed");
  EXPECT_EQ(smtp.toString(), "(SMTP) " + textOf(-79, -26) + "\n" + gSmtpMessageHeading +
                                 "\n535 auth failed\nRL:-79,QD-Agent:-26\n");
  EXPECT_STREQ(smtp.toString1line(), "(SMTP) RL:-79,QD-Agent:-26,Mailsvr:\"535 auth failed\"");

  Record pop3 = recordOf(-79, 1, -18, "-ERR");
  EXPECT_EQ(pop3.toString(), "(SMTP) " + textOf(-79, -18) + "\n" + gPop3MessageHeading +
                                 "\n-ERR\nRL:-79,QD-Agent:-18\n");

  Record none = recordOf(-79, 1, -17, "-ERR");
  EXPECT_EQ(none.toString(), "(SMTP) " + textOf(-79, -17) + "\nRL:-79,QD-Agent:-17\n");
}

TEST(IExtVekError, AnUnterminatedMessageIsReadWithinItsBounds) {
  const std::string longest(256, 'a');
  Record record = recordOf(-79, 1, -26, longest + "b");
  EXPECT_EQ(record.toString(), "(SMTP) " + textOf(-79, -26) + "\n" + gSmtpMessageHeading + "\n" +
                                   longest + "\nRL:-79,QD-Agent:-26\n");
  EXPECT_EQ(record.toString1line(), "(SMTP) RL:-79,QD-Agent:-26,Mailsvr:\"" + longest + "\"");
}

TEST(IExtVekError, EveryRowIsFoundByItsKey) {
  // By kind; the server's message, which is empty here, follows on a line of its own.
  const std::string headings[] = {"", std::string(gSmtpMessageHeading) + "\n\n",
                                  std::string(gPop3MessageHeading) + "\n\n"};
  Record record;
  for (const EXTERR* row = gExtErrCatalogue; row->rmCode != kExtErrEnd; ++row) {
    EXPECT_EQ(record.lookup(row->type, row->rmCode, row->ssCode),
              "(" + std::string(row->type) + ") " + row->text + "\n" + headings[row->kind] + "RL:" +
                  std::to_string(row->rmCode) + ",QD-Agent:" + std::to_string(row->ssCode) + "\n");
  }
}

TEST(IExtVekError, UnknownKeysHaveHeadingAndCodesOnly) {
  Record record;
  EXPECT_EQ(record.lookup("SMTP", -1, 0), "(SMTP) RL:-1,QD-Agent:0\n");
  EXPECT_EQ(record.lookup("SMTP", -62, 54), "(SMTP) RL:-62,QD-Agent:54\n") << "type differs";
  EXPECT_EQ(record.lookup("HTTP", -62, 53), "(HTTP) RL:-62,QD-Agent:53\n");
  EXPECT_EQ(record.lookup("", -62, 54), "() RL:-62,QD-Agent:54\n");
  EXPECT_EQ(record.lookup("", 9999, 9999), "() RL:9999,QD-Agent:9999\n") << "the end row";
}

TEST(IExtVekError, WebCodesAbove258ShareOneText) {
  Record record;
  const std::string text = textOf(-52, 259);
  EXPECT_EQ(record.lookup("HTTP", -52, 259), "(HTTP) " + text + "\nRL:-52,QD-Agent:259\n");
  EXPECT_EQ(record.lookup("HTTP", -52, 1000), "(HTTP) " + text + "\nRL:-52,QD-Agent:1000\n");
  EXPECT_EQ(record.lookup("HTTP", -52, 258), "(HTTP) RL:-52,QD-Agent:258\n");
  EXPECT_EQ(record.lookup("HTTP", -51, 300), "(HTTP) RL:-51,QD-Agent:300\n");
  EXPECT_EQ(record.lookup("SMTP", -52, 300), "(SMTP) RL:-52,QD-Agent:300\n");
  EXPECT_EQ(record.lookup("HTTPS", -52, 300), "(HTTPS) RL:-52,QD-Agent:300\n");
}

TEST(IExtVekError, ANullTypeGivesTheParenthesis) {
  Record record;
  EXPECT_EQ(record.lookup(nullptr, -62, 54), "(");
  EXPECT_EQ(record.lookup(nullptr, -52, 300), "(");
}

TEST(IExtVekError, RowsAreFormattedByKind) {
  Record record = recordOf(0, 1, 0, "msg");
  const std::string smtp = std::string(gSmtpMessageHeading) + "\nmsg\n";
  const std::string pop3 = std::string(gPop3MessageHeading) + "\nmsg\n";
  struct {
    const char* text;
    int kind;
    std::string expected;
  } const rows[] = {{"t", 0, "t\n"}, {"t", 1, "t\n" + smtp}, {"t", 2, "t\n" + pop3},
                    {"t", 3, "t\n"}, {"t", -1, "t\n"},       {"", 0, ""},
                    {"", 1, smtp},   {nullptr, 0, ""},       {nullptr, 2, pop3}};
  for (const auto& row : rows) {
    EXTERR error = {"SMTP", 1, 2, row.kind, row.text};
    EXPECT_EQ(record.formatExtRMError(error), row.expected) << row.kind;
  }
}

// Notes which getters are called, in order, and answers in their place.
struct Overriding : Record {
  const char* getLastSmtpMsg() override {
    calls += "message ";
    return own.c_str();
  }
  int getLastSSErrType() override {
    calls += "type ";
    return 1;
  }
  const char* getLastSSErrTypeStr() override {
    calls += "name ";
    return "SMTP";
  }
  int getLastSSErrCode() override {
    calls += "ss ";
    return -26;
  }
  int getLastRMErrCode() override {
    calls += "rm ";
    return -79;
  }
  std::string own = std::string(300, 'o');
  std::string calls;
};

TEST(IExtVekError, TextsReadTheirPartsThroughTheSlots) {
  Overriding record;
  EXPECT_EQ(record.toString1line(), "(SMTP) RL:-79,QD-Agent:-26,Mailsvr:\"" + record.own + "\"");
  EXPECT_EQ(record.calls, "type name message ss rm ");

  record.calls.clear();
  EXPECT_EQ(record.toString(), "(SMTP) " + textOf(-79, -26) + "\n" + gSmtpMessageHeading + "\n" +
                                   record.own + "\nRL:-79,QD-Agent:-26\n");
  EXPECT_EQ(record.calls, "type name rm ss message ");
}

TEST(IExtVekError, AGetterMayGiveTheRecordsText) {
  struct Explaining : Record {
    const char* getLastSmtpMsg() override { return toString(); }
  } record;
  record.setData({"-62", "2", "54", "m"});
  const std::string explained = "(HTTP) " + textOf(-62, 54) + "\nRL:-62,QD-Agent:54\n";
  EXPECT_EQ(record.toString1line(), "(HTTP) RL:-62,QD-Agent:54,Mailsvr:\"" + explained + "\"");
}

TEST(IExtVekError, TheFourLinesAreReadThroughTheSlots) {
  Overriding record;
  std::ostringstream out;
  out << record;
  EXPECT_EQ(out.str(), "-79\n1\n-26\n" + record.own + "\n");
}

TEST(IExtVekError, TheTypeNameIsReadThroughTheTypesSlot) {
  struct Web : Record {
    int getLastSSErrType() override { return 2; }
  } record;
  EXPECT_STREQ(record.getLastSSErrTypeStr(), "HTTP");
}

TEST(IExtVekError, LookUpsAndRowsGoThroughTheSlots) {
  struct Own : Record {
    std::string lookup(const char* type, int rmCode, int ssCode) override {
      return std::string(type) + " " + std::to_string(rmCode) + " " + std::to_string(ssCode);
    }
  } own;
  own.setData({"5", "1", "6"});
  EXPECT_STREQ(own.toString(), "SMTP 5 6");

  struct Rows : Record {
    std::string formatExtRMError(EXTERR& row) override {
      return "row " + std::to_string(row.ssCode) + "\n";
    }
  } rows;
  EXPECT_EQ(rows.lookup("HTTP", -62, 54), "(HTTP) row 54\nRL:-62,QD-Agent:54\n");
  EXPECT_EQ(rows.lookup("HTTP", -52, 259), "(HTTP) " + textOf(-52, 259) + "\nRL:-52,QD-Agent:259\n")
      << "the catch-all rule writes the text itself";
}

TEST(IExtVekError, AnotherMessageThanTheRecordsIsWrittenAsItStands) {
  struct LongMessage : Record {
    const char* getLastSmtpMsg() override { return text.c_str(); }
    std::string text = std::string(300, 'm');
  } record;
  record.setData({"-79", "1", "-26", "the record's own"});
  EXPECT_EQ(record.toString1line(), "(SMTP) RL:-79,QD-Agent:-26,Mailsvr:\"" + record.text + "\"");
  EXTERR row = {};
  row.kind = 1;
  EXPECT_EQ(record.formatExtRMError(row), gSmtpMessageHeading + ("\n" + record.text) + "\n");
  std::ostringstream out;
  out << record;
  EXPECT_EQ(out.str(), "-79\n1\n-26\n" + record.text + "\n");
}

// ---- Null texts of a derived class -------------------------------------------------------------

TEST(IExtVekError, TextsEndBeforeANullOfADerivedClass) {
  NullTexts record;
  record.setData({"-79", "1", "-5", "server said"});
  record.nullType = true;
  EXPECT_STREQ(record.toString(), "(");
  EXPECT_STREQ(record.toString1line(), "(");

  record.nullType = false;
  record.nullMessage = true;
  EXPECT_STREQ(record.toString1line(), "(SMTP) RL:-79,QD-Agent:-5,Mailsvr:\"");
  EXTERR row = {};
  row.text = "text";
  row.kind = 1;
  EXPECT_EQ(record.formatExtRMError(row), std::string("text\n") + gSmtpMessageHeading + "\n");
  row.kind = 2;
  EXPECT_EQ(record.formatExtRMError(row), std::string("text\n") + gPop3MessageHeading + "\n");

  std::ostringstream out;
  out << record;
  EXPECT_EQ(out.str(), "-79\n1\n-5\n");
  EXPECT_TRUE(out.bad());

  // A stream that has failed before is left as it is.
  std::ostringstream failed;
  failed.setstate(std::ios::failbit);
  failed << record;
  EXPECT_FALSE(failed.bad());
}

}  // namespace
