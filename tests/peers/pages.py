#!/usr/bin/env python3
"""pages.py ZEL: pages of documents beside those of other programs.

Every PDF document in the folder pdf of ZEL_PICTURES is rendered at 144 dots an inch: pages of exactly the truncated
sides, and each within 2 levels on average of the same page, at the same sides, of at least one other program (pdftoppm,
pdftocairo, mutool, where they are installed), so that whatever is upside down or moved shows. Of dense text no two of
them draw the letters alike: their weights and hints differ, and Qt PDF cuts the widths of letters to whole thousandths.
A page that no other comes near is therefore looked at as from a distance, each four by four pixels as one. One document
that is locked by a password is refused and says so. Drawings in the folder svg are compared in the same way, at twice
their size, with rsvg-convert. Prints the differences from all. Skipped (77) without the variable or any other program.
"""
import json
import operator
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

SKIPPED = 77
DPI = 144
MOST = 2.0         # levels of 255, on average over a page
MOST_AFAR = 4.0    # the same from afar; a page moved by two pixels shows 9 and more, one upside down 20


def run(*command):
    return subprocess.run([str(part) for part in command], capture_output=True, text=True, check=False)


def read_ppm(path):
    """Width, height and the bytes of a P6 file."""
    data = path.read_bytes()
    fields, place = [], 0
    while len(fields) < 4:
        while data[place:place + 1].isspace():
            place += 1
        if data[place:place + 1] == b"#":
            place = data.index(b"\n", place)
            continue
        end = place
        while not data[end:end + 1].isspace():
            end += 1
        fields.append(data[place:end])
        place = end
    assert fields[0] == b"P6" and fields[3] == b"255", path
    return int(fields[1]), int(fields[2]), data[place + 1:]


def difference(one, other):
    """Levels on average over all components; absent where the sides differ."""
    if one[:2] != other[:2]:
        return None
    return sum(map(abs, map(operator.sub, one[2], other[2]))) / len(one[2])


def from_afar(page):
    """Means of blocks of 4 by 4 pixels."""
    width, height, data = page
    rows = []
    for y in range(0, height - 3, 4):
        sums = [0] * (width * 3)
        for line in range(y, y + 4):
            sums = list(map(operator.add, sums, data[line * width * 3:(line + 1) * width * 3]))
        for channel in range(3):
            one = sums[channel::3]
            end = width // 4 * 4
            rows += [sum(four) / 16 for four in zip(one[0:end:4], one[1:end:4], one[2:end:4], one[3:end:4])]
    return width // 4, height // 4, rows


# Each writes the page of a document at those sides to the file, a PPM.

def by_pdftoppm(file, page, width, height, out):
    run("pdftoppm", "-cropbox", "-f", page, "-l", page, "-singlefile", "-scale-to-x", width, "-scale-to-y", height,
        file, out.with_suffix(""))


def by_pdftocairo(file, page, width, height, out):
    # It writes no PPM; ours is good enough to read its PNG.
    run("pdftocairo", "-png", "-cropbox", "-f", page, "-l", page, "-singlefile", "-scale-to-x", width,
        "-scale-to-y", height, file, out.with_suffix(""))
    run(sys.argv[1], "convert", out.with_suffix(".png"), "-o", out, "--format", "pnm")


def by_mutool(file, page, width, height, out):
    run("mutool", "draw", "-q", "-f", "-r", DPI, "-w", width, "-h", height, "-o", out, file, page)


def by_rsvg(file, _page, width, height, out):
    run("rsvg-convert", "-b", "white", "-w", width, "-h", height, "-o", out.with_suffix(".png"), file)
    run(sys.argv[1], "convert", out.with_suffix(".png"), "-o", out, "--format", "pnm")


PROGRAMS = {"pdftoppm": by_pdftoppm, "pdftocairo": by_pdftocairo, "mutool": by_mutool}
DRAWERS = {"rsvg-convert": by_rsvg}


def check(zel, file, flags, factor, programs, folder):
    """Sentences about what is wrong with the pages of a file."""
    facts = json.loads(run(zel, "info", "--jsonl", file).stdout.splitlines()[0])
    ended = run(zel, "render", file, "-o", folder / "{page}.ppm", "--force", *flags)
    if ended.returncode != 0:
        yield f"{file.name}: status {ended.returncode}: {ended.stderr.strip()}"
        return
    for page, (width, height) in enumerate(facts["pageSizes"], 1):
        own = read_ppm(folder / f"{page}.ppm")
        sides = int(width * factor), int(height * factor)
        if own[:2] != sides:
            yield f"{file.name}, page {page}: {own[0]} x {own[1]}, not {sides[0]} x {sides[1]}"
            continue
        found, afar = {}, {}
        for name, render in programs.items():
            out = folder / f"{name}-{page}.ppm"
            render(file, page, *sides, out)
            if out.exists() and (levels := difference(own, read_ppm(out))) is not None:
                found[name] = levels
                if levels > MOST:
                    afar[name] = difference(from_afar(own), from_afar(read_ppm(out)))
        said = ", ".join(f"{levels:.2f} from {name}" for name, levels in found.items())
        print(f"{file.name}, page {page}, {sides[0]} x {sides[1]}: {said or 'nobody else rendered it'}")
        if found and min(found.values()) > MOST:
            print("    from afar: " + ", ".join(f"{levels:.2f} from {name}" for name, levels in afar.items()))
            if min(afar.values()) > MOST_AFAR:
                yield f"{file.name}, page {page}: far from everybody, from afar too"


def check_locked(zel, file, folder):
    ended = run(zel, "render", file, "-o", folder / "locked.ppm")
    if ended.returncode != 3 or "password" not in ended.stderr or (folder / "locked.ppm").exists():
        yield f"{file.name}: status {ended.returncode}, not 3 and a word about its password: {ended.stderr.strip()}"


def main():
    zel, pictures = sys.argv[1], os.environ.get("ZEL_PICTURES")
    if not pictures:
        print("skipped: ZEL_PICTURES names no folder of pictures")
        return SKIPPED
    programs = {name: render for name, render in PROGRAMS.items() if shutil.which(name)}
    drawers = {name: render for name, render in DRAWERS.items() if shutil.which(name)}
    if not programs:
        print("skipped: none of " + ", ".join(PROGRAMS) + " is installed")
        return SKIPPED
    wrong, count = [], 0
    for file in sorted(Path(pictures, "pdf").glob("*.pdf")):
        with tempfile.TemporaryDirectory() as folder:
            if file.stem == "password":
                wrong += check_locked(zel, file, Path(folder))
            else:
                wrong += check(zel, file, ("--dpi", DPI), DPI / 72, programs, Path(folder))
            count += 1
    for file in sorted(Path(pictures, "svg").glob("*.svg")):
        with tempfile.TemporaryDirectory() as folder:
            wrong += check(zel, file, ("--scale", 2, "--paper", "white"), 2, drawers, Path(folder))
            count += 1
    for sentence in wrong:
        print(sentence)
    print(f"{count} documents: {len(wrong)} complaints")
    return 1 if wrong or not count else 0


if __name__ == "__main__":
    sys.exit(main())
