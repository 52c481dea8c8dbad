"""The files that the sample volumes hold: pictures, sounds, documents and texts.

Everything is made here from numbers, so that nothing in the samples belongs to somebody else.
Pictures are drawn by ImageMagick, sounds are encoded by ffmpeg, a voice is espeak-ng's.
"""

import array
import io
import math
import random
import subprocess
import tempfile
import wave
import zipfile
from pathlib import Path


def _run(*command, feed=None):
    return subprocess.run(command, input=feed, check=True, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE).stdout


# Pictures ---------------------------------------------------------------------------------------

def _ridge(rng, width, base, roughness):
    """A mountain line from edge to edge, by midpoint displacement."""
    points = [base + rng.uniform(-roughness, roughness) for _ in range(2)]
    step = roughness
    while len(points) < 65:
        wider = []
        for a, b in zip(points, points[1:]):
            wider += [a, (a + b) / 2 + rng.uniform(-step, step)]
        points = wider + [points[-1]]
        step *= 0.55
    return [(i * width / 64, y) for i, y in enumerate(points)]


def landscape(seed, sky, hills, disc, size=(800, 532), quality=78, kind="jpg"):
    """A layered landscape: `sky` is (top, bottom), `hills` go from far to near, `disc` is the sun
    or moon as (x, y, radius, colour) on a canvas 480 wide."""
    rng = random.Random(seed)
    width, height = size
    scale = width / 480
    x, y, radius = (round(value * scale) for value in disc[:3])
    colour = disc[3]
    command = ["convert", "-size", f"{width}x{height}", f"gradient:{sky[0]}-{sky[1]}",
               "(", "-size", f"{width}x{height}", "xc:none", "-fill", colour,
               "-draw", f"circle {x},{y} {x + radius * 2},{y}", "-blur", f"0x{18 * scale:.0f}", ")", "-composite",
               "-fill", colour, "-draw", f"circle {x},{y} {x + radius},{y}"]
    for layer, fill in enumerate(hills):
        base = height * (0.45 + 0.5 * (layer + 0.6) / len(hills))
        line = _ridge(rng, width, base, (42 - 6 * layer) * scale)
        polygon = " ".join(f"{px:.1f},{py:.1f}" for px, py in line)
        command += ["-fill", fill, "-draw", f"polygon 0,{height} {polygon} {width},{height}"]
    command += ["-blur", "0x0.5", "-seed", str(seed), "-attenuate", "0.06", "+noise", "Gaussian",
                "-strip", "-sampling-factor", "4:2:0", "-quality", str(quality), f"{kind}:-"]
    return _run(*command)


def chart(size=(360, 220)):
    """A PNG with a bar chart, as a screenshot of a report would be."""
    width, height = size
    command = ["convert", "-size", f"{width}x{height}", "xc:white",
               "-fill", "none", "-stroke", "#d8dee9"]
    for y in range(30, height - 20, 30):
        command += ["-draw", f"line 30,{y} {width - 15},{y}"]
    command += ["-stroke", "none"]
    for i, (value, fill) in enumerate(zip((60, 95, 80, 130, 110, 160, 150),
                                          ("#5e81ac", "#81a1c1", "#88c0d0", "#8fbcbb",
                                           "#a3be8c", "#ebcb8b", "#d08770"))):
        left = 45 + i * 43
        command += ["-fill", fill, "-draw",
                    f"roundrectangle {left},{height - 20 - value} {left + 30},{height - 20} 4,4"]
    return _run(*command, "-depth", "8", "-strip", "-define", "png:exclude-chunks=date,time", "png:-")


