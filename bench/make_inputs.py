#!/usr/bin/env python3
"""Makes the compression benchmark's input PDFs in a folder, with no library
beyond the standard one: pictures come from ImageMagick (`convert`), and the
PDFs are written here by hand so that nothing re-encodes the pictures.

    make_inputs.py OUTDIR

photos.pdf  20 full-page camera-like photos, 3000x4000 JPEG at quality 90
report.pdf  12 pages: text, photos, vector charts and raster (PNG-like) charts
scan.pdf    10 pages scanned at 300 dpi, greyscale JPEG
text.pdf    100 pages of text only
"""

import os
import re
import subprocess
import sys
import zlib

SERIF = next((p for p in ("/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf",
                          "/usr/share/fonts/truetype/liberation/LiberationSerif-Regular.ttf")
              if os.path.exists(p)), "DejaVu-Serif")
CONVERT = "/usr/bin/convert" if os.path.exists("/usr/bin/convert") else "convert"

WORDS = ("the of and to in is that for it as was with be by on not he this are or his from at "
         "which but have an they you were her she there been one all we their has would when "
         "if so no will more can who what its out up into them about some than only other "
         "document pages picture archive letter invoice report summary quarter results growth "
         "customer market figure table chapter section contract delivery payment schedule").split()


class PDF:
    def __init__(self):
        self.objects = []

    def add(self, body):
        self.objects.append(body)
        return len(self.objects)

    def reserve(self):
        return self.add(None)

    def set(self, number, body):
        self.objects[number - 1] = body

    def stream(self, dictionary, data, compress=False):
        if compress:
            data = zlib.compress(data, 6)
            dictionary = dictionary + b" /Filter /FlateDecode"
        return self.add(b"<< " + dictionary + b" /Length %d >>\nstream\n" % len(data) + data
                        + b"\nendstream")

    def write(self, path, pages_number, page_numbers, info=b""):
        self.set(pages_number, b"<< /Type /Pages /Kids [" +
                 b" ".join(b"%d 0 R" % n for n in page_numbers) +
                 b"] /Count %d >>" % len(page_numbers))
        catalog = self.add(b"<< /Type /Catalog /Pages %d 0 R >>" % pages_number)
        info_number = self.add(b"<< " + info + b" /Producer (bench make_inputs) >>")
        out = bytearray(b"%PDF-1.5\n%\xe2\xe3\xcf\xd3\n")
        offsets = []
        for i, body in enumerate(self.objects, 1):
            offsets.append(len(out))
            out += b"%d 0 obj\n" % i + body + b"\nendobj\n"
        xref = len(out)
        out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(self.objects) + 1)
        for offset in offsets:
            out += b"%010d 00000 n \n" % offset
        out += (b"trailer\n<< /Size %d /Root %d 0 R /Info %d 0 R >>\nstartxref\n%d\n%%%%EOF\n"
                % (len(self.objects) + 1, catalog, info_number, xref))
        with open(path, "wb") as f:
            f.write(out)


def jpeg_info(data):
    i = 2
    while i < len(data):
        if data[i] != 0xFF:
            i += 1
            continue
        marker = data[i + 1]
        length = (data[i + 2] << 8) | data[i + 3]
        if 0xC0 <= marker <= 0xCF and marker not in (0xC4, 0xC8, 0xCC):
            h = (data[i + 5] << 8) | data[i + 6]
            w = (data[i + 7] << 8) | data[i + 8]
            return w, h, data[i + 9]
        i += 2 + length
    raise ValueError("no JPEG frame")


def run(*args):
    subprocess.run([CONVERT, *args], check=True)


