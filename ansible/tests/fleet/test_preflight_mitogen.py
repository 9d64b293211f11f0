# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The preflight playbook over the connection strategy of Debian's
ansible-mitogen (mitogen_linear), against the hosts of the multi-host test
(its HOSTS table): every host gets the verdict it gets over Ansible's own SSH
connections, the hung host is ended within its deadline and nothing is left
running on it, and no host keeps a temporary directory.

ansible-mitogen is an option, never a requirement: where it is not installed,
or the hosts cannot be started, the tests report themselves skipped.
VEXDEP_INSPECT and VEXDEP_FLEET_TABLES as for the multi-host test.
"""

from __future__ import absolute_import, division, print_function

import collections
import json
import os
import subprocess
import sys
import time

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import fleethosts  # noqa: E402
import test_preflight_multihost as multihost  # noqa: E402

Run = collections.namedtuple('Run', 'fleet result report_dir seconds left_on_foxtrot')


@pytest.fixture(scope='module')
def run(tmp_path_factory):
    vexinspect = os.environ.get('VEXDEP_INSPECT')
    tables_tool = os.environ.get('VEXDEP_FLEET_TABLES')
    if not vexinspect or not os.access(vexinspect, os.X_OK):
        pytest.skip('VEXDEP_INSPECT does not name the vexinspect executable')
    if not tables_tool or not os.access(tables_tool, os.X_OK):
        pytest.skip('VEXDEP_FLEET_TABLES does not name the vexfleettables tool')
    strategies = fleethosts.mitogen_strategies()
    if strategies is None:
        pytest.skip("ansible-mitogen is not installed (Debian's package ansible-mitogen)")
    why = fleethosts.missing_tools()
    if why:
        pytest.skip(why)
    fleet = multihost.start_test_fleet(tables_tool)
    try:
        fleet.start()
        inventory = fleet.inventory(group_vars={'preflight_remote_tmp_parent': fleet.host_tmp})
        report_dir = str(tmp_path_factory.mktemp('mitogen'))
        settings = {'preflight_package': multihost.PACKAGE, 'preflight_vexinspect': vexinspect,
                    'preflight_report_dir': report_dir, 'preflight_host_timeout': multihost.DEADLINE}
        env = fleet.ansible_environment(multihost.COLLECTIONS, forks=10)
        env.update(ANSIBLE_STRATEGY_PLUGINS=strategies, ANSIBLE_STRATEGY='mitogen_linear')
        started = time.time()
        result = subprocess.run(['ansible-playbook', '-i', inventory, multihost.PLAYBOOK, '-e', json.dumps(settings)],
                                env=env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                universal_newlines=True, timeout=500)
        seconds = time.time() - started
        foxtrot = [host for host in fleet.hosts if host.name == 'foxtrot'][0]
        yield Run(fleet, result, report_dir, seconds, fleet.processes_of(foxtrot))
    finally:
        fleet.stop()
        assert not os.path.exists(fleet.root)


def report_of(run):
    # ansible-playbook refuses to start with a strategy it cannot load: a run
    # that succeeded ran over mitogen_linear.
    assert run.result.returncode == 0, run.result.stdout
    with open(os.path.join(run.report_dir, 'fleet-report.json'), encoding='utf-8') as handle:
        return json.load(handle)


@pytest.mark.parametrize('host_setup', multihost.HOSTS, ids=[host_setup.name for host_setup in multihost.HOSTS])
def test_each_host_gets_its_verdict_over_mitogen(run, host_setup):
    host = dict((entry['host'], entry) for entry in report_of(run)['hosts'])[host_setup.name]
    assert host['category'] == host_setup.verdict, host
    assert (host['hard_verdict'], host['soft_verdict']) == (host_setup.hard, host_setup.soft), host
    assert host['verdict_types'] == host_setup.types, host
    if host_setup.kinds:
        assert set(reason['kind'] for reason in host['reasons']) == host_setup.kinds, host
    texts = ' '.join([host['message'] or ''] + [reason['text'] for reason in host['reasons']] +
                     [process['command'] for process in (host['timed_out'] or {}).get('running', [])])
    assert host_setup.says.lower() in texts.lower(), host


def test_every_host_is_in_the_report(run):
    report = report_of(run)
    assert sorted(host['host'] for host in report['hosts']) == sorted(host_setup.name for host_setup in multihost.HOSTS)


def test_hung_host_is_ended_within_the_deadline_and_nothing_is_left(run):
    foxtrot = dict((entry['host'], entry) for entry in report_of(run)['hosts'])['foxtrot']
    assert foxtrot['timed_out']['seconds'] <= multihost.DEADLINE, foxtrot
    assert run.seconds < multihost.DEADLINE + 60, run.seconds
    assert run.left_on_foxtrot == [], run.left_on_foxtrot


def test_hosts_keep_no_temporary_directory(run):
    report_of(run)
    assert os.listdir(run.fleet.host_tmp) == []
    assert os.listdir(os.path.join(run.fleet.root, 'remote-tmp')) == []
