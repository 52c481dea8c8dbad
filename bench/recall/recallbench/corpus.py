"""The files that the volumes hold: of many kinds, all different, the same each time.

Most are made (see made.py); some are taken from what Debian's packages have installed, as made
files all come from the same few encoders. They are made once and kept in a folder.
"""

import hashlib
import json
import random
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from . import made
from .volume import CannotMake, File, md5

# How many of each kind stand in the corpus, which serves them evenly mixed.
COUNTS = {"jpg": 66, "png": 14, "gif": 10, "bmp": 6, "tif": 6, "webp": 8, "psd": 3, "svg": 4,
          "avif": 3, "heic": 4, "nef": 3, "cr2": 3, "doc": 7, "xls": 4, "mbox": 2,
          "docx": 16, "xlsx": 10, "pptx": 4, "odt": 8, "ods": 3, "epub": 3, "pdf": 20, "rtf": 5,
          "txt": 16, "html": 8, "xml": 6, "csv": 6, "eml": 4, "vcf": 3, "ics": 3,
          "zip": 8, "tar": 4, "tar.gz": 5, "tar.bz2": 4, "tar.xz": 4, "7z": 3, "sqlite": 7,
          "mp3": 12, "wav": 7, "flac": 5, "ogg": 5, "opus": 2, "m4a": 4, "aac": 2, "aiff": 2,
          "wma": 2, "mid": 4, "mp4": 8, "mov": 4, "3gp": 2, "mkv": 4, "webm": 3, "avi": 4, "wmv": 2,
          "flv": 2, "mpg": 2, "ts": 2}
# Kinds that need no other program, and how many of each stand in the quick corpus.
QUICK_KINDS = ("txt", "html", "xml", "svg", "rtf", "csv", "eml", "vcf", "ics", "xlsx", "odt", "ods",
               "epub", "tar", "tar.gz", "tar.bz2", "tar.xz", "sqlite", "doc", "xls", "mbox", "mid")
QUICK_COUNT = 20
# What packages have: suffix, how many, and what such a file begins with.
INSTALLED = {"html": (8, b"<"), "xml": (6, b"<?xml"), "txt": (6, b""), "png": (10, b"\x89PNG"),
             "gif": (4, b"GIF8"), "jpg": (4, b"\xff\xd8"), "svg": (4, b"<"), "pdf": (3, b"%PDF"),
             "gz": (6, b"\x1f\x8b"), "so": (6, b"\x7fELF"), "jar": (3, b"PK\3\4"),
             "zip": (2, b"PK\3\4"), "exe": (2, b"MZ"), "dll": (2, b"MZ")}
INSTALLED_BELOW = ("/usr/share", "/usr/lib")
SMALLEST, LARGEST = 1200, 900_000  # a smaller file would lie in its NTFS record
FOLDERS = {
    "pictures": (("Pictures/Holiday 2023", "Pictures/Holiday 2023/At the lake", "Pictures",
                  "DCIM/100ORCHD", "Pictures/Größer und älter"),
                 ("jpg", "png", "gif", "bmp", "tif", "webp", "psd", "svg",
                  "avif", "heic", "nef", "cr2")),
    "documents": (("Documents", "Documents/Letters", "Documents/Taxes/2022",
                   "Documents/Taxes/2023"),
                  ("docx", "xlsx", "pptx", "odt", "ods", "epub", "pdf", "rtf", "txt", "html", "csv",
                   "eml", "vcf", "ics", "doc", "xls", "mbox")),
    "sounds": (("Music", "Music/Album (live)", "Music/Memos"),
               ("mp3", "wav", "flac", "ogg", "opus", "m4a", "aac", "aiff", "wma", "mid")),
    "videos": (("Videos", "Videos/Birthday", "DCIM/100ORCHD"),
               ("mp4", "mov", "3gp", "mkv", "webm", "avi", "wmv", "flv", "mpg", "ts")),
    "other": (("Backup", "Backup/Old computer", "Projects/Boat", "Projects"), ()),
}
CAMERA_FOLDER = "DCIM/100ORCHD"
STEMS = {"pictures": ("Sunset", "Portrait", "Scan", "Lake"), "documents": ("Letter", "Invoice",
         "Minutes", "Über uns"), "sounds": ("Track", "Voice memo", "Song"),
         "videos": ("Clip", "Film"), "other": ("copy", "data", "old state", "export")}
