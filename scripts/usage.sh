# Sourced by the scripts. The comment at a script's head says what it does and ends with its usage;
# -h and --help print it.
# shellcheck shell=sh

show_usage() {
  sed -n '2,/^set -eu$/{/^#/s/^# \{0,1\}//p;}' "$0"
}

# wrong_use MESSAGE
wrong_use() {
  echo "${0##*/}: $1" >&2
  show_usage >&2
  exit 2
}

case ${1:-} in
  -h | --help)
    show_usage
    exit 0
    ;;
esac
