#!/bin/sh
# Converts a UTF-8 source to EUC-JP for the compiler, which still reports locations in the original.
#
# usage: to-eucjp.sh SOURCE TARGET [ICONV]
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/usage.sh"
[ $# -ge 2 ] || wrong_use "a source and a target are needed"

source=$1
target=$2
iconv=${3:-iconv}

mkdir -p "$(dirname "$target")"
{
  printf '#line 1 "%s"\n' "$source"
  "$iconv" -f UTF-8 -t EUC-JP "$source"
} >"$target.new"
mv "$target.new" "$target"
