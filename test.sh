#!/bin/sh
# Runs everything that must pass: set-up, both compilers without warnings, all tests, again under the
# sanitizers, faults, load, fuzzing, coverage, run.sh, and the checks of form.
#
# usage: test.sh [quick]     quick: one compiler, the checks of form, the tests but of packages or run.sh
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/scripts/usage.sh"
mode=${1:-}
case $mode in "" | quick) ;; *) wrong_use "unknown argument: $1" ;; esac

cd "$(dirname "$0")"
# The tests need an open standard input, whatever the caller has.
exec </dev/null

step() {
  echo
  echo "==== $(date +%T) $*"
}

step "packages"
sh scripts/packages.sh git make cmake ninja-build g++ clang libgtest-dev libgmock-dev gettext libc-bin \
  util-linux mount locales psmisc perl pkgconf shellcheck \
  binutils dpkg-dev file rpm lintian mandoc man-db groff doxygen \
  g++-aarch64-linux-gnu qemu-user systemd logrotate

if [ "$mode" = quick ]; then
  step "build and test: debug"
  cmake --preset debug >/dev/null
  cmake --build --preset debug
  ctest --preset debug -E 'Product.(packages|run)'
  step "form"
  sh scripts/check-form.sh
  step "all of quick passed"
  exit 0
fi

for preset in release sanitize; do
  step "build and test: $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done

step "build and test: release-clang, in one process and shuffled order"
cmake --preset release-clang >/dev/null
cmake --build --preset release-clang
ctest --preset release-clang -R Product
for program in moxel_test artefact_test small_scope_test; do
  ./build/release-clang/$program --gtest_shuffle --gtest_brief=1
done

step "the library and the command alone, in an empty directory"
alone=$(mktemp -d)
trap 'rm -rf "$alone"' EXIT
trap 'exit 1' HUP INT TERM
cmake -S . -B "$alone" -DBUILD_TESTING=OFF >/dev/null
cmake --build "$alone" --target moxel scsend >/dev/null
ls "$alone/libmoxel.a" "$alone/scsend" "$alone/libvekcom.so.2.0"

step "faults"
sh tests/faults/sweep.sh

step "load"
sh tests/load/soak.sh

step "fuzz"
sh fuzz/fuzz.sh 10

step "coverage"
sh scripts/coverage.sh

step "run.sh"
./run.sh >"$alone/run"
grep -c '^-- exit status' "$alone/run"

step "form"
sh scripts/check-form.sh

step "all passed"
