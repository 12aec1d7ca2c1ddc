#!/usr/bin/env python3
"""Draws the icons' bitmaps from their sources, and the sheet that shows them all.

    tools/draw_icons.py            draw tessalune/icons/bitmaps/ and docs/icons.png
    tools/draw_icons.py --check    say which bitmaps are not what their sources would give

Sources are tessalune/icons/: classes/ (drawn at 16, 24 and 32 pixels), extras/ (24 alone), streams/
(a PNG of 16). NAME16.svg beside NAME.svg is what is drawn at 16. A bitmap is a BMP of 32 bits a pixel
with straight alpha, the lowest row first.

Wants Debian's librsvg2-bin and python3-pil; builds need neither.
"""

import io
import re
import struct
import subprocess
import sys
from pathlib import Path

try:
    from PIL import Image, ImageDraw, ImageFont
    subprocess.run(["rsvg-convert", "--version"], check=True, capture_output=True)
except (ImportError, OSError):
    print("librsvg2-bin or python3-pil is missing")
    sys.exit(77)  # to ctest: skipped

ROOT = Path(__file__).resolve().parent.parent
SOURCES = ROOT / "tessalune" / "icons"
BITMAPS = SOURCES / "bitmaps"
SHEET = ROOT / "docs" / "icons.png"
SIZES = (16, 24, 32)
CATEGORIES = ("Generators", "Players", "Loggers", "Filters", "Math", "Converters", "Transforms",
              "Measurement", "Analysis")
# By how much a channel may differ before --check calls a bitmap stale: another version of librsvg
# rounds otherwise.
TOLERANCE = 24


def sources(folder):
    """The SVG files of a folder, without those for 16 pixels."""
    files = {path.stem: path for path in sorted((SOURCES / folder).glob("*.svg"))}
    return [path for stem, path in files.items()
            if not (stem.endswith("16") and stem[:-2] in files)]


def draw(path, size):
    """An SVG file as an RGBA image."""
    small = path.with_name(f"{path.stem}16.svg")
    if size == 16 and small.exists():
        path = small
    png = subprocess.run(["rsvg-convert", "-w", str(size), "-h", str(size), str(path)],
                         check=True, capture_output=True).stdout
    return Image.open(io.BytesIO(png)).convert("RGBA")


def bmp(image):
    """A BMP file with a header of version 4, whose masks tell viewers of the alpha."""
    width, height = image.size
    pixels = image.transpose(Image.FLIP_TOP_BOTTOM).tobytes("raw", "BGRA")
    header = struct.pack("<IiiHHIIiiII", 108, width, height, 1, 32, 3, len(pixels), 2835, 2835, 0, 0)
    header += struct.pack("<IIIII", 0xFF0000, 0xFF00, 0xFF, 0xFF000000, 0x73524742)  # masks, sRGB
    header += bytes(48)  # end points and gamma, which sRGB has no use for
    return struct.pack("<2sIHHI", b"BM", 122 + len(pixels), 0, 0, 122) + header + pixels


def png(image):
    file = io.BytesIO()
    image.save(file, "PNG")
    return file.getvalue()


def bitmaps():
    """Yields file name, image and bytes of each bitmap."""
    for folder, sizes in (("classes", SIZES), ("extras", (24,))):
        for path in sources(folder):
            for size in sizes:
                image = draw(path, size)
                yield path.stem.upper() + ("" if size == 24 else str(size)) + ".bmp", image, bmp(image)
    for path in sources("streams"):
        image = draw(path, 16)
        yield path.stem.upper() + ".png", image, png(image)


def is_stale(path, image):
    if not path.exists():
        return True
    old = Image.open(path)
    if old.mode != "RGBA" or old.size != image.size:
        return True
    # The colour of what cannot be seen does not count.
    return any(abs(a - b) > TOLERANCE and (i % 4 == 3 or max(new[3], was[3]) > TOLERANCE)
               for new, was in zip(image.getdata(), old.getdata())
               for i, (a, b) in enumerate(zip(new, was)))


def check():
    wrong = []
    known = set()
    for name, image, _ in bitmaps():
        known.add(name)
        if is_stale(BITMAPS / name, image):
            wrong.append(f"{name} is not what its source gives")
    wrong += [f"{path.name} has no source" for path in sorted(BITMAPS.iterdir())
              if path.name not in known]
    print("\n".join(wrong) if wrong else f"{len(known)} bitmaps are what their sources give")
    if wrong:
        sys.exit("run tools/draw_icons.py")


def category(path):
    return re.search(r"<desc>(\w+)</desc>", path.read_text()).group(1)


def sheet():
    """All icons by category: true pixels on light and on dark ground, then 16 and 24 enlarged."""
    light, dark, page, ink = "#f4f4f4", "#202124", "#ffffff", "#202020"
    font = ImageFont.load_default()
    rows = [(name, [path for path in sources("classes") if category(path) == name])
            for name in CATEGORIES]
    rows += [("No class of their own (24)", sources("extras")), ("Streams (16)", sources("streams"))]
    only = {"extras": (24,), "streams": (16,)}

    def area(y, sizes, grounds, scale):
        """Draws one view from y on, seven icons a row, and returns where it ends."""
        gap = 4 * scale
        strip = (sum(sizes) + 4 * (len(sizes) + 1)) * scale
        tall = max(sizes) * scale + 2 * gap
        columns, width, height = 7, 208, tall + 18
        for name, paths in rows:
            pen.text((8, y + 4), name, ink, font)
            y += 20
            for i, path in enumerate(paths):
                x0, y0 = 8 + i % columns * width, y + i // columns * height
                for which, ground in enumerate(grounds):
                    left = x0 + which * strip
                    pen.rectangle((left, y0, left + strip - 1, y0 + tall - 1), ground)
                    for size in sizes:
                        left += gap
                        if size in only.get(path.parent.name, SIZES):
                            icon = drawn[path, size]
                            icon = icon.resize((size * scale, size * scale), Image.NEAREST)
                            image.paste(icon, (left, y0 + (tall - size * scale) // 2), icon)
                        left += size * scale
                pen.text((x0, y0 + tall + 2), path.stem, ink, font)
            y += -(-len(paths) // columns) * height + 4
        return y

    drawn = {(path, size): draw(path, size) for _, paths in rows for path in paths
             for size in only.get(path.parent.name, SIZES)}
    image = Image.new("RGB", (1472, 8192), page)
    pen = ImageDraw.Draw(image)
    end = area(area(0, SIZES, (light, dark), 1) + 16, (16, 24), (light,), 4)
    return image.crop((0, 0, image.width, end)).quantize(256)


if __name__ == "__main__":
    if sys.argv[1:] == ["--check"]:
        check()
    elif sys.argv[1:]:
        sys.exit(__doc__)
    else:
        BITMAPS.mkdir(exist_ok=True)
        for old in BITMAPS.iterdir():
            old.unlink()
        for file_name, _, data in bitmaps():
            (BITMAPS / file_name).write_bytes(data)
        SHEET.write_bytes(png(sheet()))
