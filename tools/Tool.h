#pragma once

/// Common code of the set's small commands.

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

struct Tool {
  const char* name;
  const char* usage;

  /// Prints name and version of the set on standard output. Returns the exit status.
  int showVersion() const;

  /// Prints the usage on standard output. Returns the exit status.
  int showUsage() const;

  /// Prints "NAME: PROBLEM: ARGUMENT" and the usage on standard error. Returns the exit status.
  int misused(const char* problem, const char* argument) const;

  /// Prints "NAME: WHAT: REASON" on standard error, with the reason of `error`, an errno. Returns
  /// the exit status.
  int failed(const char* what, int error) const;

  /// Call it last. Returns `status`, or a failure's if standard output could not be written.
  int finish(int status) const;
};
