#!/bin/sh
# Measures the library and the command beside what a user would pick instead: installs what that
# needs, builds, runs everything in one go, and writes the table into docs/measurements.md, which it
# prints last. With --profile it shows where the time of a single measurement goes.
#
# usage: bench.sh [REPETITIONS]     2 or more; 10 by default, which takes about ten minutes
#        bench.sh --profile ROW/WHO/SIZE TIMES
#        bench.sh --profile memory
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/../scripts/usage.sh"
case ${1:-} in
  --inside) ;;
  --profile) [ $# = 3 ] || [ "$*" = "--profile memory" ] || wrong_use "--profile needs a row and a count" ;;
  *[!0-9]* | 0 | 1) wrong_use "a median is of more than one" ;;
esac

top=$(cd "$(dirname "$0")/.." && pwd)
build=$top/build/bench

# ---- In mounts of its own --------------------------------------------------------------------

# How often an operation is run for its system calls and instructions: what more runs cost more, by
# the number of those runs.
further_runs() {
  case $1 in
    execGetLines* | scsend* | get* | removeFiles* | CEnvConf*) echo 1 ;;
    *) echo 10 ;;
  esac
}

system_calls() {
  strace -f -c -o "$results/strace" "$build/moxel_bench" --once "$1" "$2" >/dev/null 2>&1
  awk '$NF == "total" { print $4 }' "$results/strace"
}

instructions() {
  valgrind --tool=callgrind --callgrind-out-file=/dev/null --log-file="$results/callgrind" \
    "$build/moxel_bench" --once "$1" "$2" >/dev/null 2>&1
  awk '/Collected/ { print $NF }' "$results/callgrind"
}

# What one run more costs: WHAT NAME, where WHAT is one of the two functions above.
each() {
  more=$(further_runs "$2")
  few=$("$1" "$2" 1)
  many=$("$1" "$2" $((1 + more)))
  echo $(((many - few) / more))
}

# Runs the command and the program beside it, which appear in $results under their names with the
# peak of each run.
run_for_peaks() {
  printf '#!/bin/sh\necho one line\n' >/opt/kardo/moxel/bin/scsend.sh
  chmod 755 /opt/kardo/moxel/bin/scsend.sh
  for program in scsend popen; do
    for _ in $(seq "$1"); do
      "$build/bench_peak" "$results/$program" /opt/kardo/moxel/bin/$program >"$results/output"
    done
  done
}

# The memory in KB that each file, the heap and the stack take in a copy of /proc/PID/smaps.
show_mappings() {
  awk '/^[0-9a-f]+-/ { name = NF > 5 ? $6 : "other"; sub(".*/", "", name) }
    /^Rss:/ { kilobytes[name] += $2; total += $2 }
    END {
      for (name in kilobytes) if (kilobytes[name] > 0) print kilobytes[name], name
      print total, "in all"
    }' "$1" | sort -n
}

# measure ROWS REPETITIONS FILE: the times of the rows that a regular expression describes.
measure() {
  "$build/moxel_bench" --benchmark_filter="$1" --benchmark_repetitions="$2" \
    --benchmark_enable_random_interleaving=true --benchmark_min_time=0.03 \
    --benchmark_report_aggregates_only=true --benchmark_out="$3" --benchmark_out_format=json \
    >/dev/null
}

