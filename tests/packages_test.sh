#!/bin/sh
# Makes the packages and puts them through their life: two builds of one commit give the same bytes;
# the DEB is installed into a small root of its own, run, upgraded, removed and purged; the RPM is
# examined, installed and erased; tools are built against what is installed.
#
# usage: packages_test.sh SOURCE BUILD
set -eu

# shellcheck source=tests/support/shell.sh
. "$(dirname "$0")/support/shell.sh"

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

  (umask 077 && dpkg_here -i "$packages/moxel_2.0.0_amd64.deb")
  equal "directory 755 0" "$(stat -c '%F %a %u' "$log")" "the log directory"
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
  dpkg_here -i "$packages/moxel_2.0.1_amd64.deb"
  same "$scratch/written" "$conf" "an upgrade changes the configuration"
  equal 2.0.1 "$(dpkg-query --admindir="$root/var/lib/dpkg" -W -f '${Version}' moxel)" \
    "the version after an upgrade"
  dpkg-deb -R "$packages/moxel_2.0.1_amd64.deb" "$scratch/next"
  echo '# A new remark.' >>"$scratch/next/opt/kardo/moxel/etc/moxel.conf"
  sed -i 's/^Version: .*/Version: 2.0.2/' "$scratch/next/DEBIAN/control"
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
  dpkg_here -i "$packages/moxel_2.0.0_amd64.deb"
  dpkg_here -r moxel
  exists "$log" "after a removal without a log"
  dpkg_here -i "$packages/moxel_2.0.0_amd64.deb"
  dpkg_here -P moxel
  listing >"$scratch/after"
  same "$scratch/before" "$scratch/after" "the second purge leaves something"

  # A purge takes the set's own logs, not those of other tools beside them.
  dpkg_here -i "$packages/moxel_2.0.0_amd64.deb"
  for file in moxel.log moxel.bak other.log; do echo line >"$log/$file"; done
  dpkg_here -P moxel
  equal other.log "$(ls "$log")" "what a purge leaves of the logs"
  rm -r "$root/var/log/kardo"

  # What a developer gets, for the tools that are built below.
  dpkg_here -i "$packages/moxel-dev_2.0.0_amd64.deb"
  mkdir "$scratch/system"
  cp -r "$root/usr" "$scratch/system/usr"
  dpkg_here -P moxel-dev
  listing >"$scratch/after"
  same "$scratch/before" "$scratch/after" "the development package leaves something"
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
  rpm_here -i "$packages/moxel-2.0.0-1.x86_64.rpm"
  log=$root/var/log/kardo/moxel/log
  equal "directory 755 0" "$(stat -c '%F %a %u' "$log")" "the log directory of the RPM"
  echo 'BigLimit=1mb' >>"$conf"
  cp "$conf" "$scratch/written"
  # An update keeps the rights that an administrator gave the log directory.
  chmod 750 "$log"
  rpm_here -U "$packages/next.rpm"
  equal "directory 750 0" "$(stat -c '%F %a %u' "$log")" "the log directory after an update"
  exists "$conf.rpmnew" "the configuration that the RPM of the next version brings"
  same "$scratch/written" "$conf" "an upgrade of the RPM changes the configuration"
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

# make_packages DIRECTORY: a clone there, its packages in DIRECTORY.packages.
make_packages() {
  quietly git clone -q "$source" "$1"
  quietly cmake -S "$1" -B "$1/made" -G Ninja -DBUILD_TESTING=OFF
  quietly cmake --build "$1/made"
  (cd "$1/made" && umask 022 && quietly cpack -B "$1.packages")
}
unset SOURCE_DATE_EPOCH
mkdir "$scratch/elsewhere"
(umask 022 && make_packages "$scratch/one")
(umask 077 && make_packages "$scratch/elsewhere/another")
names="moxel_2.0.0_amd64.deb moxel-dev_2.0.0_amd64.deb moxel-2.0.0-1.x86_64.rpm
  moxel-dev-2.0.0-1.x86_64.rpm"
for name in $names; do
  cmp "$scratch/one.packages/$name" "$scratch/elsewhere/another.packages/$name" ||
    fail "$name depends on where it was built"
done
equal "$(git -C "$source" log -1 --format=%ct)" \
  "$(rpm -qp --qf '%{BUILDTIME}' "$scratch/one.packages/moxel-2.0.0-1.x86_64.rpm")" \
  "the packages' time, which is the commit's"

# ---- What is in them ---------------------------------------------------------------------------

