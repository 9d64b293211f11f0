# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import os
import subprocess
import sys
import time

import pytest

from ansible_collections.vexdep.fleet.plugins.module_utils import deadline

pytestmark = pytest.mark.skipif(not os.path.isdir('/proc/self'), reason='needs Linux /proc')


def alive(pid):
    """True while pid runs (a zombie, ended but not yet collected, does not count)."""
    try:
        with open('/proc/%d/stat' % pid) as handle:
            return handle.read().rsplit(')', 1)[1].split()[0] != 'Z'
    except (IOError, OSError):
        return False


def test_output_and_status_of_a_command_that_ends():
    status, out, err, left = deadline.run_until([sys.executable, '-c', 'import sys; print("out"); '
                                                 'sys.stderr.write("err"); sys.exit(3)'], time.time() + 30)
    assert (status, out, err, left) == (3, 'out\n', 'err', [])


def test_no_deadline_waits_for_the_end():
    status, out, _, _ = deadline.run_until(['/bin/sh', '-c', 'sleep 0.3; echo done'])
    assert (status, out) == (0, 'done\n')


def test_deadline_ends_the_command_and_everything_it_started(tmp_path):
    pids = tmp_path / 'pids'
    # A shell that starts a child which starts a grandchild, all waiting for ever.
    script = 'sh -c "sleep 3600 & echo \\$! >> %s; wait" & echo $! >> %s; wait' % (pids, pids)
    started = time.time()
    with pytest.raises(deadline.DeadlineReached) as reached:
        deadline.run_until(['/bin/sh', '-c', script], time.time() + 1.0, {str(pids): '<pids>'})
    assert time.time() - started < 1.0 + 2 * deadline.GRACE_SECONDS + 2
    commands = [process['command'] for process in reached.value.running]
    assert 'sleep 3600' in commands, commands
    assert all(process['seconds'] >= 0.5 for process in reached.value.running), reached.value.running
    # The path given in replace is shown by its placeholder.
    assert any('<pids>' in command for command in commands), commands
    for pid in [int(line) for line in pids.read_text().split()]:
        assert not alive(pid), pid


def test_a_process_that_left_the_session_is_ended_too(tmp_path):
    pid_file = tmp_path / 'escaped'
    # setsid puts the sleep into a session of its own; this process, the
    # subreaper, still finds it among its descendants.
    script = 'setsid sh -c "echo \\$\\$ > %s; exec sleep 3600" & sleep 3600' % pid_file
    with pytest.raises(deadline.DeadlineReached):
        deadline.run_until(['/bin/sh', '-c', script], time.time() + 1.0)
    assert not alive(int(pid_file.read_text()))


def test_processes_left_behind_by_a_finished_command_are_ended_and_named(tmp_path):
    pid_file = tmp_path / 'daemon'
    # The command ends at once, its background process keeps the output pipe open.
    script = 'sleep 3600 & echo $! > %s; echo finished' % pid_file
    started = time.time()
    status, out, _, left = deadline.run_until(['/bin/sh', '-c', script], time.time() + 60)
    assert time.time() - started < 10
    assert (status, out) == (0, 'finished\n')
    assert [process['command'] for process in left] == ['sleep 3600']
    assert not alive(int(pid_file.read_text()))


def test_children_that_this_process_had_before_are_left_alone():
    other = subprocess.Popen(['sleep', '30'])
    try:
        deadline.run_until(['/bin/true'], time.time() + 10)
        with pytest.raises(deadline.DeadlineReached):
            deadline.run_until(['sleep', '30'], time.time() + 0.5)
        assert alive(other.pid)
    finally:
        other.kill()
        other.wait()


def test_the_subreaper_finds_every_process_of_the_session_among_its_descendants():
    if not deadline.become_subreaper():
        pytest.skip('this process cannot become a subreaper here')
    me = os.getpid()
    before = set(pid for pid, stat in deadline.process_table().items() if stat[0] == me)
    # A child, an orphan that stays in the session and one that left it: both
    # orphans are re-parented to this process.
    command = subprocess.Popen(['/bin/sh', '-c', '(sleep 30 &); (setsid sleep 30 &); sleep 30 & wait'],
                               start_new_session=True)
    try:
        limit = time.time() + 10
        while time.time() < limit:
            everything = deadline.related(deadline.process_table(), command.pid, me, before)
            if len([pid for pid in everything if pid != command.pid]) >= 3:
                break
            time.sleep(0.05)
        assert len(everything) >= 4, everything
        assert deadline.related(deadline.process_table(me), command.pid, me, before) == everything
    finally:
        deadline.end_all(command.pid, me, exclude=before, scope=me)
        command.wait()


def test_age_of_a_process_of_its_own():
    age = subprocess.run([sys.executable, '-c', 'import time, sys; time.sleep(0.5); sys.path[:0] = %r; '
                          'from ansible_collections.vexdep.fleet.plugins.module_utils import deadline; '
                          'print(deadline.process_age())' % sys.path],
                         stdout=subprocess.PIPE, universal_newlines=True, check=True).stdout
    assert 0.4 <= float(age) < 30, age


def test_no_age_inside_a_long_lived_interpreter(monkeypatch):
    monkeypatch.setitem(sys.modules, 'mitogen', object())
    assert deadline.process_age() is None
