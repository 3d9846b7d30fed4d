#!/usr/bin/python3
"""Runs the benchmark and writes its figures as JSON; report.py makes tables and charts of them.

Everything is repeated in rounds, each in an order of its own, so that whatever else the machine
does meets all variants alike. All times are CPU time. Only ratios of figures from one run mean
something."""

import argparse
import datetime
import json
import os
import pathlib
import platform
import random
import re
import subprocess
import sys

import rpc_rounds

ALLOCATORS = {
    "jemalloc": "libjemalloc.so.2",
    "mimalloc": "libmimalloc.so.2.0",
    "tcmalloc": "libtcmalloc_minimal.so.4",
}
PARTS = ["start-up", "messages", "rpc"]
LIBRARIES = pathlib.Path("/usr/lib/x86_64-linux-gnu")


def arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--bench", type=pathlib.Path, default="build/bench",
                        help="build folder of the benchmark and the plain libraries")
    parser.add_argument("--optimized", type=pathlib.Path, default="build/optimized",
                        help="build folder of the optimized libraries")
    parser.add_argument("--rounds", type=int, default=9)
    parser.add_argument("--growth-rounds", type=int, default=3)
    parser.add_argument("--start-up-rounds", type=int, default=25)
    parser.add_argument("--rpc-rounds", type=int, default=9)
    parser.add_argument("--parts", nargs="+", choices=PARTS, default=PARTS,
                        help="what to measure; everything by default")
    parser.add_argument("--seconds", type=float, default=0.03,
                        help="how long one figure is measured in one round, at least")
    parser.add_argument("--figures", type=pathlib.Path, default="build/bench/figures.json",
                        help="file to write")
    return parser.parse_args()


class Samples:
    """Every measured value, by group, variant and build."""

    def __init__(self):
        self.values = {}

    def add(self, key, value):
        self.values.setdefault(key, []).append(value)


def environment_for(build, allocator=None):
    environment = dict(os.environ)
    environment["LD_LIBRARY_PATH"] = f"{build}/ProtoBuf:{build}/util"
    if allocator:
        environment["LD_PRELOAD"] = str(LIBRARIES / ALLOCATORS[allocator])
    return environment


def run_messages(options, build_name, build, allocator, filter_expression, samples, wire):
    program = options.bench / "bench/messages/bench_messages"
    process = subprocess.run(
        [program, f"--benchmark_filter={filter_expression}", "--benchmark_format=json",
         f"--benchmark_min_time={options.seconds}", "--benchmark_repetitions=3",
         "--benchmark_enable_random_interleaving=true"],
        env=environment_for(build.resolve(), allocator), stdout=subprocess.PIPE,
        stderr=subprocess.PIPE, text=True, check=False)
    if process.returncode != 0:
        sys.exit(f"{program} failed:\n{process.stderr}")
    label = f"{build_name}+{allocator}" if allocator else build_name
    for entry in json.loads(process.stdout)["benchmarks"]:
        if entry["run_type"] != "iteration":
            continue
        what, variant, pairs = re.fullmatch(r"(\w+)/(.*)/(\d+)", entry["run_name"]).groups()
        nanoseconds = entry["cpu_time"] * 1000 / entry["events"]
        samples.add(f"{what}/{variant}/{pairs}/{label}", round(nanoseconds, 2))
        if pairs == "1000":
            wire[variant] = round(entry["wire"], 1)


def messages(options, samples, wire):
    builds = {"plain": options.bench, "optimized": options.optimized}
    # 1,000 pairs and a single event. What does not use our libraries is the same in every build.
    runs = [("plain", None, "/1(000)?$"), ("optimized", None, "/(ours.*|bytes copied)/1(000)?$")]
    runs += [("optimized", allocator, "/ours, (reused|arena|heap)/1000$")
             for allocator, library in ALLOCATORS.items() if (LIBRARIES / library).exists()]
    for rounds, chosen in ((options.rounds, runs),
                           (options.growth_rounds, [("optimized", None, "/100(00|000)?$")])):
        for number in range(rounds):
            print(f"messages: round {number + 1} of {rounds}", file=sys.stderr)
            for name, allocator, expression in random.sample(chosen, len(chosen)):
                run_messages(options, name, builds[name], allocator, expression, samples, wire)


def cpu_milliseconds(command, environment):
    process = subprocess.Popen(command, env=environment, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"{command} failed")
    return (usage.ru_utime + usage.ru_stime) * 1000


def relocations(program, environment):
    """How many symbols the loader looks up, without those it remembers."""
    process = subprocess.run([program], env=dict(environment, LD_DEBUG="statistics"),
                             stderr=subprocess.PIPE, text=True, check=True)
    return int(re.search(r" number of relocations: (\d+)", process.stderr).group(1))


def start_up(options, samples):
    commands = []
    symbols = {}
    folder = (options.bench / "bench/start_up").resolve()
    for name, build in (("plain", options.bench), ("optimized", options.optimized)):
        build = build.resolve()
        environment = environment_for(build)
        runtime, schema = folder / "bench_load_runtime", folder / "bench_load_schema"
        symbols[name] = relocations(schema, environment) - relocations(runtime, environment)
        commands += [
            (f"start/runtime alone/{name}", [runtime], environment),
            (f"start/schema library/{name}", [schema], environment),
            (f"start/cmnsys --version/{name}", [build / "bin/cmnsys", "--version"], environment),
            (f"start/cmnsys describe Gid/{name}", [build / "bin/cmnsys", "describe", "Gid"],
             environment),
        ]
    for number in range(options.start_up_rounds):
        for key, command, environment in random.sample(commands, len(commands)):
            samples.add(key, round(cpu_milliseconds(command, environment), 3))
    return symbols


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def main():
    options = arguments()
    samples, wire = Samples(), {}
    load_before = os.getloadavg()[0]
    symbols = start_up(options, samples) if "start-up" in options.parts else {}
    if "messages" in options.parts:
        messages(options, samples, wire)
    if "rpc" in options.parts:
        rpc_rounds.measure(options.bench / "bench/rpc/bench_rpc", options.rpc_rounds, samples.add)
    figures = {
        "date": datetime.date.today().isoformat(),
        "processor": processor(),
        "cores": os.cpu_count(),
        "load": [load_before, os.getloadavg()[0]],
        "command": " ".join(sys.argv),
        "units": {"encode": "ns CPU an event", "decode": "ns CPU an event", "start": "ms CPU",
                  "rpc": "us; of both processes where it says CPU"},
        "wire bytes an event": wire,
        "symbols looked up when loaded": symbols,
        "library bytes": {
            name: (build / "ProtoBuf/libCmnSysProtoBuf.so").resolve().stat().st_size
            for name, build in (("plain", options.bench), ("optimized", options.optimized))
        } if "start-up" in options.parts else {},
        "samples": samples.values,
    }
    options.figures.write_text(json.dumps(figures, indent=1) + "\n", encoding="utf-8")
    print(f"wrote {options.figures}", file=sys.stderr)


if __name__ == "__main__":
    main()
