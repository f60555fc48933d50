#!/bin/sh
# Builds library, commands and tests for another processor, compiler or sign of plain characters, and runs
# every unit test that can run there. Its last lines have the figures, and what is left out with the
# reason.
#
# usage: foreign.sh KIND     arm64, s390x (64 bits, the other byte order), unsigned-char or clang-19
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/usage.sh"
# shellcheck source=tests/support/shell.sh
. "$(dirname "$0")/../tests/support/shell.sh"
[ $# = 1 ] || wrong_use "one kind is needed"
kind=$1

cd "$(dirname "$0")/.."
build=$PWD/build/foreign-$kind
tests=$PWD/tests
sh scripts/packages.sh cmake ninja-build g++ gettext libc-bin libgtest-dev psmisc locales

# configure OPTION...
configure() {
  mkdir -p "$build"
  {
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_COMPILE_WARNING_AS_ERROR=ON "$@" &&
      cmake --build "$build"
  } >"$build/log" 2>&1 || {
    tail -n 40 "$build/log" >&2
    exit 1
  }
}

# cross PROCESSOR TRIPLET: with Debian's cross compiler, googletest from its sources, and qemu's user mode.
cross() {
  sh scripts/packages.sh "g++-$(echo "$2" | tr _ -)" googletest qemu-user
  emulator="qemu-$1 -L /usr/$2"
  configure -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR="$1" -DCMAKE_CXX_COMPILER="$2-g++" \
    -DCMAKE_C_COMPILER="$2-gcc" -DCMAKE_CROSSCOMPILING_EMULATOR="qemu-$1;-L;/usr/$2" \
    -DMOXEL_GTEST_SOURCE=/usr/src/googletest
}

emulator=""
case $kind in
  arm64) cross aarch64 aarch64-linux-gnu ;;
  s390x) cross s390x s390x-linux-gnu ;;
  unsigned-char) configure -DCMAKE_CXX_FLAGS=-funsigned-char ;;
  clang-19)
    sh scripts/packages.sh clang-19
    configure -DCMAKE_CXX_COMPILER=clang++-19
    ;;
  *) wrong_use "unknown kind: $kind" ;;
esac

if [ -z "$emulator" ]; then
  ctest --test-dir "$build" -j 2 -E Product --output-on-failure >"$build/log" || {
    tail -n 40 "$build/log" >&2
    exit 1
  }
  echo "$kind: $(grep -o '[0-9]*% tests passed.*' "$build/log")"
  exit 0
fi

# The host's kernel and programs are there, through qemu; these are not.
left_out=""
# leave_out FILTER REASON
leave_out() {
  left_out="$left_out$1"
  reasons="${reasons:-}
$kind: $(echo "$1" | tr ':' '\n' | grep -c .) left out: $2"
}
leave_out "$(tests_with "$tests" 'denySystemCalls|traceSystemCalls|callsOfALine|logWithAnother')" \
  "qemu's user mode neither denies nor traces system calls"
leave_out "$(tests_with "$tests" '/proc/self/exe')" "a program of the other processor cannot be executed"
leave_out "ResourceBridgeImpGettextCatalogue.*:" "the cross libraries lack the converters for Japanese"
[ "$kind" != s390x ] || leave_out "CMutexSet.CreatesOneSemaphoreForTheOwner:" \
  "qemu's user mode gives the mode of a semaphore as 0"

empty=$(mktemp -d)
trap 'rm -rf "$empty"' EXIT
trap 'exit 1' HUP INT TERM
cd "$empty"
for program in moxel_test small_scope_test; do
  $emulator "$build/$program" --gtest_filter="-$left_out" --gtest_brief=1 >"$build/log" 2>&1 </dev/null || {
    cat "$build/log" >&2
    exit 1
  }
  echo "$kind: $program: $(sed -n 's/^\[  PASSED  \] \([0-9]* tests\).*/\1 passed/p' "$build/log")"
done
echo "$kind: artefact_test left out: its programs of the other processor cannot be executed$reasons"
