# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The fleet's plan: each host's plan (what vexdep_plan returned), the waves in
which the prerequisite packages go out, what no plan can fix, and how the plans
changed since an earlier run.

A host's plan is a plain dict (the key plan of the report's host; None when the
preflight ran without a repository): status (planned, not-needed, not-planned,
failed, timed-out), verdict (the plan's: nothing-needed, complete, blocked,
unverifiable; None when there is no plan), steps[] and blockers[] in the
report's terms, message (why there is no plan), ready_after_wave.

Waves. Only complete plans make the waves: their steps are what brings a host
to the update. A package is in wave k when every host that needs it has all
its earlier steps in waves before k (the longest chain of steps before it,
over every host, plus one). Hosts whose plans order two packages differently
cannot all be served that way: those packages share one wave, are marked
order_conflict, and each host takes them in its own plan's order. A host
becomes ready after the wave of its last step; a host whose plan needs
nothing is ready after wave 0."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

from .verdicts import plural

# The plan verdicts, in the order the report counts them.
PLAN_VERDICTS = ('complete', 'nothing-needed', 'blocked', 'unverifiable')
# Plan statuses that have no plan, and what the report says for them.
NO_PLAN = {
    'not-needed': 'nothing needed: the host can take the update now',
    'not-planned': 'not planned: the host was not checked',
    'failed': 'the plan could not be made',
    'timed-out': 'the plan did not finish within the host deadline',
}
# Where the plan's verdict puts a host's plan among the groups that no plan fixes.
UNFIXABLE = ('blocked', 'unverifiable', 'failed', 'timed-out')
STEPS_SHOWN = 3


def _step(step):
    component = step.get('component') or {}
    return {
        'step': step.get('step'),
        'package': step.get('package'),
        'display': step.get('display'),
        'component': component.get('display') if isinstance(component, dict) else component,
        'from_version': step.get('fromVersion'),
        'to_version': step.get('toVersion'),
        'required_version': step.get('requiredVersion'),
        'substituted': bool(step.get('substituted')),
        'stepping_stone': bool(step.get('steppingStone')),
    }


def _blocker(blocker):
    return {
        'kind': blocker.get('kind'),
        'reason_kind': blocker.get('reasonKind'),
        'package': blocker.get('package'),
        'dependency': blocker.get('dependency'),
        'component': blocker.get('component'),
        'required_version': blocker.get('requiredVersion'),
        'reason': blocker.get('reason'),
        'cycle': list(blocker.get('cycle') or []),
    }


def empty_plan(status, message=None):
    return {'status': status, 'verdict': None, 'steps': [], 'blockers': [], 'message': message,
            'ready_after_wave': None, 'seconds': None}


def host_plan(entry, category):
    """A host's plan from its raw entry (the registered vexdep_plan result and the rescue's failure)."""
    failure = entry.get('plan_failure')
    result = entry.get('plan') or {}
    if failure:
        message = failure.get('msg') if isinstance(failure, dict) else str(failure)
        return empty_plan('failed', message or 'failed')
    if result.get('unreachable') or result.get('failed'):
        return empty_plan('failed', result.get('msg') or 'failed')
    if result.get('skipped') or not result:
        if category == 'ready':
            return empty_plan('not-needed')
        return empty_plan('not-planned')
    if result.get('verdict') == 'timed-out':
        plan = empty_plan('timed-out', NO_PLAN['timed-out'])
        plan['seconds'] = result.get('elapsed_seconds')
        return plan
    document = result.get('plan') or {}
    plan = empty_plan('planned')
    plan.update(verdict=document.get('verdict') or result.get('verdict'),
                steps=[_step(step) for step in document.get('steps') or []],
                blockers=[_blocker(blocker) for blocker in document.get('blockers') or []],
                seconds=result.get('elapsed_seconds'))
    return plan


def plan_of(entry):
    """The plan of a raw entry or of a host of an earlier report (None without one)."""
    if 'category' in entry:
        return entry.get('plan')
    if entry.get('plan') is None and not entry.get('plan_failure'):
        return None
    from .hosts import category_of
    return host_plan(entry, category_of(entry))


# --- words ---------------------------------------------------------------

def step_text(step):
    """'FOLDER04/BP_3.15.0 (Backplane Firmware 3.15.0): "Backplane Firmware" 3.10.0 -> 3.15.0, intermediate'."""
    notes = []
    if step.get('stepping_stone'):
        notes.append('intermediate')
    if step.get('substituted'):
        notes.append('substituted')
    text = '%s (%s): %s %s -> %s' % (step['package'], step.get('display'), step.get('component'),
                                     step.get('from_version') or 'not installed', step.get('to_version'))
    return text + (', ' + ', '.join(notes) if notes else '')


