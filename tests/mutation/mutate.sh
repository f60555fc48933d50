#!/bin/sh
# Makes mutants of src/ and lets the tests judge them, in a sandbox: mutated code that removes files
# finds nothing but copies of the tree in a memory file system, and devices that it cannot remove. Its
# last line has the figures.
#
# usage: mutate.sh [COUNT [SEED]]     150 mutants of seed 1 by default, half an hour on two cores
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/../../scripts/usage.sh"
case ${1:-} in
  --inside) ;;
  *[!0-9]*) wrong_use "unknown argument: $1" ;;
esac

if [ "${1:-}" = --inside ]; then
  # shellcheck source=scripts/inside.sh
  . "$(dirname "$0")/../../scripts/inside.sh"
  top=$2
  # The tree first into a mount of its own, since what lies below /tmp is covered next.
  mount -t tmpfs none /mnt
  git -C "$top" ls-files -z | (cd "$top" && xargs -0 cp --parents -t /mnt)
  count=$3
  seed=$4
  mount -t tmpfs none /tmp
  for copy in /tmp/one /tmp/two; do
    cp -r /mnt "$copy"
    mkdir "$copy/empty"
    # What is not initialised is not zero by chance.
    cmake -S "$copy" -B "$copy/plain" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DMOXEL_HARDEN=OFF \
      -DCMAKE_CXX_FLAGS=-ftrivial-auto-var-init=pattern >/dev/null
    cmake -S "$copy" -B "$copy/sanitized" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DMOXEL_SANITIZE=ON \
      >/dev/null
  done
  # Devices of its own: what is mounted on a file cannot be removed.
  mkdir /tmp/dev
  mount -t tmpfs none /tmp/dev
  mkdir /tmp/dev/shm
  ln -s /proc/self/fd /tmp/dev/fd
  for device in null zero full random urandom tty; do
    : >"/tmp/dev/$device"
    mount --bind "/dev/$device" "/tmp/dev/$device"
  done
  mount --rbind /tmp/dev /dev
  # Everything else can only be read.
  awk '$5 != "/tmp" && $5 !~ "^(/tmp)?/dev" && $5 !~ "^/proc" { print $5 }' /proc/self/mountinfo | sort -r |
    while read -r place; do
      mount -o remount,bind,ro "$place" 2>/dev/null || true
    done
  if touch "$top/writable" 2>/dev/null || rm -f /dev/null 2>/dev/null || [ ! -c /dev/null ]; then
    rm -f "$top/writable"
    echo "mutate.sh: the sandbox does not hold" >&2
    exit 1
  fi
  cd /tmp
  exec python3 /tmp/one/tests/mutation/mutate.py /tmp/one /tmp/two "$count" "$seed"
fi

count=${1:-150}
seed=${2:-1}
cd "$(dirname "$0")/../.."
sh scripts/packages.sh git cmake ninja-build g++ gettext libc-bin libgtest-dev python3 util-linux mount \
  psmisc locales
namespaces="--mount --ipc"
[ "$(id -u)" = 0 ] || namespaces="--user --map-root-user $namespaces"
# shellcheck disable=SC2086 # a list of options
exec unshare $namespaces sh tests/mutation/mutate.sh --inside "$PWD" "$count" "$seed"
