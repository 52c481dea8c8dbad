"""The NTFS sample: made by mkntfs, filled and emptied through an ntfs-3g mount.

ntfs-3g deletes as Windows does in all that matters here: it takes the name out of the folder's
index, clears the in-use flag and the bits of the record and of the clusters, and leaves the
record's attributes and the clusters alone. Where Windows does otherwise, `finish_as_windows_does`
makes the difference good.
"""

import os
import struct
import subprocess
from contextlib import contextmanager

from . import content as c
from .entry import FAILS, FULL, NOT_LISTED, ORPHANS, OTHER_CONTENT, Entry, require
from .ntfs import DIRECTORY, IN_USE, NtfsImage

IMAGE_BYTES = 10 << 20
CLUSTER = 4096
SERIAL = bytes.fromhex("4f5256414e450001")
COMPRESSED = 0x800
FILETIME_OF_1970 = 116444736000000000

# The first folders and files to be made, so that their records are the lowest free ones later.
LOST_TO_FILE, LOST_TO_DELETED_FILE, LOST_TO_FOLDER = "Old projects", "Camera roll 2019", "Scans"
LOST_RECORD, LOST_RECORD_TOO = "Downloads/setup.log", "Downloads/setup (1).log"
BEGUN_WITH = (LOST_TO_FILE, LOST_TO_DELETED_FILE, LOST_TO_FOLDER, LOST_RECORD, LOST_RECORD_TOO)
NEW_FILE, NEW_DELETED_FILE, NEW_FOLDER = "Shopping list.txt", "Draft.txt", "New folder"

OVERWRITTEN, OVERWRITER = "Downloads/Old backup.dat", "Downloads/New backup.dat"
SAME_NAME, NEWER = "Documents/Notes.txt", "Documents/Notes (new).txt"
HALF_DELETED = "Stick backup/Contacts.csv"
SPARSE, ONLY_HOLE = "Special/sparse.bin", "Special/only a hole.bin"
FRAGMENTED, FRAGMENTED_TOO = "Special/server.log", "Special/other.log"
MANY_PIECES, PIECES = "Special/many pieces.db", 350
COMPRESSED_FOLDER = "Special/Compressed"
ISLANDS = ((0, 5000), (1 << 20, 4096), ((3 << 20) - 700, 700))


def sparse_content():
    whole = bytearray(3 << 20)
    for number, (at, length) in enumerate(ISLANDS):
        whole[at:at + length] = c.ledger(f"island {number}", length)
    return bytes(whole)


