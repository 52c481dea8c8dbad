"""The FAT16 sample: made by mkfs.fat, filled and emptied by mtools.

mtools deletes as every system does: it puts 0xE5 over the first byte of the entry and of its long
name's slots and frees the clusters. Patched afterwards is what mtools cannot do: fixed dates, unset
dates as cameras leave them, characters beyond the first plane, and one folder dropped in one go.
"""

import os
import subprocess
from datetime import datetime, timedelta, timezone

from . import content as c
from .entry import NOT_LISTED, OTHER_CONTENT, Entry, require
from .fat import FatImage, placeholder

KIB = 10240
SECTORS_PER_CLUSTER, CLUSTER = 4, 2048
UNSET = (0, 0)

FIRST_GAP, SECOND_GAP = "Videos/First cut.tmp", "Videos/Second cut.tmp"
BETWEEN, BETWEEN_TOO = "Notes/Between.txt", "Notes/Between too.txt"
FRAGMENTED = "Notes/Final cut.bin"
DROPPED = "From the stick"
DELETED_IN_DROPPED = f"{DROPPED}/Old letter.rtf"
MANY = "Many long names"
MANY_COUNT, MANY_IN_FIRST_CLUSTER = 14, 10
CHAPTERS = [f"{MANY}/Chapter {number:02} of the very long story about the harbour.txt"
            for number in range(1, MANY_COUNT + 1)]
BEHIND_FIRST_CLUSTER = CHAPTERS[MANY_IN_FIRST_CLUSTER:]


