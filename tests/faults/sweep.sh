#!/bin/sh
# Makes the calls of the C library that can fail do so in turn, in every scenario, and reports what fell
# short; its last line has the figures.
#
# usage: sweep.sh [-v] [SCENARIO...]     -v shows every outcome
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/../../scripts/usage.sh"

cd "$(dirname "$0")/../.."
sh scripts/packages.sh cmake ninja-build g++ binutils gettext libc-bin libgtest-dev psmisc
build=build/faults
cmake --preset faults >/dev/null
cmake --build --preset faults --target fault_sweep >/dev/null

# Functions that cannot fail, or by nothing but their arguments.
harmless="__ctype_b_loc|__errno_location|__fpurge|abort|basename|closelog|dirfd|exit|fileno|getenv|getpid|getuid|is.*\
|mem.*|(__isoc23_)?str[^d].*|tolower"
# Objects, the agent's functions, and what the compiler calls.
others="g[A-Z].*|std(err|in|out)|VEK_.*|_Z.*|_Unwind_.*|__(cxa|gxx)_.*|__stack_chk_fail|__dso_handle|_GLOBAL_OFFSET_TABLE_"
unwrapped=$(
  {
    nm -u "$build/libmoxel.a" "$build/scsend_main.o" | awk '$1 == "U" { print $2 }' | sort -u |
      grep -vxE "$harmless|$others"
    nm "$build/fault_sweep" | sed -n 's/.* T __wrap_//p' | sed p
  } | sort | uniq -u
)
if [ -n "$unwrapped" ]; then
  echo "sweep.sh: no fault can be made in: $unwrapped" >&2
  exit 1
fi

exec "$build/fault_sweep" "$@"
