#!/bin/sh
# A sample of the set's configuration-send script: collects facts about this machine into an archive in
# an outbox directory and prints what it has collected. It sends nothing; a mark below shows where the
# transmission goes.
#
# Root gets everything, an ordinary user what that user may read. The archive has a file for each item,
# and MANIFEST, which lists file, bytes, SHA-256 and status:
#   collected
#   not installed      this machine does not have it
#   not permitted      this user may not read it, or not all of it
#   failed, status N   the program that reports it failed; the file has its output until then
#   timed out          it did not end within 30 seconds, as on a dead network mount; likewise
#
# MAC addresses, IP addresses (the loopback's too) and serial numbers are masked in the archive unless
# -u is given. The host name stays.
#
# Exit status: 0 the archive is made, 1 there is none, 2 wrong use, 3 the archive is made but something
# failed or timed out. Standard output has the reason of a failure, since the command that calls this
# script discards its error output.
set -eu
umask 077
LC_ALL=C
export LC_ALL

usage="usage: scsend.sh [-nuv] [-o DIR]
Collects facts of this machine into an archive in an outbox directory; sends nothing.
  -n          print what would be collected, make no archive
  -o DIR      the outbox; default: the variable OUTBOX, or /opt/kardo/moxel/outbox
  -u          unmasked: with MAC and IP addresses and serial numbers
  -v          print a line for each thing collected, then the archive's
  -h, --help  print this
Exit status: 0 the archive is made, apart from what is not installed or not permitted
             1 there is no archive
             2 wrong use
             3 the archive is made, but something failed or timed out"

# ---- What is collected -------------------------------------------------------------------------

# collect_NAME prints the facts; descriptor 3 gets the reason if there are none. If a program fails, the
# collector ends with its status.
names="host kernel distribution cpu memory disks filesystems packages interfaces addresses serials"

not() {
  echo "not $1" >&3
}

show_file() {
  if [ ! -e "$1" ]; then
    not installed
  elif [ ! -r "$1" ]; then
    not permitted
  else
    cat "$1"
  fi
}

collect_host() {
  uname -n
}

collect_kernel() {
  uname -srvm
}

collect_distribution() {
  show_file /etc/os-release
}

collect_cpu() {
  show_file /proc/cpuinfo
}

collect_memory() {
  show_file /proc/meminfo
}

collect_disks() {
  for disk in /sys/block/*; do
    name=${disk##*/}
    # No partitions, volumes made of disks, memory disks, paths (nvme0c0n1) or drives for removable media.
    case $name in
      '*' | bcache* | dm-* | drbd* | fd* | loop* | md* | mmcblk*boot* | nbd* | nvme*c* | ram* | sr* | zd* | zram*)
        continue
        ;;
    esac
    sectors=$(cat "$disk/size") || continue # gone meanwhile
    echo "disk $name $((sectors / 2)) KB"
    for file in "$disk/device/model" "$disk/device/serial" "$disk/serial"; do
      [ ! -r "$file" ] || echo "${file##*/} $name: $(cat "$file")"
    done
  done
}

collect_filesystems() {
  df -kP
}

# Without a database, rpm would make one.
collect_packages() {
  rpms=""
  if command -v rpm >/dev/null; then
    database=$(rpm --eval %_dbpath)
    if [ -d "$database" ] && [ ! -r "$database" ]; then not permitted; fi
    rpms=$(ls "$database" 2>/dev/null) || true
  fi
  if [ -n "$rpms" ]; then
    rpm -qa --qf 'installed %{NAME} %{VERSION}-%{RELEASE} %{ARCH}\n'
  fi
  if command -v dpkg-query >/dev/null; then
    dpkg-query -W -f '${db:Status-Status} ${Package} ${Version} ${Architecture}\n'
  elif [ -z "$rpms" ]; then
    not installed
  fi
}

collect_interfaces() {
  for interface in /sys/class/net/*; do
    # Plain files occur here too, and an interface may vanish at any time.
    if [ -d "$interface" ] && state=$(cat "$interface/operstate") &&
      address=$(cat "$interface/address"); then
      echo "${interface##*/} $state $address"
    fi
  done
}

