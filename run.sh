#!/bin/sh
# Builds the command and runs its main job: the built scsend at its real paths, in private mounts that
# leave this machine untouched, with the substitute for the agent's library and the sample send
# script, which collects this machine's real configuration, or the caller's own send script.
#
# usage: run.sh [--keep DIR] [SCRIPT]
# Shows three runs of the command: in operation and sent, in operation with a script that fails, and
# not in operation; then the log that they left. Needs root, or a user who may use unshare.
#   --keep DIR  leave what the script put into the outbox, and the log, in DIR, which is made if missing
#   SCRIPT      send script for the first run, instead of the sample; whatever its status is
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/scripts/usage.sh"

top=$(cd "$(dirname "$0")" && pwd)

# ---- In private mounts -------------------------------------------------------------------------

outbox=/opt/kardo/moxel/outbox
log=/var/log/kardo/moxel/log/moxel.log

install_here() {
  mount -t tmpfs -o mode=0755 moxel-opt /opt
  mount -t tmpfs -o mode=0755 moxel-log /var/log
  mkdir -p /opt/kardo/moxel/bin /opt/ZQRNvek/lib "${log%/*}"
  install -m 755 "$1/scsend" "$1/scsend.sh" /opt/kardo/moxel/bin
  install -m 644 "$1/libvekcom.so.2.0" /opt/ZQRNvek/lib
}

# Runs the command once; shows its first line, which is EUC-JP, in UTF-8, and the script's lines
# unchanged. Without an expected status, any status passes.
show() {
  echo "== $1"
  status=0
  /opt/kardo/moxel/bin/scsend >"$stage/output" || status=$?
  head -n 1 "$stage/output" | iconv -f EUC-JP -t UTF-8
  tail -n +2 "$stage/output"
  # The script's last line has no line end.
  [ -z "$(tail -c 1 "$stage/output")" ] || echo
  echo "-- exit status $status"
  echo
  if [ "$status" != "${2:-$status}" ]; then
    echo "run.sh: expected the exit status $2" >&2
    exit 1
  fi
}

# run.sh --inside STAGE STATUS: called by this script itself.
if [ "${1:-}" = --inside ]; then
  cd "$top"
  # shellcheck source=scripts/inside.sh
  . scripts/inside.sh
  stage=$2
  install_here "$stage"
  # Save outbox and log before the mounts vanish.
  trap '[ ! -e "$outbox" ] || cp -R "$outbox" "$stage"; [ ! -e "$log" ] || cp "$log" "$stage"' EXIT

  show "in operation, the configuration is sent" "$3"
  echo "== what the script put into the outbox"
  for file in "$outbox"/*; do
    case $file in
      *.tar.gz) tar -tzvf "$file" ;;
      "$outbox/*") echo "nothing" ;;
      *) ls -ld "$file" ;;
    esac
  done
  echo

  printf '#!/bin/sh\necho "the line to the support centre is busy"\nexit 3\n' \
    >/opt/kardo/moxel/bin/scsend.sh
  show "in operation, the script fails" 3

  VEKCOM_STATUS=0x10000
  export VEKCOM_STATUS
  show "not in operation (maintenance)" 255

  echo "== the log that the three runs left in $log"
  cat $log
  exit 0
fi

# ---- Options -----------------------------------------------------------------------------------

# Makes the caller's paths absolute.
absolute() {
  case $1 in
    /*) echo "$1" ;;
    *) echo "$PWD/$1" ;;
  esac
}

kept=""
while [ $# != 0 ]; do
  case $1 in
    --keep)
      [ -n "${2:-}" ] || wrong_use "--keep needs a directory"
      kept=$(absolute "$2")
      shift 2
      ;;
    -*) wrong_use "unknown option $1" ;;
    *) break ;;
  esac
done
[ $# -le 1 ] || wrong_use "unexpected argument: $2"

script=$top/examples/scsend.sh
expected=0
if [ $# = 1 ]; then
  script=$(absolute "$1")
  expected=""
  if [ ! -f "$script" ] || [ ! -r "$script" ]; then
    wrong_use "no script that can be read: $1"
  fi
fi
cd "$top"

# ---- Set-up ------------------------------------------------------------------------------------

# in_group COMMAND...: in its own process group, which a signal to this script ends as a whole. A
# background process gets standard input only through another descriptor.
{ command exec 3<&0; } 2>/dev/null || exec 3</dev/null
child=""
in_group() {
  result=0
  setsid "$@" <&3 3<&- &
  child=$!
  wait "$child" || result=$?
  child=""
  return $result
}

stage=""
clean_up() {
  trap '' HUP INT TERM
  if [ -n "$child" ]; then
    kill -- "-$child" || kill "$child" || true
    wait "$child" || true
  fi 2>/dev/null
  rm -rf "$stage"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

[ -z "$kept" ] || mkdir -p "$kept"
sh scripts/packages.sh cmake g++ ninja-build gettext libc-bin mount util-linux

# Progress goes to standard error, so standard output has only the runs.
build=$top/build/run
echo "building the command in $build" >&2
in_group cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
in_group cmake --build "$build" --target scsend vekcom_substitute >&2

stage=$(mktemp -d)
cp "$build/scsend" "$build/libvekcom.so.2.0" "$stage"
cp "$script" "$stage/scsend.sh"

# Private mounts and semaphores; without root also a user namespace in which it is root.
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

# Ignore the caller's settings for the command, the substitute and the script.
unset OUTBOX
for variable in $(env | sed -n 's/^\(\(VEKCOM\|MOXEL\)_[A-Z_]*\)=.*/\1/p'); do
  unset "$variable"
done
result=0
# shellcheck disable=SC2086 # a list of options
in_group unshare $namespaces sh "$top/run.sh" --inside "$stage" "$expected" || result=$?
if [ -n "$kept" ]; then
  for file in "$stage/outbox"/* "$stage/moxel.log"; do
    if [ -e "$file" ]; then
      cp -R "$file" "$kept"
      echo "kept $kept/${file##*/}" >&2
    fi
  done
fi
[ $result = 0 ] || exit $result
