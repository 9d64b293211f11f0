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

COLUMNS = ('host', 'verdict', 'verdict_types', 'hard_verdict', 'soft_verdict', 'system_id', 'system_id_note',
           'hard_prerequisites', 'hard_download_paths', 'soft_prerequisites', 'soft_download_paths',
           'soft_details', 'reasons', 'collector_overruns', 'timed_out_running', 'previous_verdict', 'change')


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
    writer = csv.DictWriter(buffer, fieldnames=COLUMNS, lineterminator='\n')
    writer.writeheader()
    changed = host_changes(report)
    for host in report['hosts']:
        writer.writerow(row(host, changed.get(host['host'])))
    # Hosts of the earlier run that this run did not target: a row with no verdict says so.
    for change in (report.get('changes') or {}).get('hosts') or []:
        if change['kind'] == 'gone-host':
            gone = dict((column, '') for column in COLUMNS)
            gone.update(host=change['host'], previous_verdict=change['previous'], change=KIND_TEXT[change['kind']])
            writer.writerow(gone)
    return buffer.getvalue()
