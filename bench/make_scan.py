#!/usr/bin/env python3
"""Makes the text-recognition benchmark's input: a 10-page scan of known
English prose, and where every word of it lies on the page.

    make_scan.py OUTDIR [FONT.ttf]

OUTDIR/scan.pdf   10 letter pages, each one greyscale JPEG (quality 75) at
                  300 dpi: justified paragraphs set at 11.5 pt, then the page
                  turned by a small angle (a different one per page, within
                  ±1.5°), blurred a little and given sensor noise.
OUTDIR/scan.json  the ground truth: per page its size in points, the angle,
                  and its lines, each with its text and its words; a word has
                  its text and its box [x0, y0, x1, y1] in PDF points (origin
                  at the lower left): the advance width times ascent..descent
                  of the font, turned with the page, as an upright bounding box.

Needs PIL. Everything comes from one seed, so every run makes the same files.
"""

import io
import json
import math
import os
import random
import subprocess
import sys

from PIL import Image, ImageChops, ImageDraw, ImageFilter, ImageFont

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from make_inputs import PDF, image_xobject  # noqa: E402

SEED = 20240611
DPI = 300
WIDTH, HEIGHT = 2550, 3300          # letter at 300 dpi
MARGIN_X, MARGIN_TOP = 300, 330     # one inch and a little
POINT_SIZE = 11.5
LEADING = 1.38                      # line distance as a multiple of the size
PARAGRAPH_GAP = 0.45                # extra space between paragraphs, in lines
INDENT = 0.45 * DPI                 # first-line indent of a paragraph
PAPER, INK = 238, 28
PAGES = 10

# Plain English prose, made of sentences put together from everyday parts so
# that every page reads differently but a dictionary knows every word.
SUBJECTS = [
    "the old miller", "my grandmother", "the children", "a young clerk", "the captain",
    "our neighbour", "the schoolteacher", "the farmer's wife", "a stranger from the north",
    "the baker", "my brother", "the doctor", "her cousin", "the landlord", "the two sisters",
    "a tired traveller", "the shopkeeper", "his father", "the gardener", "the new vicar",
    "Thomas", "Margaret", "Eleanor", "Mr. Harlow", "Mrs. Bennett", "old Samuel", "Lucy",
    "the fishermen", "the postman", "everyone in the village",
]
VERBS = [
    "carried", "mended", "painted", "counted", "opened", "watched", "found", "sold",
    "borrowed", "repaired", "wrote", "read", "packed", "cleaned", "fetched", "remembered",
    "described", "measured", "planted", "visited", "noticed", "bought", "brought", "kept",
    "lost", "dropped", "followed", "admired", "guarded", "delivered", "copied", "studied",
]
OBJECTS = [
    "a basket of apples", "the broken gate", "a letter from the city", "the heavy wooden chest",
    "three loaves of bread", "the map of the valley", "an old clock", "the garden wall",
    "a small blue boat", "the accounts for the month", "the lamps in the hall",
    "a bundle of firewood", "the roof of the barn", "a pair of leather boots",
    "the orchard behind the house", "a jar of honey", "the bells of the church",
    "a thick woollen blanket", "the names of the streets", "a box of candles",
    "the path across the meadow", "a silver spoon", "the windows of the school",
    "a sack of flour", "the horses in the stable", "the last train to town",
    "a page of the newspaper", "the fence along the road", "a cup of strong tea",
    "the pictures on the wall", "the key to the cellar", "a handful of seeds",
]
PLACES = [
    "before the sun went down", "near the river", "in the kitchen", "after the long winter",
    "on the way to the market", "behind the church", "with great care", "without a word",
    "by the light of a candle", "at the end of the lane", "during the storm",
    "under the old oak tree", "for the whole afternoon", "in front of the inn",
    "across the square", "beside the mill pond", "through the open door",
    "in the early morning", "between the hills", "along the narrow street",
    "at the top of the stairs", "while the others slept", "as quickly as possible",
    "on a quiet Sunday", "in the spring of 1887", "twice in one week",
]
OPENERS = [
    "In the morning", "Later that week", "Every Sunday", "Long ago", "By evening",
    "For a while", "At first", "Now and then", "After supper", "That autumn",
    "On the following day", "Some years later", "Before long", "In those days",
    "Once or twice", "Without any warning",
]
ADJECTIVES = ["quiet", "cold", "bright", "grey", "windy", "warm", "long", "busy", "strange",
              "pleasant", "dark", "gentle"]
