#!/usr/bin/env python3
"""Kills the agent at random moments, and looks at what it leaves behind.

usage: kill-test.py AGENT TOOL [--kills N] [--seed S]

Several installations side by side, so that the waits of one are the work of the others. Each run of
an agent starts on a state that a killed one has left, finds files that changed meanwhile, and is
killed: while it starts, restores and records; while it saves, a moment behind the request to stop;
or while it reconfigures, behind a change of its lists. In every other installation the event file
rolls over with each line.

After each kill FileWatch.dat or FileWatch.dat.tmp must be whole and readable by the tool, once there
has been a whole one, and each line of the event files but the torn last one of a kill must be whole.
The next start must take the state. The seed is printed; --seed repeats its choices, though not the
machine's timing.
"""
import argparse
import collections
import hashlib
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

LANES = 10
FILES = 40
COMPLETE = b"\xce\xab\x0c\x00"  # signature and version of a whole state
RECORD = re.compile(rb"[A-Z]{4},\d+,")
LIST_CHECK_SECONDS = 10  # how often the agent looks at its lists


class Failure(Exception):
    pass


class Lane:
    """One installation and the agents that are killed on it."""

    def __init__(self, folder, agent, tool, number, chance, moments):
        self.root = folder / f"lane{number}"
        self.data = self.root / "data"
        self.bin = self.root / "IDS/bin"
        self.agent, self.tool = agent, tool
        self.chance, self.moments = chance, moments
        self.had_whole_state = False
        self.with_logs = True
        self.counter = 0
        self.records = {}  # of each event file, as last counted
        for name in ("IDS/bin", "IDS/system", "IDS/log", "data", "view/IDS/bin", "view/IDS/system"):
            (self.root / name).mkdir(parents=True)
        value = "each" if number % 2 else "100"  # what is no number is a limit of 0
        (self.root / "IDS/system/agent.ini").write_text(
            "[File Collector]\nshort poll interval=10\n"
            f"[Event Management]\nEventFile Rollover Type=size\nEventFile Rollover Value={value}\n")
        self.change_files(FILES)
        self.write_lists()

    def path(self, native):
        return "C:" + str(native).replace("/", "\\")

    def write_lists(self):
        keys = [f"File0001={self.path(self.data)}\\*.txt|1|1|0"]
        if self.with_logs:
            keys.append(f"File0002={self.path(self.data)}\\*.cfg|1|0|0")
        (self.root / "IDS/system/filewatch.ini").write_text(
            "[FileWatch]\nNumLists=1\n[FileWatch List - High Protection]\n"
            f"MaxFileNumber={len(keys)}\n" + "\n".join(keys) + "\n")
        (self.root / "IDS/system/logwatch.ini").write_text(
            f"[Log Files]\nFiles=1\n[File1]\nFileName={self.path(self.data)}\\app.log\n")

    def change_files(self, count):
        for _ in range(count):
            self.counter += 1
            name = self.data / f"{self.chance.randrange(FILES)}.{self.chance.choice(['txt', 'cfg'])}"
            if self.chance.random() < 0.2:
                name.unlink(missing_ok=True)
            else:
                name.write_text("x" * self.counter)
        with open(self.data / "app.log", "a", encoding="ascii") as log:
            log.write(f"line {self.counter}\n" * 5)

    def run_once(self, kind):
        self.change_files(self.chance.randrange(1, FILES))
        before, is_known = self.service_log(), self.has_state_of_lists()
        with open(self.root / "console.txt", "ab") as console:
            agent = subprocess.Popen([self.agent, "-p", self.path(self.root)], stdout=console,
                                     stderr=console)
            try:
                self.kill(agent, kind)
            finally:
                agent.kill()
                agent.wait()
        self.moments[kind] += 1
        self.check_start(self.service_log()[len(before):], is_known)
        self.check_state()
        self.check_events()

    def kill(self, agent, kind):
        if kind == "start":
            time.sleep(self.chance.uniform(0, 1.3))
        elif kind == "save":
            time.sleep(self.chance.uniform(0.8, 1.5))
            agent.send_signal(signal.SIGTERM)
            time.sleep(self.chance.uniform(0, 0.06))
        else:
            time.sleep(1)
            self.with_logs = not self.with_logs
            self.write_lists()
            time.sleep(LIST_CHECK_SECONDS - 1 + self.chance.uniform(1.9, 3.5))
        if agent.poll() not in (None, 0):
            raise Failure(f"the agent ended by itself with {agent.returncode}")
        if kind == "save" and agent.returncode == 0:
            self.moments["stopped before the kill"] += 1

    def service_log(self):
        logs = sorted((self.root / "IDS/log").glob("*.log"))
        return b"".join(log.read_bytes() for log in logs)

    def states(self):
        return [self.bin / "FileWatch.dat", self.bin / "FileWatch.dat.tmp"]

    def has_state_of_lists(self):
        """Is there a whole state of the lists as they are now?"""
        digest = hashlib.md5((self.root / "IDS/system/filewatch.ini").read_bytes()).digest()
        return any(state.exists() and state.read_bytes()[:4] == COMPLETE and
                   state.read_bytes()[8:24] == digest for state in self.states())

    def check_start(self, said, is_known):
        """What the start that was just killed said of the state that it found."""
        refusals = [b"FWC_0006", b"FWC_0013", b"FWC_0014", b"FWC_0027"] if is_known else []
        for code in [b"FWC_0002", b"FWC_0004", b"FWC_0005"] + refusals:
            if code in said:
                line = said[said.index(code):].split(b"\n")[0]
                raise Failure(f"the next start said {line.decode(errors='replace')}")

    def check_state(self):
        whole = [state for state in self.states()
                 if state.exists() and state.read_bytes()[:4] == COMPLETE]
        for state in self.states():
            if state.exists() and state not in whole:
                self.moments["torn or partial: " + state.name] += 1
        if self.had_whole_state and not whole:
            raise Failure("no whole state is left")
        self.had_whole_state = self.had_whole_state or bool(whole)
        for state in whole:
            shutil.copy(state, self.root / "view/IDS/bin/FileWatch.dat")
            view = subprocess.run([self.tool, "-p", self.path(self.root / "view"), "-l", "C:\\x",
                                   "-v"], capture_output=True, check=False)
            if view.returncode != 0:
                raise Failure(f"the tool cannot read {state.name}: {view.stdout[-200:]}")

    def check_events(self):
        """Each record begins where a line begins, and quotes are closed in each but the last."""
        for file in (self.root / "IDS/log").glob("QVRIDSEvents*"):
            records = []
            for line in file.read_bytes().splitlines(keepends=True):
                if RECORD.match(line):
                    records.append(line)
                elif records:
                    records[-1] += line
                else:
                    raise Failure(f"{file.name} begins with {line[:80]}")
            for record in records[:-1]:
                if record.count(b'"') % 2 or not record.endswith(b"\n") or len(
                        RECORD.findall(record.replace(b"\n", b" "))) != 1:
                    raise Failure(f"a torn line in {file.name}: {record[:200]}")
            self.records[file.name] = len(records)
            if records and not records[-1].endswith(b"\n"):
                self.moments["torn last line"] += 1


