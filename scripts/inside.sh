# For a script that starts itself once more, by "unshare", in mounts of its own: sourced there, it
# ends the script where it still has the mounts of its caller, which then called it by hand.
# shellcheck shell=sh

if [ "$(readlink "/proc/$PPID/ns/mnt")" = "$(readlink /proc/self/ns/mnt)" ]; then
  echo "${0##*/}: --inside is for the script itself" >&2
  exit 2
fi
