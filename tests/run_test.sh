#!/bin/sh
# run.sh: what it shows with the sample script and with one's own, what it keeps, wrong use, signals.
# It builds in build/run of the source directory, as always.
#
# usage: run_test.sh SOURCE BUILD
set -eu

# shellcheck source=tests/support/shell.sh
. "$(dirname "$0")/support/shell.sh"

source=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
trap 'exit 1' HUP INT TERM
mkdir -m 1777 "$scratch/tmp"
mkdir "$scratch/programs" "$scratch/caller"
mkfifo "$scratch/started" "$scratch/go"
path=$PATH
cd "$scratch/caller"

# gives STATUS ARGUMENT...: what run.sh prints is in $scratch/output and $scratch/errors. It must not
# depend on the variables set here.
gives() {
  expected=$1
  shift
  status=0
  TMPDIR=$scratch/tmp PATH=$scratch/programs:$path OUTBOX=$scratch/none MOXEL_LOG=$scratch/none/log \
    VEKCOM_STATUS=0x10000 sh "$source/run.sh" "$@" >"$scratch/output" 2>"$scratch/errors" || status=$?
  [ "$expected" = $status ] || fail "run.sh $*: expected the status $expected, got $status:
$(cat "$scratch/output" "$scratch/errors")"
  equal "" "$(ls -A "$scratch/tmp")" "temporary files after run.sh $*"
}

# statuses LIST: those of the runs shown.
statuses() {
  equal "$1" "$(sed -n 's/^-- exit status //p' "$scratch/output" | xargs)" "statuses of the runs"
}

# ---- Help and wrong use ------------------------------------------------------------------------

for option in -h --help; do
  gives 0 $option
  empty "$scratch/errors" "error output with $option"
  present '^usage: run\.sh \[--keep DIR\] \[SCRIPT\]$' "$scratch/output" "output with $option"
done

# wrong MESSAGE ARGUMENT...
wrong() {
  message=$1
  shift
  gives 2 "$@" </dev/null
  empty "$scratch/output" "output after wrong use"
  equal "run.sh: $message" "$(head -n 1 "$scratch/errors")" "the message after wrong use"
  present '^usage: run\.sh ' "$scratch/errors" "the usage after wrong use"
}
echo 'exit 0' >own.sh
mkdir directory
wrong "unknown option -x" -x
wrong "unknown option --keeps" --keeps "$scratch/kept"
wrong "--keep needs a directory" --keep
wrong "--keep needs a directory" --keep ""
wrong "unexpected argument: more" own.sh more
wrong "no script that can be read: none.sh" --keep kept none.sh
wrong "no script that can be read: directory" directory
wrong "no script that can be read: " ""
missing kept "wrong use"
# Nobody may read it; root may all the same.
chmod 000 own.sh
if [ "$(id -u)" != 0 ]; then
  wrong "no script that can be read: own.sh" own.sh
else
  # For another user, who may perhaps not read the source.
  chmod 755 "$scratch"
  mkdir "$scratch/scripts"
  cp "$source/run.sh" "$scratch"
  cp "$source/scripts/usage.sh" "$scratch/scripts"
  status=0
  setpriv --reuid=65534 --regid=65534 --clear-groups sh "$scratch/run.sh" own.sh 2>"$scratch/errors" ||
    status=$?
  equal 2 $status "status of run.sh with a script that may not be read"
  equal "run.sh: no script that can be read: own.sh" "$(head -n 1 "$scratch/errors")" "the message"
fi
rm -f own.sh

# ---- The sample script -------------------------------------------------------------------------

find /opt -maxdepth 3 2>/dev/null | sort >"$scratch/before"
gives 0 </dev/null
find /opt -maxdepth 3 2>/dev/null | sort >"$scratch/after"
same "$scratch/before" "$scratch/after" "run.sh changes /opt"
statuses "0 3 255"
equal "== in operation, the configuration is sent" "$(head -n 1 "$scratch/output")" "the first line"
equal "構成情報送信が完了しました" "$(sed -n 2p "$scratch/output")" "the second line"
for text in "構成情報送信が完了しませんでした" "現在運用中でないため実行できません" \
  "the line to the support centre is busy" "host          $(uname -n)"; do
  grep -qxF "$text" "$scratch/output" || fail "expected the line '$text', got
$(cat "$scratch/output")"
done
archive="configuration-$(uname -n)-20[0-9]{6}T[0-9]{6}Z"
present "^archive       /opt/kardo/moxel/outbox/$archive\.tar\.gz, [0-9]+ bytes\$" "$scratch/output" \
  "the archive"
