#!/usr/bin/env python3
"""corpus.py ZEL: the program against real pictures.

The folder that ZEL_PICTURES names holds pictures and a README.md whose tables state what other programs found in them:
rows of five columns, the first one the file, the last one the facts ("231 x 308 upright (308 x 231 stored);
orientation 5; profile "sRGB"; average (115, 117, 96, 255) by vips, pillow; magick says (114, 117, 96, 255)"). Every
picture of a format that is read must have that size, orientation, profile, number of frames and average colour, and the
moment and position that are stated ("taken 2012:09:29 16:11:25; GPS 47.627167 N, 122.337333 W"), or none. Those under
broken/ must end within a second, with one clear line and status 3 (or 4: more than the limits allow), or with a picture
and a warning where another program had one. Without the variable: skipped (77).
"""
import json
import os
import re
import subprocess
import sys
from pathlib import Path

KINDS = {".jpg": "jpeg", ".jpeg": "jpeg", ".png": "png", ".tif": "tiff", ".tiff": "tiff",
         ".webp": "webp", ".gif": "gif", ".bmp": "bmp", ".ico": "ico", ".heic": "heif",
         ".avif": "avif"}
TOLERANCE = 3
DEGREES = 1e-6
SECONDS = 1
SKIPPED = 77
REFUSALS = 3, 4


def rows(readme):
    """The files and facts of all tables."""
    for line in readme.read_text(encoding="utf-8").splitlines():
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        file = re.fullmatch(r"`([^`]+)`", cells[0])
        if file and len(cells) >= 5 and Path(file[1]).suffix.lower() in KINDS:
            # Of several pictures the facts may name another one's profile.
            facts = re.sub(r'profile "[^"]*"; ', "", cells[-1]) if "without a profile" in cells[1] else cells[-1]
            yield file[1], facts


def expected(facts):
    size = re.match(r"(\d+) x (\d+)", facts)
    averages = [[int(figure) for figure in found.split(",")] for found in
                re.findall(r"\((\d+, \d+, \d+, \d+)\)", facts)]
    orientation = re.search(r"orientation (\d)", facts)
    frames = re.search(r"(\d+) (?:frames|pictures)", facts)
    profile = re.search(r'profile "([^"]*)"', facts)
    taken = re.search(r"taken (\d{4}):(\d\d):(\d\d) (\d\d:\d\d:\d\d)", facts)
    position = re.search(r"GPS ([\d.]+) [NS], ([\d.]+) [EW]", facts)
    return {
        "size": (int(size[1]), int(size[2])),
        "orientation": int(orientation[1]) if orientation else 1,
        "frames": int(frames[1]) if frames else 1,
        "profile": profile[1] if profile else None,
        "averages": averages,
        "taken": f"{taken[1]}-{taken[2]}-{taken[3]}T{taken[4]}" if taken else None,
        "position": (float(position[1]), float(position[2])) if position else None,
    }


def differences(found, wanted, kind):
    """What the program said that the facts do not, one sentence each."""
    if found.get("status") != "done":
        return [f"not read: {found.get('error')}"]
    result = []
    if (found["width"], found["height"]) != wanted["size"]:
        result.append(f"{found['width']} x {found['height']}, not {wanted['size'][0]} x {wanted['size'][1]}")
    for name, stated in (("format", kind), ("orientation", wanted["orientation"]), ("frames", wanted["frames"])):
        if found[name] != stated:
            result.append(f"{name} {found[name]}, not {stated}")
    if wanted["profile"] is not None and found["profile"] != wanted["profile"]:
        result.append(f"profile {found['profile']!r}, not {wanted['profile']!r}")
    if found.get("shotDate") != wanted["taken"]:
        result.append(f"taken {found.get('shotDate')}, not {wanted['taken']}")
    position = found.get("coordinates")
    place = None if position is None else (position["lat"], position["lon"])
    if (place is None) != (wanted["position"] is None) or place and any(
            abs(told - stated) > DEGREES for told, stated in zip(place, wanted["position"])):
        result.append(f"position {place}, not {wanted['position']}")
    for i, component in enumerate(("red", "green", "blue", "alpha")):
        stated = [average[i] for average in wanted["averages"]]
        if not min(stated) - TOLERANCE <= found["average"][i] <= max(stated) + TOLERANCE:
            result.append(f"average {component} {found['average'][i]}, not {stated}")
    return result


def check_sound(zel, folder, sound):
    run = subprocess.run([zel, "info", "--jsonl", "--average", *(folder / file for file in sound)],
                         capture_output=True, text=True, check=False)
    by_name = {found["input"]: found for found in map(json.loads, run.stdout.splitlines())}
    for file, facts in sound.items():
        found = by_name.get(str(folder / file))
        if found is None:
            yield f"{file}: no line of JSON"
            continue
        for difference in differences(found, expected(facts), KINDS[Path(file).suffix.lower()]):
            yield f"{file}: {difference}"


def check_broken(zel, folder, file, facts):
    try:
        run = subprocess.run([zel, "info", "--jsonl", "--average", folder / file],
                             capture_output=True, text=True, check=False, timeout=SECONDS)
    except subprocess.TimeoutExpired:
        yield f"{file}: it takes longer than {SECONDS} s"
        return
    said = run.stderr.splitlines()
    if run.returncode == 0:
        if "partial" not in facts:
            yield f"{file}: read, although no other program finds a picture in it"
        if not said or not all("warning: " in line for line in said):
            yield f"{file}: read without a warning, but {said}"
        if not json.loads(run.stdout).get("warnings"):
            yield f"{file}: its JSON has no warnings"
    elif run.returncode not in REFUSALS:
        yield f"{file}: status {run.returncode}, not one of {REFUSALS}"
    elif len(said) != 1 or not said[0].startswith("zel info: ") or file not in said[0]:
        yield f"{file}: no one clear line, but {said}"


def main():
    pictures = os.environ.get("ZEL_PICTURES")
    if not pictures:
        print("skipped: ZEL_PICTURES names no folder of pictures")
        return SKIPPED
    zel, folder = sys.argv[1], Path(pictures)
    facts = dict(rows(folder / "README.md"))
    broken = {file: said for file, said in facts.items() if file.startswith("broken/")}
    sound = {file: said for file, said in facts.items() if file not in broken}
    if not sound or not broken:
        print(f"{folder / 'README.md'}: no tables of pictures and of broken ones")
        return 1
    wrong = list(check_sound(zel, folder, sound))
    for file, said in broken.items():
        wrong += check_broken(zel, folder, file, said)
    for sentence in wrong:
        print(sentence)
    print(f"{len(sound)} pictures and {len(broken)} broken files, {len(wrong)} differences")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
