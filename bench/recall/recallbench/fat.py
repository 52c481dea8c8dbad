"""FAT volumes: made by mkfs.fat, filled and emptied by mtools, finished as other systems do.

mtools deletes as cameras and Linux do: the entries get 0xE5 for their first byte, the chain is
cleared in every copy of the FAT, all else stays.
"""

import os
import struct

from .volume import DAY, FIRST_DAY, Image, create, emptied_folders, folders_of, run

ENTRY_BYTES = 32
DELETED, END = 0xE5, 0x00
ATTRIBUTES_AT, HIGH_CLUSTER_AT, LOW_CLUSTER_AT = 11, 20, 26
DIRECTORY, VOLUME_LABEL, LONG_NAME = 0x10, 0x08, 0x0F
INFO_SECTOR_AT, INFO_LAST_ALLOCATED_AT = 48, 492
FAT32_ROOT_AT, FAT32_TABLE_SECTORS_AT = 44, 36
SERIAL = "4f525641"
FILES_A_CALL = 50  # keeps command lines short


def format_volume(image, size, bits, cluster, sector=512):
    """Formats; an image that exists keeps what lies on it."""
    if not image.exists():
        create(image, size)
    run("mkfs.fat", "-F", bits, "-S", sector, "-s", cluster // sector, "-i", SERIAL, "-n",
        "RECALL", image)


class FatVolume(Image):
    """The few structures that the edits below need."""

    def __init__(self, path):
        super().__init__(path)
        self.sector, per_cluster, reserved, self.tables, root_entries = self.unpack("<HBHBH", 11)
        self.cluster = self.sector * per_cluster
        table_sectors, = self.unpack("<H", 22)
        self.is_fat32 = table_sectors == 0
        if self.is_fat32:
            table_sectors, = self.unpack("<I", FAT32_TABLE_SECTORS_AT)
        self.table_at = reserved * self.sector
        self.root_at = self.table_at + self.tables * table_sectors * self.sector
        self.root_bytes = root_entries * ENTRY_BYTES
        self.data_at = self.root_at + self.root_bytes

    def cluster_at(self, number):
        return self.data_at + (number - 2) * self.cluster

    def next(self, number):
        """Only FAT32, where it is asked for."""
        return self.unpack("<I", self.table_at + 4 * number)[0] & 0x0FFFFFFF

    def chain(self, number):
        found = []
        while 2 <= number < 0x0FFFFFF8:
            found.append(number)
            number = self.next(number)
        return found

    def root_folder(self):
        return self.chain(self.unpack("<I", FAT32_ROOT_AT)[0])

    def entries(self, clusters):
        """(offset, bytes) of every entry in a folder's clusters, deleted ones too."""
        for number in clusters:
            at, content = self.cluster_at(number), self.read(self.cluster_at(number), self.cluster)
            for offset in range(0, len(content), ENTRY_BYTES):
                if content[offset] == END:
                    return
                yield at + offset, content[offset:offset + ENTRY_BYTES]

    def all_entries(self, clusters):
        """Those of the folders below as well; FAT32 only. A deleted folder's clusters after the
        first are known by what was noted before the deletion: see `delete`."""
        for at, entry in self.entries(clusters):
            yield at, entry
            attributes = entry[ATTRIBUTES_AT]
            if attributes & 0x3F == LONG_NAME or not attributes & DIRECTORY or entry[0] == ord("."):
                continue
            high, low = (struct.unpack_from("<H", entry, a)[0]
                         for a in (HIGH_CLUSTER_AT, LOW_CLUSTER_AT))
            yield from self.all_entries(self.chain(high << 16 | low))

    def allocate_from(self, number):
        """Lets the next file be written from this cluster on (FAT32's hint in the info sector)."""
        sector, = self.unpack("<H", INFO_SECTOR_AT)
        self.write(sector * self.sector + INFO_LAST_ALLOCATED_AT, struct.pack("<I", number))


def _calls(items):
    return (items[at:at + FILES_A_CALL] for at in range(0, len(items), FILES_A_CALL))


def fill(image, files, staging, day=0, new_folders=True):
    """Copies the files folder by folder, a minute after each other; `staging` is a folder for
    copies of them."""
    by_folder = {}
    for number, file in enumerate(files):
        written = FIRST_DAY + day * DAY + number * 60
        by_folder.setdefault(file.folder, []).append((file, written))
    staging.mkdir(exist_ok=True)
    made = set()
    for folder, inside in by_folder.items():
        missing = [] if not new_folders else [above for above in folders_of([inside[0][0]])
                                              if above not in made]
        if missing:
            run("mmd", "-i", image, *(f"::/{above}" for above in missing), at=inside[0][1])
        made.update(missing)
        for some in _calls(inside):
            copies = [staging / file.name for file, _ in some]
            for copy, (file, written) in zip(copies, some):
                copy.write_bytes(file.content)
                os.utime(copy, (written, written))
            run("mcopy", "-m", "-i", image, *copies, f"::/{folder}", at=some[-1][1])
            for copy in copies:
                copy.unlink()


def delete(image, deleted, kept):
    for some in _calls(deleted):
        run("mdel", "-i", image, *(f"::/{file.path}" for file in some))
    for folder in emptied_folders(deleted, kept):
        run("mrd", "-i", image, f"::/{folder}")


def delete_as_windows(image, deleted, kept):
    """FAT32: Windows also zeroes the high word of the first cluster in what it deletes."""
    with FatVolume(image) as volume:
        places = [at for at, entry in volume.all_entries(volume.root_folder())
                  if entry[ATTRIBUTES_AT] & 0x3F != LONG_NAME]
    delete(image, deleted, kept)
    with FatVolume(image) as volume:
        for at in places:
            if volume.read(at, 1)[0] == DELETED:
                volume.write(at + HIGH_CLUSTER_AT, bytes(2))


def wipe_entries(image, deleted, kept):
    """FAT32: deletes, and takes the names away too, as newer files' entries would."""
    with FatVolume(image) as volume:
        places = [at for at, _ in volume.all_entries(volume.root_folder())]
    delete(image, deleted, kept)
    with FatVolume(image) as volume:
        for at in places:
            if volume.read(at, 1)[0] == DELETED:
                volume.write(at + 1, b"~" * 10 + b"\x20" + bytes(ENTRY_BYTES - 12))