present "^-rw-------.* $archive/MANIFEST\$" "$scratch/output" "what is in the archive"
present 'wstat=00000300$' "$scratch/output" "the log"
equal "building the command in $source/build/run" "$(head -n 1 "$scratch/errors")" "what is said first"

# ---- What is kept ------------------------------------------------------------------------------

gives 0 --keep new/kept </dev/null
statuses "0 3 255"
find new/kept -type f -printf '%f\n' | sort >"$scratch/files"
equal 2 "$(wc -l <"$scratch/files")" "files that are kept"
present "^$archive\.tar\.gz\$" "$scratch/files" "files that are kept"
quietly tar -tzf new/kept/configuration-*.tar.gz
equal 2 "$(grep -c 'com=/opt/kardo/moxel/bin/scsend.sh -v' new/kept/moxel.log)" "scripts in the log"
equal "" "$(find new ! -user "$(id -u)")" "what does not belong to the caller"

# One that ends in an unexpected way shows it, and what it left is kept.
printf '#!/bin/sh\nexit 9\n' >"$scratch/programs/ip"
chmod 755 "$scratch/programs/ip"
rm -r new
gives 1 --keep new </dev/null
rm "$scratch/programs/ip"
statuses 3
present '^run\.sh: expected the exit status 0$' "$scratch/errors" "what is said of another status"
exists new/moxel.log "the log of a run with another status"
touch file
gives 1 --keep file/kept </dev/null
empty "$scratch/output" "output of a run that cannot keep anything"

# ---- One's own script --------------------------------------------------------------------------

cat >own.sh <<'END_OF_SCRIPT'
#!/bin/sh
mkdir /opt/kardo/moxel/outbox
echo "a report" >/opt/kardo/moxel/outbox/report.txt
read -r line
echo "これは自分のスクリプトです $1 $line"
exit 5
END_OF_SCRIPT
echo "from its input" | gives 0 --keep kept own.sh
statuses "5 3 255"
equal "構成情報送信が完了しませんでした" "$(sed -n 2p "$scratch/output")" "the second line"
equal "これは自分のスクリプトです -v from its input" "$(sed -n 4p "$scratch/output")" \
  "the line of one's own script"
present ' /opt/kardo/moxel/outbox/report\.txt$' "$scratch/output" "what the script put into the outbox"
equal "a report" "$(cat kept/report.txt)" "what is kept"
exists kept/moxel.log "what is kept"
# One that leaves nothing, by its absolute path; the directory may be there.
echo 'exit 0' >own.sh
gives 0 --keep kept "$PWD/own.sh" </dev/null
statuses "0 3 255"
present '^nothing$' "$scratch/output" "what the script put into the outbox"
gives 0 own.sh <&-
statuses "0 3 255"

# ---- Signals -----------------------------------------------------------------------------------

# It says that it has started, and waits; nobody else holds the lock while it lives.
cat >waiting <<END_OF_SCRIPT
#!/bin/sh
exec 8>"$scratch/held"
flock 8
echo started >"$scratch/started"
timeout --foreground 20 cat "$scratch/go"
echo over >"$scratch/over"
END_OF_SCRIPT
chmod 755 waiting

# ends_at SIGNAL WHAT ARGUMENT...: at a signal run.sh, which has come to what waits, ends at once, with it.
ends_at() {
  signal=$1
  what=$2
  shift 2
  rm -f "$scratch/over"
  TMPDIR=$scratch/tmp PATH=$scratch/programs:$path env --default-signal="$signal" sh "$source/run.sh" "$@" \
    >"$scratch/output" 2>"$scratch/errors" </dev/null &
  pid=$!
  timeout 60 cat "$scratch/started" >"$scratch/begun" || fail "run.sh did not get as far as $what"
  present '^building the command in ' "$scratch/errors" "what is said before $what"
  kill -s "$signal" $pid
  status=0
  wait $pid || status=$?
  equal 1 $status "status after SIG$signal during $what"
  flock -w 10 "$scratch/held" true || fail "$what has been left behind after SIG$signal"
  missing "$scratch/over" "the end of $what after SIG$signal"
  equal "" "$(ls -A "$scratch/tmp")" "temporary files after SIG$signal during $what"
}
for signal in HUP INT TERM; do
  ends_at $signal "the script" waiting
done
cp waiting "$scratch/programs/cmake"
ends_at TERM "the build"
echo "run.sh shows what it should"
