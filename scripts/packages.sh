#!/bin/sh
# Installs the Debian packages named by the arguments that are not installed yet.
#
# usage: packages.sh PACKAGE...
set -eu
# shellcheck source=scripts/usage.sh
. "$(dirname "$0")/usage.sh"

missing=""
for package in "$@"; do
  status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$status" = installed ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

if [ "$(id -u)" = 0 ]; then
  privileged=""
elif sudo -n true 2>/dev/null; then
  privileged="sudo -n"
else
  echo "packages.sh: these Debian packages are needed; have them installed by root:$missing" >&2
  exit 1
fi

echo "installing$missing"
export DEBIAN_FRONTEND=noninteractive
# shellcheck disable=SC2086 # both are lists of words
{
  $privileged apt-get -qq update
  $privileged apt-get -qq install --no-install-recommends $missing
} >/dev/null
