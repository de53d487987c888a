#!/usr/bin/env python3
"""Holds every language's catalogs against the English ones: the same messages with the same
placeholders and conversions, short enough for their buffers, and words for every code."""
import re
import sys
from pathlib import Path

dbm = Path(__file__).resolve().parent.parent / "dbm"
entry = re.compile(r'^(?:# (\w+)\n)?msgid "(\d+)"\nmsgstr "((?:[^"\\]|\\.)*)"$', re.M)
mark = re.compile(r"%\{\w+(?: \d+)?\}|%1[01]|%[1-9]|%[sd]")
faults = []


def entries(path):
    return {int(m[2]): (m[3].replace('\\"', '"'), m[1]) for m in entry.finditer(path.read_text())}


def marks(text):
    # Conversions are taken in order, so theirs counts; tokens may change places.
    found = mark.findall(text)
    return sorted(m for m in found if m not in ("%s", "%d")), [m for m in found if m in ("%s", "%d")]


codes = dict(re.findall(r"int(?:32_t)? (\w+) = -?(\d+);", (dbm / "codes.h").read_text() + (dbm / "common/files.h").read_text()))
codes["node_unknown"] = "9006"  # the code of that name, not the SQL code
named = set(re.findall(r"^    \{(?:\w+::)?(\w+), ", (dbm / "code_words.cpp").read_text(), re.M))
for folder in sorted(p for p in (dbm / "catalogs").iterdir() if p.name != "en"):
    for english in sorted((dbm / "catalogs" / "en").iterdir()):
        ours, theirs = entries(english), entries(folder / english.name)
        where = f"{folder.name}/{english.name}"
        if ours.keys() != theirs.keys() or len(ours) < 30:
            faults.append(f"{where}: other messages: {sorted(ours.keys() ^ theirs.keys())}")
        for number in ours.keys() & theirs.keys():
            text = theirs[number][0]
            longest = 24 if 1082 <= number <= 1087 else 300  # bytes, without its value or tokens
            if marks(ours[number][0]) != marks(text):
                faults.append(f"{where}: {number} has other placeholders")
            if max(len(part.encode()) for part in (text, ours[number][0])) > longest:
                faults.append(f"{where}: {number} is too long")
    words = entries(folder / "words.po")
    if {name for _, name in words.values()} != named:
        faults.append(f"{folder.name}/words.po: {named ^ {name for _, name in words.values()}}")
    faults += [f"{folder.name}/words.po: {number} is not {name}" for number, (_, name) in words.items()
               if name in codes and int(codes[name]) != number]
print("\n".join(faults))
sys.exit(bool(faults))
