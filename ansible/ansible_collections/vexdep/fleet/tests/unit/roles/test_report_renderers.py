# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import csv
import json
import os
import re
import shutil
import subprocess
import xml.etree.ElementTree as ElementTree

import pytest

from fleetreport import render_csv, render_html, render_json, render_junit, render_markdown
from fleetreport.model import build_report

from report_fixtures import raw

XSD = os.path.abspath(os.path.join(os.path.dirname(__file__), '..', '..', '..', '..', '..', '..', '..', 'tests',
                                   'fixtures', 'junit', 'junit.xsd'))


@pytest.fixture
def report():
    before = raw()
    for entry in before['hosts']:
        if entry['host'] == 'web3':
            entry['check']['verdict'] = 'ready'
    before['hosts'].append({'host': 'retired', 'check': {'verdict': 'ready', 'checks': {}}})
    return build_report(raw(), previous=before, rendered='2026-05-04T10:00:00Z')


# --- Markdown -----------------------------------------------------------------

def test_markdown_leads_with_what_needs_action(report):
    text = render_markdown.render(report)
    assert text.startswith('# Fleet preflight\n')
    order = [text.index(heading) for heading in (
        '## Needs action', '### Blocked: 3 hosts, 2 causes', '#### 2 hosts: need Backplane 2.0',
        '### Unverifiable', '### Failed', '### Unreachable', '### Timed out', '## Recommended first',
        '## Changes since the run of', '## Collectors that ran longer than they declare', '## Missing prerequisites',
        '## Hosts')]
    assert order == sorted(order)
    assert '2 of 14 hosts can take the update now; blocked: 3, unverifiable: 2 (hard 1, soft 1)' in text
    assert 'Hosts: web3, web4' in text
    assert '| web3 | ready | blocked | newly blocked |' in text
    assert '| retired | ready |  | not in this run |' not in text
    assert '| retired | ready |  | no longer in this run |' in text
    assert '| hard | RA | 5 s | 30.2 s | web1 (30.2 s) |' in text
    assert 'Why: Enclosure events are reported by agent 11 or later.' in text
    assert '| db2 | unverifiable | unverifiable | ready | none: no SMBIOS tables could be read |' in text
    assert 'ended: sleep 3600 (ran 14.6 s)' in text


def test_markdown_escapes_table_cells(report):
    report['hosts'][0]['reasons'].append({'type': 'hard', 'kind': 'x', 'text': 'a | b\nc'})
    assert 'a \\| b c' in render_markdown.render(report)


# --- CSV ----------------------------------------------------------------------

def test_csv_separates_hard_and_soft(report):
    rows = list(csv.DictReader(render_csv.render(report).splitlines()))
    assert tuple(rows[0].keys()) == render_csv.COLUMNS
    by_host = dict((row['host'], row) for row in rows)
    web2 = by_host['web2']
    assert web2['verdict'] == 'blocked'
    assert web2['hard_prerequisites'] == 'Backplane 2.0 (installed 1.9); NIC <fw> 2.0 (installed 1.0)'
    assert web2['hard_download_paths'].split() == ['https://downloads.example.com/vex/BP.BIN',
                                                   'https://downloads.example.com/vex/NIC.BIN']
    assert web2['soft_prerequisites'] == 'Agent 11 (installed 10)'
    assert web2['soft_download_paths'] == 'https://downloads.example.com/vex/AG.tgz'
    assert web2['soft_details'] == 'Enclosure events are reported by agent 11 or later.'
    assert by_host['db4']['verdict_types'] == 'soft'
    assert by_host['db4']['system_id_note'] == "not the maker's system"
    assert by_host['web1']['collector_overruns'] == 'hard RA: took 30.2 s, declares 5 s'
    assert by_host['slow1']['timed_out_running'] == 'sh -c <package>///RB//collect.sh; sleep 3600'
    assert (by_host['web3']['previous_verdict'], by_host['web3']['change']) == ('ready', 'newly blocked')
    assert (by_host['retired']['verdict'], by_host['retired']['change']) == ('', 'no longer in this run')
    assert len(rows) == 15


# --- JSON ---------------------------------------------------------------------

def test_json_is_the_model(report):
    document = json.loads(render_json.render(report))
    assert document['schemaVersion'] == 2
    assert document == json.loads(json.dumps(report))
    assert set(document['prerequisites']) == {'hard', 'soft'}
    web2 = [h for h in document['hosts'] if h['host'] == 'web2'][0]
    assert [p['name'] for p in web2['hard_prerequisites']] == ['Backplane', 'NIC <fw>']
    assert [p['name'] for p in web2['soft_prerequisites']] == ['Agent']


# --- HTML ---------------------------------------------------------------------

def test_html_is_self_contained(report):
    page = render_html.render(report)
    assert page.startswith('<!DOCTYPE html>')
    assert not re.search(r'(src|href)\s*=\s*["\']?(https?:)?//', page)
    for reference in ('<link', '<script src', '@import', 'url(', '<iframe', '<img'):
        assert reference not in page, reference
    # One inline script, the filter.
    assert page.count('<script>') == 1 and "getElementById('filter')" in page


