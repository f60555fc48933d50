// The agent's error record: from any stream, from any list, and back again.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
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

// What four texts make of a record.
struct Model {
  int numbers[3] = {};
  std::string message;

  void set(size_t field, const std::string& item) {
    const char* text = item.c_str();
    if (field < 3) {
      numbers[field] = static_cast<int>(strtol(text, nullptr, 10));
    } else if (field == 3) {
      message.assign(text, strnlen(text, IExtVekError::kMessageBytes));
    }
  }
};

void require(const Model& model, Record& record) {
  REQUIRE(record.getLastRMErrCode() == model.numbers[0]);
  REQUIRE(record.getLastSSErrType() == model.numbers[1]);
  REQUIRE(record.getLastSSErrCode() == model.numbers[2]);
  REQUIRE(message(record) == model.message);
}

// The lines of a stream, up to the first that is missing or too long, which still counts.
Model readFrom(const std::string& bytes) {
  constexpr size_t kLongest = 4095;
  Model model;
  size_t at = 0;
  for (size_t field = 0; field < 4; ++field) {
    const std::string line = bytes.substr(at, bytes.find('\n', at) - at);
    model.set(field, line.substr(0, kLongest));
    if (at == bytes.size() || line.size() >= kLongest) break;
    at = std::min(bytes.size(), at + line.size() + 1);
  }
  return model;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  if (input.ConsumeBool()) {
    const std::string bytes = input.ConsumeRemainingBytesAsString();
    std::istringstream stream(bytes);
    Record record;
    stream >> record;
    const Model model = readFrom(bytes);
    require(model, record);
    look(record);
    if (message(record).find('\n') != std::string::npos) return 0;
    std::stringstream there;
    there << record;
    Record back;
    there >> back;
    require(model, back);
    return 0;
  }
  std::list<std::string> items;
  while (input.remaining_bytes() > 0 && items.size() < 8) {
    items.push_back(input.ConsumeRandomLengthString());
  }
  Record record;
  record.setData(items);
  look(record);
  Model model;
  size_t field = 0;
  for (const std::string& item : items) model.set(field++, item);
  require(model, record);
  return 0;
}
