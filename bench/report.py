#!/usr/bin/env python3
"""Runs the three benchmark programs and prints their tables with ratios.

    report.py --codec BIN --calls BIN --memory BIN --out DIR [options]

The programs run --runs times (3 by default), one after the other; each
run's raw results stay in DIR/run-K (codec.json, calls.jsonl, memory.jsonl,
the programs' own output in *.txt) and the tables are written to
DIR/summary.md as well. With --tables-only the programs are not run and the
tables are made from the runs already in DIR.

A codec time is the median over the runs of each run's median over its
repetitions; beside each ours/(a) stands its lowest and highest value among
the runs. Call figures are medians over the repetitions of all runs. Codec
times are CPU time of the benchmark thread, which a busy machine disturbs
less than wall time; on a quiet machine the two agree.
"""

import argparse
import json
import os
import shutil
import statistics
import subprocess
import sys
import time

# The targets the numbers are held against.
CODEC_TARGET = 1.05   # ours / hand-written through TProtocol*, at most
CALL_TARGET = 0.85    # ours / raw ping-pong calls per second, at least
MEMORY_TARGET = 1.5   # decoding peak heap / decoded value's own heap, at most

PAYLOADS = ["small", "medium", "large", "list"]


def run(cmd, log_path, label, estimate):
    print(f"== {label} (about {estimate}): {' '.join(cmd)}", flush=True)
    started = time.monotonic()
    with open(log_path, "w") as log:
        done = subprocess.run(cmd, stdout=log, stderr=subprocess.STDOUT)
    if done.returncode != 0:
        with open(log_path) as log:
            sys.stdout.write(log.read()[-4000:])
        sys.exit(f"{label} failed with status {done.returncode}")
    print(f"   done in {time.monotonic() - started:.0f} s", flush=True)


def run_all(args):
    for k in range(1, args.runs + 1):
        out = os.path.join(args.out, f"run-{k}")
        print(f"== run {k} of {args.runs}", flush=True)
        run_once(args, out)


def run_once(args, out):
    os.makedirs(out, exist_ok=True)
    if "codec" not in args.skip:
        # 76 benchmarks; Google Benchmark spends about twice the minimum time
        # on each repetition while it settles the iteration count.
        seconds = 76 * args.repetitions * 2 * args.min_time
        run([args.codec,
             f"--benchmark_repetitions={args.repetitions}",
             f"--benchmark_min_time={args.min_time}",
             "--benchmark_report_aggregates_only=true",
             "--benchmark_enable_random_interleaving=true",
             f"--benchmark_out={os.path.join(out, 'codec.json')}",
             "--benchmark_out_format=json"],
            os.path.join(out, "codec.txt"), "encoding and decoding",
            f"{seconds:.0f} s on a quiet machine")
    if "calls" not in args.skip:
        seconds = 2 * 2 * 4 * args.repetitions * (args.call_seconds + 0.2)
        run([args.calls, f"--seconds={args.call_seconds}",
             f"--repetitions={args.repetitions}",
             f"--json={os.path.join(out, 'calls.jsonl')}"],
            os.path.join(out, "calls.txt"), "calls over loopback", f"{seconds:.0f} s")
    if "memory" not in args.skip:
        run([args.memory, f"--json={os.path.join(out, 'memory.jsonl')}"],
            os.path.join(out, "memory.txt"), "peak heap while decoding", "5 s")


# --- Tables -----------------------------------------------------------------

def table(headers, rows):
    widths = [max(len(str(h)), *(len(str(r[i])) for r in rows)) if rows else len(str(h))
              for i, h in enumerate(headers)]
    line = lambda cells: "| " + " | ".join(str(c).rjust(w) for c, w in zip(cells, widths)) + " |"
    out = [line(headers), "|" + "|".join("-" * (w + 1) + ":" for w in widths) + "|"]
    out += [line(r) for r in rows]
    return "\n".join(out)


def ns(value):
    return f"{value:,.0f}" if value >= 100 else f"{value:.1f}"


def ratio(a, b, limit=None, at_most=True):
    if not a or not b:
        return "-"
    r = a / b
    text = f"{r:.3f}"
    if limit is not None and ((r > limit) if at_most else (r < limit)):
        text += " (!)"
    return text


def load_codec(path):
    """{(op, protocol, payload, variant): (cpu ns median, bytes)}"""
    with open(path) as f:
        data = json.load(f)
    to_ns = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
    found = {}
    for b in data["benchmarks"]:
        if b.get("aggregate_name") != "median":
            continue
        parts = b["run_name"].split("/")
        if len(parts) < 4:
            continue
        key = tuple(parts[:4])
        found[key] = (b["cpu_time"] * to_ns[b["time_unit"]], b.get("bytes", 0))
    return found, data.get("context", {})


