# -*- coding: utf-8 -*-
"""The fleet's plan in the report: each host's plan, the waves, what no plan can fix, the plan changes, and the
plan in every format."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import csv
import io
import json
import random

import pytest

from fleetreport import plans, render_csv, render_html, render_junit, render_markdown
from fleetreport.model import build_report

from report_fixtures import check, host, raw, unmet

SKIPPED = {'changed': False, 'skipped': True, 'skip_reason': 'Conditional result was False'}


def step(number, package, from_version='1.0', to_version='2.0', stepping_stone=False, substituted=False):
    return {'step': number, 'package': package, 'format': 'directory', 'display': 'Package %s' % package,
            'component': {'display': 'Component of %s' % package, 'componentID': '1'}, 'fromVersion': from_version,
            'toVersion': to_version, 'requiredVersion': to_version, 'substituted': substituted,
            'steppingStone': stepping_stone, 'chain': [], 'rejected': []}


def blocker(kind, dependency='Expander', package='BP', required='1.5', reason_kind=None, cycle=()):
    return {'kind': kind, 'reasonKind': reason_kind, 'package': package, 'dependency': dependency,
            'component': 'component 104700 (FRMW)', 'requiredVersion': required, 'reason': 'why', 'chain': [],
            'cycle': list(cycle), 'rejected': []}


def plan_result(verdict, steps=(), blockers=(), seconds=2.0):
    return {'changed': False, 'verdict': verdict, 'elapsed_seconds': seconds,
            'plan': {'schemaVersion': 1, 'command': 'plan', 'verdict': verdict, 'steps': list(steps),
                     'blockers': list(blockers), 'warnings': []}}


def sequence_plan(packages, verdict='complete'):
    return plan_result(verdict, [step(index + 1, package) for index, package in enumerate(packages)])


def planned(document):
    """The raw results with plans: web2 and web4 complete, web3 blocked, db2 unverifiable, db1 complete (soft)."""
    document['repository'] = {'path': '/srv/repository', 'packed': 'repository.tar.gz: 4 packages'}
    plans_of = {
        'web2': sequence_plan(['BP315', 'BP320', 'NIC']),
        'web3': plan_result('blocked', [step(1, 'BP315')], [blocker('missing')]),
        'web4': sequence_plan(['BP320']),
        'db1': sequence_plan(['AGENT']),
        'db2': plan_result('unverifiable', [], [blocker('unverifiable', reason_kind='inventory-failed',
                                                        package=None, required=None)]),
    }
    for entry in document['hosts']:
        entry['plan'] = plans_of.get(entry['host'], SKIPPED)
        entry['plan_failure'] = None
    return document


def report_with_plans(previous=None):
    return build_report(planned(raw()), previous=previous, rendered='2026-05-04T10:00:00Z')


# --- one host's plan ---------------------------------------------------------

def test_host_plan_of_every_kind_of_result():
    assert plans.host_plan({'plan': SKIPPED}, 'ready')['status'] == 'not-needed'
    assert plans.host_plan({'plan': SKIPPED}, 'unreachable')['status'] == 'not-planned'
    failed = plans.host_plan({'plan': SKIPPED, 'plan_failure': {'task': 'Plan', 'msg': 'cannot be unpacked'}},
                             'blocked')
    assert (failed['status'], failed['message']) == ('failed', 'cannot be unpacked')
    assert plans.host_plan({'plan': {'failed': True, 'msg': 'vexinspect plan both failed'}}, 'blocked')['message'] \
        == 'vexinspect plan both failed'
    timed_out = plans.host_plan({'plan': {'verdict': 'timed-out', 'plan': None, 'elapsed_seconds': 30.0}}, 'blocked')
    assert (timed_out['status'], timed_out['seconds']) == ('timed-out', 30.0)
    plan = plans.host_plan({'plan': plan_result('blocked', [step(1, 'A', stepping_stone=True)],
                                                [blocker('missing')])}, 'blocked')
    assert (plan['status'], plan['verdict'], plan['seconds']) == ('planned', 'blocked', 2.0)
    assert plan['steps'] == [{'step': 1, 'package': 'A', 'display': 'Package A', 'component': 'Component of A',
                              'from_version': '1.0', 'to_version': '2.0', 'required_version': '2.0',
                              'substituted': False, 'stepping_stone': True}]
    assert plan['blockers'][0]['kind'] == 'missing' and plan['blockers'][0]['required_version'] == '1.5'


def test_plan_of_raw_entries_and_report_hosts():
    assert plans.plan_of(host('a', check('ready', 'ready'))) is None
    assert plans.plan_of(dict(host('a', check('ready', 'ready')), plan=SKIPPED))['status'] == 'not-needed'
    kept = {'status': 'planned', 'verdict': 'complete'}
    assert plans.plan_of({'host': 'a', 'category': 'blocked', 'plan': kept}) is kept


def test_words_of_steps_blockers_and_plans():
    item = plans._step(step(2, 'P', '3.10.0', '3.15.0', stepping_stone=True, substituted=True))
    assert plans.step_text(item) == 'P (Package P): Component of P 3.10.0 -> 3.15.0, intermediate, substituted'
    assert plans.step_text(dict(item, from_version=None, stepping_stone=False, substituted=False)) == \
        'P (Package P): Component of P not installed -> 3.15.0'
    texts = dict((kind, plans.blocker_text(plans._blocker(blocker(kind, cycle=('A', 'B', 'A')))))
                 for kind in ('missing', 'cycle', 'missing-intermediate-version', 'downgrade', 'not-satisfied'))
    assert texts == {
        'missing': 'missing from the repository: "Expander" (component 104700 (FRMW)) at 1.5, needed by BP',
        'cycle': 'cycle: A -> B -> A',
        'missing-intermediate-version': 'no intermediate version in the repository: "Expander" '
                                        '(component 104700 (FRMW)) at 1.5, needed by BP',
        'downgrade': 'only a downgrade provides "Expander" (component 104700 (FRMW)) at 1.5, needed by BP',
        'not-satisfied': 'not-satisfied: "Expander" (component 104700 (FRMW)) at 1.5, needed by BP',
    }
    assert plans.blocker_text(plans._blocker(blocker('unverifiable', reason_kind='inventory-failed', package=None))) \
        == 'unverifiable (inventory-failed): "Expander" (component 104700 (FRMW))'
    plan = plans.host_plan({'plan': sequence_plan(['A', 'B'])}, 'blocked')
    plan['ready_after_wave'] = 2
    assert plans.plan_summary(plan) == 'complete: 2 steps, ready after wave 2'
    assert plans.plan_lines(plan)[1:] == ['plan step 1: A (Package A): Component of A 1.0 -> 2.0',
                                          'plan step 2: B (Package B): Component of B 1.0 -> 2.0']
    assert plans.steps_text(plan) == '1. A (Package A): Component of A 1.0 -> 2.0; 2. B (Package B): Component of ' \
                                     'B 1.0 -> 2.0'
    assert plans.plan_summary(plans.empty_plan('failed', 'boom')) == 'the plan could not be made: boom'
    assert plans.plan_summary(None) == '' and plans.plan_lines(None) == []


# --- the waves ---------------------------------------------------------------

def test_wave_numbers_follow_the_longest_chain_before_each_package():
    waves, conflicts = plans.wave_numbers({'h1': ['A', 'B'], 'h2': ['A', 'B', 'C'], 'h3': ['D', 'B'], 'h4': ['E'],
                                           'h5': ['D', 'F', 'C']})
    assert waves == {'A': 1, 'D': 1, 'E': 1, 'B': 2, 'F': 2, 'C': 3}
    assert conflicts == set()


def test_packages_that_plans_order_differently_share_a_wave_and_are_marked():
    waves, conflicts = plans.wave_numbers({'h1': ['X', 'Y', 'Z'], 'h2': ['Y', 'X'], 'h3': ['W']})
    assert waves['X'] == waves['Y'] == 1 and waves['W'] == 1 and waves['Z'] == 2
    assert conflicts == {'X', 'Y'}


def test_waves_of_a_synthetic_fleet_whose_waves_are_known_by_construction():
    """Packages L<level>-<n>; every host's plan climbs the levels one by one from level 1, so that every package
    of level k has one of level k-1 right before it in each plan that holds it, and nothing of its own level or
    above before it: its wave is its level, and a host is ready after the wave of its plan's length."""
    rng = random.Random(28)
    per_level = dict((level, ['L%d-%d' % (level, n) for n in range(rng.randint(1, 6))]) for level in range(1, 8))
    hosts, expected_ready = [], {}
    for index in range(3000):
        length = rng.randint(1, 7)
        packages = [rng.choice(per_level[level]) for level in range(1, length + 1)]
        name = 'h%04d' % index
        hosts.append(host(name, check('blocked', 'ready')))
        hosts[-1].update(plan=sequence_plan(packages), plan_failure=None)
        expected_ready.setdefault(length, []).append(name)
    report = build_report({'hosts': hosts, 'repository': {'path': '/r'}}, rendered='x')
    waves = report['plan']['waves']
    assert [wave['wave'] for wave in waves] == list(range(1, 8))
    for wave in waves:
        assert all(package['package'].startswith('L%d-' % wave['wave']) for package in wave['packages'])
        assert not any(package['order_conflict'] for package in wave['packages'])
        assert wave['hosts_ready'] == sorted(expected_ready[wave['wave']])
    assert waves[-1]['ready_total'] == 3000
    counts = [package['count'] for package in waves[0]['packages']]
    assert counts == sorted(counts, reverse=True) and sum(counts) == 3000


