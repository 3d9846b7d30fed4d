#!/usr/bin/python3
"""Runs fuzz targets, two at a time, and tells how often each ran and what it found.

Each target begins with seeds of its own making and the inputs that once failed. Without --seconds, as
CI runs them, all that is random begins with the same number, so that two runs of one build try the same
inputs as far as their time goes. With it every run tries others, and begins with what earlier ones of
the kind added to the corpus.

What fails is left below FOLDER/failed; copy it to fuzz/failed/TARGET/ once it is mended, under a name
that says what it is."""

import argparse
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import tempfile

KEPT = pathlib.Path(__file__).parent / "failed"
SECONDS_IN_CI = 20
# Their threads free memory when they like, so that libFuzzer would look for leaks, long, after every
# input. The tests do so at their end.
WITH_THREADS = {"server"}


def arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("targets", nargs="*", help="all when none is named")
    parser.add_argument("--build", type=pathlib.Path, default="build/fuzz", metavar="FOLDER",
                        help="build folder")
    parser.add_argument("--seconds", type=int,
                        help=f"how long each target runs; {SECONDS_IN_CI} without it")
    return parser.parse_args()


def run(build, target, seconds):
    """Returns a line for the table and whether all was well. `seconds` is None as in CI."""
    program = build / "bin" / f"fuzz_{target}"
    corpus = build / "corpus" / target
    failed = build / "failed" / target
    log = build / "log" / f"{target}.txt"
    for folder in (corpus, failed, log.parent):
        folder.mkdir(parents=True, exist_ok=True)
    before = set(failed.iterdir())
    kept = [folder for folder in [KEPT / target] if folder.is_dir()]
    with tempfile.TemporaryDirectory() as seeds, tempfile.TemporaryDirectory() as nothing:
        inputs = [corpus if seconds else nothing, seeds, *kept]
        flags = ([] if seconds else ["-seed=1"]) + ["-detect_leaks=0"] * (target in WITH_THREADS)
        with log.open("w") as output:
            subprocess.run([program, f"--write-seeds={seeds}"], check=True, stderr=output)
            status = subprocess.run(
                [program, f"-max_total_time={seconds or SECONDS_IN_CI}", "-timeout=60", "-report_slow_units=60",
                 "-rss_limit_mb=3000", "-malloc_limit_mb=500", "-print_final_stats=1",
                 f"-artifact_prefix={failed}/", *flags, *inputs],
                stdout=output, stderr=subprocess.STDOUT,
                env={"TMPDIR": "/dev/shm", "ASAN_OPTIONS": "detect_odr_violation=0:allocator_may_return_null=1",
                     "UBSAN_OPTIONS": "print_stacktrace=1", **os.environ}).returncode
    text = log.read_text(errors="replace")
    figures = dict(re.findall(r"stat::(\w+): +(\d+)", text))
    coverage = re.findall(r"cov: (\d+)", text)
    found = sorted(set(failed.iterdir()) - before)
    line = (f"{target:<10} {int(figures.get('number_of_executed_units', 0)):>12,} "
            f"{int(figures.get('average_exec_per_sec', 0)):>9,} "
            f"{int(figures.get('peak_rss_mb', 0)):>7,} {coverage[-1] if coverage else '-':>9}  ")
    if status == 0 and not found:
        return line + "nothing", True
    return line + (", ".join(map(str, found)) or f"ended with status {status}") + f"; see {log}", False


def main():
    options = arguments()
    there = sorted(path.name[len("fuzz_"):] for path in (options.build / "bin").glob("fuzz_*"))
    unknown = set(options.targets) - set(there)
    if unknown or not there:
        sys.exit(f"There is no target {', '.join(sorted(unknown))}; there are: {', '.join(there)}"
                 if unknown else f"No targets in {options.build}/bin; make fuzz builds them")
    print(f"{'target':<10} {'executions':>12} {'a second':>9} {'MB':>7} {'coverage':>9}  found",
          flush=True)
    well = True
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        runs = [pool.submit(run, options.build, target, options.seconds)
                for target in options.targets or there]
        for done in concurrent.futures.as_completed(runs):
            line, is_well = done.result()
            print(line, flush=True)
            well = well and is_well
    sys.exit(0 if well else 1)


if __name__ == "__main__":
    main()
