#!/usr/bin/env python3
"""Tells how many decisions of the source were taken both ways, from gcovr's --decisions --json on standard input.

The compiler's branches count the edges that it makes itself as well (freeing memory should a constructor throw,
each instance of a template, each log macro); decisions are those in the source.
"""
import json
import sys

taken = total = unknown = 0
for file in json.load(sys.stdin)["files"]:
    for line in file["lines"]:
        decision = line.get("gcovr/decision")
        if not decision:
            continue
        if decision["type"] == "uncheckable":
            unknown += 1
            continue
        ways = ("count_true", "count_false") if decision["type"] == "conditional" else ("count",)
        total += len(ways)
        for way in ways:
            if decision[way]:
                taken += 1
            else:
                print(f"{file['file']}:{line['line_number']}: {way.replace('count_', 'never ')}")
print(f"decisions: {100 * taken / total:.1f}% ({taken} out of {total}; {unknown} that cannot be told)")