def test_the_waves_of_the_report_and_the_hosts_ready_after_each():
    report = report_with_plans()
    waves = [(w['wave'], [(p['package'], p['count']) for p in w['packages']], w['hosts_ready'], w['ready_total'])
             for w in report['plan']['waves']]
    assert waves == [(1, [('AGENT', 1), ('BP315', 1)], ['db1'], 1),
                     (2, [('BP320', 2)], ['web4'], 2),
                     (3, [('NIC', 1)], ['web2'], 3)]
    hosts = dict((h['host'], h) for h in report['hosts'])
    assert hosts['web2']['plan']['ready_after_wave'] == 3
    assert hosts['web3']['plan']['ready_after_wave'] is None
    assert hosts['web1']['plan']['status'] == 'not-needed'
    assert hosts['old1']['plan']['status'] == 'not-planned'


def test_a_plan_that_needs_nothing_is_ready_after_wave_zero():
    hosts = [dict(host('a', check('blocked', 'ready')), plan=plan_result('nothing-needed'), plan_failure=None),
             dict(host('b', check('blocked', 'ready')), plan=sequence_plan(['P']), plan_failure=None)]
    waves = build_report({'hosts': hosts}, rendered='x')['plan']['waves']
    assert [(w['wave'], w['hosts_ready'], w['packages'] == []) for w in waves] == [(0, ['a'], True), (1, ['b'], False)]
    assert plans.wave_heading(waves[0]) == 'Ready now: 1 host needs nothing from the repository'


