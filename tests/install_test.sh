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
trap 'exit 1' HUP INT TERM

# shellcheck source=tests/support/shell.sh
. "$(dirname "$0")/support/shell.sh"

# Files and modes, one a line.
listing() {
  (cd "$1" && find . ! -type d -printf '%m %P\n' | LC_ALL=C sort -k 2)
}

# ---- What a server gets ------------------------------------------------------------------------

quietly cmake --install "$build" --component moxel --prefix "$scratch/server"
cat >"$scratch/expected" <<END
755 opt/kardo/moxel/bin/confcheck
755 opt/kardo/moxel/bin/explain
755 opt/kardo/moxel/bin/loglock
755 opt/kardo/moxel/bin/scsend
644 opt/kardo/moxel/etc/moxel.conf
644 opt/kardo/moxel/lib/locale/moxel_msg.C
644 opt/kardo/moxel/lib/locale/moxel_msg.ja
644 usr/lib/systemd/system/moxel-loglock.service
777 usr/lib/systemd/system/multi-user.target.wants/moxel-loglock.service
644 usr/share/doc/moxel/changelog.gz
644 usr/share/doc/moxel/copyright
644 usr/share/doc/moxel/examples/README.ja.md
644 usr/share/doc/moxel/examples/README.md
$(cd "$source/docs" && printf '644 usr/share/doc/moxel/examples/docs/%s\n' *.md *.svg | sort)
644 usr/share/doc/moxel/examples/first_tool.cpp
644 usr/share/doc/moxel/examples/moxel-scsend.service
644 usr/share/doc/moxel/examples/moxel-scsend.timer
644 usr/share/doc/moxel/examples/moxel.logrotate
755 usr/share/doc/moxel/examples/scsend.sh
644 usr/share/lintian/overrides/moxel
644 usr/share/locale/en/LC_MESSAGES/moxel.mo
644 usr/share/locale/ja/LC_MESSAGES/moxel.mo
644 usr/share/man/ja/man5/moxel-messages.5.gz
644 usr/share/man/ja/man5/moxel.conf.5.gz
644 usr/share/man/ja/man8/confcheck.8.gz
644 usr/share/man/ja/man8/explain.8.gz
644 usr/share/man/ja/man8/loglock.8.gz
644 usr/share/man/ja/man8/scsend.8.gz
644 usr/share/man/man5/moxel-messages.5.gz
644 usr/share/man/man5/moxel.conf.5.gz
644 usr/share/man/man8/confcheck.8.gz
644 usr/share/man/man8/explain.8.gz
644 usr/share/man/man8/loglock.8.gz
644 usr/share/man/man8/scsend.8.gz
END
listing "$scratch/server" >"$scratch/files"
same "$scratch/expected" "$scratch/files" "the server's files"
exists "$scratch/server/var/log/kardo/moxel/log" "the log directory"
for directory in opt/kardo var/log/kardo usr/share/doc/moxel usr/share/locale/ja usr/share/man/ja; do
  find "$scratch/server/$directory" -type d ! -perm 755 >"$scratch/closed"
  empty "$scratch/closed" "directories that are not open to all"
done
quietly cmp "$build/scsend" "$scratch/server/opt/kardo/moxel/bin/scsend"

# Installed documents link what is installed beside them.
(cd "$scratch/server/usr/share/doc/moxel/examples" && grep -o '](\([^)#:]*\))' README*.md docs/*.md) |
  sed 's/](//; s/)$//' >"$scratch/links"
[ -s "$scratch/links" ] || fail "no link in the installed documents"
while IFS=: read -r document link; do
  exists "$scratch/server/usr/share/doc/moxel/examples/$(dirname "$document")/$link" "a link of the installed $document"
done <"$scratch/links"

# What systemd and logrotate make of the files for them, with what they name in the staged server.
mkdir "$scratch/units"
for unit in packaging/moxel-loglock.service examples/moxel-scsend.service examples/moxel-scsend.timer; do
  sed "s,/opt/kardo,$scratch/server/opt/kardo," "$source/$unit" >"$scratch/units/${unit##*/}"
