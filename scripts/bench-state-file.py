#!/usr/bin/env python3
"""Measures view and upgrade of large state files.

usage: bench-state-file.py LATHWIND FOLDER [COUNT...]

Writes a state file of COUNT regular entities (100,000 and 1,000,000) into an installation below
FOLDER and prints, for each count,

  view     `Lathwind -v` of a file of version 12, output to a file, against `openssl dgst -sha256`
           of the same state file
  upgrade  `Lathwind -c` of a file of version 11

as time and peak memory for each entity. Growth is linear if the figures of both counts agree.
Each time is the best of several runs; the two sides of a ratio take turns.
"""
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import time

ACL = ["O:S-1-5-18", "G:S-1-5-32-544", "D:PAI", "(A;;FA;;;SY)", "(A;;FA;;;BA)",
       "(A;;0x1200a9;;;BU)"]


def string(text):
    return struct.pack("<I", len(text)) + text.encode("utf-16-le")


def state_file(version, count):
    """The pieces of a state file of `count` regular entities that differ in path, size and times."""
    yield struct.pack("<HHI", 0xABCE, version, 2) + bytes(5 * 16) + struct.pack("<I", 0)
    before = struct.pack("<i", 0) + (string("") if version >= 12 else b"")
    behind = (struct.pack("<I", 1) + string("S-1-5-18") + string("S-1-5-32-544") +
              struct.pack("<II", 0, 0) +
              struct.pack("<I", len(ACL)) + b"".join(string(item) for item in ACL) +
              bytes(range(32)) + struct.pack("<i", 2) + string(""))
    for i in range(count):
        path = string("c:\\no such folder\\product\\data\\part%03d\\file%07d.cfg" %
                      (i % 1000, i))
        born = 132000000000000000 + i
        yield (before + path +
               struct.pack("<BQIIQQQ", 1, 4096 + i, 1, 0x20, born, born + 1, born + 2) + behind)


def write_state_file(target, version, count):
    # Piece by piece: a child's peak memory counts from that of the process that starts it, so
    # what this one held would be taken for the tool's.
    with open(target, "wb") as output:
        output.writelines(state_file(version, count))


def run(command, output=subprocess.DEVNULL):
    """Seconds and peak resident bytes of one run."""
    start = time.monotonic()
    process = subprocess.Popen(command, stdout=output, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    seconds = time.monotonic() - start
    if os.waitstatus_to_exitcode(status) != 0:
        sys.exit("failed: " + " ".join(map(str, command)))
    return seconds, usage.ru_maxrss * 1024


def bench(lathwind, folder, count):
    root = folder / "install"
    shutil.rmtree(root, ignore_errors=True)
    for name in ("IDS/bin", "IDS/system", "IPS", "rvmklog"):
        (root / name).mkdir(parents=True)
    (root / "rvmklog/QVRIPSService.log").write_text("a line\n")
    state = root / "IDS/bin/FileWatch.dat"
    tool = [lathwind, "-p", root, "-l", root / "rvmklog/QVRIPSService.log"]
    rounds = 5 if count <= 100000 else 3

    write_state_file(state, 12, count)
    views, references = [], []
    for _ in range(rounds):
        references.append(run(["openssl", "dgst", "-sha256", state])[0])
        with open(folder / "view.txt", "wb") as output:
            views.append(run(tool + ["-v"], output))
    seconds = min(view[0] for view in views)
    reference = min(references)
    # Three lines a file: that each entity was shown is part of the measurement.
    lines = sum(1 for _ in open(folder / "view.txt", "rb"))
    if lines < 2 * count:
        sys.exit("the view is incomplete: %d lines" % lines)
    print("view    %9d entities: %6.2f s, %5.0f ns each, %5.0f bytes each at peak; "
          "openssl dgst -sha256 %.3f s; ratio %.2f (goal: at most 4)" %
          (count, seconds, seconds / count * 1e9, views[0][1] / count, reference,
           seconds / reference))

    upgrades = []
    for _ in range(2):
        write_state_file(state, 11, count)
        upgrades.append(run(tool + ["-c"]))
    seconds, memory = min(upgrades)
    print("upgrade %9d entities: %6.2f s, %5.0f ns each, %5.0f bytes each at peak" %
          (count, seconds, seconds / count * 1e9, memory / count), flush=True)
    shutil.rmtree(root)


def main():
    lathwind, folder = pathlib.Path(sys.argv[1]).absolute(), pathlib.Path(sys.argv[2]).absolute()
    folder.mkdir(parents=True, exist_ok=True)
    for count in [int(word) for word in sys.argv[3:]] or [100000, 1000000]:
        bench(lathwind, folder, count)
    (folder / "view.txt").unlink()


if __name__ == "__main__":
    main()
