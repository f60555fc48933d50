#!/bin/sh
# Compiles a UTF-8 message catalogue into one in EUC-JP, the code set of the texts that the tools
# look up.
#
# usage: compile-catalogue.sh CATALOGUE.po TARGET.mo
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/usage.sh"
[ $# = 2 ] || wrong_use "a catalogue and a target are needed"

mkdir -p "$(dirname "$2")"
# Newer versions convert to UTF-8 by default; older ones lack the option.
unconverted=""
if msgfmt --help | grep -q -e --no-convert; then unconverted=--no-convert; fi
# Keys that are not ASCII are intended; msgfmt's warnings about them appear only on failure.
{
  msgfmt --check --output-file=/dev/null "$1" &&
    msgconv --to-code=EUC-JP --output-file="$2.po" "$1" &&
    msgfmt $unconverted --endianness=little --output-file="$2.new" "$2.po"
} 2>"$2.warnings" || {
  cat "$2.warnings" >&2
  exit 1
}
mv "$2.new" "$2"
rm "$2.po" "$2.warnings"
