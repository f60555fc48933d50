#!/bin/sh
# What the scripts have in common: help, wrong use, and that none mounts over anything when it is called
# by hand as it calls itself.
#
# usage: scripts_test.sh SOURCE BUILD
set -eu

# shellcheck source=tests/support/shell.sh
. "$(dirname "$0")/support/shell.sh"

cd "$1"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
trap 'exit 1' HUP INT TERM

# gives STATUS SCRIPT ARGUMENT...: its outputs are in $scratch/output and $scratch/errors.
gives() {
  expected=$1
  script=$2
  shift 2
  status=0
  "./$script" "$@" >"$scratch/output" 2>"$scratch/errors" </dev/null || status=$?
  equal "$expected" $status "status of $script $*"
}

# Each says what it does, and how it is used.
for script in run.sh test.sh bench/bench.sh docs/modules.sh fuzz/fuzz.sh scripts/*.sh tests/valgrind.sh \
  tests/faults/sweep.sh tests/load/soak.sh tests/mutation/mutate.sh; do
  case $script in scripts/inside.sh | scripts/usage.sh) continue ;; esac
  for option in -h --help; do
    gives 0 "$script" $option
    empty "$scratch/errors" "error output of $script $option"
    present '^[A-Z].*' "$scratch/output" "what $script does"
    present "^usage: ${script##*/}" "$scratch/output" "the usage of $script"
    absent '^set|^#' "$scratch/output" "the help of $script"
  done
done
for script in test.sh docs/modules.sh fuzz/fuzz.sh tests/load/soak.sh tests/mutation/mutate.sh; do
  gives 2 $script -x
  empty "$scratch/output" "output of $script -x"
  equal "${script##*/}: unknown argument: -x" "$(head -n 1 "$scratch/errors")" "the message of $script -x"
  present "^usage: ${script##*/}" "$scratch/errors" "the usage after $script -x"
done
gives 2 bench/bench.sh 1
equal "bench.sh: a median is of more than one" "$(head -n 1 "$scratch/errors")" "the message of bench.sh 1"

# Temporary files are gone after signals, too, at which the shell runs no trap of its end.
grep -rlF "\$(mktemp" --include='*.sh' run.sh test.sh scripts tests bench fuzz docs examples >"$scratch/makers"
while read -r script; do
  present "^ *trap .*HUP INT TERM" "$script" "what $script does after signals"
done <"$scratch/makers"
[ "$(wc -l <"$scratch/makers")" -gt 10 ] || fail "few scripts make temporary files: $(cat "$scratch/makers")"

for script in run.sh bench/bench.sh tests/mutation/mutate.sh scripts/fresh-root.sh tests/packages_test.sh \
  tests/sample_script_test.sh; do
  for argument in "" none "$(readlink /proc/self/ns/mnt)"; do
    gives 2 "$script" --inside "$scratch" "$argument" "$argument"
    present "^${script##*/}: --inside is for the script itself\$" "$scratch/errors" "$script --inside"
  done
done
# Nor one whose parent is out of sight, as the first of a namespace of processes; in private mounts it goes on.
# Root only: a user could not mount there anyway.
if [ "$(id -u)" = 0 ]; then
  for mounts in "" --mount; do
    status=0
    # shellcheck disable=SC2086 # none or one option
    unshare --pid --fork $mounts sh -c '. scripts/inside.sh; echo "goes on"' >"$scratch/output" \
      2>"$scratch/errors" || status=$?
    expected="2 "
    [ -z "$mounts" ] || expected="0 goes on"
    equal "$expected" "$status $(cat "$scratch/output")" "--inside without a visible parent, with '$mounts'"
  done
fi
echo "the scripts behave alike"
