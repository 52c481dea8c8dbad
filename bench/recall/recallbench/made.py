"""Files made from a number: pictures by ImageMagick, sounds and films by ffmpeg, documents here.

The same number gives the same bytes with the same version of the tools.
"""

import bz2
import csv
import gzip
import io
import lzma
import random
import sqlite3
import struct
import subprocess
import tarfile
import tempfile
import zipfile
import zlib
from pathlib import Path

from .volume import ENVIRONMENT, FIRST_DAY

WORDS = ("harbour master boat summer jetty varnish letter winter ledger window lantern morning "
         "garden evening river bridge music paper silver storm island voyage market captain "
         "orchard meadow engine signal copper velvet thunder holiday picture kitchen").split()
DATE = (2023, 5, 17, 10, 30, 0)


def _tool(*command, feed=None):
    return subprocess.run([str(part) for part in command], input=feed, check=True, env=ENVIRONMENT,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE).stdout


# Text -------------------------------------------------------------------------------------------

def sentence(rng):
    words = rng.choices(WORDS, k=rng.randint(5, 14))
    return " ".join(words).capitalize() + "."


def prose(number, paragraphs=None):
    rng = random.Random(f"prose {number}")
    return "\n\n".join(" ".join(sentence(rng) for _ in range(rng.randint(3, 9)))
                       for _ in range(paragraphs or rng.randint(6, 60))) + "\n"


def txt(number):
    text = f"Notes, number {number}\n\n" + prose(number)
    return text.encode("utf-16" if number % 5 == 0 else "utf-8")


def html(number):
    body = "".join(f"<p>{paragraph}</p>\n" for paragraph in prose(number).split("\n\n"))
    return (f"<!DOCTYPE html>\n<html>\n<head><title>Page {number}</title></head>\n<body>\n"
            f"{body}</body>\n</html>\n").encode()


def xml(number):
    rng = random.Random(f"xml {number}")
    rows = "".join(f'  <entry id="{i}" price="{rng.randint(1, 9999)}">{sentence(rng)}</entry>\n'
                   for i in range(rng.randint(30, 400)))
    return f'<?xml version="1.0" encoding="UTF-8"?>\n<ledger>\n{rows}</ledger>\n'.encode()


def svg(number):
    rng = random.Random(f"svg {number}")
    shapes = "".join(f'  <circle cx="{rng.randint(0, 400)}" cy="{rng.randint(0, 300)}" '
                     f'r="{rng.randint(3, 60)}" fill="#{rng.randrange(1 << 24):06x}"/>\n'
                     for _ in range(rng.randint(30, 300)))
    return (f'<?xml version="1.0" encoding="UTF-8"?>\n<svg xmlns="http://www.w3.org/2000/svg" '
            f'width="400" height="300">\n{shapes}</svg>\n').encode()


def rtf(number):
    body = prose(number).replace("\n\n", "\\par\n")
    return ("{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0 Times New Roman;}}\n\\f0\\fs24 "
            + body + "}\n").encode("ascii")


def table(number):
    rng, out = random.Random(f"csv {number}"), io.StringIO()
    writer = csv.writer(out)
    writer.writerow(("date", "what", "amount"))
    for _ in range(rng.randint(60, 900)):
        writer.writerow((f"2023-{rng.randint(1, 12):02}-{rng.randint(1, 28):02}",
                         rng.choice(WORDS), rng.randint(1, 99999) / 100))
    return out.getvalue().encode()


def eml(number):
    return (f"From: anna{number}@example.org\r\nTo: ben@example.org\r\nSubject: Letter {number}\r\n"
            "Date: Wed, 17 May 2023 10:30:00 +0000\r\nMIME-Version: 1.0\r\n"
            "Content-Type: text/plain; charset=utf-8\r\n\r\n"
            + prose(number).replace("\n", "\r\n")).encode()


def vcf(number):
    rng = random.Random(f"vcf {number}")
    return "".join(
        "BEGIN:VCARD\r\nVERSION:3.0\r\n"
        f"N:{rng.choice(WORDS).title()};{rng.choice(WORDS).title()};;;\r\nFN:Contact {number}-{i}\r\nTEL;TYPE=CELL:+49{rng.randrange(10 ** 10):010}\r\n"
        "END:VCARD\r\n" for i in range(rng.randint(15, 120))).encode()


