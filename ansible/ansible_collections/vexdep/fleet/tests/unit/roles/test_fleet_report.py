# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import csv
import importlib.util
import json
import os
import re

import pytest

_PATH = os.path.join(os.path.dirname(__file__), '..', '..', '..', 'roles', 'preflight', 'files', 'fleet_report.py')
_SPEC = importlib.util.spec_from_file_location('fleet_report', _PATH)
fleet_report = importlib.util.module_from_spec(_SPEC)
_SPEC.loader.exec_module(fleet_report)

BASE = 'https://downloads.example.com/vex/'


def check(hard, soft, reported_hard=(), reported_soft=(), reasons_hard=(), verdict=None, system_id='0x0A1C'):
    checks = {'hard': {'verdict': hard, 'reasons': list(reasons_hard), 'reported': list(reported_hard)}}
    if soft:
        checks['soft'] = {'verdict': soft, 'reasons': [], 'reported': list(reported_soft)}
    return {'changed': False, 'checks': checks, 'verdict': verdict or hard, 'system_id': system_id,
            'system_id_origin': 'revision-two-byte', 'smbios_source': 'sysfs'}


def unmet(name, path, current, version='2.0', soft=False):
    return {'name': name, 'state': 'unmet', 'current_version': current, 'download_path': BASE + path,
            'required_version': None if soft else version, 'recommended_version': version if soft else None}


RAW = {
    'title': 'Test fleet',
    'package': '/srv/pkg',
    'hosts': [
        {'host': 'web1', 'connection': {'path': '/tmp/x'}, 'failure': None, 'check': check('ready', 'ready')},
        {'host': 'web2', 'connection': {'path': '/tmp/x'}, 'failure': None,
         'check': check('blocked', 'recommended',
                        reported_hard=[unmet('Backplane', 'BP.BIN', '1.9'), unmet('NIC <fw>', 'NIC.BIN', '1.0')],
                        reported_soft=[unmet('Agent', 'AG.tgz', '10', '11', soft=True)],
                        reasons_hard=[{'kind': 'unmet', 'text': '"Backplane": installed "1.9", required "2.0"'}])},
        {'host': 'web3', 'connection': {'path': '/tmp/x'}, 'failure': None,
         'check': check('blocked', None, reported_hard=[unmet('Backplane', 'BP.BIN', '1.8')])},
        {'host': 'db1', 'connection': {'path': '/tmp/x'}, 'failure': None,
         'check': check('ready', 'recommended', reported_soft=[unmet('Agent', 'AG.tgz', '9', '11', soft=True)],
                        verdict='recommended')},
        {'host': 'db2', 'connection': {'path': '/tmp/x'}, 'failure': None,
         'check': check('unverifiable', 'ready', system_id=None,
                        reasons_hard=[{'kind': 'inventory-failed', 'text': 'the inventory of release "RB" failed'}])},
        {'host': 'db3', 'connection': {'path': '/tmp/x'},
         'failure': {'task': 'Run the check', 'msg': 'vexinspect not found on PATH (/usr/bin)'}, 'check': None},
        {'host': 'old1', 'connection': {'unreachable': True, 'changed': False,
                                        'msg': 'Failed to connect to the host via ssh: Connection refused'},
         'failure': None, 'check': None},
        {'host': 'gone', 'connection': {'path': '/tmp/x'}, 'failure': None, 'check': None},
    ],
}


@pytest.fixture
def report():
    return fleet_report.normalize(json.loads(json.dumps(RAW)))


def test_every_host_gets_one_category(report):
    categories = {h['host']: h['category'] for h in report['hosts']}
    assert categories == {'web1': 'ready', 'web2': 'blocked', 'web3': 'blocked', 'db1': 'recommended',
                          'db2': 'unverifiable', 'db3': 'failed', 'old1': 'unreachable', 'gone': 'failed'}
    assert report['counts'] == {'ready': 1, 'recommended': 1, 'blocked': 2, 'unverifiable': 1, 'failed': 2,
                                'unreachable': 1}
    # In the order of the categories, then by name.
    assert [h['host'] for h in report['hosts']] == ['web1', 'db1', 'web2', 'web3', 'db2', 'db3', 'gone', 'old1']