def plan():
    """All files, in the order in which they are made."""
    live = {"live": True, "recovery": NOT_LISTED}
    entries = [
        Entry(FIRST_GAP, c.ledger("first", 2 * CLUSTER), ("overwritten",),
              recovery=OTHER_CONTENT,
              why="a newer deleted file was written over its clusters"),
        Entry(BETWEEN, c.prose(31, 900), **live),
        Entry(SECOND_GAP, c.ledger("second", 2 * CLUSTER), ("overwritten",),
              recovery=OTHER_CONTENT, why="a newer file was written over its clusters"),
        Entry(BETWEEN_TOO, c.prose(32, 1900), **live),
        Entry(FRAGMENTED, c.ledger("final", 9 * CLUSTER - 55), ("fragmented",), day=40),

        Entry("REPORT.TXT", c.prose(33, 3100), ("8.3 name",), shown_as="?EPORT.TXT"),
        Entry("lower.txt", c.prose(34, 500), ("8.3 name",), shown_as="?ower.txt"),
        Entry("A longer name in the root.txt", c.prose(35, 2500), ("text",)),
        Entry("README.TXT", c.prose(36, 700), ("8.3 name",), **live),

        Entry("Notes/Packing list.txt", c.prose(37, 1300), ("text",)),
        Entry("Notes/Empty note.txt", b"", ("empty",)),
        Entry("Notes/Exactly one cluster.bin", c.ledger("exact", CLUSTER)),
        Entry("Notes/One byte more.bin", c.ledger("more", CLUSTER + 1)),
        Entry("Notes/.settings", c.prose(38, 60), ("name",)),

        Entry("DCIM/100PHOTO/IMG_0001.JPG", c.landscape(21, *c.DESERT),
              ("jpeg", "8.3 name", "unset dates"), shown_as="DCIM/100PHOTO/?MG_0001.JPG"),
        Entry("DCIM/100PHOTO/IMG_0002.JPG", c.landscape(22, *c.NIGHT),
              ("jpeg", "8.3 name", "unset dates"), shown_as="DCIM/100PHOTO/?MG_0002.JPG"),
        Entry("DCIM/100PHOTO/IMG_0003.JPG", c.landscape(23, *c.LAKE),
              ("jpeg", "8.3 name"), **live),
        Entry("DCIM/100PHOTO/VOICE_01.WAV", c.wav(c.melody(c.BELL, 8000), 8000),
              ("wav", "8.3 name", "unset dates"), shown_as="DCIM/100PHOTO/?OICE_01.WAV"),

        Entry("Pictures/Winter morning.jpg", c.landscape(24, *c.WINTER), ("jpeg",)),
        Entry("Pictures/Badge of the club.png", c.badge("K", ("#2e3440", "#a3be8c")), ("png",)),
        Entry("Pictures/Bouncing ball.gif", c.animation(80, 10), ("gif",)),
        Entry("Music/Scale upwards.flac", c.flac(c.melody(c.SCALE), "Scale"), ("flac",)),
        Entry("Music/The bell.mp3", c.mp3(c.melody(c.BELL + c.BELL[::-1]), "The bell"), ("mp3",)),
        Entry("Music/The tune.ogg", c.ogg(c.melody(c.TUNE[::-1]), "The tune"), ("ogg",)),
        Entry("Documents/Application.docx",
              c.docx("Application", ["I would like to rent the boat house."]), ("document",)),
        Entry("Documents/Ticket.pdf", c.pdf(["Ticket", "Pier 4, 9:15"]), ("document",)),
        Entry("Documents/House rules.rtf", c.rtf("House rules", ["No shoes."]), ("document",)),
        Entry("Documents/Members of 2023.csv", c.table(60, 9), ("document",)),

        Entry("Größe und Maß/Überblick.txt", c.prose(39, 1100), ("name",)),
        Entry("Größe und Maß/Élève à l'école.txt", c.prose(40, 1100), ("name",)),
        Entry("Größe und Maß/日本語のノート.txt", c.prose(41, 2600), ("name",)),
        Entry("Größe und Maß/🎉 Party 🥳.txt", c.prose(42, 333), ("name",)),
        Entry("Größe und Maß/" + "A name of 255 characters " + "x" * 226 + ".txt",
              c.prose(43, 800), ("name", "long name")),

        Entry(f"{DROPPED}/Still marked as live.txt", c.prose(44, 1500), ("live in deleted folder",)),
        Entry(f"{DROPPED}/Also live.csv", c.table(20, 10), ("live in deleted folder",)),
        Entry(DELETED_IN_DROPPED, c.rtf("Old letter", ["To whom it may concern"]), ("document",)),
        Entry(f"{DROPPED}/Inner folder/Deep inside.txt", c.prose(45, 2049),
              ("live in deleted folder",)),
    ]
    for number, chapter in enumerate(CHAPTERS, 1):
        entries.append(Entry(
            chapter,
            c.prose(50 + number, 400 + number), ("long name",)))
    return entries


# Files in these are deleted with the folder; of the others each file on its own.
DELETED_FOLDERS = ("Pictures", "Music", "Größe und Maß", MANY, "Videos")


def mtool(tool, image, *arguments):
    environment = os.environ | {"LC_ALL": "C.UTF-8", "TZ": "UTC", "MTOOLS_SKIP_CHECK": "1"}
    subprocess.run([tool, "-i", str(image), *arguments], check=True, env=environment,
                   stdin=subprocess.DEVNULL)


def copy_in(image, entry, staging, made):
    """One file, after the folders above it."""
    parts = [placeholder(part) for part in entry.path.split("/")]
    for depth in range(1, len(parts)):
        folder = "/".join(parts[:depth])
        if folder not in made:
            mtool("mmd", image, "::" + folder)
            made.add(folder)
    staging.write_bytes(entry.content)
    mtool("mcopy", image, "-m", str(staging), "::" + "/".join(parts))


