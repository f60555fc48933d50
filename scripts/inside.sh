# For a script that restarts itself through "unshare" in private mounts. Sourced there, it ends the
# script if that still has its caller's mounts, which means that it was called by hand.
# shellcheck shell=sh

caller=$PPID
# The first of a namespace of processes cannot number its parent. That is the "unshare" that forked it, and
# has its mounts; its own parent is the caller.
if [ "$caller" = 0 ]; then
  while read -r key value; do
    [ "$key" != PPid: ] || caller=$(sed -n 's/^PPid:[[:space:]]*//p' "/proc/$value/status")
  done </proc/self/status
fi
# Who may not look at the caller's mounts is no root outside, and cannot mount there.
if [ ! -d "/proc/${caller:-0}/ns" ] ||
  [ "$(readlink "/proc/$caller/ns/mnt")" = "$(readlink /proc/self/ns/mnt)" ]; then
  echo "${0##*/}: --inside is for the script itself" >&2
  exit 2
fi