def blocker_text(blocker):
    """What stops a plan, in the words the report groups by (no host's own versions in it)."""
    kind = blocker.get('kind')
    what = '"%s"%s' % (blocker.get('dependency'), ' (%s)' % blocker['component'] if blocker.get('component') else '')
    at = ' at %s' % blocker['required_version'] if blocker.get('required_version') else ''
    needed_by = ', needed by %s' % blocker['package'] if blocker.get('package') else ''
    if kind == 'missing':
        return 'missing from the repository: %s%s%s' % (what, at, needed_by)
    if kind == 'cycle':
        return 'cycle: %s' % ' -> '.join(blocker.get('cycle') or [blocker.get('package') or '?'])
    if kind == 'missing-intermediate-version':
        return 'no intermediate version in the repository: %s%s%s' % (what, at, needed_by)
    if kind == 'downgrade':
        return 'only a downgrade provides %s%s%s' % (what, at, needed_by)
    if kind == 'unverifiable':
        return 'unverifiable (%s): %s%s' % (blocker.get('reason_kind') or 'doubt', what, needed_by)
    return '%s: %s%s%s' % (kind, what, at, needed_by)


def plan_summary(plan):
    """'complete: 2 steps, ready after wave 2' and the like, in one line."""
    if plan is None:
        return ''
    if plan['status'] != 'planned':
        text = NO_PLAN[plan['status']]
        return '%s: %s' % (text, plan['message']) if plan.get('message') and plan['message'] != text else text
    text = '%s: %s' % (plan['verdict'], plural(len(plan['steps']), 'step'))
    if plan.get('ready_after_wave') is not None:
        text += ', ready after wave %d' % plan['ready_after_wave']
    if plan['blockers']:
        text += '; stopped by: %s' % '; '.join(blocker_text(b) for b in plan['blockers'])
    return text


def plan_lines(plan):
    """One line for the plan and one per step, for the formats that list a host's details."""
    if plan is None:
        return []
    return ['plan: %s' % plan_summary(plan)] + ['plan step %s: %s' % (step['step'], step_text(step))
                                                 for step in plan['steps']]


def steps_text(plan):
    """'1. A (...); 2. B (...)' for one cell."""
    return '; '.join('%s. %s' % (step['step'], step_text(step)) for step in (plan or {}).get('steps') or [])


# --- the waves -----------------------------------------------------------

def _sequences(hosts):
    """{host: [package, ...]} of the complete plans, in plan order."""
    return dict((host['host'], [step['package'] for step in host['plan']['steps']]) for host in hosts
                if host.get('plan') and host['plan']['status'] == 'planned'
                and host['plan']['verdict'] == 'complete')


def wave_numbers(sequences):
    """({package: wave}, {packages in an order conflict}) for plans given as package sequences."""
    before = {}
    for packages in sequences.values():
        for index, package in enumerate(packages):
            before.setdefault(package, set()).update(packages[:index])
    waves = {}
    conflicts = set()
    remaining = set(before)
    while remaining:
        ready = [p for p in remaining if not (before[p] & remaining)]
        if not ready:
            # Plans that order packages differently: those with the fewest
            # packages still waiting before them go together.
            fewest = min(len(before[p] & remaining) for p in remaining)
            ready = [p for p in remaining if len(before[p] & remaining) == fewest]
            conflicts.update(ready)
        # Each from the waves placed before this batch (never from another of the batch).
        numbers = [1 + max([waves[q] for q in before[package] if q in waves] or [0]) for package in ready]
        waves.update(zip(ready, numbers))
        remaining.difference_update(ready)
    return waves, conflicts