def dos(seconds):
    moment = datetime.fromtimestamp(seconds, timezone.utc)
    return ((moment.year - 1980) << 9 | moment.month << 5 | moment.day,
            moment.hour << 11 | moment.minute << 5 | moment.second // 2)


def set_dates(volume, entries):
    """Fixed dates for everything: created two hours before it was written, or not known."""
    by_path = {placeholder(entry.path): entry for entry in entries}
    default = Entry("", b"").modified()
    for item in list(volume.items()):
        entry = by_path.get(item.path)
        written = entry.modified() if entry else default
        created = accessed = dos(written - timedelta(hours=2).seconds)
        if entry and "unset dates" in entry.kinds:
            created = accessed = UNSET
        volume.set_times(item.at, created, accessed, dos(written))
        if item.directory:  # "." and ".." as well
            for at in (volume.at(item.cluster), volume.at(item.cluster) + 32):
                volume.set_times(at, created, accessed, dos(written))


def drop_folder(volume, path):
    """Deletes a folder in one go, as some devices do: its own entry is marked and all clusters
    below it are freed, but the entries in it are left as they were."""
    items = list(volume.items())
    folder = next(item for item in items if item.path == path)
    for item in items:
        if item.path.startswith(path + "/") and not item.deleted:
            volume.free(item.cluster)
    volume.free(folder.cluster)
    volume.mark_deleted(folder)


def check(volume, entries):
    """Compares the plan with the volume and notes what a recovery has to give."""
    items = {item.path: item for item in volume.items() if not item.directory}
    for entry in entries:
        shown = entry.shown_as or entry.path
        if entry.path == FIRST_GAP:
            require(items[shown].cluster == items[FRAGMENTED].cluster, "the gap was not filled")
        if entry.path in BEHIND_FIRST_CLUSTER:
            require(shown not in items, f"{entry.path}: stands in the folder's first cluster")
            entry.recovered = entry.content
            continue
        require(shown in items, f"{entry.path}: not on the volume")
        item = items[shown]
        entry.id = item.cluster
        dropped = "live in deleted folder" in entry.kinds
        require(item.deleted != (entry.live or dropped), f"{entry.path}: mark of deletion")
        require(item.size == len(entry.content), f"{entry.path}: size {item.size}")
        require(entry.live or not item.size or entry.path == SECOND_GAP
                or volume.next(item.cluster) == 0, f"{entry.path}: first cluster is in use")
        entry.recovered = volume.contiguous(item.cluster, item.size)
        same = entry.recovered == entry.content
        if entry.path == FRAGMENTED:
            require(not same, f"{entry.path}: lies in one piece")
            entry.recovered = entry.content  # what lies between its pieces is in use
        elif not entry.live:
            require(same == (entry.recovery != OTHER_CONTENT), f"{entry.path}: content")
    planned = {entry.shown_as or entry.path for entry in entries}
    require(set(items) <= planned, f"not in the plan: {set(items) - planned}")


def make(image, staging):
    """Makes the volume at `image`, using the file `staging`; returns its entries."""
    image.unlink(missing_ok=True)
    subprocess.run(["mkfs.fat", "--invariant", "-F", "16", "-s", str(SECTORS_PER_CLUSTER), "-n",
                    "SAMPLE", "-i", "4f525641", "-C", str(image), str(KIB)], check=True,
                   stdout=subprocess.DEVNULL)
    entries = plan()
    made = set()
    for entry in entries:
        if entry.path == FRAGMENTED:
            for gap in (FIRST_GAP, SECOND_GAP):
                mtool("mdel", image, "::" + gap)
        copy_in(image, entry, staging, made)

    volume = FatImage(image)
    set_dates(volume, entries)
    volume.save()
    for entry in entries:
        dropped = entry.path.startswith(DROPPED) and entry.path != DELETED_IN_DROPPED
        alone = entry.path.split("/")[0] not in DELETED_FOLDERS
        if alone and not entry.live and not dropped:
            mtool("mdel", image, "::" + entry.path)
    for folder in DELETED_FOLDERS:
        mtool("mdeltree", image, "::" + folder)
    volume = FatImage(image)
    drop_folder(volume, DROPPED)
    volume.restore_surrogates()
    volume.save()
    volume = FatImage(image)
    check(volume, entries)
    return entries, {"fileSystem": "FAT16", "clusterBytes": volume.cluster}
