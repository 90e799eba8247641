#!/usr/bin/env python3
"""Changes the code in one place at a time and says which changes the tests let through.

    .ci/mutation.sh [--count N] [--seed N] [--jobs N] [DIRECTORY...]

N changes are drawn from the sources in the directories: src, client, cli, emulator and study if none is given. One
that does not compile, or that leaves the machine code as it is, does not count, and another is drawn. Clones, in which
it builds, are made in $TMPDIR and deleted afterwards. 200 changes take about two hours on 2 cores.
"""

import argparse
import contextlib
import hashlib
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

# The tests that are to notice a change of a directory, the quickest first.
TESTS = {
    "src": ["settings", "connector", "wire", "hostile", "identity", "client"],
    "client": ["client", "cli"],
    "cli": ["cli", "identity"],
    "emulator": ["emulator", "client"],
    "study": ["study", "cli"],
}

# What is looked for, and what takes its place. The code's format tells operators from the brackets of templates.
OPERATORS = [
    (r" == ", " != "), (r" != ", " == "), (r" < ", " <= "), (r" <= ", " < "), (r" > ", " >= "), (r" >= ", " > "),
    (r" && ", " || "), (r" \|\| ", " && "), (r" \+ ", " - "), (r" - ", " + "), (r" \+= ", " -= "),
    (r"\btrue\b", "false"), (r"\bfalse\b", "true"), (r"(?<=\()!(?=\w)", ""), (r"\+\+", "--"),
    (r"\b(continue|break);", ";"),
    (r"(?<![\w.'])[1-9]\d*(?![\w.'])", lambda number: str(int(number.group()) + 1)),
    (r"\bif \((?=[\w.:>()-]+\) )", "if (!"),
]
CALL = re.compile(r"^\s+(?!return\b|throw\b|case\b|delete\b|else\b)[\w.:>-]+\([^;{}]*\);$")
NO_CODE = re.compile(r"^\s*(#|template\b|static_assert\b|using\b|//|((static|inline) )*constexpr\b)")  # limits and paces, too
LITERAL = re.compile(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)+\'|//.*')


def find_changes(file):
    """Each change of the file: number of the line (from 0), and the line that takes its place."""
    is_raw = False  # within a literal of several lines
    for number, line in enumerate(file.read_text().splitlines()):
        if is_raw or 'R"' in line:
            is_raw = (is_raw or 'R"' in line) and ')"' not in line.split('R"')[-1]
            continue
        if NO_CODE.match(line):
            continue
        code = LITERAL.sub(lambda literal: " " * len(literal.group()), line)
        for pattern, replacement in OPERATORS:
            for match in re.finditer(pattern, code):
                new = replacement(match) if callable(replacement) else replacement
                yield number, line[: match.start()] + new + line[match.end():]
        if CALL.match(line) and CALL.match(code.rstrip()):
            yield number, ""


class Clone:
    """A clone of the last commit with its build, in which changes are tried one after the other."""

    def __init__(self, source, work, name):
        self.root = work / name
        run("git", "clone", "--quiet", source, self.root)
        # One object for each source, so that little is compiled for a change, and what does not compile is told.
        options = ["-DCMAKE_UNITY_BUILD=OFF", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", "-DCMAKE_COMPILE_WARNING_AS_ERROR=OFF"]
        run("cmake", "--preset", "dev", *options, cwd=self.root)
        self.build()
        self.code = self.hash_code(0)

    def build(self):
        return subprocess.run(["cmake", "--build", "--preset", "dev"], cwd=self.root, capture_output=True).returncode == 0

    def hash_code(self, since):
        """What the objects that were built since then hold, but for what is told to debuggers."""
        codes = {}
        for file in (self.root / "build/dev").rglob("*.o"):
            if file.stat().st_mtime >= since:
                bare = self.root / "bare.o"
                run("objcopy", "--strip-debug", file, bare)
                codes[file] = hashlib.sha256(bare.read_bytes()).digest()
        return codes

    def passes(self, tests):
        for name in tests:
            command = ["ctest", "--test-dir", f"build/dev/tests/{name}", "--stop-on-failure", "--timeout", "120"]
            with subprocess.Popen(command, cwd=self.root, stdout=subprocess.DEVNULL, start_new_session=True) as ctest:
                status = ctest.wait()
            with contextlib.suppress(ProcessLookupError):
                os.killpg(ctest.pid, signal.SIGKILL)  # what a test left running
            if status != 0:
                return False
        return True

    def judge(self, file, number, line, tests):
        """Whether the tests notice the change; None if it is none."""
        target = self.root / file
        text = target.read_text()
        lines = text.splitlines()
        lines[number] = line
        target.write_text("\n".join(lines) + "\n")
        start = time.time()
        try:
            if not self.build() or self.hash_code(start).items() <= self.code.items():
                return None
            return not self.passes(tests)
        finally:
            target.write_text(text)


def run(*command, cwd=None):
    subprocess.run(command, cwd=cwd, check=True, stdout=subprocess.DEVNULL)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=200, help="how many changes are to count")
    parser.add_argument("--seed", type=int, default=1, help="another one draws other changes")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="how many clones work at once")
    parser.add_argument("directories", nargs="*", choices=[*TESTS, []], metavar="DIRECTORY")
    options = parser.parse_args()

    source = Path(__file__).resolve().parent.parent
    resource.setrlimit(resource.RLIMIT_DATA, (8 << 30, 8 << 30))  # A loop may no longer end.
    os.environ["CMAKE_BUILD_PARALLEL_LEVEL"] = os.environ["CTEST_PARALLEL_LEVEL"] = "1"
    work = Path(tempfile.mkdtemp(prefix="mutation-"))
    counted = []
    lock = threading.Lock()

    def judge_changes(clone):
        while True:
            with lock:
                change = next(drawn, None) if len(counted) < options.count else None
            if not change:
                return
            is_noticed = clone.judge(*change)
            if is_noticed is None:
                continue
            file, number, line, _ = change
            with lock:
                counted.append(is_noticed)
                print(f"{sum(counted)} of {len(counted)}", file=sys.stderr, flush=True)
                if not is_noticed:
                    old = (clone.root / file).read_text().splitlines()[number].strip()
                    print(f"let through: {file}:{number + 1}: {old}\n    as: {line.strip() or '(nothing)'}", flush=True)

    try:
        with ThreadPoolExecutor(options.jobs) as pool:
            clones = list(pool.map(lambda name: Clone(source, work, str(name)), range(options.jobs)))
            every = sorted({name for tests in TESTS.values() for name in tests})
            if not clones[0].passes(every):
                sys.exit("mutation: the tests fail without any change")
            root = clones[0].root
            changes = [
                (file.relative_to(root), number, line, TESTS[directory])
                for directory in options.directories or TESTS
                for file in sorted((root / directory).rglob("*"))
                if file.suffix in (".cpp", ".h")
                for number, line in find_changes(file)
            ]
            random.Random(options.seed).shuffle(changes)
            drawn = iter(changes)
            list(pool.map(judge_changes, clones))
    finally:
        shutil.rmtree(work, ignore_errors=True)
    if not counted:
        sys.exit("mutation: nothing to change in these directories")
    print(f"{sum(counted)} of {len(counted)} changes noticed, {100 * sum(counted) / len(counted):.0f} %")


if __name__ == "__main__":
    main()
