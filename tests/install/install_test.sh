#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# install_test.sh NAME ARGUMENT...: one test a function, named like it; run from the project's root.
# The environment says what was built ($BUILD, $LIBDIR, $VERSION), where the tests may write ($TREE)
# and what builds consumers ($CMAKE, $GENERATOR, $CXX), and reads JSON ($PYTHON).
set -eu
# shellcheck source=scripts/simulator.sh
. scripts/simulator.sh
trap stop_simulator EXIT
trap 'exit 143' INT TERM

# Where the tree was installed to, and where it is used.
first=$TREE/first
prefix=$TREE/moved
warnings='-Wall -Wextra -Wpedantic -Werror'

# Whatever a developer's shell says, the tree decides.
unset LD_LIBRARY_PATH CMAKE_PREFIX_PATH CMAKE_INSTALL_MODE PKG_CONFIG_PATH CPATH LIBRARY_PATH \
    CXXFLAGS LDFLAGS DESTDIR VKT_CONFIG

fail() {
    printf '%s\n' "$@" >&2
    exit 1
}

expect_same() {
    [ "$1" = "$2" ] || fail "expected:" "$1" "actual:" "$2"
}

expect_contains() {
    case $1 in *"$2"*) ;; *) fail "expected to find:" "$2" "in:" "$1" ;; esac
}

# Nothing of this shell's environment reaches the program but the password.
bare() {
    env -i IPMI_PASSWORD="${IPMI_PASSWORD-}" PATH=/usr/bin:/bin:/usr/sbin:/sbin "$@"
}

# configure SOURCE FOLDER ARGUMENT...
configure() {
    source=$1
    folder=$2
    shift 2
    rm -rf "$folder"
    "$CMAKE" -S "$source" -B "$folder" -G "$GENERATOR" -DCMAKE_CXX_COMPILER="$CXX" "$@"
}

# uses_only FOLDER PROGRAM: its libraries of ours all lie there, and there is at least one.
uses_only() {
    ours=$(bare ldd "$2" | sed -n 's/.*libvkt.* => \(.*\) (.*/\1/p' | xargs realpath) ||
        fail "$2 uses no library of ours"
    strangers=$(printf '%s\n' "$ours" | grep -v "^$1/" || true)
    [ -z "$strangers" ] || fail "not below $1:" "$strangers"
}

# names_an_enclosure PROGRAM: asks the simulator of the tree.
names_an_enclosure() {
    start_simulator "$prefix/bin/vkt-simulator" healthy-vkt2-fe-2
    expect_same "7X2Z, 4 nodes" \
        "$(bare "$1" "$simulator_host" "$simulator_port" "$simulator_user")"
    stop_simulator
}

# host_brings_its_own PROGRAM: its logger gets the records and its configuration is asked, by the
# library and by the companions that it kept; ours are told nothing.
host_brings_its_own() {
    start_simulator "$prefix/bin/vkt-simulator" healthy-vkt2-fe-2
    messages=$simulator_dir/messages
    output=$(bare "$1" rmcp "$simulator_host" "$simulator_port" "$simulator_user" 2>"$messages")
    expect_contains "$output" "7X2Z, 4 nodes"
    expect_contains "$output" "asked for IPMI_CONNECT_RETRY_TIMES" # by the library
    expect_contains "$output" "asked for IPMI_SESSION_TIMEOUT_MS"  # by its IPMI client
    expect_same "" "$(cat "$messages")"

    # Without the authority from the host's configuration, TLS has no proof of who answers.
    output=$(bare VKT_HTTPS_CA_FILE="$simulator_ca_file" \
        "$1" https "$simulator_host" "$simulator_https_port" "$simulator_user" 2>"$messages") &&
        fail "our configuration was asked"
    expect_contains "$output" "unknown, 0 nodes"
    grep -q '^host 1 src/module/vkt/vkt_https/' "$messages" ||
        fail "the host's logger got no error of the HTTPS transport:" "$(cat "$messages")"
    grep -q '^host 1 src/module/vkt/vkt_inventory/' "$messages" ||
        fail "the host's logger got no error of the library:" "$(cat "$messages")"
    grep -v '^host ' "$messages" && fail "another logger wrote this too"

    output=$(bare "$1" https "$simulator_host" "$simulator_https_port" "$simulator_user" \
        HTTPS_CA_FILE="$simulator_ca_file")
    expect_contains "$output" "7X2Z, 4 nodes"
    stop_simulator
}

