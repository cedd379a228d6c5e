#!/usr/bin/env bash
# Installs the Debian packages of scripts/debian-packages.txt that are not
# installed yet. Safe to run again: it does nothing when all are present.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
missing=()
while read -r pkg; do
  pkg=${pkg%%#*}
  pkg=$(echo "$pkg" | xargs)
  [ -z "$pkg" ] && continue
  dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" || missing+=("$pkg")
done < "$here/debian-packages.txt"
if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all packages present"
  exit 0
fi
echo "setup: installing ${missing[*]}"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO=sudo
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
