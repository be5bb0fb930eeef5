#!/usr/bin/python3
"""FORECAST by every method: the C++ library against the same computation
written with pandas/numpy, measured in the same run.

The plan is the one of bench/forecastBench.cpp: 1,000,000 rows of twelve
months and a "YEAR" line, repeated, the first half closed, a window of 12
periods, period groups ending on every twelfth month. The pandas version
takes the columns as a pandas Series / numpy arrays and returns the result
frame (RE_PERIOD, FORECAST) with the same checks of flags and sizes.

Usage: /usr/bin/python3 bench/compare_forecast.py [--bench build/bin/fpk_bench]
                                                 [--repeat 3] [--rows N] [--pooled-malloc]
Times are CPU times (the machine is shared; wall-clock times are printed too).

Ratios are given twice: against the whole C++ call through the loader and the
reference host (host column reads and writes included) and against the C++
arithmetic on native arrays. With --pooled-malloc both sides run with glibc
keeping freed memory (as a database host's pooled allocator does) instead of
returning it to the system after each call; without it, fresh pages dominate
the times of both sides.
"""
import argparse
import json
import os
import subprocess
import sys
import time

import numpy as np
import pandas as pd

WINDOW = 12
MONTH_DAYS = np.array([31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31], dtype=np.int32)
MARKERS = ("YEAR", "TOTAL")
POOLED = "glibc.malloc.trim_threshold=4000000000:glibc.malloc.mmap_threshold=4000000000"


class ForecastError(Exception):
    pass


def build_plan(n):
    i = np.arange(n, dtype=np.int64)
    block, month = i // 13, i % 13
    year = month == 12
    labels = ["YEAR" if m == 12 else f"{b:06d}{m + 1:02d}" for b, m in zip(block.tolist(), month.tolist())]
    closed = n // 2
    budget = np.where(year, 0.0, 100.0 + ((i * 37) % 50))
    actual = np.where(year[:closed], 0.0, budget[:closed] * (0.9 + (i[:closed] % 7) * 0.03))
    afflag = (i >= closed).astype(np.int32)
    days = np.where(year, 0, MONTH_DAYS[np.minimum(month, 11)]).astype(np.int32)
    periods_flag = (month == 11).astype(np.int32)
    n_override = int(np.count_nonzero(~year & (i >= closed)))
    overrides = 50.0 + (np.arange(n_override) % 100)
    return dict(period=pd.Series(labels, dtype=object), budget=budget, actual=actual, afflag=afflag,
                periodsnum=np.array([WINDOW], dtype=np.int32), override=overrides, days=days,
                periodsflag=periods_flag)


# ---- the pandas/numpy FORECAST ----------------------------------------------

def group_sums(values, marker):
    """Marker rows get the sum of the period rows since the previous marker."""
    before = np.cumsum(marker) - marker          # markers before each row = its group
    sums = np.bincount(before[~marker], weights=values[~marker], minlength=int(before[-1]) + 2 if len(marker) else 1)
    out = values.copy()
    out[marker] = sums[before[marker]]
    return out


def padded_actual(actual, n):
    act = np.zeros(n)
    m = min(n, len(actual))
    act[:m] = actual[:m]
    return act


def check_rows(flag, marker, n_actual):
    period_rows = ~marker
    if np.any(period_rows & ((flag < 0) | (flag > 1))):
        raise ForecastError("AFflag should be in (0,1)")
    closed = period_rows & (flag == 0)
    if np.any(closed[n_actual:]):
        raise ForecastError("ACTUAL shorter than PERIOD")
    return period_rows, closed, period_rows & (flag == 1)


def window_values(p, marker, flag, act, closed, open_, linear, by_days):
    k = int(p["periodsnum"][0]) if len(p["periodsnum"]) else 0
    if k < 1:
        raise ForecastError("Period number should be greater than 0")
    if k > len(p["actual"]):
        raise ForecastError("Period number should not be in greater than size of ACTUAL.")
    period_rows = ~marker
    if by_days:
        d = np.where(period_rows, p["days"], 0)
        if np.any(period_rows & (d < 1)):
            raise ForecastError("Days should be greater than 0")
        x = (np.cumsum(d) - d) + d / 2.0
    else:
        d = None
        x = (np.cumsum(period_rows) - 1).astype(np.float64)
    points = np.flatnonzero(closed)
    seen = np.cumsum(closed)[open_]               # closed periods before each open row
    if np.any(seen < k):
        raise ForecastError("Period number should not be in greater than size of ACTUAL.")
    last = seen - 1
    y = pd.Series(act[points])
    if by_days:
        dd = pd.Series(d[points].astype(np.float64))
        average = (y.rolling(k).sum() / dd.rolling(k).sum()).to_numpy()[last] * d[open_]
    else:
        average = (y.rolling(k).sum() / k).to_numpy()[last]
    if not linear or k < 2:
        return average
    xs = pd.Series(x[points])
    fit = y / dd if by_days else y
    b = (xs.rolling(k).cov(fit) / xs.rolling(k).var()).to_numpy()[last]
    a = fit.rolling(k).mean().to_numpy()[last] - b * xs.rolling(k).mean().to_numpy()[last]
    line = a + b * x[open_]
    return line * d[open_] if by_days else line