def test_messages_of_hosts_that_were_not_checked(report):
    hosts = {h['host']: h for h in report['hosts']}
    assert hosts['old1']['message'] == 'Failed to connect to the host via ssh: Connection refused'
    assert hosts['db3']['message'] == 'Run the check: vexinspect not found on PATH (/usr/bin)'
    assert hosts['gone']['message'] == 'no result: the host left the play before the check (unreachable or failed while the checker was installed)'


def test_prerequisites_per_download_path(report):
    items = [(i['type'], i['download_path'], [h['host'] for h in i['hosts']]) for i in report['prerequisites']]
    # Hard ones first, the most needed first.
    assert items == [('hard', BASE + 'BP.BIN', ['web2', 'web3']), ('hard', BASE + 'NIC.BIN', ['web2']),
                     ('soft', BASE + 'AG.tgz', ['db1', 'web2'])]
    assert report['prerequisites'][0]['hosts'][1] == {'host': 'web3', 'current_version': '1.8'}


def test_normalizing_twice_changes_nothing(report):
    again = fleet_report.normalize(json.loads(json.dumps(report)))
    assert again['hosts'] == report['hosts']
    assert again['counts'] == report['counts']
    assert again['generated'] == report['generated']


def test_markdown(report):
    text = fleet_report.to_markdown(report)
    assert text.startswith('# Test fleet\n')
    assert '2 of 8 hosts can take the update now; blocked: 2, unverifiable: 1, failed: 2, unreachable: 1.' in text
    assert '| blocked | 2 | needs the missing prerequisites first |' in text
    assert '| old1 | unreachable |  |  |  | Failed to connect to the host via ssh: Connection refused |' in text
    assert '### Backplane 2.0 (required, 2 hosts)' in text
    assert 'Download path: `%sBP.BIN`' % BASE in text


def test_csv(report):
    rows = list(csv.DictReader(fleet_report.to_csv(report).splitlines()))
    assert len(rows) == 8
    web2 = [r for r in rows if r['host'] == 'web2'][0]
    assert web2['verdict'] == 'blocked'
    assert web2['missing_download_paths'].split() == sorted([BASE + 'AG.tgz', BASE + 'BP.BIN', BASE + 'NIC.BIN'])


def test_html_is_self_contained_and_escaped(report):
    page = fleet_report.to_html(report)
    assert page.startswith('<!DOCTYPE html>')
    assert not re.search(r'(src|href)\s*=\s*["\']?(https?:)?//', page)
    assert '<script' not in page and '<link' not in page
    assert 'NIC &lt;fw&gt;' in page and 'NIC <fw>' not in page
    svg = page[page.index('<svg'):page.index('</svg>')]
    # One bar segment per verdict that has hosts, widths proportional to the counts.
    widths = {m.group(2): float(m.group(1)) for m in re.finditer(r'width="([0-9.]+)" height="40" fill="(#[0-9a-f]+)"',
                                                                 svg)}
    assert widths[fleet_report.COLOURS['blocked']] == pytest.approx(720 * 2 / 8)
    assert widths[fleet_report.COLOURS['ready']] == pytest.approx(720 / 8)
    assert len(widths) == 6


def test_command_writes_four_files(tmp_path):
    results = tmp_path / 'results.json'
    results.write_text(json.dumps(RAW))
    out = tmp_path / 'out'
    assert fleet_report.main([str(results), str(out), '--title', 'Again']) == 0
    assert sorted(os.listdir(str(out))) == ['fleet-report.csv', 'fleet-report.html', 'fleet-report.json',
                                            'fleet-report.md']
    saved = json.loads((out / 'fleet-report.json').read_text())
    assert saved['title'] == 'Again'
    assert saved['schemaVersion'] == 1
    # Re-rendering from the saved report gives the same hosts.
    assert fleet_report.main([str(out / 'fleet-report.json'), str(tmp_path / 'again')]) == 0
    assert json.loads((tmp_path / 'again' / 'fleet-report.json').read_text())['hosts'] == saved['hosts']


def test_command_refuses_unreadable_results(tmp_path, capsys):
    assert fleet_report.main([str(tmp_path / 'none.json'), str(tmp_path / 'out')]) == 66
    assert 'cannot read' in capsys.readouterr().err
    bad = tmp_path / 'bad.json'
    bad.write_text('{"title": "x"}')
    assert fleet_report.main([str(bad), str(tmp_path / 'out')]) == 65