TIMES = ["morning", "afternoon", "evening", "day in March", "week in June", "winter",
         "summer", "night"]
FEELINGS = [
    "nobody could say why", "it seemed the right thing to do", "the weather had changed",
    "there was no one else to ask", "the work had to be finished", "the road was still open",
    "the money had run out", "the house was very quiet", "the news had travelled fast",
    "the river was rising", "the harvest was late", "the lamps were already lit",
]


def sentence(rng):
    s, v, o, p = rng.choice(SUBJECTS), rng.choice(VERBS), rng.choice(OBJECTS), rng.choice(PLACES)
    kind = rng.randrange(7)
    if kind == 0:
        text = "%s %s %s %s." % (s, v, o, p)
    elif kind == 1:
        text = "%s, %s %s %s." % (rng.choice(OPENERS), s, v, o)
    elif kind == 2:
        text = "%s %s %s, and %s %s %s." % (s, v, o, rng.choice(SUBJECTS), rng.choice(VERBS),
                                            rng.choice(OBJECTS))
    elif kind == 3:
        text = "When %s %s %s, %s %s %s %s." % (s, v, o, rng.choice(SUBJECTS), rng.choice(VERBS),
                                               rng.choice(OBJECTS), p)
    elif kind == 4:
        text = "It was a %s %s, and %s %s %s." % (rng.choice(ADJECTIVES), rng.choice(TIMES), s, v, o)
    elif kind == 5:
        text = "%s %s %s because %s." % (s, v, o, rng.choice(FEELINGS))
    else:
        text = "%s %s %s; %s." % (s, v, o, rng.choice(FEELINGS))
    return text[0].upper() + text[1:]


def paragraphs(rng, words_wanted):
    out, count = [], 0
    while count < words_wanted:
        para = " ".join(sentence(rng) for _ in range(rng.randint(3, 6)))
        out.append(para)
        count += len(para.split())
    return out


def find_font():
    for name in ("DejaVu Serif", "Liberation Serif"):
        try:
            path = subprocess.run(["fc-match", "-f", "%{file}", name], capture_output=True,
                                  text=True, check=True).stdout.strip()
        except (OSError, subprocess.CalledProcessError):
            continue
        if path.lower().endswith(".ttf") and os.path.exists(path):
            return path
    for path in ("/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf",
                 "/usr/share/fonts/truetype/liberation/LiberationSerif-Regular.ttf"):
        if os.path.exists(path):
            return path
    sys.exit("make_scan.py: no TrueType serif font found (install fonts-dejavu-core)")


def set_page(rng, font, words_wanted):
    """Draws justified paragraphs on a clean page; returns the image and its
    lines, each a list of (word, x0, x1, baseline) in pixels."""
    image = Image.new("L", (WIDTH, HEIGHT), PAPER)
    draw = ImageDraw.Draw(image)
    space = font.getlength(" ")
    line_height = POINT_SIZE * DPI / 72 * LEADING
    measure = WIDTH - 2 * MARGIN_X
    baseline = MARGIN_TOP + font.getmetrics()[0]
    lines = []
    for para in paragraphs(rng, words_wanted):
        words = para.split()
        first = True
        while words:
            left = MARGIN_X + (INDENT if first else 0)
            room = MARGIN_X + measure - left
            line, width = [], 0.0
            while words:
                w = font.getlength(words[0])
                if line and width + space + w > room:
                    break
                width += (space if line else 0) + w
                line.append(words.pop(0))
            # Justified, except a paragraph's last line.
            gap = space if not words or len(line) < 2 else space + (room - width) / (len(line) - 1)
            x, placed = left, []
            for word in line:
                w = font.getlength(word)
                draw.text((x, baseline), word, font=font, fill=INK, anchor="ls")
                placed.append((word, x, x + w, baseline))
                x += w + gap
            lines.append(placed)
            baseline += line_height
            first = False
        baseline += line_height * PARAGRAPH_GAP
        if baseline > HEIGHT - 300:
            sys.exit("make_scan.py: the text does not fit on the page")
    return image, lines


