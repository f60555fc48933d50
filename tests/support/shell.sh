# Judgements of the shell tests, each of which tells what it expected and what it got. They write into
# $scratch.
# shellcheck shell=sh disable=SC2154 # the test makes $scratch

fail() {
  echo "${0##*/}: $*" >&2
  exit 1
}

# equal EXPECTED GOT WHAT: two words or texts.
equal() {
  [ "$1" = "$2" ] || fail "$3: expected '$1', got '$2'"
}

# same EXPECTED GOT WHAT: two files.
same() {
  diff -u --label expected --label got "$1" "$2" >&2 || fail "$3"
}

# present PATTERN FILE WHAT: a line that matches is in the file.
present() {
  grep -qE -e "$1" "$2" || fail "$3: expected a line that matches '$1', got
$(cat "$2")"
}

# absent PATTERN FILE WHAT: no line matches.
absent() {
  ! grep -E -e "$1" "$2" >"$scratch/found" || fail "$3: expected no line that matches '$1', got
$(cat "$scratch/found")"
}

# empty FILE WHAT: the file has no line.
empty() {
  absent '' "$1" "$2"
}

# exists FILE WHAT; missing FILE WHAT
exists() {
  [ -e "$1" ] || fail "$2: expected $1, which is not there"
}
missing() {
  [ ! -e "$1" ] || fail "$2: expected no $1, got $(ls -ld "$1")"
}

# quietly COMMAND...: what it prints is shown only if it fails.
quietly() {
  status=0
  "$@" >"$scratch/quiet" 2>&1 || status=$?
  [ $status = 0 ] || fail "expected '$*' to pass, got status $status:
$(cat "$scratch/quiet")"
}

# tests_with DIRECTORY PATTERN: the tests there whose own lines match, as a filter of GoogleTest.
tests_with() {
  awk -v pattern="$2" '
    FNR == 1 || /^}/ { name = "" }
    /^TEST/ { gsub(/.*\(|\).*/, ""); split($0, part, ", *"); name = part[1] "." part[2] }
    $0 ~ pattern && name != "" { print name }' "$1"/*_test.cpp | sort -u | tr '\n' ':'
}
