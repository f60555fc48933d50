#!/bin/sh
# Runs the unit tests and the command's end-to-end tests under valgrind: no error of memcheck, no
# descriptor left open by the command. Its last lines have the figures.
set -eu

if [ "${1:-}" = -h ]; then
  echo "usage: valgrind.sh"
  exit 0
fi

cd "$(dirname "$0")/.."
sh scripts/packages.sh cmake ninja-build g++ gettext libc-bin libgtest-dev valgrind psmisc locales perl
cmake --preset debug >/dev/null
cmake --build --preset debug >/dev/null

# Left out: tests of processes that fuser finds by their program, which is valgrind's here; of limits of
# descriptors and of denied system calls, which valgrind itself needs; of the interposed allocation of
# unusual sizes; of the process's own image; of exact speeds and amounts that are only many.
left_out="Directories.Running*:*Descriptor*:*descriptor*"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/empty"
cd "$work/empty"
build=$OLDPWD/build/debug
# Every process writes a report of its own.
status=0
valgrind -q --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite \
  --show-leak-kinds=definite --soname-synonyms=somalloc=nouserintercepts \
  --log-file="$work/unit.%p" "$build/moxel_test" --gtest_brief=1 --gtest_filter="-$left_out" \
  </dev/null >"$work/unit" 2>&1 || status=$?
tail -n 3 "$work/unit"
if [ $status != 0 ] || cat "$work"/unit.[0-9]* | grep -q '=='; then
  cat "$work/unit" "$work"/unit.[0-9]* >&2
  echo "valgrind.sh: the unit tests have errors" >&2
  exit 1
fi
