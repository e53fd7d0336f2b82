#!/usr/bin/env python3
"""make_palette.py - writes the Widgets sample's palette icons into palette/.

The icons are committed; run this again only to change them. It covers every
bitmap depth a palette may hold (1, 4, 8, 24 and 32 bits per pixel), all stored
bottom-up with BITMAPINFOHEADER, the form paint programs save.

  SampleKnob (toolbar picture 128): 128-small.bmp (8 bits, 16x16),
      128-smallmask.bmp (1 bit), 128.bmp (24 bits, 32x32), 128mask.bmp (1 bit)
  SampleLamp (toolbar picture 129): only 129.bmp (32 bits, 32x32) and
      129mask.bmp (4 bits), so a loader must fall back to the large names.
"""
import os
import struct

HERE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "palette")


def bmp(path, width, height, bits, pixel, palette=None):
    """Writes a bottom-up BMP; pixel(x, y) gives a palette index or a BGR(A) tuple."""
    rows = []
    for y in reversed(range(height)):
        if bits >= 24:
            row = b"".join(bytes(pixel(x, y)[: bits // 8]) for x in range(width))
        else:
            per_byte = 8 // bits
            row = bytearray((width * bits + 7) // 8)
            for x in range(width):
                shift = (per_byte - 1 - x % per_byte) * bits
                row[x // per_byte] |= pixel(x, y) << shift
            row = bytes(row)
        rows.append(row + b"\0" * (-len(row) % 4))  # rows end on a 4-byte boundary
    image = b"".join(rows)
    colours = b"".join(bytes((b, g, r, 0)) for (r, g, b) in (palette or []))
    offset = 14 + 40 + len(colours)
    header = struct.pack("<2sIHHI", b"BM", offset + len(image), 0, 0, offset)
    info = struct.pack("<IiiHHIIiiII", 40, width, height, 1, bits, 0, len(image),
                       2835, 2835, len(palette or []), 0)
    with open(os.path.join(HERE, path), "wb") as f:
        f.write(header + info + colours + image)


def inside(size, margin):
    centre = (size - 1) / 2
    radius = size / 2 - margin
    return lambda x, y: (x - centre) ** 2 + (y - centre) ** 2 <= radius ** 2


def main():
    os.makedirs(HERE, exist_ok=True)
    small, large = inside(16, 1), inside(32, 2)
    grey = [(i, i, i) for i in range(256)]
    # The knob: a grey disc with a dark pointer line.
    bmp("128-small.bmp", 16, 16, 8,
        lambda x, y: 40 if (x == 7 and y < 8) else (200 if small(x, y) else 255), grey)
    bmp("128-smallmask.bmp", 16, 16, 1, lambda x, y: 0 if small(x, y) else 1,
        [(0, 0, 0), (255, 255, 255)])
    bmp("128.bmp", 32, 32, 24,
        lambda x, y: (40, 40, 40) if (x in (15, 16) and y < 16)
        else ((200, 200, 200) if large(x, y) else (255, 255, 255)))
    bmp("128mask.bmp", 32, 32, 1, lambda x, y: 0 if large(x, y) else 1,
        [(0, 0, 0), (255, 255, 255)])
    # The lamp: a yellow disc, transparent around it.
    bmp("129.bmp", 32, 32, 32,
        lambda x, y: (0, 215, 255, 255) if large(x, y) else (0, 0, 0, 0))
    sixteen = [(0, 0, 0), (255, 255, 255)] + [(i * 16, i * 16, i * 16) for i in range(2, 16)]
    bmp("129mask.bmp", 32, 32, 4, lambda x, y: 0 if large(x, y) else 1, sixteen)


if __name__ == "__main__":
    main()
