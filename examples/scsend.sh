#!/bin/sh
# A sample of the set's configuration-send script: gathers facts of this machine into an archive in
# an outbox directory and prints one line for each thing collected, then the archive's size.
#
# usage: scsend.sh [-v]
#   -v  print what has been collected
#
# The outbox is /opt/kardo/moxel/outbox, or what OUTBOX names.
set -eu

verbose=no
case ${1:-} in
  -v) verbose=yes ;;
  -h)
    echo "usage: scsend.sh [-v]"
    exit 0
    ;;
  "") ;;
  *)
    echo "usage: scsend.sh [-v]" >&2
    exit 2
    ;;
esac

outbox=${OUTBOX:-/opt/kardo/moxel/outbox}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
facts=$work/configuration
mkdir "$facts"
mkdir -p "$outbox"

report() {
  if [ "$verbose" = yes ]; then
    printf '%-14s%s\n' "$1" "$2"
  fi
}

uname -n >"$facts/host"
report host "$(cat "$facts/host")"

uname -srvm >"$facts/kernel"
report kernel "$(uname -sr) ($(uname -m))"

cp /etc/os-release "$facts/distribution"
# shellcheck source=/dev/null
report distribution "$(. /etc/os-release && echo "$PRETTY_NAME")"

cp /proc/cpuinfo "$facts/cpu"
report cpu "$(grep -c '^processor' /proc/cpuinfo) processors,$(
  sed -n 's/^model name[^:]*://p' /proc/cpuinfo | head -n 1
)"

cp /proc/meminfo "$facts/memory"
report memory "$(awk '/^MemTotal:/ { print $2 " KB" }' /proc/meminfo)"

cp /proc/partitions "$facts/disks"
df -kP >>"$facts/disks" 2>/dev/null || true
report disks "$(awk 'NR > 2 { n++; kb += $3 } END { print n + 0 " block devices, " kb + 0 " KB" }' \
  /proc/partitions)"

dpkg-query -W >"$facts/packages"
report packages "$(wc -l <"$facts/packages") installed"

for interface in /sys/class/net/*; do
  printf '%s %s %s\n' "${interface##*/}" "$(cat "$interface/address")" \
    "$(cat "$interface/operstate")"
done >"$facts/interfaces"
report interfaces "$(cut -d ' ' -f 1 "$facts/interfaces" | tr '\n' ' ')"

archive=$outbox/configuration-$(uname -n).tar.gz
tar -C "$work" -czf "$archive" configuration
report archive "$archive, $(wc -c <"$archive") bytes"