def ics(number):
    rng = random.Random(f"ics {number}")
    events = "".join(
        f"BEGIN:VEVENT\r\nUID:{number}-{i}@example.org\r\n"
        f"DTSTART:202305{rng.randint(10, 28)}T100000Z\r\nSUMMARY:{sentence(rng)}\r\nEND:VEVENT\r\n" for i in range(rng.randint(15, 90)))
    return ("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Recall//EN\r\n" + events
            + "END:VCALENDAR\r\n").encode()


# Documents and archives -------------------------------------------------------------------------

def _zip(members, stored=()):
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in members.items():
            info = zipfile.ZipInfo(name, DATE)
            info.compress_type = zipfile.ZIP_STORED if name in stored else zipfile.ZIP_DEFLATED
            archive.writestr(info, content)
    return out.getvalue()


def _paragraphs(number, before, after):
    return "".join(f"{before}{paragraph}{after}" for paragraph in prose(number).split("\n\n"))


def _office(number, main, kind, content, media):
    declared = (f'<Override PartName="/{main}" ContentType="application/vnd.openxmlformats-'
                f'officedocument.{kind}.main+xml"/>')
    picture = f"{main.split('/')[0]}/media/image1.jpeg"
    return _zip({
        "[Content_Types].xml":
            '<?xml version="1.0"?><Types xmlns="http://schemas.openxmlformats.org/package/2006/'
            'content-types"><Default Extension="xml" ContentType="application/xml"/>'
            f'<Default Extension="jpeg" ContentType="image/jpeg"/>{declared}</Types>',
        "_rels/.rels":
            '<?xml version="1.0"?><Relationships xmlns="http://schemas.openxmlformats.org/package/'
            f'2006/relationships"><Relationship Id="r1" Type="officeDocument" Target="{main}"/>'
            "</Relationships>",
        main: content,
        "docProps/core.xml": f"<coreProperties><title>Document {number}</title></coreProperties>",
        **({picture: jpg(10_000 + number, small=True)} if media else {}),
    }, stored={picture})


def docx(number):
    body = _paragraphs(number, "<w:p><w:r><w:t>", "</w:t></w:r></w:p>")
    return _office(number, "word/document.xml", "wordprocessingml.document",
                   f"<w:document><w:body>{body}</w:body></w:document>", number % 2)


def xlsx(number):
    rng = random.Random(f"xlsx {number}")
    rows = "".join(f'<row r="{r}">' + "".join(f"<c><v>{rng.randint(0, 10 ** 6)}</v></c>"
                                              for _ in range(8)) + "</row>"
                   for r in range(1, rng.randint(100, 700)))
    return _office(number, "xl/workbook.xml", "spreadsheetml.sheet",
                   f"<worksheet><sheetData>{rows}</sheetData></worksheet>", 0)


def pptx(number):
    return _office(number, "ppt/presentation.xml", "presentationml.presentation",
                   f"<p:presentation>{_paragraphs(number, '<a:t>', '</a:t>')}</p:presentation>", 1)


def _open_document(number, kind):
    return _zip({
        "mimetype": f"application/vnd.oasis.opendocument.{kind}",
        "content.xml": '<?xml version="1.0"?><office:document-content><office:body>'
                       + _paragraphs(number, "<text:p>", "</text:p>")
                       + "</office:body></office:document-content>",
        "meta.xml": f"<office:meta><dc:title>Document {number}</dc:title></office:meta>",
        "META-INF/manifest.xml": "<manifest:manifest/>",
    }, stored={"mimetype"})


def odt(number):
    return _open_document(number, "text")


def ods(number):
    return _open_document(number, "spreadsheet")


def epub(number):
    return _zip({"mimetype": "application/epub+zip",
                 "META-INF/container.xml": "<container/>",
                 "OEBPS/chapter.xhtml": html(number)}, stored={"mimetype"})


def archive(number):
    return _zip({f"letters/{i}.txt": prose(number * 100 + i) for i in range(2 + number % 5)}
                | {"picture.png": png(20_000 + number)})