def periodic_values(budget, act, closed, open_, ends):
    n = len(budget)
    f = np.zeros(n, dtype=bool)
    m = min(n, len(ends))
    f[:m] = ends[:m] == 1
    group = np.concatenate(([0], np.cumsum(f[:-1]))) if n else np.zeros(0, dtype=np.int64)
    sa = np.bincount(group[closed], weights=act[closed], minlength=int(group[-1]) + 1 if n else 0)
    sb = np.bincount(group[closed], weights=budget[closed], minlength=int(group[-1]) + 1 if n else 0)
    sa_g, sb_g, b = sa[group[open_]], sb[group[open_]], budget[open_]
    with np.errstate(divide="ignore", invalid="ignore"):
        return np.where(sb_g != 0, b * sa_g / sb_g, b)


def forecast(p, method, indicator):
    period = p["period"]
    n = len(period)
    marker = period.isin(MARKERS).to_numpy()
    flag = p["afflag"]
    if len(flag) != n:
        raise ForecastError("AFFLAG and PERIOD differ in size")
    budget = p["budget"]
    act = padded_actual(p["actual"], n)
    period_rows, closed, open_ = check_rows(flag, marker, len(p["actual"]))
    values = act.copy()
    with np.errstate(divide="ignore", invalid="ignore"):
        if method == 0:
            values[open_] = budget[open_]
        elif method == 1:
            count = int(np.count_nonzero(open_))
            if count > len(p["override"]):
                raise ForecastError("OVERRIDE shorter than the open periods")
            values[open_] = p["override"][:count]
        elif method == 2:
            na = len(p["actual"])
            f = flag[:na]
            if np.any((f < 0) | (f > 1)):
                raise ForecastError("AFflag should be in (0,1)")
            c = f == 0
            sb, sa = budget[:na][c].sum(), p["actual"][c].sum()
            values[open_] = sa * budget[open_] / sb
        elif method in (3, 8):
            total = budget[period_rows].sum()
            sb, sa = budget[closed].sum(), act[closed].sum()
            if sb == total:
                values[open_] = (total - sa) / (n - len(p["actual"]) - 1)
            else:
                values[open_] = (total - sa) * budget[open_] / (total - sb)
        elif method in (4, 5):
            values[open_] = window_values(p, marker, flag, act, closed, open_, method == 5, indicator == 1)
        elif method == 6:
            values[open_] = periodic_values(budget, act, closed, open_, p["periodsflag"])
        elif method == 7:
            ends = np.zeros(n, dtype=np.int32)
            at = np.flatnonzero(marker)
            ends[at[at > 0] - 1] = 1
            values[open_] = periodic_values(budget, act, closed, open_, ends)
        else:
            raise ForecastError("Method should be in (0,1,2,3,4,5,6,7,8).")
    return pd.DataFrame({"RE_PERIOD": period, "FORECAST": group_sums(values, marker)})


# ---- worked examples, so that the pandas version computes the same thing -----

def self_check():
    def plan(period, budget=(), actual=(), flags=(), k=(), override=(), days=(), ends=()):
        return dict(period=pd.Series(period, dtype=object), budget=np.array(budget, dtype=float),
                    actual=np.array(actual, dtype=float), afflag=np.array(flags, dtype=np.int32),
                    periodsnum=np.array(k, dtype=np.int32), override=np.array(override, dtype=float),
                    days=np.array(days, dtype=np.int32), periodsflag=np.array(ends, dtype=np.int32))
    quarters = ["Q1", "Q2", "Q3", "Q4", "YEAR"] * 2
    cases = [
        (plan(["M1", "M2", "YEAR", "M3", "TOTAL"], [0, 20, 0, 30, 0], [10], [0, 1, 7, 1, 7]), 0, 0,
         [10, 20, 30, 30, 30]),
        (plan(["M1", "M2", "M3", "TOTAL"], [100, 100, 100, 0], [120], [0, 1, 1, 9]), 3, 0, [120, 90, 90, 300]),
        (plan(quarters, [0] * 10, [50, 60, 55, 65, 0, 70, 72], [0] * 7 + [1, 1, 0], [2]), 4, 0,
         [50, 60, 55, 65, 230, 70, 72, 71, 71, 284]),
        (plan(quarters, [0] * 10, [50, 60, 55, 65, 0, 70, 72], [0] * 7 + [1, 1, 0], [4]), 5, 0,
         [50, 60, 55, 65, 230, 70, 72, 79.5, 85.1, 306.6]),
        (plan(["JAN", "FEB", "MAR", "APR", "MAY"], [0] * 5, [310, 280, 341], [0, 0, 0, 1, 1], [3], [],
              [31, 28, 31, 30, 31]), 5, 1, [310, 280, 341, 340.5085, 367.8842]),
        (plan([f"M{i}" for i in range(1, 7)], [100, 100, 100, 100, 150, 50], [90, 110, 0, 120], [0, 0, 1, 0, 1, 1],
              [1], [], [], [0, 0, 1, 0, 0, 1]), 6, 0, [90, 110, 100, 120, 180, 60]),
        (plan(["M1", "M2", "YEAR", "M3", "M4", "YEAR"], [100, 200, 0, 100, 300, 0], [80], [0, 1, 9, 1, 1, 9]), 7, 0,
         [80, 160, 240, 100, 300, 400]),
    ]
    for p, method, indicator, want in cases:
        got = forecast(p, method, indicator)["FORECAST"].to_numpy()
        if not np.allclose(got, want, rtol=0, atol=1e-4):
            sys.exit(f"pandas FORECAST method {method} disagrees with the worked example: {got} != {want}")


