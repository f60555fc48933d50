#!/bin/sh
# Shows system calls, time and memory of getFileList and getTotalFileSize on a directory of many
# entries and on a tree of many files, beside std::filesystem and du.
set -eu

usage="usage: file_lists.sh [ENTRIES]   (100000 when not given)"
case ${1:-} in
  -h)
    echo "$usage"
    exit 0
    ;;
esac
entries=${1:-100000}

cd "$(dirname "$0")/.."
sh scripts/packages.sh cmake ninja-build gettext g++ libc-bin strace
build=build/bench
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
  -DMOXEL_BENCH=ON >/dev/null
cmake --build "$build" --target file_lists >/dev/null

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/flat" "$scratch/deep"
(cd "$scratch/flat" && seq 1 "$entries" | xargs touch)
# 100 directories on 10 levels, the files spread over them.
level=$scratch/deep
for i in 0 1 2 3 4 5 6 7 8 9; do
  level=$level/$i
  for j in 0 1 2 3 4 5 6 7 8 9; do
    mkdir -p "$level/leaf$j"
    (cd "$level/leaf$j" && seq 1 $((entries / 100)) | xargs touch)
  done
done

printf '%-6s %-28s %10s %10s %10s %10s\n' tree operation ms calls 'peak KB' result
for row in "flat getFileList" "flat getFileList/filesystem" "flat getTotalFileSize" \
  "flat getTotalFileSize/filesystem" "flat getTotalFileSize/du" "deep getTotalFileSize" \
  "deep getTotalFileSize/filesystem" "deep getTotalFileSize/du"; do
  tree=${row% *}
  operation=${row#* }
  figures=$("$build/file_lists" "$operation" "$scratch/$tree" 10)
  strace -f -c -o "$scratch/calls" "$build/file_lists" "$operation" "$scratch/$tree" 1 >/dev/null
  calls=$(awk '$NF != "total" && $4 ~ /^[0-9]+$/ { n += $4 } END { print n }' "$scratch/calls")
  # shellcheck disable=SC2086 # three figures
  set -- $figures
  printf '%-6s %-28s %10s %10s %10s %10s\n' "$tree" "$operation" "$1" "$calls" "$3" "$2"
done