collect_addresses() {
  if command -v ip >/dev/null; then
    ip address
  else
    not installed
  fi
}

collect_serials() {
  for file in /sys/class/dmi/id/*serial /sys/class/dmi/id/product_uuid; do
    if [ -r "$file" ]; then
      value=$(cat "$file")
      echo "serial ${file##*/}: $value"
    elif [ -e "$file" ]; then
      not permitted
    fi
  done
}

# scsend.sh --collect NAME: this script calls itself so, under a time limit.
if [ "${1:-}" = --collect ]; then
  # Waits for its program, so that one that ignores TERM is killed later.
  trap 'exit 143' TERM
  "collect_$2"
  exit
fi

# ---- Options -----------------------------------------------------------------------------------

wrong_use() {
  echo "${0##*/}: $1" >&2
  echo "$usage" >&2
  exit 2
}

if [ "${1:-}" = --help ]; then
  echo "$usage"
  exit 0
fi

outbox=${OUTBOX:-/opt/kardo/moxel/outbox}
archived=yes
masked=yes
verbose=no
while getopts :hno:uv option; do
  case $option in
    h)
      echo "$usage"
      exit 0
      ;;
    n)
      archived=no
      verbose=yes
      ;;
    o) outbox=$OPTARG ;;
    u) masked=no ;;
    v) verbose=yes ;;
    :) wrong_use "-$OPTARG needs a directory" ;;
    *) wrong_use "unknown option -$OPTARG" ;;
  esac
done
shift $((OPTIND - 1))
[ $# = 0 ] || wrong_use "unexpected argument: $1"
[ -n "$outbox" ] || wrong_use "the outbox has no name"
case $outbox in
  /*) ;;
  *) outbox=$PWD/$outbox ;;
esac

# ---- Output and end ----------------------------------------------------------------------------

# Output without a reader or room is lost; the archive is still made.
trap '' PIPE
{ command exec 3>&1; } 2>/dev/null || exec >/dev/null
exec 3>&-

complain() {
  echo "${0##*/}: $*" || true
}

told=no
give_up() {
  complain "$@"
  told=yes
  exit 1
}

work=""
unfinished=""
collecting=no
finish() {
  status=$?
  trap '' HUP INT TERM
  if [ $collecting = yes ]; then
    kill "${!:-}" || true
    wait || true
  fi
  rm -rf "$work" "$unfinished"
  # What nobody has foreseen ends the script, too, and says so.
  case $status,$told in
    0,* | 3,* | *,yes) ;;
    *)
      complain "a program failed, status $status"
      exit 1
      ;;
  esac
}
trap finish EXIT
trap 'give_up "ended by a signal"' HUP INT TERM

for program in awk flock gzip sed sha256sum tar timeout; do
  command -v $program >/dev/null || give_up "$program is not installed"
done

# ---- The outbox --------------------------------------------------------------------------------

need_room() {
  room=$(($(stat -f -c '%a * %S / 1024' "$1")))
  [ $room -ge 10240 ] || give_up "less than 10 MB free in $1: $room KB"
}

if [ $archived = yes ]; then
  mkdir -p "$outbox" 2>&1 || give_up "cannot make the outbox $outbox"
  (: >>"$outbox/.lock") 2>/dev/null || give_up "cannot write into the outbox $outbox"
  exec 9>>"$outbox/.lock"
  flock -n 9 || give_up "another run is going on"
  # Remove the remains of a killed run.
  rm -f "$outbox"/.unfinished.*
  need_room "$outbox"
fi

# ---- Collection --------------------------------------------------------------------------------

host=$(uname -n | tr -c 'A-Za-z0-9.\n-' _)
title=configuration-$host-$(date -u +%Y%m%dT%H%M%SZ)
archive=$outbox/$title.tar.gz
work=$(mktemp -d) || give_up "cannot make a temporary directory"
need_room "$work"
facts=$work/$title
mkdir "$facts"