def merge_codec(runs):
    """The median over the runs of each benchmark's time, and the ratio
    ours/(a) of every run: ({key: (ns, bytes)}, {key[:3]: [ratio, ...]})."""
    merged, spread = {}, {}
    for key in {k for found in runs for k in found}:
        times = [found[key][0] for found in runs if key in found]
        merged[key] = (statistics.median(times), runs[-1].get(key, (0, 0))[1])
        if key[3] == "ours":
            floor = key[:3] + ("hand_virtual",)
            spread[key[:3]] = [found[key][0] / found[floor][0] for found in runs
                               if key in found and floor in found]
    return merged, spread


def codec_tables(found, spread):
    out = []
    for op in ("encode", "decode"):
        for protocol in ("binary", "compact"):
            rows = []
            for payload in PAYLOADS:
                get = lambda v: found.get((op, protocol, payload, v), (None, 0))
                ours, size = get("ours")
                if ours is None:
                    continue
                a, _ = get("hand_virtual")
                b, _ = get("hand_template")
                generic, _ = get("ours_generic")
                ratios = spread.get((op, protocol, payload), [])
                row = [payload, f"{size:,.0f}", ns(ours), f"{size / ours * 1e3:,.0f}",
                       ns(a) if a else "-", ns(b) if b else "-",
                       ratio(ours, a, CODEC_TARGET),
                       f"{min(ratios):.3f}-{max(ratios):.3f}" if ratios else "-",
                       ratio(ours, b), ns(generic) if generic else "-"]
                if op == "encode":
                    copy, _ = get("memcpy")
                    row.append(ns(copy) if copy else "-")
                rows.append(row)
            headers = ["payload", "bytes", "ours ns", "ours MB/s", "(a) ns", "(b) ns",
                       "ours/(a)", "runs", "ours/(b)", "generic ns"]
            if op == "encode":
                headers.append("memcpy ns")
            out.append(f"### {op}, {protocol} protocol\n\n" + table(headers, rows))
    return "\n\n".join(out)


def protobuf_table(found):
    rows = []
    for payload in ("large", "list"):
        for op in ("encode", "decode"):
            pb, pb_size = found.get((op, "protobuf", payload, "ours"), (None, 0))
            binary, binary_size = found.get((op, "binary", payload, "ours"), (None, 0))
            compact, compact_size = found.get((op, "compact", payload, "ours"), (None, 0))
            if pb is None:
                continue
            rows.append([payload, op, f"{binary_size:,.0f} / {compact_size:,.0f} / {pb_size:,.0f}",
                         ns(binary) if binary else "-", ns(compact) if compact else "-", ns(pb),
                         ratio(binary, pb), ratio(compact, pb)])
    return table(["payload", "op", "bytes bin / cpt / pb", "binary ns", "compact ns",
                  "protobuf ns", "binary/pb", "compact/pb"], rows)


def load_lines(path):
    with open(path) as f:
        return [json.loads(line) for line in f if line.strip()]


def calls_table(lines, codec):
    groups = {}
    for r in lines:
        groups.setdefault((r["call"], r["clients"], r["impl"]), []).append(r)
    med = lambda rs, k: statistics.median(r[k] for r in rs)
    rows = []
    for call in ("status", "JOB_CreateExt"):
        for clients in (1, 8):
            raw = groups.get((call, clients, "raw"))
            if not raw:
                continue
            raw_rate = med(raw, "calls_per_second")
            raw_p50 = med(raw, "p50_us")
            for impl in ("ours", "ours_buf64k", "ours_tuned", "raw"):
                rs = groups.get((call, clients, impl))
                if not rs:
                    continue
                rate = med(rs, "calls_per_second")
                rows.append([call, clients, impl,
                             f"{rs[0]['request_bytes']:,} / {rs[0]['reply_bytes']:,}",
                             f"{rate:,.0f}", f"{med(rs, 'p50_us'):,.1f}",
                             f"{med(rs, 'p99_us'):,.1f}",
                             ratio(rate, raw_rate, CALL_TARGET if impl == "ours" else None,
                                   at_most=False),
                             ratio(raw_p50, med(rs, "p50_us"))])
    # Calls per second follow every stall of a busy machine; the median
    # latency much less, so its ratio is given beside.
    text = table(["call", "clients", "impl", "bytes req / reply", "calls/s", "p50 us", "p99 us",
                  "rate vs raw", "raw p50 / p50"], rows)
    # The raw floor does no encoding or decoding at all. A call cannot take
    # less than the server's decoding of its request: the client's encoding
    # may overlap it (a buffer that fills is sent while the rest is being
    # encoded, and decoded as it arrives), but the decode of the last bytes
    # cannot start before they are sent. "ours" decodes on TBinaryProtocol
    # over TTransport ("generic" above), "ours_tuned" on the protocol bound
    # to its transport ("ours" above).
    raw = groups.get(("JOB_CreateExt", 1, "raw"))
    if raw:
        raw_us = med(raw, "p50_us")
        for impl, variant in (("ours", "ours_generic"), ("ours_tuned", "ours")):
            decode = codec.get(("decode", "binary", "large", variant), (None,))[0]
            if not decode:
                continue
            decode_us = decode / 1e3
            text += (f"\n\nJOB_CreateExt, 1 client, {impl}: the raw round trip takes "
                     f"{raw_us:,.1f} us (p50) and decoding the request alone "
                     f"{decode_us:,.1f} us, so {impl} cannot exceed "
                     f"{raw_us / max(raw_us, decode_us):.3f} of the raw rate.")
    return text


