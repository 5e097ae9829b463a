#!/usr/bin/env python3
"""Runs the benchmarks of build/benchmark and prints, as tables, how rivlink_local compares with its floors.

Whatever is compared runs in turns, so that a machine that gets slower or faster does so for both: each figure is
the median over the rounds, each ratio the median of the rounds' ratios. What the floors are stands at the head of
the programs in benchmarks/.
"""
import argparse
import json
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "benchmark"
PROGRAMS = BUILD / "benchmarks"

HEADING = {
    "step": "One step",
    "tick": "One period of the timed processor",
    "scale": "Channels of 20 ms",
    "load": "Loading a configuration",
}


def output_of(program, *arguments):
    run = subprocess.run([PROGRAMS / program, *map(str, arguments)], stdout=subprocess.PIPE, text=True, check=True)
    return json.loads(run.stdout)


def table(columns, rows):
    print("| " + " | ".join(columns) + " |")
    print("|" + "---|" * len(columns))
    for row in rows:
        print("| " + " | ".join(str(cell) for cell in row) + " |")
    print()


def in_turns(rounds, ours, floor):
    """Both functions, one after the other, so many times; returns two lists of their results. Which of them goes
    first changes with each round, as the first may warm things up for the second."""
    results = ([], [])
    for number in range(rounds):
        for side in (0, 1) if number % 2 else (1, 0):
            results[side].append((ours, floor)[side]())
    return results


def median(results, key):
    return statistics.median(result[key] for result in results)


def ratio(ours, floor, key):
    return statistics.median(a[key] / b[key] for a, b in zip(ours, floor))


def step(options):
    def side(name):
        found = output_of("step_benchmark", f"--benchmark_filter=/{name}$", "--benchmark_format=json",
                          f"--benchmark_min_time={options.seconds / 10}")
        return {one["name"].split("/")[0]: one["cpu_time"] for one in found["benchmarks"]}

    ours, floor = in_turns(options.rounds, lambda: side("rivlink"), lambda: side("floor"))
    table(["step", "rivlink_local", "floor", "ratio"],
          [[f"`{name}`", f"{median(ours, key):.1f} ns", f"{median(floor, key):.1f} ns",
            f"{ratio(ours, floor, key):.3f}"]
           for name, key in (("CPIDAlgorithm::calculate", "calculate"), ("CPIDControlLoop::process", "process"))])


def tick(options):
    rows = []
    for loops in options.sizes or (1, 10, 100):
        ours, floor = in_turns(options.rounds, *(
            lambda side=side: output_of("tick_benchmark", side, loops, options.seconds)
            for side in ("rivlink", "bare")))
        rows.append([loops, f"{median(ours, 'cpu_us'):.2f} us", f"{median(floor, 'cpu_us'):.2f} us",
                     f"{ratio(ours, floor, 'cpu_us'):.3f}", f"{median(ours, 'mean_us'):.0f} us",
                     f"{median(floor, 'mean_us'):.0f} us", f"{ratio(ours, floor, 'mean_us'):.3f}"])
    table(["loops on one processor", "CPU per tick", "floor", "ratio", "mean period error", "floor", "ratio"], rows)


def scale(options):
    rows = []
    for channels in options.sizes or (1, 10, 100, 1000, 2000):
        ours, floor = in_turns(options.rounds, *(
            lambda side=side: output_of("scale_benchmark", side, channels, options.seconds)
            for side in ("rivlink", "bare")))
        for name, side in (("rivlink_local", ours), ("bare threads", floor)):
            rows.append([channels, name, f"{median(side, 'cpu_percent'):.1f} %",
                         f"{median(side, 'resident_kib'):.1f} KiB", f"{median(side, 'descriptors'):.2f}",
                         f"{median(side, 'delivered_percent'):.1f} %"] +
                        [f"{median(side, key) / 1000:.2f} ms" for key in ("p50_us", "p99_us", "p999_us")])
        rows.append([channels, "ratio"] + [f"{ratio(ours, floor, key):.2f}" for key in
                    ("cpu_percent", "resident_kib", "descriptors", "delivered_percent", "p50_us", "p99_us",
                     "p999_us")])
    table(["channels", "", "CPU (of one core)", "resident per channel", "descriptors per channel", "steps delivered",
           "late, median", "late, 99 %", "late, 99.9 %"], rows)


def configuration(controllers):
    """The smallest example with that many controllers."""
    text = (ROOT / "examples" / "pid" / "pid.xml").read_text()
    found = re.search(r'    <Channel Name="Jacket" .*?\n    </Channel>\n', text, re.DOTALL)
    return (text[:found.start()] +
            "".join(found[0].replace('"Jacket"', f'"Jacket {number}"') for number in range(controllers)) +
            text[found.end():])


def load(options):
    rows = []
    with tempfile.TemporaryDirectory() as folder:
        for controllers in options.sizes or (10, 100, 1000, 10000):
            file = pathlib.Path(folder) / f"{controllers}.xml"
            file.write_text(configuration(controllers))
            try:
                ours, floor = in_turns(options.rounds, *(
                    lambda side=side: output_of("load_benchmark", side, file, BUILD / "plugins")
                    for side in ("rivlink", "read_xml")))
            except subprocess.CalledProcessError:
                rows.append([controllers, "cannot be built here: more open files than the system allows"] + [""] * 6)
                continue
            checked = statistics.median((a["read_ms"] + a["check_ms"]) / b["load_ms"] for a, b in zip(ours, floor))
            rows.append([controllers] +
                        [f"{median(ours, key):.2f} ms" for key in ("read_ms", "check_ms", "build_ms")] +
                        [f"{median(floor, 'load_ms'):.2f} ms", f"{checked:.2f}",
                         f"{ratio(ours, floor, 'load_ms'):.2f}", f"{median(ours, 'peak_kib') / controllers:.1f} KiB"])
    table(["controllers", "reading", "checking", "building", "`read_xml`", "reading and checking to `read_xml`",
           "everything to `read_xml`", "memory per controller"], rows)


def main():
    parser = argparse.ArgumentParser(prog="./test benchmark", description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("names", nargs="*", metavar="NAME", help=f"{', '.join(HEADING)}; all of them without any")
    parser.add_argument("--rounds", type=int, default=5, help="how often each is run (%(default)s)")
    parser.add_argument("--seconds", type=int, default=5, help="how long one run of tick or scale (%(default)s)")
    parser.add_argument("--sizes", type=int, nargs="+", help="loops, channels or controllers, instead of the usual")
    options = parser.parse_args()
    for name in options.names:
        if name not in HEADING:
            parser.error(f"there is no benchmark {name}")
    for name in options.names or HEADING:
        print(f"### {HEADING[name]}\n")
        globals()[name](options)
        sys.stdout.flush()


if __name__ == "__main__":
    main()
