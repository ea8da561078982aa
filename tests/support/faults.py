#!/usr/bin/env python3
"""Which test finds which small fault of the product code.

Faults stand in tests/support/faults*.txt. A copy of the sources gets all of them at once, each behind a switch that the
environment variable NOLVA_FAULT sets by name, and is built once. Every test program runs without a fault first, which
also tells whose switches it comes to; then each fault meets the programs that come to it. The sources themselves carry
no switch.

A fault is a block; "#" begins a comment.

    [name] file
    - text to find, once in the file; any white space fits any other
    ~ the faulty expression for it          or
    ! the faulty statements for it          or
    + the whole text for it, with FAULT where the switch is asked

Text of several lines has several lines of one kind. Nothing beside "!" means that the statement is left out.
"""
import argparse
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
SWITCH = r"""// Whether a seeded fault is switched on; NOLVA_FAULT_TRACE names a file that gets each one that is asked for.
#pragma once
#include <fcntl.h>
#include <unistd.h>
#include <cstdlib>
#include <cstring>
inline bool seededFault(const char* name) {
    if (const char* trace = std::getenv("NOLVA_FAULT_TRACE")) {
        char line[128] = "";
        std::strncat(line, name, sizeof line - 2);
        std::strcat(line, "\n");
        const int file = ::open(trace, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        if (::write(file, line, std::strlen(line)) < 0)
            ::close(-1);
        ::close(file);
    }
    const char* wanted = std::getenv("NOLVA_FAULT");
    return wanted && std::strcmp(wanted, name) == 0;
}
#define SEEDED(name) ([] { static const bool seeded = seededFault(name); return seeded; }())
"""


class Fault:
    def __init__(self, name, file, source):
        self.name, self.file, self.source = name, file, source
        self.lines = {"-": [], "~": [], "!": [], "+": []}
        self.folder = "/".join(Path(file).parts[:-1][:2])

    def switched(self, old):
        switch = f'SEEDED("{self.name}")'
        if self.lines["+"]:
            return "\n".join(self.lines["+"]).replace("FAULT", switch)
        if self.lines["~"]:
            return f"({switch} ? ({' '.join(self.lines['~'])}) : ({old}))"
        return f"{{ if ({switch}) {{ {' '.join(self.lines['!'])} }} else {{ {old} }} }}"


def read_faults(paths):
    faults, names = [], set()
    for path in paths:
        for number, line in enumerate(path.read_text().splitlines(), 1):
            start = re.fullmatch(r"\[([\w.-]+)\]\s+(\S+)", line)
            if start:
                if start[1] in names:
                    sys.exit(f"{path}:{number}: the fault {start[1]} is there twice")
                names.add(start[1])
                faults.append(Fault(start[1], start[2], f"{path.name}:{number}"))
            elif line[:1] in ("-", "~", "!", "+") and faults:
                faults[-1].lines[line[0]].append(line[2:])
            elif line.strip() and line[0] != "#":
                sys.exit(f"{path}:{number}: neither a fault's name nor its text")
    return faults


def seed(faults, tree):
    """Copies the sources and puts all faults in. The time of a file that comes out as before stays."""
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, text=True, check=True,
                            stdout=subprocess.PIPE).stdout.splitlines()
    contents = {name: (ROOT / name).read_bytes() for name in listed if (ROOT / name).is_file()}
    places, wrong = defaultdict(list), []
    for fault in faults:
        text = contents.get(fault.file, b"").decode()
        old = " ".join(fault.lines["-"]).split()
        found = [] if not old else list(re.finditer(r"\s+".join(re.escape(word) for word in old), text))
        if len(found) != 1:
            wrong.append(f"{fault.source}: {fault.name}: its text is {len(found)} times in {fault.file}")
        elif any(found[0].start() < end and start < found[0].end() for start, end, _ in places[fault.file]):
            wrong.append(f"{fault.source}: {fault.name}: its text lies within another fault's")
        else:
            places[fault.file].append((*found[0].span(), fault.switched(found[0][0])))
    if wrong:
        sys.exit("\n".join(wrong))
    contents["seededfault.h"] = SWITCH.encode()
    for name, switches in places.items():
        text = contents[name].decode()
        for start, end, new in sorted(switches, reverse=True):
            text = text[:start] + new + text[end:]
        up = "../" * (len(Path(name).parts) - 1)
        contents[name] = (f'#include "{up}seededfault.h"\n#line 1\n' + text).encode()
    for name, content in contents.items():
        path = tree / name
        path.parent.mkdir(parents=True, exist_ok=True)
        if not path.is_file() or path.read_bytes() != content:
            path.write_bytes(content)
            path.chmod(0o755 if os.access(ROOT / name, os.X_OK) else 0o644)
    for path in tree.rglob("*"):
        if path.is_file() and "build" not in path.relative_to(tree).parts and str(path.relative_to(tree)) not in contents:
            path.unlink()


