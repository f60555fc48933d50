#!/bin/sh
# Measures the line and branch coverage of src/ by the tests and the fault sweep and prints the table, without
# the branches that only an exception takes, which the compiler adds to every call. Fails below 100 % of
# the lines or 95 % of the branches, except for the listed exceptions. Its last line has the figures.
#
# usage: coverage.sh
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/usage.sh"

cd "$(dirname "$0")/.."
sh scripts/packages.sh cmake ninja-build gettext g++ libgtest-dev \
  libc-bin util-linux locales psmisc perl python3 gcovr

top=$PWD
build=build/coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage --target all fault_sweep >/dev/null
find "$build" -name '*.gcda' -delete

# The figures are collected elsewhere: tests that drop root's rights must reach them, and the sweep mounts
# over /tmp, where the tree may be.
figures=$(mktemp -d -p /var/tmp)
trap 'rm -rf "$figures"' EXIT
trap 'exit 1' HUP INT TERM
find "$top/$build" -type d -exec sh -c 'mkdir -p "$0$1"' "$figures" {} \;
chmod -R a+rwX "$figures"
GCOV_PREFIX=$figures
export GCOV_PREFIX
(
  umask 0
  for program in moxel_test artefact_test small_scope_test; do
    "$build/$program" --gtest_brief=1 >"$build/tests.log" 2>&1 </dev/null || {
      cat "$build/tests.log"
      exit 1
    }
  done
)
# The sweep reaches code that only a failing call runs. In an instrumented program some of its faults hit the
# measurement instead, so its findings do not count here.
"$build/fault_sweep" logsALine logsALineOnAFullDisk rotatesTheLog sendsALineToTheSystemLogger takesTheLock \
  passesARecordOn readsAMessageFile readsTheCompiledInTexts showsMessages measuresATree \
  tellsTheHostName >"$build/sweep.log" 2>&1 || true
tail -n 1 "$build/sweep.log" | grep -q '^11 scenarios' || {
  cat "$build/sweep.log"
  exit 1
}
cp -r "$figures$top/$build/." "$build"
gcovr --root . --filter src/ --exclude-throw-branches "$build"
gcovr --root . --filter src/ --exclude-throw-branches --json - "$build" |
  python3 scripts/coverage.py tests/coverage_exceptions.txt
