#!/bin/sh
# Installs a build into a directory of its own and checks what is there, by component; then builds the
# example programs against it, by CMake package and by pkg-config.
#
# usage: install_test.sh SOURCE BUILD
set -eu

source=$1
build=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

fail() {
  echo "install_test.sh: $*" >&2
  exit 1
}

# Files and modes, one a line.
listing() {
  (cd "$1" && find . ! -type d -printf '%m %P\n' | sort -k 2)
}

# ---- What a server gets ------------------------------------------------------------------------

cmake --install "$build" --component moxel --prefix "$scratch/server" >/dev/null
cat >"$scratch/expected" <<END
755 opt/kardo/moxel/bin/scsend
644 opt/kardo/moxel/etc/moxel.conf
644 opt/kardo/moxel/lib/locale/moxel_msg.C
644 opt/kardo/moxel/lib/locale/moxel_msg.ja
644 usr/share/locale/ja/LC_MESSAGES/moxel.mo
END
listing "$scratch/server" | diff "$scratch/expected" - || fail "the server's files are others"
[ "$(stat -c %a "$scratch/server/var/log/kardo/moxel/log")" = 755 ] || fail "no log directory"
cmp -s "$build/scsend" "$scratch/server/opt/kardo/moxel/bin/scsend" ||
  fail "the installed command is not the built one"

# Every keyword is explained in the configuration file, and the file is right as it is and with every
# setting in force.
conf=$scratch/server/opt/kardo/moxel/etc/moxel.conf
[ "$(grep -c '^#[A-Za-z_]*=' "$conf")" = 21 ] || fail "not every keyword is in moxel.conf"
if grep -v '^#' "$conf" | grep -q .; then fail "moxel.conf sets something"; fi
# A directory that is not there: no log, and no semaphore for it that would stay.
MOXEL_LOG=$scratch/none/moxel.log
export MOXEL_LOG
"$build/confcheck" "$conf" >"$scratch/default" || fail "moxel.conf is wrong"
if grep -q ' file ' "$scratch/default"; then fail "moxel.conf sets something"; fi
sed 's/^#\([A-Za-z_]*=\)/\1/' "$conf" >"$scratch/all.conf"
"$build/confcheck" "$scratch/all.conf" >"$scratch/all" || fail "a setting in moxel.conf is wrong"
[ "$(grep -c ' file ' "$scratch/all")" = 21 ] || fail "a setting in moxel.conf is none"

# ---- What a developer gets ---------------------------------------------------------------------

cmake --install "$build" --component moxel-dev --prefix "$scratch/dev" >/dev/null
listing "$scratch/dev" >"$scratch/files"
for header in "$source"/src/*.h; do
  grep -q "^644 usr/include/moxel/${header##*/}\$" "$scratch/files" || fail "${header##*/} is missing"
done
for file in usr/lib/libmoxel.a usr/lib/pkgconfig/moxel.pc usr/lib/cmake/moxel/moxelConfig.cmake \
  usr/lib/cmake/moxel/moxelConfigVersion.cmake; do
  grep -q "^644 $file\$" "$scratch/files" || fail "$file is missing"
done
if grep -q 'vekcom.*so' "$scratch/files"; then fail "the substitute is installed"; fi
if grep -rqF "$source" "$scratch/dev/usr/lib/cmake" "$scratch/dev/usr/lib/pkgconfig"; then
  fail "a path of the build is in the packages"
fi

mkdir "$scratch/examples"
cp "$source"/examples/*.cpp "$scratch/examples"
cat >"$scratch/examples/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(examples CXX)
find_package(moxel 2.0 REQUIRED)
foreach(example confcheck explain)
  add_executable(${example} ${example}.cpp)
  target_link_libraries(${example} PRIVATE moxel::moxel)
endforeach()
END
cmake -S "$scratch/examples" -B "$scratch/by-cmake" -DCMAKE_PREFIX_PATH="$scratch/dev/usr" \
  >/dev/null || fail "find_package does not find moxel"
cmake --build "$scratch/by-cmake" >/dev/null || fail "the examples do not build by CMake"

PKG_CONFIG_LIBDIR=$scratch/dev/usr/lib/pkgconfig
PKG_CONFIG_SYSROOT_DIR=$scratch/dev
export PKG_CONFIG_LIBDIR PKG_CONFIG_SYSROOT_DIR
mkdir "$scratch/by-pkg-config"
for example in confcheck explain; do
  # shellcheck disable=SC2046 # lists of options
  c++ -std=c++17 $(pkg-config --cflags moxel) "$scratch/examples/$example.cpp" \
    $(pkg-config --libs moxel) -o "$scratch/by-pkg-config/$example" ||
    fail "$example does not build by pkg-config"
done
for kind in by-cmake by-pkg-config; do
  "$scratch/$kind/explain" HTTP -14 5 >"$scratch/explained" || fail "explain fails ($kind)"
  "$build/explain" HTTP -14 5 | cmp -s - "$scratch/explained" || fail "explain differs ($kind)"
  "$scratch/$kind/confcheck" "$conf" | cmp -s - "$scratch/default" || fail "confcheck differs ($kind)"
done

# ---- Where nothing can be installed ------------------------------------------------------------

touch "$scratch/file"
if cmake --install "$build" --component moxel --prefix "$scratch/file" >"$scratch/refusal" 2>&1; then
  fail "an unwritable prefix is no failure"
fi
grep -qF "$scratch/file" "$scratch/refusal" || fail "the refusal does not name the prefix"
echo "all is installed as it should be"