def badge(letter, colours, size=128):
    """A PNG with transparency: a round badge, as used for a logo."""
    middle = size // 2
    return _run("convert", "-size", f"{size}x{size}", "xc:none",
                "-fill", colours[0], "-draw", f"circle {middle},{middle} {middle},4",
                "-fill", colours[1], "-draw", f"circle {middle},{middle} {middle},18",
                "-fill", colours[0], "-gravity", "center", "-pointsize", str(size // 2),
                "-annotate", "0", letter,
                "-depth", "8", "-strip", "-define", "png:exclude-chunks=date,time", "png:-")


def animation(size=96, frames=12):
    """An animated GIF: a ball that bounces."""
    command = ["convert", "-delay", "6", "-loop", "0"]
    for i in range(frames):
        t = i / frames
        y = size - 16 - (size - 36) * 4 * t * (1 - t)
        squash = 3 if i == 0 else 0
        command += ["(", "-size", f"{size}x{size}", "xc:#eceff4", "-fill", "#4c566a", "-draw",
                    f"rectangle 0,{size - 6} {size},{size}", "-fill", "#bf616a", "-draw",
                    f"ellipse {size // 2},{y:.1f} {11 + squash},{11 - squash} 0,360", ")"]
    return _run(*command, "-colors", "32", "-layers", "optimize", "gif:-")


DAWN = (("#35477d", "#f9b384"), ("#c06c84", "#8a5a83", "#6c5b7b", "#355c7d", "#22344f"),
        (350, 150, 24, "#fff1c9"))
LAKE = (("#3a7bd5", "#cfe9ff"), ("#9db8d2", "#6c93b0", "#4d7c6f", "#2f5d50", "#1c3d35"),
        (110, 60, 18, "#fffbe6"))
NIGHT = (("#0b1026", "#2b3a67"), ("#33406b", "#232f55", "#182140", "#0f162c"),
         (380, 70, 20, "#f4f1de"))
DESERT = (("#f6d365", "#fda085"), ("#e8a87c", "#d9825b", "#b85c38", "#7a3b25"),
          (240, 110, 30, "#fff6d5"))
WINTER = (("#8fa8c0", "#e9eff5"), ("#d5dfe8", "#bccbd9", "#f4f8fb", "#dfe8f0"),
          (90, 90, 16, "#ffffff"))


# Sounds -----------------------------------------------------------------------------------------

def melody(notes, rate=16000, length=0.22):
    """Plucked tones as 16-bit mono samples; a note is a number of half tones above A3."""
    samples = array.array("h")
    for note in notes:
        frequency = 220 * 2 ** (note / 12)
        for i in range(int(rate * length)):
            t = i / rate
            envelope = min(1, t * 200) * math.exp(-7 * t)
            tone = sum(math.sin(2 * math.pi * frequency * k * t) / k ** 1.7 for k in (1, 2, 3, 4))
            samples.append(int(17000 * envelope * tone))
    return samples


def wav(samples, rate=16000):
    out = io.BytesIO()
    with wave.open(out, "wb") as sound:
        sound.setnchannels(1)
        sound.setsampwidth(2)
        sound.setframerate(rate)
        sound.writeframes(samples.tobytes())
    return out.getvalue()


def encode(wav_bytes, suffix, *options, title=""):
    """The sound in another format; the same bytes for the same encoder each time."""
    with tempfile.TemporaryDirectory() as folder:
        source, target = Path(folder, "in.wav"), Path(folder, "out" + suffix)
        source.write_bytes(wav_bytes)
        _run("ffmpeg", "-v", "error", "-y", "-i", str(source), "-map_metadata", "-1",
             "-fflags", "+bitexact", "-flags:a", "+bitexact", "-metadata", f"title={title}",
             *options, str(target))
        return target.read_bytes()


def flac(samples, title):
    return encode(wav(samples), ".flac", title=title)


def mp3(samples, title):
    return encode(wav(samples), ".mp3", "-b:a", "48k", title=title)


def ogg(samples, title):
    return encode(wav(samples), ".ogg", "-c:a", "libvorbis", "-q:a", "1", title=title)


def voice(text, title):
    """A spoken memo, as Ogg Vorbis."""
    return encode(_run("espeak-ng", "-s", "165", "--stdout", text), ".ogg", "-ar", "16000",
                  "-c:a", "libvorbis", "-q:a", "0", title=title)


SCALE = (0, 2, 4, 5, 7, 9, 11, 12)
TUNE = (0, 4, 7, 12, 7, 4, 9, 5, 2, 0)
BELL = (12, 7, 9, 4, 5, 0)


# Documents --------------------------------------------------------------------------------------

def docx(title, paragraphs):
    """The smallest document that word processors open without a complaint."""
    def paragraph(text, style=""):
        properties = f'<w:pPr><w:pStyle w:val="{style}"/></w:pPr>' if style else ""
        return f'<w:p>{properties}<w:r><w:t xml:space="preserve">{text}</w:t></w:r></w:p>'

    head = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'
    package = "http://schemas.openxmlformats.org/package/2006"
    office = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
    word = "http://schemas.openxmlformats.org/wordprocessingml/2006/main"
    body = paragraph(title, "Title") + "".join(paragraph(text) for text in paragraphs)
    parts = {
        "[Content_Types].xml":
            f'<Types xmlns="{package}/content-types"><Default Extension="rels" ContentType='
            '"application/vnd.openxmlformats-package.relationships+xml"/><Override PartName='
            '"/word/document.xml" ContentType="application/vnd.openxmlformats-officedocument.'
            'wordprocessingml.document.main+xml"/></Types>',
        "_rels/.rels":
            f'<Relationships xmlns="{package}/relationships"><Relationship Id="rId1" Type='
            f'"{office}/officeDocument" Target="word/document.xml"/></Relationships>',
        "word/document.xml":
            f'<w:document xmlns:w="{word}"><w:body>{body}<w:sectPr/></w:body></w:document>',
    }
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, text in parts.items():
            entry = zipfile.ZipInfo(name, (2023, 5, 6, 7, 8, 10))
            entry.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(entry, head + text)
    return out.getvalue()


def pdf(lines):
    """One page of text with a cross-reference table that holds."""
    shown = "".join(f"({line}) Tj T* " for line in lines)
    stream = f"BT /F1 14 Tf 18 TL 72 760 Td {shown}ET".encode("latin-1")
    objects = [
        b"<< /Type /Catalog /Pages 2 0 R >>",
        b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Contents 4 0 R"
        b" /Resources << /Font << /F1 5 0 R >> >> >>",
        b"<< /Length %d >>\nstream\n%s\nendstream" % (len(stream), stream),
        b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>",
    ]
    out = b"%PDF-1.4\n"
    offsets = []
    for number, content in enumerate(objects, 1):
        offsets.append(len(out))
        out += b"%d 0 obj\n%s\nendobj\n" % (number, content)
    table = b"".join(b"%010d 00000 n \n" % offset for offset in offsets)
    return out + (b"xref\n0 %d\n0000000000 65535 f \n%strailer\n<< /Size %d /Root 1 0 R >>\n"
                  b"startxref\n%d\n%%%%EOF\n" % (len(objects) + 1, table, len(objects) + 1,
                                                 len(out)))


def rtf(title, paragraphs):
    text = "".join(r"\par " + p for p in paragraphs)
    return (r"{\rtf1\ansi\ansicpg1252\deff0{\fonttbl{\f0 Calibri;}}\f0\fs32\b " + title
            + r"\b0\fs22 " + text + "}").encode("cp1252")


def table(rows, seed):
    """A CSV of made-up household spendings."""
    rng = random.Random(seed)
    what = ("Rent", "Groceries", "Train", "Books", "Electricity", "Coffee", "Garden", "Gifts")
    lines = ["date,what,amount"]
    for row in range(rows):
        lines.append(f"2023-{1 + row % 12:02}-{1 + rng.randrange(28):02},{rng.choice(what)},"
                     f"{rng.uniform(2, 900):.2f}")
    return ("\r\n".join(lines) + "\r\n").encode()


WORDS = ("river stone window morning letter garden paper bridge winter candle orchard harbour "
         "silver quiet travel north cloud music bread summer lantern field story green").split()


def prose(seed, size):
    """Readable filler of exactly `size` bytes."""
    rng = random.Random(seed)
    lines = []
    length = 0
    while length < size:
        line = " ".join(rng.choice(WORDS) for _ in range(rng.randint(6, 12))).capitalize() + ".\n"
        lines.append(line)
        length += len(line)
    return "".join(lines).encode()[:size]


def ledger(name, size):
    """Numbered lines of 64 bytes: no two clusters are the same, and all compress well."""
    lines = (f"{name} entry {i:08}".ljust(63, ".") + "\n" for i in range(size // 64 + 1))
    return "".join(lines).encode()[:size]
