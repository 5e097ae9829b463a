#!/usr/bin/env python3
"""Runs the benchmarks of build/benchmark and prints, as tables, how rivlink_local compares with its floors.

Whatever is compared runs in turns, so that a machine that gets slower or faster does so for both: each figure is
the median over the turns, each ratio the median of the turns' ratios (with the lowest and the highest). What else the
machine does makes turns slower, never faster: so the ratio of the fastest ones is shown where turns are short. What the
floors are stands at the head of the programs in benchmarks/.
"""
import argparse
import json
import os
import pathlib
import re
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "benchmark"
PROGRAMS = BUILD / "benchmarks"

HEADING = {
    "step": "One step",
    "tick": "One period of the timed processor",
    "scale": "Channels of 20 ms",
    "realtime": "Channels of 20 ms on a core that is busy with four other programs",
    "load": "Loading a configuration",
    "virtual": "Virtual time",
    "history": "History",
    "web": "The interface over HTTP",
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


def in_turns(rounds, *sides):
    """Each of these functions, one after the other, so many times; returns a list of results for each. The order
    turns with each round, as the first may warm things up for the others."""
    results = tuple([] for _ in sides)
    for number in range(rounds):
        order = range(len(sides))
        for side in order if number % 2 else reversed(order):
            results[side].append(sides[side]())
    return results


def median(results, key):
    return statistics.median(result[key] for result in results)


def ratio(ours, floor, key):
    """The rounds' ratios: their median, the lowest and the highest."""
    ratios = [a[key] / b[key] for a, b in zip(ours, floor) if b[key] > 0]
    return f"{statistics.median(ratios):.2f} ({min(ratios):.2f} to {max(ratios):.2f})" if ratios else "-"


def fastest(ours, floor, key):
    """What the machine's bad moments do not touch: the ratio of the fastest turns."""
    return f"{min(result[key] for result in ours) / min(result[key] for result in floor):.2f}"


def step(options):
    def side(name):
        found = output_of("step_benchmark", f"--benchmark_filter=/{name}$", "--benchmark_format=json",
                          "--benchmark_min_time=0.005")
        return {one["name"].split("/")[0]: one["cpu_time"] for one in found["benchmarks"]}

    # many short turns: the machine's speed changes within seconds
    ours, floor = in_turns(20 * options.rounds, lambda: side("rivlink"), lambda: side("floor"))
    table(["step", "rivlink_local", "floor", "ratio", "ratio of the fastest"],
          [[f"`{name}`", f"{median(ours, key):.1f} ns", f"{median(floor, key):.1f} ns",
            ratio(ours, floor, key), fastest(ours, floor, key)]
           for name, key in (("CPIDAlgorithm::calculate", "calculate"), ("CPIDControlLoop::process", "process"))])


def tick(options):
    rows = []
    for loops in options.sizes or (1, 10, 100):
        ours, timeline, floor, model = in_turns(options.rounds, *(
            lambda side=side: output_of("tick_benchmark", side, loops, options.seconds)
            for side in ("rivlink", "timeline", "bare", "model")))
        for name, side in (("rivlink_local", ours), ("on the host's timeline", timeline), ("bare timers", floor),
                           ("as the model asks", model)):
            rows.append([loops, name, f"{median(side, 'cpu_us'):.2f} us",
                         f"{min(one['cpu_us'] for one in side):.2f} us"] +
                        [f"{median(side, key):.0f} us" for key in ("mean_us", "p50_us", "p99_us")])
        for name, one, side in (("ratio to bare", ours, floor), ("on the timeline to bare", timeline, floor),
                                ("ratio to model", ours, model)):
            rows.append([loops, name, ratio(one, side, "cpu_us"), fastest(one, side, "cpu_us")] +
                        [ratio(one, side, key) for key in ("mean_us", "p50_us", "p99_us")])
    table(["loops on one processor", "", "CPU per tick", "in the fastest round", "mean period error", "median",
           "99 %"], rows)


LATE = ("p50_us", "p99_us", "p999_us")


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
                        [f"{median(side, key) / 1000:.2f} ms" for key in LATE])
        rows.append([channels, "ratio"] + [ratio(ours, floor, key) for key in
                    ("cpu_percent", "resident_kib", "descriptors", "delivered_percent") + LATE])
    table(["channels", "", "CPU (of one core)", "resident per channel", "descriptors per channel", "steps delivered",
           "late, median", "late, 99 %", "late, 99.9 %"], rows)


