#!/bin/sh
# Builds the fuzz targets (libFuzzer, address and undefined-behaviour sanitizers) and runs each for a
# time, from the seeds in the tree; an input that shows a fault is left in build/fuzz. The last lines
# have the figures.
#
# usage: fuzz.sh [SECONDS [TARGET...]]     10 seconds for each target by default
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/../scripts/usage.sh"
case ${1:-} in *[!0-9]*) wrong_use "unknown argument: $1" ;; esac

seconds=${1:-10}
[ $# = 0 ] || shift
cd "$(dirname "$0")/.."
sh scripts/packages.sh cmake ninja-build clang gettext libc-bin
# The runtime is packaged by the version of the compiler.
sh scripts/packages.sh "libclang-rt-$(clang++ -dumpversion | cut -d . -f 1)-dev"
[ $# -gt 0 ] || set -- configuration messages record text shell format output
cmake --preset fuzz >/dev/null
for target in "$@"; do
  cmake --build --preset fuzz --target "fuzz_$target" >/dev/null
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
# No log: its directory is missing.
MOXEL_LOG=$work/none/moxel.log
LC_ALL=C
export MOXEL_LOG LC_ALL
for target in "$@"; do
  mkdir "$work/$target"
  if ! "build/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=20 -max_len=20000 -rss_limit_mb=4096 \
    -artifact_prefix=build/fuzz/ -print_final_stats=1 "$work/$target" "fuzz/seeds/$target" \
    >"$work/$target.output" 2>&1 </dev/null; then
    tail -n 40 "$work/$target.output" >&2
    echo "fuzz.sh: $target shows a fault" >&2
    exit 1
  fi
  awk -v target="$target" '
    / cov: / { for (i = 1; i <= NF; ++i) if ($i == "cov:") coverage = $(i + 1) }
    /number_of_executed_units/ { units = $2 }
    END { printf "%-14s %9d inputs, coverage %d\n", target, units, coverage }' "$work/$target.output"
done
