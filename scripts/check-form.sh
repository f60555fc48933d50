#!/bin/sh
# Checks the form of the tree: clang-format, clang-tidy (which also finds missing includes), shellcheck,
# and that each header compiles alone.
#
# usage: check-form.sh
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/usage.sh"

cd "$(dirname "$0")/.."
build=build/release
[ -f "$build/compile_commands.json" ] || cmake --preset release >/dev/null

# Assigned first, so that a failing git ends the script.
sources=$(git ls-files '*.cpp' '*.h')
scripts=$(git ls-files '*.sh' .ci/run)
product=$(git ls-files 'src/*.cpp' 'agent/*.cpp' 'tools/*.cpp')
others=$(git ls-files 'examples/*.cpp' 'scripts/*.cpp' 'tests/*.cpp')

# Versions format differently and find different faults: the tree follows this one.
version=19
# has TOOL: installs the tool of that version; fails, without an error, if the release lacks it.
has() {
  if ! command -v "$1-$version" >/dev/null && ! apt-cache show "$1-$version" >/dev/null 2>&1; then
    echo "$1: not checked, since this release has no $1-$version"
    return 1
  fi
  sh scripts/packages.sh "$1-$version"
  echo "$1"
}

if has clang-format; then
  echo "$sources" | xargs clang-format-$version --dry-run -Werror
fi

echo "shellcheck"
echo "$scripts" | xargs shellcheck

echo "headers stand alone"
for compiler in g++ clang++; do
  printf '%s\n' src/*.h | xargs -P 2 -I HEADER "$compiler" -std=c++17 -Wall -Wextra -Wpedantic -Werror \
    -fsyntax-only -x c++ -include HEADER /dev/null
done

if has clang-tidy; then
  echo "$product" | xargs -n 4 -P 2 clang-tidy-$version --quiet -p "$build" 2>/dev/null
  # For all other sources, missing includes only.
  if echo "$others" | xargs -n 4 -P 2 clang-tidy-$version --quiet -p "$build" \
    --checks='-*,misc-include-cleaner' 2>/dev/null | grep 'no header providing'; then
    exit 1
  fi
fi
