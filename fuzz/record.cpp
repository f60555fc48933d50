// The agent's error record: from any stream, from any list, and back again.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <sstream>

#include "Fuzz.h"
#include "IExtVekError.h"

namespace {

class Record : public IExtVekError {
 public:
  int Communicate(unsigned long, int, int, void*) override { return 0; }
};

std::string message(IExtVekError& record) {
  return std::string(record.getLastSmtpMsg(),
                     strnlen(record.getLastSmtpMsg(), IExtVekError::kMessageBytes));
}

void look(Record& record) {
  const std::string text = record.toString();
  const std::string line = record.toString1line();
  REQUIRE(text.empty() == (record.getLastSSErrType() == 0));
  REQUIRE(line.empty() == (record.getLastSSErrType() == 0));
  REQUIRE(line.find('\n') == std::string::npos || message(record).find('\n') != std::string::npos);
  const std::string type = record.getLastSSErrTypeStr();
  REQUIRE(type == (record.getLastSSErrType() == 1   ? "SMTP"
                   : record.getLastSSErrType() == 2 ? "HTTP"
                                                    : ""));
}

void requireSame(Record& a, Record& b) {
  REQUIRE(a.getLastRMErrCode() == b.getLastRMErrCode());
  REQUIRE(a.getLastSSErrType() == b.getLastSSErrType());
  REQUIRE(a.getLastSSErrCode() == b.getLastSSErrCode());
  REQUIRE(message(a) == message(b));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  if (input.ConsumeBool()) {
    std::istringstream stream(input.ConsumeRemainingBytesAsString());
    Record record;
    stream >> record;
    look(record);
    if (message(record).find('\n') != std::string::npos) return 0;
    std::stringstream there;
    there << record;
    Record back;
    there >> back;
    requireSame(record, back);
    return 0;
  }
  std::list<std::string> items;
  while (input.remaining_bytes() > 0 && items.size() < 8) {
    items.push_back(input.ConsumeRandomLengthString());
  }
  Record record;
  record.setData(items);
  look(record);
  // Numbers are read from the start of each item, as many as fit into an int.
  if (!items.empty()) {
    const long number = strtol(items.front().c_str(), nullptr, 10);
    if (number == static_cast<int>(number)) REQUIRE(record.getLastRMErrCode() == number);
  }
  if (items.size() >= 4) {
    const char* text = std::next(items.begin(), 3)->c_str();
    REQUIRE(message(record) == std::string(text, strnlen(text, IExtVekError::kMessageBytes)));
  }
  return 0;
}
