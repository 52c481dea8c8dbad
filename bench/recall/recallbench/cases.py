"""The volumes: how each was made and what happened to it."""

import os
import random
import time
from dataclasses import dataclass, replace
from pathlib import Path

from . import exfat, fat, ntfs
from .corpus import Corpus
from .volume import File, Volume, folders_of, intact

KIB, MIB, GIB = 1 << 10, 1 << 20, 1 << 30
DELETED, FORMATTED, LIVE, LIVE_FROM = 200, 300, 40, 350
SIZE = 192 * MIB


@dataclass(frozen=True)
class Work:
    """What a case gets: where its image goes, a folder for copies, and the files."""
    image: Path
    staging: Path
    corpus: Corpus


@dataclass(frozen=True)
class Case:
    name: str
    title: str      # the line in the table
    make: object    # Work -> Volume
    group: str = "deleted"  # see report.GROUPS

    @property
    def file_system(self):
        """That of the files to recover."""
        return self.name.partition("-")[0]


CASES = []


def case(name, title, group="deleted"):
    def add(make):
        CASES.append(Case(name, title, make, group))
        return make
    return add


def mixed(wanted, live):
    """Both, the live files spread among the others."""
    step = max(1, len(wanted) // max(1, len(live)))
    out = list(wanted)
    for number, file in enumerate(live):
        out.insert(min(len(out), (number + 1) * (step + 1) - 1), file)
    return out


def usual(work, count=DELETED):
    """(wanted, live) of most volumes."""
    return work.corpus.files(count), work.corpus.files(LIVE, LIVE_FROM)


def below(folder, files):
    return [replace(file, path=f"{folder}/{file.path}") for file in files]


def fillers(sizes):
    """Live files whose only purpose is to lie between others."""
    rng = random.Random(3)
    return [File(f"In use/part {number:04}.bin", rng.randbytes(size))
            for number, size in enumerate(sizes)]


def holes(count, cluster, largest):
    """Sizes of as many files, for free space in pieces: every second one is deleted again."""
    rng = random.Random(4)
    return [rng.randint(1, largest) * cluster for _ in range(count)]


def keepers(files):
    """A live file in each folder, which keeps the folder."""
    return [File(f"{folder}/kept.txt", f"keeps {folder}".encode()) for folder in folders_of(files)]


# Deleted, and nothing written since -------------------------------------------------------------

def ntfs_deleted(work, cluster, size=SIZE, tiny=20):
    wanted, live = usual(work)
    wanted = wanted + work.corpus.tiny(tiny)
    ntfs.format_volume(work.image, size, cluster)
    ntfs.fill(work.image, mixed(wanted, live))
    ntfs.delete(work.image, wanted, live)
    return Volume(work.image, wanted, live)


@case("ntfs", "NTFS, 4 KB clusters")
def _(work):
    return ntfs_deleted(work, 4 * KIB)


@case("ntfs-512", "NTFS, clusters of 512 bytes")
def _(work):
    return ntfs_deleted(work, 512)


@case("ntfs-2m", "NTFS, clusters of 2 MiB")
def _(work):
    return ntfs_deleted(work, 2 * MIB, 1 * GIB)


@case("ntfs-compressed", "NTFS, compressed folders")
def _(work):
    wanted, live = usual(work)
    ntfs.format_volume(work.image, SIZE, 4 * KIB)
    ntfs.fill(work.image, mixed(wanted, live),
              compressed={file.path.partition("/")[0] for file in wanted})
    ntfs.delete(work.image, wanted, live)
    return Volume(work.image, wanted, live)


@case("ntfs-extension", "NTFS, folders' names in extension records")
def _(work):
    wanted = [replace(file, path=f"Box {number % 60}/{file.name}")
              for number, file in enumerate(work.corpus.files(DELETED))]
    kept = keepers(wanted)
    ntfs.format_volume(work.image, SIZE, 4 * KIB)
    ntfs.fill(work.image, wanted + kept, late_names=True)
    ntfs.delete(work.image, wanted, kept)
    return Volume(work.image, wanted, kept)


@case("ntfs-sparse", "NTFS, sparse files")
def _(work):
    wanted = [replace(file, content=b"".join((file.content, bytes(1 * MIB), file.content[::-1])))
              for file in work.corpus.files(30, least=70 * KIB)]
    ntfs.format_volume(work.image, SIZE, 4 * KIB)
    ntfs.fill(work.image, wanted, sparse=True)
    ntfs.delete(work.image, wanted, [])
    return Volume(work.image, wanted)


@case("ntfs-start", "NTFS, first 8 KiB overwritten")
def _(work):
    volume = ntfs_deleted(work, 4 * KIB)
    ntfs.overwrite_start(work.image, 8 * KIB)
    return volume


@case("fat12", "FAT12, floppy disk")
def _(work):
    small = [file for file in work.corpus.files(300) if len(file.content) < 24 * KIB]
    wanted, live = small[:60], small[60:66]
    while sum(len(file.content) for file in wanted + live) > 1_350_000:
        wanted.pop()
    fat.format_volume(work.image, 1440 * KIB, 12, 512)
    return fat_deleted(work, wanted, live)


@case("fat16", "FAT16")
def _(work):
    fat.format_volume(work.image, 100 * MIB, 16, 4 * KIB)
    return fat_deleted(work, *usual(work))


@case("fat32", "FAT32, deleted by a camera or Linux")
def _(work):
    fat.format_volume(work.image, 300 * MIB, 32, 4 * KIB)
    return fat_deleted(work, *usual(work))


def fat_deleted(work, wanted, live):
    fat.fill(work.image, mixed(wanted, live), work.staging)
    fat.delete(work.image, wanted, live)
    return Volume(work.image, wanted, live, loses_initials=True)


@case("fat32-4096", "FAT32, sectors of 4096 bytes")
def _(work):
    fat.format_volume(work.image, 300 * MIB, 32, 4 * KIB, sector=4096)
    return fat_deleted(work, *usual(work))


@case("fat32-windows", "FAT32, over 65,536 clusters, deleted by Windows")
def _(work):
    wanted, live = usual(work)
    fat.format_volume(work.image, 1 * GIB, 32, 4 * KIB)
    all_wanted, all_live = [], []
    for number, start in enumerate((3, 70_000, 131_000, 200_000)):
        year = str(2020 + number)
        some = below(year, wanted[number::4])
        kept = below(year, live[number::4])
        with fat.FatVolume(work.image) as volume:
            volume.allocate_from(start)
        fat.fill(work.image, mixed(some, kept), work.staging, day=365 * number)
        all_wanted += some
        all_live += kept
    fat.delete_as_windows(work.image, all_wanted, all_live)
    return Volume(work.image, all_wanted, all_live, loses_initials=True)


def taken(files):
    """Empty files whose entries take the places of these files' deleted ones."""
    return [File(file.path.replace("part", "void"), b"") for file in files]


def fat_in_pieces(work, wanted, sizes):
    """Fills the holes that every second filler leaves with the wanted files; returns the rest."""
    between = fillers(sizes)
    live, gone = between[::2], between[1::2]
    fat.format_volume(work.image, 300 * MIB, 32, 4 * KIB)
    fat.fill(work.image, between, work.staging)
    fat.delete(work.image, gone, live)
    fat.fill(work.image, taken(gone), work.staging, day=1, new_folders=False)
    with fat.FatVolume(work.image) as volume:
        volume.allocate_from(3)
    fat.fill(work.image, wanted, work.staging, day=2)
    return live


@case("fat32-pieces", "FAT32, free space in pieces: fragmented files")
def _(work):
    wanted = work.corpus.files(100)
    live = fat_in_pieces(work, wanted, holes(700, 4 * KIB, 12))
    fat.delete(work.image, wanted, live)
    return Volume(work.image, wanted, live, loses_initials=True)


@case("exfat", "exFAT card")
def _(work):
    wanted, live = usual(work)
    exfat.format_volume(work.image, SIZE, 32 * KIB)
    exfat.fill(work.image, mixed(wanted, live))
    exfat.delete(work.image, wanted, live)
    return Volume(work.image, wanted, live)


def exfat_in_pieces(work, keep_chains):
    wanted = work.corpus.files(100)
    between = fillers(holes(700, 4 * KIB, 12))
    live, gone = between[::2], between[1::2]
    exfat.format_volume(work.image, SIZE, 4 * KIB)
    exfat.fill(work.image, between)
    exfat.delete(work.image, gone, live)
    exfat.fill(work.image, taken(gone), day=1)
    exfat.fill(work.image, wanted, day=2)
    exfat.delete(work.image, wanted, live, keep_chains)
    return Volume(work.image, wanted, live)


@case("exfat-pieces", "exFAT, fragmented files, chains left")
def _(work):
    return exfat_in_pieces(work, keep_chains=True)


@case("exfat-pieces-cleared", "exFAT, fragmented files, chains cleared")
def _(work):
    return exfat_in_pieces(work, keep_chains=False)


@case("exfat-photos", "exFAT card, 5,000 photos")
def _(work):
    wanted, live = work.corpus.photos(5000), work.corpus.files(LIVE, LIVE_FROM)
    exfat.format_volume(work.image, 512 * MIB, 32 * KIB)
    exfat.fill(work.image, mixed(wanted, live))
    exfat.delete(work.image, wanted, live)
    return Volume(work.image, wanted, live)


# Deleted, and used since ------------------------------------------------------------------------

def aged(work, wanted, live, new, loses_initials=False):
    """What newer files have left of the deleted ones."""
    return Volume(work.image, intact(work.image, wanted), live + new, loses_initials=loses_initials)


def newer(work):
    return below("New", work.corpus.files(60, 230))


@case("ntfs-aged", "NTFS, 60 newer files", "aged")
def _(work):
    wanted, live = usual(work)
    ntfs.format_volume(work.image, 32 * MIB, 4 * KIB)
    ntfs.fill(work.image, mixed(wanted, live))
    ntfs.delete(work.image, wanted, live)
    ntfs.fill(work.image, newer(work), day=1)
    return aged(work, wanted, live, newer(work))


@case("fat32-aged", "FAT32, 60 newer files", "aged")
def _(work):
    wanted, live = usual(work)
    fat.format_volume(work.image, 300 * MIB, 32, 4 * KIB)
    fat.fill(work.image, mixed(wanted, live), work.staging)
    fat.delete(work.image, wanted, live)
    with fat.FatVolume(work.image) as volume:
        volume.allocate_from(1000)
    fat.fill(work.image, newer(work), work.staging, day=1)
    return aged(work, wanted, live, newer(work), loses_initials=True)


@case("exfat-aged", "exFAT, 60 newer files", "aged")
def _(work):
    wanted, live = usual(work)
    exfat.format_volume(work.image, SIZE, 32 * KIB)
    exfat.fill(work.image, mixed(wanted, live))
    exfat.delete(work.image, wanted, live)
    exfat.fill(work.image, newer(work), day=1)
    return aged(work, wanted, live, newer(work))


def two_rounds(work):
    """(first, second, kept): the second round's files lie where the first round's were."""
    first = below("First", work.corpus.files(100))
    second = below("Second", work.corpus.files(60, 150))
    return first, second, keepers(first + second)


@case("fat32-twice", "FAT32 card, emptied, filled again, emptied again", "aged")
def _(work):
    *rounds, kept = two_rounds(work)
    fat.format_volume(work.image, 300 * MIB, 32, 4 * KIB)
    fat.fill(work.image, kept, work.staging)
    for day, files in enumerate(rounds, 1):
        with fat.FatVolume(work.image) as volume:
            volume.allocate_from(3)
        fat.fill(work.image, files, work.staging, day, new_folders=False)
        fat.delete(work.image, files, kept)
    return aged(work, [file for files in rounds for file in files], kept, [], loses_initials=True)


@case("exfat-twice", "exFAT card, emptied, filled again, emptied again", "aged")
def _(work):
    *rounds, kept = two_rounds(work)
    exfat.format_volume(work.image, SIZE, 32 * KIB)
    exfat.fill(work.image, kept)
    for day, files in enumerate(rounds, 1):
        time.sleep(exfat.CLOCK_STEP)
        exfat.fill(work.image, files, day)
        exfat.delete(work.image, files, kept, keep_chains=True)
    return aged(work, [file for files in rounds for file in files], kept, [])


def in_each_others_holes(work, format_volume, fill, delete):
    """Files written into the holes that others' deletion left, each in several pieces; then all of
    them deleted: the clusters between the pieces are as free as the pieces."""
    first = below("First", work.corpus.files(200))
    gone, stayed = first[::2], first[1::2]
    second = below("Second", work.corpus.files(60, 230, least=8 * KIB))
    kept = keepers(first + second)
    format_volume()
    fill(mixed(first, kept), 0)
    delete(gone, kept + stayed)
    fill(second, 1)
    delete(stayed + second, kept)
    return Volume(work.image, intact(work.image, first + second), kept, loses_initials=True)


@case("fat32-holes", "FAT32, files in pieces between others, all deleted", "aged")
def _(work):
    def fill(files, day):
        with fat.FatVolume(work.image) as volume:
            volume.allocate_from(3)
        fat.fill(work.image, files, work.staging, day, new_folders=day == 0)

    def format_volume():
        fat.format_volume(work.image, 300 * MIB, 32, 4 * KIB)

    return in_each_others_holes(work, format_volume, fill,
                                lambda gone, kept: fat.delete(work.image, gone, kept))


@case("exfat-holes", "exFAT, files in pieces between others, all deleted, chains cleared", "aged")
def _(work):
    return in_each_others_holes(work,
                                lambda: exfat.format_volume(work.image, SIZE, 4 * KIB),
                                lambda files, day: exfat.fill(work.image, files, day),
                                lambda gone, kept: exfat.delete(work.image, gone, kept))


def cut(work, share):
    """An image that somebody has not copied to its end."""
    os.truncate(work.image, int(work.image.stat().st_size * share))


@case("ntfs-cut", "NTFS, image that ends early", "aged")
def _(work):
    wanted, live = usual(work)
    ntfs.format_volume(work.image, 32 * MIB, 4 * KIB)
    ntfs.fill(work.image, mixed(wanted, live))
    ntfs.delete(work.image, wanted, live)
    cut(work, 0.4)
    return aged(work, wanted, live, [])


@case("fat32-cut", "FAT32, image that ends early", "aged")
def _(work):
    wanted, live = usual(work)
    fat.format_volume(work.image, 300 * MIB, 32, 4 * KIB)
    fat.fill(work.image, mixed(wanted, live), work.staging)
    fat.delete(work.image, wanted, live)
    cut(work, 0.04)
    return aged(work, wanted, live, [], loses_initials=True)


# Formatted, or the records gone: what only a search of the whole drive finds ----------------------

def formatted(work, fill, format_again, root_gone=False):
    """A volume of 300 files, none deleted, formatted again; `fill` is given the files. With
    `root_gone`, formatting clears the root folder, which holds nothing but folders."""
    wanted = work.corpus.files(FORMATTED)
    fill(wanted)
    format_again()
    return Volume(work.image, intact(work.image, wanted), root_gone=root_gone)


def ntfs_filled(work, cluster):
    def fill(files):
        ntfs.format_volume(work.image, SIZE, cluster)
        ntfs.fill(work.image, files)
    return fill


def fat_filled(work, cluster):
    def fill(files):
        fat.format_volume(work.image, 300 * MIB, 32, cluster)
        fat.fill(work.image, files, work.staging)
    return fill


def exfat_filled(work, cluster):
    def fill(files):
        exfat.format_volume(work.image, SIZE, cluster)
        exfat.fill(work.image, files)
    return fill


@case("ntfs-formatted", "NTFS, formatted again", "formatted")
def _(work):
    return formatted(work, ntfs_filled(work, 4 * KIB),
                     lambda: ntfs.format_volume(work.image, SIZE, 4 * KIB))


@case("ntfs-formatted-other", "NTFS, formatted with another cluster size", "formatted")
def _(work):
    return formatted(work, ntfs_filled(work, 4 * KIB),
                     lambda: ntfs.format_volume(work.image, SIZE, 16 * KIB))


@case("ntfs-to-exfat", "NTFS, formatted to exFAT", "formatted")
def _(work):
    return formatted(work, ntfs_filled(work, 4 * KIB),
                     lambda: exfat.format_volume(work.image, SIZE, 32 * KIB))


@case("fat32-formatted", "FAT32, formatted again", "formatted")
def _(work):
    return formatted(work, fat_filled(work, 4 * KIB),
                     lambda: fat.format_volume(work.image, 300 * MIB, 32, 4 * KIB),
                     root_gone=True)


@case("fat32-formatted-other", "FAT32, formatted with another cluster size", "formatted")
def _(work):
    return formatted(work, fat_filled(work, 4 * KIB),
                     lambda: fat.format_volume(work.image, 300 * MIB, 32, 2 * KIB),
                     root_gone=True)


@case("fat32-to-ntfs", "FAT32, formatted to NTFS", "formatted")
def _(work):
    return formatted(work, fat_filled(work, 4 * KIB),
                     lambda: ntfs.format_volume(work.image, 300 * MIB, 4 * KIB))


@case("exfat-formatted", "exFAT, formatted again", "formatted")
def _(work):
    return formatted(work, exfat_filled(work, 32 * KIB),
                     lambda: exfat.format_volume(work.image, SIZE, 32 * KIB),
                     root_gone=True)


@case("exfat-formatted-other", "exFAT, formatted with another cluster size", "formatted")
def _(work):
    return formatted(work, exfat_filled(work, 32 * KIB),
                     lambda: exfat.format_volume(work.image, SIZE, 64 * KIB),
                     root_gone=True)


@case("exfat-to-fat32", "exFAT, formatted to FAT32", "formatted")
def _(work):
    return formatted(work, exfat_filled(work, 32 * KIB),
                     lambda: fat.format_volume(work.image, SIZE, 32, 2 * KIB))


@case("ntfs-reused", "NTFS, every freed record reused", "lost")
def _(work):
    wanted, live = usual(work)
    ntfs.format_volume(work.image, SIZE, 4 * KIB)
    ntfs.fill(work.image, mixed(wanted, live))
    ntfs.delete(work.image, wanted, live)
    new = ntfs.reuse_records(work.image, DELETED + 60)
    return Volume(work.image, intact(work.image, wanted), live + new, names=False)


@case("ntfs-no-boot", "NTFS, boot sector and its backup gone", "lost")
def _(work):
    volume = ntfs_deleted(work, 4 * KIB, tiny=0)
    ntfs.clear_boot_sectors(work.image)
    return volume


@case("fat32-content", "FAT32, names gone, files in pieces of 64 KB", "lost")
def _(work):
    wanted = work.corpus.files(80, least=70 * KIB)
    pieces = 2 * (sum(len(file.content) for file in wanted) // (64 * KIB) + len(wanted))
    live = fat_in_pieces(work, wanted, [64 * KIB] * pieces)
    fat.wipe_entries(work.image, wanted, live)
    return Volume(work.image, wanted, live, names=False)