def plan():
    """All files, in the order in which they are made."""
    long_ascii = "A name as long as a name can be " + "abcdefghij " * 19
    long_ascii = long_ascii[:251].rstrip() + "x" * (251 - len(long_ascii[:251].rstrip())) + ".txt"
    long_cjk = "とても長い名前の写真" * 20 + ".txt"
    return [
        Entry(f"{LOST_TO_FILE}/Boat plan.txt", c.prose(1, 5200), ("orphan",),
              shown_as=f"{ORPHANS}/Boat plan.txt",
              why="its folder's record is a live file's now"),
        Entry(f"{LOST_TO_FILE}/Sail.png", c.badge("S", ("#2e3440", "#88c0d0")), ("orphan", "png"),
              shown_as=f"{ORPHANS}/Sail.png", why="its folder's record is a live file's now"),
        Entry(f"{LOST_TO_DELETED_FILE}/IMG_0107.JPG", c.landscape(7, *c.LAKE), ("orphan", "jpeg"),
              shown_as=f"{ORPHANS}/IMG_0107.JPG", dos_name="IMG_0107.JPG",
              why="its folder's record was taken by a file that is deleted itself"),
        Entry(f"{LOST_TO_DELETED_FILE}/IMG_0108.JPG", c.landscape(8, *c.WINTER), ("orphan", "jpeg"),
              shown_as=f"{ORPHANS}/IMG_0108.JPG",
              why="its folder's record was taken by a file that is deleted itself"),
        Entry(f"{LOST_TO_FOLDER}/Receipt.pdf", c.pdf(["Receipt", "Two oars", "48.00"]),
              ("folder reused",), shown_as=f"{ORPHANS}/Receipt.pdf",
              why="its folder's record is another folder's now"),
        Entry(LOST_RECORD, c.prose(2, 300), ("record reused",), recovery=NOT_LISTED,
              why="its record is another file's now"),
        Entry(LOST_RECORD_TOO, c.prose(23, 400), ("record reused",), recovery=NOT_LISTED,
              why="its record is another file's now"),

        Entry("Documents/Address list.csv", c.table(12, 3), live=True, recovery=NOT_LISTED,
              dos_name="ADDRES~1.CSV"),
        Entry("Documents/Letter.docx",
              c.docx("A letter", ["Dear harbour master,", "the boat is ready for the summer.",
                                  "With kind regards"]), ("document",), dos_name="LETTER~1.DOC"),
        Entry("Documents/Invoice.pdf", c.pdf(["Invoice 2023-117", "Varnish, 3 cans", "71.40"]),
              ("document",), dos_name="INVOICE.PDF"),
        Entry("Documents/Minutes of the meeting.rtf",
              c.rtf("Minutes", ["Present: all.", "The jetty will be repaired."]), ("document",),
              dos_name="MINUTE~1.RTF"),
        Entry("Documents/Spendings.csv", c.table(160, 4), ("document",), dos_name="SPENDI~1.CSV"),
        Entry("Documents/Page.html",
              b"<!doctype html><title>Jetty</title><p>The jetty opens in <b>May</b>.</p>\n",
              ("document", "resident"), dos_name="PAGE~1.HTM"),
        Entry(SAME_NAME, c.prose(5, 900), ("text", "same name"), day=1),
        Entry(NEWER, c.prose(6, 2100), ("text", "same name"), day=2, shown_as=SAME_NAME),
        Entry("Documents/UTF-16.txt", "Grüße, 世界!\r\n".encode("utf-16"), ("text", "resident")),

        Entry("Pictures/Lake.jpg", c.landscape(2, *c.LAKE), ("jpeg",), live=True,
              recovery=NOT_LISTED, dos_name="LAKE.JPG"),
        Entry("Pictures/Dawn.jpg", c.landscape(1, *c.DAWN), ("jpeg", "alternate stream"),
              dos_name="DAWN.JPG"),
        Entry("Pictures/Badge.png", c.badge("O", ("#3b4252", "#ebcb8b")), ("png",),
              dos_name="BADGE.PNG"),
        Entry("Pictures/Ball.gif", c.animation(), ("gif",), dos_name="BALL.GIF"),
        Entry("Pictures/Holiday 2023/Night at the lake.jpg", c.landscape(3, *c.NIGHT), ("jpeg",),
              dos_name="NIGHTA~1.JPG"),
        Entry("Pictures/Holiday 2023/Desert.jpeg", c.landscape(4, *c.DESERT), ("jpeg",),
              dos_name="DESERT~1.JPE"),
        Entry("Pictures/Holiday 2023/Chart.png", c.chart(), ("png",)),

        Entry("Music/Scale.wav", c.wav(c.melody(c.SCALE, 8000), 8000), ("wav",),
              dos_name="SCALE.WAV"),
        Entry("Music/Tune.flac", c.flac(c.melody(c.TUNE), "Tune"), ("flac",)),
        Entry("Music/Bell.mp3", c.mp3(c.melody(c.BELL), "Bell"), ("mp3",), dos_name="BELL.MP3"),
        Entry("Music/Tune.ogg", c.ogg(c.melody(c.TUNE), "Tune"), ("ogg",)),
        Entry("Music/Memos/Voice memo.ogg",
              c.voice("Remember to call the harbour office on Monday.", "Voice memo"), ("ogg",)),

        Entry(HALF_DELETED, c.table(30, 8), ("marked in use",),
              why="deletion stopped between the bitmap and the record: shown as existing"),
        Entry("Stick backup/Diary.txt", c.prose(9, 7000), ("text",)),
        Entry("Stick backup/Empty folder/.keep", b"", ("empty",)),

        Entry("Names/Größe und Maß.txt", c.prose(10, 700), ("name",)),
        Entry("Names/Élève à l'école.txt", c.prose(11, 1500), ("name",), dos_name="LVE~1.TXT"),
        Entry("Names/Cafe\u0301.txt", c.prose(12, 120), ("name",)),
        Entry("Names/日本語のノート.txt", c.prose(13, 4600), ("name",)),
        Entry("Names/写真/桜.jpg", c.landscape(9, *c.DAWN, size=(320, 212)), ("name", "jpeg")),
        Entry("Names/🎉 Party 🥳.txt", c.prose(14, 333), ("name",)),
        Entry("Names/Что делать.txt", c.prose(15, 1200), ("name",)),
        Entry(f"Names/{long_ascii}", c.prose(16, 800), ("name", "long name")),
        Entry(f"Names/{long_cjk}", c.prose(17, 800), ("name", "long name")),
        Entry("Names/What now?.txt", c.prose(18, 90), ("name",)),
        Entry("Names/Two\nlines.txt", c.prose(19, 90), ("name",)),
        Entry("Names/Invoice \u202efdp.exe", c.prose(20, 90), ("name",)),

        Entry("Special/empty.dat", b"", ("empty",)),
        Entry("Special/tiny.txt", b"!", ("resident",)),
        Entry("Special/resident.txt", c.prose(21, 600), ("resident",)),
        Entry("Special/two bytes.txt", b"ok", ("resident",)),
        # Lies at the start of what will be the longest free run, where new clusters come from.
        Entry(OVERWRITTEN, c.ledger("old backup", 60_000), ("overwritten",),
              recovery=OTHER_CONTENT, why="a newer file was written over its clusters"),
        Entry("Special/one cluster.bin", c.ledger("one", CLUSTER), ()),
        Entry("Special/one byte more.bin", c.ledger("more", CLUSTER + 1), ()),
        Entry(SPARSE, sparse_content(), ("sparse",)),
        Entry(ONLY_HOLE, bytes(200_000), ("sparse",)),
        Entry(FRAGMENTED, c.ledger("server", 40 * CLUSTER - 100), ("fragmented",)),
        Entry(FRAGMENTED_TOO, c.ledger("other", 40 * CLUSTER - 300), ("fragmented",), live=True,
              recovery=NOT_LISTED),
        Entry(MANY_PIECES, c.ledger("pieces", PIECES * CLUSTER - 7),
              ("fragmented", "attribute list")),
        Entry(f"{COMPRESSED_FOLDER}/compressed.txt", c.prose(22, 90_000), ("compressed",)),
    ]


