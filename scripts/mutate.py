#!/usr/bin/env python3
"""Mutation testing of driver/local and common: changes one thing at a time and sees whether a unit test fails.

    scripts/mutate.py --list             shows how many mutants there are, by file
    scripts/mutate.py --sample 200       runs the first that many of a random order (--seed), as far as they are not
                                         tested yet: the same number again goes on, a greater one extends the sample
    scripts/mutate.py --survivors        runs those again that survived, after tests were added
    scripts/mutate.py --report           shows what is known so far

Works on a copy of the tree in build/mutation and never touches the checkout. What was found is kept in
build/mutation/results.tsv, so a run can be interrupted and continued; a mutant of a file that was changed since
is tested anew. For each mutant only the program of unit tests that belongs to the file is built and run, then
those that use it. A mutant is killed by a failing test, a crash or the time limit; one that does not compile
does not count.
"""

import argparse
import collections
import hashlib
import os
import random
import re
import resource
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutation"
TREE = WORK / "tree"
# as the everyday build, so that the compiler cache has it
BUILD = TREE / "build" / "dev"
RESULTS = WORK / "results.tsv"

# the programs that test a file, most telling first
PROGRAMS = [
    (r"common/Loop(Observation|Supervision)", ["local_channels_test"]),
    (r"common/", ["common_test"]),
    (r"driver/local/controller/common/TimedLoopProcessor", ["local_test", "timed_local_test", "local_channels_test"]),
    (r"driver/local/controller/(common|controlloop)/", ["local_test", "local_channels_test"]),
    (r"driver/local/(controller|Bus)/", ["local_elements_test", "local_channels_test", "local_test"]),
    (r"driver/local/", ["local_channels_test"]),
]

# operators stand between blanks, which distinguishes them from template brackets and pointers
REPLACEMENTS = [
    (r" == ", [" != "]),
    (r" != ", [" == "]),
    (r" < ", [" <= ", " >= "]),
    (r" <= ", [" < ", " > "]),
    (r" > ", [" >= ", " <= "]),
    (r" >= ", [" > ", " < "]),
    (r" && ", [" || "]),
    (r" \|\| ", [" && "]),
    (r" \+ ", [" - "]),
    (r" - ", [" + "]),
    (r" \* ", [" / "]),
    (r" / ", [" * "]),
    (r" \| ", [" & "]),
    (r" & ", [" | "]),
    (r" \+= ", [" -= "]),
    (r"\+\+(?=\w)", ["--"]),
    (r"(?<=[ (])!(?=[\w(])", [""]),
    (r"(?<=[ (])-(?=[\w(])", [""]),
    (r"\btrue\b", ["false"]),
    (r"\bfalse\b", ["true"]),
]
NUMBER = re.compile(r"(?<![\w.\"])(\d+\.\d+|\d+)(?![\w.])")

# Compiling is what takes the time, and most of that goes into other people's headers.
FASTER = """cmake_language(DEFER CALL target_precompile_headers rivlink_local_objects PRIVATE
    <utility> <string> <memory> <vector> <map> <set> <functional> <sstream> <mutex> <boost/asio/io_context.hpp>
    <boost/asio/deadline_timer.hpp> <boost/asio/post.hpp> <boost/thread/thread.hpp> <boost/signals2/signal.hpp>
    <boost/property_tree/ptree.hpp> <boost/optional.hpp> <log4cplus/logger.h> <log4cplus/loggingmacros.h>)
cmake_language(DEFER CALL target_compile_options rivlink_local_objects PRIVATE -O0 -g0)
"""

Mutant = collections.namedtuple("Mutant", "key file start end text line what")


def use_copy(worker):
    """Each worker has a copy of the tree."""
    global TREE, BUILD
    if worker > 1:
        TREE = WORK / f"tree{worker}"
        BUILD = TREE / "build" / "dev"


def source_files():
    files = sorted(ROOT.glob("common/*.h")) + sorted((ROOT / "driver/local").rglob("*.cpp"))
    return files + sorted((ROOT / "driver/local").rglob("*.h"))


def without_comments_and_texts(source):
    """The same length, with blanks in the place of comments, texts, characters and directives."""
    pattern = re.compile(
        r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\\n])+'|^[ \t]*#(?:[^\n]*\\\n)*[^\n]*",
        re.DOTALL | re.MULTILINE)
    return pattern.sub(lambda m: re.sub(r"[^\n]", "~", m.group()), source)


