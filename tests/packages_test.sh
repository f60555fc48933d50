#!/bin/sh
# Makes the packages and puts them through their life: two builds of one commit give the same bytes;
# the DEB is installed into a small root of its own, run, upgraded, removed and purged; the RPM is
# examined, installed and erased; tools are built against what is installed; packages for another
# processor come out of a cross build.
#
# usage: packages_test.sh SOURCE BUILD
set -eu

# shellcheck source=tests/support/shell.sh
. "$(dirname "$0")/support/shell.sh"

version=$(sed -n 's/^project(moxel VERSION \([0-9.]*\) .*/\1/p' "$(dirname "$0")/../CMakeLists.txt")
components="moxel moxel-dev moxel-test"

# Everything below the root, with kind, mode and owner; what the package system keeps for itself and
# what stood there before apart.
listing() {
  (cd "$root" && find . -path ./var/lib -prune -o -path ./dev -prune -o -printf '%y %m %U %G %p\n') |
    sort
}

# ---- In mounts of its own: the life of the packages --------------------------------------------

# A root with a shell and what the maintainer scripts, the command and the sample script call.
make_root() {
  root=$scratch/$1
  mkdir -p "$root/dev" "$root/tmp" "$root/var/log" "$root/var/lib/dpkg/info" \
    "$root/var/lib/dpkg/updates" "$root/var/lib/rpm"
  for program in sh mkdir rm rmdir uname; do
    path=$(command -v $program)
    mkdir -p "$root/${path%/*}"
    cp "$path" "$root$path"
    needs "$path"
  done
  mkdir -p "$root/bin"
  [ -e "$root/bin/sh" ] || cp /bin/sh "$root/bin/sh"
  needs "$build/scsend"
  needs "$build/loglock"
  needs "$build/libvekcom.so.2.0"
  touch "$root/dev/null"
  mount --bind /dev/null "$root/dev/null"
  # What the package depends on is installed here, as far as the package system knows.
  dpkg-query -s libc6 libgcc-s1 libstdc++6 >"$root/var/lib/dpkg/status"
}