def tar(number):
    out = io.BytesIO()
    with tarfile.open(fileobj=out, mode="w") as archive_:
        for i in range(3 + number % 4):
            content = txt(number * 100 + i)
            member = tarfile.TarInfo(f"letters/{i}.txt")
            member.size, member.mtime = len(content), FIRST_DAY
            archive_.addfile(member, io.BytesIO(content))
    return out.getvalue()


def gz(number):
    return gzip.compress(tar(300 + number), mtime=FIRST_DAY)


def bz(number):
    return bz2.compress(tar(400 + number))


def xz(number):
    return lzma.compress(tar(500 + number))


def sevenzip(number):
    with tempfile.TemporaryDirectory() as folder:
        Path(folder, "notes.txt").write_bytes(txt(600 + number))
        _tool("7z", "a", "-mtm=off", "-mmt=1", f"{folder}/out.7z", f"{folder}/notes.txt")
        return Path(folder, "out.7z").read_bytes()


def _compound(streams):
    """An OLE2 compound file of 512-byte sectors; streams of at least 4096 bytes, by name."""
    sector, end, free, is_fat, none = 512, 0xFFFFFFFE, 0xFFFFFFFF, 0xFFFFFFFD, 0xFFFFFFFF
    table, body, entries = [is_fat], b"", []

    def place(content):
        nonlocal body
        first, count = len(table), -(-len(content) // sector)
        body += content.ljust(count * sector, b"\0")
        table.extend([*range(first + 1, first + count), end])
        return first

    def entry(name, kind, child, right, first, size):
        text = name.encode("utf-16le")
        return struct.pack("<64sHBBIII16sIQQIQ", text, len(text) + 2, kind, 1, none, right, child,
                           bytes(16), 0, 0, 0, first, size)

    for index, (name, content) in enumerate(streams.items(), 1):
        right = index + 1 if index < len(streams) else none
        entries.append(entry(name, 2, none, right, place(content), len(content)))
    directory = place(b"".join([entry("Root Entry", 5, 1, none, end, 0), *entries]))
    header = struct.pack("<8s16sHHHHH6sIIIIIIIIII", b"\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1",
                         bytes(16), 0x3E, 3, 0xFFFE, 9, 6, bytes(6), 0, 1, directory, 0, 4096, end,
                         0, end, 0, 0)
    header += b"\xff\xff\xff\xff" * 108
    fat = struct.pack(f"<{len(table)}I", *table)
    if len(fat) > sector:
        raise ValueError("too large for one sector of FAT")
    return header + fat.ljust(sector, struct.pack("<B", 0xFF)) + body


def doc(number):
    rng = random.Random(f"doc {number}")
    text = prose(number, paragraphs=rng.randint(20, 40)).encode("cp1252")
    return _compound({"WordDocument": b"\xec\xa5\xc1\0" + text.ljust(4096, b" "),
                      "1Table": rng.randbytes(4200), "\5SummaryInformation": bytes(4096)})


def xls(number):
    rng = random.Random(f"xls {number}")
    return _compound({"Workbook": b"\x09\x08\x10\0" + rng.randbytes(rng.randint(5000, 30000))})


def mbox(number):
    return b"".join(b"From anna@example.org Wed May 17 10:30:00 2023\n"
                    + eml(number * 10 + 1000 + i).replace(b"\r\n", b"\n") + b"\n" for i in range(4))


def pdf(number):
    """Pages of compressed text, every second file with a photograph, a cross-reference table."""
    text = prose(number).split("\n\n")
    objects = [b"<< /Type /Catalog /Pages 2 0 R >>", b"",
               b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
               f"<< /Title (Document {number}) >>".encode()]
    pages = []
    for paragraph in text:
        drawn = zlib.compress(f"BT /F1 11 Tf 50 780 Td ({paragraph[:900]}) Tj ET".encode())
        objects.append(b"<< /Length %d /Filter /FlateDecode >>\nstream\n%s\nendstream"
                       % (len(drawn), drawn))
        objects.append(b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Contents %d 0 R "
                       b"/Resources << /Font << /F1 3 0 R >> >> >>" % len(objects))
        pages.append(len(objects))
    if number % 2:
        picture = jpg(30_000 + number, small=True)
        objects.append(b"<< /Type /XObject /Subtype /Image /Width 320 /Height 240 /BitsPerComponent"
                       b" 8 /ColorSpace /DeviceRGB /Filter /DCTDecode /Length %d >>\nstream\n%s\n"
                       b"endstream" % (len(picture), picture))
    objects[1] = (b"<< /Type /Pages /Count %d /Kids [%s] >>"
                  % (len(pages), b" ".join(b"%d 0 R" % page for page in pages)))
    out, places = bytearray(b"%PDF-1.5\n%\xe2\xe3\xcf\xd3\n"), []
    for index, content in enumerate(objects, 1):
        places.append(len(out))
        out += b"%d 0 obj\n%s\nendobj\n" % (index, content)
    table_at = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    out += b"".join(b"%010d 00000 n \n" % place for place in places)
    out += (b"trailer\n<< /Size %d /Root 1 0 R /Info 4 0 R >>\nstartxref\n%d\n%%%%EOF\n"
            % (len(objects) + 1, table_at))
    return bytes(out)


def sqlite(number):
    rng = random.Random(f"sqlite {number}")
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder, "base.sqlite")
        base = sqlite3.connect(path)
        base.execute("create table notes (id integer primary key, day text, note text)")
        base.executemany("insert into notes (day, note) values (?, ?)",
                         [(f"2023-05-{rng.randint(1, 28):02}", sentence(rng))
                          for _ in range(rng.randint(200, 2000))])
        base.commit()
        base.close()
        return path.read_bytes()