# From here on the packages of the build itself, as version 2.0.0 and as the next one.
(cd "$build" && quietly cpack -B "$packages" && quietly cpack -G DEB -R 2.0.1 -B "$packages")
# The next RPM ships another configuration.
echo '# A new remark.' >>"$scratch/one/etc/moxel.conf"
(cd "$scratch/one/made" && quietly cpack -G RPM -R 2.0.1 -B "$scratch/next-version")
mv "$scratch/next-version/moxel-2.0.1-1.x86_64.rpm" "$packages/next.rpm"
cd "$packages"
for package in moxel moxel-dev; do
  deb=${package}_2.0.0_amd64.deb
  rpm=$package-2.0.0-1.x86_64.rpm
  # Shipped files and their modes, as cmake --install gives them.
  quietly cmake --install "$build" --component $package --prefix "$scratch/staged"
  (cd "$scratch/staged" && find . ! -type d -printf '%m root /%P\n') |
    grep -v ' root /usr/share/lintian/' | sort >"$scratch/expected"
  dpkg-deb --fsys-tarfile $deb | tar -tv | awk '$1 !~ /^d/ { print $1, $2, $6 }' |
    sed 's/^-rw-r--r--/644/; s/^-rwxr-xr-x/755/; s,root/root \.,root ,' |
    grep -v ' root /usr/share/lintian/' | sort >"$scratch/files"
  same "$scratch/expected" "$scratch/files" "$deb holds other files"
  rpm -qp --qf '[%{FILEMODES:octal} %{FILEUSERNAME} %{FILENAMES}\n]' $rpm | grep '^10' |
    sed 's/^100//' | sort >"$scratch/files"
  same "$scratch/expected" "$scratch/files" "$rpm holds other files"
  rm -rf "$scratch/staged"
  absent 'vekcom.*so' "$scratch/files" "the substitute in $package"
  dpkg-deb -f $deb Description >"$scratch/description"
  present 'libvekcom\.so\.2\.0' "$scratch/description" "the description of $deb"
  rpm -qp --qf '%{DESCRIPTION}' $rpm >"$scratch/description"
  present 'libvekcom\.so\.2\.0' "$scratch/description" "the description of $rpm"
  rpm -qp --qf '[%{FILEMODES:octal} %{FILEUSERNAME} %{FILENAMES}\n]' $rpm | sed -n '/^4/{/^40755 root /!p}' \
    >"$scratch/closed"
  empty "$scratch/closed" "directories of $rpm that are not open to all"
done
rpm=moxel-2.0.0-1.x86_64.rpm
rpm -qp --requires $rpm >"$scratch/needed"
absent vekcom "$scratch/needed" "what the RPM needs"
dpkg-deb -f moxel_2.0.0_amd64.deb Depends >"$scratch/needed"
absent vekcom "$scratch/needed" "what the DEB needs"
present 'libc6 \(>= ' "$scratch/needed" "what the DEB needs"
equal /opt/kardo/moxel/etc/moxel.conf "$(dpkg-deb -I moxel_2.0.0_amd64.deb conffiles)" \
  "the DEB's configuration files"
# Bit 0: a configuration file; bit 4: an upgrade keeps a changed one.
rpm -qp --qf '[%{FILEFLAGS} %{FILENAMES}\n]' $rpm | grep ' /opt/' >"$scratch/flags"
equal '17 /opt/kardo/moxel/etc/moxel.conf' "$(grep -v '^0 ' "$scratch/flags")" \
  "%config(noreplace) of the RPM"
equal "" "$(rpm -qpl $rpm | grep '^/var')" "what the RPM has below /var, which its script makes"
equal "* Sat Nov 21 2026 moxel developers <maintainers@moxel.example.com> - 2.0.0-1" \
  "$(rpm -qp --changelog $rpm | head -n 1)" "the RPM's change log"
equal postinstall "$(rpm -qp --scripts $rpm | sed -n 's/ scriptlet.*//p')" "the RPM's scripts"
equal "" "$(rpm -qp --scripts moxel-dev-2.0.0-1.x86_64.rpm)" "the scripts of the RPM moxel-dev"

quietly lintian --fail-on error,warning ./*_2.0.0_*.deb

# ---- Their life, and tools built with them -----------------------------------------------------

namespaces="--mount --ipc"
[ "$(id -u)" = 0 ] || namespaces="--user --map-root-user $namespaces"
# shellcheck disable=SC2086 # a list of options
unshare $namespaces sh "$source/tests/packages_test.sh" --inside "$scratch" "$build"

mkdir "$scratch/examples"
cp "$scratch"/system/usr/share/doc/moxel-dev/examples/*.cpp "$scratch/examples"
cat >"$scratch/examples/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(examples CXX)
find_package(moxel 2.0 REQUIRED)
foreach(example confcheck explain)
  add_executable(${example} ${example}.cpp)
  target_link_libraries(${example} PRIVATE moxel::moxel)
endforeach()
END
quietly cmake -S "$scratch/examples" -B "$scratch/by-cmake" -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_PREFIX_PATH="$scratch/system/usr"
quietly cmake --build "$scratch/by-cmake"

mkdir "$scratch/by-pkg-config"
PKG_CONFIG_LIBDIR=$scratch/system/usr/share/pkgconfig
PKG_CONFIG_SYSROOT_DIR=$scratch/system
export PKG_CONFIG_LIBDIR PKG_CONFIG_SYSROOT_DIR
for example in confcheck explain; do
  # shellcheck disable=SC2046 # lists of options
  quietly c++ -std=c++17 $(pkg-config --cflags moxel) "$scratch/examples/$example.cpp" \
    $(pkg-config --libs moxel) -o "$scratch/by-pkg-config/$example"
done

# A directory that is not there: no log, and no semaphore for it that would stay.
MOXEL_LOG=$scratch/none/moxel.log
export MOXEL_LOG
"$build/confcheck" "$source/etc/moxel.conf" >"$scratch/default"
for kind in by-cmake by-pkg-config; do
  "$build/explain" HTTP -14 5 >"$scratch/expected"
  "$scratch/$kind/explain" HTTP -14 5 >"$scratch/output" || fail "explain fails ($kind)"
  same "$scratch/expected" "$scratch/output" "explain differs ($kind)"
  "$scratch/$kind/confcheck" "$source/etc/moxel.conf" >"$scratch/output" || fail "confcheck fails ($kind)"
  same "$scratch/default" "$scratch/output" "confcheck differs ($kind)"
done
echo "the packages live as they should"