def fleet_waves(hosts):
    """The waves, each with its packages (largest host count first) and the hosts ready after it."""
    sequences = _sequences(hosts)
    numbers, conflicts = wave_numbers(sequences)
    steps = {}
    for host in hosts:
        if host['host'] not in sequences:
            continue
        for step in host['plan']['steps']:
            steps.setdefault(step['package'], (step, []))[1].append(host['host'])
    ready_after = {}
    for host in hosts:
        plan = host.get('plan')
        if not plan:
            continue
        if host['host'] in sequences:
            plan['ready_after_wave'] = max([numbers[p] for p in sequences[host['host']]] or [0])
        elif plan['status'] == 'planned' and plan['verdict'] == 'nothing-needed':
            plan['ready_after_wave'] = 0
        if plan.get('ready_after_wave') is not None:
            ready_after.setdefault(plan['ready_after_wave'], []).append(host['host'])
    result = []
    total = 0
    for wave in range(0, max(list(numbers.values()) + [0]) + 1):
        packages = []
        for package in sorted(p for p, number in numbers.items() if number == wave):
            step, names = steps[package]
            packages.append({'package': package, 'display': step.get('display'), 'component': step.get('component'),
                             'to_version': step.get('to_version'), 'stepping_stone': step.get('stepping_stone'),
                             'order_conflict': package in conflicts, 'count': len(names), 'hosts': sorted(names)})
        packages.sort(key=lambda p: (-p['count'], p['package']))
        ready = sorted(ready_after.get(wave, []))
        total += len(ready)
        if wave == 0 and not ready:
            continue
        result.append({'wave': wave, 'packages': packages, 'hosts_ready': ready, 'ready_count': len(ready),
                       'ready_total': total})
    return result


# --- what no plan can fix ------------------------------------------------

def _unfixable_key(plan):
    if plan['status'] in ('failed', 'timed-out'):
        text = NO_PLAN[plan['status']] + (': %s' % plan['message'] if plan.get('message') and
                                          plan['message'] != NO_PLAN[plan['status']] else '')
        return plan['status'], (text,)
    texts = tuple(sorted(set(blocker_text(b) for b in plan['blockers']))) or ('%s, without a blocker given'
                                                                              % plan['verdict'],)
    return plan['verdict'], texts


def unfixable_groups(hosts, groups):
    """Hosts whose plan cannot bring them to the update, grouped by what stops it, largest first; each group
    names the report's groups (by verdict and root cause) its hosts are in."""
    group_of = {}
    for group in groups:
        for name in group['hosts']:
            group_of[name] = group
    found = {}
    for host in hosts:
        plan = host.get('plan')
        if not plan or not (plan['status'] in ('failed', 'timed-out') or
                            (plan['status'] == 'planned' and plan['verdict'] in UNFIXABLE)):
            continue
        kind, texts = _unfixable_key(plan)
        item = found.setdefault((kind, texts), {'kind': kind, 'title': '; '.join(texts), 'blockers': list(texts),
                                                'hosts': [], 'joined': {}})
        item['hosts'].append(host['host'])
        joined = group_of.get(host['host'])
        if joined is not None:
            entry = item['joined'].setdefault(id(joined), {'category': joined['category'], 'title': joined['title'],
                                                           'count': 0})
            entry['count'] += 1
    result = []
    for item in found.values():
        item['hosts'].sort()
        item['count'] = len(item['hosts'])
        item['blocker_groups'] = sorted(item.pop('joined').values(), key=lambda g: (-g['count'], g['title']))
        result.append(item)
    result.sort(key=lambda g: (-g['count'], UNFIXABLE.index(g['kind']), g['title']))
    return result


def fleet_plan(hosts, groups, meta):
    """The report's plan section, or None when the preflight ran without a repository."""
    if not any(host.get('plan') for host in hosts):
        return None
    waves = fleet_waves(hosts)
    unfixable = unfixable_groups(hosts, groups)
    counts = dict((verdict, 0) for verdict in PLAN_VERDICTS + tuple(NO_PLAN))
    for host in hosts:
        plan = host.get('plan')
        if plan:
            counts[plan['verdict'] if plan['status'] == 'planned' and plan['verdict'] in counts
                   else plan['status']] += 1
    by_host = dict((host['host'], host['plan']) for host in hosts if host.get('plan'))
    for group in groups:
        outcome = {}
        for name in group['hosts']:
            plan = by_host.get(name)
            if plan:
                key = plan['verdict'] if plan['status'] == 'planned' else plan['status']
                outcome[key] = outcome.get(key, 0) + 1
        group['plan'] = outcome
    repository = meta.get('repository') if isinstance(meta.get('repository'), dict) else {}
    saved = meta.get('plan') if isinstance(meta.get('plan'), dict) else {}
    return {
        'repository': repository.get('path') or saved.get('repository'),
        'packed': repository.get('packed') or saved.get('packed'),
        'counts': dict((key, value) for key, value in counts.items() if value),
        'waves': waves,
        'unfixable': unfixable,
    }