# Everything in it that runs or is loaded, in a folder of its own.
CopiedBuildFolderRunsItsOwnLibraries() {
    copy=${TREE%/*}/copy
    rm -rf "$copy"
    mkdir -p "$copy"
    (cd "$BUILD" && find apps src \( -name 'lib*.so*' -o -name '*_module.so' -o -path '*/scenarios*' \
        -o -name vktinventory -o -name vkt-simulator \) ! -type d \
        -exec cp -P --parents -t "$copy" {} +)
    uses_only "$copy" "$copy/apps/vktinventory/vktinventory"
    for file in "$copy/apps/vktinventory/vktinventory" $(find "$copy/src" -name 'lib*.so'); do
        ! readelf -d "$file" | grep "PATH.*$BUILD" || fail "$file looks for libraries there"
    done
    start_simulator "$copy/apps/vkt_simulator/vkt-simulator" healthy-vkt2-fe-2
    output=$(bare "$copy/apps/vktinventory/vktinventory" -H "$simulator_host" -p "$simulator_port" \
        -U "$simulator_user" -E show)
    expect_contains "$output" "Serial number     J30ABC12"
    stop_simulator
}

InstallsAndMoves() {
    rm -rf "$TREE"
    "$CMAKE" --install "$BUILD" --prefix "$first"
    mv "$first" "$prefix"
}

ProgramsFindTheirLibraries() {
    expect_same "vktinventory $VERSION" "$(bare "$prefix/bin/vktinventory" --version)"
    uses_only "$prefix/$LIBDIR" "$prefix/bin/vktinventory"
    for library in "$prefix/$LIBDIR"/libvkt*.so; do
        runpath=$(readelf -d "$library" | sed -n 's/.*R.*PATH.*\[\(.*\)\]/\1/p')
        expect_same "\$ORIGIN" "$runpath"
    done
}

ShowReadsTheInstalledSimulator() {
    start_simulator "$prefix/bin/vkt-simulator" healthy-vkt2-fe-2
    for transport in "-p $simulator_port" \
        "-I https -p $simulator_https_port --ca-file $simulator_ca_file"; do
        # shellcheck disable=SC2086 # flags and their values
        output=$(bare "$prefix/bin/vktinventory" -H "$simulator_host" -U "$simulator_user" -E \
            $transport show)
        expect_contains "$output" "Serial number     J30ABC12"
    done
}

SimulatorWithoutItsModuleSaysSo() {
    incomplete=$TREE/incomplete
    rm -rf "$incomplete"
    mkdir -p "$incomplete/share"
    cp -R "$prefix/bin" "$incomplete"
    cp -R "$prefix/share/vktinventory" "$incomplete/share"
    output=$(bare timeout 60 "$incomplete/bin/vkt-simulator" --scenario healthy-first 2>&1) &&
        fail "started: $output"
    expect_contains "$output" \
        "$incomplete/$LIBDIR/vktinventory/vkt_simulator_module.so is missing"
}

# A moved tree must not work only because the folder that it was built in is still there. What
# debuggers read (.debug_*) may name it.
NoFileNamesTheBuild() {
    stripped=$TREE/stripped
    rm -rf "$stripped"
    "$CMAKE" --install "$BUILD" --prefix "$stripped" --strip >"$TREE/stripped.log"
    named=$(grep -rlF -e "$BUILD" -e "$PWD" -e "$stripped" -e "$first" "$stripped" || true)
    expect_same "" "$named"
}

CMakeFindsTheLibraryForCpp() {
    consumer=$TREE/find_package$1
    configure examples/machine_type "$consumer" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_CXX_STANDARD="$1" -DCMAKE_CXX_EXTENSIONS=OFF -DCMAKE_CXX_FLAGS="$warnings"
    "$CMAKE" --build "$consumer"
    uses_only "$prefix/$LIBDIR" "$consumer/machine_type"
    names_an_enclosure "$consumer/machine_type"
}

with_pkg_config() {
    env PKG_CONFIG_PATH="$prefix/$LIBDIR/pkgconfig" pkg-config "$@"
}

PkgConfigFindsTheLibraryForCpp() {
    program=$TREE/pkg_config$1
    # shellcheck disable=SC2086,SC2046 # lists of words
    "$CXX" -std=c++"$1" $warnings $(with_pkg_config --cflags vktinventory) \
        examples/machine_type/machine_type.cpp -o "$program" \
        $(with_pkg_config --libs vktinventory) -Wl,-rpath,"$prefix/$LIBDIR"
    uses_only "$prefix/$LIBDIR" "$program"
    names_an_enclosure "$program"
}

# uses_every_header PROGRAM: made of tests/install/crowded_host.
uses_every_header() {
    uses_only "$prefix/$LIBDIR" "$1"
    expect_same "type 1 told, no connection, no pin, no session, health unknown" "$(bare "$1")"
}

PkgConfigServesEveryHeaderToAHostWithFoldersLikeOurs() {
    program=$TREE/every_header
    # shellcheck disable=SC2086,SC2046 # lists of words
    "$CXX" -std=c++20 $warnings -iquote "$(with_pkg_config --variable=includedir vktinventory)" \
        -I tests/install/crowded_host $(with_pkg_config --cflags vktinventory vktenclosure) \
        -c tests/install/crowded_host/enclosure/every_header.cpp -o "$program.o"
    for static in "" --static; do
        # shellcheck disable=SC2086,SC2046 # lists of words
        "$CXX" "$program.o" -o "$program" $(with_pkg_config $static --libs vktinventory vktenclosure) \
            -Wl,-rpath,"$prefix/$LIBDIR"
        uses_every_header "$program"
    done
}

# What the installed manual page shows is built as the page says, and run.
PkgConfigBuildsTheExampleOfTheManualPage() {
    example=$TREE/libvktenclosure
    gzip -dc "$prefix/share/man/man3/libvktenclosure.3.gz" |
        sed -n '/^#include/,/^\.Ed/{/^\.Ed/d;s/\\e/\\/g;p}' >"$example.cpp"
    start_simulator "$prefix/bin/vkt-simulator" healthy-vkt2-fe-2
    for static in "" --static; do
        # shellcheck disable=SC2086,SC2046 # lists of words
        "$CXX" -std=c++20 $warnings $(with_pkg_config --cflags vktenclosure) "$example.cpp" \
            -o "$example" $(with_pkg_config $static --libs vktenclosure) -Wl,-rpath,"$prefix/$LIBDIR"
        uses_only "$prefix/$LIBDIR" "$example"
        output=$(bare "$example" "$simulator_host" "$simulator_port" "$simulator_user")
        expect_same "$(printf 'PSU1: 7240\nPSU2: 7280\nok')" "$output"
    done
    stop_simulator
}

# Who compiles the headers in an older language is told so first.
OlderLanguageIsNamedByLibvktenclosure() {
    # shellcheck disable=SC2046 # a list of words
    output=$(printf '#include "module/vkt/vkt_enclosure/read_enclosure.h"\n' |
        "$CXX" -std=c++17 $(with_pkg_config --cflags vktenclosure) -x c++ -fsyntax-only - 2>&1) &&
        fail "compiled as C++17"
    expect_contains "$(printf '%s\n' "$output" | grep -m 1 'error:')" "needs C++20"
}

CMakeServesEveryHeaderToAHostWithFoldersLikeOurs() {
    host=$TREE/crowded_host
    configure tests/install/crowded_host "$host" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_CXX_FLAGS="$warnings"
    "$CMAKE" --build "$host"
    uses_every_header "$host/every_header"
}

AnotherVersionIsRefused() {
    source=$TREE/wants_0.2
    mkdir -p "$source"
    printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(wants LANGUAGES CXX)' \
        'find_package(VKTInventory 0.2 REQUIRED)' >"$source/CMakeLists.txt"
    output=$(configure "$source" "$source/build" -DCMAKE_PREFIX_PATH="$prefix" 2>&1) &&
        fail "$VERSION was taken for 0.2"
    expect_contains "$output" "compatible with requested version \"0.2\""
    expect_contains "$output" "VKTInventoryConfig.cmake, version: $VERSION"

    output=$(with_pkg_config --print-errors --exists 'vktinventory >= 0.2' 2>&1) &&
        fail "$VERSION was taken for 0.2"
    expect_contains "$output" "has version '$VERSION', required version is '>= 0.2'"
}

HostBringsItsOwnCompanions() {
    configure examples/host_program "$TREE/host_program" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_CXX_FLAGS="$warnings"
    "$CMAKE" --build "$TREE/host_program"
    uses_only "$prefix/$LIBDIR" "$TREE/host_program/host_program"
    host_brings_its_own "$TREE/host_program/host_program"
}

PollerReadsTwentyEnclosures() {
    configure examples/poller "$TREE/poller" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_CXX_FLAGS="$warnings"
    "$CMAKE" --build "$TREE/poller"
    uses_only "$prefix/$LIBDIR" "$TREE/poller/poller"
    bare SCENARIOS="$PWD/apps/vkt_simulator/scenarios" \
        "$PYTHON" tests/install/poller_test.py "$TREE/poller/poller" "$prefix/bin/vkt-simulator" "$1"
}

# A host of other habits than ours: an older language, sources compiled many at a time, no warnings.
HostProjectAddsTheSources() {
    host=$TREE/host_project
    configure tests/install/host_project "$host" -DVKT_SOURCES="$PWD" -DCMAKE_UNITY_BUILD=ON \
        -DCMAKE_CXX_FLAGS=-w
    "$CMAKE" --build "$host"
    for program in test machine_type/machine_type host_program/host_program poller/poller; do
        uses_only "$host" "$host/$program"
    done
    names_an_enclosure "$host/test"
    names_an_enclosure "$host/machine_type/machine_type"
    host_brings_its_own "$host/host_program/host_program"

    # What the host installs is the host's decision.
    "$CMAKE" --install "$host" --prefix "$host/installed"
    [ ! -e "$host/installed" ] || fail "installed by a host that asked for nothing:" \
        "$(find "$host/installed" -type f)"
}

"$@"
