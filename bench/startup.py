"""Start-up of wardlet against the minimal tray program: the time from starting the process until
its icon is shown inside the tray, and the resident memory five seconds after the start.
Runs alternate between the two programs on one display; each gets a fresh session bus.

    /usr/bin/python3 bench/startup.py [--runs 10]
"""

import argparse
import os
import statistics
import time

import benchlib


def start_once(desktop, program, name, settle):
    """(milliseconds until the icon is shown, CPU milliseconds spent by then, VmRSS in KiB settle
    seconds after the start)"""
    with desktop.session() as env, benchlib.scratch(desktop) as cwd, \
            benchlib.embedding_probe(env, name) as embedded:
        # No daemons: wardlet retries once a second, which costs nothing measurable here.
        env = dict(env, WARDLET_SOCKET_SUFFIX=f"-bench-startup-{os.getpid()}")
        started = time.monotonic_ns()
        process = desktop.spawn([program], env=env, cwd=cwd)
        try:
            _, shown = embedded()
            cpu = benchlib.cpu_ns(process.pid)
            time.sleep(max(0.0, started / 1e9 + settle - time.monotonic()))
            return (shown - started) / 1e6, cpu / 1e6, benchlib.rss_kib(process.pid)
        finally:
            benchlib.stop(process)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--runs", type=int, default=10)
    parser.add_argument("--settle", type=float, default=5.0, help="seconds until the memory is read")
    args = parser.parse_args()
    print(benchlib.machine())
    programs = {"wardlet": (benchlib.WARDLET, "wardlet"), "minimal": (benchlib.MINIMAL, "minimal_tray")}
    times = {key: [] for key in programs}
    cpu = {key: [] for key in programs}
    memory = {key: [] for key in programs}
    with benchlib.desktop() as desktop:
        for run in range(args.runs):
            # Which one goes first alternates too.
            for key in (("wardlet", "minimal") if run % 2 == 0 else ("minimal", "wardlet")):
                with benchlib.program_turn():
                    ms, cpu_ms, rss = start_once(desktop, *programs[key], args.settle)
                times[key].append(ms)
                cpu[key].append(cpu_ms)
                memory[key].append(rss / 1024)
                print(f"run {run} {key:8} icon shown after {ms:7.1f} ms ({cpu_ms:5.1f} ms CPU), "
                      f"VmRSS {rss / 1024:6.2f} MiB", flush=True)

    print(f"\n{args.runs} interleaved runs each; median [min .. max]")
    for key in programs:
        print(f"{key:8} icon shown ms {benchlib.spread(times[key])}; CPU ms by then {benchlib.spread(cpu[key])}; "
              f"VmRSS MiB {benchlib.spread(memory[key], 2)}")
    ratios = [w / m for w, m in zip(times["wardlet"], times["minimal"])]
    print(f"time ratio of the medians {statistics.median(times['wardlet']) / statistics.median(times['minimal']):.3f}"
          f"; per pair {benchlib.spread(ratios, 3)}")
    extra = [w - m for w, m in zip(memory["wardlet"], memory["minimal"])]
    print(f"VmRSS above the minimal program, MiB: medians {statistics.median(memory['wardlet']) - statistics.median(memory['minimal']):.2f}"
          f"; per pair {benchlib.spread(extra, 2)}")


if __name__ == "__main__":
    main()
