#pragma once

/// One source file of the library as named in its log lines: "(source:line)". The line numbers are
/// fixed parts of the log's text, whatever the line of the call.
class LogSource {
 public:
  /// `name` is the base name of the source, without extension; it must outlive this object.
  constexpr explicit LogSource(const char* name) : m_name(name) {}

  /// "[T](source:line):text", if trace is on.
  void trace(int line, const char* fmt, ...) const __attribute__((format(printf, 3, 4)));

  /// "[I](source:line):text".
  void info(int line, const char* fmt, ...) const __attribute__((format(printf, 3, 4)));

  /// "[I](source:line):invalid param".
  void invalidParam(int line) const;

 private:
  const char* m_name;
};

/// A numbered event, "ID:text".
void logEvent(const char* id, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
