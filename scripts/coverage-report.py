#!/usr/bin/env python3
"""Line coverage per library from a coverage build's gcovr summary.

Usage: coverage-report.py SUMMARY.json
Prints one row per product library (the top folder of each source file; test
sources were filtered out by gcovr) and the total of the product libraries.
"""
import json
import sys
from collections import defaultdict

# The libraries whose figures the project holds steady; apps/ and sim/ are the
# programs and the simulator, shown but not in the product total.
PRODUCT = ["foundation", "platform", "transport", "data", "automation", "workflow", "toolbox", "addin", "server", "hostsim"]


def main() -> int:
    if len(sys.argv) != 2:
        print(__doc__.strip(), file=sys.stderr)
        return 2
    with open(sys.argv[1], encoding="utf-8") as f:
        summary = json.load(f)
    lines = defaultdict(lambda: [0, 0])  # folder -> [covered, total]
    for entry in summary["files"]:
        folder = entry["filename"].split("/", 1)[0]
        lines[folder][0] += entry["line_covered"]
        lines[folder][1] += entry["line_total"]
    print(f"{'library':<12} {'lines':>7} {'covered':>8} {'cover':>7}")
    product = [0, 0]
    for folder in sorted(lines, key=lambda d: (d not in PRODUCT, PRODUCT.index(d) if d in PRODUCT else 0, d)):
        covered, total = lines[folder]
        print(f"{folder:<12} {total:>7} {covered:>8} {100.0 * covered / max(total, 1):>6.1f}%")
        if folder in PRODUCT:
            product[0] += covered
            product[1] += total
    print(f"{'product':<12} {product[1]:>7} {product[0]:>8} {100.0 * product[0] / max(product[1], 1):>6.1f}%")
    return 0


if __name__ == "__main__":
    sys.exit(main())
