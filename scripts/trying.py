"""What the scripts that try the packages share: the manifest of the sample drives, a screen of its
own for a program with a window, and a list of checks that are counted."""

import collections
import hashlib
import json
import os
import pathlib
import subprocess
import tempfile
import time

TREE = pathlib.Path(__file__).resolve().parents[1]
MANIFEST = json.loads((TREE / "samples/manifest.json").read_text())["volumes"]
PATIENCE = 60  # seconds, for what takes one or two

# Places in the wizard's window; from its right and bottom when negative.
NEXT = (-116, -35)
RECOVER = (-58, -35)


def expect(holds, what):
    if not holds:
        raise AssertionError(what)


def wait_for(look, what):
    """Until there is something, which is given back."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        if found := look():
            return found
        time.sleep(0.2)
    raise AssertionError(f"no {what}")


def hashes_in(folder):
    return collections.Counter(hashlib.sha256(path.read_bytes()).hexdigest()
                               for path in folder.rglob("*") if path.is_file())


def hashes_expected(volume):
    """A file that cannot be read leaves an empty one."""
    empty = hashlib.sha256().hexdigest()
    return collections.Counter(file.get("recoveredSha256", empty) for file in volume["files"]
                               if file["recovery"] != "not listed")


def expect_recovered(volume, exit_code, target):
    """What came back is all that can, byte for byte. Other files lie over one of the NTFS sample."""
    expect(exit_code == int(volume["fileSystem"] == "NTFS"), f"exit code {exit_code}")
    expect(hashes_in(target) == hashes_expected(volume), "other files than the manifest names")


class Screen:
    """A display of its own, with a program's window on it. Pictures go to the folder `screens`."""

    def __init__(self, command, screens):
        ends = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-ac", "-displayfd", str(ends[1]), "-screen", "0", "1024x768x24"],
            pass_fds=[ends[1]], stderr=subprocess.DEVNULL)
        os.close(ends[1])
        with os.fdopen(ends[0]) as numbers:
            self.environment = {**os.environ, "DISPLAY": ":" + numbers.readline().strip()}
        self.program = subprocess.Popen(command, env=self.environment, stderr=subprocess.DEVNULL)
        self.screens = screens
        self.shots = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end_program()
        self.program.wait()
        self.server.terminate()
        self.server.wait()

    def end_program(self):
        self.program.terminate()

    def run(self, *command):
        return subprocess.run(command, env=self.environment, timeout=PATIENCE, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout.decode()

    def window(self, title):
        """Waits for a window, and gives it the keyboard."""
        found = wait_for(lambda: self.run("xdotool", "search", "--onlyvisible", "--name",
                                          f"^{title}$").split(), f"window {title}")
        self.settle()
        self.run("xdotool", "windowfocus", "--sync", found[-1])
        return found[-1]

    def key(self, name):
        self.run("xdotool", "key", name)

    def type(self, text):
        self.run("xdotool", "type", text)

    def click(self, window, x, y):
        """At a place in a window; from its right and bottom when negative."""
        shape = dict(line.split("=") for line in
                     self.run("xdotool", "getwindowgeometry", "--shell", window).split())
        x += int(shape["WIDTH"]) if x < 0 else 0
        y += int(shape["HEIGHT"]) if y < 0 else 0
        self.run("xdotool", "mousemove", "--window", window, str(x), str(y), "click", "1")
        self.settle()

    def picture(self, form="png"):
        return subprocess.run(["import", "-window", "root", f"{form}:-"], env=self.environment,
                              stdout=subprocess.PIPE, check=True).stdout

    def settle(self):
        """Until nothing on the screen changes."""
        before = None
        for _ in range(50):
            time.sleep(0.3)
            now = self.picture("rgb")
            if now == before:
                return
            before = now

    def keep(self, name):
        self.shots += 1
        self.screens.mkdir(parents=True, exist_ok=True)
        (self.screens / f"{self.shots}-{name}.png").write_bytes(self.picture())


def run_checks(checks):
    """Each with a folder for what it needs. Ends with a line "N passed, N failed"; true if all did."""
    failed = 0
    for name, check in checks.items():
        with tempfile.TemporaryDirectory() as scratch:
            try:
                check(pathlib.Path(scratch))
                print("ok     ", name, flush=True)
            except (AssertionError, OSError, subprocess.SubprocessError) as problem:
                failed += 1
                print("FAILED ", name + ":", problem, flush=True)
    print(f"\n{len(checks) - failed} passed, {failed} failed")
    return failed == 0
