#pragma once

#include <unistd.h>

/// The owner of one file descriptor.
class Descriptor {
 public:
  /// Takes over `number`; -1 for none.
  explicit Descriptor(int number) : m_number(number) {}
  ~Descriptor() { close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  /// -1 if there is none.
  int number() const { return m_number; }

  /// Closes it now.
  void close() {
    if (m_number != -1) ::close(m_number);
    m_number = -1;
  }

 private:
  int m_number;
};
