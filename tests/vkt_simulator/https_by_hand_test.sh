#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# https_by_hand_test.sh SIMULATOR PAGE: the commands that the page shows under "By hand" print what
# the page shows.
set -eu
simulator=$1
page=$2
folder=$(mktemp -d)
simulator_pid=
leave() {
    [ -z "$simulator_pid" ] || kill "$simulator_pid" 2>/dev/null || true
    rm -rf "$folder"
}
trap leave EXIT
trap 'exit 143' INT TERM

PATH=$(dirname "$simulator"):$PATH

sed -n '/^## By hand$/,/^## /s/^    //p' "$page" >"$folder/shown"
grep -q '^\$ ask ' "$folder/shown" || { echo "$page shows no command" >&2; exit 1; }
cd "$folder"

# Each command as it is shown, then what it prints.
while IFS= read -r line <&3; do
    case $line in
    '$ '*)
        printf '%s\n' "$line" >>printed
        eval "${line#??}" >>printed 2>&1
        simulator_pid=${!:-}
        ;;
    esac
done 3<shown
simulator_pid=

diff shown printed