def plan_headline(plan):
    """'Plan: 40 hosts ready after 3 waves of 5 packages; 12 hosts no plan can fix.'."""
    waves = [wave for wave in plan['waves'] if wave['wave'] > 0]
    packages = sum(len(wave['packages']) for wave in waves)
    ready = sum(wave['ready_count'] for wave in plan['waves'])
    unfixable = sum(group['count'] for group in plan['unfixable'])
    return 'Plan: %s ready after %s of %s; %s that no plan can fix.' % (
        plural(ready, 'host'), plural(len(waves), 'wave'), plural(packages, 'package'), plural(unfixable, 'host'))


# --- changes since an earlier run ---------------------------------------

def _signature(plan):
    if plan is None:
        return None
    if plan['status'] != 'planned':
        return (plan['status'],)
    return (plan['verdict'], tuple(step['package'] for step in plan['steps']),
            tuple(sorted(blocker_text(b) for b in plan['blockers'])))


def plan_changes(hosts, previous_plans):
    """[{host, previous, now, kind}] for every host of this run whose plan changed: its verdict, its steps or what
    stops it."""
    now = dict((host['host'], host.get('plan')) for host in hosts)
    changes = []
    for name in sorted(set(now) | set(previous_plans), key=str):
        before, after = previous_plans.get(name), now.get(name)
        # A host that is no longer in this run is among the verdict changes only.
        if name not in now or _signature(before) == _signature(after):
            continue
        if before is None or after is None:
            kind = 'plan-new' if before is None else 'plan-gone'
        elif _signature(before)[0] != _signature(after)[0]:
            kind = 'plan-verdict'
        elif before['status'] == 'planned' and _signature(before)[1] != _signature(after)[1]:
            kind = 'plan-steps'
        else:
            kind = 'plan-blockers'
        changes.append({'host': name, 'kind': kind, 'previous': plan_summary(before) or 'no plan',
                        'now': plan_summary(after) or 'no plan'})
    order = ('plan-verdict', 'plan-steps', 'plan-blockers', 'plan-new', 'plan-gone')
    changes.sort(key=lambda c: (order.index(c['kind']), str(c['host'])))
    return changes


PLAN_CHANGE_TEXT = {
    'plan-verdict': 'plan verdict changed',
    'plan-steps': 'plan steps changed',
    'plan-blockers': 'what stops the plan changed',
    'plan-new': 'planned now, not before',
    'plan-gone': 'planned before, not now',
}


# --- words of the plan section, shared by the page and the Markdown -------

def wave_heading(wave):
    """'Wave 2: 3 packages; then 40 hosts ready (72 in all)', or for wave 0 the hosts that need nothing."""
    if wave['wave'] == 0:
        return 'Ready now: %s need%s nothing from the repository' % (plural(wave['ready_count'], 'host'),
                                                                     's' if wave['ready_count'] == 1 else '')
    return 'Wave %d: %s; then %s ready (%d in all)' % (wave['wave'], plural(len(wave['packages']), 'package'),
                                                      plural(wave['ready_count'], 'host'), wave['ready_total'])


def wave_package_text(package):
    """'FOLDER04/BP_3.15.0 (Backplane Firmware 3.15.0): "Backplane Firmware" to 3.15.0, intermediate: 40 hosts'."""
    notes = [note for flag, note in (('stepping_stone', 'intermediate'),
                                     ('order_conflict', 'hosts need it in different orders: each in its own'))
             if package.get(flag)]
    return '%s (%s): %s to %s%s: %s' % (package['package'], package.get('display'), package.get('component'),
                                        package.get('to_version'), ', ' + ', '.join(notes) if notes else '',
                                        plural(package['count'], 'host'))


def unfixable_heading(group):
    """'12 hosts: missing from the repository: ...'."""
    return '%s: %s' % (plural(group['count'], 'host'), group['title'])


def joined_text(group):
    """'in the report's groups: blocked, need A 1.0 (10); unverifiable, ... (2)'."""
    if not group['blocker_groups']:
        return ''
    return "in the report's groups: " + '; '.join('%s, %s (%d)' % (g['category'], g['title'], g['count'])
                                                 for g in group['blocker_groups'])


def outcome_text(outcome):
    """'plans: complete 30, blocked 2' for a group of the report."""
    if not outcome:
        return ''
    return 'plans: ' + ', '.join('%s %d' % (key, outcome[key]) for key in sorted(outcome, key=lambda k: -outcome[k]))