# Pictures ---------------------------------------------------------------------------------------

def _picture(number, kind, size, *options):
    rng = random.Random(f"colours {number}")
    colours = "-".join(f"#{rng.randrange(1 << 24):06x}" for _ in range(2))
    return _tool("convert", "-limit", "thread", "1", "-size", size, "-seed", 1 + number,
                 f"plasma:{colours}", *options, "-strip", "-define",
                 "png:exclude-chunks=date,time", f"{kind}:-")


def _exif(number, thumbnail):
    """An EXIF segment with a camera, a date and a thumbnail, as cameras write it."""
    maker, day = b"ORCHARD\0", b"2023:05:%02d 10:30:%02d\0" % (1 + number % 28, number % 60)
    first_at, entries = 8, 2
    second_at = first_at + 2 + 12 * entries + 4
    values_at = second_at + 2 + 12 * 3 + 4
    maker_at, day_at = values_at, values_at + len(maker)
    thumbnail_at = day_at + len(day)
    entry = struct.Struct("<HHII").pack
    tiff = (b"II*\0" + struct.pack("<I", first_at)
            + struct.pack("<H", entries) + entry(0x010F, 2, len(maker), maker_at)
            + entry(0x0132, 2, len(day), day_at) + struct.pack("<I", second_at)
            + struct.pack("<H", 3) + entry(0x0103, 3, 1, 6)
            + entry(0x0201, 4, 1, thumbnail_at) + entry(0x0202, 4, 1, len(thumbnail))
            + struct.pack("<I", 0) + maker + day + thumbnail)
    content = b"Exif\0\0" + tiff
    return b"\xff\xe1" + struct.pack(">H", 2 + len(content)) + content


def jpg(number, small=False):
    rng = random.Random(f"jpg {number}")
    size = "320x240" if small else rng.choice(("640x480", "800x600", "1024x768", "1280x960"))
    options = ["-attenuate", "0.15", "+noise", "Gaussian", "-sampling-factor", "4:2:0",
               "-quality", rng.choice((70, 82, 90))]
    if number % 6 == 5:
        options += ["-interlace", "JPEG"]
    if number % 9 == 7:
        options += ["-define", "jpeg:restart-interval=8"]
    picture = _picture(number, "jpg", size, *options)
    if small or number % 2:
        return picture
    thumbnail = _tool("convert", "jpg:-", "-resize", "160x120", "-strip", "-quality", 75, "jpg:-",
                      feed=picture)
    return picture[:2] + _exif(number, thumbnail) + picture[2:]