# Copies the shared libraries of $1 into the root.
needs() {
  for library in $(ldd "$1" | grep -o '/[^ ]*'); do
    case $library in "$build"/*) continue ;; esac
    mkdir -p "$root/${library%/*}"
    [ -e "$root$library" ] || cp -L "$library" "$root$library"
  done
}

# The built loglock in the root, which has it not yet.
chroot_loglock() {
  cp "$build/loglock" "$root/loglock"
  chroot "$root" /loglock "$@"
  rm "$root/loglock"
}

dpkg_here() {
  quietly dpkg --root="$root" --log="$scratch/dpkg.log" "$@" </dev/null
}

debian_life() {
  make_root debian
  # The agent's library comes with the agent.
  mkdir -p "$root/opt/ZQRNvek/lib"
  cp "$build/libvekcom.so.2.0" "$root/opt/ZQRNvek/lib"
  listing >"$scratch/before"
  conf=$root/opt/kardo/moxel/etc/moxel.conf
  log=$root/var/log/kardo/moxel/log

  (umask 077 && dpkg_here -i "$packages/moxel_${version}_amd64.deb")
  equal "directory 755 0" "$(stat -c '%F %a %u' "$log")" "the log directory"
  chroot "$root" /opt/kardo/moxel/bin/loglock >"$scratch/output" || fail "the log's semaphore is not free"
  present '^It is free\.$' "$scratch/output" "the log's semaphore after the installation"
  find "$root/var/log/kardo" "$root/opt/kardo" -type d ! -perm 755 >"$scratch/closed"
  empty "$scratch/closed" "directories that are not open to all"
  # Without the script: the shell's 127, and the words for it.
  status=0
  chroot "$root" /opt/kardo/moxel/bin/scsend >"$scratch/output" || status=$?
  equal 127 $status "status of the installed command without its script"
  cat >"$root/opt/kardo/moxel/bin/scsend.sh" <<'END'
#!/bin/sh
echo "sent by $1"
END
  chmod 755 "$root/opt/kardo/moxel/bin/scsend.sh"
  status=0
  chroot "$root" /opt/kardo/moxel/bin/scsend >"$scratch/output" || status=$?
  equal 0 $status "status of the installed command"
  printf '構成情報送信が完了しました\n\nsent by -v' | iconv -f UTF-8 -t EUC-JP >"$scratch/expected"
  same "$scratch/expected" "$scratch/output" "the installed command prints something else"
  present 'com=/opt/kardo/moxel/bin/scsend.sh -v' "$log/moxel.log" "the log of the installed command"
  status=0
  VEKCOM_STATUS=0 chroot "$root" /opt/kardo/moxel/bin/scsend >"$scratch/output" || status=$?
  equal 255 $status "status of the installed command when stopped"
  echo '現在運用中でないため実行できません' | iconv -f UTF-8 -t EUC-JP >"$scratch/expected"
  same "$scratch/expected" "$scratch/output" "when stopped the installed command prints something else"
  rm "$root/opt/kardo/moxel/bin/scsend.sh"

  # An upgrade keeps what the administrator wrote, whether or not the shipped file changed.
  echo 'BigLimit=1mb' >>"$conf"
  cp "$conf" "$scratch/written"
  dpkg_here -i "$packages/moxel_$version.1_amd64.deb"
  same "$scratch/written" "$conf" "an upgrade changes the configuration"
  equal "$version.1" "$(dpkg-query --admindir="$root/var/lib/dpkg" -W -f '${Version}' moxel)" \
    "the version after an upgrade"
  dpkg-deb -R "$packages/moxel_$version.1_amd64.deb" "$scratch/next"
  echo '# A new remark.' >>"$scratch/next/opt/kardo/moxel/etc/moxel.conf"
  sed -i "s/^Version: .*/Version: $version.2/" "$scratch/next/DEBIAN/control"
  dpkg-deb --root-owner-group -b "$scratch/next" "$scratch/next.deb" >/dev/null
  dpkg_here --force-confold -i "$scratch/next.deb"
  same "$scratch/written" "$conf" "an upgrade changes the configuration"

  # Removal keeps configuration and log; the purge leaves nothing.
  dpkg_here -r moxel
  same "$scratch/written" "$conf" "removal takes the configuration"
  exists "$log/moxel.log" "after a removal"
  missing "$root/opt/kardo/moxel/bin" "after a removal"
  dpkg_here -P moxel
  listing >"$scratch/after"
  same "$scratch/before" "$scratch/after" "the purge leaves something"

  # The same without a line in the log, and with a new start after a removal.
  dpkg_here -i "$packages/moxel_${version}_amd64.deb"
  dpkg_here -r moxel
  exists "$log" "after a removal without a log"
  dpkg_here -i "$packages/moxel_${version}_amd64.deb"
  dpkg_here -P moxel
  listing >"$scratch/after"
  same "$scratch/before" "$scratch/after" "the second purge leaves something"

  # A log directory that cannot be removed, here a mount, does not hinder the purge.
  dpkg_here -i "$packages/moxel_${version}_amd64.deb"
  mount -t tmpfs log-disk "$log"
  dpkg_here -P moxel
  umount "$log"
  rm -r "$root/var/log/kardo"

  # A purge takes the set's own logs, not those of other tools beside them.
  dpkg_here -i "$packages/moxel_${version}_amd64.deb"
  for file in moxel.log moxel.bak other.log; do echo line >"$log/$file"; done
  dpkg_here -P moxel
  equal other.log "$(ls "$log")" "what a purge leaves of the logs"
  rm -r "$root/var/log/kardo"

  # A semaphore that is wrong is told, and hinders nothing. Here it is taken, and nobody holds it.
  mkdir -p "$log"
  key=$(chroot_loglock --make | sed -n 's/^key *//p')
  chroot_loglock --free >"$scratch/output"
  perl -e 'defined semget(hex shift, 1, 01600) or die $!' "$key"
  dpkg_here -i "$packages/moxel_${version}_amd64.deb"
  present '^moxel: see loglock\(8\): It is taken, and nobody holds it' "$scratch/quiet" "the installation"
  chroot "$root" /opt/kardo/moxel/bin/loglock --free >"$scratch/output"
  dpkg_here -P moxel
  listing >"$scratch/after"
  same "$scratch/before" "$scratch/after" "the third purge leaves something"

  # The substitute is refused where the agent is.
  if dpkg --root="$root" --log="$scratch/dpkg.log" -i "$packages/moxel-test_${version}_amd64.deb" \
    >"$scratch/output" 2>&1 </dev/null; then
    fail "moxel-test was installed beside the agent"
  fi
  present '^moxel-test: not for a server with the agent' "$scratch/output" "the refusal of moxel-test"
  missing "$root/usr/lib/moxel-test/libvekcom.so.2.0" "after the refusal"
  dpkg_here -P moxel-test
  rm -r "$root/opt/ZQRNvek"
  rmdir "$root/opt"

  # What a developer gets, for the tools that are built below.
  dpkg_here -i "$packages/moxel-dev_${version}_amd64.deb" "$packages/moxel-test_${version}_amd64.deb"
  mkdir "$scratch/system"
  cp -r "$root/usr" "$scratch/system/usr"
  dpkg_here -P moxel-dev moxel-test
  listing | grep -v ' \./opt' >"$scratch/after"
  grep -v ' \./opt' "$scratch/before" >"$scratch/expected"
  same "$scratch/expected" "$scratch/after" "the development packages leave something"
}

