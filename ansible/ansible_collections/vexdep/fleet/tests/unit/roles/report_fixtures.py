# -*- coding: utf-8 -*-
"""Saved preflight results as the role writes them, one host of every kind."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import copy

BASE = 'https://downloads.example.com/vex/'
DETAIL = 'Enclosure events are reported by agent 11 or later.'


def unmet(name, path, current, version='2.0', soft=False, detail=None):
    return {'name': name, 'state': 'unmet', 'current_version': current, 'download_path': BASE + path,
            'required_version': None if soft else version, 'recommended_version': version if soft else None,
            'release_id': 'RA', 'component_id': '1', 'detail': detail}


def check(hard, soft, reported_hard=(), reported_soft=(), reasons_hard=(), reasons_soft=(), verdict=None,
          types=None, system_id='0x0A1C', origin='revision-two-byte', source='sysfs', overruns=(), timed_out=None):
    checks = {'hard': {'verdict': hard, 'reasons': list(reasons_hard), 'reported': list(reported_hard)}}
    if soft:
        checks['soft'] = {'verdict': soft, 'reasons': list(reasons_soft), 'reported': list(reported_soft)}
    return {'changed': False, 'checks': checks, 'verdict': verdict or hard, 'verdict_types': types or ['hard'],
            'system_id': system_id, 'system_id_origin': origin, 'smbios_source': source,
            'collector_overruns': list(overruns), 'timed_out': timed_out, 'left_behind': [], 'elapsed_seconds': 1.5}


def host(name, check_result=None, failure=None, connection=None):
    return {'host': name, 'connection': connection, 'failure': failure, 'check': check_result}


AGENT = unmet('Agent', 'AG.tgz', '10', '11', soft=True, detail=DETAIL)
OVERRUN = {'type': 'hard', 'release_id': 'RA', 'seconds': 30.24, 'declared_timeout_seconds': 5,
           'text': 'took 30.2 s, declares 5 s'}
RUNNING = [{'pid': 4711, 'command': 'sh -c <package>///RB//collect.sh', 'seconds': 14.6},
           {'pid': 4712, 'command': 'sleep 3600', 'seconds': 14.6}]

RAW = {
    'title': '',
    'package': None,
    'type': 'both',
    'host_timeout_seconds': 20,
    'run': {'started': '2026-05-04T09:30:00Z', 'finished': '2026-05-04T09:31:00Z'},
    'hosts': [
        host('web1', check('ready', 'ready', types=['hard', 'soft'], overruns=[OVERRUN])),
        host('web2', check('blocked', 'recommended',
                           reported_hard=[unmet('Backplane', 'BP.BIN', '1.9'), unmet('NIC <fw>', 'NIC.BIN', '1.0')],
                           reported_soft=[AGENT],
                           reasons_hard=[{'kind': 'unmet', 'text': '"Backplane": installed "1.9", required "2.0"'}])),
        host('web3', check('blocked', None, reported_hard=[unmet('Backplane', 'BP.BIN', '1.8')])),
        host('web4', check('blocked', 'ready', reported_hard=[unmet('Backplane', 'BP.BIN', '1.9')])),
        host('db1', check('ready', 'recommended', reported_soft=[AGENT], verdict='recommended', types=['soft'])),
        host('db2', check('unverifiable', 'ready', system_id=None, origin='not-read', source='none',
                          reasons_hard=[{'kind': 'inventory-failed',
                                         'text': 'the inventory of release "RB" failed'}])),
        host('db4', check('ready', 'unverifiable', verdict='unverifiable', types=['soft'], system_id=None,
                          origin='not-maker-system',
                          reasons_soft=[{'kind': 'inventory-failed',
                                         'text': 'the inventory of release "RS" failed: agent is not running'}])),
        host('db3', failure={'task': 'Run the check', 'msg': 'vexinspect not found on PATH (/usr/bin)'}),
        host('old1', check_result={'unreachable': True, 'changed': False,
                                   'msg': 'Failed to connect to the host via ssh: ssh: connect to host 10.0.0.7 '
                                          'port 22: Connection refused'}),
        host('old2', check_result={'unreachable': True, 'changed': False,
                                   'msg': 'Failed to connect to the host via ssh: ssh: connect to host 10.0.9.1 '
                                          'port 2222: Connection refused'}),
        host('old3', connection={'unreachable': True, 'msg': 'Failed to connect to the host via ssh: ssh: connect '
                                                             'to host 10.0.9.2 port 22: No route to host'}),
        host('slow1', check('ready', None, verdict='timed-out', types=[],
                            timed_out={'type': 'soft', 'seconds': 15.1, 'timeout_seconds': 15, 'running': RUNNING})),
        host('slow2', failure={'task': 'Copy, unpack and check the update package',
                               'msg': 'The vexdep.fleet.vexdep_check action failed to execute in the expected time '
                                      'frame (20) and was terminated'}),
        host('gone', check_result=None),
    ],
}


def raw():
    return copy.deepcopy(RAW)
