#pragma once

#include <istream>
#include <list>
#include <ostream>
#include <string>

struct EXTERR;

/// The agent's last extended error: its own result code and, if its mail or web transport failed,
/// which transport, that transport's code and the mail server's last message.
///
/// The gateway client fills it after each exchange; other tools fill it from a list or a stream. It
/// has three forms: four lines for machines, an explanation in Japanese (EUC-JP) for people and one
/// line for logs. No operation reports an error. If a derived class's getter returns null, the text
/// ends before it, and the stream of the four lines fails. A message from an overriding getter must
/// end in a zero byte: another record's full buffer is read past its end.
class IExtVekError {
 public:
  /// Size of the server message in bytes. A message of that length or more fills the buffer without
  /// a terminating zero byte.
  static constexpr int kMessageBytes = 256;

  /// All codes 0, message and text empty.
  IExtVekError() = default;
  virtual ~IExtVekError();

  /// Performs the exchange and fills the record; derived classes implement it.
  virtual int Communicate(unsigned long id, int a, int b, void* data) = 0;

  /// Writes `result`, `record` (not this object) in its four-line form and an empty line to
  /// standard output, which it returns.
  virtual std::ostream& reportResult(int result, IExtVekError& record);

  /// The message buffer itself: `kMessageBytes` bytes, not always terminated.
  virtual const char* getLastSmtpMsg();

  /// 1 mail (SMTP), 2 web (HTTP), anything else none.
  virtual int getLastSSErrType();

  /// "SMTP", "HTTP" or an empty text; never null.
  virtual const char* getLastSSErrTypeStr();

  /// The transport's code: negative for mail, positive for web.
  virtual int getLastSSErrCode();

  /// Result of the agent's library; 0 is success.
  virtual int getLastRMErrCode();

  /// The explanation in several lines; empty if the transport type is exactly 0. (For any other
  /// type that is neither 1 nor 2, the heading and the code line.) The text belongs to the record
  /// and is valid until the next `toString` or `toString1line`.
  virtual const char* toString();

  /// One line without line end for logs: type, codes and server message. Empty if the transport
  /// type is exactly 0. Owned like the text of `toString`.
  virtual const char* toString1line();

  /// The text of one catalogue row and a newline (neither if it is null or empty), followed by the
  /// server's message under its heading if the row asks for it.
  virtual std::string formatExtRMError(EXTERR& row);

  /// Heading, explanation if the catalogue has one, and code line. "(" alone for a null `type`,
  /// unlogged.
  virtual std::string lookup(const char* type, int rmCode, int ssCode);

  /// Sets result code, transport type, transport code and message from the first four items, in
  /// this order. Numbers are read as `strtol` does with base 10. Fields without an item keep their
  /// values; further items are ignored.
  virtual void setData(std::list<std::string> items);

  /// Writes the three numbers and the message from the getters, each ended by a newline. Stops when
  /// the stream has failed.
  friend std::ostream& operator<<(std::ostream& out, IExtVekError& record);

  /// Reads the four lines back. It stores a field for every line begun while the stream has not
  /// failed: at the end of input one field becomes 0 or empty and the stream fails. Of a line of
  /// 4095 characters or more it stores the first 4095 and fails the stream.
  friend std::istream& operator>>(std::istream& in, IExtVekError& record);

 protected:
  /// Sets the codes to 0 and the message to zero bytes.
  void clearError();

  int m_rmErrCode = 0;                     ///< Result of the agent's library.
  int m_ssErrType = 0;                     ///< 1 mail, 2 web, anything else none.
  int m_ssErrCode = 0;                     ///< Code of the transport.
  char m_lastSmtpMsg[kMessageBytes] = {};  ///< The mail server's message, not always terminated.
  std::string m_text;                      ///< Result of the last `toString` or `toString1line`.

 private:
  void setField(int index, const char* text);
  // Writes the record's own buffer up to its end, any other text as it is; null fails the stream.
  void writeMessage(std::ostream& out, const char* message) const;
};

std::ostream& operator<<(std::ostream& out, IExtVekError& record);
std::istream& operator>>(std::istream& in, IExtVekError& record);
