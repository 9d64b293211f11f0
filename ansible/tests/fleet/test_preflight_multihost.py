# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The preflight playbook against real managed hosts reached over SSH.

alpha   system ID 0A1C, everything installed          -> ready
bravo   system ID 0A1D, backplane, enclosure processor and agent too old -> blocked
charlie no SMBIOS tables, its collector fails          -> unverifiable
delta   in the inventory, nothing listens on its port  -> unreachable

VEXDEP_INSPECT names the vexinspect executable and VEXDEP_FLEET_TABLES the
vexfleettables tool (ctest sets both). Skipped, never passed, where the hosts
cannot be started.
"""

from __future__ import absolute_import, division, print_function

import csv
import json
import os
import shutil
import subprocess
import sys

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import fleethosts  # noqa: E402

COLLECTIONS = os.path.normpath(os.path.join(HERE, '..', '..'))
PLAYBOOK = os.path.join(COLLECTIONS, 'ansible_collections', 'vexdep', 'fleet', 'playbooks', 'preflight.yml')
PACKAGE = os.path.join(HERE, 'package')

BACKPLANE = 'https://downloads.example.com/vex/FOLDER04/BACKPLANE/BP_FW_3.20.0.BIN'
SEP = 'https://downloads.example.com/vex/FOLDER04/SEP/SEP_2.3.BIN'
AGENT = 'https://downloads.example.com/vex/FOLDER11/AGENT/mgmt-agent-11.0.0.tar.gz'


def inventory(backplane, sep, agent):
    return '''<?xml version="1.0" encoding="UTF-8"?>
<SVMInventory>
  <Device componentID="104500" display="Storage Backplane">
    <Application componentType="FRMW" version="%s" display="Storage Backplane Firmware"/>
  </Device>
  <Device componentID="104600" display="Enclosure Processor">
    <Application componentType="FRMW" version="%s" display="Enclosure Processor Firmware"/>
  </Device>
  <Device componentID="112233" display="Systems Management Agent">
    <Application componentType="APAC" version="%s" display="Systems Management Agent"/>
  </Device>
</SVMInventory>
''' % (backplane, sep, agent)


def start_test_fleet(tables_tool):
    fleet = fleethosts.Fleet(tables_tool)
    fleet.add('alpha', system_id='0A1C', inventory=inventory('3.20.0', '2.4.1', '11.0.0'))
    fleet.add('bravo', system_id='0A1D', inventory=inventory('3.10.0', '2.2', '10.2.0'))
    fleet.add('charlie', system_id=None, inventory=inventory('3.20.0', '2.4.1', '11.0.0'), collector_fails=True)
    fleet.add('delta', listening=False)
    return fleet


def run_preflight(fleet, vexinspect, report_dir, forks=10):
    variables = {'preflight_package': PACKAGE, 'preflight_vexinspect': vexinspect,
                 'preflight_report_dir': report_dir, 'preflight_remote_tmp_parent': fleet.host_tmp,
                 'preflight_report_title': 'Fleet preflight of the test fleet'}
    command = ['ansible-playbook', '-i', fleet.inventory(), PLAYBOOK, '-e', json.dumps(variables)]
    return subprocess.run(command, env=fleet.ansible_environment(COLLECTIONS, forks=forks),
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, universal_newlines=True, timeout=500)


@pytest.fixture(scope='module')
def preflight(tmp_path_factory):
    vexinspect = os.environ.get('VEXDEP_INSPECT')
    tables_tool = os.environ.get('VEXDEP_FLEET_TABLES')
    if not vexinspect or not os.access(vexinspect, os.X_OK):
        pytest.skip('VEXDEP_INSPECT does not name the vexinspect executable')
    if not tables_tool or not os.access(tables_tool, os.X_OK):
        pytest.skip('VEXDEP_FLEET_TABLES does not name the vexfleettables tool')
    why = fleethosts.missing_tools()
    if why:
        pytest.skip(why)
    fleet = start_test_fleet(tables_tool)
    try:
        fleet.start()
        report_dir = str(tmp_path_factory.mktemp('report'))
        result = run_preflight(fleet, vexinspect, report_dir)
        keep = os.environ.get('VEXDEP_FLEET_KEEP_REPORT')
        if keep:
            # For the screenshot in docs/fleet.md: the report of this fleet.
            shutil.copytree(report_dir, keep, dirs_exist_ok=True)
        yield fleet, result, report_dir
    finally:
        fleet.stop()
        assert not os.path.exists(fleet.root)


def load(report_dir, name):
    with open(os.path.join(report_dir, name), encoding='utf-8') as handle:
        return handle.read()


def test_preflight_of_four_hosts(preflight):
    fleet, result, report_dir = preflight
    # The play ends with the unreachable host counted, not with a failure of the playbook run.
    assert 'delta' in result.stdout, result.stdout
    report = json.loads(load(report_dir, 'fleet-report.json'))
    hosts = {host['host']: host for host in report['hosts']}
    assert sorted(hosts) == ['alpha', 'bravo', 'charlie', 'delta'], result.stdout
    assert report['counts'] == {'ready': 1, 'recommended': 0, 'blocked': 1, 'unverifiable': 1,
                                'failed': 0, 'unreachable': 1}, result.stdout

    alpha = hosts['alpha']
    assert alpha['category'] == 'ready'
    assert (alpha['hard_verdict'], alpha['soft_verdict']) == ('ready', 'ready')
    assert alpha['system_id'] == '0x0A1C'
    assert alpha['reported'] == []

    bravo = hosts['bravo']
    assert bravo['category'] == 'blocked'
    assert (bravo['hard_verdict'], bravo['soft_verdict']) == ('blocked', 'recommended')
    assert bravo['system_id'] == '0x0A1D'
    unmet = {(r['type'], r['download_path'], r['current_version']) for r in bravo['reported']}
    assert unmet == {('hard', BACKPLANE, '3.10.0'), ('hard', SEP, '2.2'), ('soft', AGENT, '10.2.0')}
    assert [r['kind'] for r in bravo['reasons'] if r['type'] == 'hard'] == ['unmet', 'unmet']
    assert any('installed "3.10.0", required "3.20.0"' in r['text'] for r in bravo['reasons'])

    charlie = hosts['charlie']
    assert charlie['category'] == 'unverifiable'
    assert charlie['hard_verdict'] == 'unverifiable'
    assert charlie['system_id'] is None
    assert charlie['smbios_source'] == 'none'
    assert {r['kind'] for r in charlie['reasons']} == {'inventory-failed'}
    assert all('backplane controller did not answer' in r['text'] for r in charlie['reasons'])

    delta = hosts['delta']
    assert delta['category'] == 'unreachable'
    assert delta['status'] == 'unreachable'
    assert 'connect' in delta['message'].lower(), delta['message']

    # One table per missing prerequisite: the hosts that need it.
    needs = {item['download_path']: [h['host'] for h in item['hosts']] for item in report['prerequisites']}
    assert needs == {BACKPLANE: ['bravo'], SEP: ['bravo'], AGENT: ['bravo']}


def test_report_files(preflight):
    fleet, result, report_dir = preflight
    markdown = load(report_dir, 'fleet-report.md')
    assert markdown.startswith('# Fleet preflight of the test fleet\n')
    assert '1 of 4 hosts can take the update now' in markdown
    assert '| delta | unreachable |' in markdown
    assert 'Download path: `%s`' % BACKPLANE in markdown

    rows = list(csv.DictReader(load(report_dir, 'fleet-report.csv').splitlines()))
    assert {row['host']: row['verdict'] for row in rows} == {
        'alpha': 'ready', 'bravo': 'blocked', 'charlie': 'unverifiable', 'delta': 'unreachable'}

    page = load(report_dir, 'fleet-report.html')
    assert '<svg' in page and 'hosts per verdict' in page
    # Self-contained: nothing is fetched from elsewhere.
    for reference in ('src="http', "src='http", 'href="http', '<link', '<script', '@import', 'url('):
        assert reference not in page, reference
    assert '>delta</td>' in page and 'unreachable' in page

    saved = json.loads(load(report_dir, 'preflight-results.json'))
    assert sorted(entry['host'] for entry in saved['hosts']) == ['alpha', 'bravo', 'charlie', 'delta']


def test_hosts_keep_no_temporary_directory(preflight):
    fleet, result, report_dir = preflight
    # Every reached host unpacked the package below fleet.host_tmp (the same
    # directory here) into a private directory that is gone again.
    saved = json.loads(load(report_dir, 'preflight-results.json'))
    checked = [entry['check']['package_dir'] for entry in saved['hosts'] if entry['host'] != 'delta']
    assert len(checked) == 3
    for directory in checked:
        assert os.path.dirname(directory) == fleet.host_tmp
        assert not os.path.exists(directory)
    assert os.listdir(fleet.host_tmp) == []


def _chromium():
    for name in ('chromium', 'chromium-browser', 'google-chrome'):
        found = shutil.which(name)
        if found:
            return found
    return None


def test_the_html_report_renders_in_headless_chromium(preflight, tmp_path):
    fleet, result, report_dir = preflight
    browser = _chromium()
    if not browser:
        pytest.skip('headless Chromium (Debian package chromium) is not installed')
    page = 'file://' + os.path.join(report_dir, 'fleet-report.html')
    # No sandbox: the tests run as root, where Chromium refuses its own.
    # No network of its own (updates, synchronisation, QUIC probes): the page
    # is a local file, and a closed network must not slow the browser down.
    # Shared memory in /tmp rather than in a container's small /dev/shm;
    # profile, configuration and cache in the test's own directory, so that
    # a fresh machine and a used one start the browser alike.
    common = [browser, '--headless', '--no-sandbox', '--disable-gpu', '--no-first-run',
              '--disable-quic', '--disable-background-networking', '--disable-component-update',
              '--disable-sync', '--disable-dev-shm-usage', '--user-data-dir=' + str(tmp_path / 'profile'),
              '--window-size=1200,1000']
    home = tmp_path / 'home'
    home.mkdir()
    env = dict(os.environ, HOME=str(home), XDG_CONFIG_HOME=str(home / '.config'),
               XDG_CACHE_HOME=str(home / '.cache'))

    def browse(*arguments):
        return subprocess.run(common + list(arguments), capture_output=True, text=True, timeout=120,
                              check=False, env=env)

    probe = browse('--dump-dom', 'about:blank')
    if probe.returncode != 0 or '<html' not in probe.stdout:
        pytest.skip('headless Chromium cannot start here (status %d): %s'
                    % (probe.returncode, probe.stderr.strip().splitlines()[-1:]))
    dom = browse('--dump-dom', page)
    assert dom.returncode == 0, dom.stderr
    # What the browser built from the page: the bar, a row per host, the prerequisites.
    assert '<svg' in dom.stdout
    for host in ('alpha', 'bravo', 'charlie', 'delta'):
        assert '>%s</td>' % host in dom.stdout, host
    assert BACKPLANE in dom.stdout
    shot = tmp_path / 'fleet-report.png'
    taken = browse('--screenshot=' + str(shot), page)
    assert taken.returncode == 0, taken.stderr
    image = shot.read_bytes()
    assert image[:8] == b'\x89PNG\r\n\x1a\n'
    width, height = int.from_bytes(image[16:20], 'big'), int.from_bytes(image[20:24], 'big')
    assert (width, height) == (1200, 1000)
    # A rendered page, not a blank one: far more than a single-colour image compresses to.
    assert len(image) > 20000, len(image)
