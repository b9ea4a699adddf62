#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# readme_test.sh NAME PROGRAM...: one test a function, named like it; run from the project's root.
set -eu
# shellcheck source=scripts/simulator.sh
. scripts/simulator.sh
trap stop_simulator EXIT
trap 'exit 143' INT TERM

fail() {
    printf '%s\n' "$@" >&2
    exit 1
}

expect_same() {
    [ "$1" = "$2" ] || fail "expected:" "$1" "actual:" "$2"
}

readme_example() {
    awk '/^```/ { inside = 0 } inside; $0 == "```cpp" { inside = 1 }' README.md
}

ExampleStandsInTheExamples() {
    expect_same "$(tail -n +2 examples/machine_type/machine_type.cpp)" "$(readme_example)"
}

ExampleNamesTheEnclosure() {
    start_simulator "$1" healthy-vkt2-fe-2
    expect_same "7X2Z, 4 nodes" "$("$2" "$simulator_host" "$simulator_port" "$simulator_user")"
}

# The block that follows the command `vktinventory ... show`, without its indentation.
readme_show() {
    sed -n '/^    \$ vktinventory .* show$/,/^[^ ]/{/^[^ ]/d;s/^    //;p}' README.md | tail -n +2
}

ShowPrintsWhatTheReadmeShows() {
    start_simulator "$1" healthy-vkt2-fe-2
    expect_same "$(readme_show)" \
        "$("$2" -H "$simulator_host" -p "$simulator_port" -U "$simulator_user" -E show)"
}

# The indented lines of docs/architecture.md's section on one supply's fans.
fans_in_the_architecture() {
    sed -n "/^## One supply's fans/,/^## /s/^    //p" docs/architecture.md
}

FansInTheArchitectureAreThoseOfTheCommand() {
    start_simulator "$1" healthy-vkt2-fe-2
    set -- "$2" -H "$simulator_host" -p "$simulator_port" -U "$simulator_user" -E
    printed=$("$@" -vv psu 2>&1; "$@" --format json psu | tr -d ' \n')
    [ "$(fans_in_the_architecture | grep -c .)" -eq 3 ] || fail "not three lines are shown"
    fans_in_the_architecture | grep . | while read -r line; do
        case $line in '"'*) line=$(echo "$line" | tr -d ' ') ;; esac
        printf '%s\n' "$printed" | grep -qF -e "$line" || fail "not printed: $line" "$printed"
    done
}

DependencyTableHasEveryLibraryThatIsInstalled() {
    packages=$(sed -n 's/^\(build\|test\)  *\(lib[^ ]*\|.*json3[^ ]*\|openipmi\) .*/\2/p' \
        scripts/install-dependencies)
    [ -n "$packages" ] || fail "scripts/install-dependencies lists no library"
    for package in $packages; do
        grep -q "^|.*\`$package\`" README.md || fail "README.md's table lacks $package"
    done
}

LinksLeadSomewhere() {
    for page in *.md docs/*.md; do
        links=$(grep -o ']([^)#]*' "$page" | sed 's/^](//' | grep -v '^http' || true)
        for link in $links; do
            [ -e "$(dirname "$page")/$link" ] || fail "$page links to $link, which is not there"
        done
    done
}

FolderTableNamesWhatIsThere() {
    paths=$(sed -n '/^| folder/,$s/^| \(`[^|]*`\) |.*/\1/p' README.md | tr -d '`,')
    [ -n "$paths" ] || fail "README.md has no table of folders"
    for path in $paths; do
        [ -e "$path" ] || fail "README.md says that there is $path"
    done
}

"$@"
