"""Compares what came out with what should have."""

from collections import Counter
from dataclasses import dataclass, field

from .volume import md5


@dataclass
class Score:
    """Numbers of files. `junk` came out, is called recovered, and never was on the volume."""
    wanted: int
    contents: int = 0
    names: int = 0
    folders: int = 0
    junk: int = 0
    twice: int = 0      # right contents that came out more than once
    not_whole: int = 0  # came out, and are said not to be whole
    whole: int = 0      # said to be whole, and are
    not_so: int = 0     # said to be whole, and are not
    seconds: float = 0
    status: int = 0
    missing: dict = field(default_factory=dict)  # kind: number
    junk_paths: list = field(default_factory=list)

    def all_right(self, names):
        """Whether everything came back (with names and folders, if there are any), and nothing
        wrong is called recovered."""
        whole = self.contents == self.wanted and not self.junk
        return whole and (not names or self.folders == self.wanted)


def alike(wanted, found, loses_initials):
    """Whether a name is right; the first letter of a deleted 8.3 name cannot come back."""
    if wanted == found:
        return True
    short = wanted == wanted.upper() and " " not in wanted
    return loses_initials and short and found[:1] in "_?" and wanted[1:] == found[1:]


def ends_alike(wanted, found, loses_initials):
    """Whether a path ends with another: programs put what they find in folders of their own."""
    return len(found) >= len(wanted) and all(
        alike(a, b, loses_initials) for a, b in zip(reversed(wanted), reversed(found)))


def score(volume, outcome):
    wanted = {md5(file.content): file for file in volume.wanted}
    known = {md5(file.content) for file in volume.live}
    places, result = {}, Score(len(wanted), seconds=outcome.seconds, status=outcome.status)
    for path in outcome.files():
        digest = md5(path.read_bytes())
        if path in outcome.said_whole:
            is_so = digest in wanted or digest in known
            result.whole += is_so
            result.not_so += not is_so
        if digest in wanted:
            places.setdefault(digest, []).append(path.relative_to(outcome.folder).parts)
        elif digest not in known:
            result.junk += 1
            result.junk_paths.append(str(path.relative_to(outcome.folder)))
    for digest, found in places.items():
        parts = wanted[digest].path.split("/")[volume.root_gone:]
        result.names += any(alike(parts[-1], place[-1], volume.loses_initials) for place in found)
        result.folders += any(ends_alike(parts, place, volume.loses_initials) for place in found)
        result.twice += len(found) - 1
    result.contents = len(places)
    result.not_whole = len(outcome.not_whole)
    result.missing = dict(Counter(wanted[digest].kind for digest in wanted.keys() - places.keys()))
    return result
