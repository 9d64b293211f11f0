# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

from fleetreport.groups import attention_groups, generalize, group_hosts, summary
from fleetreport.model import normalize_hosts

from report_fixtures import raw


def groups():
    return attention_groups(normalize_hosts(raw()['hosts']))


def test_generalize_takes_out_what_differs_per_host():
    assert generalize('ssh: connect to host 10.1.2.3 port 2222: Connection refused') == \
        'ssh: connect to host <address> port <port>: Connection refused'
    assert generalize('ops@web7.example.net: Permission denied (publickey).', 'web7.example.net') == \
        'ops@<host>: Permission denied (publickey).'
    assert generalize('cannot write /root/.ansible/tmp/ansible-tmp-1714.12-77-1234/x') == \
        'cannot write /root/.ansible/tmp/ansible-tmp-<id>/x'
    assert generalize('/tmp/vexdep-preflight-k2j4l1x0/REL001 failed, pid 4711') == \
        '/tmp/vexdep-preflight-<id>/REL001 failed, pid <pid>'
    assert generalize('/srv/vexdep-preflight-parent is missing') == '/srv/vexdep-preflight-parent is missing'
    assert generalize('connect to [fe80::1]:22 failed') == 'connect to <address>:22 failed'


def test_groups_come_in_the_order_of_what_needs_action_largest_first():
    found = [(g['category'], g['count']) for g in groups()]
    assert found == [('blocked', 2), ('blocked', 1), ('unverifiable', 1), ('unverifiable', 1), ('failed', 1),
                     ('failed', 1), ('unreachable', 2), ('unreachable', 1), ('timed-out', 1), ('timed-out', 1)]


def test_blocked_hosts_are_grouped_by_the_prerequisites_they_miss():
    blocked = [g for g in groups() if g['category'] == 'blocked']
    assert blocked[0]['hosts'] == ['web3', 'web4']
    assert blocked[0]['title'] == 'need Backplane 2.0'
    assert blocked[0]['prerequisites'] == [{'name': 'Backplane', 'version': '2.0',
                                            'download_path': 'https://downloads.example.com/vex/BP.BIN',
                                            'detail': None}]
    assert blocked[1]['hosts'] == ['web2']
    assert blocked[1]['title'] == 'need Backplane 2.0 and NIC <fw> 2.0'


def test_unreachable_hosts_with_the_same_cause_form_one_group():
    unreachable = [g for g in groups() if g['category'] == 'unreachable']
    assert unreachable[0]['hosts'] == ['old1', 'old2']
    assert unreachable[0]['title'] == ('Failed to connect to the host via ssh: ssh: connect to host <address> port '
                                       '<port>: Connection refused')
    assert unreachable[1]['hosts'] == ['old3']


def test_unverifiable_groups_name_the_type():
    titles = [g['title'] for g in groups() if g['category'] == 'unverifiable']
    assert titles == ['hard: the inventory of release "RB" failed',
                      'soft: the inventory of release "RS" failed: agent is not running']


def test_timed_out_groups_say_what_was_running():
    titles = [g['title'] for g in groups() if g['category'] == 'timed-out']
    assert titles == ['the controller stopped waiting at the host deadline of 20 s (the host did not answer in '
                      'time)', 'the soft check was ended at the host deadline; still running: '
                      'sh -c <package>///RB//collect.sh; sleep 3600']


def test_recommended_groups_carry_the_detail():
    recommended = group_hosts(normalize_hosts(raw()['hosts']), 'recommended')
    assert recommended[0]['hosts'] == ['db1']
    assert recommended[0]['title'] == 'recommended first: Agent 11'
    assert recommended[0]['prerequisites'][0]['detail'] == 'Enclosure events are reported by agent 11 or later.'


def test_summary_counts_hosts_and_causes():
    assert summary(groups(), 'blocked') == '3 hosts, 2 causes'
    assert summary(groups(), 'failed') == '2 hosts, 2 causes'


def test_more_than_three_prerequisites_are_counted():
    hosts = normalize_hosts(raw()['hosts'])
    web = [h for h in hosts if h['host'] == 'web3'][0]
    web['hard_prerequisites'] = [{'name': n, 'version': '1', 'download_path': n} for n in 'ABCDE']
    blocked = [g for g in attention_groups([web]) if g['category'] == 'blocked']
    assert blocked[0]['title'] == 'need A 1, B 1, C 1 and 2 more'