rpm_here() {
  # Older versions refuse to install on Debian unless forced; newer ones have no such option.
  force=""
  if rpm --help | grep -q -e --force-debian; then force=--force-debian; fi
  quietly rpm --root "$root" --dbpath /var/lib/rpm $force --nodeps "$@"
}

rpm_life() {
  make_root rpm
  listing >"$scratch/before"
  conf=$root/opt/kardo/moxel/etc/moxel.conf
  rpm_here -i "$packages/moxel-$version-1.x86_64.rpm"
  log=$root/var/log/kardo/moxel/log
  chroot "$root" /opt/kardo/moxel/bin/loglock >"$scratch/output" || fail "the log's semaphore is not free"
  present '^It is free\.$' "$scratch/output" "the log's semaphore after the installation of the RPM"
  equal "directory 755 0" "$(stat -c '%F %a %u' "$log")" "the log directory of the RPM"
  echo 'BigLimit=1mb' >>"$conf"
  cp "$conf" "$scratch/written"
  # An update keeps the rights that an administrator gave the log directory.
  chmod 750 "$log"
  rpm_here -U "$packages/next.rpm"
  equal "directory 750 0" "$(stat -c '%F %a %u' "$log")" "the log directory after an update"
  exists "$conf.rpmnew" "the configuration that the RPM of the next version brings"
  same "$scratch/written" "$conf" "an upgrade of the RPM changes the configuration"
  # The substitute is refused where the agent is, even where only a link to it is left.
  mkdir -p "$root/opt"
  ln -s nowhere "$root/opt/ZQRNvek"
  if rpm --root "$root" --dbpath /var/lib/rpm $force --nodeps -i "$packages/moxel-test-$version-1.x86_64.rpm" \
    >"$scratch/output" 2>&1; then
    fail "the RPM moxel-test was installed beside the agent"
  fi
  present '^moxel-test: not for a server with the agent' "$scratch/output" "the refusal of the RPM moxel-test"
  rm "$root/opt/ZQRNvek"
  rpm_here -e moxel
  exists "$log" "after erasing"
  same "$scratch/written" "$conf.rpmsave" "erasing takes the configuration"
  equal "directory 750 0" "$(stat -c '%F %a %u' "$log")" "the log directory after erasing"
  rm "$conf.rpmsave" "$conf.rpmnew"
  # Directories that other packages own stay in a root without these.
  listing | grep -v '^d' >"$scratch/after"
  grep -v '^d' "$scratch/before" >"$scratch/expected"
  same "$scratch/expected" "$scratch/after" "erasing leaves something"
}

# packages_test.sh --inside SCRATCH BUILD: called by this script itself.
if [ "$1" = --inside ]; then
  # shellcheck source=scripts/inside.sh
  . "$(dirname "$0")/../scripts/inside.sh"
  scratch=$2
  build=$3
  packages=$scratch/packages
  debian_life
  rpm_life
  exit 0