def realtime(options):
    try:
        output_of("scale_benchmark", "bare", 1, 0, "busy", "realtime")
    except subprocess.CalledProcessError:
        print("Not measured: the system does not let this user's threads be served first and lock their memory.\n")
        return
    rows = []
    for channels in options.sizes or (10, 100):
        for name, side in (("rivlink_local", "rivlink"), ("bare threads", "bare")):
            ordinary, first = in_turns(options.rounds, *(
                lambda words=words, side=side: output_of("scale_benchmark", side, channels, options.seconds, *words)
                for words in (("busy",), ("busy", "realtime"))))
            for mode, results in (("ordinary", ordinary), ("`--realtime`", first)):
                rows.append([channels, name, mode, f"{median(results, 'delivered_percent'):.1f} %"] +
                            [f"{median(results, key) / 1000:.2f} ms" for key in LATE])
            rows.append([channels, name, "ratio", ratio(ordinary, first, "delivered_percent")] +
                        [ratio(ordinary, first, key) for key in LATE])
    table(["channels", "", "", "steps delivered", "late, median", "late, 99 %", "late, 99.9 %"], rows)


def configuration(channels):
    """So many channels: of three, one is a sensor, one a heater and one the controller between them, as in the
    smallest example."""
    text = (ROOT / "examples" / "pid" / "pid.xml").read_text()

    def parts(section):
        found = re.search(rf"  <{section}>\n(.*?)  </{section}>\n", text, re.DOTALL)
        return text[:found.start(1)], found[1], text[found.end(1):]

    name = r'(Name="|Device>|annel>)(Bench|Jacket temperature|Heater|Jacket)(?=["<])'
    before, devices, rest = parts("Devices")
    between, of_channels, after = parts("Channels")
    between = between[len(before) + len(devices):]
    numbered = lambda part: "".join(re.sub(name, rf"\1\2 {number}", part) for number in range((channels + 2) // 3))
    return before + numbered(devices) + between + numbered(of_channels) + after


def load(options):
    rows = []
    last = None
    with tempfile.TemporaryDirectory() as folder:
        for channels in options.sizes or (10, 100, 1000, 10000):
            file = pathlib.Path(folder) / f"{channels}.xml"
            file.write_text(configuration(channels))
            ours, floor = in_turns(options.rounds, *(
                lambda side=side: output_of("load_benchmark", side, file, BUILD / "plugins")
                for side in ("rivlink", "read_xml")))
            for one in ours:
                one["judged_ms"] = one["read_ms"] + one["check_ms"]
            for one in floor:
                one["judged_ms"] = one["load_ms"]
            growth = "-"
            if last:
                growth = " / ".join(f"{median(ours, key) / last[1][key] / (channels / last[0]):.2f}"
                                    for key in ("load_ms", "peak_kib"))
            last = (channels, {key: median(ours, key) for key in ("load_ms", "peak_kib")})
            rows.append([channels] +
                        [f"{median(ours, key):.2f} ms" for key in ("read_ms", "check_ms", "build_ms")] +
                        [f"{median(floor, 'load_ms'):.2f} ms", ratio(ours, floor, "judged_ms"),
                         ratio(ours, floor, "load_ms"), f"{median(ours, 'peak_kib'):.0f} KiB",
                         f"{median(floor, 'peak_kib'):.0f} KiB", growth])
    table(["channels", "reading", "checking", "building", "`read_xml`", "reading and checking to `read_xml`",
           "everything to `read_xml`", "memory", "of `read_xml`", "growth per channel, time / memory"], rows)


def cascades(count):
    """So many copies of the cascade of the examples."""
    text = (ROOT / "examples" / "cascade" / "cascade.xml").read_text()
    name = r'(Name="|Device>|annel>)(Bench|Jacket temperature|Vessel temperature|Heater|Vessel)(?=["<])'
    for section in ("Devices", "Channels"):
        found = re.search(rf"  <{section}>\n(.*?)  </{section}>\n", text, re.DOTALL)
        copies = "".join(re.sub(name, rf"\1\2 {number}", found[1]) for number in range(count))
        text = text[:found.start(1)] + copies + text[found.end(1):]
    return text


def virtual(options):
    rows = []
    with tempfile.TemporaryDirectory() as folder:
        record = pathlib.Path(folder) / "record.csv"
        for count, words in ((1, ()), (100, ()), (1, (record,))):
            file = pathlib.Path(folder) / f"{count}.xml"
            file.write_text(cascades(count))
            seconds = 40000 * options.seconds // count // (8 if words else 1)
            ours, floor = in_turns(options.rounds,
                lambda: output_of("virtual_benchmark", "rivlink", file, BUILD / "plugins", seconds, *words),
                lambda: output_of("virtual_benchmark", "floor", count, seconds))
            rows.append([f"{count}, recorded every 100 ms" if words else count] +
                        [f"{median(side, 'speed'):,.0f}" for side in (ours, floor)] +
                        [ratio(floor, ours, "speed"), fastest(floor, ours, "speed")] +
                        [f"{median(side, 'event_ns'):.0f} ns" for side in (ours, floor)])
    table(["cascades", "rivlink_local, times real time", "floor, times real time", "floor to rivlink_local",
           "of the slowest", "rivlink_local, per event", "floor, per event"], rows)


def probed(folder, channels):
    """A configuration of so many controllers of the smallest example, whose outputs note when they are written."""
    text = configuration(3 * channels)
    text = text.replace("<Plugins>", f'<Plugins>\n    <Plugin Name="rivlink_probe" Path="{PROGRAMS}/librivlink_probe.so"/>')
    text = re.sub(r'Type="Rvl::CSimulatedAnalogOutChannel".*?</Channel>', 'Type="Rvl::CProbeOutput"/>', text,
                  flags=re.DOTALL)
    # the heater heats nothing: without an integral the control value follows the noise of the sensor
    text = text.replace('K="10" Ti="5" Td="0.1"', 'K="1" Ti="0" Td="0"')
    file = pathlib.Path(folder) / "probed.xml"
    file.write_text(text)
    return file


def lateness(file, seconds, *arguments, beside=None):
    """Runs the host for so long; how late the loops' writes were, the CPU time of the host and its memory at the end.
    `beside` is called with the port of the host's server once that listens, and returns a process or nothing."""
    with tempfile.TemporaryDirectory() as folder:
        result = pathlib.Path(folder) / "probe"
        host = subprocess.Popen(
            [BUILD / "bin" / "rivlink-host", "run", file, "--quiet", "--log", "off", *map(str, arguments)],
            stdout=subprocess.PIPE, text=True,
            env={**os.environ, "RIVLINK_PROBE_FILE": str(result), "RIVLINK_PROBE_PERIOD_MS": "100"})
        client = beside(int(re.search(r":(\d+)/", host.stdout.readline())[1])) if beside else None
        begin = os.times().elapsed
        before = cpu_of(host.pid)
        time.sleep(seconds)
        found = {"cpu_percent": 100 * (cpu_of(host.pid) - before) / (os.times().elapsed - begin),
                 "resident_kib": resident_kib(host.pid)}
        if client:
            found["client"] = json.loads(client.communicate()[0])
        host.send_signal(signal.SIGTERM)
        host.communicate()
        return {**found, **json.loads(result.read_text())}


def cpu_of(process):
    """Seconds of processor time that all threads have used."""
    fields = pathlib.Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def resident_kib(process):
    return int(re.search(r"Rss: +(\d+)", pathlib.Path(f"/proc/{process}/smaps_rollup").read_text())[1])


def late_table(title, rows, *pairs):
    """Of sides with names: how late writes were, and the ratios of pairs of sides."""
    columns = ("p50_us", "p99_us", "p999_us", "cpu_percent")
    sides = dict(rows)
    table([title, "late, median", "late, 99 %", "late, 99.9 %", "CPU (of one core)"],
          [[name, *(f"{median(side, key) / 1000:.2f} ms" for key in columns[:3]),
            f"{median(side, 'cpu_percent'):.1f} %"] for name, side in rows] +
          [[f"{one} to {other}", *(ratio(sides[one], sides[other], key) for key in columns)] for one, other in pairs])


def history(options):
    rows = []
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        for controllers, seconds in ((1, 86400), (200, 1200)):
            def write():
                file = folder / "written"
                file.unlink(missing_ok=True)
                return output_of("history_benchmark", "write", file, controllers, seconds)
            (results,) = in_turns(min(options.rounds, 3), write)
            rows.append([controllers, f"{median(results, 'values_per_s'):,.0f}",
                         f"{median(results, 'bytes_per_sample'):.1f}", f"{median(results, 'bytes_per_value'):.2f}"])
        table(["controllers", "values per second", "bytes per sample", "bytes per value"], rows)

        week = folder / "week"
        output_of("history_benchmark", "write", week, 1, 7 * 86400)
        (results,) = in_turns(10, lambda: output_of("history_benchmark", "read", week, 1000))
        table(["a week of a controller, 100 ms apart", "rows", "time"],
              [[f"{week.stat().st_size / 1e6:.0f} MB", f"{median(results, 'rows'):.0f}",
                f"{median(results, 'trend_ms'):.1f} ms"]])

        file = probed(folder, 200)
        kept = folder / "kept"
        record = folder / "record.csv"

        def with_history():
            for name in folder.glob("kept*"):
                name.unlink()
            return lateness(file, options.seconds + 3, "--history", kept)

        def with_record():
            record.unlink(missing_ok=True)
            return lateness(file, options.seconds + 3, "--record", record)

        ours, recorded, bare = in_turns(options.rounds, with_history, with_record,
                                        lambda: lateness(file, options.seconds + 3))
        late_table("200 controllers", [("with a history", ours), ("with a record", recorded), ("with neither", bare)],
                   ("with a history", "with neither"), ("with a history", "with a record"))


def web(options):
    clients, interval_ms = 200, 100
    with tempfile.TemporaryDirectory() as folder:
        file = probed(folder, 200)
        seconds = options.seconds + 3

        def read_events(port):
            return subprocess.Popen(["nice", "-n", "19", PROGRAMS / "http_benchmark", "events", str(port),
                                     f"/api/events?interval_ms={interval_ms}", str(clients), str(seconds)],
                                    stdout=subprocess.PIPE, text=True)

        # what 200 readers take of the machine, the same bytes from a server that has them already
        read, served, bare = in_turns(options.rounds,
            lambda: lateness(file, seconds, "--http", 0, beside=read_events),
            lambda: lateness(file, seconds, "--http", 0, beside=lambda port: None),
            lambda: lateness(file, seconds))
        late_table("200 controllers", [(f"{clients} clients of events", read), ("a server without clients", served),
                                       ("without a server", bare)],
                   (f"{clients} clients of events", "without a server"), ("a server without clients", "without a server"))
        snapshots = [one["client"]["events"] / clients / seconds for one in read]
        bytes_ = [one["client"]["bytes"] / max(one["client"]["events"], 1) for one in read]
        cpu = [(one["cpu_percent"] - other["cpu_percent"]) * 1e4 / (clients * rate)
               for one, other, rate in zip(read, bare, snapshots)]
        memory = [(one["resident_kib"] - other["resident_kib"]) / clients for one, other in zip(read, served)]
        table(["events per client and second", "bytes of one", "CPU time per event and client", "memory per client"],
              [[f"{statistics.median(snapshots):.2f}", f"{statistics.median(bytes_):,.0f}",
                f"{statistics.median(cpu):.1f} us", f"{statistics.median(memory):.1f} KiB"]])

        served_file = pathlib.Path(folder) / "state.json"
        cascade = ROOT / "examples" / "cascade" / "cascade.xml"
        host = subprocess.Popen([BUILD / "bin" / "rivlink-host", "run", cascade, "--quiet", "--log", "off", "--http", "0"],
                                stdout=subprocess.PIPE, text=True)
        port = int(re.search(r":(\d+)/", host.stdout.readline())[1])
        time.sleep(1)
        target = "/api/channels/Vessel/state"
        with urllib.request.urlopen(f"http://127.0.0.1:{port}{target}") as reply:
            served_file.write_bytes(reply.read())
        example_port = free_port()
        # which reports each connection that a client ends
        example = subprocess.Popen([example_server(), "127.0.0.1", str(example_port), folder, "1"],
                                   stderr=subprocess.DEVNULL)
        time.sleep(1)
        rows = []
        for connections in (1, 8, 64):
            ours, floor = in_turns(options.rounds,
                lambda: output_of("http_benchmark", "requests", port, target, connections, 2),
                lambda: output_of("http_benchmark", "requests", example_port, "/state.json", connections, 2))
            rows.append([connections, f"{median(ours, 'replies_per_s'):,.0f}", f"{median(floor, 'replies_per_s'):,.0f}",
                         ratio(ours, floor, "replies_per_s")])
        for process in (host, example):
            process.send_signal(signal.SIGTERM)
            process.communicate()
        table(["connections", "values per second", "files of the same size from Beast's example", "ratio"], rows)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def example_server():
    """The asynchronous server that Boost.Beast has for an example, built from the distribution's package."""
    package = "libboost1.74-doc"
    folder = BUILD / "packages"
    found = list(folder.glob("**/http/server/async/http_server_async.cpp"))
    if not found:
        folder.mkdir(exist_ok=True)
        subprocess.run(["apt-get", "download", "-qq", package], cwd=folder, check=True)
        subprocess.run(["dpkg-deb", "-x", next(folder.glob("*.deb")), folder], check=True)
        found = list(folder.glob("**/http/server/async/http_server_async.cpp"))
    subprocess.run(["cmake", "-D", f"beast_example={found[0]}", BUILD], check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", BUILD, "--target", "beast_example_server"], check=True,
                   stdout=subprocess.DEVNULL)
    return PROGRAMS / "beast_example_server"


def main():
    parser = argparse.ArgumentParser(prog="./test benchmark", description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("names", nargs="*", metavar="NAME", help=f"{', '.join(HEADING)}; all of them without any")
    parser.add_argument("--rounds", type=int, default=6,
                        help="how often each is run, steps 20 times that (%(default)s)")
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
