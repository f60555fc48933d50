#!/bin/sh
# Measures the line and branch coverage of src/ by the tests and prints the table.
set -eu

if [ "${1:-}" = -h ]; then
  echo "usage: coverage.sh"
  exit 0
fi

cd "$(dirname "$0")/.."
sh scripts/packages.sh cmake ninja-build gettext g++ libgtest-dev libgmock-dev \
  libc-bin util-linux locales psmisc perl gcovr

build=build/coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage >/dev/null
find "$build" -name '*.gcda' -delete
# Tests that give up root's rights count as well: they write beside root's figures.
find "$build" -type d -exec chmod a+rwx {} +
(
  umask 0
  ctest --preset coverage >"$build/tests" || {
    cat "$build/tests"
    exit 1
  }
)
gcovr --root . --filter src/ --exclude-throw-branches "$build"
gcovr --root . --filter src/ --exclude-throw-branches --branches "$build" | tail -n 4