VERSION_OF = ("corpus.py", "made.py")


class Corpus:
    """The files, in a folder that is filled at the first use. A quick corpus has the kinds only
    that need no other program to be made."""

    def __init__(self, folder, quick=False):
        here = Path(__file__).parent
        version = hashlib.md5(b"".join((here / name).read_bytes() for name in VERSION_OF))
        self._folder = folder / f"{'quick' if quick else 'corpus'}-{version.hexdigest()[:12]}"
        self._counts = dict.fromkeys(QUICK_KINDS, QUICK_COUNT) if quick else COUNTS
        self._quick = quick
        self._pool = None

    def files(self, count, start=0, kinds=None, least=0):
        """`count` files from number `start` on; only of some kinds, or of at least some bytes."""
        fitting = [file for file in self._files() if (kinds is None or file.kind in kinds)
                   and len(file.content) >= least]
        if start + count > len(fitting):
            raise CannotMake(f"the corpus has {len(fitting)} such files, not {start + count}")
        return fitting[start:start + count]

    def tiny(self, count):
        """Files that NTFS keeps in their records."""
        return [File(f"Documents/Letters/Slip {n}.txt", made.sentence(random.Random(n)).encode(),
                     "txt") for n in range(count)]

    def photos(self, count):
        return [File(f"DCIM/{100 + n // 1000}ORCHD/Photo {n:05}.jpg", content, "jpg")
                for n, content in enumerate(made.photos(count))]

    def _files(self):
        if self._pool is None:
            index = self._folder / "index.json"
            if not index.exists():
                self._make(index)
            entries = json.loads(index.read_text())
            self._pool = [File(entry["path"], (self._folder / entry["md5"]).read_bytes(),
                               entry["kind"]) for entry in entries]
        return self._pool

    def _make(self, index):
        self._folder.mkdir(parents=True, exist_ok=True)
        plan = [(kind, number) for kind, count in self._counts.items() for number in range(count)]
        with ThreadPoolExecutor() as pool:
            contents = list(pool.map(lambda item: made.make(*item), plan))
        found = [(kind, content) for (kind, _), content in zip(plan, contents)]
        if not self._quick:
            found += installed()
        unique = list({md5(content): (kind, content) for kind, content in found
                       if SMALLEST <= len(content)}.values())
        rng = random.Random(1)
        rng.shuffle(unique)
        entries = []
        for number, (kind, content) in enumerate(unique):
            name = md5(content)
            (self._folder / name).write_bytes(content)
            entries.append({"path": path_for(rng, kind, number), "kind": kind, "md5": name})
        index.write_text(json.dumps(entries))


def path_for(rng, kind, number):
    family = next((name for name, (_, kinds) in FOLDERS.items() if kind in kinds), "other")
    folder = rng.choice(FOLDERS[family][0])
    if folder == CAMERA_FOLDER:
        return f"{folder}/IMG_{number:04}.{kind.upper()[:3]}"
    return f"{folder}/{rng.choice(STEMS[family])} {number}.{kind}"


def installed():
    """(kind, content) of files that packages have installed: always the same on one system."""
    by_suffix = {suffix: [] for suffix in INSTALLED}
    for folder in INSTALLED_BELOW:
        for path in sorted(Path(folder).rglob("*")):
            suffix = path.suffix[1:]
            if suffix in by_suffix and path.is_file() and not path.is_symlink() \
                    and SMALLEST <= path.stat().st_size <= LARGEST:
                by_suffix[suffix].append(path)
    found = []
    for suffix, (count, beginning) in INSTALLED.items():
        paths = by_suffix[suffix]
        random.Random(suffix).shuffle(paths)
        fitting = (content for content in map(Path.read_bytes, paths)
                   if content.startswith(beginning))
        found += [(suffix, content) for content, _ in zip(fitting, range(count))]
    return found
