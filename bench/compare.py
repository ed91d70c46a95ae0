#!/usr/bin/env python3
"""Runs the benchmark binary once and prints, per family and input, this
library's throughput divided by the best peer's.

Benchmarks are named <family>/<candidate>/<input>; the candidate "ours" is this
library, every other candidate is a peer. A ratio of 1.0 or more means we are at
least as fast as the fastest peer measured in the same run.

  bench/compare.py build/release/bench/stringbuffer_bench [--filter REGEX] [--markdown]
                   [--min-time SECONDS] [--repetitions N]

With --repetitions above 1 each benchmark runs N times and the median is
compared, which steadies the ratios on a busy machine.
"""
import json
import math
import subprocess
import sys


def main():
    args = sys.argv[1:]
    if not args:
        print(__doc__)
        return 2
    binary = args[0]
    regex = None
    markdown = "--markdown" in args
    if "--filter" in args:
        regex = args[args.index("--filter") + 1]
    min_time = args[args.index("--min-time") + 1] if "--min-time" in args else "0.2"
    repetitions = int(args[args.index("--repetitions") + 1]) if "--repetitions" in args else 1
    # Older Google Benchmark releases take a bare number of seconds only.
    cmd = [binary, "--benchmark_format=json", "--benchmark_min_time=" + min_time.rstrip("s")]
    if repetitions > 1:
        cmd += ["--benchmark_repetitions=%d" % repetitions, "--benchmark_report_aggregates_only=true"]
    if regex:
        cmd.append("--benchmark_filter=" + regex)
    out = subprocess.run(cmd, check=True, capture_output=True, text=True).stdout
    rows = {}
    for b in json.loads(out)["benchmarks"]:
        if repetitions > 1 and b.get("aggregate_name") != "median":
            continue
        parts = b.get("run_name", b["name"]).split("/")
        if len(parts) < 3 or "bytes_per_second" not in b:
            continue
        family, candidate, size = parts[0], parts[1], parts[2]
        rows.setdefault((family, size), {})[candidate] = b["bytes_per_second"]
    ratios = []
    lines = []
    for (family, size), cands in sorted(rows.items()):
        ours = cands.get("ours")
        peers = {k: v for k, v in cands.items() if k != "ours"}
        if ours is None or not peers:
            continue
        best = max(peers, key=peers.get)
        ratio = ours / peers[best]
        ratios.append(ratio)
        lines.append((family, size, ours / 1e6, best, peers[best] / 1e6, ratio))
    if markdown:
        print("| family | input | ours MB/s | best peer | peer MB/s | ratio |")
        print("|---|---|---|---|---|---|")
        for l in lines:
            print("| %s | %s | %.0f | %s | %.0f | %.2f |" % l)
    else:
        for l in lines:
            flag = "" if l[5] >= 1.0 else "   <-- below the best peer"
            print("%-28s %-6s ours %9.0f MB/s  best %-10s %9.0f MB/s  ratio %.2f%s" % (l + (flag,)))
    if ratios:
        geo = math.exp(sum(math.log(r) for r in ratios) / len(ratios))
        print("\ngeometric mean over %d rows: %.2f" % (len(ratios), geo))
    return 0


if __name__ == "__main__":
    sys.exit(main())
