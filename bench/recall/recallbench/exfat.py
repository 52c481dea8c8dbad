"""exFAT volumes: made by mkfs.exfat, filled and emptied through exfat-fuse on a loop device.

Like Windows, exfat-fuse marks files that lie in one run as having no chain, and on deleting clears
the chains of the others. The driver in Linux's kernel and those in many cameras leave them.
"""

from contextlib import contextmanager

from .volume import Image, create, delete_tree, loop_device, mounted, run, write_tree

CLOCK_STEP = 2  # seconds: what is made within one seems to be of the same time
FAT_OFFSET_AT, FAT_LENGTH_AT, SECTOR_SHIFT_AT = 80, 84, 108


def format_volume(image, size, cluster):
    if not image.exists():
        create(image, size)
    run("mkfs.exfat", "-c", cluster, "-L", "RECALL", image)


@contextmanager
def mount(image):
    folder = image.with_suffix(".mount")
    with loop_device(image) as device, mounted(folder, "mount.exfat-fuse", device, folder) as root:
        yield root


def fill(image, files, day=0):
    with mount(image) as root:
        write_tree(root, files, day)


def _table(volume):
    """Where the FAT stands: (offset, length) in bytes."""
    offset, length = volume.unpack("<II", FAT_OFFSET_AT)
    shift, = volume.unpack("<B", SECTOR_SHIFT_AT)
    return offset << shift, length << shift


def delete(image, deleted, kept, keep_chains=False):
    with Image(image) as volume:
        chains = volume.read(*_table(volume))
    with mount(image) as root:
        delete_tree(root, deleted, kept)
    if keep_chains:
        with Image(image) as volume:
            volume.write(_table(volume)[0], chains)
