# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The preflight with planning against real managed hosts reached over SSH.

A repository (repository/, with the test package's collector in each release
directory) switches planning on. Every host is one entry of HOSTS, with what
its plan must be: its verdict and steps, or what stops it. Two runs of the
playbook, one after the other:

- every host, preflight_repository naming the repository's directory (packed
  on the controller with vexinspect repo pack);
- every host again, preflight_repository naming an archive that vexinspect
  repo pack wrote, preflight_previous the first run's results, after lima got
  the expander firmware its backplane step needs (its plan changes from
  blocked to complete).

A third run goes with the first: --check --limit bravo,kilo with the archive
(check mode plans too; each limited host takes one SSH command in all: the
check, and its plan in the same command, with both archives in the module's
arguments).

Each planned host's plan in the results is compared with vexinspect plan run
directly on that host (over SSH, in its namespace, with its tables and state).
The waves follow from the plans: wave 1 the intermediate backplane firmware,
wave 2 the backplane firmware (kilo ready), wave 3 the enclosure processor
firmware, wave 4 the management agent (bravo ready). VEXDEP_INSPECT and
VEXDEP_FLEET_TABLES as for the multi-host test; VEXDEP_FLEET_PLAN_SCREENSHOT=FILE
keeps the screenshot of the page's plan section (docs/fleet-plan.png).
"""

from __future__ import absolute_import, division, print_function

import collections
import concurrent.futures
import csv
import json
import os
import shlex
import shutil
import subprocess
import sys

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import browser  # noqa: E402
import fleethosts  # noqa: E402
import test_preflight_multihost as multihost  # noqa: E402
from test_preflight_multihost import hosts_of, load, report_of  # noqa: E402
from fleetrepository import (AGENT_11, BP_315, BP_320, SEP_23, installed, prepare_package,  # noqa: E402
                             prepare_repository)

# A host of the planning fleet: its check verdict, and its plan's status, verdict and steps (in order) or
# the kinds of what stops it.
HostSetup = collections.namedtuple('HostSetup', 'name system_id installed flags listening verdict plan_status plan_verdict '
                                      'steps blockers')
HostSetup.__new__.__defaults__ = ('0A1C', multihost.CURRENT, (), True, 'ready', 'not-needed', None, [], [])

HOSTS = [
    HostSetup('alpha'),
    # Everything old on the platform that needs the enclosure processor too.
    HostSetup('bravo', system_id='0A1D', installed=installed('3.10.0', '2.2', '10.2.0'), verdict='blocked',
         plan_status='planned', plan_verdict='complete', steps=[BP_315, BP_320, SEP_23, AGENT_11]),
    # Over the intermediate version already: only the backplane firmware.
    HostSetup('kilo', installed=installed('3.17.0', '2.4.1', '11.0.0'), verdict='blocked', plan_status='planned',
         plan_verdict='complete', steps=[BP_320]),
    # An expander whose firmware the repository does not hold.
    HostSetup('lima', installed=installed('3.10.0', '2.4.1', '11.0.0', expander='1.0'), verdict='blocked',
         plan_status='planned', plan_verdict='blocked', steps=[BP_315], blockers=['missing']),
    # The hard collector fails: neither the check nor the plan can be trusted.
    HostSetup('charlie', system_id=None, flags=('collector-fails',), verdict='unverifiable', plan_status='planned',
         plan_verdict='unverifiable', blockers=['unverifiable']),
    HostSetup('delta', listening=False, verdict='unreachable', plan_status='not-planned'),
]
WAVES = [(1, [BP_315], []), (2, [BP_320], ['kilo']), (3, [SEP_23], []), (4, [AGENT_11], ['bravo'])]

Runs = collections.namedtuple('Runs', 'fleet vexinspect repository package first second limited')


@pytest.fixture(scope='module')
def runs(tmp_path_factory):
    vexinspect, tables_tool, why = fleethosts.fleet_executables()
    if why:
        pytest.skip(why)
    work = tmp_path_factory.mktemp('planning')
    repository = prepare_repository(str(work / 'repository'))
    package = prepare_package(str(work / 'package'))
    fleet = fleethosts.Fleet(tables_tool)
    for host_setup in HOSTS:
        fleet.add(host_setup.name, system_id=host_setup.system_id, inventory=host_setup.installed, flags=host_setup.flags,
                  listening=host_setup.listening)
    try:
        fleet.start()
        fleet.inventory_path = fleet.inventory(group_vars={'preflight_remote_tmp_parent': fleet.host_tmp})
        first_dir, second_dir, limited_dir = str(work / 'first'), str(work / 'second'), str(work / 'limited')
        archive = str(work / 'repository-metadata.tar.gz')
        subprocess.run([vexinspect, 'repo', 'pack', repository, '-o', archive], check=True, stdout=subprocess.PIPE)
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            first = pool.submit(multihost.run_preflight, fleet, vexinspect, first_dir, preflight_package=package,
                                preflight_repository=repository, preflight_controller_vexinspect=vexinspect,
                                preflight_report_title='Fleet plan of the test fleet')
            # Check mode and --limit plan too; verbose, its output shows every SSH command.
            limited = pool.submit(multihost.run_preflight, fleet, vexinspect, limited_dir, '--check', '--limit',
                                  'bravo,kilo', '-vvv', preflight_package=package, preflight_repository=archive)
            first, limited = first.result(), limited.result()
        # lima gets the expander firmware 1.5: its plan no longer stops.
        lima = [host for host in fleet.hosts if host.name == 'lima'][0]
        with open(os.path.join(lima.directory, 'state', 'inventory.xml'), 'w') as handle:
            handle.write(installed('3.10.0', '2.4.1', '11.0.0', expander='1.5'))
        second = multihost.run_preflight(fleet, vexinspect, second_dir, preflight_package=package,
                                         preflight_repository=archive,
                                         preflight_previous=os.path.join(first_dir, 'preflight-results.json'))
        keep = os.environ.get('VEXDEP_FLEET_KEEP_REPORT')
        if keep:
            shutil.copytree(first_dir, keep, dirs_exist_ok=True)
        # Direct runs see lima as the second run did.
        yield Runs(fleet, vexinspect, repository, package, (first, first_dir), (second, second_dir),
                   (limited, limited_dir))
    finally:
        fleet.stop()
        assert not os.path.exists(fleet.root)


def direct_plan(runs, name):
    """vexinspect plan run on the host itself, over SSH, with the host's tables and state."""
    host = [h for h in runs.fleet.hosts if h.name == name][0]
    remote = ' '.join(shlex.quote(word) for word in [runs.vexinspect, 'plan', 'both', '--repository', runs.repository,
                                                    '--package-dir', runs.package, '--json'])
    result = subprocess.run(['ssh', '-F', 'none', '-i', runs.fleet.client_key, '-o',
                             'UserKnownHostsFile=%s' % runs.fleet.known_hosts, '-o', 'StrictHostKeyChecking=yes',
                             '-o', 'GlobalKnownHostsFile=/dev/null', '-o', 'BatchMode=yes', '-p', str(host.port),
                             'root@127.0.0.1', remote], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                            timeout=120)
    assert result.returncode == 0, result.stderr
    return json.loads(result.stdout)


