# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""One host of the report from what the play registered for it.

A raw entry is what the preflight saves per host: the host's name, the
result of a task that found it unreachable (connection), the failure that
the role's rescue kept (failure) and the check's registered result (check).
An entry of an earlier fleet-report.json is taken as it is (one of the first
version gets its prerequisites split by type)."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import re

from .plans import host_plan
from .verdicts import CATEGORIES

# What Ansible's task keyword timeout leaves in the result when the
# controller stopped waiting for the task.
_CONTROLLER_TIMEOUT = re.compile(r'failed to execute in the expected time frame \((\d+)\)')

SYSTEM_ID_NOTES = {
    'not-read': 'no SMBIOS tables could be read',
    'not-maker-system': "not the maker's system",
    'revision-two-byte-missing': 'the revision structure lacks the two-byte system ID',
    'memory-unavailable': 'no revision structure, and physical memory could not be read',
}


def _message(result):
    if not isinstance(result, dict):
        return None
    return result.get('msg') or result.get('message')


def empty_host(name):
    return {
        'host': name,
        'category': None,
        'status': None,
        'message': None,
        'verdict_types': [],
        'hard_verdict': None,
        'soft_verdict': None,
        'system_id': None,
        'system_id_origin': None,
        'smbios_source': None,
        'system_id_note': None,
        'reasons': [],
        'hard_prerequisites': [],
        'soft_prerequisites': [],
        'failed_dependencies': [],
        'overruns': [],
        'timed_out': None,
        'left_behind': [],
        'seconds': None,
        'plan': None,
    }


def system_id_note(host):
    """Why a checked host's system ID is blank, or None."""
    if host['status'] != 'checked' or host['system_id']:
        return None
    origin = host.get('system_id_origin')
    if origin in SYSTEM_ID_NOTES:
        return SYSTEM_ID_NOTES[origin]
    if not host.get('smbios_source') or host['smbios_source'] == 'none':
        return 'no SMBIOS tables'
    return 'no system ID found in the SMBIOS tables'


def _prerequisite(reported, check_type):
    item = {
        'name': reported.get('name'),
        'component_id': reported.get('component_id'),
        'release_id': reported.get('release_id'),
        'version': reported.get('required_version') if check_type == 'hard' else reported.get('recommended_version'),
        'current_version': reported.get('current_version'),
        'download_path': reported.get('download_path'),
    }
    if check_type == 'soft':
        item['detail'] = reported.get('detail')
    return item


def _add_reported(host, check_type, reported_list):
    for reported in reported_list or []:
        if reported.get('state') == 'unmet':
            host['%s_prerequisites' % check_type].append(_prerequisite(reported, check_type))
        else:
            host['failed_dependencies'].append({
                'type': check_type,
                'name': reported.get('name'),
                'release_id': reported.get('release_id'),
                'error_message': reported.get('error_message'),
                'download_path': reported.get('download_path'),
            })


def _add_check(host, check_type, result):
    host['%s_verdict' % check_type] = result.get('verdict')
    for reason in result.get('reasons') or []:
        if reason.get('kind') in ('all-met', 'none-applicable'):
            continue
        host['reasons'].append({'type': check_type, 'kind': reason.get('kind'),
                                'dependency': reason.get('dependency'), 'release_id': reason.get('release_id'),
                                'text': reason.get('text')})
    _add_reported(host, check_type, result.get('reported'))


def _details(host, check):
    """What a check that ran says about the host: verdicts, reasons, prerequisites, identity, overruns."""
    checks = check.get('checks') or {}
    host.update(
        verdict_types=list(check.get('verdict_types') or []),
        system_id=check.get('system_id'),
        system_id_origin=check.get('system_id_origin'),
        smbios_source=check.get('smbios_source'),
        overruns=list(check.get('collector_overruns') or []),
        left_behind=list(check.get('left_behind') or []),
        seconds=check.get('elapsed_seconds'),
    )
    for check_type in ('hard', 'soft'):
        if checks.get(check_type):
            _add_check(host, check_type, checks[check_type])
    host['system_id_note'] = system_id_note(host)


def _controller_timeout(message):
    match = _CONTROLLER_TIMEOUT.search(message or '') if message and 'time frame' in message else None
    return int(match.group(1)) if match else None


def _not_checked(message):
    """(category, status, message, timed_out) of a host whose check did not run or was stopped by the controller."""
    seconds = _controller_timeout(message)
    if seconds is None:
        return 'failed', 'failed', message, None
    return 'timed-out', 'timed-out', 'the controller stopped waiting for the host after %d s' % seconds, \
        {'by': 'controller', 'type': None, 'seconds': seconds, 'timeout_seconds': seconds, 'running': []}


def classify(entry):
    """(category, status, message, timed_out) of a raw entry, without reading its checks."""
    connection = entry.get('connection') or {}
    failure = entry.get('failure')
    check = entry.get('check') or {}
    if connection.get('unreachable'):
        return 'unreachable', 'unreachable', _message(connection), None
    if check.get('unreachable'):
        return 'unreachable', 'unreachable', _message(check), None
    if failure:
        if not isinstance(failure, dict):
            return _not_checked(str(failure))
        message = failure.get('msg') or 'failed'
        if _controller_timeout(message) is None and failure.get('task'):
            message = '%s: %s' % (failure['task'], message)
        return _not_checked(message)
    if check.get('failed') or 'checks' not in check:
        return _not_checked(_message(check) or 'no result: the host left the play before the check '
                            '(unreachable or failed while the checker was installed)')
    if check.get('timed_out'):
        return 'timed-out', 'timed-out', None, dict(check['timed_out'], by='host')
    verdict = check.get('verdict')
    return verdict if verdict in CATEGORIES else 'unverifiable', 'checked', None, None


def category_of(entry):
    """The category of a raw entry or of a host of an earlier report."""
    return entry['category'] if 'category' in entry else classify(entry)[0]


def from_raw(entry):
    """The report's host from a raw entry of the saved results."""
    host = empty_host(entry.get('host'))
    category, status, message, timed_out = classify(entry)
    host.update(category=category, status=status, message=message, timed_out=timed_out)
    if status == 'checked' or (timed_out or {}).get('by') == 'host':
        _details(host, entry['check'])
    if entry.get('plan') is not None or entry.get('plan_failure'):
        host['plan'] = host_plan(entry, category)
    return host


def _upgrade(entry):
    """A host of a first-version fleet-report.json in today's shape."""
    host = empty_host(entry.get('host'))
    host.update((key, value) for key, value in entry.items() if key in host)
    for reported in entry.get('reported') or []:
        _add_reported(host, reported.get('type') or 'hard', [reported])
    host['system_id_note'] = system_id_note(host)
    return host


def normalize_host(entry):
    """One host of the report from a raw entry, or an entry of an earlier report."""
    if 'category' in entry:
        return entry if 'hard_prerequisites' in entry else _upgrade(entry)
    return from_raw(entry)
