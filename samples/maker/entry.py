"""What the two volumes' plans have in common: one file of a sample, and how it is reported."""

import hashlib
from dataclasses import dataclass, field
from datetime import datetime, timezone

# What can become of a file.
FULL = "full"                  # found, and recovered byte for byte
OTHER_CONTENT = "other content"  # found and copied out, but its clusters hold something else by now
FAILS = "fails"                # found, but its content cannot be read
NOT_LISTED = "not listed"      # not found at all

ORPHANS = "Files with unknown path"


@dataclass
class Entry:
    """A file of a sample: what it held when it was made, and what is to be expected of it."""
    path: str
    content: bytes
    kinds: tuple = ()
    live: bool = False
    recovery: str = FULL
    why: str = ""
    dos_name: str = ""     # NTFS: the 8.3 name that makes the long one a Windows name
    shown_as: str = ""     # when the program shows another path than the one it was made under
    day: int = 0           # days after the first of the sample's dates
    id: int = -1           # record number on NTFS, first cluster on FAT
    recovered: bytes = b""
    extra: dict = field(default_factory=dict)

    @property
    def state(self):
        return "live" if self.live else "deleted"

    def modified(self):
        """A plausible date, the same in every run: seconds since 1970, UTC."""
        return int(datetime(2023, 5, 6, 7, 8, 10, tzinfo=timezone.utc).timestamp()) \
            + self.day * 86400 + len(self.content) % 1440 * 60

    def report(self):
        """The entry as it stands in the manifest."""
        row = {"id": self.id, "path": self.shown_as or self.path, "state": self.state,
               "kinds": list(self.kinds), "size": len(self.content),
               "sha256": sha256(self.content), "recovery": self.recovery}
        if self.recovery in (FULL, OTHER_CONTENT):
            row["recoveredSize"] = len(self.recovered)
            row["recoveredSha256"] = sha256(self.recovered)
        if self.why:
            row["why"] = self.why
        return row | self.extra


def sha256(content):
    return hashlib.sha256(content).hexdigest()


def require(condition, message):
    if not condition:
        raise SystemExit(f"make-samples: {message}")
