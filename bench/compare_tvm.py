#!/usr/bin/python3
"""Times the time-value-of-money functions against the same work written
with numpy, in one run, and prints the ratios.

The C++ side is build/bin/fpk_bench (benchmarks BM_Tvm*, full calls through
the loader, result tables included). The numpy side builds the same inputs
and computes the same outputs:

  FUTURE, PRESENTVALUE, PAYMENT: the solved value per input row and the five
      schedule columns (solved value repeated, PAYMENT, OPENNING, CLOSING,
      INTEREST, PERIODS) for 1,000,000 rows of 1 to 12 periods;
  NETPRESENTVALUE: the direct sum of every row (each later value divided by
      (1 + rate)^t), one numpy pass per row; with one rate for all rows, ten
      rates cycling, or a different rate on every row; for the last, also the
      same sum written with exp and a dot product (about twice as fast in
      numpy; printed for comparison, the target is against the direct sum);
  INTERNALRATE (METHOD 1): Newton's method per row on the series up to it.

The direct sums of NETPRESENTVALUE at 100,000 rows and INTERNALRATE take
minutes in numpy; for them every k-th row is timed and the time scaled by k
(a row's cost grows with its distance from the end or the start, so evenly
spaced rows give the average cost). Run with --full to time every row.

The account functions are timed twice on the C++ side: with a fresh result
table (the reference host then allocates and fills about 350 MB of column
memory inside the call, from memory that it kept from the call before) and
with result columns that are already as long as the result (the call
computes and writes only). One untimed call precedes each benchmark, so the
process's first faulting-in of column memory is not charged to whichever
benchmark runs first; the numpy side is likewise the best of three runs. Both
CPU time (all threads of the process) and elapsed time are compared; on a
shared machine the CPU ratio is the steadier one.

Usage: /usr/bin/python3 bench/compare_tvm.py [--bench PATH] [--full]
"""
import argparse
import json
import os
import subprocess
import sys
import time

import numpy as np

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def best_of(fn, repeats=3):
    """Best wall time and best CPU time of the process, in ms."""
    wall = cpu = float("inf")
    for _ in range(repeats):
        t, c = time.perf_counter(), time.process_time()
        fn()
        wall = min(wall, time.perf_counter() - t)
        cpu = min(cpu, time.process_time() - c)
    return wall * 1000.0, cpu * 1000.0


def scaled(t, k):
    return t[0] * k, t[1] * k


# ---------------------------------------------------------------- account functions
def account_inputs(n):
    i = np.arange(n)
    return dict(periods=(1 + (i * 7) % 12).astype(float), rate=0.5 + (i % 10) * 0.5,
                present=1000.0 + (i % 100) * 10, payment=-50.0 - (i % 7) * 5,
                future=500.0 + (i % 13) * 100, type=(i % 2).astype(float))


def schedule(inp, solved, payment, original):
    m = inp["periods"].astype(np.int64)
    row_of = np.repeat(np.arange(len(m)), m)
    starts = np.cumsum(m) - m
    k = np.arange(int(m.sum())) - np.repeat(starts, m)
    r = inp["rate"][row_of] / 100.0
    g = (1.0 + r) ** k
    pay = payment[row_of]
    opening = original[row_of] * g + pay * (g - 1.0) / r
    interest = opening * r
    closing = opening + pay + interest
    left = inp["periods"][row_of] - k
    return [solved[row_of], pay, opening, closing, interest, left]


def np_future(inp):
    r = inp["rate"] / 100.0
    g = (1.0 + r) ** inp["periods"]
    fv = inp["present"] * g + inp["payment"] * (1.0 + r * inp["type"]) * (g - 1.0) / r
    return schedule(inp, fv, inp["payment"], inp["present"])


def np_present_value(inp):
    r = inp["rate"] / 100.0
    g = (1.0 + r) ** inp["periods"]
    pv = (inp["future"] - inp["payment"] * (1.0 + r * inp["type"]) * (g - 1.0) / r) / g
    return schedule(inp, pv, inp["payment"], pv)


def np_payment(inp):
    r = inp["rate"] / 100.0
    g = (1.0 + r) ** inp["periods"]
    pmt = (inp["future"] - inp["present"] * g) * r / ((1.0 + r * inp["type"]) * (g - 1.0))
    return schedule(inp, pmt, pmt, inp["present"])[1:]


# ---------------------------------------------------------------- discounting
def discount_inputs(n, one_rate, distinct=False):
    i = np.arange(n)
    days = np.array([30.0, 91.0, 365.0])[i % 3]
    flag = 1 + i % 3
    first = np.where(flag == 2, days * 0.5, np.where(flag == 1, days, 0.0))
    later = np.where(flag == 2, days * 0.5, np.where(flag == 3, days, 0.0))
    rate = np.full(n, 0.07) if one_rate else (0.02 + i * 1e-6 if distinct else 0.02 + (i % 10) * 0.01)
    return dict(values=((i * 37) % 200 - 100).astype(float), rate=rate, days=days, first=first, later=later)


def np_npv_rows(inp, rows):
    v, rate, first = inp["values"], inp["rate"], inp["first"]
    prefix = np.concatenate(([0.0], np.cumsum(inp["days"])))
    w = prefix[:-1] + inp["later"]  # days before row j plus its own part period
    out = np.empty(len(rows))
    for k, i in enumerate(rows):
        t = (first[i] - prefix[i + 1] + w[i + 1:]) / 365.0
        out[k] = v[i] + np.sum(v[i + 1:] / (1.0 + rate[i]) ** t)
    return out


