# SPDX-License-Identifier: Apache-2.0
"""Fails unless a library exports exactly what its public headers declare.

header_exports_test.py CLANG NM LIBRARY INCLUDE_FOLDER HEADER...

The declarations come from the compiler, not from a second list: a function that is declared but
kept inside fails a user's link, one that is exported but not declared may clash with a host's.
Symbols of a version that ends in _PRIVATE are for this project's own programs, and no header's.
"""

import json
import subprocess
import sys

FUNCTIONS = {
    "FunctionDecl",
    "CXXMethodDecl",
    "CXXConstructorDecl",
    "CXXDestructorDecl",
    "CXXConversionDecl",
}
# Their users instantiate them.
TEMPLATES = {"ClassTemplateDecl", "ClassTemplateSpecializationDecl", "FunctionTemplateDecl"}


def output(*command, text=None):
    return subprocess.run(command, input=text, check=True, capture_output=True, text=True).stdout


def namespaces(clang, include_folder, headers):
    """The syntax trees of all blocks of our namespace that the headers reach."""
    dump = output(
        clang, "-x", "c++", "-std=c++20", "-fsyntax-only", "-I", include_folder,
        "-Xclang", "-ast-dump=json", "-Xclang", "-ast-dump-filter=Tulvo", "-",
        text="".join(f'#include "{header}"\n' for header in headers),
    )  # fmt: skip
    while dump.strip():
        node, end = json.JSONDecoder().raw_decode(dump.lstrip())
        dump = dump.lstrip()[end:]
        yield node


class Declarations:
    """Symbols, mangled or as text, of what headers declare and leave to a library to define."""

    def __init__(self, headers):
        self.headers = headers
        self.file = None  # of the node at hand: the compiler names it only where it changes
        self.mangled = set()
        self.texts = set()

    def visit(self, node, scope=""):
        here = self.file_of(node.get("loc", {}))
        self.file_of(node.get("range", {}))
        if node.get("isImplicit"):
            return
        if here in self.headers and node["kind"] not in TEMPLATES:
            self.take(node, scope)
        if node["kind"] not in FUNCTIONS | TEMPLATES:
            for inner in node.get("inner", []):
                self.visit(inner, f"{scope}{node.get('name', '')}::")
        else:
            self.file_of(node.get("inner", []))

    def file_of(self, part):
        """The file in force after part, whose positions come in the order of the text."""
        for value in part if isinstance(part, list) else part.values():
            if isinstance(value, (dict, list)):
                self.file_of(value)
        if isinstance(part, dict) and "offset" in part:
            self.file = part.get("file", self.file)
        return self.file

    def take(self, node, scope):
        if node["kind"] in FUNCTIONS and not defined_by_users(node):
            self.mangled.add(node["mangledName"])
        polymorphic = node.get("definitionData", {}).get("isPolymorphic")
        if node["kind"] == "CXXRecordDecl" and polymorphic and defined_by_library(node):
            for what in ("vtable", "typeinfo", "typeinfo name"):
                self.texts.add(f"{what} for {scope}{node['name']}")


def defined_by_users(function):
    """Whether no library has to define it: its definition is in the header, or there is none."""
    has_body = any(inner["kind"] == "CompoundStmt" for inner in function.get("inner", []))
    return has_body or any(
        function.get(word)
        for word in ("pure", "inline", "constexpr", "explicitlyDeleted", "explicitlyDefaulted")
    )


def defined_by_library(record):
    """Whether some function is the library's to define. A mere interface is in each of its users."""
    return any(
        inner["kind"] in FUNCTIONS
        and not inner.get("isImplicit")
        and not defined_by_users(inner)
        for inner in record.get("inner", [])
    )


def demangled(symbols):
    return set(output("c++filt", text="\n".join(symbols)).splitlines())


def main():
    clang, nm, library, include_folder, *headers = sys.argv[1:]
    declared = Declarations(headers)
    for namespace in namespaces(clang, include_folder, headers):
        declared.visit(namespace)
    promised = demangled(declared.mangled) | declared.texts

    symbols = output(nm, "-D", "--defined-only", "--with-symbol-versions", library)
    exported = demangled(
        line.split()[2].partition("@")[0]
        for line in symbols.splitlines()
        if line.split()[1] != "A" and not line.endswith("_PRIVATE")
    )  # A: the name of the symbols' version
    for symbol in sorted(promised - exported):
        print(f"declared, but not exported: {symbol}", file=sys.stderr)
    for symbol in sorted(exported - promised):
        print(f"exported, but not declared: {symbol}", file=sys.stderr)
    return 0 if promised == exported else 1


sys.exit(main())