DELETED_FOLDERS = (LOST_TO_FILE, LOST_TO_DELETED_FILE, LOST_TO_FOLDER, "Pictures/Holiday 2023",
                   "Music/Memos", "Music", "Stick backup/Empty folder", "Stick backup",
                   "Names/写真", "Names")
FOLDER_DOS_NAMES = {"Documents": "DOCUME~1", "Pictures": "PICTURES",
                    "Pictures/Holiday 2023": "HOLIDA~1", "Music": "MUSIC"}


@contextmanager
def mounted(image, folder):
    """The volume, mounted through FUSE; written back and free again when the block ends."""
    subprocess.run(["ntfs-3g", "-o", "compression,streams_interface=xattr", image, folder],
                   check=True)
    try:
        yield folder
    finally:
        subprocess.run(["umount", folder], check=True)


def set_times(path, entry):
    """Created two hours before it was last written, read an hour after."""
    written = entry.modified() * 10_000_000 + FILETIME_OF_1970
    hour = 3600 * 10_000_000
    os.setxattr(path, "system.ntfs_times_be",
                struct.pack(">4Q", written - 2 * hour, written, written + hour, written))


def write_interleaved(*files):
    """Files that grow by one cluster in turn, each time reopened: none lies in one piece."""
    for at in range(0, max(len(content) for _, content in files), CLUSTER):
        for path, content in files:
            with open(path, "ab", buffering=0) as out:
                out.write(content[at:at + CLUSTER])


def write_at(path, content, ranges):
    """Writes some ranges (offset, length) of the content; what is never written stays a hole."""
    with open(path, "r+b" if path.exists() else "wb", buffering=0) as out:
        for at, length in ranges:
            out.seek(at)
            out.write(content[at:at + length])


