#!/bin/sh
# Loads the shared log; the last two lines have the figures.
#
# usage: soak.sh [PROCESSES [LINES [TIMES]]]     64 processes, 2000 lines each, once by default
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/../../scripts/usage.sh"
case ${1:-} in *[!0-9]*) wrong_use "unknown argument: $1" ;; esac

cd "$(dirname "$0")/../.."
sh scripts/packages.sh cmake ninja-build g++ gettext libc-bin libgtest-dev
cmake --preset release >/dev/null
cmake --build --preset release --target log_soak >/dev/null
times=${3:-1}
while [ "$times" -gt 0 ]; do
  build/release/log_soak "${1:-64}" "${2:-2000}"
  times=$((times - 1))
done
