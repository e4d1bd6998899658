#!/usr/bin/env python3
"""Packs a folder, so that equal contents give equal archives.

  SOURCE_DATE_EPOCH=SECONDS scripts/release/pack.py FOLDER ARCHIVE...

An ARCHIVE ends in .tar.gz or .zip and holds FOLDER under its last name. Names
are sorted; all that differs between two machines is left out: every time is
SOURCE_DATE_EPOCH, owner and group are 0, and a file can be run by all or by
none. A link or a device in FOLDER is refused.
"""

import gzip
import os
import pathlib
import stat
import sys
import tarfile
import time
import zipfile


def entries(folder):
    """The path, the name in the archive and the mode of all that is packed."""
    yield folder, folder.name, stat.S_IFDIR | 0o755
    for path in sorted(folder.rglob("*"), key=lambda path: path.relative_to(folder).parts):
        name = f"{folder.name}/{path.relative_to(folder).as_posix()}"
        mode = path.lstat().st_mode
        if stat.S_ISDIR(mode):
            yield path, name, stat.S_IFDIR | 0o755
        elif stat.S_ISREG(mode):
            yield path, name, stat.S_IFREG | (0o755 if mode & stat.S_IXUSR else 0o644)
        else:
            raise SystemExit(f"pack.py: {path} is neither a file nor a folder")


def pack_tar(folder, archive, epoch):
    """Writes a .tar.gz without a name or a time in the header of gzip."""
    with open(archive, "wb") as file:
        with gzip.GzipFile("", "wb", 9, file, mtime=0) as packed:
            with tarfile.open(fileobj=packed, mode="w", format=tarfile.GNU_FORMAT) as tar:
                for path, name, mode in entries(folder):
                    info = tarfile.TarInfo(name)
                    info.mode, info.mtime = stat.S_IMODE(mode), epoch
                    if stat.S_ISDIR(mode):
                        info.type = tarfile.DIRTYPE
                        tar.addfile(info)
                    else:
                        info.size = path.stat().st_size
                        with open(path, "rb") as content:
                            tar.addfile(info, content)


def pack_zip(folder, archive, epoch):
    """Writes a .zip whose times are those of UTC; zip itself knows no zone."""
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as packed:
        for path, name, mode in entries(folder):
            is_folder = stat.S_ISDIR(mode)
            info = zipfile.ZipInfo(name + "/" * is_folder, time.gmtime(epoch)[:6])
            info.create_system = 3  # Unix: the mode below counts
            info.external_attr = mode << 16 | (0x10 if is_folder else 0)
            info.compress_type = zipfile.ZIP_STORED if is_folder else zipfile.ZIP_DEFLATED
            packed.writestr(info, b"" if is_folder else path.read_bytes())


def main(arguments):
    """Packs; the comment on top says what."""
    packers = {".tar.gz": pack_tar, ".zip": pack_zip}
    kinds = [[end for end in packers if name.endswith(end)] for name in arguments[1:]]
    if not kinds or not all(kinds):
        print(__doc__, file=sys.stderr)
        return 2
    folder = pathlib.Path(os.path.abspath(arguments[0]))
    epoch = int(os.environ["SOURCE_DATE_EPOCH"])
    for archive, (kind,) in zip(arguments[1:], kinds):
        packers[kind](folder, archive, epoch)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
