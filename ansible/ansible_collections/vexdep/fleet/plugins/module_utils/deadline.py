# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Running a command on a managed host until a deadline, and nothing after it.

The command starts in a session of its own. Everything it starts stays in
that session unless it leaves it on purpose, and this process is made the
subreaper of its descendants, so that even a process that left the session
is re-parented here when its parent ends. When the command ends, or the
deadline passes, every process of that session and every descendant of this
process is ended (SIGTERM, then SIGKILL after a grace period), so that no
collector, shell or helper outlives the check. At the deadline the processes
that were still running are described (command line, how long they ran) for
the report. Linux /proc only; standard library only.
"""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import os
import signal
import subprocess
import sys
import threading
import time

# How long ended processes get between SIGTERM and SIGKILL.
GRACE_SECONDS = 2.0
# How long processes left behind by a command get to start their programs
# before they are described.
SETTLE_SECONDS = 0.2
# A command's output longer than this is cut (a collector that prints
# without end must not fill the host's memory).
OUTPUT_LIMIT = 64 * 1024 * 1024
_PR_SET_CHILD_SUBREAPER = 36


def reserve_seconds(task_timeout):
    """Seconds of a task's timeout kept back for ending the check's processes and answering."""
    return max(5, min(30, task_timeout // 10))


def module_timeout(task_timeout, elapsed, requested=None):
    """The module's own timeout: what is left of the task's after elapsed seconds, less the
    reserve, at least 1; or the smaller one requested; or requested when the task has none."""
    if not task_timeout:
        return requested
    left = max(1, int(task_timeout - elapsed - reserve_seconds(task_timeout)))
    return left if requested is None else min(int(requested), left)


class DeadlineReached(Exception):
    """The deadline passed while the command ran; running lists what was still running."""

    def __init__(self, running):
        super(DeadlineReached, self).__init__('the deadline passed')
        self.running = running


def become_subreaper():
    """Orphaned descendants are re-parented to this process (best effort; False where it cannot)."""
    try:
        import ctypes
        libc = ctypes.CDLL(None, use_errno=True)
        return libc.prctl(_PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) == 0
    except (OSError, AttributeError):
        return False


def _stat(pid):
    """(parent pid, session id, state, start time in clock ticks) of a process, or None."""
    try:
        with open('/proc/%d/stat' % pid, 'rb') as handle:
            text = handle.read().decode('utf-8', 'replace')
    except (IOError, OSError):
        return None
    # The command name (field 2) may hold spaces and parentheses: the fields
    # after it start behind its last closing parenthesis.
    fields = text[text.rfind(')') + 2:].split()
    try:
        return int(fields[1]), int(fields[3]), fields[0], int(fields[19])
    except (IndexError, ValueError):
        return None


def _children_listed():
    """True where the kernel lists each thread's children (/proc/PID/task/TID/children)."""
    return os.path.exists('/proc/%d/task/%d/children' % (os.getpid(), os.getpid()))


def _children(pid):
    """The children of pid (of any of its threads)."""
    found = []
    try:
        threads = os.listdir('/proc/%d/task' % pid)
    except (IOError, OSError):
        return found
    for thread in threads:
        try:
            with open('/proc/%d/task/%s/children' % (pid, thread)) as handle:
                found.extend(int(child) for child in handle.read().split())
        except (IOError, OSError, ValueError):
            continue
    return found


def _descendants(root):
    """{pid: stat} of root's descendants, followed through the children lists."""
    table = {}
    stack = _children(root)
    while stack:
        pid = stack.pop()
        stat = _stat(pid)
        if stat is None or pid in table:
            continue
        table[pid] = stat
        stack.extend(_children(pid))
    return table


def process_table(root=None):
    """{pid: (parent pid, session id, state, start ticks)} of every process that can be read.

    With root, of root's descendants only: when root is the subreaper of a
    command's session, every process of that session is among them, and a
    host running many processes is not read through for each check."""
    if root is not None and _children_listed():
        return _descendants(root)
    table = {}
    for entry in os.listdir('/proc'):
        if entry.isdigit():
            stat = _stat(int(entry))
            if stat is not None:
                table[int(entry)] = stat
    return table


def related(table, session, ancestor, exclude=()):
    """Live processes of the session, and live descendants of ancestor reached other than through exclude."""
    children = {}
    for pid, (parent, _, _, _) in table.items():
        children.setdefault(parent, []).append(pid)
    found = set()
    stack = [pid for pid in children.get(ancestor, []) if pid not in exclude]
    while stack:
        pid = stack.pop()
        if pid not in found:
            found.add(pid)
            stack.extend(children.get(pid, []))
    found.update(pid for pid, (_, sid, _, _) in table.items() if sid == session)
    found.discard(ancestor)
    return sorted(pid for pid in found if pid in table and table[pid][2] != 'Z' and pid not in exclude)


