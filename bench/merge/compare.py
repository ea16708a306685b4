#!/usr/bin/env python3
"""Runs tallycsv and its peers over the inputs of the merge bench and prints medians, ratios and goals.

Called by scripts/bench.sh, which builds everything first. All runners of a shape take turns, run by run, so that
whatever else the machine does falls on all alike. Every result is read back and must hold the same rows in the
same order; line ends and quoting are each tool's own.
"""

import argparse
import csv
import hashlib
import pathlib
import shutil
import statistics
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
SHAPES = {  # name: number columns
    "low": 6,
    "high": 3,
    "quoted": 6,
    "wide": 40,
}
GOALS = {  # shape: (ratio to the best peer, peak memory in bytes, or a function of the bytes of keys and sums)
    "low": (0.33, lambda payload: 8e6),
    "quoted": (0.40, lambda payload: 8e6),
    "wide": (0.33, lambda payload: 8e6),
    "high": (0.70, lambda payload: 2.5 * payload),
}
FLOOR = "wc -l"
PRODUCT = "tallycsv"


def mawk_program(numbers):
    """One array a column: faster here than one array for all, or than an id a group."""
    columns = range(3, 3 + numbers)
    adds = "; ".join(f"a{c}[k] += ${c}" for c in columns)
    values = ", ".join(f"a{c}[k]" for c in columns)
    formats = ",%.0f" * numbers
    read = f'BEGIN {{ FS = "," }} {{ k = $1 "," $2; {adds} }}'
    return f'{read} END {{ for (k in a3) printf "%s{formats}\\n", k, {values} }}'


class Runner:
    """One tool on one input. `command` is an argument list, or a text for the shell."""

    def __init__(self, name, command, output, seconds_file=None):
        self.name, self.output, self.seconds_file = name, output, seconds_file
        self.command = ["sh", "-c", command] if isinstance(command, str) else command
        self.seconds, self.peaks = [], []

    def run(self, measure):
        for stale in filter(None, (self.output, self.seconds_file)):
            stale.unlink(missing_ok=True)
        done = subprocess.run([measure, *self.command], stdout=subprocess.PIPE, stdin=subprocess.DEVNULL, check=True)
        seconds, peak, status = done.stdout.split()
        if int(status) != 0:
            sys.exit(f"{self.name} ended with status {int(status)}: {self.command}")
        if self.seconds_file:
            seconds = self.seconds_file.read_text()
        self.seconds.append(float(seconds))
        self.peaks.append(int(peak) * 1024)

    @property
    def time(self):
        return statistics.median(self.seconds)

    @property
    def peak(self):
        return statistics.median(self.peaks)


def runners_for(shape, data, build, peers):
    numbers = SHAPES[shape]
    source = data / f"{shape}.csv"

    def result(name):
        return data / f"{shape}.{name}.out"

    runners = [
        Runner(FLOOR, ["wc", "-l", str(source)], None),
        Runner(PRODUCT, [str(build / "tallycsv"), str(source), "-m:2", f"-o:{result(PRODUCT)}"], result(PRODUCT)),
    ]
    if not peers:
        return runners
    if shape != "quoted":
        mawk = f"LC_ALL=C mawk '{mawk_program(numbers)}' {source} | LC_ALL=C sort -t, -k1,1 -k2,2"
        datamash = f"tr -d '\\r' < {source} | LC_ALL=C datamash -t, -s groupby 1,2 sum 3-{2 + numbers}"
        for name, command in (("mawk", mawk), ("datamash", datamash)):
            runners.append(Runner(name, f"{command} > {result(name)}", result(name)))
    for threads in (1, 2):
        name = f"duckdb{threads}"
        seconds_file = data / f"{name}.seconds"
        arguments = [peers, source, result(name), numbers, threads, seconds_file]
        command = ["node", str(HERE / "duckdb.cjs"), *map(str, arguments)]
        runners.append(Runner(f"duckdb, {threads} thread{'s' * (threads - 1)}", command, result(name), seconds_file))
    return runners


def digest(path):
    """A hash of the rows, their number, and the bytes of their keys and sums (8 a sum)."""
    total, rows, payload = hashlib.sha256(), 0, 0
    with open(path, newline="", encoding="latin-1") as file:
        for row in csv.reader(file):
            total.update("\x1f".join(row).encode("latin-1") + b"\n")
            rows += 1
            payload += len(row[0]) + len(row[1]) + 8 * (len(row) - 2)
    return total.hexdigest(), rows, payload


