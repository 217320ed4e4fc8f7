#!/usr/bin/env python3
"""Runs every bench program once (JSON output) plus the Python reference scripts named in
bench/ratios.tsv, then prints each ratio row.

ratios.tsv columns (tab-separated; '#' starts a comment):
  label        what is compared, in words
  ours         benchmark name of our code ("program:BM_Name/arg" or "py:script.py:name")
  reference    benchmark name of the reference, same form
  metric       'time' (ratio = reference time / our time: > 1 means we are faster) or
               'bytes' (ratio = our bytes/s / reference bytes/s)
  target       the ratio we must reach (e.g. 0.85), shown beside the measurement
"""
import argparse
import glob
import json
import os
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))


def run_program(path, quick):
    # Each case is repeated with the cases of the program interleaved in random order, and the
    # median is kept: a single sequential run picks up the order of the cases (caches, clock
    # state) as differences of 5-15 % between identical work.
    args = [path, "--benchmark_format=json"]
    if quick:
        args.append("--benchmark_min_time=0.05")
    else:
        args += ["--benchmark_repetitions=3", "--benchmark_enable_random_interleaving=true",
                 "--benchmark_report_aggregates_only=true"]
    out = subprocess.run(args, check=True, capture_output=True, text=True).stdout
    results = {}
    for b in json.loads(out)["benchmarks"]:
        if quick:
            if b.get("run_type", "iteration") != "iteration":
                continue
        elif b.get("aggregate_name") != "median":
            continue
        scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[b["time_unit"]]
        name = b.get("run_name", b["name"]).split("/min_time:")[0].split("/real_time")[0]
        results[name] = {"time": b["real_time"] * scale,
                         "bytes": b.get("bytes_per_second")}
    return results


def run_script(path, quick, build):
    env = dict(os.environ, OMBREL_BENCH_QUICK="1" if quick else "0",
               OMBREL_BENCH_BUILD=os.path.abspath(build))
    out = subprocess.run(["/usr/bin/python3", path], check=True, capture_output=True, text=True,
                         env=env).stdout
    # Each line: name <TAB> seconds per iteration [<TAB> bytes per second]
    results = {}
    for line in out.splitlines():
        parts = line.split("\t")
        if len(parts) >= 2:
            results[parts[0]] = {"time": float(parts[1]),
                                 "bytes": float(parts[2]) if len(parts) > 2 else None}
    return results


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", required=True)
    ap.add_argument("--quick", action="store_true")
    ap.add_argument("--filter", default="")
    a = ap.parse_args()

    rows = []
    with open(os.path.join(HERE, "ratios.tsv")) as f:
        for line in f:
            line = line.rstrip("\n")
            if not line.strip() or line.lstrip().startswith("#"):
                continue
            rows.append(line.split("\t"))
    rows = [r for r in rows if a.filter in r[0]]

    needed = set()
    for r in rows:
        for name in (r[1], r[2]):
            needed.add(name.rsplit(":", 1)[0])
    measured = {}
    for source in sorted(needed):
        if source.startswith("py:"):
            script = os.path.join(HERE, source[3:])
            res = run_script(script, a.quick, a.build)
        else:
            exe = os.path.join(a.build, "bench", source)
            res = run_program(exe, a.quick)
        for k, v in res.items():
            measured[source + ":" + k] = v

    print(f"{'comparison':58} {'ours':>12} {'reference':>12} {'ratio':>7} {'target':>7}")
    failed = 0
    for label, ours, ref, metric, target in rows:
        o, r = measured.get(ours), measured.get(ref)
        if o is None or r is None:
            print(f"{label:58} missing measurement ({ours if o is None else ref})")
            failed += 1
            continue
        if metric == "bytes":
            ratio = o["bytes"] / r["bytes"]
            so, sr = f"{o['bytes']/1e9:.2f}GB/s", f"{r['bytes']/1e9:.2f}GB/s"
        else:
            ratio = r["time"] / o["time"]
            so, sr = f"{o['time']*1e6:.1f}us", f"{r['time']*1e6:.1f}us"
        mark = "" if ratio >= float(target) else "  <-- below target"
        print(f"{label:58} {so:>12} {sr:>12} {ratio:7.2f} {float(target):7.2f}{mark}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
