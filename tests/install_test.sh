#!/bin/sh
# Installs a build into a directory of its own and checks what is there, by component.
#
# usage: install_test.sh SOURCE BUILD
set -eu

source=$1
build=$2
scratch=$(mktemp -d)
# Modes do not depend on the mask of who installs.
umask 077
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
644 usr/share/doc/moxel/changelog.gz
644 usr/share/doc/moxel/copyright
644 usr/share/lintian/overrides/moxel
644 usr/share/locale/ja/LC_MESSAGES/moxel.mo
644 usr/share/man/ja/man3/libmoxel.3.gz
644 usr/share/man/ja/man5/moxel-messages.5.gz
644 usr/share/man/ja/man5/moxel.conf.5.gz
644 usr/share/man/ja/man8/scsend.8.gz
644 usr/share/man/man3/libmoxel.3.gz
644 usr/share/man/man5/moxel-messages.5.gz
644 usr/share/man/man5/moxel.conf.5.gz
644 usr/share/man/man8/scsend.8.gz
END
listing "$scratch/server" | diff "$scratch/expected" - || fail "the server's files are others"
[ -d "$scratch/server/var/log/kardo/moxel/log" ] || fail "no log directory"
for directory in opt/kardo var/log/kardo usr/share/doc/moxel usr/share/locale/ja usr/share/man/ja; do
  if find "$scratch/server/$directory" -type d ! -perm 755 | grep .; then fail "not open to all"; fi
done
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
# Each setting tells its unit or kind, and its default.
awk '
  /^#[A-Za-z_]*=/ {
    if (!said) next # the second of two that are explained together
    if (text !~ /Default:/) { print $0 " has no default"; bad = 1 }
    if (text !~ /KB|Boolean|Hours, 1 to 99|Minutes, 1 to 16383|Version|host name|logger|Texts? that/ &&
        text !~ /A text that/) { print $0 " has no unit"; bad = 1 }
    text = ""
    said = 0
    next
  }
  /^$/ { text = ""; said = 0 }
  { text = text " " $0; said = 1 }
  END { exit bad }' "$conf" || fail "a setting is not explained"
# The default that it tells, the last word of that sentence, is the code's.
awk -v host="$(uname -n)" '
  /^#[A-Za-z_]*=/ { sub(/=.*/, ""); print substr($0, 2), word; told = 1; next }
  { if (told) word = ""; told = 0 }
  /^# .*\.$/ { word = $NF; gsub(/[().]*$|^\(/, "", word); gsub(/\$HOSTNAME\$/, host, word) }' \
  "$conf" | sort >"$scratch/told"
awk 'NF > 2 { gsub(/[()]/, "", $3); print $1, $3 }' "$scratch/default" | sort >"$scratch/actual"
diff "$scratch/told" "$scratch/actual" || fail "moxel.conf tells other defaults than the code's"
sed 's/^#\([A-Za-z_]*=\)/\1/' "$conf" >"$scratch/all.conf"
"$build/confcheck" "$scratch/all.conf" >"$scratch/all" || fail "a setting in moxel.conf is wrong"
[ "$(grep -c ' file ' "$scratch/all")" = 21 ] || fail "a setting in moxel.conf is none"

# A configuration that is there stays.
echo 'BigLimit=1mb' >>"$conf"
cp "$conf" "$scratch/written"
cmake --install "$build" --component moxel --prefix "$scratch/server" >/dev/null
cmp "$scratch/written" "$conf" || fail "an installation changes the configuration"

# ---- What a developer gets ---------------------------------------------------------------------

cmake --install "$build" --component moxel-dev --prefix "$scratch/dev" >/dev/null
listing "$scratch/dev" >"$scratch/files"
for header in "$source"/src/*.h; do
  case ${header##*/} in Descriptor.h | File.h) continue ;; esac
  grep -q "^644 usr/include/moxel/${header##*/}\$" "$scratch/files" || fail "${header##*/} is missing"
done
for file in usr/lib/libmoxel.a usr/share/pkgconfig/moxel.pc usr/lib/cmake/moxel/moxelConfig.cmake \
  usr/lib/cmake/moxel/moxelConfigVersion.cmake; do
  grep -q "^644 $file\$" "$scratch/files" || fail "$file is missing"
done
if find "$scratch/dev" -type d ! -perm 755 | grep -vE '/dev(/usr(/(lib|include|share(/doc)?))?)?$'; then
  fail "not open to all"
fi
if grep -q 'vekcom.*so' "$scratch/files"; then fail "the substitute is installed"; fi
if grep -rqF "$source" "$scratch/dev/usr/lib/cmake" "$scratch/dev/usr/share/pkgconfig"; then
  fail "a path of the build is in the packages"
fi

# ---- Where nothing can be installed ------------------------------------------------------------

touch "$scratch/file"
if cmake --install "$build" --component moxel --prefix "$scratch/file" >"$scratch/refusal" 2>&1; then
  fail "an unwritable prefix is no failure"
fi
grep -qF "$scratch/file" "$scratch/refusal" || fail "the refusal does not name the prefix"
echo "all is installed as it should be"
