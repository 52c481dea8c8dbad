"""The programs that are measured, each run as a user would run it; known by its output only."""

import json
import re
import shutil
import statistics
import subprocess
import time
from dataclasses import dataclass, field
from pathlib import Path

from .volume import ENVIRONMENT

LONGEST_RUN = 300  # seconds
SEARCHED = ("formatted", "lost")  # groups of cases that only a search of the whole drive can help


@dataclass
class Outcome:
    """What a program wrote below `folder` and said about it."""
    folder: Path
    seconds: float = 0
    status: int = 0
    said: str = ""
    not_whole: set = field(default_factory=set)  # files it does not call recovered
    said_whole: set = field(default_factory=set)  # files it says nothing was written over

    def files(self):
        return sorted(path for path in self.folder.rglob("*") if path.is_file()
                      and not path.is_symlink() and path not in self.not_whole)


class Tool:
    """One program; `command` gives its command line for an image, an output folder and a case's
    group. `reads` names the one file system that it knows, `unwanted` its output that is no file.
    """

    def __init__(self, name, program, command, reads=None, unwanted=()):
        self.name, self.program, self._command, self._unwanted = name, program, command, unwanted
        self._reads = reads

    def fits(self, case):
        return self._reads in (None, case.file_system)

    def seconds(self, image, folder, group, runs):
        """How long it takes, the median of so many runs; each writes to `folder`, which is gone
        afterwards."""
        taken = []
        for _ in range(runs):
            taken.append(self.recover(image, folder, group).seconds)
            shutil.rmtree(folder)
        return statistics.median(taken)

    def recover(self, image, folder, group):
        folder.mkdir(parents=True)
        outcome = Outcome(folder)
        began = time.monotonic()
        try:
            done = subprocess.run([str(part) for part in self._command(image, folder, group)],
                                  env=ENVIRONMENT, cwd=folder, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  timeout=LONGEST_RUN)
            outcome.status, outcome.said = done.returncode, done.stdout.decode(errors="replace")
        except subprocess.TimeoutExpired:
            outcome.status, outcome.said = -1, f"stopped after {LONGEST_RUN} seconds"
        outcome.seconds = time.monotonic() - began
        for name in self._unwanted:
            for path in folder.rglob(name):
                path.unlink()
        return outcome


class Orvane(Tool):
    """The command line of this repository; `search_flags` are for the groups in SEARCHED only."""

    def __init__(self, program, flags=(), search_flags=()):
        def command(image, folder, group):
            return [program, "recover", image, "--to", folder,
                    *(("--report", report_of(folder)) if self.reports else ()),
                    *flags, *(search_flags if group in SEARCHED else ())]
        self.reports = True
        super().__init__("Orvane", program, command)

    def seconds(self, image, folder, group, runs):
        self.reports = False  # It has to sum up all files; the others give none.
        try:
            return super().seconds(image, folder, group, runs)
        finally:
            self.reports = True

    def recover(self, image, folder, group):
        outcome = super().recover(image, folder, group)
        outcome.not_whole = named_in(outcome.said, folder)
        if report_of(folder).exists():
            files = json.loads(report_of(folder).read_bytes())["files"]
            outcome.said_whole = {folder / file["path"] for file in files
                                  if file["result"] == "recovered" and file["state"] == "whole"}
        return outcome


def report_of(folder):
    return folder.with_name(folder.name + ".json")


def named_in(report, folder):
    """Of the report's lines "  PATH: reason", the paths that are there."""
    found = set()
    for line in report.splitlines():
        for colon in re.finditer(": ", line):
            path = folder / line[:colon.start()].strip()
            if line.startswith("  ") and path.is_file():
                found.add(path)
    return found


OTHERS = [
    Tool("tsk_recover", "tsk_recover", lambda image, folder, _: ["tsk_recover", image, folder]),
    Tool("photorec", "photorec",
         lambda image, folder, group: [
             "photorec", "/d", folder / "found", "/cmd", image, "partition_none,fileopt,everything,"
             f"enable,{'wholespace' if group == 'formatted' else 'freespace'},search"],
         unwanted=("report.xml", "photorec.ses", "photorec.log")),
    Tool("ntfsundelete", "ntfsundelete",
         lambda image, folder, _: ["ntfsundelete", "--force", "--undelete", "--match", "*",
                                   "--truncate", "--destination", folder, image],
         reads="ntfs"),
]
