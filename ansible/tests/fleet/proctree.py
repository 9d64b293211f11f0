# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The processes below a process, their resident memory and processor time,
read from /proc for make fleet-bench.

The tree is followed through /proc/PID/task/TID/children, so that a sample
reads only the processes of the tree, not every process of the machine (a
500-host bench runs over a thousand sshd and ssh processes)."""

from __future__ import absolute_import, division, print_function

import os

PAGE_KIB = os.sysconf('SC_PAGE_SIZE') // 1024
TICKS = os.sysconf('SC_CLK_TCK')


def children(pid):
    """The process IDs whose parent is pid (any of its threads)."""
    found = []
    try:
        threads = os.listdir('/proc/%d/task' % pid)
    except OSError:
        return found
    for thread in threads:
        try:
            with open('/proc/%d/task/%s/children' % (pid, thread)) as handle:
                found.extend(int(child) for child in handle.read().split())
        except (OSError, ValueError):
            continue
    return found


def tree(root_pid):
    """root_pid and every process below it."""
    pids, stack = [], [root_pid]
    while stack:
        pid = stack.pop()
        pids.append(pid)
        stack.extend(children(pid))
    return pids


def rss_kib(pid):
    """The resident size of pid in KiB (0 when it is gone)."""
    try:
        with open('/proc/%d/statm' % pid) as handle:
            return int(handle.read().split()[1]) * PAGE_KIB
    except (OSError, IndexError, ValueError):
        return 0


def tree_rss_kib(root_pid):
    """The resident size of root_pid and all its descendants, in KiB."""
    return sum(rss_kib(pid) for pid in tree(root_pid))


def pss_kib(pid):
    """The proportional set size of pid in KiB: its pages shared with n processes count 1/n
    (0 when it is gone or the kernel does not tell)."""
    try:
        with open('/proc/%d/smaps_rollup' % pid) as handle:
            for line in handle:
                if line.startswith('Pss:'):
                    return int(line.split()[1])
    except (OSError, IndexError, ValueError):
        pass
    return 0


def tree_pss_kib(root_pid):
    """The proportional set size of root_pid and all its descendants, in KiB."""
    return sum(pss_kib(pid) for pid in tree(root_pid))


def cpu_seconds(pid, reaped=True):
    """Processor time (user and system) of pid, with that of its children it
    has waited for when reaped is true; 0 when it is gone."""
    try:
        with open('/proc/%d/stat' % pid) as handle:
            fields = handle.read().rsplit(')', 1)[1].split()
    except (OSError, IndexError):
        return 0.0
    # Fields 14 to 17 of stat: utime, stime, cutime, cstime (after the name: 11 to 14).
    ticks = [int(value) for value in fields[11:15]]
    return float(sum(ticks if reaped else ticks[:2])) / TICKS


def tree_cpu_seconds(root_pid):
    """Processor time of root_pid's tree: every live process with the children
    it has reaped (each process is counted once, by itself or its reaper)."""
    return sum(cpu_seconds(pid) for pid in tree(root_pid))