# --- what no plan can fix -----------------------------------------------------

def test_what_no_plan_can_fix_is_grouped_largest_first_and_joined_with_the_blocker_groups():
    report = report_with_plans()
    unfixable = report['plan']['unfixable']
    assert [(g['kind'], g['hosts']) for g in unfixable] == [('blocked', ['web3']), ('unverifiable', ['db2'])]
    assert unfixable[0]['title'] == 'missing from the repository: "Expander" (component 104700 (FRMW)) at 1.5, ' \
                                    'needed by BP'
    assert [(g['category'], g['title'], g['count']) for g in unfixable[0]['blocker_groups']] == [
        ('blocked', 'need Backplane 2.0', 1)]
    assert unfixable[1]['blocker_groups'][0]['category'] == 'unverifiable'
    # The report's groups say how their hosts' plans ended.
    backplane = [g for g in report['groups'] if g['title'] == 'need Backplane 2.0'][0]
    assert backplane['plan'] == {'complete': 1, 'blocked': 1}
    assert plans.outcome_text(backplane['plan']) in ('plans: complete 1, blocked 1', 'plans: blocked 1, complete 1')
    assert plans.joined_text(unfixable[0]) == "in the report's groups: blocked, need Backplane 2.0 (1)"
    assert plans.unfixable_heading(unfixable[0]).startswith('1 host: missing from the repository')