def describe(pid, start_ticks, now_ticks, replace=None):
    """What a process is: its pid, command line and how long it has run."""
    try:
        with open('/proc/%d/cmdline' % pid, 'rb') as handle:
            argv = [part.decode('utf-8', 'replace') for part in handle.read().split(b'\0') if part]
    except (IOError, OSError):
        argv = []
    command = ' '.join(argv) or '(command line unreadable)'
    for old, new in (replace or {}).items():
        if old:
            command = command.replace(old, new)
    seconds = max(0.0, (now_ticks - start_ticks) / float(os.sysconf('SC_CLK_TCK')))
    return {'pid': pid, 'command': command[:500], 'seconds': round(seconds, 1)}


def _uptime_ticks():
    with open('/proc/uptime') as handle:
        return float(handle.read().split()[0]) * os.sysconf('SC_CLK_TCK')


def process_age():
    """Seconds since this process started (its start-up before any of its code ran included), or None.

    None also inside a connection's long-lived interpreter (mitogen's), where
    the process started long before this module."""
    if 'mitogen' in sys.modules:
        return None
    stat = _stat(os.getpid())
    if stat is None:
        return None
    try:
        return max(0.0, (_uptime_ticks() - stat[3]) / float(os.sysconf('SC_CLK_TCK')))
    except (IOError, OSError, ValueError):
        return None


def snapshot(session, ancestor, replace=None, exclude=(), scope=None):
    """Descriptions of the processes end_all would end now (scope: see process_table's root)."""
    table = process_table(scope)
    now = _uptime_ticks()
    return [describe(pid, table[pid][3], now, replace) for pid in related(table, session, ancestor, exclude)]


def _signal_all(pids, signum):
    for pid in pids:
        try:
            os.kill(pid, signum)
        except OSError:
            pass


def _reap_orphans():
    """Collects the exit status of re-parented descendants (this process is their subreaper)."""
    while True:
        try:
            pid, _ = os.waitpid(-1, os.WNOHANG)
        except OSError:
            return
        if pid == 0:
            return


def end_all(session, ancestor, grace=GRACE_SECONDS, exclude=(), scope=None):
    """Ends every process of the session and every descendant of ancestor; True when none is left."""
    def left():
        _reap_orphans()
        return related(process_table(scope), session, ancestor, exclude)

    for signum in (signal.SIGTERM, signal.SIGKILL):
        pids = left()
        if not pids:
            return True
        _signal_all(pids, signum)
        limit = time.time() + grace
        while time.time() < limit:
            if not left():
                return True
            time.sleep(0.05)
    return not left()


class _Reader(threading.Thread):
    """Reads one pipe to its end, keeping at most OUTPUT_LIMIT bytes."""

    def __init__(self, pipe):
        super(_Reader, self).__init__()
        self.daemon = True
        self.pipe = pipe
        self.chunks = []
        self.size = 0

    def run(self):
        while True:
            try:
                chunk = os.read(self.pipe.fileno(), 65536)
            except OSError:
                break
            if not chunk:
                break
            if self.size < OUTPUT_LIMIT:
                self.chunks.append(chunk)
                self.size += len(chunk)

    def text(self):
        return b''.join(self.chunks).decode('utf-8', 'replace')


def run_until(argv, deadline=None, replace=None):
    """Runs argv (never through a shell) and returns (status, stdout, stderr, left_behind).

    deadline is a time.time() value or None. left_behind describes the
    processes the command left running when it ended (they are ended too).
    Raises DeadlineReached, after ending everything, when the deadline
    passes first."""
    me = os.getpid()
    # As the subreaper, this process has every process of the command's
    # session among its descendants: reading those is enough.
    scope = me if become_subreaper() else None
    # Children this process had before are none of the command's business.
    before = set(pid for pid, stat in process_table(scope).items() if stat[0] == me)
    process = subprocess.Popen(argv, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               start_new_session=True, close_fds=True)
    readers = [_Reader(process.stdout), _Reader(process.stderr)]
    for reader in readers:
        reader.start()
    session = process.pid
    try:
        status = process.wait(timeout=None if deadline is None else max(0.0, deadline - time.time()))
    except subprocess.TimeoutExpired:
        running = snapshot(session, me, replace, before, scope)
        end_all(session, me, exclude=before, scope=scope)
        process.wait()
        _finish(process, readers)
        raise DeadlineReached(running)
    # The command has ended; what it left behind (a collector's background
    # process, say) is ended as well, and described.
    left_behind = snapshot(session, me, replace, before, scope)
    if left_behind:
        # A process forked just before the command ended may not have started
        # its own program yet: it is described once it has had a moment.
        time.sleep(SETTLE_SECONDS)
        left_behind = snapshot(session, me, replace, before, scope)
        end_all(session, me, exclude=before, scope=scope)
    _finish(process, readers)
    return status, readers[0].text(), readers[1].text(), left_behind


def _finish(process, readers):
    for reader in readers:
        reader.join(GRACE_SECONDS)
    for pipe in (process.stdout, process.stderr):
        try:
            pipe.close()
        except (IOError, OSError):
            pass
    _reap_orphans()