def statements(code, is_header):
    """Whole statements, one per (start, end), that stand on lines of their own."""
    least = 8 if is_header else 4
    lines = code.split("\n")
    offset = 0
    starts = []
    for line in lines:
        starts.append(offset)
        offset += len(line) + 1
    index = 0
    while index < len(lines):
        line = lines[index]
        indent = len(line) - len(line.lstrip(" "))
        begins = indent >= least and re.match(r" *[\w:+*(-]", line) is not None
        before = lines[index - 1].rstrip(" ~") if index else ""
        if not begins or not (before == "" or before[-1] in ";{}:" or before.lstrip().startswith("case ")):
            index += 1
            continue
        last = index
        text = line
        while not text.rstrip(" ~").endswith((";", "{", "}")) and last + 1 < len(lines) and last - index < 8:
            last += 1
            text += "\n" + lines[last]
        end = text.rstrip(" ~")
        word = re.match(r" *(\w*)", text).group(1)
        whole = end.endswith(";") and end.count("(") == end.count(")") and end.count("{") == end.count("}")
        if whole and word not in ("using", "return", "case", "break", "static", "const", "constexpr", "friend", "struct",
                                  "class", "public", "private", "protected", "default", "else", "if", "for", "while"):
            yield starts[index] + indent, starts[index] + len(end)
        if whole and word == "return" and re.match(r" *return;", text):
            yield starts[index] + indent, starts[index] + len(end)
        index = last + 1


def mutants_of(path):
    source = path.read_text()
    code = without_comments_and_texts(source)
    name = str(path.relative_to(ROOT))
    digest = hashlib.sha1(source.encode()).hexdigest()[:10]
    is_header = path.suffix == ".h"
    declares = is_header and name.startswith("driver/")
    found = []

    def add(start, end, text):
        line_number = source.count("\n", 0, start) + 1
        line_start = source.rfind("\n", 0, start) + 1
        line = source[line_start:source.find("\n", start)]
        # of these headers only constants and what is inline are of interest, not the declarations
        if declares and not re.search(r"static constexpr|\breturn\b|^ {8}", line):
            return
        old = " ".join(source[start:end].split())
        what = f"{old!r} -> {text.strip()!r}" if text != ";" else f"removed {old!r}"
        key = f"{name}:{digest}:{start}:{end}:{hashlib.sha1(text.encode()).hexdigest()[:6]}"
        found.append(Mutant(key, name, start, end, text, line_number, what))

    for pattern, texts in REPLACEMENTS:
        for match in re.finditer(pattern, code):
            for text in texts:
                add(match.start(), match.end(), text)
    for match in NUMBER.finditer(code):
        number = match.group()
        add(match.start(), match.end(), str(int(number) + 1) if number.isdigit() else repr(float(number) + 1.0))
    for start, end in statements(code, is_header):
        add(start, end, ";")
    return sorted(found, key=lambda m: (m.start, m.end, m.text))


def all_mutants():
    return [mutant for path in source_files() for mutant in mutants_of(path)]


def read_results():
    results = {}
    if RESULTS.exists():
        for line in RESULTS.read_text().splitlines():
            key, verdict, by = line.split("\t")[:3]
            results[key] = (verdict, by)
    return results


def note(mutant, verdict, by):
    with RESULTS.open("a") as file:
        file.write(f"{mutant.key}\t{verdict}\t{by}\t{mutant.line}\t{mutant.what}\n")


def programs_of(name):
    return next(programs for pattern, programs in PROGRAMS if re.match(pattern, name))


def run(command, limit=None, **options):
    """The exit code, or None if the time limit was exceeded.

    It stays in this session, whose priority may have been lowered: a new one has the usual one again.
    """
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL,
                               process_group=0, **options)
    try:
        return process.wait(timeout=limit)
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, 9)
        process.wait()
        return None


def build(targets):
    return run(["cmake", "--build", str(BUILD), "--target", *targets, "--parallel", str(os.cpu_count())]) == 0


def limit_memory():
    resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))


def test(program, limit):
    return run([str(BUILD / "bin" / program), "--gtest_fail_fast", "--gtest_brief=1"], limit, cwd=BUILD,
               preexec_fn=limit_memory)


