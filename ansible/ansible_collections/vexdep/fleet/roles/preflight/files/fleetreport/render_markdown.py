# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The report as Markdown, for tickets and chat: the page's sections in the page's order."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

from . import wording
from .changes import KIND_TEXT
from .groups import summary
from .model import headline, host_changes
from . import plans as plans_of
from .verdicts import ATTENTION, CATEGORIES, MEANINGS, plural


def md(text):
    return str(text if text is not None else '').replace('|', '\\|').replace('\n', ' ')


def _hosts_line(names):
    return 'Hosts: ' + ', '.join(md(name) for name in names)


def header(report):
    out = ['# %s' % md(report['title']), '', md(wording.meta_line(report)), '']
    if report.get('package_note'):
        out += ['Note: %s' % md(report['package_note']), '']
    out += ['**%s**' % md(headline(report)), '', '| Verdict | Hosts | Meaning |', '|---|---:|---|']
    out += ['| %s | %d | %s |' % (c, report['counts'][c], MEANINGS[c]) for c in CATEGORIES]
    if report.get('changes') is not None:
        out += ['', '%s: %s.' % (md(wording.changes_heading(report)), md(report['changes']['summary']))]
    return out + ['']


def _group(group):
    out = ['#### %s' % md(wording.group_heading(group)), '']
    if group.get('plan'):
        out += [md(plans_of.outcome_text(group['plan'])), '']
    out += ['- %s' % md(wording.prerequisite_line(item)) for item in group['prerequisites']]
    if group['prerequisites']:
        out.append('')
    return out + [_hosts_line(group['hosts']), '']


def needs_action(report):
    out = ['## Needs action', '']
    if not report['groups']:
        return out + ['Nothing: every host can take the update.', '']
    for category in ATTENTION:
        groups = [g for g in report['groups'] if g['category'] == category]
        if groups:
            out += ['### %s: %s' % (wording.SECTION_NAMES[category], summary(groups, category)), '']
            for group in groups:
                out += _group(group)
    return out


def plan(report):
    section = report.get('plan')
    if section is None:
        return []
    out = ['## The plan', '', '**%s**' % md(plans_of.plan_headline(section)), '']
    if section.get('repository'):
        out += ['Repository: %s%s' % (md(section['repository']),
                                      ' (%s)' % md(section['packed']) if section.get('packed') else ''), '']
    out += ['### Waves', '']
    if not section['waves']:
        out += ['No host has a complete plan.', '']
    for wave in section['waves']:
        out += ['#### %s' % md(plans_of.wave_heading(wave)), '']
        out += ['- %s' % md(plans_of.wave_package_text(package)) for package in wave['packages']]
        if wave['packages']:
            out.append('')
        out += ['Ready after it: %s' % ', '.join(md(name) for name in wave['hosts_ready']) if wave['hosts_ready']
                else 'No host is ready after it alone.', '']
    out += ['### What no plan can fix', '']
    if not section['unfixable']:
        out += ['Nothing: every planned host has a complete plan.', '']
    for group in section['unfixable']:
        out += ['#### %s' % md(plans_of.unfixable_heading(group)), '']
        if group['blocker_groups']:
            out += [md(plans_of.joined_text(group)), '']
        out += [_hosts_line(group['hosts']), '']
    return out


def recommended(report):
    groups = report['recommended_groups']
    if not groups:
        return []
    out = ['## %s: %s' % (wording.SECTION_NAMES['recommended'], summary(groups, 'recommended')), '']
    for group in groups:
        out += _group(group)
    return out


def changes(report):
    if report.get('changes') is None:
        return []
    out = ['## %s' % md(wording.changes_heading(report)), '']
    if not report['changes']['hosts']:
        return out + ['No host changed its verdict.', ''] + plan_changes(report)
    out += ['| Host | Before | Now | Change |', '|---|---|---|---|']
    out += ['| %s | %s | %s | %s |' % (md(c['host']), c['previous'] or '', c['now'] or '', KIND_TEXT[c['kind']])
            for c in report['changes']['hosts']]
    return out + [''] + plan_changes(report)


def plan_changes(report):
    found = report['changes'].get('plans')
    if found is None:
        return []
    out = ['### Plans that changed', '']
    if not found:
        return out + ['No plan changed.', '']
    out += ['| Host | Change | Before | Now |', '|---|---|---|---|']
    out += ['| %s | %s | %s | %s |' % (md(c['host']), plans_of.PLAN_CHANGE_TEXT[c['kind']], md(c['previous']),
                                       md(c['now'])) for c in found]
    return out + ['']


def overruns(report):
    if not report['overruns']:
        return []
    out = ['## Collectors that ran longer than they declare', '',
           '| Type | Release | Declared | Longest | Hosts |', '|---|---|---:|---:|---|']
    for item in report['overruns']:
        out.append('| %s | %s | %s s | %.1f s | %s |' % (
            item['type'], md(item['release_id']), item['declared_timeout_seconds'], item['max_seconds'],
            ', '.join('%s (%.1f s)' % (md(h['host']), h['seconds']) for h in item['hosts'])))
    return out + ['']


def shopping(report):
    out = ['## Missing prerequisites', '']
    for check_type, name in (('hard', 'Hard (required before the update)'), ('soft', 'Soft (recommended)')):
        items = report['prerequisites'][check_type]
        out += ['### %s' % name, '']
        if not items:
            out += ['None: no host reports an unmet %s dependency.' % check_type, '']
        for item in items:
            out += ['#### %s' % md(wording.shopping_heading(item)), '', 'Download path: `%s`' % md(item['download_path'])]
            if item.get('detail'):
                out += ['', 'Why: %s' % md(item['detail'])]
            out += ['', '| Host | Installed |', '|---|---|']
            out += ['| %s | %s |' % (md(h['host']), md(h['current_version'])) for h in item['hosts']]
            out.append('')
    return out


def host_table(report):
    changed = host_changes(report)
    out = ['## Hosts', '', '%s; ready and recommended last.' % plural(len(report['hosts']), 'host'), '',
           '| Host | Verdict | Hard | Soft | System ID | Reasons |', '|---|---|---|---|---|---|']
    for host in report['hosts']:
        out.append('| %s | %s | %s | %s | %s | %s |' % (
            md(host['host']), host['category'], md(host['hard_verdict'] or ''), md(host['soft_verdict'] or ''),
            md(wording.system_id_text(host)), '<br>'.join(md(t) for t in wording.host_lines(host, changed.get(
                host['host'])))))
    return out


SECTIONS = (header, needs_action, plan, recommended, changes, overruns, shopping, host_table)


def render(report):
    out = []
    for section in SECTIONS:
        out += section(report)
    return '\n'.join(out).rstrip('\n') + '\n'
