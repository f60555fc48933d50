#!/bin/sh
# Builds the command and runs its main job: the built scsend at its real paths, in mounts of its own
# that leave this machine untouched, with the substitute for the agent's library and a sample send
# script that collects this machine's real configuration.
set -eu

usage="usage: run.sh [-h]
Shows three runs of the command: in operation and sent, in operation with a script that fails, and
not in operation; then the log that they left. Needs root, or a user who may use unshare."

case ${1:-} in
  -h)
    echo "$usage"
    exit 0
    ;;
  "" | --inside) ;;
  *)
    echo "$usage" >&2
    exit 2
    ;;
esac

top=$(cd "$(dirname "$0")" && pwd)
cd "$top"

# ---- In the mounts of its own ------------------------------------------------------------------

install_here() {
  mount -t tmpfs -o mode=0755 moxel-opt /opt
  mount -t tmpfs -o mode=0755 moxel-log /var/log
  mkdir -p /opt/kardo/moxel/bin /opt/ZQRNvek/lib /var/log/kardo/moxel/log
  install -m 755 "$1/scsend" "$1/scsend.sh" /opt/kardo/moxel/bin
  install -m 644 "$1/libvekcom.so.2.0" /opt/ZQRNvek/lib
}

# Runs the command once; its EUC-JP output is shown in UTF-8.
show() {
  echo "== $1"
  status=0
  /opt/kardo/moxel/bin/scsend >"$stage/output" || status=$?
  iconv -f EUC-JP -t UTF-8 "$stage/output"
  # The last line of the script has no end.
  [ -z "$(tail -c 1 "$stage/output")" ] || echo
  echo "-- exit status $status"
  echo
  if [ "$status" != "$2" ]; then
    echo "run.sh: expected the exit status $2" >&2
    exit 1
  fi
}

# run.sh --inside STAGE: called by this script itself.
if [ "${1:-}" = --inside ]; then
  # shellcheck source=scripts/inside.sh
  . scripts/inside.sh
  stage=$2
  install_here "$stage"

  show "in operation, the configuration is sent" 0
  echo "== what the script put into the outbox"
  for archive in /opt/kardo/moxel/outbox/*.tar.gz; do
    tar -tzvf "$archive"
  done
  echo

  printf '#!/bin/sh\necho "the line to the support centre is busy"\nexit 3\n' \
    >/opt/kardo/moxel/bin/scsend.sh
  show "in operation, the script fails" 3

  VEKCOM_STATUS=0x10000
  export VEKCOM_STATUS
  show "not in operation (maintenance)" 255

  echo "== the log that the three runs left in /var/log/kardo/moxel/log/moxel.log"
  cat /var/log/kardo/moxel/log/moxel.log
  exit 0
fi

# ---- Set-up ------------------------------------------------------------------------------------

sh scripts/packages.sh cmake g++ ninja-build gettext libc-bin mount util-linux

build=$top/build/run
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
cmake --build "$build" --target scsend vekcom_substitute >/dev/null

stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
trap 'exit 1' HUP INT TERM
cp "$build/scsend" "$build/libvekcom.so.2.0" examples/scsend.sh "$stage"

# Mounts and semaphores of its own; without root also a user namespace in which it is root.
namespaces="--mount --ipc"
advice="Run it where root may mount; containers often have to be started with that right."
if [ "$(id -u)" != 0 ]; then
  namespaces="--user --map-root-user $namespaces"
  advice="Run it as root, or let users make namespaces:
  sysctl user.max_user_namespaces=15000 kernel.unprivileged_userns_clone=1"
fi
# shellcheck disable=SC2086 # a list of options
if ! unshare $namespaces mount -t tmpfs moxel-probe /opt 2>"$stage/refusal"; then
  cat "$stage/refusal" >&2
  echo "run.sh: this machine does not permit the private mounts that the run needs." >&2
  echo "$advice" >&2
  exit 1
fi

# What the caller's environment says about the command, the substitute or the script is not meant.
unset OUTBOX
for variable in $(env | sed -n 's/^\(\(VEKCOM\|MOXEL\)_[A-Z_]*\)=.*/\1/p'); do
  unset "$variable"
done
# shellcheck disable=SC2086 # a list of options
unshare $namespaces sh "$top/run.sh" --inside "$stage"
