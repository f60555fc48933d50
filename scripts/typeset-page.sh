#!/bin/sh
# Makes a manual page as installed: compressed reproducibly; Japanese pages (below a folder ja) are
# typeset first.
set -eu

usage="usage: typeset-page.sh SOURCE TARGET"
if [ "${1:-}" = -h ]; then
  echo "$usage"
  exit 0
fi
if [ $# != 2 ]; then
  echo "$usage" >&2
  exit 2
fi

mkdir -p "$(dirname "$2")"
case $1 in
  */ja/*) perl -CSD "${0%/*}/typeset-japanese.pl" "$1" >"$2.plain" ;;
  *) cat "$1" >"$2.plain" ;;
esac
gzip -9nc "$2.plain" >"$2.new"
rm "$2.plain"
mv "$2.new" "$2"
