#!/bin/sh
# The documents are right: manual pages without a warning in both languages, an API reference in which
# no operation lacks its description, a picture of the modules that is that of the includes, and two
# READMEs whose links lead somewhere.
#
# usage: documents_test.sh SOURCE BUILD
set -eu

source=$1
build=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
trap 'exit 1' HUP INT TERM

# shellcheck source=tests/support/shell.sh
. "$(dirname "$0")/support/shell.sh"

# ---- Manual pages ------------------------------------------------------------------------------

LOCPATH=$scratch/locales
MANPATH=$build/man
MANWIDTH=80
export LOCPATH MANPATH MANWIDTH
mkdir "$LOCPATH"
localedef -i ja_JP -f UTF-8 "$LOCPATH/ja_JP.UTF-8"
localedef -i en_US -f UTF-8 "$LOCPATH/en_US.UTF-8"

# shown LOCALE PAGE: the page as the manual shows it, without a warning.
shown() {
  LC_ALL=$1 man --warnings "${2##*.}" "${2%.*}" >"$scratch/shown" 2>"$scratch/warnings" ||
    fail "no manual page $2 for $1"
  empty "$scratch/warnings" "warnings of the manual page $2 for $1"
  width=$(LC_ALL=$1 wc -L <"$scratch/shown")
  [ "$width" -le $MANWIDTH ] || fail "the manual page $2 for $1 has a line of $width columns"
}

for page in "$source"/man/*.[1-9]; do
  page=${page##*/}
  for language in "" ja/; do
    file=$build/man/${language}man${page##*.}/$page.gz
    gzip -dc "$file" >"$scratch/page" || fail "$file cannot be read"
    status=0
    mandoc -Tlint <"$scratch/page" >"$scratch/lint" 2>&1 || status=$?
    [ $status -le 1 ] || fail "mandoc gives status $status for $language$page"
    empty "$scratch/lint" "what mandoc says of $language$page"
    quietly lexgrog "$file"
    present "\"${page%.*} - " "$scratch/quiet" "the title line of $language$page"
  done
  shown en_US.UTF-8 "$page"
  present '^NAME$' "$scratch/shown" "the English $page"
  shown ja_JP.UTF-8 "$page"
  present '^名前$' "$scratch/shown" "the Japanese $page"
  # Headings and macros are those of the other language's page.
  for language in "" ja/; do
    sed -n 's/^\(\.S[HS]\).*/\1/p; s/^\.TP/&/p' "$source/man/$language$page" >"$scratch/form.${language%/}"
  done
  for language in "" ja/; do
    grep -oE '[0-9]{2,}' "$source/man/$language$page" | sort -u >"$scratch/numbers.${language%/}"
  done
  same "$scratch/numbers." "$scratch/numbers.ja" "the numbers in the Japanese $page"
  same "$scratch/form." "$scratch/form.ja" "the headings and macros of the Japanese $page"
done
# Every setting of the installed file has its entry.
sed -n 's/^#\([A-Za-z_]*\)=.*/\1/p' "$source/etc/moxel.conf" >"$scratch/settings"
equal 21 "$(wc -l <"$scratch/settings")" "settings in moxel.conf"
while read -r setting; do
  for language in "" ja/; do
    grep -q "^\.BR .*\b$setting\b" "$source/man/${language}moxel.conf.5" ||
      fail "expected $setting in ${language}moxel.conf.5, where it is not"
  done
done <"$scratch/settings"
# Every public header is in the guide.
for header in "$source"/src/*.h; do
  header=${header##*/}
  case $header in Descriptor.h | DirectoryBit.h | File.h | LogLine.h) continue ;; esac
  for language in "" ja/; do
    grep -q "\b$header\b" "$source/man/${language}libmoxel.3" ||
      fail "expected $header in ${language}libmoxel.3, where it is not"
  done
done

