#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# page_bench.sh: sizes and times of pages of one and of a thousand enclosures, on the build in
# build/release.
set -eu
cd "$(dirname "$0")/../.."
build=$PWD/build/release
export VKTINVENTORY="$build/apps/vktinventory/vktinventory"
export VKT_SIMULATOR="$build/apps/vkt_simulator/vkt-simulator"
export VKT_SCENARIOS="$PWD/apps/vkt_simulator/scenarios"
exec tests/page/with_browser.sh "$build/tests/page/browser" "$PWD/bench/page/page_bench.mjs"