fi

source=$1
build=$2
scratch=$(mktemp -d)
# What lintian and dpkg-deb leave behind goes with it.
TMPDIR=$scratch
export TMPDIR
trap 'rm -rf "$scratch"' EXIT
trap 'exit 1' HUP INT TERM
packages=$scratch/packages

# ---- Two builds of one commit ------------------------------------------------------------------

# One is made here, the other is the build itself.
unset SOURCE_DATE_EPOCH
(
  umask 077
  quietly git clone -q "$source" "$scratch/one"
  quietly cmake -S "$scratch/one" -B "$scratch/one/made" -G Ninja -DBUILD_TESTING=OFF
  quietly cmake --build "$scratch/one/made"
)
# What does not depend on the build is checked beside one build only.
by_gcc=no
if grep -q '^CMAKE_CXX_COMPILER:.*[/=]g++$' "$build/CMakeCache.txt"; then by_gcc=yes; fi
if [ $by_gcc = yes ]; then
  (cd "$scratch/one/made" && umask 022 && quietly cpack -B "$scratch/one.packages")
  # Without rpm the DEBs are the same.
  mkdir "$scratch/bin"
  for program in /usr/bin/* /usr/sbin/*; do
    case ${program##*/} in rpm*) ;; *) ln -sf "$program" "$scratch/bin/" ;; esac
  done
  (cd "$scratch/one/made" && umask 022 && PATH=$scratch/bin quietly cpack -G DEB -B "$scratch/without-rpm")
  for component in $components; do
    name=${component}_${version}_amd64.deb
    cmp "$scratch/one.packages/$name" "$scratch/without-rpm/$name" || fail "$name differs without rpm"
  done
  equal "$(git -C "$source" log -1 --format=%ct)" \
    "$(rpm -qp --qf '%{BUILDTIME}' "$scratch/one.packages/moxel-$version-1.x86_64.rpm")" \
    "the packages' time, which is the commit's"
fi

# ---- What is in them ---------------------------------------------------------------------------

# From here on the packages of the build itself, with this version and as the next one.
(cd "$build" && quietly cpack -B "$packages" && quietly cpack -G DEB -R "$version.1" -B "$packages")
# Another directory and mask, and a build with the tests, give the same, where it is of that commit and
# compiler.
if [ $by_gcc = yes ] && [ -z "$(git -C "$source" status --porcelain)" ]; then
  for component in $components; do
    for name in "${component}_${version}_amd64.deb" "$component-$version-1.x86_64.rpm"; do
      cmp "$scratch/one.packages/$name" "$packages/$name" || fail "$name depends on its build"
    done
  done
fi
# The next RPM ships another configuration.
echo '# A new remark.' >>"$scratch/one/etc/moxel.conf"
(cd "$scratch/one/made" && quietly cpack -G RPM -R "$version.1" -B "$scratch/next-version")
mv "$scratch/next-version/moxel-$version.1-1.x86_64.rpm" "$packages/next.rpm"
cd "$packages"
for package in $components; do
  deb=${package}_${version}_amd64.deb
  rpm=$package-$version-1.x86_64.rpm
  # Shipped files and their modes, as cmake --install gives them.
  quietly cmake --install "$build" --component "$package" --prefix "$scratch/staged"
  (cd "$scratch/staged" && find . ! -type d -printf '%m root /%P\n') |
    grep -v ' root /usr/share/lintian/' | sort >"$scratch/expected"
  dpkg-deb --fsys-tarfile "$deb" | tar -tv | awk '$1 !~ /^d/ { print $1, $2, $6 }' |
    sed 's/^-rw-r--r--/644/; s/^-rwxr-xr-x/755/; s/^lrwxrwxrwx/777/; s,root/root \.,root ,' |
    grep -v ' root /usr/share/lintian/' | sort >"$scratch/files"
  same "$scratch/expected" "$scratch/files" "$deb holds other files"
  rpm -qp --qf '[%{FILEMODES:octal} %{FILEUSERNAME} %{FILENAMES}\n]' "$rpm" | grep '^1' |
    sed 's/^1[02]0//' | sort >"$scratch/files"
  same "$scratch/expected" "$scratch/files" "$rpm holds other files"
  rm -rf "$scratch/staged"
  [ "$package" = moxel-test ] || absent 'vekcom.*so' "$scratch/files" "the substitute in $package"
  rpm -qp --provides "$rpm" >"$scratch/provided"
  absent vekcom "$scratch/provided" "what $rpm provides"
  equal "" "$(dpkg-deb -f "$deb" Provides)" "what $deb provides"
  dpkg-deb -f "$deb" Description >"$scratch/description"
  present 'libvekcom\.so\.2\.0' "$scratch/description" "the description of $deb"
  rpm -qp --qf '%{DESCRIPTION}' "$rpm" >"$scratch/description"
  present 'libvekcom\.so\.2\.0' "$scratch/description" "the description of $rpm"
  rpm -qp --qf '[%{FILEMODES:octal} %{FILEUSERNAME} %{FILENAMES}\n]' "$rpm" | sed -n '/^4/{/^40755 root /!p}' \
    >"$scratch/closed"
  empty "$scratch/closed" "directories of $rpm that are not open to all"