def test_failed_and_timed_out_plans_are_grouped_by_their_message():
    hosts = []
    for name in ('a', 'b', 'c'):
        hosts.append(dict(host(name, check('blocked', 'ready')), plan=SKIPPED,
                          plan_failure={'task': 'Plan', 'msg': 'repository archive cannot be unpacked'}))
    hosts.append(dict(host('d', check('blocked', 'ready')), plan={'verdict': 'timed-out', 'plan': None},
                      plan_failure=None))
    unfixable = build_report({'hosts': hosts}, rendered='x')['plan']['unfixable']
    assert [(g['kind'], g['count'], g['title']) for g in unfixable] == [
        ('failed', 3, 'the plan could not be made: repository archive cannot be unpacked'),
        ('timed-out', 1, 'the plan did not finish within the host deadline')]


def test_the_plan_section_counts_and_headline():
    report = report_with_plans()
    assert report['plan']['counts'] == {'complete': 3, 'blocked': 1, 'unverifiable': 1, 'not-needed': 1,
                                        'not-planned': len(report['hosts']) - 6}
    assert report['plan']['repository'] == '/srv/repository'
    assert plans.plan_headline(report['plan']) == 'Plan: 3 hosts ready after 3 waves of 4 packages; 2 hosts that ' \
                                                  'no plan can fix.'


def test_without_a_repository_the_report_has_no_plan():
    report = build_report(raw(), rendered='x')
    assert report['plan'] is None
    assert all(h['plan'] is None for h in report['hosts'])
    assert 'plan' not in report['groups'][0]
    assert render_csv.render(report).splitlines()[0].split(',') == list(render_csv.COLUMNS)
    assert 'id="plan"' not in render_html.render(report)
    assert '## The plan' not in render_markdown.render(report)
    junit = render_junit.render(report)
    assert 'plan:' not in junit and 'plan.' not in junit and 'wave' not in junit


# --- changes since an earlier run ---------------------------------------------

def test_plan_changes_since_an_earlier_run():
    previous = planned(raw())
    later = planned(raw())
    for entry in later['hosts']:
        if entry['host'] == 'web3':
            entry['plan'] = sequence_plan(['BP315', 'BP320'])
        if entry['host'] == 'web4':
            entry['plan'] = sequence_plan(['BP315', 'BP320'])
        if entry['host'] == 'db2':
            entry['plan'] = plan_result('unverifiable', [], [blocker('unverifiable', reason_kind='stale-inventory',
                                                                     package=None, required=None)])
    report = build_report(later, previous=previous, rendered='x')
    changes = report['changes']['plans']
    assert [(c['host'], c['kind']) for c in changes] == [('web3', 'plan-verdict'), ('web4', 'plan-steps'),
                                                         ('db2', 'plan-blockers')]
    assert changes[0]['previous'].startswith('blocked: 1 step; stopped by: missing from the repository')
    assert changes[0]['now'] == 'complete: 2 steps, ready after wave 2'
    assert report['changes']['summary'].endswith('; 3 plans changed')
    # Against an earlier report (fleet-report.json) the same.
    earlier = json.loads(json.dumps(build_report(previous, rendered='x')))
    again = build_report(later, previous=earlier, rendered='x')['changes']['plans']
    assert [(c['host'], c['kind']) for c in again] == [(c['host'], c['kind']) for c in changes]


def test_plan_changes_of_hosts_planned_only_in_one_run():
    found = plans.plan_changes([{'host': 'a', 'plan': plans.empty_plan('not-needed')}, {'host': 'b', 'plan': None}],
                               {'b': plans.empty_plan('not-needed'), 'c': plans.empty_plan('failed', 'x')})
    assert [(c['host'], c['kind']) for c in found] == [('a', 'plan-new'), ('b', 'plan-gone')]
    assert found[1]['now'] == 'no plan'


