#include "IExtVekError.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <list>
#include <ostream>
#include <sstream>
#include <string>

#include "ExtErrCatalogue.h"

namespace {

constexpr int kTypeSmtp = 1;
constexpr int kTypeHttp = 2;

// Every web code above 258 under this result is explained by the one row of code 259.
constexpr int kCatchAllRmCode = -52;
constexpr int kCatchAllAboveSsCode = 258;
constexpr int kCatchAllSsCode = 259;

constexpr int kFieldCount = 4;
constexpr int kInputLineBytes = 4096;

// In decimal, whatever the locale.
void writeCodes(std::ostream& out, int rmCode, int ssCode) {
  out << "RL:" << std::to_string(rmCode) << ",QD-Agent:" << std::to_string(ssCode);
}

}  // namespace

IExtVekError::~IExtVekError() = default;

void IExtVekError::clearError() {
  m_rmErrCode = 0;
  m_ssErrType = 0;
  m_ssErrCode = 0;
  std::memset(m_lastSmtpMsg, 0, sizeof m_lastSmtpMsg);
}

std::ostream& IExtVekError::reportResult(int result, IExtVekError& record) {
  return std::cout << std::to_string(result) + "\n" << record << "\n";
}

const char* IExtVekError::getLastSmtpMsg() { return m_lastSmtpMsg; }

int IExtVekError::getLastSSErrType() { return m_ssErrType; }

const char* IExtVekError::getLastSSErrTypeStr() {
  const int type = getLastSSErrType();
  if (type == kTypeSmtp) return "SMTP";
  return type == kTypeHttp ? "HTTP" : "";
}

int IExtVekError::getLastSSErrCode() { return m_ssErrCode; }

int IExtVekError::getLastRMErrCode() { return m_rmErrCode; }

const char* IExtVekError::toString() {
  m_text.clear();
  // Deliberately 0 only: of any other unknown type people still need the code line.
  if (getLastSSErrType() == 0) return m_text.c_str();

  const char* type = getLastSSErrTypeStr();
  const int rmCode = getLastRMErrCode();
  const int ssCode = getLastSSErrCode();
  m_text = lookup(type, rmCode, ssCode);
  return m_text.c_str();
}

const char* IExtVekError::toString1line() {
  m_text.clear();
  if (getLastSSErrType() == 0) return m_text.c_str();

  const char* type = getLastSSErrTypeStr();
  const char* message = getLastSmtpMsg();
  const int ssCode = getLastSSErrCode();
  const int rmCode = getLastRMErrCode();
  std::ostringstream line;
  line << "(" << type << ") ";
  writeCodes(line, rmCode, ssCode);
  line << ",Mailsvr:\"";
  writeMessage(line, message);
  line << "\"";
  m_text = line.str();
  return m_text.c_str();
}

std::string IExtVekError::formatExtRMError(EXTERR& row) {
  std::ostringstream text;
  if (row.text != nullptr && *row.text != '\0') text << row.text << "\n";
  if (row.kind == kServerMessageSmtp || row.kind == kServerMessagePop3) {
    // The same message for both: there is no POP3 message of its own.
    text << (row.kind == kServerMessageSmtp ? gSmtpMessageHeading : gPop3MessageHeading) << "\n";
    writeMessage(text, getLastSmtpMsg());
    text << "\n";
  }
  return text.str();
}

std::string IExtVekError::lookup(const char* type, int rmCode, int ssCode) {
  const std::string name = type == nullptr ? "" : type;
  std::ostringstream text;
  text << "(" << type << ") ";
  const bool catchAll =
      name == "HTTP" && rmCode == kCatchAllRmCode && ssCode > kCatchAllAboveSsCode;
  for (const EXTERR* row = gExtErrCatalogue; row->rmCode != kExtErrEnd; ++row) {
    if (row->rmCode != rmCode) continue;
    if (catchAll) {
      // The row's own text, whatever a derived class makes of rows.
      if (row->ssCode == kCatchAllSsCode) text << row->text << "\n";
    } else if (row->ssCode == ssCode && row->type == name) {
      EXTERR matched = *row;
      text << formatExtRMError(matched);
    }
  }
  writeCodes(text, rmCode, ssCode);
  text << "\n";
  return text.str();
}

void IExtVekError::setData(std::list<std::string> items) {
  int index = 0;
  for (const std::string& item : items) {
    if (index == kFieldCount) break;
    setField(index++, item.c_str());
  }
}

void IExtVekError::setField(int index, const char* text) {
  switch (index) {
    case 0:
      m_rmErrCode = static_cast<int>(std::strtol(text, nullptr, 10));
      break;
    case 1:
      m_ssErrType = static_cast<int>(std::strtol(text, nullptr, 10));
      break;
    case 2:
      m_ssErrCode = static_cast<int>(std::strtol(text, nullptr, 10));
      break;
    default: {
      // A message that fills the buffer has no terminating zero byte; readers are bounded.
      const size_t length = strnlen(text, sizeof m_lastSmtpMsg);
      std::memset(m_lastSmtpMsg, 0, sizeof m_lastSmtpMsg);
      std::memcpy(m_lastSmtpMsg, text, length);
    }
  }
}

void IExtVekError::writeMessage(std::ostream& out, const char* message) const {
  if (message == m_lastSmtpMsg) {
    out << std::string(message, strnlen(message, sizeof m_lastSmtpMsg));
  } else {
    out << message;
  }
}

std::ostream& operator<<(std::ostream& out, IExtVekError& record) {
  for (const int number :
       {record.getLastRMErrCode(), record.getLastSSErrType(), record.getLastSSErrCode()}) {
    if (!out.fail()) out << std::to_string(number) + "\n";
  }
  if (out.fail()) return out;
  record.writeMessage(out, record.getLastSmtpMsg());
  return out << "\n";
}

std::istream& operator>>(std::istream& in, IExtVekError& record) {
  for (int index = 0; index < kFieldCount && !in.fail(); ++index) {
    char line[kInputLineBytes] = {};
    in.getline(line, sizeof line);
    const std::streamsize stored = in.good() ? in.gcount() - 1 : in.gcount();
    record.setField(index, line);
    // A line that just fits counts as too long as well.
    if (stored == kInputLineBytes - 1) in.setstate(std::ios::failbit);
  }
  return in;
}