def without(items, keys=('format', 'digest')):
    return [dict((key, value) for key, value in item.items() if key not in keys) for item in items]


@pytest.mark.parametrize('host_setup', HOSTS, ids=[host_setup.name for host_setup in HOSTS])
def test_each_host_gets_its_plan(runs, host_setup):
    host = hosts_of(runs.first)[host_setup.name]
    assert host['category'] == host_setup.verdict, host
    plan = host['plan']
    assert plan['status'] == host_setup.plan_status, plan
    assert plan['verdict'] == host_setup.plan_verdict, plan
    assert [step['package'] for step in plan['steps']] == host_setup.steps, plan
    assert sorted(set(blocker['kind'] for blocker in plan['blockers'])) == host_setup.blockers, plan


@pytest.mark.parametrize('host_setup', [host_setup for host_setup in HOSTS if host_setup.plan_status == 'planned'],
                         ids=[host_setup.name for host_setup in HOSTS if host_setup.plan_status == 'planned'])
def test_each_plan_is_the_one_vexinspect_makes_on_the_host(runs, host_setup):
    saved = json.loads(load(runs.second[1], 'preflight-results.json'))
    entry = [e for e in saved['hosts'] if e['host'] == host_setup.name][0]
    module = entry['plan']['plan']
    direct = direct_plan(runs, host_setup.name)
    assert module['verdict'] == direct['verdict']
    # The packed repository's packages are metadata copies: their format and digest are the copies' own.
    assert without(module['steps']) == without(direct['steps'])
    assert module['blockers'] == direct['blockers']
    assert module['catalogUsed'] is True and module['repositoryPackages']['refused'] == []


def test_the_fleet_plan_has_its_waves(runs):
    plan = report_of(runs.first)['plan']
    assert [(wave['wave'], [p['package'] for p in wave['packages']], wave['hosts_ready'])
            for wave in plan['waves']] == WAVES
    counts = dict((wave['wave'], [p['count'] for p in wave['packages']]) for wave in plan['waves'])
    assert counts == {1: [1], 2: [2], 3: [1], 4: [1]}
    assert plan['waves'][0]['packages'][0]['stepping_stone'] is True


def test_what_no_plan_can_fix_joins_the_blocker_groups(runs):
    report = report_of(runs.first)
    unfixable = report['plan']['unfixable']
    assert [(group['kind'], group['hosts']) for group in unfixable] == [('blocked', ['lima']),
                                                                        ('unverifiable', ['charlie'])]
    assert unfixable[0]['title'].startswith('missing from the repository: "Backplane Expander Firmware"')
    assert BP_320 in unfixable[0]['title']
    joined = unfixable[0]['blocker_groups']
    assert [(g['category'], g['count']) for g in joined] == [('blocked', 1)]
    assert joined[0]['title'] == [g for g in report['groups'] if 'lima' in g['hosts']][0]['title']
    blocked = [g for g in report['groups'] if g['category'] == 'blocked']
    assert sum(g['plan'].get('complete', 0) for g in blocked) == 2


