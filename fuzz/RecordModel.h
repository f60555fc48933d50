#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <list>
#include <sstream>
#include <string>

#include "Fuzz.h"
#include "IExtVekError.h"

// The agent's error record: from any stream, from any list, and back again.

namespace model {

class Record : public IExtVekError {
 public:
  int Communicate(unsigned long, int, int, void*) override { return 0; }
};

inline std::string message(IExtVekError& record) {
  return std::string(record.getLastSmtpMsg(),
                     strnlen(record.getLastSmtpMsg(), IExtVekError::kMessageBytes));
}

inline void look(Record& record) {
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
struct Fields {
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

inline void require(const Fields& expected, Record& record) {
  REQUIRE(record.getLastRMErrCode() == expected.numbers[0]);
  REQUIRE(record.getLastSSErrType() == expected.numbers[1]);
  REQUIRE(record.getLastSSErrCode() == expected.numbers[2]);
  REQUIRE(message(record) == expected.message);
}

// The lines of a stream, up to the first that is missing or too long, which still counts.
inline Fields readFrom(const std::string& bytes, Fields fields = {}) {
  constexpr size_t kLongest = 4095;
  size_t at = 0;
  for (size_t field = 0; field < 4; ++field) {
    const std::string line = bytes.substr(at, bytes.find('\n', at) - at);
    fields.set(field, line.substr(0, kLongest));
    if (at == bytes.size() || line.size() >= kLongest) break;
    at = std::min(bytes.size(), at + line.size() + 1);
  }
  return fields;
}

// The record read from a stream of these bytes; what it writes gives it again.
inline void checkStream(const std::string& bytes) {
  std::istringstream stream(bytes);
  Record record;
  stream >> record;
  const Fields expected = readFrom(bytes);
  require(expected, record);
  look(record);
  if (message(record).find('\n') != std::string::npos) return;
  std::stringstream there;
  there << record;
  Record back;
  there >> back;
  require(expected, back);
}

inline void checkItems(const std::list<std::string>& items) {
  Record record;
  record.setData(items);
  look(record);
  Fields expected;
  size_t field = 0;
  for (const std::string& item : items) expected.set(field++, item);
  require(expected, record);
}

}  // namespace model