def test_html_leads_with_the_largest_blocker_group(report):
    page = render_html.render(report)
    body = page[page.index('</header>'):]
    first_group = body.index('<div class="group"')
    assert body[first_group:].startswith('<div class="group" id="group-1" data-category="blocked"')
    assert '<h4><span class="count">2 hosts</span>: need Backplane 2.0</h4>' in body[first_group:first_group + 400]
    order = [page.index(marker) for marker in ('id="blocked"', 'id="unverifiable"', 'id="failed"', 'id="unreachable"',
                                               'id="timed-out"', 'id="recommended"', 'id="changes"', 'id="overruns"',
                                               'id="prerequisites"', 'id="hosts"')]
    assert order == sorted(order)


def test_html_folds_the_hosts_that_can_take_the_update(report):
    page = render_html.render(report)
    folded = page[page.index('<details id="ready-hosts">'):]
    assert 'Able to take the update (ready or recommended): 2 hosts' in folded
    assert '<td>web1</td>' in folded and '<td>db1</td>' in folded
    assert '<td>web2</td>' not in folded
    assert page.count('data-folded="1"') == 2
    # Every host has its row.
    for host in report['hosts']:
        assert '<td>%s</td>' % host['host'] in page


def test_html_escapes_and_names_the_blank_system_id(report):
    page = render_html.render(report)
    assert 'NIC &lt;fw&gt;' in page and 'NIC <fw>' not in page
    assert '<td class="none">none: not the maker&#x27;s system</td>' in page


def test_html_legend_names_every_verdict_with_its_count(report):
    page = render_html.render(report)
    legend = page[page.index('<ul class="legend">'):page.index('</ul>', page.index('<ul class="legend">'))]
    for category, count in report['counts'].items():
        assert '</span>%s %d</li>' % (category, count) in legend


def test_html_bar_widths_follow_the_counts(report):
    bar = render_html.bar(report['counts'])
    widths = dict((colour, float(width)) for width, colour in re.findall(r'width:([0-9.]+)%;background:(#[0-9a-f]+)',
                                                                        bar))
    assert widths['#c62828'] == pytest.approx(100.0 * 3 / 14, abs=0.001)
    assert sum(widths.values()) == pytest.approx(100.0, abs=0.01)


def test_html_group_shows_the_first_hosts_and_all_behind_a_summary():
    names = ['h%03d' % i for i in range(45)]
    text = render_html.host_list(names)
    assert text.count('h000') == 2 and text.count('h044') == 1
    assert '<summary>all 45 hosts</summary>' in text
    assert render_html.host_list(['a', 'b']) == '<p class="hostlist">a, b</p>'


# --- JUnit XML ----------------------------------------------------------------

def test_junit_has_one_test_case_per_host(report):
    root = ElementTree.fromstring(render_junit.render(report).encode('utf-8'))
    suite = root.find('testsuite')
    cases = suite.findall('testcase')
    assert [c.get('name') for c in cases] == [h['host'] for h in report['hosts']]
    assert set(c.get('classname') for c in cases) == {'vexdep.preflight'}
    failures = dict((c.get('name'), c.find('failure')) for c in cases if c.find('failure') is not None)
    assert sorted(failures) == sorted(h['host'] for h in report['hosts']
                                      if h['category'] not in ('ready', 'recommended'))
    assert suite.get('tests') == '14' and suite.get('failures') == '12'
    assert failures['db4'].get('type') == 'unverifiable'
    assert failures['db4'].get('message') == ('unverifiable: soft: the inventory of release "RS" failed: agent is '
                                              'not running')
    assert failures['old1'].get('message').startswith('unreachable: Failed to connect')
    assert 'verdict changed since the earlier run: ready -> blocked (newly blocked)' in failures['web3'].text
    assert 'hard prerequisite: Backplane 2.0 from https://downloads.example.com/vex/BP.BIN' in failures['web3'].text
    web1 = [c for c in cases if c.get('name') == 'web1'][0]
    assert 'collector overrun, hard RA: took 30.2 s, declares 5 s' in web1.find('system-out').text
    properties = dict((p.get('name'), p.get('value')) for p in suite.find('properties'))
    assert properties['hosts.blocked'] == '3' and properties['changes.newly-blocked'] == '1'
    assert 'retired: ready -> not checked (no longer in this run)' in suite.find('system-out').text


def test_junit_keeps_only_characters_xml_allows(report):
    report['hosts'][0]['reasons'].append({'type': 'hard', 'kind': 'x', 'text': 'bell \x07 and escape \x1b[0m'})
    root = ElementTree.fromstring(render_junit.render(report).encode('utf-8'))
    assert 'bell \ufffd and escape \ufffd[0m' in root.find('testsuite/testcase/failure').get('message')


def test_junit_is_valid_against_the_schema_ci_servers_use(report, tmp_path):
    xmllint = shutil.which('xmllint')
    if not xmllint:
        pytest.skip('xmllint (Debian package libxml2-utils) is not installed')
    path = tmp_path / 'fleet-report.junit.xml'
    path.write_text(render_junit.render(report), encoding='utf-8')
    result = subprocess.run([xmllint, '--noout', '--schema', XSD, str(path)], capture_output=True, text=True)
    assert result.returncode == 0, result.stderr
    # The schema does refuse what it must: a test case without a name.
    path.write_text(render_junit.render(report).replace('<testcase classname', '<testcase x', 1), encoding='utf-8')
    assert subprocess.run([xmllint, '--noout', '--schema', XSD, str(path)], capture_output=True).returncode != 0