def test_a_packed_repository_and_the_plan_changes_since_the_first_run(runs):
    second = report_of(runs.second)
    lima = hosts_of(runs.second)['lima']['plan']
    assert (lima['verdict'], [step['package'] for step in lima['steps']]) == ('complete', [BP_315, BP_320])
    changes = second['changes']['plans']
    assert [(c['host'], c['kind']) for c in changes] == [('lima', 'plan-verdict')], changes
    assert changes[0]['previous'].startswith('blocked') and changes[0]['now'].startswith('complete')
    assert '1 plan changed' in second['changes']['summary']
    assert second['plan']['repository'].endswith('repository-metadata.tar.gz')


def test_the_plan_in_every_format(runs):
    _, report_dir = runs.second
    rows = dict((row['host'], row) for row in csv.DictReader(load(report_dir, 'fleet-report.csv').splitlines()))
    assert rows['bravo']['plan_verdict'] == 'complete' and rows['bravo']['plan_ready_after_wave'] == '4'
    assert rows['bravo']['plan_steps'].startswith('1. %s (Storage Backplane Firmware): Storage Backplane Firmware '
                                                  '3.10.0 -> 3.15.0, intermediate; 2. %s' % (BP_315, BP_320))
    assert rows['alpha']['plan_verdict'] == 'not-needed'
    assert rows['lima']['plan_change'].startswith('plan verdict changed: blocked')
    junit = load(report_dir, 'fleet-report.junit.xml')
    assert 'plan: complete: 4 steps, ready after wave 4 (1. %s' % BP_315 in junit
    xmllint = shutil.which('xmllint')
    if xmllint:
        checked = subprocess.run([xmllint, '--noout', '--schema', multihost.XSD,
                                  os.path.join(report_dir, 'fleet-report.junit.xml')], capture_output=True, text=True)
        assert checked.returncode == 0, checked.stderr
    markdown = load(report_dir, 'fleet-report.md')
    assert '## The plan' in markdown and '#### Wave 4: 1 package; then 1 host ready' in markdown
    page = load(report_dir, 'fleet-report.html')
    assert '<section id="plan">' in page and 'id="wave-4"' in page


def test_check_mode_and_limit_plan_the_limited_hosts_in_one_more_task(runs):
    result, _ = runs.limited
    hosts = hosts_of(runs.limited)
    assert sorted(hosts) == ['bravo', 'kilo'], result.stdout
    for host_setup in HOSTS:
        if host_setup.name in hosts:
            plan = hosts[host_setup.name]['plan']
            assert (plan['verdict'], [step['package'] for step in plan['steps']]) == (host_setup.plan_verdict, host_setup.steps)
    for name in ('bravo', 'kilo'):
        port = [host.port for host in runs.fleet.hosts if host.name == name][0]
        commands = [line for line in result.stdout.splitlines()
                    if 'SSH: EXEC' in line and '-o Port=%d ' % port in line]
        # One command: the check and its plan, the package's and the repository's archives in its arguments.
        assert len(commands) == 1, '\n'.join(commands)
        assert all('python3' in command and 'sftp' not in command and 'mkdir' not in command
                   for command in commands), '\n'.join(commands)


def test_hosts_keep_no_temporary_directory(runs):
    for _, report_dir in (runs.first, runs.second, runs.limited):
        assert os.path.exists(os.path.join(report_dir, 'fleet-report.json'))
    assert os.listdir(runs.fleet.host_tmp) == []
    assert os.listdir(os.path.join(runs.fleet.root, 'remote-tmp')) == []


def test_the_plan_section_in_headless_chromium(runs, tmp_path):
    _, report_dir = runs.first
    chromium = browser.Chromium(tmp_path)
    why = chromium.why_not()
    if why:
        pytest.skip(why)
    page = os.path.join(report_dir, 'fleet-report.html')
    dom = chromium.dump_dom(page)
    for wave, packages, _ in WAVES:
        assert 'id="wave-%d"' % wave in dom
        for package in packages:
            assert '<code>%s</code>' % package in dom
    measured = chromium.measure(page)
    assert measured['scrollWidth'] <= measured['clientWidth'], measured
    # The first screen of a copy of the page whose "Needs action" section is
    # hidden: the header, then the plan section.
    section = tmp_path / 'plan.html'
    with open(page, encoding='utf-8') as handle:
        text = handle.read()
    with open(str(section), 'w', encoding='utf-8') as handle:
        handle.write(text.replace('</head>', '<style>#needs-action{display:none}</style></head>', 1))
    image = browser.Png(chromium.screenshot(str(section), tmp_path / 'fleet-plan.png'))
    assert (image.width, image.height) == browser.WINDOW
    assert len(image.colours_in(300)) > 2
    keep = os.environ.get('VEXDEP_FLEET_PLAN_SCREENSHOT')
    if keep:
        shutil.copyfile(str(tmp_path / 'fleet-plan.png'), keep)