def check_agreement(runners):
    """Rows and payload of the result; ends the bench if two tools differ."""
    digests = {runner.name: digest(runner.output) for runner in runners if runner.output}
    if len({found[0] for found in digests.values()}) != 1:
        sys.exit("results differ: " + ", ".join(f"{name} {d[0][:12]} ({d[1]} rows)" for name, d in digests.items()))
    return digests[PRODUCT][1:]


def bench(shape, data, build, peers, runs):
    runners = runners_for(shape, data, build, peers)
    size = (data / f"{shape}.csv").stat().st_size
    for number in range(runs):
        for runner in runners:
            print(f"\r{shape}: run {number + 1} of {runs}, {runner.name:<20}", end="", file=sys.stderr, flush=True)
            runner.run(str(build / "merge_measure"))
    print("\r" + " " * 60 + "\r", end="", file=sys.stderr)
    rows, payload = check_agreement(runners)

    rivals = [runner for runner in runners if runner.name not in (FLOOR, PRODUCT)]
    print(f"{shape}: {size / 1e6:.0f} MB, {rows} groups, median of {runs}", end="")
    print(", all results agree" if rivals else "")
    print(f"  {'':<18}{'seconds':>9}{'MB/s':>9}{'peak MB':>9}")
    for runner in runners:
        print(f"  {runner.name:<18}{runner.time:>9.2f}{size / 1e6 / runner.time:>9.0f}{runner.peak / 1e6:>9.1f}")
    if peers and shape == "quoted":
        print("  mawk and datamash cannot read quoted cells and are left out")
    print()
    product = next(runner for runner in runners if runner.name == PRODUCT)
    best = min(rivals, key=lambda runner: runner.time, default=None)
    return shape, product, best, payload


def print_goals(results):
    print(f"{'shape':<8}{'ratio':>7}{'goal':>7}  {'':<7}{'peak MB':>8}{'goal':>8}  {'':<7}best peer")
    for shape, product, best, payload in results:
        ratio_goal, peak_goal = GOALS[shape][0], GOALS[shape][1](payload)
        ratio = product.time / best.time if best else None
        ratio_text = f"{ratio:.2f}" if best else "-"
        verdict = "" if not best else "met" if ratio <= ratio_goal else "MISSED"
        print(
            f"{shape:<8}{ratio_text:>7}{ratio_goal:>7.2f}  {verdict:<7}"
            f"{product.peak / 1e6:>8.1f}{peak_goal / 1e6:>8.1f}  {'met' if product.peak <= peak_goal else 'MISSED':<7}"
            f"{best.name if best else 'none was run'}"
        )


def make_input(shape, data, build):
    path = data / f"{shape}.csv"
    if path.exists() and path.stat().st_mtime >= (HERE / "generate.cpp").stat().st_mtime:
        return
    print(f"making {path} ...", file=sys.stderr)
    partial = path.with_suffix(".part")
    subprocess.run([str(build / "merge_generate"), shape, str(partial)], check=True)
    partial.rename(path)


def main():
    parser = argparse.ArgumentParser(prog="bench.sh merge", description="bench of the whole tool")
    parser.add_argument("shapes", nargs="*", metavar="SHAPE", help=f"any of {', '.join(SHAPES)}; all of them by default")
    parser.add_argument("--runs", type=int, default=5, help="runs of each, of which the median counts (5)")
    parser.add_argument("--no-peers", action="store_true", help="wc and tallycsv alone")
    parser.add_argument("--build", type=pathlib.Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--data", type=pathlib.Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--peers", type=pathlib.Path, help=argparse.SUPPRESS)
    options = parser.parse_args()
    unknown = set(options.shapes) - set(SHAPES)
    if unknown or options.runs < 1:
        parser.error(f"no such shape: {', '.join(unknown)}" if unknown else "--runs must be at least 1")

    options.data.mkdir(parents=True, exist_ok=True)
    for name in ("mawk", "datamash", "node"):
        if not options.no_peers and not shutil.which(name):
            sys.exit(f"{name} is not installed; --no-peers runs tallycsv alone")
    peers = None if options.no_peers else options.peers
    results = []
    for shape in options.shapes or SHAPES:
        make_input(shape, options.data, options.build)
        results.append(bench(shape, options.data, options.build, peers, options.runs))
    print_goals(results)
    if not options.no_peers:
        print("duckdb: the query alone, without the start of node. Peak: the largest single process of a pipeline.")


if __name__ == "__main__":
    main()