def write_in_pieces(root, path, content):
    """A file none of whose clusters follow each other, on an empty volume: it is written with
    holes, the holes' clusters are taken by a file that fills the volume, and the rest is written
    where a third file has made room."""
    room, filler = root / "room.tmp", root / "filler.tmp"
    room.write_bytes(bytes(PIECES // 2 * CLUSTER))
    write_at(path, content, [(i * CLUSTER, CLUSTER) for i in range(0, PIECES, 2)])
    try:
        with open(filler, "wb", buffering=0) as out:
            while True:
                out.write(bytes(CLUSTER))
    except OSError:  # the volume is full
        pass
    room.unlink()
    write_at(path, content, [(i * CLUSTER, CLUSTER) for i in range(1, PIECES, 2)])
    filler.unlink()


def make_folder(root, folder):
    for part in [*reversed(folder.parents), folder]:
        path = root / part
        if path.exists():
            continue
        path.mkdir()
        name = str(part)
        if name in FOLDER_DOS_NAMES:
            os.setxattr(path, "system.ntfs_dos_name", FOLDER_DOS_NAMES[name].encode())
        if name == COMPRESSED_FOLDER:
            os.setxattr(path, "system.ntfs_attrib_be", struct.pack(">I", COMPRESSED | 0x10))


def begin(root, entries):
    """What must come first, for its low record numbers or for an empty volume."""
    for path in (*BEGUN_WITH, MANY_PIECES):
        entry = next((e for e in entries if e.path == path), None)
        if not entry:
            (root / path).mkdir()
            continue
        make_folder(root, (root / path).parent.relative_to(root))
        if path == MANY_PIECES:
            write_in_pieces(root, root / path, entry.content)
        else:
            (root / path).write_bytes(entry.content)


def populate(root, entries):
    """Makes the other files, also those that are to be deleted later."""
    by_path = {entry.path: entry for entry in entries}
    for entry in entries:
        path = root / entry.path
        make_folder(root, path.parent.relative_to(root))
        if entry.path == SPARSE:
            write_at(path, entry.content, ISLANDS)
        elif entry.path == ONLY_HOLE:
            path.touch()
            os.truncate(path, len(entry.content))
        elif entry.path == FRAGMENTED:
            other = by_path[FRAGMENTED_TOO]
            write_interleaved((path, entry.content), (root / other.path, other.content))
        elif entry.path not in (*BEGUN_WITH, FRAGMENTED_TOO, MANY_PIECES):
            path.write_bytes(entry.content)
        if entry.dos_name:
            os.setxattr(path, "system.ntfs_dos_name", entry.dos_name.encode())
        if "alternate stream" in entry.kinds:
            os.setxattr(path, "user.Zone.Identifier", b"[ZoneTransfer]\r\nZoneId=3\r\n")
    for entry in entries:
        set_times(root / entry.path, entry)
        entry.id = (root / entry.path).stat().st_ino


def delete(root, entries):
    """Deletes all that is not live; an editor's way of saving gives one file another's name."""
    for entry in entries:
        if entry.path == NEWER:
            (root / NEWER).rename(root / SAME_NAME)
            (root / SAME_NAME).unlink()
        elif not entry.live:
            (root / entry.path).unlink()
    for folder in DELETED_FOLDERS:
        set_times(root / folder, Entry(folder, b"", day=3))
        (root / folder).rmdir()


def reuse(root, records):
    """New files and folders, which take the records of deleted ones, lowest first."""
    new = [Entry(NEW_FILE, b"bread, tea, varnish\n", ("resident",), live=True, recovery=NOT_LISTED),
           Entry(NEW_DELETED_FILE, b"Dear Sir,\n", ("resident", "took a folder's record")),
           Entry("Downloads/New setup.log", b"all is well\n", live=True, recovery=NOT_LISTED),
           Entry(OVERWRITER, c.ledger("new backup", 50_000), live=True, recovery=NOT_LISTED)]
    takers = [new[0].path, new[1].path, NEW_FOLDER, new[2].path, new[3].path]
    content = {entry.path: entry.content for entry in new}
    for lost, taker in zip(BEGUN_WITH, takers):
        path = root / taker
        if taker in content:
            path.write_bytes(content[taker])
        else:
            path.mkdir()
        require(path.stat().st_ino == records[lost], f"{taker} did not take {lost}'s record")
    for entry in new:
        set_times(root / entry.path, entry)
        entry.id = (root / entry.path).stat().st_ino
    (root / NEW_DELETED_FILE).unlink()
    for folder in (*(path for path in root.rglob("*") if path.is_dir()), root):
        set_times(folder, Entry(str(folder), b"", day=4))
    return new


def finish_as_windows_does(before, volume, entries):
    """Makes good what ntfs-3g does otherwise than Windows.

    - Deleting a file that has an attribute list, it empties the file's other records and takes
      the list out of the first: Windows only marks all of them free.
    - One deletion is left half done, as after a power cut: the bitmap knows, the record does not.
    """
    by_path = {entry.path: entry for entry in entries}
    whole = by_path[MANY_PIECES].id
    for number in range(24, before.record_count):
        if number == whole or before.record(number) and before.base_of(number) == whole:
            at = before.record_at(number)
            sequence = volume.bytes[at + 0x10:at + 0x12]
            volume.bytes[at:at + volume.record_size] = before.bytes[at:at + before.record_size]
            volume.bytes[at + 0x10:at + 0x12] = sequence
            volume.clear_flag_in_use(number)
    volume.set_flag_in_use(by_path[HALF_DELETED].id)


def check(volume, entries):
    """Compares the plan with the volume and notes what a recovery has to give."""
    by_path = {}
    for entry in entries:
        by_path.setdefault(entry.path, entry)
    listed = [e for e in entries if e.recovery != NOT_LISTED]
    folders = {e.id for e in listed} ^ set(volume.free_records())
    for number in folders:
        require(volume.flags(number) & DIRECTORY, f"record {number} is free and not in the plan")
    for entry in entries:
        if "record reused" in entry.kinds:
            continue
        require(volume.allocated(entry.id) == entry.live, f"{entry.path}: bit in the bitmap")
        in_use = bool(volume.flags(entry.id) & IN_USE)
        require(in_use == (entry.live or entry.path == HALF_DELETED), f"{entry.path}: flag")
        name = volume.name(entry.id)
        shown = entry.shown_as or entry.path
        require(name.text == shown.rsplit("/", 1)[-1], f"{entry.path}: its name is {name.text!r}")
        entry.extra["nameSpace"] = name.space
        data = volume.data(entry.id)
        require(data.size == len(entry.content), f"{entry.path}: size {data.size}")
        require(("resident" in entry.kinds) <= data.resident, f"{entry.path}: not resident")
        require(("fragmented" in entry.kinds) <= (len(data.runs) > 3), f"{entry.path}: in one piece")
        require(("attribute list" in entry.kinds) <= (volume.records_of(entry.id) > 2),
                f"{entry.path}: all in one record")
        if "compressed" in entry.kinds:
            require(data.compression_unit != 0, f"{entry.path}: not compressed")
            entry.recovered = entry.content
        else:
            entry.recovered = volume.content(data)
        same = entry.recovered == entry.content
        if not entry.live and entry.recovery != FAILS:
            require(same == (entry.recovery == FULL), f"{entry.path}: content")
        parent = volume.name(name.parent)
        above = shown.split("/")[-2] if "/" in shown else "."
        if "orphan" in entry.kinds:
            require(not volume.flags(name.parent) & DIRECTORY, f"{entry.path}: no orphan")
        elif "folder reused" in entry.kinds:
            require(parent.text == NEW_FOLDER, f"{entry.path}: its folder was not reused")
        else:
            require(parent.text == above, f"{entry.path}: it lies in {parent.text!r}")


def make(image, folder):
    """Makes the volume at `image`, mounting it on the empty `folder`; returns its entries."""
    with open(image, "wb") as out:
        out.truncate(IMAGE_BYTES)
    subprocess.run(["mkntfs", "-F", "-Q", "-q", "-c", str(CLUSTER), "-L", "SAMPLE", image],
                   check=True, stderr=subprocess.DEVNULL)
    entries = plan()
    with mounted(image, folder):
        begin(folder, entries)
    with mounted(image, folder):
        populate(folder, entries)
        numbers = {path: (folder / path).stat().st_ino for path in BEGUN_WITH}
    before = NtfsImage(image)
    with mounted(image, folder):
        delete(folder, entries)
    with mounted(image, folder):
        entries += reuse(folder, numbers)
    volume = NtfsImage(image)
    finish_as_windows_does(before, volume, entries)
    volume.set_serial(SERIAL)
    volume.save()
    volume = NtfsImage(image)
    check(volume, entries)
    return entries, {"fileSystem": "NTFS", "clusterBytes": volume.cluster,
                     "recordBytes": volume.record_size}
