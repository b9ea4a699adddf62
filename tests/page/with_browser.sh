#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# with_browser.sh FOLDER SCRIPT: runs a script that drives Chromium. Brings the driver and the judge of
# accessibility into FOLDER, once, as package-lock.json pins them. Without a browser or without the two
# it ends with 77 and says why.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
folder=$1
script=$2

skip() {
    echo "SKIPPED: $*"
    exit 77
}

for program in node npm chromium; do
    command -v $program >/dev/null || skip "no $program; scripts/install-dependencies test installs it"
done
if ! cmp -s "$here/package-lock.json" "$folder/installed.json"; then
    mkdir -p "$folder"
    cp "$here/package.json" "$here/package-lock.json" "$folder"
    timeout 120 npm ci --prefix "$folder" --ignore-scripts --no-audit --no-fund >"$folder/npm.log" 2>&1 || {
        cat "$folder/npm.log"
        skip "npm could not get playwright-core and axe-core; its messages stand above"
    }
    cp "$here/package-lock.json" "$folder/installed.json"
fi
CHROMIUM=$(command -v chromium) PAGE_TEST_FOLDER=$folder exec node "$script"
