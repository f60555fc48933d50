#!/bin/sh
# Measures the line and branch coverage of src/ by the tests and the fault sweep, without the branches that
# only an exception takes, which the compiler adds to every call, and prints the table;
# fails below 100 % of the lines or 95 % of the branches, but for the exceptions that are listed. Its last
# line has the figures.
set -eu

if [ "${1:-}" = -h ]; then
  echo "usage: coverage.sh"
  exit 0
fi

cd "$(dirname "$0")/.."
sh scripts/packages.sh cmake ninja-build gettext g++ libgtest-dev \
  libc-bin util-linux locales psmisc perl python3 gcovr

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
# The sweep reaches what only a failing call does. In an instrumented program some of its faults hit the
# measurement instead, so that its findings do not count here.
cmake --build --preset coverage --target fault_sweep >/dev/null
# It covers /tmp, where the tree may be: its figures are added in a copy of the tree's, elsewhere.
top=$PWD
copy=$(mktemp -d -p /var/tmp)
trap 'rm -rf "$copy"' EXIT
find "$top/$build" -name '*.gcda' -exec cp --parents {} "$copy" \;
GCOV_PREFIX=$copy "$build/fault_sweep" "CLog, a line" "CLog, a line behind a torn one" "CLog, rotation" slog CMutex \
  "error record" ResourceBridgeImpFile ResourceBridgeImpGettext "CDspMsg, display" getTotalFileSize \
  getHostname >"$build/sweep" 2>&1 || true
tail -n 1 "$build/sweep" | grep -q '^11 scenarios' || {
  cat "$build/sweep"
  exit 1
}
cp -r "$copy$top/$build/." "$build"
gcovr --root . --filter src/ --exclude-throw-branches "$build"
gcovr --root . --filter src/ --exclude-throw-branches --json - "$build" |
  python3 scripts/coverage.py tests/coverage_exceptions.txt