def prepare():
    """Copies the tree, builds it as it is and returns the time limit of each program."""
    TREE.mkdir(parents=True, exist_ok=True)
    listed = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                            capture_output=True, text=True, check=True).stdout.splitlines()
    for name in listed:
        source, copy = ROOT / name, TREE / name
        if source.is_file() and not (copy.exists() and copy.read_bytes() == source.read_bytes()):
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(source, copy)
            shutil.copymode(source, copy)
    os.environ.update(CCACHE_BASEDIR=str(TREE), CCACHE_NOHASHDIR="1")
    (WORK / "faster.cmake").write_text(FASTER)
    if run(["cmake", "-S", str(TREE), "-B", str(BUILD), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
            f"-DCMAKE_PROJECT_rivlink_local_INCLUDE={WORK / 'faster.cmake'}",
            "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"]) != 0:  # a mutant may crash when it is listed
        sys.exit("The copy of the tree cannot be configured.")
    programs = sorted({program for _, programs in PROGRAMS for program in programs})
    if not build(programs):
        sys.exit("The copy of the tree cannot be built.")
    os.environ["CCACHE_DISABLE"] = "1"  # no mutant is compiled twice
    limits = {}
    for program in programs:
        began = time.monotonic()
        if test(program, 300) != 0:
            sys.exit(f"{program} fails without any mutation.")
        limits[program] = 20.0 + 5.0 * (time.monotonic() - began)
    return limits


def test(mutant, source, limits):
    (TREE / mutant.file).write_text(source[:mutant.start] + mutant.text + source[mutant.end:])
    for program in programs_of(mutant.file):
        if not build([program]):
            return "invalid", "-"
        code = test(program, limits[program])
        if code != 0:
            return "killed", program + (" (time)" if code is None else f" (signal {-code})" if code < 0 else "")
    return "survived", "-"


def run_mutants(mutants):
    limits = prepare()
    # the checkout may go on changing meanwhile
    sources = {mutant.file: (TREE / mutant.file).read_text() for mutant in mutants}
    touched = None
    for number, mutant in enumerate(mutants, 1):
        if touched and touched != mutant.file:
            (TREE / touched).write_text(sources[touched])
        touched = mutant.file
        verdict, by = test(mutant, sources[mutant.file], limits)
        note(mutant, verdict, by)
        print(f"{number}/{len(mutants)} {mutant.file}:{mutant.line}: {mutant.what}: {verdict} {by}", flush=True)
    if touched:
        (TREE / touched).write_text(sources[touched])


def report(mutants):
    results = read_results()
    by_file = collections.defaultdict(collections.Counter)
    survivors = []
    for mutant in mutants:
        verdict, _ = results.get(mutant.key, ("not run", "-"))
        by_file[mutant.file][verdict] += 1
        by_file[""][verdict] += 1
        if verdict == "survived":
            survivors.append(mutant)
    for name in sorted(by_file, reverse=True):
        count = by_file[name]
        tested = count["killed"] + count["survived"]
        share = f"{100.0 * count['killed'] / tested:.1f} %" if tested else "-"
        print(f"{name or 'all'}: {tested} judged, {count['killed']} killed ({share}), {count['survived']} survived; "
              f"{count['invalid']} do not compile, {count['not run']} not run")
    for mutant in survivors:
        print(f"survived: {mutant.file}:{mutant.line}: {mutant.what}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--report", action="store_true")
    parser.add_argument("--survivors", action="store_true")
    parser.add_argument("--sample", type=int, metavar="N")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--worker", default="1/1", metavar="K/N",
                        help="only every N-th of them, on a copy of its own: several of these run side by side")
    parser.add_argument("--file", default="", help="only files whose path contains this")
    arguments = parser.parse_args()

    mutants = [mutant for mutant in all_mutants() if arguments.file in mutant.file]
    if arguments.list:
        count = collections.Counter(mutant.file for mutant in mutants)
        for name, number in count.items():
            print(f"{name}: {number}")
        print(f"all: {len(mutants)}")
        return
    if not arguments.report:
        WORK.mkdir(parents=True, exist_ok=True)
        results = read_results()
        if arguments.survivors:
            chosen = [m for m in mutants if results.get(m.key, ("", ""))[0] == "survived"]
        else:
            # the same order every time, so that a run that is continued goes on with the same sample
            chosen = sorted(mutants, key=lambda m: m.key)
            random.Random(arguments.seed).shuffle(chosen)
            chosen = [m for m in chosen[:arguments.sample] if m.key not in results]
        worker, workers = (int(number) for number in arguments.worker.split("/"))
        chosen = [m for m in chosen if int(hashlib.sha1(m.key.encode()).hexdigest(), 16) % workers == worker % workers]
        # in batches by file, because each change of files costs one more compilation; headers cost many, and last
        sources = [m for m in chosen if not m.file.endswith(".h")]
        batches = [sources[i:i + 50] for i in range(0, len(sources), 50)]
        batches.append([m for m in chosen if m.file.endswith(".h")])
        ordered = [m for batch in batches for m in sorted(batch, key=lambda m: (m.file, m.start))]
        use_copy(worker)
        run_mutants(ordered)
    report(mutants)


if __name__ == "__main__":
    main()
