#!/usr/bin/env python3
"""metadata.py ZEL: what the program says of real pictures beside what exiftool says.

Every file below the folder that ZEL_PICTURES names, broken ones too: size as stored and upright, orientation, the moment
it was taken, its position (degrees without a hemisphere), the number of pages of a document, the size of a drawing. What
only one of the two can read is left out of the comparison, and counted. Without the variable or exiftool: skipped (77).
"""
import datetime
import json
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

SKIPPED = 77
DEGREES = 1e-6
SUFFIXES = {".jpg", ".jpeg", ".png", ".tif", ".tiff", ".webp", ".gif", ".bmp", ".ico", ".heic", ".avif", ".pdf", ".svg"}
# Of a position without a hemisphere the group EXIF has the figures of the file; the others of one name may come from XMP.
TAGS = ["-EXIF:DateTimeOriginal", "-EXIF:GPSLatitude", "-EXIF:GPSLongitude", "-EXIF:Orientation", "-ImageWidth",
        "-ImageHeight", "-PageCount", "-FileType"]


def lines_of(zel, verb, files):
    run = subprocess.run([zel, verb, "--jsonl", *files], capture_output=True, text=True, check=False)
    found = map(json.loads, run.stdout.splitlines())
    return {line["input"]: line for line in found if line.get("status") == "done"}


def said_by_exiftool(files):
    run = subprocess.run(["exiftool", "-n", "-j", *TAGS, *files], capture_output=True, text=True, check=False)
    return {found["SourceFile"]: found for found in json.loads(run.stdout)}


def moment(text):
    """The EXIF form of a date in that of ISO 8601; nothing for zeros and blanks."""
    if not isinstance(text, str) or not re.fullmatch(r"\d{4}:\d\d:\d\d \d\d:\d\d:\d\d", text):
        return None
    try:
        return datetime.datetime.strptime(text, "%Y:%m:%d %H:%M:%S").isoformat()
    except ValueError:
        return None


def degrees(value):
    return value if isinstance(value, (int, float)) else None


def same_degrees(ours, theirs):
    if ours is None or theirs is None:
        return ours == theirs
    return abs(ours - theirs) <= DEGREES


def of_document(ours, theirs):
    if "PageCount" in theirs and ours["pages"] != theirs["PageCount"]:
        yield f"{ours['pages']} pages, not {theirs['PageCount']}"
    if theirs.get("FileType") == "SVG":
        size = [degrees(theirs.get("ImageWidth")), degrees(theirs.get("ImageHeight"))]
        if None not in size and ours["pageSizes"] != [size]:
            yield f"pages of {ours['pageSizes']}, not {size}"


def of_picture(ours, properties, theirs):
    stored = properties["PixelWidth"], properties["PixelHeight"]
    size = theirs.get("ImageWidth"), theirs.get("ImageHeight")
    if None not in size and stored != size:
        yield f"{stored} stored, not {size}"
    upright = stored[::-1] if properties["Orientation"] >= 5 else stored
    if (ours["width"], ours["height"]) != upright:
        yield f"{ours['width']} x {ours['height']} upright, of {stored} at orientation {properties['Orientation']}"
    turned = theirs.get("Orientation", 1)
    # In HEIF the container turns the picture, whatever its EXIF block says.
    if theirs.get("FileType") not in ("HEIC", "AVIF") and properties["Orientation"] != (turned if 1 <= turned <= 8 else 1):
        yield f"orientation {properties['Orientation']}, not {turned}"
    if ours.get("shotDate") != moment(theirs.get("DateTimeOriginal")):
        yield f"taken {ours.get('shotDate')}, not {theirs.get('DateTimeOriginal')}"
    for ours_name, their_name in (("lat", "GPSLatitude"), ("lon", "GPSLongitude")):
        told, stated = ours.get("coordinates", {}).get(ours_name), degrees(theirs.get(their_name))
        if not same_degrees(told, stated):
            yield f"{ours_name} {told}, not {stated}"
        if not same_degrees(properties.get("{GPS}", {}).get(their_name[3:]), told):
            yield f"{ours_name} {told}, but another in the whole dictionary"


def main():
    pictures = os.environ.get("ZEL_PICTURES")
    if not pictures or not shutil.which("exiftool"):
        print("skipped: " + ("exiftool is not installed" if pictures else "ZEL_PICTURES names no folder of pictures"))
        return SKIPPED
    zel = sys.argv[1]
    files = [str(file) for file in sorted(Path(pictures).rglob("*")) if file.suffix.lower() in SUFFIXES]
    infos, dictionaries, theirs = lines_of(zel, "info", files), lines_of(zel, "exif", files), said_by_exiftool(files)
    wrong, compared = [], 0
    for file in files:
        ours, stated = infos.get(file), theirs.get(file, {})
        if ours is None or "Error" in stated:
            continue
        compared += 1
        if "pages" in ours:
            differences = of_document(ours, stated)
        elif file in dictionaries:
            differences = of_picture(ours, dictionaries[file]["properties"], stated)
        else:
            differences = ["its facts can be told, its dictionary cannot"]
        wrong += [f"{os.path.relpath(file, pictures)}: {difference}" for difference in differences]
    for sentence in wrong:
        print(sentence)
    print(f"{compared} of {len(files)} files compared, {len(wrong)} differences")
    return 1 if wrong or not compared else 0


if __name__ == "__main__":
    sys.exit(main())
