#!/usr/bin/python3
"""icon.py FILE.ico: draws the icon of the programs and of the setup. The result is kept in the tree, so that building needs
no drawing library; run this again after a change: packaging/icon.py packaging/MovaCmdSvr.ico (package python3-pil)."""
import io
import struct
import sys

from PIL import Image, ImageDraw

SIZES = (16, 24, 32, 48, 256)
GROUND, BODY, SCREEN, CABLE = "#1f5f8b", "#f4f7fa", "#1f5f8b", "#f2b632"
FINER = 8  # drawn so many times as large, then made smaller


def drawn(size):
    """A handset on its serial cable, in units of a thirty-second of the edge."""
    unit = size * FINER / 32
    image = Image.new("RGBA", (size * FINER,) * 2)
    draw = ImageDraw.Draw(image)

    def box(left, top, right, bottom, radius, color):
        draw.rounded_rectangle([left * unit, top * unit, right * unit - 1, bottom * unit - 1], radius * unit, color)

    box(0, 0, 32, 32, 6, GROUND)
    box(14, 24, 18, 32, 0, CABLE)
    box(9, 3, 23, 25, 3, BODY)
    box(11, 6, 21, 17, 1, SCREEN)
    for row in (19, 22):
        for column in (11, 15, 19):
            box(column, row, column + 2, row + 1.4, 0.4, SCREEN)
    return image.resize((size, size), Image.Resampling.LANCZOS)


def stored(image):
    """A large one as PNG; a small one as the bitmap that every system reads: header, lines from the bottom, empty mask."""
    if image.width == 256:
        file = io.BytesIO()
        image.save(file, "PNG", optimize=True)
        return file.getvalue()
    red, green, blue, alpha = image.transpose(Image.Transpose.FLIP_TOP_BOTTOM).split()
    mask = bytes((image.width + 31) // 32 * 4 * image.height)
    header = struct.pack("<IiiHHIIiiII", 40, image.width, 2 * image.height, 1, 32, 0, 0, 0, 0, 0, 0)
    return header + Image.merge("RGBA", (blue, green, red, alpha)).tobytes() + mask


def main(path):
    images = [stored(drawn(size)) for size in SIZES]
    at = 6 + 16 * len(images)
    directory = struct.pack("<HHH", 0, 1, len(images))
    for size, image in zip(SIZES, images):
        directory += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(image), at)
        at += len(image)
    with open(path, "wb") as file:
        file.write(directory + b"".join(images))


main(*sys.argv[1:])
