#pragma once

/// What the small commands of the set have in common.

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

struct Tool {
  const char* name;
  const char* usage;

  /// Name and version of the set, on standard output; the exit status.
  int showVersion() const;

  /// The usage, on standard output; the exit status.
  int showUsage() const;

  /// "NAME: PROBLEM: ARGUMENT" and the usage, on standard error; the exit status.
  int misused(const char* problem, const char* argument) const;

  /// "NAME: WHAT: REASON" on standard error, the reason being that of `error`, an errno; the exit
  /// status.
  int failed(const char* what, int error) const;

  /// To be called last: `status`, or that of a failure where standard output could not be written.
  int finish(int status) const;
};
