#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# scripts/abi sees what breaks programs, and asks for the version that it takes. Run from the
# project's root: the dumps of the last release, altered, play the libraries that were built.
set -eu

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r abi/* "$work/"
released=$(echo "$work"/*)
failures=0

# in_version X.Y.Z: an unaltered copy of the release that bears this version.
in_version() {
    rm -rf "$work/new"
    mkdir "$work/new"
    built=$work/new/$1
    cp -r "$released" "$built"
}

# alter LIBRARY SED-SCRIPT, which must find something to alter.
alter() {
    sed "$2" "$built/$1.abi" >"$work/altered"
    ! cmp -s "$work/altered" "$built/$1.abi" || unexpected "nothing to alter in $1.abi: $2"
    mv "$work/altered" "$built/$1.abi"
}

unexpected() {
    printf '%s\n' "$@" >&2
    failures=$((failures + 1))
}

expect_passes() {
    scripts/abi compare "$released" "$built" >"$work/out" 2>&1 ||
        unexpected "$1 was refused as ${built##*/}:" "$(cat "$work/out")"
}

# expect_refused WHAT STEP: for want of a version whose part STEP was raised.
expect_refused() {
    if scripts/abi compare "$released" "$built" >"$work/out" 2>&1; then
        unexpected "$1 passed as ${built##*/}"
    elif ! grep -q "raise the $2 version" "$work/out"; then
        unexpected "$1 was refused, but no $2 version was asked for:" "$(cat "$work/out")"
    fi
}

# breaks WHAT LIBRARY SED-SCRIPT: takes a new major version, for which a new minor one is not enough.
breaks() {
    for version in "$same" "$minor"; do
        in_version "$version"
        alter "$2" "$3"
        expect_refused "$1" major
    done
    in_version "$major"
    alter "$2" "$3"
    expect_passes "$1"
}

# adds WHAT LIBRARY SED-SCRIPT: takes a new minor version.
adds() {
    in_version "$same"
    alter "$2" "$3"
    expect_refused "$1" minor
    in_version "$minor"
    alter "$2" "$3"
    expect_passes "$1"
}

# swap CLASS FIRST SECOND: two members of the same type.
swap() {
    echo "/class-decl name='$1'/,/<\/class-decl>/{
        s/name='$2'/name='swapped'/; s/name='$3'/name='$2'/; s/name='swapped'/name='$3'/}"
}

same=${released##*/}
minor=${same%%.*}.99.0
major=99.0.0
select_psu=_ZN5Tulvo12VKTInventory9SelectPSUEi

in_version "$same"
expect_passes "what was released"

breaks "a removed function" libvktinventory "
    /<elf-symbol name='$select_psu/d; s/ elf-symbol-id='${select_psu}[^']*'//"
breaks "another signature" libvktinventory "s/${select_psu}/${select_psu%i}l/g"
breaks "two members swapped" libvktinventory "$(swap NodeStatus width height)"
breaks "two members of a record that only a sink sees swapped" libvktlog "$(swap LogRecord level line)"
breaks "a longer record" libvktinventory "/class-decl name='ConnectionInfo'/s/bits='[0-9]*'/bits='1024'/"
breaks "two virtual functions swapped" libvktipmi "
    s/vtable-offset='0'/vtable-offset='swapped'/; s/vtable-offset='1'/vtable-offset='0'/
    s/vtable-offset='swapped'/vtable-offset='1'/"
breaks "another result code" libvktinventory "s/'VKT_INVENTORY_NO_DATA' value='4'/'VKT_INVENTORY_NO_DATA' value='5'/"
breaks "another SONAME" libvkthttps "s/soname='[^']*'/soname='other.so.1'/"

for version in "$same" "$minor"; do # its SONAME names both numbers
    in_version "$version"
    alter libvktenclosure "$(swap Source overHttps cipherSuite)"
    [ "$version" = "$same" ] || expect_passes "two members swapped in libvktenclosure"
    [ "$version" = "$minor" ] || expect_refused "two members swapped in libvktenclosure" major
done

adds "a new result code" libvktinventory "
    /'VKT_INVENTORY_NO_DATA'/{p; s/NO_DATA' value='4'/ANOTHER' value='5'/}"
adds "a new function" libvktlog "/<elf-symbol .*GetLogLevel/{p; s/GetLogLevel/GetLogDepth/}"

in_version "$minor"
rm "$built/libvktinfo.abi"
expect_refused "a library that is gone" major

in_version "$same"
cp "$built/libvktinfo.abi" "$built/libvktmore.abi"
expect_refused "a library that is new" minor

exit $((failures > 0))
