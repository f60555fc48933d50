#!/bin/sh
# What the build needs and does not find stops it at configuration, with one line that says what to
# install; so do 32 bits. The tools are hidden in a private mount namespace.
#
# usage: configure_test.sh SOURCE BUILD
set -eu

# shellcheck source=tests/support/shell.sh
. "$(dirname "$0")/support/shell.sh"

source=$1
namespaces="--mount"
[ "$(id -u)" = 0 ] || namespaces="--user --map-root-user --mount"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
trap 'exit 1' HUP INT TERM

# Hides files and directories under empty ones; nobody can execute the file.
touch "$scratch/file"
mkdir "$scratch/directory"
cat >"$scratch/hidden" <<'END'
scratch=$1 source=$2
shift 2
for path in "$@"; do
  if [ -d "$path" ]; then empty=directory; else empty=file; fi
  mount --bind "$scratch/$empty" "$path"
done
exec cmake -S "$source" -B "$scratch/build"
END

# refused LINE PATH...: without these paths, configuration fails with LINE.
refused() {
  line=$1
  shift
  # shellcheck disable=SC2086 # a list of options
  if unshare $namespaces sh -e "$scratch/hidden" "$scratch" "$source" "$@" >"$scratch/output" 2>&1; then
    fail "expected a refusal without $*, which was configured"
  fi
  present "^  $line\$" "$scratch/output" "configuration without $*"
  rm -rf "$scratch/build"
}

refused "iconv not found: install the Debian package libc-bin" "$(command -v iconv)"
refused "msgfmt not found: install the Debian package gettext" "$(command -v msgfmt)"
refused "GoogleTest not found: install the Debian package libgtest-dev" \
  /usr/include/gtest /usr/lib/*/cmake/GTest
# Compiled only, since libraries of 32 bits are not there.
if [ "$(uname -m)" = x86_64 ]; then
  status=0
  cmake -S "$source" -B "$scratch/build" -DCMAKE_CXX_FLAGS=-m32 -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY \
    >"$scratch/output" 2>&1 || status=$?
  equal 1 $status "status of a configuration for 32 bits"
  present '^  moxel is for 64 bits: [^.]*$' "$scratch/output" "a configuration for 32 bits"
fi
echo "each missing tool is named"
