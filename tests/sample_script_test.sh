#!/bin/sh
# The sample send script: options, what it collects and masks, statuses, limits, the outbox, signals.
# Stand-ins for the programs that it calls come first on its PATH; what it reads below /sys and /etc is
# replaced in a private mount namespace.
#
# usage: sample_script_test.sh SOURCE BUILD
set -eu

# shellcheck source=tests/support/shell.sh
. "$(dirname "$0")/support/shell.sh"

if [ "${1:-}" != --inside ]; then
  namespaces="--mount"
  [ "$(id -u)" = 0 ] || namespaces="--user --map-root-user --mount"
  # shellcheck disable=SC2086 # a list of options
  exec unshare $namespaces sh "$0" --inside "$1" "$(id -u)"
fi
# shellcheck source=scripts/inside.sh
. "$(dirname "$0")/../scripts/inside.sh"
source=$2
uid=$3

scratch=$(mktemp -d)
trap 'umount -R "$scratch/small" 2>/dev/null || true; rm -rf "$scratch"' EXIT
trap 'exit 1' HUP INT TERM
chmod 755 "$scratch"
install -m 755 "$source/examples/scsend.sh" "$scratch"
script=$scratch/scsend.sh
host=$(uname -n)
names="host kernel distribution cpu memory disks filesystems packages interfaces addresses serials"

# ---- A machine ---------------------------------------------------------------------------------

# Each line of the standard input is a file and its content.
make_files() {
  while read -r file content; do
    mkdir -p "${file%/*}"
    echo "$content" >"$file"
  done
}