# The version is that of the build everywhere.
version=$(sed -n 's/^project(moxel VERSION \([0-9.]*\) .*/\1/p' "$source/CMakeLists.txt")
[ -n "$version" ] || fail "the build has no version"
for page in "$source"/man/*.[0-9] "$source"/man/ja/*.[0-9]; do
  equal "\"moxel $version\"" "$(grep -o '^\.TH .*' "$page" | grep -o '"moxel [^"]*"')" "the version of $page"
done
for language in en ja; do
  equal "$version" "$(sed -n 's/^"Project-Id-Version: moxel \(.*\)\\n"$/\1/p' "$source/po/$language.po")" \
    "the version of $language.po"
done
equal "moxel ($version)" "$(head -n 1 "$source/packaging/changelog" | grep -o '^[^)]*)')" \
  "the version of the changelog"

# ---- API reference -----------------------------------------------------------------------------

reference() {
  sed "s,^INPUT .*,INPUT = \"$1\",; s,^OUTPUT_DIRECTORY.*,OUTPUT_DIRECTORY = $scratch/api," \
    "$build/Doxyfile" >"$scratch/Doxyfile"
  doxygen "$scratch/Doxyfile" >"$scratch/warnings" 2>&1
}
reference "$source/src" || fail "expected an API reference without warnings, got
$(cat "$scratch/warnings")"
# One description stands at each of the overloads that it holds for.
[ "$(grep -c 'runs of slashes made one' "$scratch/api/html/common_8h.html")" -ge 2 ] ||
  fail "an overload has no description"
mkdir "$scratch/headers"
cp "$source"/src/*.h "$scratch/headers"
sed -i '/Removes the set from the system/,/it first sleeps/d' "$scratch/headers/CMutex.h"
sed -i '/Exit code of a wait status/d' "$scratch/headers/common.h"
if reference "$scratch/headers"; then fail "an operation without a description passes"; fi
for operation in remove exitStatus; do
  present "$operation.*is not documented" "$scratch/warnings" "warnings of an operation without a description"
done

# ---- Picture of the modules --------------------------------------------------------------------

quietly sh "$source/docs/modules.sh" --check
mkdir "$scratch/tree" "$scratch/tree/docs"
cp -r "$source/src" "$scratch/tree"
cp "$source"/docs/modules.* "$scratch/tree/docs"
echo '#include "CTemp.h"' >>"$scratch/tree/src/MLog.cpp"
if sh "$scratch/tree/docs/modules.sh" --check >/dev/null 2>&1; then fail "a new include passes"; fi

# ---- READMEs -----------------------------------------------------------------------------------

cd "$source"
# Links lead somewhere, and so do names of files in the tree; X stands for any.
for document in README.md README.ja.md docs/*.md; do
  grep -o '](\([^)#:]*\))' "$document" | sed 's/^](//; s/)$//' >"$scratch/links" || true
  case $document in README*) exists "$(head -n 1 "$scratch/links")" "the first link of $document" ;; esac
  while read -r link; do
    case $link in build/*) continue ;; esac
    exists "$(dirname "$document")/$link" "a link of $document"
  done <"$scratch/links"
  tr '`' '\n' <"$document" | grep -E '^(\.ci|[a-z]+)/[^ ]*$' | grep -v 'X\|[*]' >"$scratch/names" || true
  while read -r name; do
    case $name in build/*) continue ;; esac
    exists "$name" "a file that $document names"
  done <"$scratch/names"
done
for readme in README.md README.ja.md; do
  [ "$(wc -l <$readme)" -le 180 ] || fail "$readme is longer than a page of 180 lines"
  equal "$version" "$(sed -n 's/.*moxel_\(.*\)_amd64.*/\1/p' $readme)" "the version in $readme"
  grep '^#' $readme | sed 's/ .*//' >"$scratch/headings.$readme"
  tr '`' '\n' <$readme | grep -x '[A-Z][A-Z_]*[A-Z]' | sort -u >"$scratch/words.$readme"
  grep -oE '[0-9]{2,}' $readme | sort -u >"$scratch/numbers.$readme"
  grep '^    ' $readme | sed 's/ *#.*//' >"$scratch/code.$readme"
done
for subject in numbers code headings words; do
  same "$scratch/$subject.README.md" "$scratch/$subject.README.ja.md" "the $subject of the Japanese README"
done
# The first tool's page and README build it by the same line.
grep -F "first_tool.cpp \$(pkg-config" README.md docs/first-tool.md | sed 's/.*md: *//' | sort -u >"$scratch/lines"
equal 1 "$(wc -l <"$scratch/lines")" "ways to build the first tool"
echo "the documents are right"
