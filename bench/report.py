#!/usr/bin/python3
"""report.py BIN [--scale]: measures the programs in BIN, in the sandbox, and prints what it found.

Without --scale it compares the library with the same work by hand and with a wrapper, and fails when the library's own
share of a call exceeds its bound. With it, it shows how calls grow with the number of tasks and of tables.
"""

import json
import os
import re
import shutil
import subprocess
import sys

DATABASE = "/mnt/HDA_ROOT/tq.db"
KEPT = "/tmp/tq.db"
FORMS = ("library", "bare", "wrapper")
FEW, MANY = 5, 25  # what a program does once, starting and ending, is the same for both and drops out
BIN, *OPTIONS = sys.argv[1:]
failures = []


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"report.py: {' '.join(command)} failed:\n{done.stdout}{done.stderr}")
    return done


def program(name):
    return os.path.join(BIN, "bench_" + name)


def fill(rows, tables=8):
    run(program("fill"), str(rows), str(tables))


def fill_anew(rows, tables=8):
    if os.path.exists(DATABASE):
        os.remove(DATABASE)
    fill(rows, tables)


def expect(holds, what):
    if not holds:
        failures.append(what)
    return "" if holds else "  <-- too much"


def instructions(work, form, count):
    """Of a whole process that does the work so many times, on the kept file."""
    shutil.copyfile(KEPT, DATABASE)
    done = run("valgrind", "--tool=callgrind", "--callgrind-out-file=/tmp/callgrind.out", program("repeat"), work, form,
               str(count))
    return int(re.search(r"Collected : (\d+)", done.stderr).group(1))


def instructions_per_call(work, form):
    return (instructions(work, form, MANY) - instructions(work, form, FEW)) / (MANY - FEW)


def system_calls(work, form, count):
    shutil.copyfile(KEPT, DATABASE)
    run("strace", "-f", "-c", "-U", "calls,name", "-o", "/tmp/calls", program("repeat"), work, form, str(count))
    with open("/tmp/calls", encoding="ascii") as table:
        rows = [line.split() for line in table]
    return {row[1]: int(row[0]) for row in rows if len(row) == 2 and row[0].isdigit() and row[1] != "total"}


def system_calls_per_call(work, form):
    many, few = system_calls(work, form, MANY), system_calls(work, form, FEW)
    per_call = {name: (many[name] - few.get(name, 0)) / (MANY - FEW) for name in many}
    per_call.pop("brk", None)  # how the heap happens to lie
    return {name: calls for name, calls in per_call.items() if calls != 0}


def microseconds(*options):
    """Of processor time, the least of the repetitions, by name. On a file in memory nothing else counts."""
    done = run(program("time"), *options, "--benchmark_format=json", "--benchmark_report_aggregates_only=true")
    return {entry["run_name"].removesuffix("/iterations:100"): entry["cpu_time"]
            for entry in json.loads(done.stdout)["benchmarks"] if entry["aggregate_name"] == "least"}