mount -t tmpfs -o mode=0755 sample-class /sys/class
mount -t tmpfs -o mode=0755 sample-block /sys/block
make_files <<'END_OF_FILES'
/sys/class/net/bonding_masters bond0
/sys/class/net/enx02fc00000077/address 02:fc:00:00:00:77
/sys/class/net/enx02fc00000077/operstate up
/sys/class/net/ib0/address 80:00:02:08:fe:80:00:00:00:00:00:00:00:02:c9:03:00:0a:0b:0c
/sys/class/net/ib0/operstate down
/sys/class/net/lo/address 00:00:00:00:00:00
/sys/class/net/lo/operstate unknown
/sys/class/net/tun0/address
/sys/class/net/tun0/operstate unknown
/sys/class/dmi/id/board_serial
/sys/class/dmi/id/product_name Server
/sys/class/dmi/id/product_serial PRODUCT 12345
/sys/class/dmi/id/product_uuid 4c4c4544-0042
/sys/block/dm-0/size 2048
/sys/block/fd0/size 2048
/sys/block/loop0/size 2048
/sys/block/md0/size 2048
/sys/block/nbd0/size 2048
/sys/block/nvme0c0n1/size 2048
/sys/block/ram0/size 2048
/sys/block/sr0/size 2048
/sys/block/zram0/size 2048
/sys/block/sda/size 40000000000
/sys/block/sda/sda1/size 2048
/sys/block/sda/device/model Some Disk
/sys/block/sda/device/serial DISK-A
/sys/block/vda/size 2048
/sys/block/vda/serial DISK-B
END_OF_FILES
# Not all bytes are characters.
printf 'BOARD-\37712345\n' >/sys/class/dmi/id/board_serial
chmod 400 /sys/class/dmi/id/*_serial /sys/class/dmi/id/product_uuid

# as_user COMMAND...: as a user whom the modes of files bind.
as_user() {
  if [ "$uid" = 0 ]; then
    setpriv --reuid=65534 --regid=65534 --clear-groups "$@"
  else
    setpriv --bounding-set=-all --inh-caps=-all "$@"
  fi
}

# stand_in NAME: the standard input becomes the program that the script finds first.
stand_in() {
  cat >"$scratch/programs/$1"
  chmod 755 "$scratch/programs/$1"
}

# The stand-ins that each check begins with.
usual_programs() {
  rm -rf "$scratch/programs"
  mkdir "$scratch/programs"
  stand_in ip <<'END_OF_PROGRAM'
#!/bin/sh
# The script's lock is not for its programs, which could outlive it.
[ ! -e /proc/$$/fd/9 ] || exit 99
echo '2: eth0@if3: <BROADCAST,UP> mtu 1500 qdisc noop state UP'
echo '    link/ether 02:fc:00:AB:cd:01 brd ff:ff:ff:ff:ff:ff'
echo '    altname enx02fc00abcd01'
echo '    inet 192.0.2.17/24 brd 192.0.2.255 scope global eth0'
echo '    inet6 fd00:1:2::17/64 scope global'
echo '    inet6 2001:db8:11:22:33:44:55:66/64 scope global'
echo '    inet6 fe80::fc:ff:fe00:1/64 scope link'
echo '    inet6 ::ffff:192.0.2.18/128 scope global'
echo '    inet6 ::1/128 scope host'
END_OF_PROGRAM
  stand_in dpkg-query <<'END_OF_PROGRAM'
#!/bin/sh
echo 'installed bash 5.2.15-2 amd64'
echo 'installed versioned 10.20.30.40 amd64'
echo 'config-files gone 1.0 amd64'
END_OF_PROGRAM
  stand_in df <<'END_OF_PROGRAM'
#!/bin/sh
echo 'Filesystem 1024-blocks Used Available Capacity Mounted on'
echo '/dev/vda1 1000 500 500 50% /'
echo '192.0.2.30:/export 1000 500 500 50% /mnt'
echo '[fd00::30]:/export 1000 500 500 50% /mnt/6'
END_OF_PROGRAM
  # One that has no database, and would make one.
  stand_in rpm <<END_OF_PROGRAM
#!/bin/sh
case \$1 in
  --eval) echo "$scratch/rpm" ;;
  *) echo "installed asked-rpm 1.0-1 noarch" ;;
esac
END_OF_PROGRAM
  rm -rf "$scratch/rpm"
}

# ---- Runs --------------------------------------------------------------------------------------

# A new outbox, that is not there yet.
new_outbox() {
  rm -rf "$scratch/place"
  outbox=$scratch/place/outbox
}

# call ARGUMENT...: runs the script; its outputs are in $scratch/output and $scratch/errors.
path=$PATH
prefix=""
call() {
  status=0
  # shellcheck disable=SC2086 # a command and its options
  PATH=$scratch/programs:$path TMPDIR=$scratch/tmp $prefix "$shell" "$script" "$@" \
    >"$scratch/output" 2>"$scratch/errors" </dev/null || status=$?
}

# gives STATUS ARGUMENT...: calls the script, which leaves no temporary file and nothing unfinished.
gives() {
  expected=$1
  shift
  call "$@"
  equal "$expected" $status "status of $shell scsend.sh $* that said '$(cat "$scratch/output")'"
  nothing_left "$shell scsend.sh $*"
}

# nothing_left WHAT
nothing_left() {
  equal "" "$(ls -A "$scratch/tmp")" "temporary files after $1"
  [ ! -d "$outbox" ] || equal "" "$(find "$outbox" -name '.unfinished*')" "unfinished archives after $1"
}

# reason PATTERN: the script said on standard output why it failed, with its name.
reason() {
  present "^scsend\.sh: $1" "$scratch/output" "the reason"
}

# archives: the names of those in the outbox.
archives() {
  find "$outbox" -name '*.tar.gz' -printf '%f\n' | sort
}

# unpack: the only archive goes to $facts.
facts=$scratch/facts
unpack() {
  rm -rf "$facts"
  mkdir "$facts"
  equal 1 "$(archives | wc -l)" "archives in the outbox"
  tar -C "$facts" --strip-components=1 -xzf "$outbox/$(archives)"
}

# state NAME STATE: what the manifest says.
state() {
  equal "$2" "$(sed -n "s/^$1 .* [0-9a-f]\{64\}  //p" "$facts/MANIFEST")" "status of $1 in the manifest"
}

# All but $1 are collected.
others_collected() {
  for name in $names; do
    [ "$name" = "$1" ] || state "$name" collected
  done
}

# line NAME TEXT: the output has it.
line() {
  printf '%-14s%s\n' "$1" "$2" >"$scratch/line"
  grep -qxF -f "$scratch/line" "$scratch/output" || fail "expected the line '$(cat "$scratch/line")', got
$(cat "$scratch/output")"
}

mkdir -m 1777 "$scratch/tmp"
mkfifo -m 666 "$scratch/started" "$scratch/go"

# ---- The checks --------------------------------------------------------------------------------

options() {
  new_outbox
  for option in -h --help; do
    gives 0 $option
    empty "$scratch/errors" "error output with $option"
    present '^usage: scsend\.sh ' "$scratch/output" "output with $option"
    for text in '-n ' '-o DIR' '-u ' '-v ' '-h, --help' 'Exit status: 0' '1 there is' '2 wrong' '3 the'; do
      present "$text" "$scratch/output" "the usage"
    done
  done
  OUTBOX=$outbox
  export OUTBOX
  for arguments in -x --verbose -o "-v more" "-o $outbox more"; do
    # shellcheck disable=SC2086 # several arguments
    gives 2 $arguments
    empty "$scratch/output" "output after wrong use"
    present '^scsend\.sh: .' "$scratch/errors" "the message after wrong use"
    present '^usage: scsend\.sh ' "$scratch/errors" "the usage after wrong use"
  done
  gives 2 -o ""
  unset OUTBOX
  missing "$outbox" "wrong use"
}

# Without an archive: nothing is written, in an outbox that is there and in none.
preview() {
  new_outbox
  gives 0 -n -o "$outbox"
  missing "$scratch/place" "the outbox with -n"
  for name in $names; do
    present "^$name {$((14 - ${#name}))}[^ ]" "$scratch/output" "the line of $name with -n"
  done
  equal 11 "$(wc -l <"$scratch/output")" "lines with -n"
  mkdir -p "$outbox"
  gives 0 -nv -o "$outbox"
  equal "" "$(ls -A "$outbox")" "the outbox after -n"
  echo 'exit 9' | stand_in ip
  gives 3 -n -o "$outbox"
  line addresses "failed, status 9"
  equal 11 "$(wc -l <"$scratch/output")" "lines with -n"
}

# The outbox is made, closed to others, and so is the archive; the command's -v has a line for each.
archive() {
  new_outbox
  begun=$(date +%s)
  (umask 022 && gives 0 -v -o "$outbox")
  empty "$scratch/errors" "error output"
  name=$(archives)
  echo "$name" >"$scratch/name"
  present "^configuration-$host-20[0-9]{6}T[0-9]{6}Z\.tar\.gz\$" "$scratch/name" "the archive's name"
  stamp=${name%Z.tar.gz}
  stamp=$(echo "${stamp##*-}" | sed 's/\(..\)\(..\)T\(..\)\(..\)\(..\)$/-\1-\2 \3:\4:\5 UTC/')
  stamp=$(date -d "$stamp" +%s)
  if [ "$stamp" -lt "$begun" ] || [ "$stamp" -gt "$(date +%s)" ]; then
    fail "the archive's time is $stamp, of a run that began at $begun"
  fi
  equal 600 "$(stat -c %a "$outbox/$name")" "mode of the archive"
  equal 700 "$(stat -c %a "$outbox")" "mode of the outbox"
  line host "$host"
  line kernel "$(uname -sr) ($(uname -m))"
  line disks "2 disks, 20000001024 KB"
  line filesystems "3 mounted"
  line packages "2 installed"
  line interfaces "enx(masked) ib0 lo tun0"
  line addresses "6 configured"
  line serials "3 found"
  line archive "$outbox/$name, $(wc -c <"$outbox/$name") bytes"
  equal 12 "$(wc -l <"$scratch/output")" "lines with -v"

  # Without -v it is silent.
  new_outbox
  gives 0 -o "$outbox"
  empty "$scratch/output" "output without -v"
  # From the environment, which an option overrules; relative to the working directory; the usual one.
  new_outbox
  OUTBOX=$outbox call -v
  line archive "$outbox/$(archives), $(wc -c <"$outbox/$(archives)") bytes"
  (cd "$scratch/place" && OUTBOX=$outbox call -v -o more/boxes)
  outbox=$scratch/place/more/boxes
  line archive "$outbox/$(archives), $(wc -c <"$outbox/$(archives)") bytes"
  cat >"$scratch/on_it" <<'END_OF_PROGRAM'
mount -t tmpfs sample-opt /opt
"$@"
ls /opt/kardo/moxel/outbox/configuration-*.tar.gz
END_OF_PROGRAM
  quietly unshare --mount sh -e "$scratch/on_it" "$shell" "$script"
  # A host whose name cannot be one of a file.
  printf '#!/bin/sh\necho "../a b"\n' | stand_in uname
  new_outbox
  gives 0 -o "$outbox"
  archives >"$scratch/name"
  present '^configuration-\.\._a_b-20' "$scratch/name" "the archive's name"
}

manifest() {
  new_outbox
  gives 0 -o "$outbox"
  unpack
  echo "$names MANIFEST" | tr ' ' '\n' | sort >"$scratch/expected"
  find "$facts" -type f -printf '%f\n' | sort >"$scratch/files"
  same "$scratch/expected" "$scratch/files" "files of the archive"
  equal "$names" "$(awk '{ print $1 }' "$facts/MANIFEST" | xargs)" "files of the manifest"
  others_collected none
  (cd "$facts" && awk '{ print $3 "  " $1 }' MANIFEST | sha256sum --check --strict --quiet -) ||
    fail "a sum of the manifest is wrong"
  for name in $names; do
    equal "$(wc -c <"$facts/$name")" "$(awk -v name="$name" '$1 == name { print $2 }' "$facts/MANIFEST")" \
      "bytes of $name in the manifest"
  done
}

# What is masked and what is not; disks are disks.
masks() {
  new_outbox
  LC_ALL=C.UTF-8
  export LC_ALL
  gives 0 -v -o "$outbox"
  unset LC_ALL
  unpack
  cp "$scratch/output" "$facts"
  cat "$facts"/* >"$scratch/all"
  absent 'fc:00|00ab|AB:cd|ff:ff|00:00:00|80:00:02|192\.0|fd00|2001|fe80|::|02fc|c9:03' "$scratch/all" \
    "addresses"
  absent '12345|4c4c|DISK' "$scratch/all" "serial numbers"
  present '^installed versioned 10\.20\.30\.40 amd64$' "$facts/packages" "a version"
  present '^    inet \(masked\)/24 brd \(masked\) scope global eth0$' "$facts/addresses" "a masked address"
  present '^    inet6 \(masked\)/64 scope link$' "$facts/addresses" "a masked address"
  present '^    link/ether \(masked\) brd \(masked\)$' "$facts/addresses" "a masked address"
  present '^\(masked\):/export 1000 500' "$facts/filesystems" "a masked address"
  equal "$host" "$(cat "$facts/host")" "the host's name"
  cat >"$scratch/expected" <<'END_OF_FILE'
disk sda 20000000000 KB
model sda: Some Disk
serial sda: (masked)
disk vda 1024 KB
serial vda: (masked)
END_OF_FILE
  same "$scratch/expected" "$facts/disks" "the disks"

  new_outbox
  gives 0 -u -v -o "$outbox"
  unpack
  "$scratch/programs/ip" >"$scratch/expected"
  same "$scratch/expected" "$facts/addresses" "unmasked addresses"
  "$scratch/programs/df" >"$scratch/expected"
  same "$scratch/expected" "$facts/filesystems" "unmasked file systems"
  present '^serial sda: DISK-A$' "$facts/disks" "an unmasked serial number"
  cat >"$scratch/expected" <<'END_OF_FILE'
enx02fc00000077 up 02:fc:00:00:00:77
ib0 down 80:00:02:08:fe:80:00:00:00:00:00:00:00:02:c9:03:00:0a:0b:0c
lo unknown 00:00:00:00:00:00
tun0 unknown 
END_OF_FILE
  same "$scratch/expected" "$facts/interfaces" "unmasked interfaces"
  printf 'serial board_serial: BOARD-\37712345\n' >"$scratch/expected"
  cat >>"$scratch/expected" <<'END_OF_FILE'
serial product_serial: PRODUCT 12345
serial product_uuid: 4c4c4544-0042
END_OF_FILE
  same "$scratch/expected" "$facts/serials" "unmasked serial numbers"

  # Some processors have a serial number.
  printf 'processor\t: 0\nSerial\t\t: 00000000deadbeef\n' >"$scratch/cpuinfo"
  cat >"$scratch/on_it" <<'END_OF_PROGRAM'
mount --bind "$1" /proc/cpuinfo
shift
exec "$@"
END_OF_PROGRAM
  prefix="unshare --mount sh -e $scratch/on_it $scratch/cpuinfo"
  new_outbox
  gives 0 -v -o "$outbox"
  prefix=""
  unpack
  line cpu "1 processor"
  present '^Serial.*: \(masked\)$' "$facts/cpu" "the processor's serial number"
}

# A machine with rpm; one with neither; an rpm that has no database is not asked.
packages() {
  new_outbox
  gives 0 -o "$outbox"
  unpack
  absent asked-rpm "$facts/packages" "packages of an rpm without a database"
  missing "$scratch/rpm" "the database"

  tools=$scratch/tools
  rm -rf "$tools"
  mkdir "$tools"
  for program in awk cat date flock gzip ls mkdir mktemp mv rm sed sh bash sha256sum stat tar timeout tr \
    uname wc; do
    ln -s "$(command -v $program)" "$tools"
  done
  path=$tools
  rm "$scratch/programs/dpkg-query"
  mkdir "$scratch/rpm"
  touch "$scratch/rpm/rpmdb.sqlite"
  new_outbox
  gives 0 -v -o "$outbox"
  unpack
  others_collected none
  line packages "1 installed"
  present '^installed asked-rpm 1\.0-1 noarch$' "$facts/packages" "packages of rpm"

  # What is not installed is no failure, but what the script itself needs is.
  rm "$scratch/programs/rpm" "$scratch/programs/ip"
  new_outbox
  gives 0 -v -o "$outbox"
  unpack
  line packages "not installed"
  line addresses "not installed"
  state packages "not installed"
  state addresses "not installed"
  rm "$tools/flock"
  new_outbox
  gives 1 -o "$outbox"
  reason "flock is not installed"
  missing "$outbox" "the outbox without flock"
  path=$PATH
}

# A machine without /etc/os-release, and one with a different one.
distribution() {
  rm -rf "$scratch/no_release"
  mkdir "$scratch/no_release"
  [ ! -d /etc/alternatives ] || cp -PR /etc/alternatives "$scratch/no_release"
  cat >"$scratch/on_it" <<'END_OF_PROGRAM'
mount --bind "$1" "$2"
shift 2
exec "$@"
END_OF_PROGRAM
  prefix="unshare --mount sh -e $scratch/on_it $scratch/no_release /etc"
  new_outbox
  gives 0 -v -o "$outbox"
  unpack
  line distribution "not installed"
  state distribution "not installed"
  others_collected distribution

  printf 'NAME=Some\nPRETTY_NAME="Some System 1"\nexit 77\n' >"$scratch/release"
  prefix="unshare --mount sh -e $scratch/on_it $scratch/release /etc/os-release"
  new_outbox
  gives 0 -v -o "$outbox"
  line distribution "Some System 1"
  unpack
  same "$scratch/release" "$facts/distribution" "the distribution"
  prefix=""
}

ordinary_user() {
  echo secret >"$scratch/release"
  if [ "$uid" = 0 ]; then chmod 600 "$scratch/release"; else chmod 000 "$scratch/release"; fi
  mount --bind "$scratch/release" /etc/os-release
  prefix=as_user
  # The modes of a file of one's own bind its owner too, where there is no other user.
  [ "$uid" = 0 ] || chmod 000 /sys/class/dmi/id/*_serial /sys/class/dmi/id/product_uuid
  rm -rf "$scratch/place"
  mkdir -m 777 "$scratch/place"
  outbox=$scratch/place/outbox
  gives 0 -v -o "$outbox"
  umount /etc/os-release
  unpack
  line distribution "not permitted"
  line serials "not permitted"
  state distribution "not permitted"
  state serials "not permitted"
  empty "$facts/serials" "serial numbers"
  for name in $names; do
    case $name in distribution | serials) ;; *) state "$name" collected ;; esac
  done
  # Part of it.
  chmod 444 /sys/class/dmi/id/board_serial
  new=$scratch/place/second
  outbox=$new
  gives 0 -v -u -o "$outbox"
  unpack
  state serials "not permitted"
  printf 'serial board_serial: BOARD-\37712345\n' >"$scratch/expected"
  same "$scratch/expected" "$facts/serials" "serial numbers"
  chmod 400 /sys/class/dmi/id/*_serial /sys/class/dmi/id/product_uuid

  # Where this user may not write.
  rm -rf "$scratch/place"
  mkdir -m 555 "$scratch/place"
  outbox=$scratch/place
  gives 1 -o "$outbox"
  reason "cannot write into the outbox $outbox"
  gives 1 -o "$outbox/new"
  reason "cannot make the outbox $outbox/new"
  prefix=""
}

# One that fails costs nothing but itself.
failure() {
  printf '#!/bin/sh\necho "what came first"\nexit 7\n' | stand_in df
  new_outbox
  gives 3 -v -o "$outbox"
  line filesystems "failed, status 7"
  unpack
  state filesystems "failed, status 7"
  equal "what came first" "$(cat "$facts/filesystems")" "what the failing program said"
  others_collected filesystems
  new_outbox
  gives 3 -o "$outbox"
  equal "scsend.sh: filesystems: failed, status 7" "$(cat "$scratch/output")" "output without -v"
  echo 'exit 5' | stand_in dpkg-query
  new_outbox
  gives 3 -v -o "$outbox"
  line packages "failed, status 5"
}

# A program that hangs, one that takes no notice of being asked to end, and the limit.
limit() {
  real=$(command -v timeout)
  stand_in timeout <<END_OF_PROGRAM
#!/bin/sh
echo "\$1 \$2 \$3" >>"$scratch/limits"
case \$* in
  *filesystems)
    shift 3
    exec "$real" -k 0.5 0.5 "\$@"
    ;;
esac
exec "$real" "\$@"
END_OF_PROGRAM
  # At the latest it ends after 20 seconds.
  stand_in df <<END_OF_PROGRAM
#!/bin/sh
exec "$real" --foreground -s KILL 20 sh "$scratch/hangs"
END_OF_PROGRAM
  for ignored in "" TERM; do
    cat >"$scratch/hangs" <<END_OF_PROGRAM
trap "" $ignored
exec 8>"$scratch/held"
flock 8
exec cat "$scratch/go"
END_OF_PROGRAM
    rm -f "$scratch/limits"
    new_outbox
    gives 3 -v -o "$outbox"
    line filesystems "timed out"
    unpack
    state filesystems "timed out"
    others_collected filesystems
    equal "-k 5 30" "$(sort -u "$scratch/limits")" "the limit of each collector"
    equal 11 "$(wc -l <"$scratch/limits")" "collectors with a limit"
    flock -w 10 "$scratch/held" true || fail "the program that hung has been left behind"
  done
}

# The newest five of this host stay, by name; what else there is stays, too.
generations() {
  new_outbox
  mkdir -p "$outbox"
  for day in 1 2 3 4 5 6; do
    touch "$outbox/configuration-$host-2026010${day}T000000Z.tar.gz"
  done
  touch -d 2000-01-01 "$outbox/configuration-$host-20260106T000000Z.tar.gz"
  touch "$outbox/configuration-$host-2-20260101T000000Z.tar.gz" \
    "$outbox/configuration-20260101T000000Z.tar.gz"
  touch "$outbox/.unfinished.Ab12Cd"
  # None goes before there is a new one.
  echo 'exit 1' | stand_in tar
  gives 1 -o "$outbox"
  reason "cannot write the archive"
  equal 8 "$(archives | wc -l)" "archives after a failure"
  rm "$scratch/programs/tar"

  gives 0 -o "$outbox"
  archives >"$scratch/name"
  equal 7 "$(wc -l <"$scratch/name")" "archives in the outbox"
  for day in 3 4 5 6; do
    present "^configuration-$host-2026010${day}T000000Z" "$scratch/name" "archives in the outbox"
  done
  present "^configuration-$host-2-2026" "$scratch/name" "the other host's archive"
  present "^configuration-20260101T" "$scratch/name" "what is not of this host"

  # A clock that was wrong: the new archive is not the newest by name, and stays.
  new_outbox
  mkdir -p "$outbox"
  for day in 1 2 3 4 5 6; do
    touch "$outbox/configuration-$host-2099010${day}T000000Z.tar.gz"
  done
  gives 0 -v -o "$outbox"
  archives >"$scratch/name"
  present "^configuration-$host-202" "$scratch/name" "the new archive"
  absent "20990101" "$scratch/name" "the oldest archive"
}

# blocked SIGNAL: the script, $pid, runs in the background up to a program that says that it has started
# and waits. The signal is not ignored, as one can be in the background; the program takes a while to end.
blocked() {
  stand_in ip <<END_OF_PROGRAM
#!/bin/sh
trap 'sleep 0.3; exit 1' TERM
exec 8>"$scratch/held"
flock 8
echo started >"$scratch/started"
timeout --foreground 20 cat "$scratch/go"
END_OF_PROGRAM
  PATH=$scratch/programs:$path TMPDIR=$scratch/tmp env --default-signal="$1" "$shell" "$script" -o "$outbox" \
    >"$scratch/output" 2>"$scratch/errors" </dev/null &
  pid=$!
  timeout 20 cat "$scratch/started" >"$scratch/begun" || fail "the script did not get as far as its program"
}

# A second run is refused, not a look.
second_run() {
  new_outbox
  blocked TERM
  usual_programs
  status=0
  PATH=$scratch/programs:$path TMPDIR=$scratch/tmp "$shell" "$script" -o "$outbox" \
    >"$scratch/second" 2>"$scratch/errors" || status=$?
  equal 1 $status "status of a second run"
  equal "scsend.sh: another run is going on" "$(cat "$scratch/second")" "what the second run said"
  status=0
  PATH=$scratch/programs:$path TMPDIR=$scratch/tmp "$shell" "$script" -n -o "$outbox" \
    >"$scratch/second" 2>"$scratch/errors" || status=$?
  equal 0 $status "status of a look during a run"
  echo go >"$scratch/go"
  status=0
  wait $pid || status=$?
  equal 0 $status "status of the first run"
  unpack
  nothing_left "the first run"
  gives 0 -o "$outbox"
}

# A signal ends the script at once, and its program with it; nothing is left, and the next run is free.
signals() {
  for signal in HUP INT TERM; do
    new_outbox
    blocked $signal
    begun=$(date +%s)
    kill -s $signal $pid
    status=0
    wait $pid || status=$?
    equal 1 $status "status after SIG$signal"
    reason "ended by a signal"
    flock -n "$scratch/held" true || fail "the program has been left behind after SIG$signal"
    [ $(($(date +%s) - begun)) -lt 15 ] || fail "the script waited for its program after SIG$signal"
    nothing_left "SIG$signal"
    equal "" "$(archives)" "archives after SIG$signal"
    usual_programs
    gives 0 -o "$outbox"
  done

  # While the archive is written.
  stand_in tar <<END_OF_PROGRAM
#!/bin/sh
echo piece >"\$4"
kill -s TERM \$PPID
END_OF_PROGRAM
  new_outbox
  gives 1 -o "$outbox"
  equal "" "$(archives)" "archives after SIGTERM"
}

# Outboxes without room, or that cannot be written or made.
room() {
  new_outbox
  mkdir -p "$scratch/small"
  outbox=$scratch/small
  mount -t tmpfs -o size=5m sample-small "$outbox"
  gives 1 -o "$outbox"
  reason "less than 10 MB free in $outbox: 5120 KB"
  equal "" "$(archives)" "archives in an outbox without room"
  umount "$outbox"
  mount -t tmpfs -o size=12m sample-small "$outbox"
  # It fills up in the meantime.
  printf '#!/bin/sh\ndd if=/dev/zero of="%s" bs=1M 2>/dev/null\nexit 0\n' "$outbox/filler" | stand_in ip
  gives 1 -o "$outbox"
  reason "cannot write"
  equal "" "$(archives)" "archives in a full outbox"
  usual_programs
  umount "$outbox"
  mount -t tmpfs -o ro sample-small "$outbox"
  gives 1 -o "$outbox"
  reason "cannot write into the outbox $outbox"
  umount "$outbox"

  touch "$scratch/file"
  new_outbox
  gives 1 -o "$scratch/file/outbox"
  reason "cannot make the outbox"
  # No place for the temporary files, and none with room.
  status=0
  TMPDIR=$scratch/none PATH=$scratch/programs:$path "$shell" "$script" -o "$outbox" >"$scratch/output" \
    2>"$scratch/errors" || status=$?
  equal 1 $status "status without a temporary directory"
  reason "cannot make a temporary directory"
  equal "" "$(archives)" "archives without a temporary directory"
  mount -t tmpfs -o size=5m sample-small "$scratch/small"
  status=0
  TMPDIR=$scratch/small PATH=$scratch/programs:$path "$shell" "$script" -o "$outbox" >"$scratch/output" \
    2>"$scratch/errors" || status=$?
  equal 1 $status "status without room for temporary files"
  reason "less than 10 MB free in $scratch/small/"
  equal "" "$(archives)" "archives without room for temporary files"
  equal "" "$(ls -A "$scratch/small")" "temporary files"
  umount "$scratch/small"
}

# A failure that nobody has foreseen ends the script with its reason, too.
unforeseen() {
  new_outbox
  printf '#!/bin/sh\nexit 9\n' | stand_in date
  gives 1 -o "$outbox"
  equal "scsend.sh: a program failed, status 9" "$(cat "$scratch/output")" "the reason of an unforeseen failure"
  usual_programs
}

# Output that has no room or no reader changes nothing.
lost_output() {
  new_outbox
  status=0
  TMPDIR=$scratch/tmp PATH=$scratch/programs:$path "$shell" "$script" -v -o "$outbox" >/dev/full \
    2>"$scratch/errors" || status=$?
  equal 0 $status "status with a full output"
  unpack
  new_outbox
  status=0
  TMPDIR=$scratch/tmp PATH=$scratch/programs:$path "$shell" "$script" -v -o "$outbox" >&- \
    2>"$scratch/errors" || status=$?
  equal 0 $status "status with a closed output"
  unpack
  new_outbox
  {
    status=0
    # The reader is gone before it begins.
    cat "$scratch/go" >"$scratch/second"
    TMPDIR=$scratch/tmp PATH=$scratch/programs:$path "$shell" "$script" -v -o "$outbox" \
      2>"$scratch/errors" || status=$?
    echo $status >"$scratch/status"
  } | exec sh -c 'exec <&-; echo gone >"$1"' sh "$scratch/go"
  equal 0 "$(cat "$scratch/status")" "status with an output that nobody reads"
  unpack
}

checks="options preview archive manifest masks packages distribution ordinary_user failure limit generations \
  second_run signals room unforeseen lost_output"
for shell in sh bash; do
  if ! command -v $shell >"$scratch/found"; then
    echo "without $shell, which is not installed"
    continue
  fi
  for check in $checks; do
    usual_programs
    $check
  done
  # What depends on the shell.
  checks="manifest second_run signals unforeseen lost_output"
done
echo "the sample script does its work"
