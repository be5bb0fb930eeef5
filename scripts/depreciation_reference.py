#!/usr/bin/python3
"""Reference charges of the depreciation tests, computed by LibreOffice Calc.

Builds a flat ODF spreadsheet whose rows call the spreadsheet functions SLN,
SYD, DDB and DB (always with a salvage of 0, or for DB the salvage that makes
its rate the given one), lets headless LibreOffice recalculate it and export
it as CSV, and writes tests/data/depreciation_reference.csv:

    method,asset,life,period,param,charge

method is SL, SOY, DB_FACTOR (param = RATE in percent of the straight-line
rate, DDB's factor * 100), DB_FIXED (param = RATE in percent per period,
checked with DDB) or DB_FIXED_DB (the same, checked with DB).

Usage: /usr/bin/python3 scripts/depreciation_reference.py   (needs soffice)
"""
import csv
import os
import shutil
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
OUT = os.path.join(ROOT, "tests", "data", "depreciation_reference.csv")

SL_CASES = [(1000, 4), (900, 3), (1000, 3), (12345.67, 7), (1, 1), (5000, 10), (0.3, 11), (1e9, 30)]
SOY_CASES = [(1500, 5), (1000, 4), (600, 3), (98765.4321, 12), (1000, 1), (1000, 2), (250, 7), (1e7, 40)]
# (asset, periods, RATE in percent of the straight-line rate)
FACTOR_CASES = [(1000, 5, 200), (1000, 4, 200), (800, 4, 150), (12000, 10, 200), (5000, 8, 125),
                (1000, 1, 200), (777.77, 6, 100), (3000, 3, 350), (2000, 12, 175)]
# (asset, periods, RATE in percent per period); rates with at most three
# decimals as a fraction, so that DB's rounding of its rate is exact.
FIXED_CASES = [(1000, 5, 20), (2500, 6, 15), (700, 3, 35), (10000, 4, 12.5), (1234.5, 9, 7.5), (50000, 15, 30)]


def g(x):
    return repr(float(x))


def rows():
    for a, life in SL_CASES:
        for k in range(1, life + 1):
            yield ("SL", a, life, k, 0, f"SLN({g(a)};0;{life})")
    for a, life in SOY_CASES:
        for k in range(1, life + 1):
            yield ("SOY", a, life, k, 0, f"SYD({g(a)};0;{life};{k})")
    for a, life, rate in FACTOR_CASES:
        for k in range(1, life + 1):
            yield ("DB_FACTOR", a, life, k, rate, f"DDB({g(a)};0;{life};{k};{g(rate / 100)})")
    for a, life, rate in FIXED_CASES:
        for k in range(1, life + 1):
            yield ("DB_FIXED", a, life, k, rate, f"DDB({g(a)};0;{life};{k};{g(rate / 100 * life)})")
        for k in range(1, life + 1):
            salvage = f"{g(a)}*(1-{g(rate / 100)})^{life}"
            yield ("DB_FIXED_DB", a, life, k, rate, f"DB({g(a)};{salvage};{life};{k})")


def cell_value(v):
    if isinstance(v, str):
        return f'<table:table-cell office:value-type="string"><text:p>{v}</text:p></table:table-cell>'
    return f'<table:table-cell office:value-type="float" office:value="{g(v)}"/>'


def fods(all_rows):
    out = ['<?xml version="1.0" encoding="UTF-8"?>',
           '<office:document xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0" '
           'xmlns:table="urn:oasis:names:tc:opendocument:xmlns:table:1.0" '
           'xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0" '
           'xmlns:of="urn:oasis:names:tc:opendocument:xmlns:of:1.2" '
           'office:version="1.2" office:mimetype="application/vnd.oasis.opendocument.spreadsheet">',
           '<office:body><office:spreadsheet><table:table table:name="ref">']
    for method, a, life, k, param, formula in all_rows:
        cells = [cell_value(method), cell_value(a), cell_value(life), cell_value(k), cell_value(param),
                 f'<table:table-cell table:formula="of:={formula}" office:value-type="float" office:value="0"/>']
        out.append("<table:table-row>" + "".join(cells) + "</table:table-row>")
    out.append("</table:table></office:spreadsheet></office:body></office:document>")
    return "\n".join(out)


def main():
    soffice = shutil.which("soffice")
    if soffice is None:
        sys.exit("soffice not found: scripts/install-deps.sh refdata installs it")
    all_rows = list(rows())
    with tempfile.TemporaryDirectory() as tmp:
        src = os.path.join(tmp, "depreciation.fods")
        with open(src, "w", encoding="utf-8") as f:
            f.write(fods(all_rows))
        # Token 9 false: values as stored, not as formatted (full precision).
        filt = "csv:Text - txt - csv (StarCalc):44,34,76,1,,0,false,true,false,false"
        env = dict(os.environ, HOME=tmp)
        subprocess.run([soffice, "--headless", "--calc", "--convert-to", filt, "--outdir", tmp, src],
                       check=True, env=env, stdout=subprocess.DEVNULL)
        with open(os.path.join(tmp, "depreciation.csv"), newline="", encoding="utf-8") as f:
            got = list(csv.reader(f))
    if len(got) != len(all_rows):
        sys.exit(f"expected {len(all_rows)} rows, LibreOffice returned {len(got)}")
    os.makedirs(os.path.dirname(OUT), exist_ok=True)
    with open(OUT, "w", newline="", encoding="utf-8") as f:
        w = csv.writer(f, lineterminator="\n")
        w.writerow(["method", "asset", "life", "period", "param", "charge"])
        for (method, a, life, k, param, _), row in zip(all_rows, got):
            try:
                charge = float(row[5])
            except ValueError:
                sys.exit(f"LibreOffice could not evaluate {_}: {row[5]}")
            w.writerow([method, g(a), life, k, g(param), repr(charge)])
    print(f"wrote {len(all_rows)} rows to {os.path.relpath(OUT, ROOT)}")


if __name__ == "__main__":
    main()
