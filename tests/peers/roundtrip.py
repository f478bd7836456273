#!/usr/bin/env python3
"""roundtrip.py ZEL: files that the program writes, in the hands of other programs.

Pictures of every kind are made here as PNG, converted by `zel convert` to PNG, TIFF and JPEG, and read by pngcheck,
tiffinfo, ImageMagick, vips and exiftool, where they are installed: without a complaint, with profile and resolution as
they were, and with the pixels as they were where the format keeps them. PNG to PNG is compared sample by sample here,
colours under clear pixels included. HEIC and AVIF are read by heif-info, heif-convert and vips: of the same size, with
alpha where there was some, nearly the same means of all components. Skipped (77) where none of the programs is installed.
"""
import json
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib
from pathlib import Path

SKIPPED = 77
DOTS_PER_METRE = 11811    # 300 dots an inch
WIDTH, HEIGHT = 61, 47
HARMLESS = "heifload: ignoring nclx profile"    # vips says so of every HEIF that states its colours by numbers
COMPONENTS = {0: 1, 2: 3, 4: 2, 6: 4}    # of PNG's colour types: grey, RGB, grey and alpha, RGB and alpha

PICTURES = [("grey-8", 0, 8), ("rgb-8", 2, 8), ("grey-alpha-8", 4, 8), ("rgb-alpha-8", 6, 8),
            ("grey-16", 0, 16), ("rgb-16", 2, 16), ("grey-alpha-16", 4, 16), ("rgb-alpha-16", 6, 16)]


# --- Making and reading PNG, independently of the library ---

def chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def samples(kind, bits):
    """Rows of samples, smooth enough for JPEG, with low bits of their own and alpha from clear to opaque."""
    count, most = COMPONENTS[kind], (1 << bits) - 1
    for y in range(HEIGHT):
        row = []
        for x in range(WIDTH):
            for component in range(count):
                if component == count - 1 and kind in (4, 6):
                    value = x * most // (WIDTH - 1)
                else:
                    value = (x * (component + 2) + y * (4 - component)) * most // 300 + (x * 7 + y if bits == 16 else 0)
                row.append(min(value, most))
        yield row


def make_png(path, kind, bits, profile):
    depth = "B" if bits == 8 else "H"
    pixels = b"".join(b"\0" + struct.pack(f">{len(row)}{depth}", *row) for row in samples(kind, bits))
    path.write_bytes(b"\x89PNG\r\n\x1a\n"
                     + chunk(b"IHDR", struct.pack(">IIBBBBB", WIDTH, HEIGHT, bits, kind, 0, 0, 0))
                     + (chunk(b"iCCP", b"test\0\0" + zlib.compress(profile)) if profile else b"")
                     + chunk(b"pHYs", struct.pack(">IIB", DOTS_PER_METRE, DOTS_PER_METRE, 1))
                     + chunk(b"IDAT", zlib.compress(pixels)) + chunk(b"IEND", b""))


def paeth(left, above, corner):
    guess = left + above - corner
    return min((left, above, corner), key=lambda value: abs(guess - value))


