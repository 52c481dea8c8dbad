"""A reader of FAT16 volumes, only as large as checking the samples needs.

It knows nothing of the program's own reader on purpose: what both find must agree.
"""

import struct
from dataclasses import dataclass

ENTRY = 32
DELETED, END = 0xE5, 0x00
DIRECTORY, VOLUME_LABEL, LONG_NAME = 0x10, 0x08, 0x0F
LONG_NAME_UNITS_AT = (*range(1, 11, 2), *range(14, 26, 2), 28, 30)
CREATED_TIME_AT, CREATED_DATE_AT, ACCESSED_DATE_AT = 14, 16, 18
WRITTEN_TIME_AT, WRITTEN_DATE_AT, CLUSTER_AT, SIZE_AT = 22, 24, 26, 28
LOWER_BASE, LOWER_SUFFIX = 0x08, 0x10
# mtools cannot write characters beyond the first plane: each half of one stands in the private
# area until `restore_surrogates` puts it back.
SURROGATES, PRIVATE, PLACES = 0xD800, 0xE000, 0x800


def placeholder(name):
    """The name as mtools can write it."""
    units = struct.unpack(f"<{len(name.encode('utf-16le')) // 2}H", name.encode("utf-16le"))
    return "".join(chr(u - SURROGATES + PRIVATE if SURROGATES <= u < SURROGATES + PLACES else u)
                   for u in units)


@dataclass
class Item:
    """A directory entry: where it stands (its long name's slots too) and what it says."""
    at: int
    slots: list
    name: str
    path: str
    deleted: bool
    directory: bool
    cluster: int
    size: int
    parent: int


class FatImage:
    """A volume in memory. Clusters are numbered from 2; 0 stands for the root folder."""

    def __init__(self, path):
        self.path = path
        self.bytes = bytearray(path.read_bytes())
        self.sector, per_cluster, reserved, self.tables, root = \
            struct.unpack_from("<HBHBH", self.bytes, 11)
        table_sectors, = struct.unpack_from("<H", self.bytes, 22)
        self.cluster = self.sector * per_cluster
        self.table_at = reserved * self.sector
        self.table_size = table_sectors * self.sector
        self.root_at = self.table_at + self.tables * self.table_size
        self.root_size = root * ENTRY
        self.data_at = self.root_at + self.root_size

    def save(self):
        self.path.write_bytes(self.bytes)

    def next(self, cluster):
        return struct.unpack_from("<H", self.bytes, self.table_at + 2 * cluster)[0]

    def chain(self, cluster):
        """A live file's or folder's clusters."""
        found = []
        while 2 <= cluster < 0xFFF0:
            found.append(cluster)
            cluster = self.next(cluster)
        return found

    def free(self, cluster):
        """Frees a chain in every copy of the table."""
        for number in self.chain(cluster):
            for table in range(self.tables):
                at = self.table_at + table * self.table_size + 2 * number
                self.bytes[at:at + 2] = b"\0\0"

    def at(self, cluster):
        return self.data_at + (cluster - 2) * self.cluster

    def contiguous(self, cluster, size):
        """What lies from a cluster on: all that is known of a deleted file."""
        return bytes(self.bytes[self.at(cluster):self.at(cluster) + size]) if size else b""

    def _slots(self, cluster):
        if not cluster:
            yield from range(self.root_at, self.root_at + self.root_size, ENTRY)
            return
        for number in self.chain(cluster) if self.next(cluster) else [cluster]:
            yield from range(self.at(number), self.at(number) + self.cluster, ENTRY)

    def items(self, cluster=0, above=""):
        """Every entry below a folder, deleted ones and the content of deleted folders as well."""
        slots, units = [], []
        for at in self._slots(cluster):
            entry = self.bytes[at:at + ENTRY]
            if entry[0] == END:
                return
            if entry[11] & 0x3F == LONG_NAME:
                slots.append(at)
                units = [struct.unpack_from("<H", entry, u)[0] for u in LONG_NAME_UNITS_AT] + units
                continue
            name = self._long(units) if units else self._short(entry)
            item = Item(at, slots, name, above + name, entry[0] == DELETED,
                        bool(entry[11] & DIRECTORY),
                        struct.unpack_from("<H", entry, CLUSTER_AT)[0],
                        struct.unpack_from("<I", entry, SIZE_AT)[0], cluster)
            slots, units = [], []
            if entry[0] == ord(".") or entry[11] & VOLUME_LABEL:
                continue
            yield item
            if item.directory:
                yield from self.items(item.cluster, item.path + "/")

    @staticmethod
    def _long(units):
        units = units[:units.index(0)] if 0 in units else units
        return struct.pack(f"<{len(units)}H", *units).decode("utf-16le", "surrogatepass")

    @staticmethod
    def _short(entry):
        base, suffix = (entry[a:b].decode("cp850").rstrip(" ") for a, b in ((0, 8), (8, 11)))
        base = base.lower() if entry[12] & LOWER_BASE else base
        suffix = suffix.lower() if entry[12] & LOWER_SUFFIX else suffix
        if entry[0] == DELETED:
            base = "?" + base[1:]
        return f"{base}.{suffix}" if suffix else base

    def restore_surrogates(self):
        for item in list(self.items()):
            for slot in item.slots:
                for at in LONG_NAME_UNITS_AT:
                    unit, = struct.unpack_from("<H", self.bytes, slot + at)
                    if PRIVATE <= unit < PRIVATE + PLACES:
                        struct.pack_into("<H", self.bytes, slot + at, unit - PRIVATE + SURROGATES)

    def set_times(self, at, created, accessed, written):
        """Each a (date, time) pair as stored; the access time is not stored."""
        struct.pack_into("<HHH", self.bytes, at + CREATED_TIME_AT, created[1], created[0],
                         accessed[0])
        self.bytes[at + 13] = 0
        struct.pack_into("<HH", self.bytes, at + WRITTEN_TIME_AT, written[1], written[0])

    def mark_deleted(self, item):
        for at in (*item.slots, item.at):
            self.bytes[at] = DELETED
