"""Makes every call of the service with yolctl against yol-gateway-sim.

Starts the simulator on a free loopback port, runs the steps of a table
(all_calls.json) one yolctl process each, with the arguments as JSON, and
checks that each exits 0 with the expected result; checks that the table
covers every call that `yolctl list` knows; stops the simulator with SIGTERM
and checks that it exits 0.

usage: all_calls_via_yolctl.py SIM YOLCTL TABLE [--protocol P] [--transport T]
"""

import argparse
import json
import re
import select
import signal
import subprocess
import sys
import time

START_SECONDS = 20
CALL_SECONDS = 30
STOP_SECONDS = 10


class StepFailed(Exception):
    pass


def start_simulator(sim, protocol, transport):
    process = subprocess.Popen(
        [sim, "--port", "0", "--protocol", protocol, "--transport", transport],
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    ready, _, _ = select.select([process.stdout], [], [], START_SECONDS)
    line = process.stdout.readline() if ready else ""
    match = re.fullmatch(r"listening on 127\.0\.0\.1:(\d+)\n", line)
    if not match:
        process.kill()
        raise StepFailed("the simulator did not announce its port: %r %s"
                         % (line, process.communicate()[1]))
    return process, int(match.group(1))


def matches(expected, actual):
    """Objects match on the keys expected; lists element by element."""
    if isinstance(expected, dict):
        return isinstance(actual, dict) and all(
            key in actual and matches(value, actual[key]) for key, value in expected.items())
    if isinstance(expected, list):
        return (isinstance(actual, list) and len(expected) == len(actual)
                and all(matches(e, a) for e, a in zip(expected, actual)))
    if isinstance(expected, float) or isinstance(actual, float):
        return isinstance(actual, (int, float)) and not isinstance(actual, bool) \
            and abs(expected - actual) < 1e-9
    return type(expected) is type(actual) and expected == actual


def substitute(value, saved):
    if isinstance(value, str):
        return re.sub(r"\$\{(\w+)\}", lambda m: saved[m.group(1)], value)
    if isinstance(value, list):
        return [substitute(v, saved) for v in value]
    if isinstance(value, dict):
        return {k: substitute(v, saved) for k, v in value.items()}
    return value


def run_step(yolctl, options, step, saved):
    args = [json.dumps(substitute(arg, saved)) for arg in step["args"]]
    command = [yolctl] + options + ["--json", step["call"]] + args
    done = subprocess.run(command, capture_output=True, text=True, timeout=CALL_SECONDS)
    if done.returncode != 0:
        raise StepFailed("exit %d: %s" % (done.returncode, done.stderr.strip()))
    result = json.loads(done.stdout)
    if "expect" in step and not matches(step["expect"], result):
        raise StepFailed("expected %s, got %s" % (json.dumps(step["expect"]), done.stdout.strip()))
    if "expect_count" in step and len(result) != step["expect_count"]:
        raise StepFailed("expected %d elements, got %d" % (step["expect_count"], len(result)))
    for name, key in step.get("save", {}).items():
        saved[name] = result if key == "" else result[key]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("sim")
    parser.add_argument("yolctl")
    parser.add_argument("table")
    parser.add_argument("--protocol", default="binary")
    parser.add_argument("--transport", default="buffered")
    args = parser.parse_args()

    with open(args.table) as table:
        steps = json.load(table)["steps"]
    listing = subprocess.run([args.yolctl, "list"], capture_output=True, text=True, check=True)
    calls = [re.search(r" (\w+)\(", line).group(1) for line in listing.stdout.splitlines()]
    missing = sorted(set(calls) - {step["call"] for step in steps})
    failures = ["not in the table: %s" % ", ".join(missing)] if missing else []

    process, port = start_simulator(args.sim, args.protocol, args.transport)
    options = ["--port", str(port), "--protocol", args.protocol, "--transport", args.transport]
    saved = {}
    try:
        for number, step in enumerate(steps, 1):
            try:
                run_step(args.yolctl, options, step, saved)
            except (StepFailed, subprocess.TimeoutExpired, ValueError, KeyError) as error:
                failures.append("step %d %s: %s" % (number, step["call"], error))
    finally:
        process.send_signal(signal.SIGTERM)
        started = time.monotonic()
        try:
            _, log = process.communicate(timeout=STOP_SECONDS)
            stopped = time.monotonic() - started
        except subprocess.TimeoutExpired:
            process.kill()
            _, log = process.communicate()
            stopped = time.monotonic() - started
            failures.append("still running %d s after SIGTERM" % STOP_SECONDS)
    if process.returncode != 0:
        failures.append("the simulator exited %d" % process.returncode)

    print("%d calls of %d steps over %s/%s; simulator stopped in %.2f s"
          % (len(set(calls)), len(steps), args.protocol, args.transport, stopped))
    if failures:
        print("\n".join(failures))
        print("simulator log:\n" + log)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
