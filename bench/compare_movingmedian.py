#!/usr/bin/python3
"""MOVINGMEDIAN against pandas' rolling median, measured in the same run.

Runs BM_MovingMedian of fpk_bench (1,000,000 rows, trailing windows of 10,
1,000 and 100,000 rows through the plug-in) and pandas'
Series.rolling(window, min_periods=1).median() on a series of the same size
and distribution, and prints each time and the ratio pandas / MOVINGMEDIAN.
Both sides are timed in wall-clock time and the best of the repetitions is
kept, so that both see the same machine load.

Usage: /usr/bin/python3 bench/compare_movingmedian.py [path/to/fpk_bench] [repetitions]
"""
import json
import os
import subprocess
import sys
import time

import numpy as np
import pandas as pd

ROWS = 1_000_000
WINDOWS = (10, 1_000, 100_000)


def fpk_times(bench, reps):
    out = subprocess.run(
        [bench, "--benchmark_filter=BM_MovingMedian/", f"--benchmark_repetitions={reps}",
         "--benchmark_format=json"],
        check=True, capture_output=True, text=True).stdout
    best = {}
    for b in json.loads(out)["benchmarks"]:
        if b.get("run_type") != "iteration":
            continue
        _, rows, window = b["run_name"].split("/")[:3]
        if int(rows) != ROWS:
            continue
        seconds = b["real_time"] / {"ms": 1e3, "us": 1e6, "ns": 1e9, "s": 1.0}[b["time_unit"]]
        best[int(window)] = min(best.get(int(window), float("inf")), seconds)
    return best


def pandas_times(reps):
    series = pd.Series(np.random.default_rng(5).standard_normal(ROWS))
    best = {}
    for window in WINDOWS:
        for _ in range(reps):
            start = time.perf_counter()
            series.rolling(window, min_periods=1).median()
            elapsed = time.perf_counter() - start
            best[window] = min(best.get(window, float("inf")), elapsed)
    return best


def main():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    bench = sys.argv[1] if len(sys.argv) > 1 else os.path.join(root, "build", "bin", "fpk_bench")
    reps = int(sys.argv[2]) if len(sys.argv) > 2 else 2
    fpk = fpk_times(bench, reps)
    ref = pandas_times(reps)
    print(f"{'window':>8} {'MOVINGMEDIAN s':>15} {'pandas s':>10} {'ratio':>7}")
    for window in WINDOWS:
        print(f"{window:>8} {fpk[window]:>15.3f} {ref[window]:>10.3f} {ref[window] / fpk[window]:>7.1f}x")


if __name__ == "__main__":
    main()