def noise(rng, sigma):
    # Two uniform fields averaged are near enough to Gaussian, and fast
    # without numpy.
    a = Image.frombytes("L", (WIDTH, HEIGHT), rng.randbytes(WIDTH * HEIGHT))
    b = Image.frombytes("L", (WIDTH, HEIGHT), rng.randbytes(WIDTH * HEIGHT))
    spread = sigma / (255 / math.sqrt(12) / math.sqrt(2))
    return ImageChops.add(a, b, 2.0).point(lambda v: max(0, min(255, round(128 + (v - 127.5) * spread))))


def turn(x, y, angle):
    """Where PIL's rotate(angle) (counter-clockwise, about the centre) moves
    the pixel position (x, y)."""
    cx, cy = WIDTH / 2, HEIGHT / 2
    a = math.radians(angle)
    dx, dy = x - cx, y - cy
    return cx + dx * math.cos(a) + dy * math.sin(a), cy - dx * math.sin(a) + dy * math.cos(a)


def main():
    out = sys.argv[1]
    font_path = sys.argv[2] if len(sys.argv) > 2 else find_font()
    os.makedirs(out, exist_ok=True)
    rng = random.Random(SEED)
    font = ImageFont.truetype(font_path, round(POINT_SIZE * DPI / 72))
    ascent, descent = font.getmetrics()
    # Ten different angles spread over ±1.5°, none nearly straight.
    angles = [-1.45, -1.15, -0.85, -0.6, -0.35, 0.3, 0.55, 0.9, 1.2, 1.5]
    rng.shuffle(angles)
    angles = [round(a + rng.uniform(-0.05, 0.05), 2) for a in angles]

    pdf = PDF()
    parent = pdf.reserve()
    page_numbers, truth = [], []
    scale = 72 / DPI
    for index in range(PAGES):
        angle = angles[index]
        clean, lines = set_page(rng, font, rng.randint(300, 380))
        scan = clean.rotate(angle, resample=Image.BICUBIC, fillcolor=PAPER)
        scan = scan.filter(ImageFilter.GaussianBlur(0.8 + 0.1 * (index % 4)))
        scan = ImageChops.add(scan, noise(rng, 7), 1.0, -128)
        buffer = io.BytesIO()
        scan.save(buffer, "JPEG", quality=75, dpi=(DPI, DPI))
        image = image_xobject(pdf, buffer.getvalue())
        page_numbers.append(pdf.add(
            b"<< /Type /Page /Parent %d 0 R /MediaBox [0 0 612 792] "
            b"/Resources << /XObject << /Im0 %d 0 R >> >> /Contents %d 0 R >>"
            % (parent, image, pdf.stream(b"", b"q 612 0 0 792 0 0 cm /Im0 Do Q\n"))))

        page_lines = []
        for line in lines:
            words = []
            for word, x0, x1, baseline in line:
                corners = [turn(x, y, angle) for x in (x0, x1)
                           for y in (baseline - ascent, baseline + descent)]
                xs = [c[0] for c in corners]
                ys = [c[1] for c in corners]
                words.append({"text": word, "box": [round(min(xs) * scale, 2),
                                                    round((HEIGHT - max(ys)) * scale, 2),
                                                    round(max(xs) * scale, 2),
                                                    round((HEIGHT - min(ys)) * scale, 2)]})
            page_lines.append({"text": " ".join(w["text"] for w in words), "words": words})
        truth.append({"width": 612, "height": 792, "angle": angle, "lines": page_lines})

    pdf.write(os.path.join(out, "scan.pdf"), parent, page_numbers, b"/Title (Scanned prose)")
    with open(os.path.join(out, "scan.json"), "w") as f:
        json.dump({"font": os.path.basename(font_path), "point_size": POINT_SIZE, "dpi": DPI,
                   "seed": SEED, "pages": truth}, f, separators=(",", ":"))


if __name__ == "__main__":
    main()