done
SYSTEMD_UNIT_PATH=$scratch/units: systemd-analyze verify --man=no "$scratch"/units/* >"$scratch/output" 2>&1 ||
  fail "units: $(cat "$scratch/output")"
empty "$scratch/output" "what systemd says of the units"
present '^Before=.*systemd-user-sessions\.service' "$source/packaging/moxel-loglock.service" "before whom the unit runs"
present '^RandomizedDelaySec=[1-9]' "$source/examples/moxel-scsend.timer" "the delay of the timer"
present '^ExecStart=.*timeout 600 ' "$source/examples/moxel-scsend.service" "the limit of the service"
log=$scratch/server/var/log/kardo/moxel/log
sed "s,/var/log/kardo/moxel/log,$log," "$source/examples/moxel.logrotate" >"$scratch/logrotate"
chmod 644 "$scratch/logrotate"
# The example rotates above 500 KB.
for kilobytes in 499 501; do
  head -c ${kilobytes}k /dev/zero >"$log/moxel.log"
  quietly logrotate -s "$scratch/state" "$scratch/logrotate"
  echo "$kilobytes: $(ls "$log")"
done >"$scratch/output"
printf '499: moxel.log\n501: moxel.log.1\n' >"$scratch/expected"
same "$scratch/expected" "$scratch/output" "logs that logrotate rotates"
rm "$log"/*

# Every keyword is explained in the configuration file, and the file is right as it is and with every
# setting in force.
conf=$scratch/server/opt/kardo/moxel/etc/moxel.conf
equal 21 "$(grep -c '^#[A-Za-z_]*=' "$conf")" "keywords in moxel.conf"
absent '^[^#]' "$conf" "settings in force in moxel.conf"
# A directory that is not there: no log, and no semaphore for it that would stay.
MOXEL_LOG=$scratch/none/moxel.log
export MOXEL_LOG
quietly "$build/confcheck" "$conf"
cp "$scratch/quiet" "$scratch/default"
absent ' file ' "$scratch/default" "what moxel.conf sets"
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
same "$scratch/actual" "$scratch/told" "the defaults that moxel.conf tells"
sed 's/^#\([A-Za-z_]*=\)/\1/' "$conf" >"$scratch/all.conf"
quietly "$build/confcheck" "$scratch/all.conf"
equal 21 "$(grep -c ' file ' "$scratch/quiet")" "settings of moxel.conf that are in force"

# A configuration that is there stays.
echo 'BigLimit=1mb' >>"$conf"
cp "$conf" "$scratch/written"
quietly cmake --install "$build" --component moxel --prefix "$scratch/server"
same "$scratch/written" "$conf" "an installation changes the configuration"

# ---- Its messages ------------------------------------------------------------------------------

# An English and a Japanese row of the table, looked up in the installed catalogue.
LOCPATH=$scratch/locales
TEXTDOMAINDIR=$scratch/server/usr/share/locale
export LOCPATH TEXTDOMAINDIR
mkdir "$LOCPATH"
japanese=$(grep -m 1 -oE '選択してください [^"]*' "$source/src/MsgTable.cpp")
for codeset in UTF-8 EUC-JP; do
  quietly localedef -i ja_JP -f $codeset "$LOCPATH/ja_JP.$codeset"
  # in_japanese TEXT: its translation, in UTF-8 again.
  in_japanese() {
    LC_ALL=ja_JP.$codeset gettext moxel "$(echo "$1" | iconv -f UTF-8 -t EUC-JP)" | iconv -f $codeset -t UTF-8
  }
  equal "送信済み" "$(in_japanese "Sent")" "the English row in $codeset"
  equal "$japanese" "$(in_japanese "$japanese")" "the Japanese row in $codeset"
done
# In English the Japanese row has an English text, and an English one stays as it is, also where
# Japanese is the second choice.
quietly localedef -i en_US -f UTF-8 "$LOCPATH/en_US.UTF-8"
for language in en en:ja; do
  in_english() {
    LC_ALL=en_US.UTF-8 LANGUAGE=$language gettext moxel "$(echo "$1" | iconv -f UTF-8 -t EUC-JP)"
  }
  equal "Select (%s, 'Enter' Key):" "$(in_english "$japanese")" "the Japanese row with LANGUAGE=$language"
  equal "Sent" "$(in_english "Sent")" "the English row with LANGUAGE=$language"
done

# ---- What a developer gets ---------------------------------------------------------------------

quietly cmake --install "$build" --component moxel-dev --prefix "$scratch/dev"
listing "$scratch/dev" >"$scratch/files"
for header in "$source"/src/*.h; do
  case ${header##*/} in Descriptor.h | DirectoryBit.h | File.h | LogLine.h) continue ;; esac
  present "^644 usr/include/moxel/${header##*/}\$" "$scratch/files" "the header in moxel-dev"
done
for file in usr/share/man/man3/libmoxel.3.gz usr/share/man/ja/man3/libmoxel.3.gz usr/lib/libmoxel.a usr/share/pkgconfig/moxel.pc usr/lib/cmake/moxel/moxelConfig.cmake \
  usr/lib/cmake/moxel/moxelConfigVersion.cmake; do
  present "^644 $file\$" "$scratch/files" "the file in moxel-dev"
done
find "$scratch/dev" -type d ! -perm 755 | sed -E '\,/dev(/usr(/(lib|include|share(/doc)?))?)?$,d' >"$scratch/closed"
empty "$scratch/closed" "directories that are not open to all"
absent 'vekcom.*so' "$scratch/files" "the substitute in moxel-dev"
find "$scratch/dev/usr/lib/cmake" "$scratch/dev/usr/share/pkgconfig" -type f -exec grep -HF "$source" {} + \
  >"$scratch/paths" || true
empty "$scratch/paths" "paths of the build in moxel-dev"

# ---- What stands in for the agent --------------------------------------------------------------

quietly cmake --install "$build" --component moxel-test --prefix "$scratch/test"
listing "$scratch/test" >"$scratch/files"
printf '644 %s\n' usr/lib/moxel-test/libvekcom.so.2.0 usr/share/doc/moxel-test/changelog.gz \
  usr/share/doc/moxel-test/copyright >"$scratch/expected"
same "$scratch/expected" "$scratch/files" "the files of moxel-test"

# ---- Where nothing can be installed ------------------------------------------------------------

touch "$scratch/file"
if cmake --install "$build" --component moxel --prefix "$scratch/file" >"$scratch/refusal" 2>&1; then
  fail "an unwritable prefix is no failure"
fi
present "$scratch/file" "$scratch/refusal" "the refusal"
echo "all is installed as it should be"
