#!/bin/sh
# Makes the calls of the C library that can fail do so in turn, in every scenario, and reports what fell short; its
# last line has the figures.
set -eu

if [ "${1:-}" = -h ]; then
  echo "usage: sweep.sh [-v] [SCENARIO...]"
  exit 0
fi

cd "$(dirname "$0")/../.."
sh scripts/packages.sh cmake ninja-build g++ binutils gettext libc-bin libgtest-dev
cmake --preset debug >/dev/null
cmake --build --preset debug --target fault_sweep >/dev/null
exec build/debug/fault_sweep "$@"
