#!/usr/bin/python3
# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""make report-bench: the fleet report of a synthetic fleet, every format, against its bounds.

Usage: report_bench.py [--hosts N] [--plans] [--max-seconds S] [--max-cpu-seconds S] [--max-mib M]

Writes synthetic results of N hosts (10,000 by default) and an earlier run of
the same fleet (synthetic_fleet.py), then runs fleet_report.py on them, as
the role does, with --previous, and prints the renderer's wall time, its
processor time (user and system), its peak memory (the largest resident size
of the process, from the kernel's accounting) and the size of every file
written. Exits 1 when a figure exceeds its bound (5 s of wall and of
processor time, 500 MiB by default). On a machine shared with other work the
wall time grows with the load and the processor time does not: make test
checks the processor time and memory at their bounds and the wall time at
three times its bound.

With --plans the fleet was planned with a repository (synthetic_fleet.py
--plans): the report gains the waves, what no plan can fix and the plan
changes, under the same bounds. Each format's own share is printed too: the
time of its renderer and the growth of the peak memory while it ran, measured
in a second, separate process that builds the model once and renders each
format in turn.
"""

from __future__ import absolute_import, division, print_function

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import synthetic_fleet  # noqa: E402

RENDERER = os.path.normpath(os.path.join(HERE, '..', '..', 'ansible_collections', 'vexdep', 'fleet', 'roles',
                                         'preflight', 'files', 'fleet_report.py'))
PACKAGE = os.path.join(HERE, 'package')


def render(results, previous, output):
    """Runs the renderer; returns (seconds, processor seconds, peak resident KiB, exit status, output)."""
    started = time.time()
    process = subprocess.Popen([sys.executable, RENDERER, results, output, '--previous', previous,
                                '--package', PACKAGE], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               stdin=subprocess.DEVNULL)
    out = process.stdout.read()
    _, status, usage = os.wait4(process.pid, 0)
    seconds = time.time() - started
    process.returncode = os.waitstatus_to_exitcode(status)
    return seconds, usage.ru_utime + usage.ru_stime, usage.ru_maxrss, process.returncode, out.decode(errors='replace')


PER_FORMAT = r"""
import json, resource, sys, time
sys.path.insert(0, sys.argv[1])
from fleetreport.model import build_report
from fleetreport.writer import FORMATS
import gc
gc.disable()
peak = lambda: resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024.0
started, before = time.process_time(), peak()
with open(sys.argv[2]) as handle:
    results = json.load(handle)
with open(sys.argv[3]) as handle:
    previous = json.load(handle)
report = build_report(results, previous=previous)
print('model\t%.3f\t%.0f\t%.0f' % (time.process_time() - started, peak() - before, peak()))
for name, render in FORMATS:
    started, before = time.process_time(), peak()
    text = render(report)
    print('%s\t%.3f\t%.0f\t%.0f' % (name, time.process_time() - started, peak() - before, peak()))
    del text
"""


def per_format(results, previous):
    """[(part, processor seconds, growth of the peak MiB, peak MiB)] of the model and each renderer."""
    out = subprocess.check_output([sys.executable, '-c', PER_FORMAT, os.path.dirname(RENDERER), results, previous],
                                  stdin=subprocess.DEVNULL)
    return [(name, float(cpu), float(growth), float(peak)) for name, cpu, growth, peak in
            (line.split('\t') for line in out.decode().splitlines())]


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    parser.add_argument('--hosts', type=int, default=10000)
    parser.add_argument('--max-seconds', type=float, default=5.0, help='bound of the wall time')
    parser.add_argument('--max-cpu-seconds', type=float, default=5.0, help='bound of the processor time')
    parser.add_argument('--max-mib', type=float, default=500.0)
    parser.add_argument('--keep', help='copy the rendered report into this directory')
    parser.add_argument('--plans', action='store_true', help='a fleet planned with a repository')
    args = parser.parse_args(argv)
    work = tempfile.mkdtemp(prefix='vexdep-report-bench-')
    try:
        results = os.path.join(work, 'preflight-results.json')
        previous = os.path.join(work, 'preflight-results.previous.json')
        synthetic_fleet.main([str(args.hosts), results, '--previous', previous] + (['--plans'] if args.plans else []))
        output = os.path.join(work, 'report')
        seconds, cpu, peak_kib, status, out = render(results, previous, output)
        if status != 0:
            sys.stdout.write(out)
            print('fleet_report.py exited with status %d' % status)
            return 1
        print('synthetic fleet%s: %d hosts, results %.1f MiB (%s)' % (
            ' with plans' if args.plans else '', args.hosts, os.path.getsize(results) / 1048576.0,
            out.strip().splitlines()[-1]))
        for name in sorted(os.listdir(output)):
            print('  %-24s %8.1f MiB' % (name, os.path.getsize(os.path.join(output, name)) / 1048576.0))
        peak = peak_kib / 1024.0
        print('render time, every format: %.2f s wall (bound %.1f s), %.2f s processor (bound %.1f s)'
              % (seconds, args.max_seconds, cpu, args.max_cpu_seconds))
        print('peak memory of the renderer: %.0f MiB (bound %.0f MiB)' % (peak, args.max_mib))
        print('each part on its own (processor time, growth of the peak memory, peak memory):')
        for name, part_cpu, growth, part_peak in per_format(results, previous):
            print('  %-24s %6.2f s %6.0f MiB %6.0f MiB' % (name, part_cpu, growth, part_peak))
        if args.keep:
            shutil.copytree(output, args.keep, dirs_exist_ok=True)
        met = seconds <= args.max_seconds and cpu <= args.max_cpu_seconds and peak <= args.max_mib
        print('bounds: %s' % ('met' if met else 'NOT met'))
        return 0 if met else 1
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == '__main__':
    sys.exit(main())