def np_npv_rows_exp(inp, rows):
    """The same sums with (1 + rate)^-t written as exp(t * -log(1 + rate)),
    the logarithm taken once per row, and a dot product (how the C++ side
    forms them): shown beside the direct sum, without a target."""
    v, rate, first = inp["values"], inp["rate"], inp["first"]
    prefix = np.concatenate(([0.0], np.cumsum(inp["days"])))
    w = prefix[:-1] + inp["later"]
    coef = -np.log1p(rate) / 365.0
    out = np.empty(len(rows))
    for k, i in enumerate(rows):
        out[k] = v[i] + np.dot(v[i + 1:], np.exp((first[i] - prefix[i + 1] + w[i + 1:]) * coef[i]))
    return out


def np_irr_rows(values, rows):
    """Newton's method on x = 1 / (1 + rate) for the series up to each row
    (yearly, end of period, so the times are 0, 1, 2, ...)."""
    out = []
    for i in rows:
        v = values[: i + 1] if i > 0 else values
        p = np.arange(len(v), dtype=float)
        x = 1.0 / 1.1
        for _ in range(1000000):
            xp = x ** p
            f = np.dot(v, xp)
            d = np.dot(v[1:] * p[1:], xp[1:] / x)
            if d == 0:
                break
            xn = x - f / d
            if abs(xn - x) < 1e-4 or abs(np.dot(v, xn ** p)) < 1e-4:
                x = xn
                break
            x = xn
        out.append(1.0 / x - 1.0)
    return out


def run_cpp(bench):
    cmd = [bench, "--benchmark_filter=BM_Tvm", "--benchmark_format=json"]
    data = json.loads(subprocess.run(cmd, check=True, capture_output=True, text=True).stdout)
    times = {}
    for b in data["benchmarks"]:
        if b.get("error_occurred"):
            print("fpk_bench:", b["name"], b.get("error_message"), file=sys.stderr)
            continue
        scale = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1000.0}[b["time_unit"]]
        name = b["name"].split("/process_time")[0]
        times[name] = (b["real_time"] * scale, b["cpu_time"] * scale)
    return times


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--bench", default=os.path.join(ROOT, "build", "bin", "fpk_bench"))
    ap.add_argument("--full", action="store_true", help="time every row of the long numpy sums")
    args = ap.parse_args()

    cpp = run_cpp(args.bench)
    rows = []

    acc = account_inputs(1_000_000)
    for name, fn in (("FUTURE", np_future), ("PRESENTVALUE", np_present_value), ("PAYMENT", np_payment)):
        key = {"FUTURE": "BM_TvmFuture", "PRESENTVALUE": "BM_TvmPresentValue", "PAYMENT": "BM_TvmPayment"}[name]
        t = best_of(lambda: fn(acc))
        rows.append((f"{name} 1,000,000 rows, fresh result table", cpp.get(key + "/1000000/0"), t, 3))
        rows.append((f"{name} 1,000,000 rows, result columns already sized", cpp.get(key + "/1000000/1"), t, 3))

    per_row = discount_inputs(10_000, False)
    rows.append(("NETPRESENTVALUE 10,000 rows, ten rates cycling", cpp.get("BM_TvmNetPresentValue/10000"),
                 best_of(lambda: np_npv_rows(per_row, range(10_000)), 1), 5))
    distinct = discount_inputs(10_000, False, True)
    rows.append(("NETPRESENTVALUE 10,000 rows, a different rate on every row",
                 cpp.get("BM_TvmNetPresentValueDistinctRates/10000"),
                 best_of(lambda: np_npv_rows(distinct, range(10_000)), 1), 5))
    rows.append(("NETPRESENTVALUE 10,000 rows, a different rate on every row (numpy: exp and dot)",
                 cpp.get("BM_TvmNetPresentValueDistinctRates/10000"),
                 best_of(lambda: np_npv_rows_exp(distinct, range(10_000)), 1), None))
    one = discount_inputs(10_000, True)
    rows.append(("NETPRESENTVALUE 10,000 rows, one rate", cpp.get("BM_TvmNetPresentValueOneRate/10000"),
                 best_of(lambda: np_npv_rows(one, range(10_000)), 1), None))
    big = discount_inputs(100_000, True)
    step = 1 if args.full else 100
    est = scaled(best_of(lambda: np_npv_rows(big, range(0, 100_000, step)), 1), step)
    rows.append((f"NETPRESENTVALUE 100,000 rows, one rate{'' if step == 1 else ' (numpy: every 100th row x 100)'}",
                 cpp.get("BM_TvmNetPresentValueOneRate/100000"), est, 100))

    n = 10_000
    values = np.array([-1000.0] + [100.0 + (i % 5) for i in range(1, n)])
    step = 1 if args.full else 10
    est = scaled(best_of(lambda: np_irr_rows(values, range(0, n, step)), 1), step)
    rows.append((f"INTERNALRATE METHOD 1, 10,000 rows{'' if step == 1 else ' (numpy: every 10th row x 10)'}",
                 cpp.get("BM_TvmInternalRateMethod1/10000"), est, None))

    nan = (float("nan"), float("nan"))
    print("wall = elapsed time; cpu = CPU time of the whole process (all threads)")
    print(f"{'work':84} {'C++ wall':>9} {'numpy wall':>10} {'ratio':>6} {'C++ cpu':>8} {'numpy cpu':>9} {'ratio':>6}  target")
    for name, c, p, target in rows:
        c = c or nan
        wall, cpu = p[0] / c[0], p[1] / c[1]
        goal = f">= {target}x: wall {'met' if wall >= target else 'missed'}, cpu {'met' if cpu >= target else 'missed'}" if target else ""
        print(f"{name:84} {c[0]:9.1f} {p[0]:10.1f} {wall:6.1f} {c[1]:8.1f} {p[1]:9.1f} {cpu:6.1f}  {goal}")


if __name__ == "__main__":
    main()