# ---- timing -----------------------------------------------------------------

CASES = [(m, 0) for m in range(9)] + [(4, 1), (5, 1)]


def time_pandas(p, method, indicator, repeat):
    best_cpu = best_wall = float("inf")
    for _ in range(repeat):
        w0, c0 = time.perf_counter(), time.process_time()
        forecast(p, method, indicator)
        best_cpu = min(best_cpu, time.process_time() - c0)
        best_wall = min(best_wall, time.perf_counter() - w0)
    return best_cpu * 1e3, best_wall * 1e3


def time_cpp(bench, repeat):
    out = subprocess.run([bench, "--benchmark_filter=BM_ForecastCall|BM_ForecastKernel", "--benchmark_format=json",
                          f"--benchmark_repetitions={repeat}", "--benchmark_report_aggregates_only=false"],
                         check=True, capture_output=True, text=True).stdout
    scale = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}
    times = {}
    for b in json.loads(out)["benchmarks"]:
        if b.get("run_type") != "iteration":
            continue
        name = b["run_name"]
        cpu, wall = b["cpu_time"] * scale[b["time_unit"]], b["real_time"] * scale[b["time_unit"]]
        old = times.get(name, (float("inf"), float("inf")))
        times[name] = (min(old[0], cpu), min(old[1], wall))
    return times


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    ap = argparse.ArgumentParser()
    ap.add_argument("--bench", default=os.path.join(here, "..", "build", "bin", "fpk_bench"))
    ap.add_argument("--repeat", type=int, default=3)
    ap.add_argument("--rows", type=int, default=1_000_000)
    ap.add_argument("--pooled-malloc", action="store_true")
    args = ap.parse_args()
    if args.pooled_malloc and POOLED not in os.environ.get("GLIBC_TUNABLES", ""):
        env = dict(os.environ, GLIBC_TUNABLES=POOLED)
        os.execve(sys.executable, [sys.executable] + sys.argv, env)

    self_check()
    p = build_plan(args.rows)
    py = {case: time_pandas(p, *case, args.repeat) for case in CASES}
    cpp = time_cpp(args.bench, args.repeat)

    malloc = "pooled malloc" if POOLED in os.environ.get("GLIBC_TUNABLES", "") else "default malloc"
    print(f"FORECAST, {args.rows} rows, best of {args.repeat}, {malloc}; times in ms (CPU / wall)")
    print(f"{'method':>10} {'pandas':>17} {'C++ call':>17} {'C++ kernel':>17} {'call ratio':>11} {'kernel ratio':>13}")
    worst = worst_kernel = float("inf")
    for method, indicator in CASES:
        suffix = f"method:{method}/days:{indicator}"
        call = cpp[f"BM_ForecastCall/{suffix}"]
        kernel = cpp[f"BM_ForecastKernel/{suffix}"]
        pcpu, pwall = py[(method, indicator)]
        ratio = pcpu / call[0]
        worst = min(worst, ratio)
        worst_kernel = min(worst_kernel, pcpu / kernel[0])
        label = f"{method}{' days' if indicator else ''}"
        print(f"{label:>10} {pcpu:8.1f} /{pwall:7.1f} {call[0]:8.1f} /{call[1]:7.1f} {kernel[0]:8.2f} /{kernel[1]:7.2f}"
              f" {ratio:10.1f}x {pcpu / kernel[0]:12.1f}x")
    print(f"smallest CPU-time ratio pandas / C++ call: {worst:.1f}x, pandas / C++ kernel: {worst_kernel:.1f}x")


if __name__ == "__main__":
    main()