if [ "${1:-}" = --inside ]; then
  # shellcheck source=scripts/inside.sh
  . "$top/scripts/inside.sh"
  # The tree may lie below /tmp, which is covered next.
  mount --bind "$top" /mnt
  build=/mnt/build/bench
  results=/mnt/$2
  mount -t tmpfs moxel-tmp /tmp
  mount -t tmpfs -o mode=0755 moxel-opt /opt
  mount -t tmpfs -o mode=0755 moxel-log /var/log
  mkdir -p /opt/kardo/moxel/bin /opt/ZQRNvek/lib /var/log/kardo/moxel/log
  install -m 755 "$build/scsend" /opt/kardo/moxel/bin
  install -m 755 "$build/bench_popen" /opt/kardo/moxel/bin/popen
  install -m 644 "$build/libvekcom.so.2.0" /opt/ZQRNvek/lib
  MOXEL_LOG=/var/log/kardo/moxel/log/moxel.log
  LD_LIBRARY_PATH=/opt/ZQRNvek/lib
  export MOXEL_LOG LD_LIBRARY_PATH

  if [ "$3 ${4:-}" = "--profile memory" ]; then
    run_for_peaks 1
    for program in scsend popen; do
      echo "$program, KB at its end:"
      show_mappings "$results/$program.maps"
    done
    exit 0
  elif [ "$3" = --profile ]; then
    perf record --quiet --event cpu-clock --freq 5000 --output "$results/perf.data" \
      "$build/moxel_bench" --once "$4" "$5" >/dev/null 2>&1
    perf report --stdio --quiet --input "$results/perf.data" --comm moxel_bench --sort dso,symbol \
      --percent-limit 2 2>/dev/null | sed -e 's/ *- *- *$//' -e '/^$/d' | cut -c 1-100
    exit 0
  fi

  # A fork costs more the more the process has in memory: what does little else is measured in a
  # process that nothing else has filled.
  forks='^(execGetLines of echo|scsend)/'
  measure "$forks" "$3" "$results/forks.json"
  measure "-$forks" "$3" "$results/times.json"

  "$build/moxel_bench" --list >"$results/list"
  while IFS="$(printf '\t')" read -r row who sizes; do
    name=$row/$who/${sizes%% *}
    # Its system calls are those of one line, of which there are many.
    [ "$row" != "ilog from processes" ] || continue
    printf '%s\t%s\t%s\t%s\n' "$row" "$who" "$(each system_calls "$name" </dev/null)" \
      "$(each instructions "$name" </dev/null)"
  done <"$results/list" >"$results/counts"

  # Where the libraries come to lie changes which pages are touched, so that the median is of many.
  run_for_peaks 51
  for program in scsend popen; do
    printf '%s\t%s\n' $program "$(sort -n "$results/$program" | sed -n 26p)" >>"$results/peaks"
  done
  for who in moxel "list alone"; do
    printf '%s\t' "$who" >>"$results/peaks"
    "$build/moxel_bench" --once "execGetLines of MB/$who/200" 1 2>>"$results/peaks" >/dev/null
  done

  # The command's start and end, without a child.
  VEKCOM_STATUS=0x10000 valgrind --tool=callgrind --callgrind-out-file=/dev/null \
    --log-file="$results/callgrind" /opt/kardo/moxel/bin/scsend >/dev/null 2>&1 || true
  awk '/Collected/ { print $NF }' "$results/callgrind" >"$results/start"
  exit 0
fi

# ---- Set-up ----------------------------------------------------------------------------------

[ $# -gt 0 ] || set -- 10
cd "$top"
sh scripts/packages.sh cmake ninja-build gettext g++ gcc libc-bin util-linux mount strace valgrind \
  linux-perf python3 gnuplot-nox libbenchmark-dev libabsl-dev libboost-dev \
  libboost-filesystem-dev libboost-regex-dev libfmt-dev libspdlog-dev libinih-dev
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
  -DMOXEL_BENCH=ON >/dev/null
cmake --build "$build" --target moxel_bench bench_popen bench_peak scsend vekcom_substitute >/dev/null

results=build/bench/results
[ "${1:-}" != --profile ] || results=build/bench/profile
rm -rf "$results"
mkdir "$results"
namespaces="--mount --ipc"
[ "$(id -u)" = 0 ] || namespaces="--user --map-root-user $namespaces"
# shellcheck disable=SC2086 # a list of options
unshare $namespaces sh bench/bench.sh --inside "$results" "$@"
[ "${1:-}" != --profile ] || exit 0

python3 bench/report.py "$results" docs/measurements.md docs/growth.svg
cat docs/measurements.md
