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
  shift
  status=0
  sh "$@" >"$scratch/output" 2>"$scratch/errors" </dev/null || status=$?
  equal "$expected" $status "status of $*"
}

for script in run.sh bench/bench.sh tests/mutation/mutate.sh scripts/fresh-root.sh tests/packages_test.sh \
  tests/sample_script_test.sh; do
  for argument in "" none "$(readlink /proc/self/ns/mnt)"; do
    gives 2 $script --inside "$scratch" "$argument" "$argument"
    present "^${script##*/}: --inside is for the script itself\$" "$scratch/errors" "$script --inside"
  done
done
echo "the scripts behave alike"
