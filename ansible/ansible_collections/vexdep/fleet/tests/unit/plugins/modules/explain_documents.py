# -*- coding: utf-8 -*-
"""Documents as vexinspect explain --json prints them, trimmed to what the modules read."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import copy

BASE = 'https://downloads.example.com/vex/'


def dependency(display, verdict, release='RA', version='2.0', current=None, error=None, outcome='ran',
               path='A/a.bin', lookup='collected', seconds=0.05):
    return {
        'display': display, 'componentID': '1' + display[:2], 'componentType': 'FRMW', 'releaseID': release,
        'requiredVersion': version, 'verdict': verdict, 'currentVersion': current, 'errorMessage': error,
        'downloadPath': BASE + path,
        'inventory': {
            'lookup': lookup, 'outcome': outcome if lookup != 'not-looked-up' else None,
            'errorMessage': error if outcome in ('failed', 'timed-out') else None,
            'collector': None if lookup != 'collected' else {
                'command': '/pkg/%s/collect.sh' % release, 'seconds': seconds, 'declaredTimeoutSeconds': 30,
                'enforcedLimitSeconds': None, 'timedOut': outcome == 'timed-out', 'exitStatus': 0,
                'signal': None, 'warnings': []},
        },
    }


def document(requested, verdict, dependencies, reported, reasons, exit_status=255, system_id='0x0A1C',
             warnings=None):
    extra = {} if warnings is None else {'warnings': warnings}
    return copy.deepcopy(dict({
        'schemaVersion': 1, 'command': 'explain', 'requested': requested, 'packageDirectory': '/pkg/',
        'smbios': {'tableRead': system_id is not None, 'source': 'sysfs' if system_id else 'none',
                   'systemID': system_id, 'systemIDOrigin': 'revision-two-byte' if system_id else None},
        'dependencies': dependencies, 'reported': reported, 'exitStatus': exit_status, 'verdict': verdict,
        'reasons': reasons,
    }, **extra))


def reason(kind, text, dep=None, release=None):
    return {'kind': kind, 'dependency': dep, 'releaseID': release, 'text': text}


READY_HARD = document('hard', 'ready', [dependency('Met C', 'met')], [],
                      [reason('all-met', 'every applicable hard dependency is met')])
READY_SOFT = document('soft', 'ready', [dependency('Soft D', 'met')], [],
                      [reason('all-met', 'every applicable soft dependency is met')])
BLOCKED_HARD = document(
    'hard', 'blocked',
    [dependency('Unmet A', 'reported-unmet', current='1.9'),
     dependency('Failed B', 'reported-failed', release='RB', error='device did not answer', outcome='failed',
                path='B/b.bin'),
     dependency('Unmet A', 'reported-unmet', release='RC', current='1.0', path='C/a.bin')],
    [{'display': 'Unmet A', 'state': 'unmet'}, {'display': 'Failed B', 'state': 'failed'},
     {'display': 'Unmet A', 'state': 'unmet'}],
    [reason('unmet', '"Unmet A": installed "1.9", required "2.0"', 'Unmet A', 'RA'),
     reason('inventory-failed', '"Failed B": the inventory of release "RB" failed: device did not answer',
            'Failed B', 'RB'),
     reason('unmet', '"Unmet A": installed "1.0", required "2.0"', 'Unmet A', 'RC')],
    exit_status=1)
RECOMMENDED_SOFT = document(
    'soft', 'recommended', [dependency('Soft D', 'reported-unmet', version='3.1', current='3.0.9', path='D/d.tgz')],
    [{'display': 'Soft D', 'state': 'unmet'}],
    [reason('unmet', '"Soft D": installed "3.0.9", recommended "3.1"', 'Soft D', 'RA')], exit_status=2)
UNVERIFIABLE_HARD = document(
    'hard', 'unverifiable',
    [dependency('Timed E', 'no-inventory', release='RE', outcome='timed-out', error='collector timed out')],
    [], [reason('inventory-timed-out', '"Timed E": the collector of release "RE" timed out', 'Timed E', 'RE')],
    system_id=None)
