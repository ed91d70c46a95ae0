#!/usr/bin/env python3
"""Plants single-point faults in the library, one source file at a time, and
lists the ones no test catches.

Each mutant changes one spot: a comparison turned (== and !=, < and <=, > and
>=), && and || swapped, true and false swapped, a bound moved by one (+ 1 or
- 1 dropped), an integer constant changed, or a statement dropped. The tree is
copied under build/mutate/ so the worktree is never touched; each mutant is
rebuilt there (debug, the library and the chosen tests only) and the tests run
through ctest with a per-mutant timeout. A mutant that does not compile is not
counted; one that times out counts as caught.

  tools/mutate.py src/text/word_search.cpp --max 25        # one room, a sample
  tools/mutate.py --all --max 0 --all-tests                # the full pass
  tools/mutate.py src/core/factories.cpp --sanitize         # overflows count as caught

By default a room is tested by its own test file (src/x/word_search.cpp ->
tests/word_search_test.cpp, src/lib/MimeCodec.cpp -> tests/lib_mime_codec_test.cpp)
plus the cross-cutting sweeps; --tests names the executables instead (for a
lower-layer file whose behaviour is tested through the rooms that use it), and
--all-tests runs the whole suite per mutant.

  tools/mutate.py src/lib/StringScanner.cpp --tests iso2022_test

Each file's sample depends only on the seed and the file, so a file sampled
alone or in a list with others gets the same mutants.
"""
import argparse
import random
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutate"
TREE = WORK / "tree"
BUILD = WORK / "build"
CROSS_TESTS = ["oom_sweep_test", "secure_wipe_test"]

SWAPS = [
    (r" == ", " != "), (r" != ", " == "),
    (r" < ", " <= "), (r" <= ", " < "), (r" > ", " >= "), (r" >= ", " > "),
    (r" && ", " || "), (r" \|\| ", " && "),
    (r"\btrue\b", "false"), (r"\bfalse\b", "true"),
    (r" \+ 1\b", ""), (r" - 1\b", ""),
]
INT = re.compile(r"(?<![\w.])(\d+)(?![\w.'])")
DROPPABLE = re.compile(r"^\s*(?!return\b|case\b|default\b|break\b|continue\b)"
                       r"([\w.\->\[\]*()]+\s*(=|\+=|-=|\|=|&=|\+\+|--)|\+\+\w|--\w|[\w:.\->]+\(.*\))[^{}]*;\s*$")


def code_part(line):
    """The line without a trailing // comment or string literals."""
    no_strings = re.sub(r'"(\\.|[^"\\])*"', '""', line)
    no_chars = re.sub(r"'(\\.|[^'\\])'", "''", no_strings)
    return no_chars.split("//", 1)[0]


def mutants_of(path):
    lines = path.read_text().splitlines(keepends=True)
    out = []
    for i, line in enumerate(lines):
        stripped = line.strip()
        if not stripped or stripped.startswith(("//", "#", "static_assert", "*")):
            continue
        code = code_part(line)
        for pattern, replacement in SWAPS:
            for m in re.finditer(pattern, code):
                out.append((i, line[:m.start()] + replacement + line[m.end():],
                            f"col {m.start() + 1}: '{m.group(0).strip()}' -> '{replacement.strip()}'"))
        for m in INT.finditer(code):
            value = int(m.group(1))
            new = "1" if value == 0 else str(value + 1) if value != 1 else "0"
            out.append((i, line[:m.start()] + new + line[m.end():], f"col {m.start() + 1}: {value} -> {new}"))
        if DROPPABLE.match(code) and code.rstrip().endswith(";"):
            out.append((i, "\n", "statement dropped"))
    return lines, out


def run(cmd, timeout=None, **kw):
    try:
        return subprocess.run(cmd, capture_output=True, text=True, timeout=timeout, **kw).returncode
    except subprocess.TimeoutExpired:
        return "timeout"


def tests_for(source, all_tests, named=None):
    names = sorted(p.stem for p in (ROOT / "tests").glob("*_test.cpp"))
    if all_tests:
        return names
    if named:
        unknown = [n for n in named if n not in names]
        if unknown:
            sys.exit(f"mutate: no such test executable: {' '.join(unknown)}")
        return named + [n for n in CROSS_TESTS if n in names and n not in named]
    stem = source.stem
    if source.parent.name == "lib":
        stem = "lib_" + re.sub(r"(?<!^)(?=[A-Z])", "_", stem).lower()
    own = [n for n in names if n == stem + "_test"]
    return own + [n for n in CROSS_TESTS if n in names and n not in own]


