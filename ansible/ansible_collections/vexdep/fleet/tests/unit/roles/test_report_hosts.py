# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import pytest

from fleetreport.hosts import from_raw, normalize_host, system_id_note

from report_fixtures import raw


@pytest.fixture
def hosts():
    return dict((entry['host'], from_raw(entry)) for entry in raw()['hosts'])


def test_every_kind_of_host_gets_its_category(hosts):
    assert dict((name, host['category']) for name, host in hosts.items()) == {
        'web1': 'ready', 'web2': 'blocked', 'web3': 'blocked', 'web4': 'blocked', 'db1': 'recommended',
        'db2': 'unverifiable', 'db4': 'unverifiable', 'db3': 'failed', 'old1': 'unreachable',
        'old2': 'unreachable', 'old3': 'unreachable', 'slow1': 'timed-out', 'slow2': 'timed-out', 'gone': 'failed'}


def test_prerequisites_are_split_by_type(hosts):
    web2 = hosts['web2']
    assert [(p['name'], p['version'], p['current_version']) for p in web2['hard_prerequisites']] == [
        ('Backplane', '2.0', '1.9'), ('NIC <fw>', '2.0', '1.0')]
    assert [(p['name'], p['version'], p['detail']) for p in web2['soft_prerequisites']] == [
        ('Agent', '11', 'Enclosure events are reported by agent 11 or later.')]
    assert 'detail' not in web2['hard_prerequisites'][0]


def test_soft_unverifiable_host_keeps_its_deciding_type(hosts):
    assert hosts['db4']['verdict_types'] == ['soft']
    assert hosts['db4']['reasons'][0]['type'] == 'soft'


def test_messages_of_hosts_that_were_not_checked(hosts):
    assert hosts['old1']['message'].endswith('port 22: Connection refused')
    assert hosts['old3']['status'] == 'unreachable'
    assert hosts['db3']['message'] == 'Run the check: vexinspect not found on PATH (/usr/bin)'
    assert hosts['gone']['message'].startswith('no result: the host left the play before the check')


def test_timed_out_on_the_host_keeps_what_was_running(hosts):
    slow = hosts['slow1']
    assert slow['status'] == 'timed-out'
    assert slow['timed_out']['by'] == 'host'
    assert [p['command'] for p in slow['timed_out']['running']] == ['sh -c <package>///RB//collect.sh',
                                                                    'sleep 3600']
    # The hard check had finished before.
    assert slow['hard_verdict'] == 'ready'


def test_timed_out_by_the_controller(hosts):
    slow = hosts['slow2']
    assert slow['timed_out'] == {'by': 'controller', 'type': None, 'seconds': 20, 'timeout_seconds': 20,
                                 'running': []}
    assert slow['message'] == 'the controller stopped waiting for the host after 20 s'


def test_overruns_are_kept(hosts):
    assert hosts['web1']['overruns'][0]['text'] == 'took 30.2 s, declares 5 s'


@pytest.mark.parametrize('origin,source,note', [
    ('not-read', 'none', 'no SMBIOS tables could be read'),
    (None, 'none', 'no SMBIOS tables'),
    ('not-maker-system', 'sysfs', "not the maker's system"),
    ('revision-two-byte-missing', 'sysfs', 'the revision structure lacks the two-byte system ID'),
    ('memory-unavailable', 'memory-scan', 'no revision structure, and physical memory could not be read'),
    ('revision-single-byte', 'sysfs', 'no system ID found in the SMBIOS tables'),
])
def test_a_blank_system_id_says_why(origin, source, note):
    host = {'status': 'checked', 'system_id': None, 'system_id_origin': origin, 'smbios_source': source}
    assert system_id_note(host) == note


def test_no_note_for_a_system_id_or_an_unchecked_host(hosts):
    assert hosts['web1']['system_id_note'] is None
    assert hosts['old1']['system_id_note'] is None
    assert hosts['db2']['system_id_note'] == 'no SMBIOS tables could be read'


def test_normalized_hosts_pass_unchanged_and_first_version_hosts_are_split(hosts):
    assert normalize_host(hosts['web2']) is hosts['web2']
    first = {'host': 'x', 'category': 'blocked', 'status': 'checked', 'message': None, 'hard_verdict': 'blocked',
             'soft_verdict': 'recommended', 'system_id': None, 'system_id_origin': None, 'smbios_source': 'none',
             'reasons': [], 'reported': [
                 {'type': 'hard', 'name': 'B', 'state': 'unmet', 'required_version': '2', 'current_version': '1',
                  'download_path': 'b'},
                 {'type': 'soft', 'name': 'A', 'state': 'unmet', 'recommended_version': '3', 'current_version': '1',
                  'download_path': 'a'}]}
    upgraded = normalize_host(first)
    assert [p['name'] for p in upgraded['hard_prerequisites']] == ['B']
    assert [p['name'] for p in upgraded['soft_prerequisites']] == ['A']
    assert upgraded['system_id_note'] == 'no SMBIOS tables'