done
rpm=moxel-$version-1.x86_64.rpm
rpm -qp --requires "$rpm" >"$scratch/needed"
absent vekcom "$scratch/needed" "what the RPM needs"
for need in /bin/sh 'libc\.so\.6\(\)\(64bit\)' 'libstdc\+\+\.so\.6\(\)\(64bit\)' 'libgcc_s\.so\.1\(\)\(64bit\)'; do
  present "^$need\$" "$scratch/needed" "what the RPM needs"
done
dpkg-deb -f "moxel_${version}_amd64.deb" Depends >"$scratch/needed"
absent vekcom "$scratch/needed" "what the DEB needs"
present 'libc6 \(>= ' "$scratch/needed" "what the DEB needs"
for field in Breaks Replaces; do
  equal "moxel (<< 2.1.0)" "$(dpkg-deb -f "moxel-dev_${version}_amd64.deb" $field)" "$field of moxel-dev"
done
equal "moxel < 2.1.0" "$(rpm -qp --conflicts "moxel-dev-$version-1.x86_64.rpm")" "what the RPM moxel-dev conflicts with"
equal /opt/kardo/moxel/etc/moxel.conf "$(dpkg-deb -I "moxel_${version}_amd64.deb" conffiles)" \
  "the DEB's configuration files"
# Bit 0: a configuration file; bit 4: an upgrade keeps a changed one.
rpm -qp --qf '[%{FILEFLAGS} %{FILENAMES}\n]' "$rpm" | grep ' /opt/' >"$scratch/flags"
equal '17 /opt/kardo/moxel/etc/moxel.conf' "$(grep -v '^0 ' "$scratch/flags")" \
  "%config(noreplace) of the RPM"
equal "" "$(rpm -qpl "$rpm" | grep '^/var')" "what the RPM has below /var, which its script makes"
equal "* Sun Nov 22 2026 moxel developers <maintainers@moxel.example.com> - $version-1" \
  "$(rpm -qp --changelog "$rpm" | head -n 1)" "the RPM's change log"
equal postinstall "$(rpm -qp --scripts "$rpm" | sed -n 's/ scriptlet.*//p')" "the RPM's scripts"
equal "" "$(rpm -qp --scripts "moxel-dev-$version-1.x86_64.rpm")" "the scripts of the RPM moxel-dev"
equal preinstall "$(rpm -qp --scripts "moxel-test-$version-1.x86_64.rpm" | sed -n 's/ scriptlet.*//p')" \
  "the scripts of the RPM moxel-test"