def sync(source, dest):
    """Makes dest a copy of source, rewriting only the files whose bytes differ.
    A rewritten file gets a fresh timestamp, so the build never keeps an object
    compiled from an older mutant, and an unchanged one keeps its old timestamp,
    so a second run rebuilds only what changed."""
    if source.is_file():
        if not dest.is_file() or dest.read_bytes() != source.read_bytes():
            dest.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(source, dest)
        return
    if dest.is_file():
        dest.unlink()
    dest.mkdir(parents=True, exist_ok=True)
    wanted = {p.name for p in source.iterdir()}
    for stale in dest.iterdir():
        if stale.name not in wanted:
            shutil.rmtree(stale) if stale.is_dir() else stale.unlink()
    for p in source.iterdir():
        sync(p, dest / p.name)


def prepare(sanitize):
    TREE.mkdir(parents=True, exist_ok=True)
    for name in ["src", "tests", "cmake", "CMakeLists.txt"]:
        sync(ROOT / name, TREE / name)
    rc = run(["cmake", "-S", str(TREE), "-B", str(BUILD), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
              "-DSTRINGBUFFER_BUILD_BENCHMARKS=OFF", "-DSTRINGBUFFER_BUILD_EXAMPLES=OFF",
              "-DSTRINGBUFFER_BUILD_TOOLS=OFF",
              # The suite runs under the sanitizers in CI, so an overflow or a
              # use after free that only they report is a caught fault there too.
              "-DCMAKE_CXX_FLAGS=" + ("-fsanitize=address,undefined -fno-sanitize-recover=all"
                                      if sanitize else "")])
    if rc != 0:
        sys.exit("mutate: configure failed")


def check(targets, timeout):
    """'built' is false when the mutant does not compile; caught is true when a test fails."""
    if run(["cmake", "--build", str(BUILD), "-j2", "--target", *targets]) != 0:
        return False, None
    regex = "^(" + "|".join(targets) + ")$"
    rc = run(["ctest", "--test-dir", str(BUILD), "-L", regex, "--timeout", str(timeout), "-j2",
              "--stop-on-failure"], timeout=timeout * 4)
    return True, rc != 0


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("files", nargs="*", help="source files (src/...) to mutate")
    ap.add_argument("--all", action="store_true", help="every .cpp under src/")
    ap.add_argument("--max", type=int, default=25, help="mutants sampled per file (0: all)")
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--timeout", type=int, default=60, help="seconds per test executable")
    ap.add_argument("--all-tests", action="store_true", help="run the whole suite for every mutant")
    ap.add_argument("--sanitize", action="store_true",
                    help="build the mutants with ASan+UBSan (separate build folder)")
    ap.add_argument("--tests", type=lambda v: [n for n in v.split(",") if n], metavar="NAME[,NAME]",
                    help="test executables to run (the cross-cutting sweeps are added)")
    args = ap.parse_args()
    files = sorted((ROOT / "src").rglob("*.cpp")) if args.all else [ROOT / f for f in args.files]
    if not files:
        ap.error("name source files or pass --all")
    if args.sanitize:
        global BUILD
        BUILD = WORK / "build-asan"
    prepare(args.sanitize)
    summary = []
    for source in files:
        rel = source.relative_to(ROOT)
        target_file = TREE / rel
        targets = tests_for(source, args.all_tests, args.tests)
        if not targets:
            print(f"{rel}: no tests to run, skipped")
            continue
        original, mutants = mutants_of(source)
        if args.max and len(mutants) > args.max:
            mutants = random.Random(args.seed).sample(mutants, args.max)
        # A clean build first: a suite that fails unmutated makes every mutant look caught.
        target_file.write_text("".join(original))
        built, failed = check(targets, args.timeout)
        if not built or failed:
            print(f"{rel}: the unmutated build or tests fail; skipped")
            continue
        caught = survived = broken = 0
        started = time.time()
        for line_no, new_line, what in sorted(mutants):
            mutated = list(original)
            mutated[line_no] = new_line
            target_file.write_text("".join(mutated))
            built, failed = check(targets, args.timeout)
            if not built:
                broken += 1
            elif failed:
                caught += 1
            else:
                survived += 1
                print(f"  SURVIVED {rel}:{line_no + 1}: {what}\n      {original[line_no].strip()}")
        target_file.write_text("".join(original))
        counted = caught + survived
        score = 100.0 * caught / counted if counted else 100.0
        summary.append((str(rel), caught, survived, broken, score))
        print(f"{rel}: {caught}/{counted} caught ({score:.0f}%), {broken} did not compile, "
              f"{time.time() - started:.0f}s, tests: {' '.join(targets)}", flush=True)
    print("\nscore by room")
    for rel, caught, survived, broken, score in summary:
        print(f"  {rel:45s} {score:5.1f}%  ({caught} caught, {survived} survived, {broken} not compiled)")


if __name__ == "__main__":
    main()