def read_png(path):
    """Kind, bits and all samples of a PNG that is not interlaced."""
    data, place, stream = path.read_bytes(), 8, b""
    while place < len(data):
        size, name = struct.unpack(">I4s", data[place:place + 8])
        body = data[place + 8:place + 8 + size]
        if name == b"IHDR":
            width, height, bits, kind = struct.unpack(">IIBB", body[:10])
        elif name == b"IDAT":
            stream += body
        place += size + 12
    pixel = COMPONENTS[kind] * bits // 8
    row, rows, lines = bytearray(width * pixel), [], zlib.decompress(stream)
    for y in range(height):
        line = bytearray(lines[y * (len(row) + 1):(y + 1) * (len(row) + 1)])
        rule, now, above = line[0], line[1:], row
        for i in range(len(now)):
            left = now[i - pixel] if i >= pixel else 0
            corner = above[i - pixel] if i >= pixel else 0
            now[i] = (now[i] + (0, left, above[i], (left + above[i]) // 2, paeth(left, above[i], corner))[rule]) & 255
        row = now
        rows.append(bytes(row))
    return kind, bits, b"".join(rows)


# --- A profile that is not sRGB: gamma 1.8, Adobe RGB's primaries ---

def make_profile(gray):
    def fixed(*figures):
        return struct.pack(f">{len(figures)}i", *(round(figure * 65536) for figure in figures))
    name = "Test grey" if gray else "Test colours"
    description = b"desc\0\0\0\0" + struct.pack(">I", len(name) + 1) + name.encode() + b"\0" + bytes(78)
    curve = b"curv\0\0\0\0" + struct.pack(">IH", 1, round(1.8 * 256)) + b"\0\0"
    tags = {b"desc": description, b"cprt": b"text\0\0\0\0none\0", b"wtpt": b"XYZ \0\0\0\0" + fixed(0.9642, 1, 0.8249)}
    if gray:
        tags[b"kTRC"] = curve
    else:
        for letter, primary in (("r", (0.6097, 0.3111, 0.0195)), ("g", (0.2053, 0.6257, 0.0609)), ("b", (0.1492, 0.0632, 0.7446))):
            tags[f"{letter}XYZ".encode()] = b"XYZ \0\0\0\0" + fixed(*primary)
            tags[f"{letter}TRC".encode()] = curve
    table, data = struct.pack(">I", len(tags)), b""
    start = 128 + 4 + 12 * len(tags)
    for tag, body in tags.items():
        table += tag + struct.pack(">II", start + len(data), len(body))
        data += body + bytes(-len(body) % 4)
    header = struct.pack(">I4xI4s4s4s", start + len(data), 0x02100000, b"mntr", b"GRAY" if gray else b"RGB ", b"XYZ ")
    header += struct.pack(">6H", 2026, 1, 1, 0, 0, 0) + b"acsp" + bytes(28) + fixed(0.9642, 1, 0.8249) + bytes(48)
    return header + table + data, name


# --- The other programs ---

class Checks:
    def __init__(self):
        self.wrong = []
        self.made = 0

    def say(self, file, sentence):
        self.wrong.append(f"{file.name}: {sentence}")

    def run(self, file, *command):
        """What the program prints; a complaint, on standard error or by its status, counts as wrong."""
        self.made += 1
        run = subprocess.run([str(part) for part in command], capture_output=True, text=True, check=False)
        complaints = [line for line in run.stderr.splitlines() if line.strip() and not line.endswith(HARMLESS)]
        if run.returncode != 0 or complaints:
            self.say(file, f"{command[0]}: status {run.returncode}, {' '.join(complaints) or run.stdout.strip()}")
        return run.stdout


def check_file(checks, tools, file, format_, profile_name):
    if "pngcheck" in tools and format_ == "png":
        checks.run(file, "pngcheck", "-q", file)
    if "tiffinfo" in tools and format_ == "tiff":
        checks.run(file, "tiffinfo", "-D", file)
    if "identify" in tools:
        checks.run(file, "identify", "-regard-warnings", "-verbose", file)
    if "vips" in tools:
        checks.run(file, "vips", "avg", file)
    if "exiftool" in tools:
        tag = "PixelsPerUnitX" if format_ == "png" else "XResolution"
        said = json.loads(checks.run(file, "exiftool", "-json", "-Validate", "-ProfileDescription", f"-{tag}", file))[0]
        if said["Validate"] != "OK":
            checks.say(file, f"exiftool -validate: {said['Validate']}")
        if said.get("ProfileDescription", "") != profile_name:
            checks.say(file, f"profile {said.get('ProfileDescription')!r}, not {profile_name!r}")
        wanted = DOTS_PER_METRE if format_ == "png" else 300
        if abs(float(said.get(tag, 0)) - wanted) > 0.01:
            checks.say(file, f"resolution {said.get(tag)!r}, not {wanted}")


def same_pixels(checks, tools, source, file):
    """Not one pixel differs, as ImageMagick reads the two."""
    if "compare" in tools:
        checks.made += 1
        run = subprocess.run(["compare", "-metric", "AE", source, file, "null:"], capture_output=True, text=True, check=False)
        if run.stderr.split()[:1] != ["0"]:
            checks.say(file, f"pixels that differ: {run.stderr.strip()}")


# --- HEIC and AVIF ---

def means_of(path):
    """Width, height and the mean of each component, in parts of the largest value; grey as three components."""
    data = path.read_bytes()
    width, height = struct.unpack(">II", data[16:24])
    kind, bits, pixels = read_png(path)
    count = COMPONENTS[kind]
    values = pixels if bits == 8 else struct.unpack(f">{len(pixels) // 2}H", pixels)
    means = [sum(values[i::count]) / (width * height) / ((1 << bits) - 1) for i in range(count)]
    return width, height, ([means[0]] * 3 + means[1:] if kind in (0, 4) else means)


def same_look(checks, source, file, program):
    """The PNG that another program made of a file of ours looks like the source."""
    width, height, wanted = means_of(source)
    found_width, found_height, found = means_of(file)
    if (found_width, found_height) != (width, height):
        checks.say(file, f"{program}: {found_width} x {found_height}, not {width} x {height}")
    if len(found) != len(wanted):
        checks.say(file, f"{program}: {len(found)} components, not {len(wanted)}")
    if any(abs(one - other) > 0.01 for one, other in zip(wanted, found)):
        checks.say(file, f"{program}: means {found}, not {wanted}")


def check_container(checks, tools, zel, source, extension, has_alpha, profile_name):
    file = source.with_name(f"{source.stem}-written.{extension}")
    checks.run(file, zel, "convert", "--quiet", "--quality", "90", source, "-o", file)
    if not file.exists():
        return
    if "heif-info" in tools:
        said = checks.run(file, "heif-info", file)
        if f"{WIDTH}x{HEIGHT}" not in said:
            checks.say(file, f"heif-info: not {WIDTH}x{HEIGHT}: {said}")
        if ("alpha channel: yes" in said) != has_alpha:
            checks.say(file, f"heif-info: alpha {'missing' if has_alpha else 'where there was none'}: {said}")
    if "exiftool" in tools:
        said = json.loads(checks.run(file, "exiftool", "-json", "-ProfileDescription", file))[0]
        if said.get("ProfileDescription", "") != profile_name:
            checks.say(file, f"profile {said.get('ProfileDescription')!r}, not {profile_name!r}")
    for program, command in (("heif-convert", ("heif-convert",)), ("vips", ("vips", "copy"))):
        if program in tools:
            back = file.with_name(f"{file.stem}-{extension}-{program}.png")
            checks.run(file, *command, file, back)
            if back.exists():
                same_look(checks, source, back, program)


def main():
    zel = sys.argv[1]
    tools = {name for name in ("pngcheck", "tiffinfo", "identify", "compare", "vips", "exiftool", "heif-info",
                              "heif-convert") if shutil.which(name)}
    if not tools:
        print("skipped: none of pngcheck, tiffinfo, ImageMagick, vips, exiftool and libheif's programs is installed")
        return SKIPPED
    checks = Checks()
    with tempfile.TemporaryDirectory() as folder:
        for name, kind, bits in PICTURES:
            for with_profile in (False, True):
                profile, profile_name = make_profile(kind in (0, 4)) if with_profile else (b"", "")
                source = Path(folder) / f"{name}{'-profile' if with_profile else ''}.png"
                make_png(source, kind, bits, profile)
                # Grey of a profile of its own is written as sRGB, so its numbers change.
                if not (with_profile and kind in (0, 4)):
                    for extension in ("heic", "avif"):
                        check_container(checks, tools, zel, source, extension, kind in (4, 6), profile_name)
                for format_ in ("png", "tiff", "jpeg"):
                    file = source.with_name(f"{source.stem}-written.{format_}")
                    checks.run(file, zel, "convert", "--quiet", source, "-o", file)
                    if not file.exists():
                        continue
                    check_file(checks, tools, file, format_, profile_name)
                    if format_ != "jpeg":
                        same_pixels(checks, tools, source, file)
                    if format_ == "png" and read_png(file) != read_png(source):
                        checks.say(file, "samples are not those of the source")
                    if format_ == "tiff":    # and back: nothing was lost on the way
                        back = file.with_name(f"{file.stem}-back.png")
                        checks.run(back, zel, "convert", "--quiet", file, "-o", back)
                        if back.exists() and read_png(back) != read_png(source):
                            checks.say(back, "samples are not those of the source")
    for sentence in checks.wrong:
        print(sentence)
    print(f"{checks.made} checks with {', '.join(sorted(tools))}: {len(checks.wrong)} complaints")
    return 1 if checks.wrong else 0


if __name__ == "__main__":
    sys.exit(main())