def work(lane, kinds, failures):
    for kind in kinds:
        if failures:
            return
        try:
            lane.run_once(kind)
        except Failure as failure:
            failures.append(f"{lane.root.name}, {kind}: {failure}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("agent")
    parser.add_argument("tool")
    parser.add_argument("--kills", type=int, default=200)
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 32))
    arguments = parser.parse_args()
    print(f"seed {arguments.seed}", flush=True)
    kinds = ["start", "start", "save", "save", "save", "start", "save", "start", "save",
             "reconfigure"]
    moments, failures, lanes, threads = collections.Counter(), [], [], []
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as folder:
        for number in range(LANES):
            chance = random.Random(arguments.seed * LANES + number)
            lane = Lane(pathlib.Path(folder).resolve(), arguments.agent, arguments.tool, number,
                        chance, moments)
            lanes.append(lane)
            mine = [kinds[i % len(kinds)] for i in range(-(-arguments.kills // LANES))]
            threads.append(threading.Thread(target=work, args=(lane, mine, failures)))
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        if failures:
            shutil.copytree(folder, "build/kill-test", dirs_exist_ok=True)
    if not failures and not all(lane.records for lane in lanes):
        failures.append("no event was recorded")
    kills = sum(moments[kind] for kind in ("start", "save", "reconfigure"))
    records = sum(sum(lane.records.values()) for lane in lanes)
    print(f"{kills} kills, {records} records:", ", ".join(f"{what} {count}" for what, count in sorted(moments.items())))
    for failure in failures:
        print("FAILED", failure, "(kept in build/kill-test)")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
