#!/bin/sh
# Draws docs/modules.svg from the includes: an arrow for each module whose header or source needs
# another one's header. With --check, compares the picture in the tree with the includes instead.
#
# usage: modules.sh [--check]
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/../scripts/usage.sh"
case ${1:-} in "" | --check) ;; *) wrong_use "unknown argument: $1" ;; esac
cd "$(dirname "$0")/.."

# "from to" for each include of one module's header by another.
includes() {
  for file in src/*.h src/*.cpp; do
    from=${file##*/}
    sed -n "s/^#include \"\\(.*\\)\\.h\".*/${from%.*} \\1/p" "$file"
  done | awk '$1 != $2' | sort -u
}

if [ "${1:-}" = --check ]; then
  drawn=$(mktemp)
  trap 'rm -f "$drawn"' EXIT
  trap 'exit 1' HUP INT TERM
  sed -n 's/^<title>\(.*\)&#45;&gt;\(.*\)<\/title>$/\1 \2/p' docs/modules.svg | sort -u >"$drawn"
  if ! includes | diff "$drawn" -; then
    echo "modules.sh: docs/modules.svg is not the picture of the includes; run docs/modules.sh" >&2
    exit 1
  fi
  exit
fi

{
  echo 'digraph modules { node [shape=box fontname="sans-serif" fontsize=11 height=0.3]; edge [arrowsize=0.6]; ranksep=0.4; nodesep=0.15;'
  includes | awk '{ printf "\"%s\" -> \"%s\";\n", $1, $2 }'
  echo '}'
} | dot -Tsvg >docs/modules.svg
