"""A reader of NTFS volumes, only as large as checking the samples needs.

It knows nothing of the program's own reader on purpose: what both find must agree.
"""

import struct
from dataclasses import dataclass, field

STANDARD_INFORMATION, ATTRIBUTE_LIST, FILE_NAME, DATA, BITMAP = 0x10, 0x20, 0x30, 0x80, 0xB0
END_OF_ATTRIBUTES = 0xFFFFFFFF
IN_USE, DIRECTORY = 1, 2
FLAGS_AT = 0x16
FIRST_ATTRIBUTE_AT = 0x14
SERIAL_AT, SERIAL_LENGTH = 0x48, 8
NAME_SPACES = {0: "posix", 1: "win32", 2: "dos", 3: "win32+dos"}


@dataclass
class Attribute:
    """One attribute header with what it describes, decoded."""
    type: int
    name: str
    resident: bool
    flags: int
    value: bytes = b""
    start_vcn: int = 0
    size: int = 0
    runs: list = field(default_factory=list)  # (lcn or None for a hole, clusters)
    compression_unit: int = 0


@dataclass
class Name:
    text: str
    parent: int
    space: str


class NtfsImage:
    """A volume in memory. Record numbers are ints, sizes are bytes."""

    def __init__(self, path):
        self.path = path
        self.bytes = bytearray(path.read_bytes())
        sector, per_cluster = struct.unpack_from("<HB", self.bytes, 11)
        self.cluster = sector * per_cluster
        mft_lcn, = struct.unpack_from("<Q", self.bytes, 0x30)
        record, = struct.unpack_from("<b", self.bytes, 0x40)
        self.record_size = 1 << -record if record < 0 else record * self.cluster
        self._mft_runs = [(mft_lcn, 16)]
        mft = self.attributes(0)
        data = next(a for a in mft if a.type == DATA)
        self._mft_runs = data.runs
        self.record_count = data.size // self.record_size
        self.bitmap = self.content(next(a for a in mft if a.type == BITMAP))

    def record_at(self, number):
        """Where a record starts in the image."""
        byte = number * self.record_size
        for lcn, length in self._mft_runs:
            if byte < length * self.cluster:
                return lcn * self.cluster + byte
            byte -= length * self.cluster
        raise ValueError(f"record {number} is outside the MFT")

    def record(self, number):
        """A record with its sector ends put back, or None when it was never written."""
        at = self.record_at(number)
        record = bytearray(self.bytes[at:at + self.record_size])
        if record[:4] != b"FILE":
            return None
        array, count = struct.unpack_from("<HH", record, 4)
        for i in range(1, count):
            record[i * 512 - 2:i * 512] = record[array + 2 * i:array + 2 * i + 2]
        return record

    def flags(self, number):
        record = self.record(number)
        return struct.unpack_from("<H", record, FLAGS_AT)[0] if record else 0

    def base_of(self, number):
        return struct.unpack_from("<Q", self.record(number), 0x20)[0] & 0xFFFFFFFFFFFF

    def records_of(self, number):
        """How many records describe a file."""
        return 1 + sum(1 for other in range(24, self.record_count)
                       if self.record(other) and self.base_of(other) == number)

    def allocated(self, number):
        return bool(self.bitmap[number // 8] >> number % 8 & 1)

    def set_flag_in_use(self, number):
        """Marks a record's header as in use; the bitmap stays as it is."""
        at = self.record_at(number) + FLAGS_AT
        self.bytes[at] |= IN_USE

    def clear_flag_in_use(self, number):
        self.bytes[self.record_at(number) + FLAGS_AT] &= ~IN_USE & 0xFF

    def set_serial(self, serial):
        """The volume's serial number, in the boot sector and in its copy in the last sector."""
        for at in (SERIAL_AT, len(self.bytes) - 512 + SERIAL_AT):
            self.bytes[at:at + SERIAL_LENGTH] = serial

    def save(self):
        self.path.write_bytes(self.bytes)

    def own_attributes(self, number):
        """The attributes in this one record, each as it stands."""
        record = self.record(number)
        if not record:
            return
        at, = struct.unpack_from("<H", record, FIRST_ATTRIBUTE_AT)
        while struct.unpack_from("<I", record, at)[0] != END_OF_ATTRIBUTES:
            kind, length = struct.unpack_from("<II", record, at)
            yield self._decode(kind, record[at:at + length])
            at += length

    def _decode(self, kind, raw):
        name_length, name_at, flags = struct.unpack_from("<BHH", raw, 9)
        name = raw[name_at:name_at + 2 * name_length].decode("utf-16le")
        attribute = Attribute(kind, name, not raw[8], flags)
        if attribute.resident:
            length, at = struct.unpack_from("<IH", raw, 0x10)
            attribute.value = bytes(raw[at:at + length])
            attribute.size = length
            return attribute
        attribute.start_vcn, = struct.unpack_from("<Q", raw, 0x10)
        at, attribute.compression_unit = struct.unpack_from("<HB", raw, 0x20)
        if not attribute.start_vcn:
            attribute.size, = struct.unpack_from("<Q", raw, 0x30)
        lcn = 0
        while raw[at]:
            length_size, offset_size = raw[at] & 15, raw[at] >> 4
            at += 1
            length = int.from_bytes(raw[at:at + length_size], "little", signed=True)
            at += length_size
            if offset_size:
                lcn += int.from_bytes(raw[at:at + offset_size], "little", signed=True)
            attribute.runs.append((lcn if offset_size else None, length))
            at += offset_size
        return attribute

    def attributes(self, number):
        """All attributes of a file, those in its other records too; the extents of one are joined.
        """
        own = list(self.own_attributes(number))
        listed = next((a for a in own if a.type == ATTRIBUTE_LIST), None)
        if not listed:
            return own
        found = []
        entries = self.content(listed)
        at = 0
        seen = set()
        while at < len(entries):
            length, = struct.unpack_from("<H", entries, at + 4)
            holder = struct.unpack_from("<Q", entries, at + 0x10)[0] & 0xFFFFFFFFFFFF
            at += length
            if holder not in seen:
                seen.add(holder)
                found += own if holder == number else list(self.own_attributes(holder))
        joined = {}
        for attribute in sorted(found, key=lambda a: (a.type, a.name, a.start_vcn)):
            key = (attribute.type, attribute.name)
            if attribute.start_vcn and key in joined:
                joined[key].runs += attribute.runs
            else:
                joined[key if not attribute.resident else object()] = attribute
        return list(joined.values())

    def content(self, attribute):
        """An attribute's bytes; of a compressed one, what its clusters hold."""
        if attribute.resident:
            return attribute.value
        parts = []
        for lcn, length in attribute.runs:
            size = length * self.cluster
            parts.append(bytes(size) if lcn is None
                         else bytes(self.bytes[lcn * self.cluster:lcn * self.cluster + size]))
        return b"".join(parts)[:attribute.size]

    def names(self, number):
        return [Name(a.value[0x42:0x42 + 2 * a.value[0x40]].decode("utf-16le", "surrogatepass"),
                     int.from_bytes(a.value[:6], "little"), NAME_SPACES[a.value[0x41]])
                for a in self.attributes(number) if a.type == FILE_NAME]

    def name(self, number):
        """The name that a user knows the file by: of Windows if there is one, else of POSIX."""
        names = self.names(number)
        for spaces in (("win32", "win32+dos"), ("posix",)):
            for name in names:
                if name.space in spaces:
                    return name
        return None

    def data(self, number):
        return next((a for a in self.attributes(number) if a.type == DATA and not a.name), None)

    def free_records(self):
        """Numbers of the records that are free, hold something and are no other's extension."""
        return [n for n in range(24, self.record_count)
                if not self.allocated(n) and self.record(n) and not self.base_of(n)
                and self.name(n)]
