#!/usr/bin/env python3
"""Checks a task trace written by LoopMonitor::WriteTrace.

    check_trace.py TRACE.json [--expect "THREAD:CATEGORY=N"]...

- every flow end ("ph": "f") has a flow start ("s") with the same id;
- the complete events ("X") of each thread nest: one that starts inside
  another ends inside it too;
- each --expect holds: the number of complete events of CATEGORY on the
  thread called THREAD (thread_name metadata) is N, or at least N with
  ">=" ("loop A:Execute=23", "TevrolTimer[FW]:Tick>=10").

Prints one line; exit status 0 when all holds, 1 when not or when the file
cannot be read, 2 for a wrong call.
"""

import argparse
import collections
import json
import re
import sys


def parse_expectation(text):
    match = re.fullmatch(r"(.+):([^:=<>]+)(>=|=)(\d+)", text)
    if match is None:
        raise argparse.ArgumentTypeError(
            f'"{text}" is not THREAD:CATEGORY=N or THREAD:CATEGORY>=N')
    thread, category, relation, count = match.groups()
    return thread, category, relation, int(count)


def key(value):
    """Any JSON value as a dictionary key."""
    return json.dumps(value, sort_keys=True)


def number(event, name):
    value = event.get(name)
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        raise ValueError(f'an event without a number "{name}": {json.dumps(event)[:200]}')
    return value


def check(trace, expectations):
    """The problems found (empty when all holds) and a summary."""
    events = trace.get("traceEvents") if isinstance(trace, dict) else trace
    if not isinstance(events, list):
        return ['no "traceEvents" array'], ""
    problems = []
    names = {}
    slices = collections.defaultdict(list)
    starts = {}  # flow id: the earliest start
    ends = []  # (flow id, time)
    for event in events:
        if not isinstance(event, dict):
            return [f"an event that is not an object: {json.dumps(event)[:200]}"], ""
        phase = event.get("ph")
        thread = (key(event.get("pid", 0)), key(event.get("tid", 0)))
        if phase == "M" and event.get("name") == "thread_name":
            args = event.get("args")
            names[thread] = args.get("name") if isinstance(args, dict) else None
        elif phase == "X":
            start, duration = number(event, "ts"), number(event, "dur")
            if duration < 0:
                problems.append(f'a negative duration: {json.dumps(event)[:200]}')
            slices[thread].append((start, start + duration, event))
        elif phase == "s":
            flow = key(event.get("id"))
            starts[flow] = min(starts.get(flow, float("inf")), number(event, "ts"))
        elif phase == "f":
            ends.append((key(event.get("id")), number(event, "ts")))

    orphans = [flow for flow, _ in ends if flow not in starts]
    if orphans:
        problems.append(f"{len(orphans)} flow ends without a start (id {orphans[0]})")
    # A hand-over is stamped under the loop's lock, before the loop can start
    # the task: a flow never points backwards.
    early = sum(1 for flow, at in ends if flow in starts and at < starts[flow])
    if early:
        problems.append(f"{early} flows end before their start")

    def label(thread):
        name = names.get(thread)
        return name if isinstance(name, str) else f"thread {thread[1]}"

    for thread, items in slices.items():
        # Outer first: by start, the longer one before the shorter.
        items.sort(key=lambda item: (item[0], -(item[1] - item[0])))
        open_ends = []
        for start, end, event in items:
            while open_ends and open_ends[-1][0] <= start:
                open_ends.pop()
            if open_ends and end > open_ends[-1][0]:
                outer = open_ends[-1][1]
                problems.append(
                    f'on {label(thread)}: "{event.get("name")}" ({event.get("cat")}) at '
                    f'{start} overlaps the end of "{outer.get("name")}" ({outer.get("cat")})')
                break
            open_ends.append((end, event))

    counts = collections.Counter()
    for thread, items in slices.items():
        for _, _, event in items:
            counts[(label(thread), event.get("cat"))] += 1
    for thread, category, relation, expected in expectations:
        got = counts[(thread, category)]
        if (got != expected) if relation == "=" else (got < expected):
            problems.append(f"{thread}:{category} is {got}, expected {relation}{expected}")

    summary = (f"{sum(len(items) for items in slices.values())} complete events on "
               f"{len(slices)} threads, {len(ends)} flows, "
               f"{len(expectations)} counts")
    return problems, summary


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("trace")
    parser.add_argument("--expect", action="append", default=[], type=parse_expectation,
                        metavar="THREAD:CATEGORY=N")
    arguments = parser.parse_args()
    try:
        with open(arguments.trace, encoding="utf-8") as file:
            trace = json.load(file)
        problems, summary = check(trace, arguments.expect)
    except (OSError, ValueError, RecursionError) as error:
        print(f"check_trace: {arguments.trace}: {error}")
        return 1
    if problems:
        print(f"check_trace: {arguments.trace}: FAILED: " + "; ".join(problems))
        return 1
    print(f"check_trace: {arguments.trace}: ok: {summary}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
