#!/usr/bin/python3
# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""make fleet-bench: the preflight against 100 managed hosts, one sshd each.

Usage: bench.py VEXINSPECT VEXFLEETTABLES [--hosts N] [--forks N] [--repository-packages N]

The hosts are those of the multi-host test, repeated: a third ready (system ID
0A1C), a third blocked (0A1D), a third unverifiable (no tables, the hard collector
fails). Prints the wall time of ansible-playbook, hosts per minute and the
controller's peak memory (the largest sum of the resident sizes of
ansible-playbook and every process below it, sampled every 0.1 s).

With --repository-packages N (N at least 4) the preflight plans too: the
repository of the planning test with filler packages up to N (packed on the
controller by the role), and the per-host cost of the plan beyond the check:
the mean time of the plan module and of the check module on the hosts that
were planned. The cost on the controller is the difference of the wall times
with and without (--repository-packages 0).
"""

from __future__ import absolute_import, division, print_function

import argparse
import json
import os
import subprocess
import sys
import tempfile
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import fleethosts  # noqa: E402
import fleetrepository  # noqa: E402
import test_preflight_multihost as multihost  # noqa: E402

# The forks setting the figures in docs/fleet.md were measured with.
DEFAULT_FORKS = 25


def tree_rss_kib(root_pid):
    """The resident size of root_pid and all its descendants, in KiB."""
    children = {}
    rss = {}
    for entry in os.listdir('/proc'):
        if not entry.isdigit():
            continue
        try:
            with open('/proc/%s/stat' % entry) as handle:
                fields = handle.read().rsplit(')', 1)[1].split()
            with open('/proc/%s/statm' % entry) as handle:
                pages = int(handle.read().split()[1])
        except (OSError, IndexError, ValueError):
            continue
        children.setdefault(int(fields[1]), []).append(int(entry))
        rss[int(entry)] = pages * os.sysconf('SC_PAGE_SIZE') // 1024
    total, stack = 0, [root_pid]
    while stack:
        pid = stack.pop()
        total += rss.get(pid, 0)
        stack.extend(children.get(pid, []))
    return total


def plan_variables(args, fleet):
    """The playbook's variables of planning (the package with the machine's inventory overrides the default)."""
    if not args.repository_packages:
        return []
    repository = fleetrepository.prepare_repository(os.path.join(fleet.root, 'repository'),
                                                    filler=max(0, args.repository_packages - 4))
    package = fleetrepository.prepare_package(os.path.join(fleet.root, 'package'))
    print('repository of %d packages' % args.repository_packages)
    return ['-e', 'preflight_repository=%s' % repository, '-e', 'preflight_controller_vexinspect=%s' % args.vexinspect,
            '-e', 'preflight_package=%s' % package]


def print_plan_cost(report_dir, report):
    """The plan's figures: the packed repository, the plans' verdicts, the per-host cost beyond the check."""
    with open(os.path.join(report_dir, 'preflight-results.json')) as handle:
        saved = json.load(handle)
    planned = [entry for entry in saved['hosts'] if (entry.get('plan') or {}).get('plan')]
    print('packed repository: %s' % (saved.get('repository') or {}).get('packed'))
    print('plans: %s' % ', '.join('%s %d' % item for item in report['plan']['counts'].items()))
    if planned:
        plan = sum(entry['plan']['elapsed_seconds'] for entry in planned) / len(planned)
        check = sum(entry['check']['elapsed_seconds'] for entry in planned) / len(planned)
        print('per planned host: the plan %.2f s on the host beyond the check\'s %.2f s (%d hosts planned)'
              % (plan, check, len(planned)))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    parser.add_argument('vexinspect')
    parser.add_argument('tables_tool')
    parser.add_argument('--hosts', type=int, default=100)
    parser.add_argument('--forks', type=int, default=DEFAULT_FORKS)
    parser.add_argument('--repository-packages', type=int, default=0, help='plan over a repository of N packages')
    args = parser.parse_args()
    args.vexinspect = os.path.abspath(args.vexinspect)
    args.tables_tool = os.path.abspath(args.tables_tool)

    why = fleethosts.missing_tools()
    if why:
        print('fleet-bench skipped: %s' % why)
        return 77
    fleet = fleethosts.Fleet(args.tables_tool)
    kinds = [
        dict(system_id='0A1C', inventory=multihost.inventory('3.20.0', '2.4.1', '11.0.0')),
        dict(system_id='0A1D', inventory=multihost.inventory('3.10.0', '2.2', '10.2.0')),
        dict(system_id=None, inventory=multihost.inventory('3.20.0', '2.4.1', '11.0.0'), flags=('collector-fails',)),
    ]
    try:
        for index in range(args.hosts):
            fleet.add('host%03d' % (index + 1), **kinds[index % len(kinds)])
        started = time.time()
        fleet.start(timeout=120)
        print('%d sshd hosts started in %.1f s' % (args.hosts, time.time() - started))
        report_dir = tempfile.mkdtemp(prefix='report-', dir=fleet.root)
        command = ['ansible-playbook', '-i', fleet.inventory(), multihost.PLAYBOOK,
                   '-e', 'preflight_package=%s' % multihost.PACKAGE,
                   '-e', 'preflight_vexinspect=%s' % args.vexinspect,
                   '-e', 'preflight_report_dir=%s' % report_dir,
                   '-e', 'preflight_remote_tmp_parent=%s' % fleet.host_tmp] + plan_variables(args, fleet)
        log_path = os.path.join(fleet.root, 'ansible.log')
        peak = [0]
        with open(log_path, 'w') as log:
            started = time.time()
            process = subprocess.Popen(command, env=fleet.ansible_environment(multihost.COLLECTIONS, args.forks),
                                       stdout=log, stderr=subprocess.STDOUT)
            done = threading.Event()

            def sample():
                while not done.is_set():
                    peak[0] = max(peak[0], tree_rss_kib(process.pid))
                    done.wait(0.1)

            sampler = threading.Thread(target=sample)
            sampler.start()
            status = process.wait()
            wall = time.time() - started
            done.set()
            sampler.join()
        with open(os.path.join(report_dir, 'fleet-report.json')) as handle:
            report = json.load(handle)
        counts = report['counts']
        print('ansible-playbook exit status %d, forks %d' % (status, args.forks))
        print('hosts in the report: %d (%s)' % (len(report['hosts']),
                                                ', '.join('%s %d' % item for item in counts.items() if item[1])))
        print('wall time: %.1f s' % wall)
        print('hosts per minute: %.0f' % (args.hosts * 60.0 / wall))
        print('controller peak memory: %.0f MiB (ansible-playbook and its processes, resident)' % (peak[0] / 1024.0))
        if args.repository_packages:
            print_plan_cost(report_dir, report)
        print('goal: the whole preflight of %d hosts in under 300 s: %s'
              % (args.hosts, 'met' if wall < 300 else 'NOT met'))
        if len(report['hosts']) != args.hosts:
            with open(log_path) as handle:
                sys.stdout.write(handle.read()[-4000:])
            return 1
        return 0
    finally:
        fleet.stop()


if __name__ == '__main__':
    sys.exit(main())
