#!/usr/bin/python3
# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""make fleet-bench: the preflight against 100 managed hosts, one sshd each.

Usage: bench.py VEXINSPECT VEXFLEETTABLES [--hosts N] [--forks N] [--repository-packages N]
                [--strategy NAME] [--mitogen] [--ansible-env NAME=VALUE ...]

The hosts are those of the multi-host test, repeated: a third ready (system ID
0A1C), a third blocked (0A1D), a third unverifiable (no tables, the hard collector
fails). Prints the wall time of ansible-playbook, hosts per minute and the
controller's peak memory (the largest sum of the resident sizes of
ansible-playbook and every process below it, sampled every 0.1 s; and of their
proportional sizes, which count the pages the forks share once), and where
the time went: the load average, the processor time of the controller (its
main process apart) and of the hosts, and each task's span and mean time per
host. Every sshd, namespace and temporary directory it started or made is
removed at the end, also when it is interrupted (SIGINT, SIGTERM, SIGHUP).

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
import resource
import signal
import subprocess
import sys
import tempfile
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import fleethosts  # noqa: E402
import fleetrepository  # noqa: E402
import proctree  # noqa: E402
import test_preflight_multihost as multihost  # noqa: E402

# The forks setting of make fleet-bench (FLEET_FORKS).
DEFAULT_FORKS = 25
TIMING_PLUGINS = os.path.join(HERE, 'timing')


class Interrupted(Exception):
    """The bench got SIGINT, SIGTERM or SIGHUP."""


def interrupt(signum, frame):
    raise Interrupted('stopped by signal %d' % signum)


class Sampler(threading.Thread):
    """Samples the resident size of ansible-playbook's tree every 0.1 s, its
    proportional size (forks share most of their pages) every second, and the
    processor time of its main process."""

    def __init__(self, pid):
        super(Sampler, self).__init__()
        self.pid = pid
        self.peak_kib = 0
        self.peak_pss_kib = 0
        self.main_cpu = 0.0
        self.done = threading.Event()

    def run(self):
        samples = 0
        while not self.done.is_set():
            self.peak_kib = max(self.peak_kib, proctree.tree_rss_kib(self.pid))
            if samples % 10 == 0:
                self.peak_pss_kib = max(self.peak_pss_kib, proctree.tree_pss_kib(self.pid))
            self.main_cpu = max(self.main_cpu, proctree.cpu_seconds(self.pid, reaped=False))
            samples += 1
            self.done.wait(0.1)


def task_lines(timing_path, hosts):
    """One line per task: its span, how many hosts ran it and their mean time in it."""
    try:
        with open(timing_path) as handle:
            timing = json.load(handle)
    except (OSError, ValueError):
        return ['(no task times: the timing callback wrote nothing)']
    lines = ['%-64s %8s %6s %10s' % ('task', 'span s', 'hosts', 'mean s')]
    for task in timing['tasks']:
        ran = [entry for entry in task['hosts'].values() if entry['started'] is not None]
        ends = [entry['ended'] for entry in task['hosts'].values()]
        span = (max(ends) - task['started']) if ends else 0.0
        mean = sum(entry['ended'] - entry['started'] for entry in ran) / len(ran) if ran else 0.0
        lines.append('%-64s %8.1f %6d %10.2f' % (task['name'][:64], span, len(task['hosts']), mean))
    per_host = sum(len(task['hosts']) for task in timing['tasks'] if len(task['hosts']) > 1)
    lines.append('tasks run per host: %.1f' % (float(per_host) / hosts))
    return lines


