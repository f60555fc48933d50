#!/bin/sh
# Loads the shared log; the last two lines have the figures.
set -eu

usage="usage: soak.sh [PROCESSES [LINES [TIMES]]]     64 processes, 2000 lines each, once by default"
case ${1:-} in
  -h)
    echo "$usage"
    exit 0
    ;;
  *[!0-9]*)
    echo "$usage" >&2
    exit 2
    ;;
esac

cd "$(dirname "$0")/../.."
sh scripts/packages.sh cmake ninja-build g++ gettext libc-bin libgtest-dev
cmake --preset release >/dev/null
cmake --build --preset release --target log_soak >/dev/null
times=${3:-1}
while [ "$times" -gt 0 ]; do
  build/release/log_soak "${1:-64}" "${2:-2000}"
  times=$((times - 1))
done
