# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The report's data model, built from the saved results; the renderers read nothing else.

The model is a plain dict, which fleet-report.json holds as it is:
schemaVersion, title, package (identity from package.xml), run (started,
finished), rendered, type, host_timeout_seconds, counts,
unverifiable_by_type, hosts[], groups[] (what needs action, by root cause,
blocked first), recommended_groups[], prerequisites{hard, soft},
overruns[], changes (null without an earlier run), plan (null when the
preflight ran without a repository: see plans.py). A later section (a plan,
another grouping) is one more key filled by one more function here, and one
more section in each renderer."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import datetime
import os

from . import changes as changes_of
from . import package as package_of
from .groups import attention_groups, group_hosts, timed_out_key
from .hosts import category_of, normalize_host
from .overruns import fleet_overruns
from .plans import fleet_plan, plan_changes, plan_of
from .prerequisites import shopping_list
from .verdicts import CATEGORIES, CAN_TAKE, plural

SCHEMA_VERSION = 2


def now_text():
    return datetime.datetime.now(datetime.timezone.utc).strftime('%Y-%m-%dT%H:%M:%SZ')


def split_document(document):
    """(hosts, metadata) of saved results, an earlier report, or a bare list of hosts."""
    if isinstance(document, dict):
        return document.get('hosts') or [], dict((k, v) for k, v in document.items() if k != 'hosts')
    return document, {}


def normalize_hosts(entries):
    """The report's hosts, in the report's order: by verdict (what needs action first), then by name."""
    hosts = [normalize_host(entry) for entry in entries]
    hosts.sort(key=lambda h: (CATEGORIES.index(h['category']), str(h['host'])))
    return hosts


def count(hosts):
    counts = dict((category, 0) for category in CATEGORIES)
    by_type = {'hard': 0, 'soft': 0}
    for host in hosts:
        counts[host['category']] += 1
        if host['category'] == 'unverifiable':
            for check_type in host['verdict_types'] or ['hard']:
                by_type[check_type] = by_type.get(check_type, 0) + 1
    return counts, by_type


def run_of(meta):
    """The run's start and end: kept from the results (or an earlier report) when re-rendered."""
    run = meta.get('run')
    if isinstance(run, dict):
        return {'started': run.get('started'), 'finished': run.get('finished')}
    # A first-version report only had the time it was written.
    return {'started': meta.get('generated'), 'finished': None}


def package_identity(meta, package_path=None):
    """(identity, note): the package's identity, from package.xml where it can be read, else kept."""
    path = package_path or meta.get('package')
    if isinstance(path, dict):
        return path, None
    if path and os.path.exists(path):
        return package_of.identify(path)
    if path:
        name = os.path.basename(str(path).rstrip('/'))
        return {'name': None, 'version': None, 'package_id': name, 'release_id': None, 'path': path}, \
            'the package %s is not on this machine: its package.xml was not read' % path
    return None, None


def title_of(meta, identity, title=None):
    """The given title, else the saved one, else "Preflight of" the package's name and version."""
    label = package_of.label(identity)
    saved = meta.get('title')
    if title:
        return title
    if saved and saved != 'Fleet preflight':
        return saved
    return 'Preflight of %s' % label if label else 'Fleet preflight'


def build_report(document, previous=None, title=None, package_path=None, rendered=None):
    """The report from saved results (or an earlier report), optionally against an earlier run's."""
    entries, meta = split_document(document)
    hosts = normalize_hosts(entries)
    identity, package_note = package_identity(meta, package_path)
    counts, by_type = count(hosts)
    report = {
        'schemaVersion': SCHEMA_VERSION,
        'title': title_of(meta, identity, title),
        'package': identity,
        'package_note': package_note,
        'run': run_of(meta),
        'rendered': rendered or now_text(),
        'type': meta.get('type'),
        'host_timeout_seconds': meta.get('host_timeout_seconds'),
        'counts': counts,
        'unverifiable_by_type': by_type,
        'hosts': hosts,
        'groups': attention_groups(hosts),
        'recommended_groups': group_hosts(hosts, 'recommended'),
        'prerequisites': shopping_list(hosts),
        'overruns': fleet_overruns(hosts),
        'changes': None,
    }
    report['plan'] = fleet_plan(hosts, report['groups'], meta)
    if previous is not None:
        report['changes'] = changes_section(hosts, previous)
    return report


def changes_section(hosts, previous):
    entries, meta = split_document(previous)
    previous_hosts = [{'host': entry.get('host'), 'category': category_of(entry)} for entry in entries]
    found = changes_of.compare(hosts, previous_hosts)
    section = {
        'previous_run': run_of(meta),
        'counts': changes_of.counts(found),
        'summary': changes_of.summary(found),
        'hosts': found,
        'plans': None,
    }
    previous_plans = dict((entry.get('host'), plan_of(entry)) for entry in entries)
    # Plans are compared when both runs planned; a run without a repository has none to compare.
    if any(previous_plans.values()) and any(host.get('plan') for host in hosts):
        section['plans'] = plan_changes(hosts, previous_plans)
        section['summary'] += '; %s' % changes_of.plan_summary(section['plans'])
    return section


def host_changes(report):
    """{host: change} of the report's changes (empty without an earlier run)."""
    changes = report.get('changes') or {}
    return dict((change['host'], change) for change in changes.get('hosts') or [])


def headline(report):
    """'2 of 7 hosts can take the update now; blocked: 1, unverifiable: 2 (hard 1, soft 1), ...'."""
    counts = report['counts']
    total = sum(counts.values())
    can = sum(counts[category] for category in CAN_TAKE)
    by_type = report.get('unverifiable_by_type') or {}
    unverifiable = '%d' % counts['unverifiable']
    if counts['unverifiable']:
        unverifiable += ' (%s)' % ', '.join('%s %d' % (t, by_type[t]) for t in ('hard', 'soft') if by_type.get(t))
    return ('%d of %s can take the update now; blocked: %d, unverifiable: %s, timed out: %d, failed: %d, '
            'unreachable: %d.' % (can, plural(total, 'host'), counts['blocked'], unverifiable, counts['timed-out'],
                                  counts['failed'], counts['unreachable']))


def reason_texts(host):
    """The reasons shown for one host: the check's reasons, or why it was not checked."""
    if host['status'] == 'timed-out':
        timed_out = host.get('timed_out') or {}
        return ['%s (after %s s)' % (timed_out_key(host)[1], timed_out.get('seconds'))]
    if host['status'] != 'checked':
        return [host['message'] or host['status']]
    return ['%s: %s' % (reason['type'], reason['text']) for reason in host['reasons']]


def run_text(report):
    """'run 2026-05-01T10:00:00Z' or why there is no time."""
    run = report.get('run') or {}
    return 'run %s' % run['started'] if run.get('started') else 'run time not recorded'
