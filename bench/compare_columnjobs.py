#!/usr/bin/python3
"""The column-job functions at 10,000,000 rows against the machine's copy
bandwidth, measured in the same run of build/bin/fpk_bench.

Each benchmark reports the bytes of its row-sized input and result columns
(8 bytes a row each; a YYYYMMDD date text counts its 8 characters). Its
bandwidth (those bytes over the median time of a whole call through the
loader and the reference host) is set against

  memcpy:            one memcpy call moving a 10,000,000-double column
                     (bytes read plus bytes written), and
  memcpy all cores:  the same copy split over one thread per core.

The functions run their rows on the host's parallel-for (every core); the
first ratio is the yardstick of the targets, the second says how close a
function comes to what the memory system gives at all.

Usage: /usr/bin/python3 bench/compare_columnjobs.py [--bench PATH] [--repetitions N]
"""
import argparse
import json
import os
import subprocess
import sys

JOBS = [
    ("LAG", "BM_Lag/"),
    ("YEARTODATESTATISTICAL", "BM_YearToDateStatistical/"),
    ("YEAROVERYEARDIFFERENCE absolute", "BM_YearOverYearDifference/10000000/0"),
    ("YEAROVERYEARDIFFERENCE percent", "BM_YearOverYearDifference/10000000/1"),
    ("REPEAT", "BM_Repeat/"),
    ("TRANSFORM copy", "BM_Transform/10000000/0/"),
    ("TRANSFORM log", "BM_Transform/10000000/1/"),
    ("TRANSFORM exp", "BM_Transform/10000000/2/"),
    ("TRANSFORM square root", "BM_Transform/10000000/3/"),
    ("TRANSFORM square", "BM_Transform/10000000/4/"),
    ("TRANSFORM reciprocal", "BM_Transform/10000000/5/"),
    ("ROUNDING to 0.01", "BM_Rounding/10000000/0/"),
    ("ROUNDING to 25", "BM_Rounding/10000000/1/"),
    ("CYCLES one wave", "BM_Cycles/10000000/1/"),
    ("CYCLES two waves", "BM_Cycles/10000000/2/"),
    ("DAYS calendar", "BM_Days/10000000/0/"),
    ("DAYS working", "BM_Days/10000000/5/"),
    ("DISCOUNTEDCASHFLOW rate curve", "BM_DiscountedCashFlow/0/"),
    ("DISCOUNTEDCASHFLOW one rate", "BM_DiscountedCashFlow/1/"),
]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    here = os.path.dirname(os.path.abspath(__file__))
    parser.add_argument("--bench", default=os.path.join(here, "..", "build", "bin", "fpk_bench"))
    parser.add_argument("--repetitions", type=int, default=3)
    args = parser.parse_args()

    pattern = "BM_Memcpy|BM_Lag|BM_YearToDateStatistical|BM_YearOverYearDifference|BM_Repeat|BM_Transform|" \
              "BM_Rounding|BM_Cycles|BM_Days/|BM_DiscountedCashFlow"
    out = subprocess.run([args.bench, "--benchmark_filter=" + pattern, "--benchmark_format=json",
                          "--benchmark_repetitions=%d" % args.repetitions, "--benchmark_report_aggregates_only=true"],
                         check=True, capture_output=True, text=True).stdout
    medians = {}
    for b in json.loads(out)["benchmarks"]:
        if b.get("aggregate_name") == "median":
            medians[b["run_name"]] = b

    def bandwidth(prefix):
        for name, b in medians.items():
            if name.startswith(prefix):
                return b["bytes_per_second"] / 1e9, b["real_time"], b["time_unit"]
        return None

    memcpy = bandwidth("BM_Memcpy/")
    every = bandwidth("BM_MemcpyAllCores/")
    if memcpy is None or every is None:
        sys.exit("the memcpy benchmarks did not run")
    print("memcpy %.1f GB/s, memcpy on all cores %.1f GB/s (medians of %d)\n" % (memcpy[0], every[0], args.repetitions))
    print("%-34s %10s %9s %9s %12s" % ("function", "time", "GB/s", "/memcpy", "/all cores"))
    for label, prefix in JOBS:
        r = bandwidth(prefix)
        if r is None:
            print("%-34s %10s" % (label, "not run"))
            continue
        gbs, t, unit = r
        print("%-34s %7.2f %-2s %9.1f %8.0f%% %11.0f%%" % (label, t, unit, gbs, 100 * gbs / memcpy[0], 100 * gbs / every[0]))


if __name__ == "__main__":
    main()
