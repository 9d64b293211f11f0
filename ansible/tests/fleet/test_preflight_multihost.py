# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The preflight playbook against real managed hosts reached over SSH.

Every host is one entry of HOSTS: its SMBIOS system ID (None: no tables),
what its inventory says is installed, the flags its collectors read (see
package/REL001/collect.sh), its own inventory variables, and what the report
must say about it; the checks of the whole run follow from the table (hotel,
whose collectors print progress on their standard output, is ready like
alpha). Three runs of the playbook go at the same time:

- every host, with a host deadline of DEADLINE seconds (foxtrot's collector
  never ends);
- --limit alpha,echo;
- --check, on every host but foxtrot, with a Debian package to install that
  does not exist (check mode installs nothing).

VEXDEP_INSPECT names the vexinspect executable and VEXDEP_FLEET_TABLES the
vexfleettables tool (ctest sets both). Skipped, never passed, where the hosts
cannot be started.
"""

from __future__ import absolute_import, division, print_function

import collections
import concurrent.futures
import csv
import json
import os
import shutil
import subprocess
import sys
import time

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import browser  # noqa: E402
import fleethosts  # noqa: E402

COLLECTIONS = os.path.normpath(os.path.join(HERE, '..', '..'))
PLAYBOOK = os.path.join(COLLECTIONS, 'ansible_collections', 'vexdep', 'fleet', 'playbooks', 'preflight.yml')
PACKAGE = os.path.join(HERE, 'package')
XSD = os.path.normpath(os.path.join(HERE, '..', '..', '..', 'tests', 'fixtures', 'junit', 'junit.xsd'))

BACKPLANE = 'https://downloads.example.com/vex/FOLDER04/BACKPLANE/BP_FW_3.20.0.BIN'
SEP = 'https://downloads.example.com/vex/FOLDER04/SEP/SEP_2.3.BIN'
AGENT = 'https://downloads.example.com/vex/FOLDER11/AGENT/mgmt-agent-11.0.0.tar.gz'

# The host deadline of the main run: foxtrot is ended by it.
DEADLINE = 20
MISSING_PARENT = '/nonexistent/vexdep-preflight-parent'


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


CURRENT = inventory('3.20.0', '2.4.1', '11.0.0')
OLD = inventory('3.10.0', '2.2', '10.2.0')

# One managed host of the test fleet and what the report must say about it:
# its verdict, the hard and soft verdicts, the types that decide the verdict,
# the reason kinds, and a text its reasons or message must hold.
HostSetup = collections.namedtuple('HostSetup', 'name system_id installed flags host_vars listening verdict hard soft '
                                      'types kinds says')
HostSetup.__new__.__defaults__ = ('0A1C', CURRENT, (), {}, True, 'ready', 'ready', 'ready', ['hard', 'soft'], set(), '')

HOSTS = [
    HostSetup('alpha'),
    HostSetup('bravo', system_id='0A1D', installed=OLD, verdict='blocked', hard='blocked', soft='recommended',
         types=['hard'], kinds={'unmet'}, says='installed "3.10.0", required "3.20.0"'),
    HostSetup('charlie', system_id=None, flags=('collector-fails',), verdict='unverifiable', hard='unverifiable',
         types=['hard'], kinds={'inventory-failed'}, says='backplane controller did not answer'),
    HostSetup('delta', listening=False, verdict='unreachable', hard=None, soft=None, types=[], says='connect'),
    # Its soft collector fails: the host is unverifiable, never "ready".
    HostSetup('echo', flags=('soft-collector-fails',), verdict='unverifiable', soft='unverifiable', types=['soft'],
         kinds={'inventory-failed'}, says='agent service is not running'),
    # Its collector never ends, and no collector time limit is set.
    HostSetup('foxtrot', flags=('collector-hangs',), verdict='timed-out', hard=None, soft=None, types=[],
         says='sleep 86400'),
    HostSetup('golf', host_vars={'preflight_remote_tmp_parent': MISSING_PARENT}, verdict='failed', hard=None,
         soft=None, types=[], says='temporary parent %s does not exist on this host' % MISSING_PARENT),
    # Its collectors print progress on their standard output: kept out of the JSON the module reads.
    HostSetup('hotel', flags=('collector-talks',)),
]


def start_test_fleet(tables_tool, hosts=HOSTS):
    fleet = fleethosts.Fleet(tables_tool)
    for host_setup in hosts:
        fleet.add(host_setup.name, system_id=host_setup.system_id, inventory=host_setup.installed, flags=host_setup.flags,
                  listening=host_setup.listening, host_vars=host_setup.host_vars)
    return fleet


def run_preflight(fleet, vexinspect, report_dir, *options, **variables):
    settings = {'preflight_package': PACKAGE, 'preflight_vexinspect': vexinspect, 'preflight_report_dir': report_dir}
    settings.update(variables)
    command = ['ansible-playbook', '-i', fleet.inventory_path, PLAYBOOK, '-e', json.dumps(settings)] + list(options)
    started = time.time()
    result = subprocess.run(command, env=fleet.ansible_environment(COLLECTIONS, forks=10), stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, universal_newlines=True, timeout=500)
    result.seconds = time.time() - started
    return result


Runs = collections.namedtuple('Runs', 'fleet main limit check left_on_foxtrot')


@pytest.fixture(scope='module')
def runs(tmp_path_factory):
    vexinspect, tables_tool, why = fleethosts.fleet_executables()
    if why:
        pytest.skip(why)
    fleet = start_test_fleet(tables_tool)
    try:
        fleet.start()
        fleet.inventory_path = fleet.inventory(group_vars={'preflight_remote_tmp_parent': fleet.host_tmp})
        dirs = dict((name, str(tmp_path_factory.mktemp(name))) for name in ('main', 'limit', 'check'))
        foxtrot = [host for host in fleet.hosts if host.name == 'foxtrot'][0]
        with concurrent.futures.ThreadPoolExecutor(3) as pool:
            main = pool.submit(run_preflight, fleet, vexinspect, dirs['main'], preflight_host_timeout=DEADLINE,
                               preflight_report_title='Fleet preflight of the test fleet')
            # Verbose: its output shows every SSH command.
            limit = pool.submit(run_preflight, fleet, vexinspect, dirs['limit'], '--limit', 'alpha,echo', '-vvv')
            check = pool.submit(run_preflight, fleet, vexinspect, dirs['check'], '--check',
                                preflight_targets='all:!foxtrot', preflight_install_deb='/nonexistent/vexdepcheck.deb')
            main = main.result()
            # What is left in foxtrot's namespace right after its run, besides sshd.
            left = fleet.processes_of(foxtrot)
            limit, check = limit.result(), check.result()
        keep = os.environ.get('VEXDEP_FLEET_KEEP_REPORT')
        if keep:
            shutil.copytree(dirs['main'], keep, dirs_exist_ok=True)
        yield Runs(fleet, (main, dirs['main']), (limit, dirs['limit']), (check, dirs['check']), left)
    finally:
        fleet.stop()
        assert not os.path.exists(fleet.root)


def load(report_dir, name):
    with open(os.path.join(report_dir, name), encoding='utf-8') as handle:
        return handle.read()


def report_of(run):
    result, report_dir = run
    assert result.returncode == 0, result.stdout
    return json.loads(load(report_dir, 'fleet-report.json'))


def hosts_of(run):
    return dict((host['host'], host) for host in report_of(run)['hosts'])


@pytest.mark.parametrize('host_setup', HOSTS, ids=[host_setup.name for host_setup in HOSTS])
def test_each_host_gets_its_verdict(runs, host_setup):
    host = hosts_of(runs.main)[host_setup.name]
    assert host['category'] == host_setup.verdict, host
    assert (host['hard_verdict'], host['soft_verdict']) == (host_setup.hard, host_setup.soft), host
    assert host['verdict_types'] == host_setup.types, host
    if host_setup.kinds:
        assert set(reason['kind'] for reason in host['reasons']) == host_setup.kinds, host
    texts = ' '.join([host['message'] or ''] + [reason['text'] for reason in host['reasons']] +
                     [process['command'] for process in (host['timed_out'] or {}).get('running', [])])
    assert host_setup.says.lower() in texts.lower(), host


def test_every_host_is_in_the_report(runs):
    report = report_of(runs.main)
    assert sorted(host['host'] for host in report['hosts']) == sorted(host_setup.name for host_setup in HOSTS)
    expected = collections.Counter(host_setup.verdict for host_setup in HOSTS)
    assert report['counts'] == dict((category, expected.get(category, 0)) for category in report['counts'])
    by_type = collections.Counter(t for host_setup in HOSTS if host_setup.verdict == 'unverifiable' for t in host_setup.types)
    assert report['unverifiable_by_type'] == {'hard': by_type['hard'], 'soft': by_type['soft']}
    assert report['title'] == 'Fleet preflight of the test fleet'
    assert (report['package']['name'], report['package']['version']) == ('Brix Enclosure Management Firmware',
                                                                         '4.0.0')
    assert report['run']['started'] and report['run']['finished']
    assert report['host_timeout_seconds'] == DEADLINE


def test_blocked_host_and_its_prerequisites(runs):
    report = report_of(runs.main)
    bravo = hosts_of(runs.main)['bravo']
    assert bravo['system_id'] == '0x0A1D'
    assert [(p['download_path'], p['current_version']) for p in bravo['hard_prerequisites']] == [
        (BACKPLANE, '3.10.0'), (SEP, '2.2')]
    # The package's Detail of the soft dependency, through explain's JSON and the module's result.
    assert [(p['download_path'], p['detail']) for p in bravo['soft_prerequisites']] == [
        (AGENT, 'Enclosure events are reported by agent 11 or later.')]
    assert report['prerequisites']['soft'][0]['detail'] == 'Enclosure events are reported by agent 11 or later.'
    assert [(item['download_path'], [h['host'] for h in item['hosts']]) for item in report['prerequisites']['hard']] \
        == [(BACKPLANE, ['bravo']), (SEP, ['bravo'])]
    assert report['groups'][0]['category'] == 'blocked' and report['groups'][0]['hosts'] == ['bravo']


def test_hung_host_is_reported_timed_out_within_the_deadline(runs):
    result, _ = runs.main
    foxtrot = hosts_of(runs.main)['foxtrot']
    timed_out = foxtrot['timed_out']
    assert timed_out['by'] == 'host' and timed_out['type'] == 'hard'
    assert timed_out['seconds'] <= DEADLINE, timed_out
    commands = [process['command'] for process in timed_out['running']]
    assert 'sleep 86400' in commands, commands
    assert any(command.startswith('sh -c <package>///REL001//collect.sh') for command in commands), commands
    # The other hosts did not wait for it longer than the deadline (and the start of the run).
    assert result.seconds < DEADLINE + 40, result.seconds


def test_nothing_is_left_running_on_the_hung_host(runs):
    assert runs.left_on_foxtrot == [], runs.left_on_foxtrot


def test_hosts_keep_no_temporary_directory(runs):
    # Every run unpacked the package below fleet.host_tmp (the same directory
    # for all hosts here) into private directories that are gone again, and
    # Ansible's own temporary directories are gone too.
    saved = json.loads(load(runs.main[1], 'preflight-results.json'))
    checked = [entry['check']['package_dir'] for entry in saved['hosts'] if (entry['check'] or {}).get('package_dir')]
    assert len(checked) == sum(1 for host_setup in HOSTS if host_setup.verdict not in ('unreachable', 'failed')), checked
    for directory in checked:
        assert os.path.dirname(directory) == runs.fleet.host_tmp
        assert not os.path.exists(directory)
    assert os.listdir(runs.fleet.host_tmp) == []
    assert os.listdir(os.path.join(runs.fleet.root, 'remote-tmp')) == []


def test_missing_temporary_parent_fails_that_host_only(runs):
    golf = hosts_of(runs.main)['golf']
    assert golf['message'] == ('Copy, unpack and check the update package: temporary parent %s does not exist on '
                               'this host or is not a directory (the tmp_parent option; preflight_remote_tmp_parent '
                               'in the preflight role)' % MISSING_PARENT)
    assert not os.path.exists(MISSING_PARENT)


def test_limit_reports_exactly_the_limited_hosts(runs):
    result, _ = runs.limit
    hosts = hosts_of(runs.limit)
    assert sorted(hosts) == ['alpha', 'echo'], result.stdout
    assert (hosts['alpha']['category'], hosts['echo']['category']) == ('ready', 'unverifiable')
    assert 'is undefined' not in result.stdout, result.stdout


def test_each_host_takes_one_ssh_command(runs):
    result, _ = runs.limit
    for name in ('alpha', 'echo'):
        port = [host.port for host in runs.fleet.hosts if host.name == name][0]
        commands = [line for line in result.stdout.splitlines()
                    if 'SSH: EXEC' in line and '-o Port=%d ' % port in line]
        # The small package travels in the module's arguments: running the
        # module is all (no temporary directory, no transfer, no removal).
        assert len(commands) == 1, '\n'.join(commands)
        assert 'python3' in commands[0] and 'sftp' not in commands[0], '\n'.join(commands)


def test_check_mode_checks_and_writes_the_report_but_installs_nothing(runs):
    result, report_dir = runs.check
    hosts = hosts_of(runs.check)
    assert sorted(hosts) == sorted(host_setup.name for host_setup in HOSTS if host_setup.name != 'foxtrot'), result.stdout
    main = hosts_of(runs.main)
    for name, host in hosts.items():
        assert host['category'] == main[name]['category'], (name, host)
    # The Debian package that does not exist was never copied nor installed.
    assert 'vexdepcheck.deb' not in result.stdout, result.stdout
    assert os.path.exists(os.path.join(report_dir, 'fleet-report.html'))


def test_report_files(runs):
    _, report_dir = runs.main
    markdown = load(report_dir, 'fleet-report.md')
    assert markdown.startswith('# Fleet preflight of the test fleet\n')
    verdicts = collections.Counter(host_setup.verdict for host_setup in HOSTS)
    by_type = collections.Counter(t for host_setup in HOSTS if host_setup.verdict == 'unverifiable' for t in host_setup.types)
    unverifiable = '%d (%s)' % (verdicts['unverifiable'], ', '.join('%s %d' % (t, by_type[t]) for t in ('hard', 'soft')
                                                                    if by_type[t]))
    assert '%d of %d hosts can take the update now; blocked: %d, unverifiable: %s, timed out: %d, failed: %d, ' \
           'unreachable: %d.' % (verdicts['ready'] + verdicts['recommended'], len(HOSTS), verdicts['blocked'],
                                 unverifiable, verdicts['timed-out'], verdicts['failed'], verdicts['unreachable']) \
        in markdown, markdown[:600]
    rows = dict((row['host'], row) for row in csv.DictReader(load(report_dir, 'fleet-report.csv').splitlines()))
    assert dict((name, row['verdict']) for name, row in rows.items()) == dict((s.name, s.verdict) for s in HOSTS)
    assert rows['bravo']['hard_download_paths'].split() == [BACKPLANE, SEP]
    assert rows['bravo']['soft_download_paths'] == AGENT
    assert rows['charlie']['system_id_note'] == 'no SMBIOS tables'
    assert rows['bravo']['soft_details'] == 'Enclosure events are reported by agent 11 or later.'
    page = load(report_dir, 'fleet-report.html')
    for reference in ('src="http', "src='http", 'href="http', '<link', '<script src', '@import', 'url('):
        assert reference not in page, reference
    saved = json.loads(load(report_dir, 'preflight-results.json'))
    assert sorted(entry['host'] for entry in saved['hosts']) == sorted(host_setup.name for host_setup in HOSTS)


def test_junit_report_is_valid(runs):
    _, report_dir = runs.main
    xmllint = shutil.which('xmllint')
    if not xmllint:
        pytest.skip('xmllint (Debian package libxml2-utils) is not installed')
    path = os.path.join(report_dir, 'fleet-report.junit.xml')
    checked = subprocess.run([xmllint, '--noout', '--schema', XSD, path], capture_output=True, text=True)
    assert checked.returncode == 0, checked.stderr
    text = load(report_dir, 'fleet-report.junit.xml')
    assert text.count('<testcase ') == len(HOSTS)
    assert text.count('<failure ') == sum(1 for host_setup in HOSTS if host_setup.verdict not in ('ready', 'recommended'))


def test_the_html_report_renders_in_headless_chromium(runs, tmp_path):
    _, report_dir = runs.main
    chromium = browser.Chromium(tmp_path)
    why = chromium.why_not()
    if why:
        pytest.skip(why)
    page = os.path.join(report_dir, 'fleet-report.html')
    dom = chromium.dump_dom(page)
    # What the browser built from the page: the bar, a row per host, the prerequisites.
    assert 'aria-label="hosts per verdict"' in dom
    for host_setup in HOSTS:
        assert '<td>%s</td>' % host_setup.name in dom, host_setup.name
    assert BACKPLANE in dom
    measured = chromium.measure(page, 'echo')
    assert measured['scrollWidth'] <= measured['clientWidth'], measured
    assert measured['firstGroup']['category'] == 'blocked'
    assert measured['filtered'] == ['echo'], measured
    image = browser.Png(chromium.screenshot(page, tmp_path / 'fleet-report.png'))
    assert (image.width, image.height) == browser.WINDOW
    # A rendered page, not a blank one.
    assert len(image.colours_in(int(measured['firstHeading']['top']) + 6)) > 2
