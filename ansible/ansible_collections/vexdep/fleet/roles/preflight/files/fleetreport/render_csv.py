# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The report as CSV for spreadsheets: one row per host, hard and soft prerequisites in columns of their own."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import csv
import io

from . import wording
from .changes import KIND_TEXT
from .model import host_changes, reason_texts
from .overruns import host_overrun_texts
from .plans import PLAN_CHANGE_TEXT, blocker_text, plan_summary, steps_text

COLUMNS = ('host', 'verdict', 'verdict_types', 'hard_verdict', 'soft_verdict', 'system_id', 'system_id_note',
           'hard_prerequisites', 'hard_download_paths', 'soft_prerequisites', 'soft_download_paths',
           'soft_details', 'reasons', 'collector_overruns', 'timed_out_running', 'previous_verdict', 'change')


# With plans (a preflight with a repository), after the columns above.
PLAN_COLUMNS = ('plan_verdict', 'plan_ready_after_wave', 'plan_steps', 'plan_blockers', 'plan_summary',
                'plan_change')


def columns(report):
    return COLUMNS + (PLAN_COLUMNS if report.get('plan') is not None else ())


def plan_cells(host, plan_change=None):
    """The plan columns of one host."""
    plan = host.get('plan') or {}
    wave = plan.get('ready_after_wave')
    return {
        'plan_verdict': plan.get('verdict') or plan.get('status') or '',
        'plan_ready_after_wave': '' if wave is None else str(wave),
        'plan_steps': steps_text(plan),
        'plan_blockers': '; '.join(blocker_text(b) for b in plan.get('blockers') or []),
        'plan_summary': plan_summary(host.get('plan')),
        'plan_change': '%s: %s -> %s' % (PLAN_CHANGE_TEXT[plan_change['kind']], plan_change['previous'],
                                         plan_change['now']) if plan_change else '',
    }


def _paths(host, check_type):
    return ' '.join(sorted(set(item.get('download_path') or '' for item in host['%s_prerequisites' % check_type])))


def row(host, change=None):
    """The row of one host, by column name."""
    running = (host.get('timed_out') or {}).get('running') or []
    details = []
    for item in host['soft_prerequisites']:
        if item.get('detail') and item['detail'] not in details:
            details.append(item['detail'])
    return {
        'host': host['host'],
        'verdict': host['category'],
        'verdict_types': ' '.join(host.get('verdict_types') or []),
        'hard_verdict': host['hard_verdict'] or '',
        'soft_verdict': host['soft_verdict'] or '',
        'system_id': host['system_id'] or '',
        'system_id_note': host.get('system_id_note') or '',
        'hard_prerequisites': wording.prerequisites_text(host, 'hard'),
        'hard_download_paths': _paths(host, 'hard'),
        'soft_prerequisites': wording.prerequisites_text(host, 'soft'),
        'soft_download_paths': _paths(host, 'soft'),
        'soft_details': '; '.join(details),
        'reasons': '; '.join(reason_texts(host)),
        'collector_overruns': '; '.join(host_overrun_texts(host)),
        'timed_out_running': '; '.join(p.get('command') or '' for p in running),
        'previous_verdict': (change or {}).get('previous') or '',
        'change': KIND_TEXT[change['kind']] if change else '',
    }


def render(report):
    buffer = io.StringIO()
    fields = columns(report)
    writer = csv.DictWriter(buffer, fieldnames=fields, lineterminator='\n')
    writer.writeheader()
    changed = host_changes(report)
    planned = report.get('plan') is not None
    plans_changed = dict((c['host'], c) for c in (report.get('changes') or {}).get('plans') or [])
    for host in report['hosts']:
        cells = row(host, changed.get(host['host']))
        if planned:
            cells.update(plan_cells(host, plans_changed.get(host['host'])))
        writer.writerow(cells)
    # Hosts of the earlier run that this run did not target: a row with no verdict says so.
    for change in (report.get('changes') or {}).get('hosts') or []:
        if change['kind'] == 'gone-host':
            gone = dict((column, '') for column in fields)
            gone.update(host=change['host'], previous_verdict=change['previous'], change=KIND_TEXT[change['kind']])
            writer.writerow(gone)
    return buffer.getvalue()