def build(tree, chosen):
    """The programs that `chosen` takes, built."""
    out = tree / "build/check"
    # Also where it was before: the list of tests is that of the last configuration.
    subprocess.run(["cmake", "--preset", "check"], cwd=tree, check=True, stdout=subprocess.DEVNULL)
    listed = json.loads(subprocess.run(["ctest", "--show-only=json-v1"], cwd=out, text=True, check=True,
                                       stdout=subprocess.PIPE).stdout)["tests"]
    programs = [program for program in map(Program, listed) if chosen(program)]
    targets = [program.name for program in programs] if all(program.qt for program in programs) else ["all"]
    subprocess.run(["nice", "cmake", "--build", str(out), "--target", *targets, "--", "-k", "0"], check=True)
    listed = json.loads(subprocess.run(["ctest", "--show-only=json-v1"], cwd=out, text=True, check=True,
                                       stdout=subprocess.PIPE).stdout)["tests"]
    return [program for program in map(Program, listed) if chosen(program)]


class Program:
    def __init__(self, test):
        properties = {p["name"]: p["value"] for p in test.get("properties", [])}
        self.name, self.command = test["name"], test.get("command", [])
        self.label = (properties.get("LABELS") or [""])[0]
        self.folder = properties.get("WORKING_DIRECTORY", "/")
        self.qt = self.name.startswith("tst_")
        self.seconds, self.reaches = 0.0, set()

    def run(self, display, limit, fault="", trace=""):
        """The functions that fail, by name, and how long all took."""
        environment = dict(os.environ, DISPLAY=display, QT_QPA_PLATFORM="xcb", LIBGL_ALWAYS_SOFTWARE="1",
                           LC_ALL="C.UTF-8", NOLVA_FAULT=fault)
        environment.update({"NOLVA_FAULT_TRACE": trace} if trace else {})
        with tempfile.TemporaryDirectory(prefix="faults") as scratch:
            os.chmod(scratch, 0o755)  # a test may go on as another user
            log = Path(scratch) / "log"
            began = time.monotonic()
            process = subprocess.Popen(self.command + (["-v1", "-o", f"{log},txt"] if self.qt else []),
                                       cwd=self.folder, env=dict(environment, TMPDIR=scratch), start_new_session=True,
                                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            try:
                code, how = process.wait(limit), "crash"
            except subprocess.TimeoutExpired:
                code, how = -1, "hang"
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()
            said = log.read_text(errors="replace") if log.exists() else ""
        failed = list(dict.fromkeys(re.findall(r"^(?:FAIL!|XPASS|QFATAL) *: \w+::(\w+)\(", said, re.M)))
        entered = re.findall(r"^INFO *: \w+::(\w+)\(\) entering", said, re.M)
        if code != 0 and (how == "hang" or not failed or "Totals:" not in said):
            failed.append((entered[-1] if entered else "") + f" ({how})")
        return [f"{self.name}.{function}" for function in failed], time.monotonic() - began


def displays(number):
    started = []
    for _ in range(number):
        reads, writes = os.pipe()
        server = subprocess.Popen(["Xvfb", "-displayfd", str(writes), "-screen", "0", "1600x1200x24"],
                                  pass_fds=[writes], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(writes)
        started.append((server, ":" + os.fdopen(reads).readline().strip()))
    return started


def work(jobs, screens, act):
    """Calls act(job, display) for each, so many at a time as there are screens."""
    waiting, lock = list(jobs), threading.Lock()

    def serve(display):
        while True:
            with lock:
                if not waiting:
                    return
                job = waiting.pop(0)
            act(job, display)
    threads = [threading.Thread(target=serve, args=(display,)) for _, display in screens]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()


def report(faults, found, programs, out):
    lines, finds, alone = [], defaultdict(set), defaultdict(set)
    for fault in faults:
        by = found[fault.name]
        lines.append(f"{fault.name:44} {fault.folder:20} " + (", ".join(by) if by else "NOT FOUND"))
        for function in by:
            finds[function].add(fault.name)
        if len(by) == 1:
            alone[by[0]].add(fault.name)
    lines += ["", "Found, by folder"]
    for folder in sorted({fault.folder for fault in faults}):
        mine = [fault for fault in faults if fault.folder == folder]
        good = sum(1 for fault in mine if found[fault.name])
        lines.append(f"  {folder:24} {good:3} of {len(mine):3}  {100 * good // len(mine):3} %")
    lines += ["", "What each test function finds, and finds alone"]
    for function in sorted({*finds, *(f for p in programs for f in p.functions)}):
        lines.append(f"  {function:52} {len(finds[function]):3}  " + ", ".join(sorted(alone[function])))
    (out / "report.txt").write_text("\n".join(lines) + "\n")
    (out / "found.json").write_text(json.dumps(found, indent=1))
    print("\n".join(lines))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--only", action="append", help="faults of this folder, as device/simulated")
    parser.add_argument("--fault", action="append", help="this fault")
    parser.add_argument("--programs", default=".", help="test programs by a regular expression")
    parser.add_argument("--label", action="append", help="test programs of this label")
    parser.add_argument("--skip-slow", nargs="?", type=float, const=60.0, metavar="SECONDS",
                        help="leave out programs that take longer than this without a fault")
    parser.add_argument("--first", action="store_true", help="one test that finds it is enough: quick ones first")
    parser.add_argument("--resume", action="store_true", help="keep what an earlier run of the same faults found")
    parser.add_argument("--check", action="store_true", help="look only whether each fault's text is in its file")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--folder", type=Path, default=ROOT / "build/faults")
    options = parser.parse_args()

    every = read_faults(sorted(Path(__file__).parent.glob("faults*.txt")))
    tree = options.folder / "tree"
    tree.mkdir(parents=True, exist_ok=True)
    seed(every, tree)
    faults = [fault for fault in every if (not options.fault or fault.name in options.fault)
              and (not options.only or any(fault.file.startswith(folder) for folder in options.only))]
    if options.check or not faults:
        print(f"{len(every)} faults, all in their places; {len(faults)} chosen")
        return
    programs = build(tree, lambda p: re.search(options.programs, p.name)
                     and (not options.label or p.label in options.label))
    screens = displays(options.jobs)
    try:
        healthy, wrong = {}, []
        with tempfile.TemporaryDirectory(prefix="faults") as scratch:
            os.chmod(scratch, 0o755)

            def well(program, display):
                trace = f"{scratch}/{program.name}"
                Path(trace).touch()
                os.chmod(trace, 0o666)  # a test may go on as another user
                failed, program.seconds = program.run(display, 900, trace=trace)
                program.reaches = set(Path(trace).read_text().split()) if Path(trace).exists() else set()
                wrong.extend(failed)
                print(f"{program.name}: {program.seconds:.0f} s, {len(program.reaches)} faults", flush=True)
            work(sorted(programs, key=lambda p: p.name != "tst_librarycheck"), screens, well)
        if wrong:
            sys.exit("Without any fault: " + ", ".join(wrong))
        for program in programs:
            program.functions = functions_of(program)
        if options.skip_slow:
            programs = [p for p in programs if p.seconds <= options.skip_slow]
        programs.sort(key=lambda p: p.seconds)
        kept = options.folder / "found.json"
        found = json.loads(kept.read_text()) if options.resume and kept.exists() else {}
        lock = threading.Lock()

        def meet(fault, display):
            by = []
            for program in programs:
                if fault.name in program.reaches and not (options.first and by):
                    limit = max(20.0, 4 * program.seconds)
                    functions = program.run(display, limit, fault.name)[0]
                    if any(function.endswith("(hang)") for function in functions):  # or a machine that was busy
                        functions = program.run(display, 2 * limit, fault.name)[0]
                    by += functions
            with lock:
                found[fault.name] = by
                kept.write_text(json.dumps(found, indent=1))
                print(f"{len(found)} of {len(faults)}  {fault.name}: {', '.join(by) or 'NOT FOUND'}", flush=True)
        work([fault for fault in faults if fault.name not in found], screens, meet)
        report(faults, found, programs, options.folder)
    finally:
        for server, _ in screens:
            server.terminate()


def functions_of(program):
    if not program.qt:
        return [program.name]
    names = subprocess.run(program.command + ["-functions"], cwd=program.folder, text=True, stdout=subprocess.PIPE,
                           stderr=subprocess.DEVNULL, env=dict(os.environ, QT_QPA_PLATFORM="offscreen")).stdout
    return [f"{program.name}.{name}" for name in re.findall(r"^(\w+)\(\)$", names, re.M)]


if __name__ == "__main__":
    main()
