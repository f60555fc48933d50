// Every stored text as a format, with any arguments: format and the message display give what
// printf gives.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "CDspMsg.h"
#include "Fuzz.h"
#include "MsgTable.h"
#include "common.h"

namespace {

// One argument for each conversion; texts and numbers travel alike here.
std::vector<long> argumentsFor(const char* text, FuzzedDataProvider& input,
                               std::list<std::string>& owned) {
  std::vector<long> arguments;
  for (const char* c = text; *c != '\0'; ++c) {
    if (*c != '%') continue;
    c += strspn(c + 1, "-+ #0123456789.l") + 1;
    if (*c == '\0') break;
    if (*c == '%') continue;
    if (*c == 's') {
      std::string value = input.ConsumeRandomLengthString(2000);
      owned.emplace_back(value.c_str());
      arguments.push_back(reinterpret_cast<long>(owned.back().c_str()));
    } else {
      arguments.push_back(input.ConsumeIntegral<int>());
    }
  }
  arguments.resize(8);
  return arguments;
}

#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

void check(const MSG_TABLE& row, FuzzedDataProvider& input) {
  static InputFile output;
  static CDspMsg* const messages = [] {
    auto* display = new CDspMsg;
    REQUIRE(display->init(nullptr, "") == 0);
    REQUIRE(freopen(output.path().c_str(), "w", stdout) != nullptr);
    return display;
  }();
  std::list<std::string> owned;
  const std::vector<long> a = argumentsFor(row.text, input, owned);

  const int length = snprintf(nullptr, 0, row.text, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7]);
  REQUIRE(length >= 0);
  std::vector<char> expected(static_cast<size_t>(length) + 1);
  snprintf(expected.data(), expected.size(), row.text, a[0], a[1], a[2], a[3], a[4], a[5], a[6],
           a[7]);
  const std::string text = format(row.text, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7]);
  REQUIRE(text == expected.data());

  std::string shown;
  messages->getStr(shown, row.id, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7]);
  const char kind = row.id[8];
  const std::string head = kind == 'W' || kind == 'E' ? std::string(row.id) + " : " : "";
  REQUIRE(shown == head + text.substr(0, 1023));

  output.write("", 0);
  rewind(stdout);
  REQUIRE(messages->dspMsg(row.id, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7]) == 1);
  fflush(stdout);
  const bool named = kind == 'W' || kind == 'E';
  REQUIRE(output.read() == (named ? std::string(row.id) + "\n" : "") + text + "\n");
}

// Every text, whatever the inputs choose.
bool checkAll() {
  for (const MSG_TABLE* row = gMsgTable; row->number != kMsgTableEnd; ++row) {
    FuzzedDataProvider nothing(nullptr, 0);
    check(*row, nothing);
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool allAreGood = checkAll();
  REQUIRE(allAreGood);
  FuzzedDataProvider input(data, size);
  const MSG_TABLE& row = gMsgTable[input.ConsumeIntegralInRange<int>(0, 274)];
  check(row, input);
  return 0;
}
