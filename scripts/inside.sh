# For a script that restarts itself through "unshare" in private mounts. Sourced there, it ends the
# script if that still has its caller's mounts, which means that it was called by hand.
# shellcheck shell=sh

# The parent may be out of sight, in another namespace of processes; the first process then answers for it.
for process in "$PPID" 1; do
  if [ "$(readlink "/proc/$process/ns/mnt")" = "$(readlink /proc/self/ns/mnt)" ]; then
    echo "${0##*/}: --inside is for the script itself" >&2
    exit 2
  fi
done
