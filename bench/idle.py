"""Wake-ups of an idle wardlet against the minimal tray program: the context switches of all
threads (voluntary and involuntary, from /proc/PID/task/*/status) over a quiet window, once with
both daemons connected and silent, once with both absent, once connected on a display with no
notification area (waiting for one). Runs of the four cases alternate.

    /usr/bin/python3 bench/idle.py [--runs 3] [--window 10]
"""

import argparse
import contextlib
import os
import statistics
import time

import benchlib

CASES = ("minimal", "connected", "absent", "no tray")


def idle_once(desktop, case, settle, window, bare_display):
    """(wake-ups per second, CPU milliseconds per second) over the window."""
    suffix = f"-bench-idle-{os.getpid()}-{time.monotonic_ns()}"
    program, name = (benchlib.MINIMAL, "minimal_tray") if case == "minimal" else (benchlib.WARDLET, "wardlet")
    with contextlib.ExitStack() as daemons, desktop.session() as env, benchlib.scratch(desktop) as cwd, \
            benchlib.embedding_probe(env, name) as embedded:
        sim = case in ("connected", "no tray") and desktop.start_simulator(suffix, defer=daemons.callback)
        if case == "no tray":
            env = dict(env, DISPLAY=bare_display)
        process = desktop.spawn([program], env=dict(env, WARDLET_SOCKET_SUFFIX=suffix), cwd=cwd)
        try:
            if case != "no tray":
                embedded()
            if sim and not sim.wait_frames(benchlib.STATUS_REQUESTS, timeout=10):
                raise RuntimeError("wardlet did not ask both daemons for their state")
            time.sleep(settle)
            before, cpu_before = benchlib.switches(process.pid), benchlib.cpu_ns(process.pid)
            time.sleep(window)
            after, cpu_after = benchlib.switches(process.pid), benchlib.cpu_ns(process.pid)
            return (after - before) / window, (cpu_after - cpu_before) / 1e6 / window
        finally:
            benchlib.stop(process)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--window", type=float, default=10.0, help="seconds counted")
    parser.add_argument("--settle", type=float, default=2.0, help="seconds after start-up before counting")
    args = parser.parse_args()
    print(benchlib.machine())
    wakeups = {case: [] for case in CASES}
    cpu = {case: [] for case in CASES}
    with benchlib.desktop() as desktop:
        bare_display, _ = desktop.start_display("bare")  # no notification area on it
        for run in range(args.runs):
            for case in CASES[run % len(CASES):] + CASES[:run % len(CASES)]:
                with benchlib.program_turn():
                    rate, cpu_ms = idle_once(desktop, case, args.settle, args.window, bare_display)
                wakeups[case].append(rate)
                cpu[case].append(cpu_ms)
                print(f"run {run} {case:9} {rate:6.2f} wake-ups/s, {cpu_ms:6.3f} ms CPU/s", flush=True)

    print(f"\n{args.runs} runs of {args.window:g} s each; median [min .. max]")
    for case in CASES:
        print(f"{case:9} wake-ups/s {benchlib.spread(wakeups[case], 2)}; CPU ms/s {benchlib.spread(cpu[case], 3)}")
    print(f"connected minus minimal, wake-ups/s: "
          f"{statistics.median(wakeups['connected']) - statistics.median(wakeups['minimal']):.2f}")


if __name__ == "__main__":
    main()
