# For a script that restarts itself through "unshare" in private mounts. Sourced there, it ends the
# script if that still has its caller's mounts, which means that it was called by hand.
# shellcheck shell=sh

if [ "$(readlink "/proc/$PPID/ns/mnt")" = "$(readlink /proc/self/ns/mnt)" ]; then
  echo "${0##*/}: --inside is for the script itself" >&2
  exit 2
fi
