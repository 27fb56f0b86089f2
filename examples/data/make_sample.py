#!/usr/bin/python3
# Writes sample.bmp, the small picture the main script converts: a 64 x 40
# 24-bit image with colour gradients, a grey ramp and a few solid shapes.
# Run once with Debian's python3 (it has Pillow): /usr/bin/python3 make_sample.py
import os

from PIL import Image, ImageDraw

W, H = 64, 40
im = Image.new("RGB", (W, H))
px = im.load()
for y in range(H):
    for x in range(W):
        px[x, y] = (x * 255 // (W - 1), y * 255 // (H - 1), 255 - x * 255 // (W - 1))
draw = ImageDraw.Draw(im)
for x in range(W):
    draw.line([(x, H - 6), (x, H - 1)], fill=(x * 4, x * 4, x * 4))
draw.rectangle([6, 6, 20, 20], fill=(255, 255, 255))
draw.ellipse([30, 8, 50, 28], fill=(200, 30, 40), outline=(0, 0, 0))
im.save(os.path.join(os.path.dirname(os.path.abspath(__file__)), "sample.bmp"))
