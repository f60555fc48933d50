#pragma once

/// Common code of the set's small commands.

constexpr int kExitUsage = 2;

/// What `getopt_long` returns for the options that all have: -h and --help, --version.
enum { kHelp = 'h', kVersion = 'V' };

struct Tool {
  const char* name;
  const char* usage;

  /// Acts on what `getopt_long` returned for no option of the tool's own: prints usage or version
  /// on standard output, or after wrong use the usage on standard error. Returns the exit status.
  int common(int found) const;

  /// Prints "NAME: PROBLEM: ARGUMENT" and the usage on standard error. Returns the exit status.
  int misused(const char* problem, const char* argument) const;

  /// Prints "NAME: WHAT: REASON" on standard error, with the reason of `error`, an errno. Returns
  /// the exit status.
  int failed(const char* what, int error) const;

  /// Call it last. Returns `status`, or a failure's if standard output could not be written.
  int finish(int status) const;
};
