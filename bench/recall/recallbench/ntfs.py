"""NTFS volumes: made by mkntfs, filled and emptied through ntfs-3g."""

import os
import struct

from .volume import File, Image, create, delete_tree, folders_of, md5, mounted, run, write_tree

COMPRESSED_FOLDER = 0x00000810  # FILE_ATTRIBUTE_COMPRESSED on a folder


def format_volume(image, size, cluster):
    """Formats; an image that exists keeps what lies on it, as a quick format does."""
    if not image.exists():
        create(image, size)
    run("mkntfs", "--force", "--fast", "--quiet", "--sector-size", 512, "--cluster-size", cluster,
        "--label", "RECALL", image)


def mount(image):
    return mounted(image.with_suffix(".mount"), "ntfs-3g", "-o", "compression", image,
                   image.with_suffix(".mount"))


def give_dos_names(root, paths):
    """8.3 names, as on a volume that Windows has written; ntfs-3g's own are POSIX names only."""
    for path in paths:
        suffix = path.rpartition(".")[2][:3].encode("ascii", "ignore").decode()
        short = f"{md5(path.encode())[:6]}~1.{suffix}".upper()
        os.setxattr(root / path, "system.ntfs_dos_name", short.encode())


def compress_folder(folder):
    """What is created in the folder from now on is compressed by the file system."""
    os.setxattr(folder, "system.ntfs_attrib_be", struct.pack(">I", COMPRESSED_FOLDER))


def fill(image, files, day=0, compressed=(), sparse=False, late_names=False):
    """Writes the files; the folders named in `compressed` hold compressed ones. With `late_names`,
    folders get their second name when they are full: ntfs-3g then often has to move the first one
    to an extension record."""
    with mount(image) as root:
        new = [folder for folder in folders_of(files) if not (root / folder).exists()]
        for folder in new:
            (root / folder).mkdir()
            if folder in compressed:
                compress_folder(root / folder)
        if not late_names:
            give_dos_names(root, new)
        write_tree(root, files, day, sparse)
        if late_names:
            give_dos_names(root, new)
        give_dos_names(root, [file.path for file in files])


def delete(image, deleted, kept):
    with mount(image) as root:
        delete_tree(root, deleted, kept)


def reuse_records(image, count):
    """Takes every freed record by a new file so small that it lies in its record, and every freed
    folder's index by nothing: only the records are lost. Returns the new files."""
    new = [File(f"New {number:04}.txt", b"note %d\n" % number) for number in range(count)]
    with mount(image) as root:
        write_tree(root, new, day=1)
    return new


def overwrite_start(image, length):
    """What a tool that was aimed at the wrong drive does."""
    with Image(image) as volume:
        volume.write(0, bytes(length))


def clear_boot_sectors(image):
    """The boot sector and its copy in the volume's last sector."""
    with Image(image) as volume:
        volume.write(0, bytes(512))
        volume.write(volume.size - 512, bytes(512))
