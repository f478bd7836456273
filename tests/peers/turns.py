#!/usr/bin/env python3
"""turns.py ZEL: quarter turns beside those of ImageMagick.

PNG files of every kind, 8 and 16 bits, with a profile and without, are turned by `zel rotate`, to PNG and TIFF, and by
ImageMagick: not one sample may differ, and kind, depth, profile and size are those of the source. Skipped (77) where
ImageMagick is not installed.
"""
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from roundtrip import HEIGHT, PICTURES, SKIPPED, WIDTH, Checks, make_png, make_profile, read_png, same_pixels


def printed(*command):
    return subprocess.run([str(part) for part in command], capture_output=True, text=True, check=True).stdout.strip()


def main():
    zel = sys.argv[1]
    if not all(shutil.which(tool) for tool in ("convert", "compare", "identify")):
        print("skipped: ImageMagick is not installed")
        return SKIPPED
    checks = Checks()
    with tempfile.TemporaryDirectory() as folder:
        for name, kind, bits in PICTURES:
            for with_profile in (False, True):
                profile, _ = make_profile(kind in (0, 4)) if with_profile else (b"", "")
                source = Path(folder) / f"{name}{'-profile' if with_profile else ''}.png"
                make_png(source, kind, bits, profile)
                for by in (90, 180, 270):
                    expected = source.with_name(f"{source.stem}-{by}-expected.png")
                    printed("convert", source, "-rotate", by, "+repage", expected)
                    for format_ in ("png", "tiff"):
                        file = source.with_name(f"{source.stem}-{by}.{format_}")
                        checks.run(file, zel, "rotate", "--quiet", "--by", by, source, "-o", file)
                        if not file.exists():
                            continue
                        same_pixels(checks, {"compare"}, expected, file)
                        size = f"{WIDTH} {HEIGHT}" if by == 180 else f"{HEIGHT} {WIDTH}"
                        seen = printed("identify", "-format", "%w %h %z %[profile:icc]", file)
                        wanted = printed("identify", "-format", f"{size} {bits} %[profile:icc]", source)
                        if seen != wanted:
                            checks.say(file, f"size, depth and profile are {seen}, not {wanted}")
                        if format_ == "png" and read_png(file)[:2] != (kind, bits):
                            checks.say(file, "is of another kind than the source")
    for sentence in checks.wrong:
        print(sentence)
    print(f"{checks.made} checks with ImageMagick: {len(checks.wrong)} complaints")
    return 1 if checks.wrong else 0


if __name__ == "__main__":
    sys.exit(main())
