#!/bin/sh
# Makes a manual page as installed: compressed reproducibly; Japanese pages (below a folder ja) are
# typeset first.
#
# usage: typeset-page.sh SOURCE TARGET
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/usage.sh"
[ $# = 2 ] || wrong_use "a source and a target are needed"

mkdir -p "$(dirname "$2")"
case $1 in
  */ja/*) perl -CSD "${0%/*}/typeset-japanese.pl" "$1" >"$2.plain" ;;
  *) cat "$1" >"$2.plain" ;;
esac
gzip -9nc "$2.plain" >"$2.new"
rm "$2.plain"
mv "$2.new" "$2"