def memory_table(lines):
    # Every run counts the same bytes; the highest peak of the runs stands.
    worst = {}
    for r in lines:
        key = (r["payload"], r["protocol"], r["decoder"])
        if key not in worst or r["peak_bytes"] > worst[key]["peak_bytes"]:
            worst[key] = r
    lines = list(worst.values())
    # The hand-written decoder sizes every list once: what it leaves behind
    # is the least any decoder can.
    tight = {(r["payload"], r["protocol"]): r["own_bytes"]
             for r in lines if r["decoder"] == "hand_virtual"}
    rows = []
    for r in lines:
        least = tight.get((r["payload"], r["protocol"]))
        rows.append([r["payload"], r["protocol"], r["decoder"], f"{r['peak_bytes']:,}",
                     f"{r['own_bytes']:,}",
                     ratio(r["peak_bytes"], r["own_bytes"],
                           MEMORY_TARGET if r["decoder"] == "ours" else None),
                     ratio(r["peak_bytes"], least), f"{r['allocations']:,}"])
    return table(["payload", "protocol", "decoder", "peak B", "own B", "peak/own",
                  "peak/least own", "allocations"], rows)


def run_dirs(out):
    """The runs in OUT (run-1, run-2, ...), or OUT itself when it holds the
    results of a single run."""
    runs = sorted((d for d in os.listdir(out) if d.startswith("run-")),
                  key=lambda d: int(d[4:]) if d[4:].isdigit() else 0)
    return [os.path.join(out, d) for d in runs] or [out]


def tables(args):
    dirs = run_dirs(args.out)
    existing = lambda name: [p for p in (os.path.join(d, name) for d in dirs)
                             if os.path.exists(p)]
    parts = [f"Runs: {len(dirs)}"]
    codec_paths = existing("codec.json")
    found = {}
    if codec_paths:
        loaded = [load_codec(p) for p in codec_paths]
        found, spread = merge_codec([f for f, _ in loaded])
        for k, (_, context) in enumerate(loaded, 1):
            parts.append(f"Run {k}: {context.get('num_cpus', '?')} CPUs at "
                         f"{context.get('mhz_per_cpu', '?')} MHz, load average "
                         f"{', '.join(f'{x:.2f}' for x in context.get('load_avg', []))} "
                         f"at {context.get('date', '?')}")
        parts.append("## Encoding and decoding (median CPU ns per payload)\n\n"
                     "(a) = hand-written calls through TProtocol*, "
                     "(b) = the same calls on the runtime's template, non-virtual; "
                     f"(!) marks ours/(a) above {CODEC_TARGET}; "
                     "runs = the lowest and highest ours/(a) of the runs.\n\n"
                     + codec_tables(found, spread))
        parts.append("## Against Protocol Buffers (median CPU ns per payload)\n\n"
                     + protobuf_table(found))
    calls_paths = existing("calls.jsonl")
    if calls_paths:
        parts.append("## Calls over loopback (medians of the repetitions of all runs)\n\n"
                     f"(!) marks ours below {CALL_TARGET} of the raw ping-pong.\n\n"
                     + calls_table([r for p in calls_paths for r in load_lines(p)], found))
    memory_paths = existing("memory.jsonl")
    if memory_paths:
        parts.append("## Peak heap while decoding\n\n"
                     f"(!) marks ours above {MEMORY_TARGET} times the value's own heap.\n\n"
                     + memory_table([r for p in memory_paths for r in load_lines(p)]))
    text = "\n\n".join(parts) + "\n"
    with open(os.path.join(args.out, "summary.md"), "w") as f:
        f.write(text)
    print()
    print(text)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--codec", required=True)
    parser.add_argument("--calls", required=True)
    parser.add_argument("--memory", required=True)
    parser.add_argument("--out", required=True)
    parser.add_argument("--runs", type=int, default=3,
                        help="how many times to run the programs, one after the other")
    parser.add_argument("--repetitions", type=int, default=5)
    parser.add_argument("--min-time", type=float, default=0.2,
                        help="seconds per codec benchmark repetition")
    parser.add_argument("--call-seconds", type=float, default=1.0,
                        help="seconds per call benchmark repetition")
    parser.add_argument("--quick", action="store_true",
                        help="a short trial: 1 run of 2 repetitions, 0.05 s each, 0.3 s per call case")
    parser.add_argument("--skip", default="", help="comma-separated: codec,calls,memory")
    parser.add_argument("--tables-only", action="store_true")
    args = parser.parse_args()
    args.skip = set(filter(None, args.skip.split(",")))
    if args.quick:
        args.runs, args.repetitions, args.min_time, args.call_seconds = 1, 2, 0.05, 0.3
    if not args.tables_only:
        if os.path.isdir(args.out):
            shutil.rmtree(args.out)  # a run of old must not join the new ones
        run_all(args)
    tables(args)


if __name__ == "__main__":
    main()
