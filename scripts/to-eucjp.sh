#!/bin/sh
# Converts a UTF-8 source to EUC-JP for the compiler, which still reports locations in the original.
set -eu

usage="usage: to-eucjp.sh SOURCE TARGET [ICONV]"
if [ "${1:-}" = -h ]; then
  echo "$usage"
  exit 0
fi
if [ $# -lt 2 ]; then
  echo "$usage" >&2
  exit 2
fi

source=$1
target=$2
iconv=${3:-iconv}

mkdir -p "$(dirname "$target")"
{
  printf '#line 1 "%s"\n' "$source"
  "$iconv" -f UTF-8 -t EUC-JP "$source"
} >"$target.new"
mv "$target.new" "$target"
