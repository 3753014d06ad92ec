#!/usr/bin/env bash
# Installs the Debian packages of packages.txt that are missing. Needs root or sudo only when some are.
# Usage: install-packages.sh [SECTION...]   default: all sections
set -euo pipefail
cd "$(dirname "$0")/.."

# The names in the sections that are wanted.
packages() {
    local line section=
    while read -r line; do
        case $line in
            '') ;;
            '['*) section=${line//[][]/} ;;
            *) (($# > 0)) && [[ " $* " != *" $section "* ]] || echo "$line" ;;
        esac
    done < <(sed 's/#.*//; s/[[:space:]]*$//' packages.txt)
}

missing=()
while read -r package; do
    dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
done < <(packages "$@")
((${#missing[@]})) || exit 0

as_root=()
if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
        echo "These packages are missing, and there is no sudo to install them: ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi
echo "Installing ${#missing[@]} packages: ${missing[*]}"
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
