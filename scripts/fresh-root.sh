#!/bin/sh
# Runs ./run.sh and ./test.sh as a newcomer would: in an empty root of a Debian release with nothing
# but git and a clone of the last commit. Its last lines have the outcome.
#
# usage: fresh-root.sh [-u] RELEASE     bookworm, trixie
# As root; with -u, afterwards also as an ordinary user who finds the packages installed. Takes about
# 3 GB below TMPDIR (/var/tmp by default) and a quarter of an hour for each.
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/usage.sh"

# ---- In private namespaces ----------------------------------------------------------------------

# Makes $1 the root directory, with its own devices, processes and /tmp. Does not use chroot, in which
# users cannot make user namespaces.
enter() {
  mount --bind "$1" "$1"
  cd "$1"
  mount -t proc proc proc
  mount -t sysfs -o ro sysfs sys
  mount -t tmpfs -o mode=0755 fresh-dev dev
  mount -t tmpfs -o mode=1777 fresh-tmp tmp
  mkdir dev/pts dev/shm
  mount -t devpts -o newinstance,ptmxmode=0666 devpts dev/pts
  mount -t tmpfs -o mode=1777 fresh-shm dev/shm
  ln -s pts/ptmx dev/ptmx
  ln -s /proc/self/fd dev/fd
  for device in null zero full random urandom tty; do
    : >"dev/$device"
    mount --bind "/dev/$device" "dev/$device"
  done
  mkdir -p old
  pivot_root . old
  cd /
  umount -l old
}

# fresh-root.sh --inside ROOT USER COMMAND: called by this script itself.
if [ "${1:-}" = --inside ]; then
  # shellcheck source=scripts/inside.sh
  . "$(dirname "$0")/inside.sh"
  enter "$2"
  home=$(getent passwd "$3" | cut -d : -f 6)
  cd "$home/moxel"
  exec setpriv --reuid "$3" --regid "$3" --init-groups env -i PATH="$PATH" HOME="$home" sh -c "$4"
fi

# ---- Set-up ------------------------------------------------------------------------------------

users=root
if [ "${1:-}" = -u ]; then
  users="root newcomer"
  shift
fi
[ $# = 1 ] || wrong_use "one release is needed"
if [ "$(id -u)" != 0 ]; then
  echo "fresh-root.sh: only root may make a root directory" >&2
  exit 1
fi

release=$1
cd "$(dirname "$0")/.."
sh scripts/packages.sh git mmdebstrap util-linux

work=$(mktemp -d -p "${TMPDIR:-/var/tmp}")
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
root=$work/root

# This machine's package sources, changed to the other release.
codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
for sources in /etc/apt/sources.list /etc/apt/sources.list.d/debian.sources; do
  [ ! -s "$sources" ] || sed "s/\<$codename\>/$release/g" "$sources" >"$work/${sources##*/}"
done
set -- "$work"/*
mmdebstrap --quiet --variant=minbase --include=git,ca-certificates "$release" "$root" "$@"

# in_root USER COMMAND
in_root() {
  unshare --mount --ipc --uts --pid --fork --kill-child \
    sh "$PWD/scripts/fresh-root.sh" --inside "$root" "$1" "$2" </dev/null
}

outcome=""
failed=0
for user in $users; do
  home=/root
  if [ "$user" != root ]; then
    in_root root "useradd --create-home $user"
    home=/home/$user
  fi
  git clone --quiet --no-hardlinks . "$root$home/moxel"
  [ "$user" = root ] || in_root root "chown -R $user: $home"
  for command in ./run.sh ./test.sh; do
    echo
    echo "######## $release, $user: $command"
    begun=$(date +%s)
    said=passed
    in_root "$user" "$command" || { said=FAILED; failed=1; }
    outcome="$outcome$release, $user: $command $said after $((($(date +%s) - begun) / 60)) min
"
  done
done
printf '\n%s' "$outcome"
exit $failed
