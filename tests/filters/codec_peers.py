"""Pillow as the peer of the JPEG, PNG and GIF tests.

  decode FILE FRAME OUT      frame FRAME (from 0) as R, G, B, A bytes
  decode16 FILE OUT          a 16-bit grey image as little-endian words
  draft FILE W H OUT         Pillow's draft() decode at reduced scale, as RGBA
  info FILE                  "mode progressive dpi_x dpi_y frames"
  jpeg_exif OUT ORIENT DPI   a 40x24 JPEG with that EXIF orientation and JFIF dpi
  make DIR                   writes Pillow's own files into DIR (list.txt
                             names them: file frame-count)
"""
import sys

from PIL import Image


def decode(path, frame, out):
    im = Image.open(path)
    im.seek(frame)
    with open(out, "wb") as f:
        f.write(im.convert("RGBA").tobytes())


def decode16(path, out):
    im = Image.open(path)
    with open(out, "wb") as f:
        f.write(im.convert("I;16").tobytes())


def make(d):
    import os
    os.makedirs(d, exist_ok=True)
    w, h = 97, 61
    rgb = Image.new("RGB", (w, h))
    rgb.putdata([((x * 7 + y) % 256, (y * 5) % 256, (x * y) % 256) for y in range(h) for x in range(w)])
    names = []
    rgb.save(f"{d}/rgb.png"); names.append(("rgb.png", 1))
    rgb.convert("L").save(f"{d}/grey.png"); names.append(("grey.png", 1))
    rgb.convert("P", palette=Image.ADAPTIVE, colors=16).save(f"{d}/pal4.png", bits=4)
    names.append(("pal4.png", 1))
    rgb.convert("1").save(f"{d}/mono.png"); names.append(("mono.png", 1))
    rgba = rgb.copy(); rgba.putalpha(Image.linear_gradient("L").resize((w, h)))
    rgba.save(f"{d}/rgba.png"); names.append(("rgba.png", 1))
    rgb.save(f"{d}/q90.jpg", quality=90); names.append(("q90.jpg", 1))
    rgb.save(f"{d}/prog.jpg", quality=80, progressive=True); names.append(("prog.jpg", 1))
    rgb.convert("L").save(f"{d}/grey.jpg"); names.append(("grey.jpg", 1))
    rgb.convert("CMYK").save(f"{d}/cmyk.jpg"); names.append(("cmyk.jpg", 1))
    frames = [rgb.convert("P", palette=Image.ADAPTIVE, colors=64)]
    frames.append(rgb.transpose(Image.FLIP_LEFT_RIGHT).convert("P", palette=Image.ADAPTIVE, colors=32))
    frames[0].save(f"{d}/anim.gif", save_all=True, append_images=frames[1:], duration=50, loop=0)
    names.append(("anim.gif", 2))
    rgb.convert("P", palette=Image.ADAPTIVE, colors=200).save(f"{d}/interlaced.gif", interlace=True)
    names.append(("interlaced.gif", 1))
    with open(f"{d}/list.txt", "w") as f:
        for n, c in names:
            f.write(f"{n} {c}\n")


def draft(path, w, h, out):
    im = Image.open(path)
    im.draft("RGB", (w, h))
    with open(out, "wb") as f:
        f.write(im.convert("RGBA").tobytes())


def info(path):
    im = Image.open(path)
    dpi = im.info.get("dpi", (0, 0))
    print(im.mode, 1 if im.info.get("progressive") or im.info.get("progression") else 0,
          round(dpi[0]), round(dpi[1]), getattr(im, "n_frames", 1))


def jpeg_exif(out, orient, dpi):
    im = Image.new("RGB", (40, 24), (200, 30, 90))
    exif = Image.Exif()
    exif[0x0112] = orient
    im.save(out, exif=exif.tobytes(), dpi=(dpi, dpi))


if __name__ == "__main__":
    cmd = sys.argv[1]
    if cmd == "decode":
        decode(sys.argv[2], int(sys.argv[3]), sys.argv[4])
    elif cmd == "decode16":
        decode16(sys.argv[2], sys.argv[3])
    elif cmd == "draft":
        draft(sys.argv[2], int(sys.argv[3]), int(sys.argv[4]), sys.argv[5])
    elif cmd == "info":
        info(sys.argv[2])
    elif cmd == "jpeg_exif":
        jpeg_exif(sys.argv[2], int(sys.argv[3]), int(sys.argv[4]))
    elif cmd == "make":
        make(sys.argv[2])
