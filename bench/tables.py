#!/usr/bin/env python3
"""bench/tables.py BEST AVX2: the tables of docs/PERFORMANCE.md from the folders that two runs of ./dev bench with a folder
of peers left, the first with the library's own choice of kernels, the second with --variant avx2. Written over the
tables there; those of conversions only where the first run has some."""
import csv
import math
import pathlib
import re
import sys

PAGE = pathlib.Path(__file__).parent.parent / "docs" / "PERFORMANCE.md"
FORMATS = ["8uC1", "8uC3", "8uC4", "16uC1", "16uC3", "16uC4"]
FILTERS = ["nearest", "linear", "cubic", "lanczos3", "box"]
SHORT = {"Pillow-SIMD": "Pillow", "fast_image_resize": "fir", "stb_image_resize2": "stb"}


def load(folder, name):
    with open(pathlib.Path(folder) / name, newline="", encoding="utf-8") as file:
        return {row["cell"]: row for row in csv.DictReader(file)}


def time_of(row):
    ms = float(row["ms"])
    if ms >= 99.5:
        return f"{ms:.0f} ms"
    if ms >= 1:
        return f"{ms:.2f} ms" if ms < 10 else f"{ms:.1f} ms"
    return f"{ms * 1000:.0f} µs" if ms >= 0.01 else f"{ms * 1000:.1f} µs"


def mean_of(rows):
    ratios = [float(row["times_best_peer"]) for row in rows if row["times_best_peer"]]
    return math.exp(sum(map(math.log, ratios)) / len(ratios))


def short_name(peer):
    name = peer.split()[0]
    return SHORT.get(name, name)


def resize_table(rows, workload):
    cells = {tuple(name.split()[-2:]): row for name, row in rows.items() if name.startswith(workload + " ")}
    for kind in FORMATS:
        line = [cells.get((kind, kernel)) for kernel in FILTERS]
        yield [kind] + [f"{time_of(r)}, {float(r['times_best_peer']):.2f}× {short_name(r['best_peer'])}" for r in line if r]


def conversion_table(best, avx2):
    sizes = dict.fromkeys(name.split()[1] for name in best)
    for size in sizes:
        line = [(rows, f"fft {size} {precision}") for rows in (best, avx2) for precision in ("float", "double")]
        yield [size.replace("x", " × ")] + [time_of(rows[cell]) for rows, cell in line]


def replace_rows(text, heading, rows):
    """Puts `rows` in place of the body of the first table below `heading`."""
    at = text.index(heading)
    table = re.compile(r"(\|[^\n]*\|\n\|[-|]+\|\n)((?:\|[^\n]*\n)+)").search(text, at)
    body = "".join("| " + " | ".join(row) + " |\n" for row in rows)
    return text[:table.start(2)] + body + text[table.end(2):]


def summary(title, rows):
    named = [row for row in rows if row["times_best_peer"]]
    fast = sum(float(row["times_best_peer"]) >= 1 for row in named)
    print(f"{title}: geometric mean {mean_of(named):.2f}, {fast} of {len(named)} at least as fast as the best peer")


def main(best_folder, avx2_folder):
    text = PAGE.read_text(encoding="utf-8")
    resize = {variant: load(folder, "resize.csv") for variant, folder in
              (("best", best_folder), ("avx2", avx2_folder))}
    fft = {variant: load(folder, "fft.csv") for variant, folder in (("best", best_folder), ("avx2", avx2_folder))}
    for workload in "ABCD":
        text = replace_rows(text, f"\n**{workload}**, ", resize_table(resize["best"], workload))
        text = replace_rows(text, f"\n**{workload} with AVX2**, ", resize_table(resize["avx2"], workload))
    if fft["best"]:
        text = replace_rows(text, "## Figures of conversion", conversion_table(fft["best"], fft["avx2"]))
    PAGE.write_text(text, encoding="utf-8")

    for variant in ("best", "avx2"):
        cells = {name: row for name, row in resize[variant].items() if name[:2] in ("A ", "B ", "C ", "D ")}
        summary(f"resize, {variant}", cells.values())
        for kernel in FILTERS:
            chosen = [row for name, row in cells.items() if name.endswith(kernel)]
            shares = [float(row["roof_share"]) for name, row in cells.items()
                      if name.endswith(kernel) and name[0] in "AB"]
            print(f"  {kernel}: {mean_of(chosen):.2f}; A and B {min(shares):.0%} to {max(shares):.0%} of the roof, "
                  f"{sum('roof' in r['missed'] for n, r in cells.items() if n.endswith(kernel) and n[0] in 'AB')} "
                  f"of {len(shares)} below the goal")
        if not fft[variant]:
            continue
        summary(f"conversion, {variant}", fft[variant].values())
        for precision in ("float", "double"):
            print(f"  {precision}: {mean_of([r for n, r in fft[variant].items() if n.endswith(precision)]):.2f}")


if __name__ == "__main__":
    main(*sys.argv[1:])
