# SPDX-License-Identifier: Apache-2.0
"""Fails unless a built file is hardened as everything that ships must be.

hardening_test.py READELF FILE [EXPECTATION]...
hardening_test.py READELF FOLDER: every library and program of an installed tree

Read back from the file itself, whatever the build says that it asked for. Expectations beyond those
of every file: `program`, an executable that is loaded anywhere; `fortified`, calls of the C library
that check the size of their buffer; `flags`, debug information in which g++ noted its options;
`installed`, libraries looked for nowhere but beside the file and in the system's folders.
"""

import pathlib
import platform
import re
import subprocess
import sys

# What g++ must have been given for every translation unit.
FLAGS = ["-fstack-protector-strong", "-fstack-clash-protection"] + {
    "x86_64": ["-fcf-protection=full"],
    "aarch64": ["-mbranch-protection=standard"],
}.get(platform.machine(), [])


def read(readelf, file, *options):
    return subprocess.run(
        [readelf, "--wide", *options, file], check=True, capture_output=True, text=True
    ).stdout


def shortcomings(readelf, file, expectations):
    """What the file lacks, a text each."""
    headers = read(readelf, file, "--file-header", "--program-headers")
    dynamic = read(readelf, file, "--dynamic")
    needed = re.findall(r" UND (\w+)", read(readelf, file, "--dyn-syms"))
    program = "program" in expectations

    if not re.search(r"Type: +DYN ", headers):
        yield "is not position-independent"
    if program and not ("INTERP" in headers and re.search(r"FLAGS_1.*\bPIE\b", dynamic)):
        yield "is no position-independent program"
    if "GNU_RELRO" not in headers:
        yield "leaves its relocations writable"
    if not re.search(r"\(FLAGS\).*\bBIND_NOW\b", dynamic):
        yield "binds symbols late, so that its table of addresses stays writable"
    if not re.search(r"GNU_STACK +(?:0x\w+ +){5}RW +", headers):
        yield "has an executable stack"
    if "TEXTREL" in dynamic:
        yield "rewrites its code when it is loaded"
    if "__stack_chk_fail" not in needed:
        yield "has no guarded stack frame"
    if "fortified" in expectations and not any(
        re.fullmatch(r"__(?!stack_chk)\w+_chk", name) for name in needed
    ):
        yield "calls no checking variant of a C library's function"
    if "installed" in expectations:
        for folder in re.findall(r"R(?:UN)?PATH\).*\[(.*)\]", dynamic):
            if not re.fullmatch(r"\$ORIGIN[/.\w]*", folder):
                yield f"takes libraries from {folder}"
    if "flags" in expectations:
        yield from missing_flags(read(readelf, file, "--string-dump=.debug_str"))


def missing_flags(strings):
    compilations = re.findall(r"GNU C\S* .*", strings)
    if not compilations:
        yield "does not tell how it was compiled"
    for compilation in compilations:
        for flag in FLAGS:
            if flag not in compilation:
                yield f"has code compiled without {flag}: {compilation}"


def installed_files(folder):
    """Every library and program below it, with what to expect of it."""
    for path in sorted(pathlib.Path(folder).rglob("*")):
        if path.is_file() and not path.is_symlink() and path.read_bytes()[:4] == b"\x7fELF":
            yield path, ["installed", "program"] if path.parent.name == "bin" else ["installed"]


def main():
    readelf, where, *expectations = sys.argv[1:]
    in_folder = pathlib.Path(where).is_dir()
    files = list(installed_files(where)) if in_folder else [(where, expectations)]
    found = [] if files else [f"{where} has no library or program"]
    for file, expected in files:
        found += [f"{file} {shortcoming}" for shortcoming in shortcomings(readelf, file, expected)]
    sys.stderr.writelines(line + "\n" for line in found)
    return 1 if found else 0


sys.exit(main())