def png(number):
    size = ("120x90", "320x240", "500x380")[number % 3]
    return _picture(number, "png", size, "-depth", 8)


def gif(number):
    if number % 3:
        return _picture(number, "gif", "240x180", "-colors", 64)
    return _tool("convert", "-limit", "thread", "1", "-delay", 10, "-loop", 0, "-size", "96x72",
                 *(part for i in range(6) for part in ("-seed", 1 + number * 10 + i,
                                                       "plasma:fractal")), "-colors", 64, "gif:-")


def bmp(number):
    return _picture(number, "bmp", ("160x120", "201x150")[number % 2])


def tif(number):
    return _picture(number, "tif", "240x180", "-compress", ("None", "LZW", "Zip")[number % 3])


def webp(number):
    return _picture(number, "webp", "480x360", "-quality", 80)


def psd(number):
    return _picture(number, "psd", "160x120")


def avif(number):
    with tempfile.TemporaryDirectory() as folder:
        _tool("ffmpeg", "-v", "error", "-f", "lavfi", "-i",
              f"testsrc2=size=320x240,noise=alls=20:all_seed={number + 1}", "-frames:v", 1, "-c:v",
              "libaom-av1", "-cpu-used", 8, "-still-picture", 1, "-threads", 1, "-fflags",
              "+bitexact", f"{folder}/out.avif")
        return Path(folder, "out.avif").read_bytes()


def heic(number):
    return _picture(number, "heic", "320x240")


def _raw(number, maker, mark=b""):
    """A camera's raw file: a TIFF with a preview, and the sensor's data in a directory of its own.
    """
    rng = random.Random(f"raw {number}")
    preview, sensor = jpg(40_000 + number, small=True), rng.randbytes(rng.randint(90_000, 300_000))
    first_at = 8 + len(mark)
    second_at = first_at + 2 + 12 * 6 + 4
    maker_at = second_at + 2 + 12 * 6 + 4
    preview_at = maker_at + len(maker)
    sensor_at = preview_at + len(preview)
    entry = struct.Struct("<HHII").pack
    first = [entry(0x0100, 4, 1, 320), entry(0x0101, 4, 1, 240), entry(0x0103, 3, 1, 6),
             entry(0x010F, 2, len(maker), maker_at), entry(0x0111, 4, 1, preview_at),
             entry(0x0117, 4, 1, len(preview))]
    second = [entry(0x0100, 4, 1, 640), entry(0x0101, 4, 1, 480), entry(0x0103, 3, 1, 1),
              entry(0x0106, 3, 1, 32803), entry(0x0111, 4, 1, sensor_at),
              entry(0x0117, 4, 1, len(sensor))]
    return (b"II*\0" + struct.pack("<I", first_at) + mark
            + struct.pack("<H", 6) + b"".join(first) + struct.pack("<I", second_at)
            + struct.pack("<H", 6) + b"".join(second) + struct.pack("<I", 0)
            + maker + preview + sensor)


def nef(number):
    return _raw(number, b"ORCHARD\0")


def cr2(number):
    return _raw(100 + number, b"CANYON\0", mark=b"CR\2\0\0\0\0\0")


def photos(count):
    """Many small photographs at once, all different."""
    with tempfile.TemporaryDirectory() as folder:
        _tool("ffmpeg", "-v", "error", "-f", "lavfi", "-i",
              "testsrc2=size=192x144:rate=25,hue=h=n*7,noise=alls=12:all_seed=7", "-frames:v",
              count, "-threads", 1, "-flags", "+bitexact", "-q:v", 6, f"{folder}/%05d.jpg")
        return [path.read_bytes() for path in sorted(Path(folder).iterdir())]


# Sounds and films -------------------------------------------------------------------------------

