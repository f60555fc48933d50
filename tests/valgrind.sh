#!/bin/sh
# Runs the end-to-end tests of the command and the unit tests under valgrind: no error of memcheck, no
# lost memory, and no descriptor that is left open but what a temporary directory leaves deliberately.
# Its last lines have the figures.
#
# usage: valgrind.sh
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/../scripts/usage.sh"
# shellcheck source=tests/support/shell.sh
. "$(dirname "$0")/support/shell.sh"

cd "$(dirname "$0")/.."
sh scripts/packages.sh cmake ninja-build g++ gettext libc-bin libgtest-dev valgrind psmisc locales perl
cmake --preset debug >/dev/null
cmake --build --preset debug >/dev/null
build=$PWD/build/debug
tests=$PWD/tests
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
mkdir "$work/empty"
cd "$work/empty"

# opened REPORT: the descriptors that are open at the end and were not at the start.
opened() {
  sed 's/^==[0-9]*== *//' "$1" | awk '
    /^Open file descriptor/ { open = $0; next }
    open != "" { if ($0 !~ /inherited from parent/) print open; open = "" }'
}

# under NAME FILTER PROGRAM OPTION...: the program's tests, every process with a report of its own.
under() {
  name=$1
  filter=$2
  program=$3
  shift 3
  status=0
  # shellcheck disable=SC2016 # for the inner shell
  sh -c 'echo $$ >"$0"; exec "$@"' "$work/$name.pid" \
    valgrind -q --track-fds=yes --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite \
    --show-leak-kinds=definite --soname-synonyms=somalloc=nouserintercepts \
    --suppressions="$tests/valgrind.supp" --log-file="$work/$name.%p" "$@" "$program" \
    --gtest_filter="$filter" --gtest_brief=1 </dev/null >"$work/$name" 2>&1 || status=$?
  if [ $status != 0 ] || cat "$work/$name".[0-9]* | sed 's/^==[0-9]*== *//' |
    grep -E '^(Invalid|Mismatched|Jump to the invalid|Conditional|Use of|Syscall|Source and|[0-9,]+ .*lost)'; then
    cat "$work/$name" "$work/$name".[0-9]* >&2
    echo "valgrind.sh: $name has errors" >&2
    exit 1
  fi
  passed=$(sed -n 's/^\[  PASSED  \] \([0-9]*\) tests.*/\1/p' "$work/$name")
  [ "${passed:-0}" -gt 0 ] || {
    echo "valgrind.sh: no test of $name has run" >&2
    exit 1
  }
  processes=$(find "$work" -name "$name.[0-9]*" | wc -l)
  echo "$name: $passed tests, $processes processes, no error"
}

# Left out: limits of descriptors and of file sizes, which valgrind itself needs; the run that ends by an
# exception, which nobody frees; users who may not write its reports; and the name by which a program is
# started, which is a path here.
left_out="*.ALimitOf*:*.AnyOtherExceptionEndsTheRun:*.ConfcheckTellsWhyAFileCannotBeRead"
left_out="$left_out:*.TellsWhatCannotBeSeen:*.WrongUseIsToldOnStandardError"
under command "Scsend.*:ScsendSurroundings.*:Tools*:VekcomSubstitute.*:MessageFiles.*-$left_out" "$build/artefact_test" \
  --trace-children=yes \
  --trace-children-skip='/bin/*,/usr/bin/*,/usr/sbin/*,*.sh'
# What the command has open at its end it was given at its start.
for report in "$work"/command.[0-9]*; do
  if opened "$report" | grep .; then
    echo "valgrind.sh: the command leaves descriptors open" >&2
    exit 1
  fi
done

# Left out: limits, denied and traced system calls, which valgrind itself needs; processes that fuser finds by
# their program, or that start it anew, which is valgrind's here; waits that count signals; commands that
# cannot be executed, after which valgrind gives up; and users who may not write its reports.
left_out=$(tests_with "$tests" 'denySystemCalls|leaveDescriptors|setrlimit|execl|execv|isRunning[(][^n]|SIGUSR1|EXPECT_DEATH|EXPECT_EXIT|dropPrivileges|traceSystemCalls|callsOfALine|logWithAnother')
left_out="$left_out*AFailedExec*:*.AShellThat*:*.TheChildHasNoDescriptorOfTheCall"
left_out="$left_out:*.WithoutATemporaryFile*:*.WithoutMessagesOnly*"
echo "library: $(echo "$left_out" | tr ':' '\n' | grep -c .) tests or groups of tests are left out"
under library "-$left_out" "$build/moxel_test"
# Of the tests' own process; their children end in the middle of things.
if opened "$work/library.$(cat "$work/library.pid")" | grep -v '/[A-Za-z0-9]\{6\}$'; then
  echo "valgrind.sh: the library leaves descriptors open" >&2
  exit 1
fi