def test_no_plan_changes_against_a_run_without_plans():
    report = build_report(planned(raw()), previous=raw(), rendered='x')
    assert report['changes']['plans'] is None
    assert 'plan' not in report['changes']['summary']


# --- the plan in every format ---------------------------------------------------

def test_csv_gains_the_plan_columns():
    previous = planned(raw())
    later = planned(raw())
    [e for e in later['hosts'] if e['host'] == 'web4'][0]['plan'] = sequence_plan(['BP315', 'BP320'])
    report = build_report(later, previous=previous, rendered='x')
    rows = dict((row['host'], row) for row in csv.DictReader(io.StringIO(render_csv.render(report))))
    assert list(rows['web2'])[-len(render_csv.PLAN_COLUMNS):] == list(render_csv.PLAN_COLUMNS)
    assert rows['web2']['plan_verdict'] == 'complete' and rows['web2']['plan_ready_after_wave'] == '3'
    assert rows['web2']['plan_steps'].startswith('1. BP315 (Package BP315): Component of BP315 1.0 -> 2.0; 2. BP320')
    assert rows['web3']['plan_blockers'].startswith('missing from the repository: "Expander"')
    assert rows['web1']['plan_verdict'] == 'not-needed' and rows['web1']['plan_ready_after_wave'] == ''
    assert rows['web4']['plan_change'] == 'plan steps changed: complete: 1 step -> complete: 2 steps, ready after ' \
                                          'wave 2'


def test_junit_messages_hold_the_plan_steps():
    text = render_junit.render(report_with_plans())
    assert 'plan: complete: 3 steps, ready after wave 3 (1. BP315 (Package BP315)' in text
    assert '<property name="plan.complete" value="3"/>' in text
    assert '<property name="plan.waves" value="3"/>' in text
    assert 'wave 2: BP320 (2 hosts)' in text


@pytest.mark.parametrize('render', [render_html.render, render_markdown.render], ids=['html', 'markdown'])
def test_the_page_and_the_markdown_have_the_plan_section(render):
    text = render(report_with_plans())
    for expected in ('Wave 1: 2 packages; then 1 host ready (1 in all)', 'Wave 3: 1 package; then 1 host ready (3 in all)',
                     'What no plan can fix', 'missing from the repository: &quot;Expander&quot;'
                     if render is render_html.render else 'missing from the repository: "Expander"',
                     'Plan: 3 hosts ready after 3 waves of 4 packages; 2 hosts that no plan can fix.',
                     'plans: '):
        assert expected in text, expected
    assert text.index('The plan') < text.index('All hosts' if render is render_html.render else '## Hosts')


def test_the_page_lists_the_plan_changes():
    previous = planned(raw())
    later = planned(raw())
    [e for e in later['hosts'] if e['host'] == 'web4'][0]['plan'] = sequence_plan(['BP315', 'BP320'])
    report = build_report(later, previous=previous, rendered='x')
    page = render_html.render(report)
    assert '<h3 id="plan-changes">Plans that changed: 1 host</h3>' in page
    assert 'plan steps changed' in page
    assert '| web4 | plan steps changed | complete: 1 step |' in render_markdown.render(report)


def test_wave_words():
    package = {'package': 'P', 'display': 'P 2.0', 'component': 'C', 'to_version': '2.0', 'stepping_stone': True,
               'order_conflict': True, 'count': 2}
    assert plans.wave_package_text(package) == 'P (P 2.0): C to 2.0, intermediate, hosts need it in different ' \
                                               'orders: each in its own: 2 hosts'
    assert plans.wave_heading({'wave': 2, 'packages': [package], 'ready_count': 0, 'ready_total': 5}) == \
        'Wave 2: 1 package; then 0 hosts ready (5 in all)'
    assert plans.joined_text({'blocker_groups': []}) == '' and plans.outcome_text({}) == ''