def photo(path, seed, w, h, quality=90):
    # Fractal plasma blurred and upscaled reads as landscape-like colour
    # fields; a vignette, a gradient sky and sensor noise make it camera-like.
    run("-size", "%dx%d" % (w // 4, h // 4), "-seed", str(seed), "plasma:fractal",
        "-blur", "0x1.2", "-resize", "%dx%d!" % (w, h),
        "(", "-size", "%dx%d" % (w, h), "gradient:#bcd4ff-#4a3a2a", ")",
        "-compose", "overlay", "-composite",
        "-seed", str(seed), "-attenuate", "0.35", "+noise", "Gaussian",
        "-quality", str(quality), "-sampling-factor", "2x2", path)
    with open(path, "rb") as f:
        return f.read()


def image_xobject(pdf, jpeg):
    w, h, components = jpeg_info(jpeg)
    space = {1: b"/DeviceGray", 3: b"/DeviceRGB"}[components]
    return pdf.stream(b"/Type /XObject /Subtype /Image /Width %d /Height %d /ColorSpace %s "
                      b"/BitsPerComponent 8 /Filter /DCTDecode" % (w, h, space), jpeg)


def raw_image(pdf, ppm_path):
    with open(ppm_path, "rb") as f:
        data = f.read()
    m = re.match(rb"P6\s+(\d+)\s+(\d+)\s+255\s", data)
    w, h = int(m.group(1)), int(m.group(2))
    return pdf.stream(b"/Type /XObject /Subtype /Image /Width %d /Height %d "
                      b"/ColorSpace /DeviceRGB /BitsPerComponent 8" % (w, h),
                      data[m.end():], compress=True)


def text_lines(seed, count, width=90):
    state = seed * 7919 + 17
    lines = []
    for _ in range(count):
        words = []
        length = 0
        while length < width:
            state = (state * 1103515245 + 12345) & 0x7FFFFFFF
            word = WORDS[state % len(WORDS)]
            words.append(word)
            length += len(word) + 1
        lines.append(" ".join(words))
    return lines


def text_content(lines, x, y, size=10, leading=13):
    out = [b"BT /F1 %d Tf %d TL %d %d Td" % (size, leading, x, y)]
    for line in lines:
        out.append(b"(" + line.encode("latin-1") + b") '")
    out.append(b"ET")
    return b"\n".join(out) + b"\n"


def font(pdf):
    return pdf.add(b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica "
                   b"/Encoding /WinAnsiEncoding >>")


def page(pdf, parent, content, resources, size=(595, 842)):
    contents = pdf.stream(b"", content, compress=True)
    return pdf.add(b"<< /Type /Page /Parent %d 0 R /MediaBox [0 0 %d %d] /Resources %s "
                   b"/Contents %d 0 R >>" % (parent, size[0], size[1], resources, contents))


def make_photos(out, tmp):
    pdf = PDF()
    parent = pdf.reserve()
    pages = []
    for i in range(20):
        jpeg = photo(os.path.join(tmp, "photo%d.jpg" % i), 100 + i, 3000, 4000)
        image = image_xobject(pdf, jpeg)
        pages.append(page(pdf, parent, b"q 595 0 0 793 0 24.5 cm /Im0 Do Q\n",
                          b"<< /XObject << /Im0 %d 0 R >> >>" % image))
    pdf.write(os.path.join(out, "photos.pdf"), parent, pages, b"/Title (Holiday photos)")


def vector_chart(x, y, seed):
    parts = [b"q 0.2 w 0 0 0 RG %d %d m %d %d l %d %d l S" % (x, y + 150, x, y, x + 240, y)]
    colours = [b"0.2 0.4 0.8 rg", b"0.9 0.5 0.1 rg", b"0.3 0.7 0.3 rg"]
    for i in range(8):
        height = 20 + (seed * 37 + i * 53) % 120
        parts.append(colours[i % 3] + b" %d %d 22 %d re f" % (x + 8 + i * 29, y, height))
    parts.append(b"Q")
    return b"\n".join(parts) + b"\n"


def make_report(out, tmp):
    pdf = PDF()
    parent = pdf.reserve()
    f1 = font(pdf)
    pages = []
    for i in range(12):
        lines = text_lines(i, 24)
        content = text_content(lines[:12], 56, 780)
        xobjects = []
        if i % 2 == 0:
            jpeg = photo(os.path.join(tmp, "report%d.jpg" % i), 300 + i, 2400, 1600, 92)
            xobjects.append(b"/Ph %d 0 R" % image_xobject(pdf, jpeg))
            content += b"q 483 0 0 322 56 300 cm /Ph Do Q\n"
        else:
            ppm = os.path.join(tmp, "chart%d.ppm" % i)
            run("-size", "1400x900", "xc:white", "-stroke", "#333", "-strokewidth", "3",
                "-draw", "line 100,800 1350,800", "-draw", "line 100,800 100,80",
                "-fill", "#3366cc", "-draw", "rectangle 160,%d 300,800" % (300 + i * 20),
                "-fill", "#dc3912", "-draw", "rectangle 380,%d 520,800" % (200 + i * 10),
                "-fill", "#ff9900", "-draw", "rectangle 600,%d 740,800" % (450 - i * 15),
                "-fill", "#109618", "-draw", "rectangle 820,%d 960,800" % (250 + i * 5),
                "-fill", "none", "-stroke", "#990099", "-strokewidth", "5",
                "-draw", "polyline 160,600 380,420 600,500 820,300 1040,350 1260,200",
                "-depth", "8", ppm)
            xobjects.append(b"/Ch %d 0 R" % raw_image(pdf, ppm))
            content += b"q 483 0 0 310 56 310 cm /Ch Do Q\n"
        content += vector_chart(56, 100, i) + text_content(lines[12:], 320, 240, 9, 11)
        resources = (b"<< /Font << /F1 %d 0 R >> /XObject << " % f1 + b" ".join(xobjects)
                     + b" >> >>")
        pages.append(page(pdf, parent, content, resources))
    pdf.write(os.path.join(out, "report.pdf"), parent, pages, b"/Title (Quarterly report)")


def make_scan(out, tmp):
    pdf = PDF()
    parent = pdf.reserve()
    pages = []
    for i in range(10):
        path = os.path.join(tmp, "scan%d.jpg" % i)
        body = "\n".join(text_lines(50 + i, 60, 70))
        run("-size", "2480x3508", "xc:#f4f1ea", "-fill", "#202020", "-font", SERIF,
            "-pointsize", "34",
            "-annotate", "+200+260", body, "-rotate", "0.4",
            "-seed", str(i), "-attenuate", "0.25", "+noise", "Gaussian",
            "-colorspace", "Gray", "-gravity", "center", "-crop", "2480x3508+0+0", "+repage",
            "-quality", "85", path)
        with open(path, "rb") as f:
            image = image_xobject(pdf, f.read())
        pages.append(page(pdf, parent, b"q 595.2 0 0 841.9 0 0 cm /Sc Do Q\n",
                          b"<< /XObject << /Sc %d 0 R >> >>" % image))
    pdf.write(os.path.join(out, "scan.pdf"), parent, pages, b"/Title (Scanned letters)")


def make_text(out):
    pdf = PDF()
    parent = pdf.reserve()
    f1 = font(pdf)
    pages = []
    for i in range(100):
        content = text_content(["Page %d" % (i + 1)] + text_lines(1000 + i, 56), 56, 790)
        pages.append(page(pdf, parent, content, b"<< /Font << /F1 %d 0 R >> >>" % f1))
    pdf.write(os.path.join(out, "text.pdf"), parent, pages, b"/Title (Plain text)")


def main():
    out = sys.argv[1]
    tmp = os.path.join(out, "pictures")
    os.makedirs(tmp, exist_ok=True)
    make_text(out)
    make_photos(out, tmp)
    make_report(out, tmp)
    make_scan(out, tmp)


if __name__ == "__main__":
    main()
