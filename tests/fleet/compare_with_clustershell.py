# SPDX-License-Identifier: Apache-2.0
"""Expands and folds generated host patterns with our code and with ClusterShell's.

  compare_with_clustershell.py PROGRAM

PROGRAM reads patterns, one a line, and prints for each its hosts, a tab and the folded hosts, or
"refused" and why. What only ClusterShell takes is not generated, or may be refused by us: blanks,
operators, negative numbers, '/' outside of brackets, an empty range whose number is made by the
digits around the brackets.
"""

import random
import re
import subprocess
import sys

from ClusterShell.NodeSet import RESOLVER_NOGROUP, NodeSet, NodeSetException

SEED = 20261122
WELL_FORMED = 5000
BROKEN = 5000
# What ClusterShell needs long for, and more memory than there may be.
LARGEST = 3000  # hosts
LARGE_NUMBER = re.compile("[0-9]{5}")
ONLY_CLUSTERSHELLS = re.compile(
    r"\[[^\]]*((?<![0-9])-|[0-9]-[0-9]+-)"  # a negative number
    r"|[\[,][,\]]"  # an empty range
    r"|/[^\]]*(\[|$)|^[^\[]*/")  # a '/' outside of brackets
NAMES = ["enc", "r", "rack-", "n", "vkt.", "a%b", "", "10.0.3.", "x-y-"]
SUFFIXES = ["", "", "", ".example.com", "-ilo", ".e5.x", "c"]


def a_number(rng):
    return rng.choice([0, 1, 2, 3, 7, 8, 9, 10, 11, 98, 99, 100, 101, rng.randrange(1200)])


def a_range(rng):
    first = a_number(rng)
    last = first + rng.choice([0, 1, 2, 3, 12, 30])
    width = rng.choice([0, 0, 0, 2, 3, 4])
    if rng.random() < 0.3:
        return str(first).zfill(width)
    text = "%s-%s" % (str(first).zfill(width), str(last).zfill(width))
    return text + ("/%d" % rng.randint(1, 6) if rng.random() < 0.2 else "")


def a_bracket(rng):
    return "[%s]" % ",".join(a_range(rng) for _ in range(rng.choice([1, 1, 1, 2, 3])))


def a_name(rng):
    text = rng.choice(NAMES) + rng.choice(["", "", "", "0", "1", "07"])
    text += rng.choice([a_bracket(rng), str(a_number(rng)), ""])
    if rng.random() < 0.4:
        text += rng.choice(["e", "-c", ".1."]) + rng.choice([a_bracket(rng), a_range(rng)[:2].rstrip("-/")])
    text += rng.choice(["", "", "", "3"])
    return (text + rng.choice(SUFFIXES)) or "lone"


def a_pattern(rng):
    return ",".join(a_name(rng) for _ in range(rng.choice([1, 1, 2, 3])))


def a_box_of_names(rng):
    """Names whose numbers vary in two or three places, some left out."""
    form = rng.choice(["r%de%d", "r%02de%d", "r%dc%ds%d"])
    places = form.count("%")
    sizes = [rng.randint(1, 5) for _ in range(places)]
    names = [""]
    for size in sizes:
        names = [name + " %d" % i for name in names for i in range(size)]
    first = rng.choice([0, 1, 8, 97])
    names = [form % tuple(first + int(n) for n in name.split()) for name in names]
    rng.shuffle(names)
    return ",".join(names[:max(1, int(len(names) * rng.choice([1, 0.9, 0.5])))])


def broken(rng, pattern):
    for _ in range(rng.randint(1, 3)):
        at = rng.randrange(len(pattern) + 1)
        what = rng.choice(["", rng.choice("[],-/0123456789e.")])
        pattern = pattern[:at] + what + pattern[at + rng.randint(0, 1):]
    return pattern


def theirs(pattern):
    try:
        nodes = NodeSet(pattern, resolver=RESOLVER_NOGROUP)
    except (NodeSetException, ValueError):
        return None
    return nodes


def main(program):
    rng = random.Random(SEED)
    patterns = [rng.choice([a_pattern, a_pattern, a_box_of_names])(rng) for _ in range(WELL_FORMED)]
    patterns += [broken(rng, a_pattern(rng)) for _ in range(BROKEN)]
    patterns = sorted({p for p in patterns if p and not LARGE_NUMBER.search(p)})
    answers = subprocess.run([program], input="".join(p + "\n" for p in patterns), text=True,
                             stdout=subprocess.PIPE, check=True).stdout.splitlines()
    assert len(answers) == len(patterns)
    faults = []
    refused = 0
    for pattern, answer in zip(patterns, answers):
        hosts, folded = answer.split("\t")
        if hosts.count(" ") > LARGEST or "more than" in folded:
            continue
        nodes = theirs(pattern)
        if hosts == "refused":
            refused += nodes is None
            if nodes is not None and not ONLY_CLUSTERSHELLS.search(pattern):
                faults.append("refused by us only: %s (%s)" % (pattern, folded))
        elif nodes is None:
            faults.append("refused by ClusterShell only: %s" % pattern)
        elif sorted(hosts.split()) != sorted(nodes):
            faults.append("other hosts: %s" % pattern)
        elif folded != str(nodes):
            faults.append("folded otherwise: %s\n  %s\n  %s" % (pattern, folded, nodes))
    print("%d patterns, %d of them refused by both" % (len(patterns), refused))
    print("\n".join(faults[:20]))
    assert refused > 500
    return 1 if faults else 0


sys.exit(main(sys.argv[1]))
