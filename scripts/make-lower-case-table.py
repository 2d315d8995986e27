#!/usr/bin/env python3
"""Prints src/utils/LowerCaseTable.inc from UnicodeData.txt of the Unicode Character Database.

usage: make-lower-case-table.py /usr/share/unicode/UnicodeData.txt

A row {first, last, step, offset} maps the units first, first + step, ... last, each to itself plus
offset. Only simple mappings within the basic plane count.
"""
import sys

pairs = []
for line in open(sys.argv[1], encoding="ascii"):
    fields = line.split(";")
    if fields[13]:
        upper, lower = int(fields[0], 16), int(fields[13], 16)
        if upper <= 0xFFFF and lower <= 0xFFFF:
            pairs.append((upper, lower - upper))

rows = []
for upper, offset in pairs:
    if rows:
        first, last, step, previous = rows[-1]
        gap = upper - last
        if offset == previous and (gap == step or (step == 0 and gap in (1, 2))):
            rows[-1] = (first, upper, gap, offset)
            continue
    rows.append((upper, upper, 0, offset))

print("// Made by scripts/make-lower-case-table.py from the Unicode Character Database 15.0.")
for first, last, step, offset in rows:
    print("{0x%04X, 0x%04X, %d, %d}," % (first, last, step or 1, offset))