# suffix: (format, streams, options)
RECORDINGS = {
    "mp3": ("mp3", "a", ("-c:a", "libmp3lame", "-b:a", "96k", "-metadata", "title=Song {n}")),
    "wav": ("wav", "a", ("-ar", "11025")),
    "flac": ("flac", "a", ("-ar", "16000")),
    "ogg": ("ogg", "a", ("-c:a", "libvorbis")),
    "opus": ("opus", "a", ("-c:a", "libopus", "-b:a", "48k")),
    "m4a": ("ipod", "a", ("-c:a", "aac", "-b:a", "64k")),
    "aac": ("adts", "a", ("-c:a", "aac", "-b:a", "64k")),
    "aiff": ("aiff", "a", ("-ar", "11025")),
    "wma": ("asf", "a", ("-c:a", "wmav2", "-b:a", "64k")),
    "mp4": ("mp4", "va", ("-c:v", "mpeg4", "-c:a", "aac")),
    "mov": ("mov", "va", ("-c:v", "mjpeg", "-q:v", "8", "-c:a", "pcm_s16le")),
    "3gp": ("3gp", "v", ("-c:v", "h263", "-s", "176x144")),
    "mkv": ("matroska", "va", ("-c:v", "mpeg4", "-c:a", "libvorbis")),
    "webm": ("webm", "va", ("-c:v", "libvpx", "-deadline", "realtime", "-c:a", "libvorbis")),
    "avi": ("avi", "va", ("-c:v", "mjpeg", "-q:v", "8", "-c:a", "pcm_s16le")),
    "wmv": ("asf", "va", ("-c:v", "wmv2", "-c:a", "wmav2")),
    "flv": ("flv", "va", ("-c:v", "flv", "-c:a", "libmp3lame", "-ar", "22050")),
    "mpg": ("mpeg", "va", ("-c:v", "mpeg2video", "-r", "25", "-c:a", "mp2")),
    "ts": ("mpegts", "va", ("-c:v", "mpeg2video", "-r", "25", "-c:a", "mp2")),
}


def recording(suffix, number):
    container, streams, options = RECORDINGS[suffix]
    length = 2 + number % 4
    command = ["ffmpeg", "-v", "error", "-y"]
    if "v" in streams:
        command += ["-f", "lavfi", "-i", f"testsrc2=size=320x240:rate=12,noise=alls=8:all_seed="
                                         f"{number + 1}"]
    if "a" in streams:
        command += ["-f", "lavfi", "-i",
                    f"sine=frequency={200 + 13 * number},aeval=val(0)*0.5+0.05*random({number})"]
    with tempfile.TemporaryDirectory() as folder:
        out = f"{folder}/out.{suffix}"
        if suffix in ("mp4", "m4a") and number % 2:
            options = (*options, "-movflags", "+faststart")
        _tool(*command, "-t", length, "-threads", 1, "-fflags", "+bitexact", "-flags:v",
              "+bitexact", "-flags:a", "+bitexact", *(o.format(n=number) for o in options), "-f",
              container, out)
        return Path(out).read_bytes()


def midi(number):
    rng = random.Random(f"midi {number}")
    events = b"".join(bytes((0x30, 0x90, note, 80, 0x30, 0x80, note, 0))
                      for note in (rng.randint(40, 90) for _ in range(rng.randint(200, 600))))
    track = b"\0\xff\x51\x03\x07\xa1\x20" + events + b"\0\xff\x2f\0"
    return (b"MThd" + struct.pack(">IHHH", 6, 0, 1, 96) + b"MTrk" + struct.pack(">I", len(track))
            + track)


MADE = {"txt": txt, "html": html, "xml": xml, "svg": svg, "rtf": rtf, "csv": table, "eml": eml,
        "vcf": vcf, "ics": ics, "docx": docx, "xlsx": xlsx, "pptx": pptx, "odt": odt, "ods": ods,
        "epub": epub, "zip": archive, "tar": tar, "tar.gz": gz, "tar.bz2": bz, "tar.xz": xz,
        "7z": sevenzip, "pdf": pdf, "sqlite": sqlite, "jpg": jpg, "png": png, "gif": gif,
        "bmp": bmp, "tif": tif, "webp": webp, "psd": psd, "avif": avif,
        "heic": heic, "nef": nef, "cr2": cr2, "doc": doc, "xls": xls, "mbox": mbox, "mid": midi}


def make(kind, number):
    """The content of the file of this kind with this number."""
    return MADE[kind](number) if kind in MADE else recording(kind, number)
