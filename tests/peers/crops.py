#!/usr/bin/env python3
"""crops.py ZEL: crops and tiles, bit for bit those of ImageMagick.

Pictures of 8 and 16 bits, grey and colour, with and without alpha, are cropped by both programs; ImageMagick then reads
both results as bare samples of 16 bits. Skipped (77) where ImageMagick is not installed.
"""
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from roundtrip import HEIGHT, PICTURES, SKIPPED, WIDTH, make_png

AREAS = [(0, 0, WIDTH, HEIGHT), (5, 7, 20, 12), (0, 0, 1, 1), (WIDTH - 1, HEIGHT - 1, 1, 1), (33, 0, 16, HEIGHT),
         (50, 40, 30, 30)]
TILE, BORDER = 24, 3


def samples(file):
    return subprocess.run(["convert", file, "-depth", "16", "rgba:-"], capture_output=True, check=True).stdout


def cropped(source, area, file):
    left, top, width, height = area
    subprocess.run(["convert", source, "-crop", f"{width}x{height}+{left}+{top}", "+repage", file], check=True)
    return samples(file)


def main():
    zel = sys.argv[1]
    if not shutil.which("convert"):
        print("skipped: ImageMagick is not installed")
        return SKIPPED
    wrong, made = [], 0
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        for kind_name, kind, bits in PICTURES:
            source = folder / f"{kind_name}.png"
            make_png(source, kind, bits, b"")
            for area in AREAS:
                for format_ in ("png", "tif"):
                    ours = folder / f"ours.{format_}"
                    subprocess.run([zel, "crop", "--quiet", source, "-o", ours, "--rect", ",".join(map(str, area))], check=True)
                    made += 1
                    if samples(ours) != cropped(source, area, folder / "theirs.png"):
                        wrong.append(f"{kind_name} {area} {format_}: other samples")
            tiles = folder / f"{kind_name}-tiles"
            subprocess.run([zel, "tiles", source, "-o", f"{tiles}/{{row}}-{{col}}.png", "--tile", f"{TILE}x{TILE}",
                            "--border", str(BORDER)], check=True)
            step = TILE - 2 * BORDER
            for file in tiles.iterdir():
                row, column = map(int, file.stem.split("-"))
                made += 1
                if samples(file) != cropped(source, (column * step, row * step, TILE, TILE), folder / "theirs.png"):
                    wrong.append(f"{kind_name} tile {file.stem}: other samples")
    for sentence in wrong:
        print(sentence)
    print(f"{made} crops and tiles: {len(wrong)} differ")
    return 1 if wrong or made == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