quietly lintian --fail-on error,warning ./*_"$version"_*.deb

# ---- Their life, and tools built with them -----------------------------------------------------

namespaces="--mount --ipc"
[ "$(id -u)" = 0 ] || namespaces="--user --map-root-user $namespaces"
# shellcheck disable=SC2086 # a list of options
unshare $namespaces sh "$source/tests/packages_test.sh" --inside "$scratch" "$build"

# The first tool, as its page says; and one that uses the gateway client, with the substitute.
mkdir "$scratch/tools"
dpkg-deb --fsys-tarfile "moxel_${version}_amd64.deb" |
  tar -xO ./usr/share/doc/moxel/examples/first_tool.cpp >"$scratch/tools/first_tool.cpp"
cat >"$scratch/tools/gateway.cpp" <<'END'
#include "CMxlRmgLib.h"
int main() { return CMxlRmgLib().isOperate() ? 0 : 1; }
END
cat >"$scratch/tools/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(tools CXX)
find_package(moxel 2.0 REQUIRED)
add_executable(first_tool first_tool.cpp)
target_link_libraries(first_tool PRIVATE moxel::moxel)
END
quietly cmake -S "$scratch/tools" -B "$scratch/by-cmake" -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_PREFIX_PATH="$scratch/system/usr"
quietly cmake --build "$scratch/by-cmake"

mkdir "$scratch/by-pkg-config"
PKG_CONFIG_LIBDIR=$scratch/system/usr/share/pkgconfig
PKG_CONFIG_SYSROOT_DIR=$scratch/system
export PKG_CONFIG_LIBDIR PKG_CONFIG_SYSROOT_DIR
# shellcheck disable=SC2046 # lists of options
quietly c++ -std=c++17 "$scratch/tools/first_tool.cpp" $(pkg-config --cflags --libs moxel) \
  -o "$scratch/by-pkg-config/first_tool"
substitute=$scratch/system/usr/lib/moxel-test
# shellcheck disable=SC2046 # lists of options
quietly c++ -std=c++17 "$scratch/tools/gateway.cpp" $(pkg-config --cflags --libs moxel) \
  -o "$scratch/by-pkg-config/gateway" "$substitute/libvekcom.so.2.0" -Wl,-rpath,"$substitute"

# A directory that is not there: no log, and no semaphore for it that would stay.
MOXEL_LOG=$scratch/none/moxel.log
MOXEL_CONF=/dev/null
export MOXEL_LOG MOXEL_CONF
for kind in by-cmake by-pkg-config; do
  LC_ALL=C "$scratch/$kind/first_tool" >"$scratch/output" || fail "first_tool fails ($kind)"
  present '^The collected files take up [0-9]+KB\.$' "$scratch/output" "first_tool ($kind)"
done
"$scratch/by-pkg-config/gateway" || fail "the substitute does not answer"
if VEKCOM_STATUS=0 "$scratch/by-pkg-config/gateway"; then fail "the substitute answers the same always"; fi

# ---- For another processor ---------------------------------------------------------------------

if [ $by_gcc = no ]; then
  echo "the packages live as they should"
  exit 0
fi
(cd "$source" && quietly cmake --preset arm64 -B "$scratch/arm64")
quietly cmake --build "$scratch/arm64"
(cd "$scratch/arm64" && quietly cpack -B "$scratch/arm64-packages")
cmp "$build/moxel_msg.ja" "$scratch/arm64/moxel_msg.ja" || fail "the message file differs for arm64"
cd "$scratch/arm64-packages"
for component in $components; do
  equal arm64 "$(dpkg-deb -f "${component}_${version}_arm64.deb" Architecture)" "the DEB's processor"
  equal aarch64 "$(rpm -qp --qf '%{ARCH}' "$component-$version-1.aarch64.rpm")" "the RPM's processor"
done
dpkg-deb -f "moxel_${version}_arm64.deb" Depends >"$scratch/needed"
absent 'cross|:arm64' "$scratch/needed" "what the DEB for arm64 needs"
present '^libc6 \(>= [0-9.]+\), libgcc-s1 \(>= ' "$scratch/needed" "what the DEB for arm64 needs"
quietly dpkg-deb -x "moxel_${version}_arm64.deb" "$scratch/arm64-files"
quietly qemu-aarch64 -L /usr/aarch64-linux-gnu "$scratch/arm64-files/opt/kardo/moxel/bin/explain" HTTP -14 5
echo "the packages live as they should"