# Serial numbers; IPv4; shortened IPv6; IPv6 and MAC, which have six groups at least; and interface
# names that contain a MAC.
mask() {
  sed -E '
    s/^(serial[^:]*:[[:space:]]*).+/\1(masked)/I
    s/[0-9]{1,3}(\.[0-9]{1,3}){3}/(masked)/g
    s/[0-9A-Fa-f:]*::[0-9A-Fa-f:]*/(masked)/g
    s/[0-9A-Fa-f]{1,4}(:[0-9A-Fa-f]{1,4}){5,}/(masked)/g
    s/\<((en|ib|sl|wl|ww)x)[0-9a-f]{12}/\1(masked)/g'
}

# summary NAME: the summary of these facts for their line.
summary() {
  case $1 in
    kernel) awk '{ print $1, $2, "(" $NF ")" }' ;;
    distribution) sed -n 's/^PRETTY_NAME=//p' | tr -d '"' ;;
    cpu) awk -F ': *' '/^processor/ { n++ } /^model name/ { model = ", " $2 }
      END { print n + 0, "processor" (n == 1 ? "" : "s") model }' ;;
    memory) awk '/^MemTotal:/ { print $2, "KB" }' ;;
    disks) awk '/^disk / { n++; kb += $3 }
      END { printf "%d disk%s, %.0f KB\n", n, n == 1 ? "" : "s", kb }' ;;
    filesystems) awk 'END { print NR - 1, "mounted" }' ;;
    packages) awk '/^installed / { n++ } END { print n + 0, "installed" }' ;;
    interfaces) awk '{ names = names " " $1 } END { print substr(names, 2) }' ;;
    addresses) awk '$1 ~ /^inet/ { n++ } END { print n + 0, "configured" }' ;;
    serials) awk 'END { print NR, "found" }' ;;
    *) cat ;;
  esac
}

# say NAME TEXT
say() {
  printf '%-14s%s\n' "$1" "$2" || true
}

failed=no
for name in $names; do
  # In the background, so that a signal is noticed at once. A program that cannot even be killed keeps
  # neither the lock nor the output.
  status=0
  collecting=yes
  timeout -k 5 30 sh "$0" --collect "$name" >"$work/raw" 3>"$work/reason" 9>&- &
  wait $! || status=$?
  collecting=no
  case $status in
    0) read -r state <"$work/reason" || state=collected ;;
    124 | 137) state="timed out" ;;
    *) state="failed, status $status" ;;
  esac

  # Versions look like addresses; these files contain no addresses.
  case $masked,$name in
    no,* | *,host | *,kernel | *,distribution | *,packages) mv "$work/raw" "$facts/$name" ;;
    *) mask <"$work/raw" >"$facts/$name" ;;
  esac || give_up "cannot write into $work"
  sum=$(sha256sum <"$facts/$name")
  printf '%-14s%9s  %s  %s\n' "$name" "$(wc -c <"$facts/$name")" "${sum%% *}" "$state" \
    >>"$facts/MANIFEST" || give_up "cannot write into $work"

  text=$state
  [ "$state" != collected ] || text=$(summary "$name" <"$facts/$name")
  [ $verbose = no ] || say "$name" "$text"
  case $state in
    failed* | timed*)
      failed=yes
      [ $verbose = yes ] || complain "$name: $state"
      ;;
  esac
done

# ---- The archive -------------------------------------------------------------------------------

if [ $archived = yes ]; then
  unfinished=$(mktemp "$outbox/.unfinished.XXXXXX") || give_up "cannot write into the outbox $outbox"
  tar -C "$work" -czf "$unfinished" "$title" 2>&1 || give_up "cannot write the archive"
  mv -f "$unfinished" "$archive" || give_up "cannot rename the archive"

  # Keep this host's newest five by name, and always this one.
  set -- "$outbox/configuration-$host"-????????T??????Z.tar.gz
  while [ $# -gt 5 ]; do
    [ "$1" = "$archive" ] || rm -f "$1" 2>&1 || true
    shift
  done

  # ---- Transmission: this is the place to send "$archive". Where that fails, say why on standard output
  # and set failed=yes: the archive stays.

  [ $verbose = no ] || say archive "$archive, $(wc -c <"$archive") bytes"
fi
[ $failed = no ] || exit 3
