"""What every test volume has in common: its files, an image to edit, and ways to mount it."""

import hashlib
import os
import struct
import subprocess
from contextlib import contextmanager
from dataclasses import dataclass, field

SECTOR = 512
HOLE = 64 << 10
FIRST_DAY, DAY = 1684319400, 86400  # when the first files are written; seconds
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "MTOOLS_SKIP_CHECK": "1", "TERM": "dumb",
               "PATH": os.environ.get("PATH", "") + ":/usr/sbin:/sbin"}


class CannotMake(Exception):
    """A volume cannot be made on this machine; the message says why."""


def md5(content):
    return hashlib.md5(content).hexdigest()


def run(*command, at=FIRST_DAY):
    """Runs a tool that must succeed; returns what it printed. Where the tool lets itself be told
    the time, it is `at` (seconds since 1970)."""
    done = subprocess.run([str(part) for part in command],
                          env={**ENVIRONMENT, "SOURCE_DATE_EPOCH": str(at)},
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if done.returncode:
        text = (done.stderr or done.stdout).decode(errors="replace").strip()
        reason = text.splitlines()[-1] if text else f"exit status {done.returncode}"
        raise CannotMake(f"{command[0]} failed: {reason}")
    return done.stdout


@dataclass(frozen=True)
class File:
    """A file to be put on a volume; `path` is from the volume's root, `kind` its family."""
    path: str
    content: bytes = field(repr=False)
    kind: str = ""

    @property
    def folder(self):
        return self.path.rpartition("/")[0]

    @property
    def name(self):
        return self.path.rpartition("/")[2]


@dataclass
class Volume:
    """A finished volume: what a recovery should bring back from it, and what is no news."""
    image: object
    wanted: list
    live: list = field(default_factory=list)
    names: bool = True            # names and folders still stand somewhere on the volume
    root_gone: bool = False       # formatting has erased the root folder, and the names in it
    loses_initials: bool = False  # FAT: the first letter of a deleted 8.3 name is overwritten


class Image:
    """An unmounted volume's bytes, edited in place. Offsets are bytes."""

    def __init__(self, path):
        self.path = path
        self._file = open(path, "r+b")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._file.close()

    @property
    def size(self):
        return os.fstat(self._file.fileno()).st_size

    def read(self, at, length):
        return os.pread(self._file.fileno(), length, at)

    def write(self, at, content):
        os.pwrite(self._file.fileno(), content, at)

    def unpack(self, layout, at):
        return struct.unpack(layout, self.read(at, struct.calcsize(layout)))

    def stored(self):
        """The parts (offset, bytes) that are no holes of the image file."""
        descriptor, at = self._file.fileno(), 0
        while at < self.size:
            try:
                at = os.lseek(descriptor, at, os.SEEK_DATA)
            except OSError:  # only holes from here on
                return
            end = os.lseek(descriptor, at, os.SEEK_HOLE)
            while at < end:
                part = self.read(at, min(end - at, 1 << 24))
                yield at, part
                at += len(part)


def create(image, size):
    """A new image file of holes, in the place of whatever was there."""
    image.unlink(missing_ok=True)
    with open(image, "wb") as out:
        out.truncate(size)


@contextmanager
def loop_device(image):
    device = run("losetup", "--show", "--find", image).decode().strip()
    try:
        yield device
    finally:
        run("losetup", "--detach", device)


@contextmanager
def mounted(folder, *command):
    """Mounts by `command`, and writes the volume back when the block ends."""
    folder.mkdir(exist_ok=True)
    run(*command)
    try:
        yield folder
    finally:
        run("umount", folder)


def write_sparse(path, content):
    """Leaves out what is zeros, a run of at least HOLE bytes, as programs for large files do."""
    with open(path, "wb", buffering=0) as out:
        for at in range(0, len(content), HOLE):
            if any(part := content[at:at + HOLE]):
                out.seek(at)
                out.write(part)
        out.truncate(len(content))


def write_tree(root, files, day, sparse=False):
    """Writes files below a mounted volume's root in their order, a minute after each other."""
    for number, file in enumerate(files):
        path, written = root / file.path, FIRST_DAY + day * DAY + number * 60
        path.parent.mkdir(parents=True, exist_ok=True)
        if sparse:
            write_sparse(path, file.content)
        else:
            path.write_bytes(file.content)
        os.utime(path, (written, written))


def folders_of(files):
    """All folders above the files, the outer ones first."""
    folders = set()
    for file in files:
        parts = file.folder.split("/") if file.folder else []
        folders.update("/".join(parts[:depth]) for depth in range(1, len(parts) + 1))
    return sorted(folders)


def emptied_folders(deleted, kept):
    """The folders that deleting leaves empty, the inner ones first."""
    return sorted(set(folders_of(deleted)) - set(folders_of(kept)), reverse=True)


def delete_tree(root, deleted, kept):
    """Deletes files of a mounted volume, and the folders that become empty by it."""
    for file in deleted:
        (root / file.path).unlink()
    for folder in emptied_folders(deleted, kept):
        (root / folder).rmdir()


def intact(image, files):
    """Those of the files whose every sector still stands somewhere on the volume. Only for content
    that lies on the volume as it is: not compressed, not inside a file record."""
    sectors, beginnings = set(), set()
    with Image(image) as volume:
        for _, part in volume.stored():
            for at in range(0, len(part), SECTOR):
                sector = part[at:at + SECTOR]
                sectors.add(hash(sector))
                beginnings.add(sector[:8])
    def stands(content):
        whole = len(content) // SECTOR * SECTOR
        if any(hash(content[at:at + SECTOR]) not in sectors for at in range(0, whole, SECTOR)
               if any(content[at:at + SECTOR])):
            return False
        return len(content) - whole < 8 or content[whole:whole + 8] in beginnings
    return [file for file in files if stands(file.content)]