def compare():
    works = [line.split("\t") for line in run(program("repeat"), "--list").stdout.splitlines()]
    fill_anew(200)
    shutil.copyfile(DATABASE, KEPT)

    print("Instructions per call, and how many for one by hand. The file has eight tables of 200 rows.\n")
    print(f"{'':36}{'library':>12}{'by hand':>12}{'ratio':>9}{'at most':>9}{'SQLiteCpp':>12}{'ratio':>9}")
    for work, what, most in works:
        library, bare, wrapper = (instructions_per_call(work, form) for form in FORMS)
        ratio = library / bare
        note = expect(ratio <= float(most), f"instructions: {what}")
        print(f"{what:36}{library:12,.0f}{bare:12,.0f}{ratio:9.4f}{most:>9}{wrapper:12,.0f}{wrapper / bare:9.4f}{note}",
              flush=True)

    print("\nMicroseconds of processor time per call, the least of 15 runs of 100 calls in turn.\n")
    print(f"{'':36}{'library':>12}{'by hand':>12}{'ratio':>9}{'':9}{'SQLiteCpp':>12}{'ratio':>9}")
    times = microseconds("--benchmark_repetitions=15", "--benchmark_enable_random_interleaving=true")
    for work, what, _ in works:
        library, bare, wrapper = (times[f"{work}/{form}"] for form in FORMS)
        print(f"{what:36}{library:12.1f}{bare:12.1f}{library / bare:9.3f}{'':9}{wrapper:12.1f}{wrapper / bare:9.3f}")

    print("\nSystem calls per call, and syncs among them.\n")
    print(f"{'':36}{'library':>12}{'by hand':>12}{'syncs':>9}{'by hand':>9}{'SQLiteCpp':>12}{'syncs':>9}")
    for work, what, most in works:
        shown = []
        counts = [system_calls_per_call(work, form) for form in FORMS]
        for count in counts:
            syncs = sum(calls for name, calls in count.items() if name in ("fsync", "fdatasync"))
            shown.append((sum(count.values()), syncs))
        (library, library_syncs), (bare, bare_syncs), (wrapper, wrapper_syncs) = shown
        fewer = float(most) < 1 and library < bare and library_syncs <= bare_syncs
        note = expect(counts[0] == counts[1] or fewer, f"system calls: {what}")
        print(f"{what:36}{library:12.4g}{bare:12.4g}{library_syncs:9.4g}{bare_syncs:9.4g}{wrapper:12.4g}"
              f"{wrapper_syncs:9.4g}{note}")

    print("\nMost memory allocated at once while so many rows are listed, in KiB; in brackets the whole process.\n")
    lists = (("list_bt", "list all BT tasks (sorted)"), ("list_http_ftp", "list all HTTP/FTP tasks"))
    peaks = {}
    os.remove(DATABASE)
    print(f"{'':36}" + "".join(f"{form:>22}" for form in ("library", "by hand", "SQLiteCpp")))
    for rows in (1, 100_000, 1_000_000):
        fill(rows)
        for work, what in lists:
            line = f"{what + f', {rows:,}':36}"
            for form in FORMS:
                heap, process = map(int, run(program("memory"), work, form, "1").stdout.split())
                peaks[work, form, rows] = heap
                line += f"{heap / 1024:12.1f} {f'({process:,})':>9}"
            print(line, flush=True)
    for work, what in lists:
        for rows in (100_000, 1_000_000):
            library, bare = (peaks[work, form, rows] - peaks[work, form, 1] for form in FORMS[:2])
            expect(library <= bare, f"memory: {what}, {rows}: grows by {library} bytes, by hand by {bare}")


def scale():
    sizes = (100, 1_000, 10_000, 100_000, 1_000_000)
    fill_anew(sizes[0])
    columns = []
    for size in sizes:
        fill(size)
        columns.append(microseconds("--scale", "--benchmark_repetitions=3", "--benchmark_min_time=0.1"))
        fill(size)  # takes out what was added
    print("Microseconds of processor time per call, with so many tasks of each kind.\n")
    print(f"{'':36}" + "".join(f"{size:>14,}" for size in sizes))
    for name in columns[0]:
        print(f"{name:36}" + "".join(f"{column[name]:14,.0f}" for column in columns))

    print("\nInstructions that reading one BT task takes, with so many tables of 200 rows in the file.\n")
    before = None
    for tables in range(1, 9):
        fill_anew(200, tables)
        shutil.copyfile(DATABASE, KEPT)
        now = instructions_per_call("read_bt", "library")
        print(f"{tables}{now:16,.0f}" + ("" if before is None else f"{now - before:+16,.0f}"), flush=True)
        before = now


if "--scale" in OPTIONS:
    scale()
else:
    compare()
if failures:
    sys.exit("\nToo much:\n  " + "\n  ".join(failures))
