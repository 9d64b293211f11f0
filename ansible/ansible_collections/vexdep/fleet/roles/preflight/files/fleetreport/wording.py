# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The sentences every format shares, so that the page, the Markdown, the CSV
and the JUnit messages say the same thing in the same words."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

from . import package as package_of
from .changes import KIND_TEXT
from .model import reason_texts, run_text
from .overruns import host_overrun_texts
from .plans import plan_lines
from .verdicts import plural

TYPE_NAMES = {'hard': 'hard', 'soft': 'soft', 'both': 'hard and soft'}
SECTION_NAMES = {
    'blocked': 'Blocked',
    'unverifiable': 'Unverifiable',
    'failed': 'Failed',
    'unreachable': 'Unreachable',
    'timed-out': 'Timed out',
    'recommended': 'Recommended first',
    'ready': 'Ready',
}


def meta_line(report):
    """'Brix Firmware 4.0.0 (package FLT01, release FLT01A00) · run ... · checked: hard and soft · ...'."""
    parts = []
    identity = report.get('package') or {}
    label = package_of.label(identity)
    if label or identity:
        ids = ', '.join('%s %s' % (word, identity[key]) for key, word in (('package_id', 'package'),
                                                                          ('release_id', 'release'))
                        if identity.get(key))
        # The title names the package already, unless the operator gave another.
        named = label if label and label not in report['title'] else ''
        text = '%s (%s)' % (named, ids) if named and ids else named or ids
        if text:
            parts.append(text)
    parts.append(run_text(report))
    if report.get('type'):
        parts.append('checked: %s' % TYPE_NAMES.get(report['type'], report['type']))
    if report.get('host_timeout_seconds'):
        parts.append('host deadline %s s' % report['host_timeout_seconds'])
    parts.append('rendered %s' % report['rendered'])
    return ' \u00b7 '.join(parts)


def group_heading(group):
    """'212 hosts: need A 3.20.0 and B 2.3'."""
    return '%s: %s' % (plural(group['count'], 'host'), group['title'])


def prerequisite_line(item):
    """'A 3.20.0 from https://...' with the detail of a soft one."""
    text = '%s %s from %s' % (item.get('name'), item.get('version'), item.get('download_path'))
    if item.get('detail'):
        text += ' (why: %s)' % item['detail']
    return text


def shopping_heading(item):
    """'A 3.20.0 (required, 2 hosts)'."""
    needed = 'required' if item['type'] == 'hard' else 'recommended'
    return '%s %s (%s, %s)' % (item['name'], item['version'], needed, plural(len(item['hosts']), 'host'))


def change_text(change):
    """'ready -> blocked (newly blocked)'."""
    return '%s -> %s (%s)' % (change['previous'] or 'not checked', change['now'] or 'not checked',
                              KIND_TEXT[change['kind']])


def changes_heading(report):
    previous = (report['changes'] or {}).get('previous_run') or {}
    when = previous.get('started')
    return 'Changes since the run of %s' % when if when else 'Changes since the earlier run'


def system_id_text(host):
    """The system ID, or why it is blank ('none: no SMBIOS tables'); empty for a host not checked."""
    if host['system_id']:
        return host['system_id']
    if host.get('system_id_note'):
        return 'none: %s' % host['system_id_note']
    return ''


def prerequisites_text(host, check_type):
    """'A 3.20.0 (installed 3.10.0); B 2.3 (installed 2.2)' for one type."""
    return '; '.join('%s %s (installed %s)' % (item.get('name'), item.get('version'), item.get('current_version'))
                     for item in host['%s_prerequisites' % check_type])


def host_lines(host, change=None):
    """Everything to say about one host, one line each: reasons, overruns, what it ended, its change."""
    lines = list(reason_texts(host))
    for process in (host.get('timed_out') or {}).get('running') or []:
        lines.append('ended: %s (ran %s s)' % (process.get('command'), process.get('seconds')))
    lines.extend('collector overrun, %s' % text for text in host_overrun_texts(host))
    for process in host.get('left_behind') or []:
        lines.append('left running by the %s check and ended: %s' % (process.get('type'), process.get('command')))
    if change:
        lines.append('verdict changed since the earlier run: %s' % change_text(change))
    return lines + plan_lines(host.get('plan'))