def run_bench(args, fleet):
    kinds = [
        dict(system_id='0A1C', inventory=multihost.inventory('3.20.0', '2.4.1', '11.0.0')),
        dict(system_id='0A1D', inventory=multihost.inventory('3.10.0', '2.2', '10.2.0')),
        dict(system_id=None, inventory=multihost.inventory('3.20.0', '2.4.1', '11.0.0'), flags=('collector-fails',)),
    ]
    for index in range(args.hosts):
        fleet.add('host%03d' % (index + 1), **kinds[index % len(kinds)])
    started = time.time()
    fleet.start(timeout=120)
    print('%d sshd hosts started in %.1f s' % (args.hosts, time.time() - started))
    report_dir = tempfile.mkdtemp(prefix='report-', dir=fleet.root)
    timing_path = os.path.join(fleet.root, 'timing.json')
    command = ['ansible-playbook', '-i', fleet.inventory(), multihost.PLAYBOOK,
               '-e', 'preflight_package=%s' % multihost.PACKAGE,
               '-e', 'preflight_vexinspect=%s' % args.vexinspect,
               '-e', 'preflight_report_dir=%s' % report_dir,
               '-e', 'preflight_remote_tmp_parent=%s' % fleet.host_tmp] + plan_variables(args, fleet)
    env = fleet.ansible_environment(multihost.COLLECTIONS, args.forks)
    env.update(ANSIBLE_CALLBACK_PLUGINS=TIMING_PLUGINS, ANSIBLE_CALLBACKS_ENABLED='vexdep_timing',
               VEXDEP_FLEET_TIMING=timing_path)
    for setting in args.ansible_env:
        name, _, value = setting.partition('=')
        env[name] = value
        print('setting: %s' % setting)
    strategy = args.strategy
    if args.mitogen:
        env['ANSIBLE_STRATEGY_PLUGINS'] = args.mitogen
        strategy = strategy or 'mitogen_linear'
    if strategy:
        env['ANSIBLE_STRATEGY'] = strategy
    log_path = os.path.join(fleet.root, 'ansible.log')
    load_before = os.getloadavg()
    children_before = resource.getrusage(resource.RUSAGE_CHILDREN)
    with open(log_path, 'w') as log:
        started = time.time()
        # A session of its own: an interrupted bench ends it and everything it started.
        process = subprocess.Popen(command, env=env, stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT,
                                   start_new_session=True)
        sampler = Sampler(process.pid)
        sampler.start()
        try:
            status = process.wait()
        finally:
            wall = time.time() - started
            sampler.done.set()
            sampler.join()
            if process.poll() is None:
                stop_session(process)
    children_after = resource.getrusage(resource.RUSAGE_CHILDREN)
    load_after = os.getloadavg()
    host_cpu = sum(proctree.tree_cpu_seconds(host.process.pid) for host in fleet.hosts if host.process is not None)
    controller_cpu = (children_after.ru_utime + children_after.ru_stime
                      - children_before.ru_utime - children_before.ru_stime)
    with open(os.path.join(report_dir, 'fleet-report.json')) as handle:
        report = json.load(handle)
    counts = report['counts']
    print('ansible-playbook exit status %d, forks %d, strategy %s' % (status, args.forks, strategy or 'linear'))
    print('load average before: %.2f %.2f %.2f, after: %.2f %.2f %.2f' % (load_before + load_after))
    print('hosts in the report: %d (%s)' % (len(report['hosts']),
                                            ', '.join('%s %d' % item for item in counts.items() if item[1])))
    print('processor time: controller %.1f s (main process %.1f s, %.0f ms per host; workers and ssh %.0f ms '
          'per host), hosts %.1f s (%.0f ms per host)'
          % (controller_cpu, sampler.main_cpu, 1000.0 * sampler.main_cpu / args.hosts,
             1000.0 * (controller_cpu - sampler.main_cpu) / args.hosts, host_cpu, 1000.0 * host_cpu / args.hosts))
    for line in task_lines(timing_path, args.hosts):
        print('  ' + line)
    print('wall time: %.1f s' % wall)
    print('hosts per minute: %.0f' % (args.hosts * 60.0 / wall))
    print('controller peak memory: %.0f MiB (ansible-playbook and its processes, resident; proportional: %.0f MiB)'
          % (sampler.peak_kib / 1024.0, sampler.peak_pss_kib / 1024.0))
    if args.repository_packages:
        print_plan_cost(report_dir, report)
    print('goal: the whole preflight of %d hosts in under 300 s: %s'
          % (args.hosts, 'met' if wall < 300 else 'NOT met'))
    if len(report['hosts']) != args.hosts or status != 0:
        with open(log_path) as handle:
            sys.stdout.write(handle.read()[-4000:])
        return 1
    return 0


def stop_session(process):
    """Ends ansible-playbook and everything in its session."""
    for signum, wait in ((signal.SIGTERM, 10), (signal.SIGKILL, None)):
        try:
            os.killpg(process.pid, signum)
        except OSError:
            pass
        try:
            process.wait(timeout=wait)
            return
        except subprocess.TimeoutExpired:
            continue


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
    parser.add_argument('--strategy', help="Ansible's strategy (default: the playbook's, linear)")
    parser.add_argument('--ansible-env', action='append', default=[], metavar='NAME=VALUE',
                        help='an Ansible setting for the run (ANSIBLE_SSH_ARGS=..., say); may be repeated')
    parser.add_argument('--mitogen', action='store_true',
                        help="with the connection strategy of Debian's ansible-mitogen (mitogen_linear unless "
                             "--strategy names another of its strategies)")
    args = parser.parse_args()
    args.vexinspect = os.path.abspath(args.vexinspect)
    args.tables_tool = os.path.abspath(args.tables_tool)

    why = fleethosts.missing_tools()
    if args.mitogen and not why:
        args.mitogen = fleethosts.mitogen_strategies()
        why = None if args.mitogen else "ansible-mitogen is not installed (Debian's package ansible-mitogen)"
    if why:
        print('fleet-bench skipped: %s' % why)
        return 77
    for signum in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(signum, interrupt)
    fleet = None
    try:
        fleet = fleethosts.Fleet(args.tables_tool)
        return run_bench(args, fleet)
    except Interrupted as stopped:
        print('fleet-bench %s: the hosts are stopped and removed' % stopped)
        return 130
    finally:
        # A second signal must not cut the clean-up short.
        for signum in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(signum, signal.SIG_IGN)
        if fleet is not None:
            fleet.stop()


if __name__ == '__main__':
    sys.exit(main())
