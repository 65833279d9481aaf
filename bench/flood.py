"""Runs bench_flood, the real application object flooded with status reports, on a desktop with a
tray and a private session bus, pinned with its feeder thread to one core unless told otherwise.
Each round starts the program afresh; with --before, rounds of another build's bench_flood
alternate with this one's.

    /usr/bin/python3 bench/flood.py [--rounds 5] [--reports 2000000] [--cpu 1|all] [--before DIR/bench_flood]
"""

import argparse
import collections
import os
import re
import subprocess

import benchlib

LINE = re.compile(r"^run \d+ (\S+ \S+) +(\d+) reports/s +(\d+) per CPU s +stall +([\d.]+) ms +lag +([\d.]+) ms$")
FIGURES = ("reports/s", "per CPU s", "stall ms", "lag ms")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--reports", type=int, default=2000000)
    parser.add_argument("--cpu", default="1", help="the core to run on, or all")
    parser.add_argument("--before", metavar="BENCH_FLOOD", help="another build's bench_flood, run in turn")
    args = parser.parse_args()
    print(benchlib.machine(), flush=True)
    # bench_flood feeds from a thread of its own: the simulator, one command a report, is far slower.
    programs = {"wardlet": os.path.join(benchlib.BUILD, "bench", "bench_flood")}
    if args.before:
        programs["before"] = os.path.abspath(args.before)
    pin = [] if args.cpu == "all" else ["taskset", "-c", args.cpu]
    results = collections.defaultdict(list)
    with benchlib.desktop() as desktop:
        for round_ in range(args.rounds):
            for key, program in programs.items():
                with desktop.session() as env, benchlib.scratch(desktop) as cwd:
                    run = subprocess.run([*pin, program, "--runs", "1", "--reports", str(args.reports)], env=env,
                                         cwd=cwd, capture_output=True, text=True)
                if run.returncode != 0:
                    raise RuntimeError(f"{program} failed: {run.stderr}")
                for match in filter(None, map(LINE.match, run.stdout.splitlines())):
                    results[key, match[1]].append([float(value) for value in match.groups()[1:]])
                    print(f"round {round_} {key:7} {match[0][6:]}", flush=True)

    print(f"\n{args.rounds} rounds of {args.reports} reports per kind, "
          f"{'on core ' + args.cpu if pin else 'on any core'}; median [min .. max]")
    for (key, kind), rows in results.items():
        columns = zip(*rows)
        print(f"{key:7} {kind:16} " + "; ".join(f"{name} {benchlib.spread(values, 0 if i < 2 else 2)}"
                                                 for i, (name, values) in enumerate(zip(FIGURES, columns))))


if __name__ == "__main__":
    main()
