#!/bin/sh
# Runs the command in hostile surroundings: without descriptors, under limits, with signals ignored, and so
# on; the last lines have the figures.
set -eu

if [ "${1:-}" = -h ]; then
  echo "usage: hostile.sh"
  exit 0
fi

cd "$(dirname "$0")/.."
sh scripts/packages.sh cmake ninja-build g++ gettext libc-bin libgtest-dev
cmake --preset release >/dev/null
cmake --build --preset release --target artefact_test >/dev/null
exec build/release/artefact_test --gtest_filter='Surroundings.*'
