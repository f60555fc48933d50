#!/bin/sh
# Checks the form of the tree: clang-format, clang-tidy, shellcheck, and that each header stands
# alone.
set -eu

if [ "${1:-}" = -h ]; then
  echo "usage: check-form.sh"
  exit 0
fi

cd "$(dirname "$0")/.."
build=build/release
[ -f "$build/compile_commands.json" ] || cmake --preset release >/dev/null

# Assigned, so that a failing git ends the script.
sources=$(git ls-files '*.cpp' '*.h')
scripts=$(git ls-files '*.sh' .ci/run)
product=$(git ls-files 'src/*.cpp' 'agent/*.cpp')

echo "clang-format"
echo "$sources" | xargs clang-format --dry-run -Werror

echo "shellcheck"
echo "$scripts" | xargs shellcheck

echo "headers stand alone"
for header in src/*.h; do
  for compiler in g++ clang++; do
    "$compiler" -std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -x c++ -include "$header" \
      /dev/null
  done
done

echo "clang-tidy"
echo "$product" | xargs -n 4 -P 2 clang-tidy --quiet -p "$build" 2>/dev/null
