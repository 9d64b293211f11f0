#!/usr/bin/python3
# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Synthetic preflight results of a large fleet, shaped exactly as the preflight saves them.

Usage: synthetic_fleet.py HOSTS RESULTS.json [--previous PREVIOUS.json] [--seed N] [--plans]

Every host entry is what the role registers: the vexdep_check module's
result (checks per type with reasons, reported dependencies with download
paths and details, collectors, overruns, system ID), an unreachable
connection, a failure kept by the rescue, or a check ended by its deadline.
The mix is that of a real fleet: most hosts ready, a fifth blocked by a few
combinations of missing prerequisites of very different sizes (one large
model generation, smaller ones), unverifiable hosts (a failed hard or soft
collector), unreachable hosts with the messages SSH gives (addresses and
ports differ per host), failed ones, timed-out ones, several server models
and hosts without tables or of another maker, collectors that overrun their
declared time, long host names and messages. The same seed gives the same
fleet; --previous writes an earlier run in which some hosts had other
verdicts, some were not yet there and some have gone since.

With --plans the preflight ran with a repository: every blocked, recommended
and unverifiable host has the vexdep_plan module's result, whose steps follow
from what it misses (the backplane through its intermediate version, the
enclosure processor after the backplane, the network adapter after the
management agent, ...), so that the fleet's waves are known: wave 1 the
intermediate backplane firmware, the BIOS and the agent (for hosts without
the BIOS step), and so on (see PLAN_STEPS). Hosts of model 0x07 find no
network adapter firmware for their adapter in the repository (blocked: missing),
unverifiable hosts have unverifiable plans, and a few plans fail or time out.
"""

from __future__ import absolute_import, division, print_function

import argparse
import json
import os
import random
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.normpath(os.path.join(HERE, '..', '..')))

from ansible_collections.vexdep.fleet.plugins.module_utils.verdict import host_verdict  # noqa: E402

BASE = 'https://downloads.example.com/vex/'
PACKAGE = '/srv/updates/FLT01'

# (name, component ID, required version, download path, release)
BACKPLANE = ('Storage Backplane Firmware', '104500', '3.20.0', 'FOLDER04/BACKPLANE/BP_FW_3.20.0.BIN', 'REL001')
SEP = ('Enclosure Processor Firmware', '104600', '2.3', 'FOLDER04/SEP/SEP_2.3.BIN', 'REL001')
NIC = ('Network Adapter Firmware', '108800', '22.5.7', 'FOLDER07/NIC/NIC_FW_22.5.7_A00.BIN', 'REL003')
BIOS = ('System BIOS', '159', '2.19.1', 'FOLDER02/BIOS/BIOS_2.19.1.BIN', 'REL003')
AGENT = ('Systems Management Agent', '112233', '11.0.0', 'FOLDER11/AGENT/mgmt-agent-11.0.0.tar.gz', 'REL002')
AGENT_DETAIL = 'Enclosure events are reported by agent 11 or later; older agents drop fan alerts during the update.'
RAID = ('RAID Controller Driver', '117700', '7.716.3', 'FOLDER09/RAID/raid-driver-7.716.3.tar.gz', 'REL002')
RAID_DETAIL = 'Driver 7.716 keeps the controller cache consistent while the enclosure restarts.'

# The combinations of missing hard prerequisites, with their weights: one
# large model generation, then smaller ones.
BLOCKER_SETS = (
    (55, (BACKPLANE,)),
    (25, (BACKPLANE, SEP)),
    (12, (NIC,)),
    (6, (BIOS, NIC)),
    (2, (BACKPLANE, SEP, NIC, BIOS)),
)
MODELS = (('0x0A1C', 'revision-two-byte', 'sysfs'), ('0x0A1D', 'revision-two-byte', 'sysfs'),
          ('0x0B2F', 'revision-two-byte', 'sysfs'), ('0x07', 'revision-single-byte', 'sysfs'))


# The plan steps that each missing or recommended prerequisite brings, in
# order: (package path, display, component, to version, intermediate).
BP_315 = ('FOLDER04/BACKPLANE/BP_FW_3.15.0.BIN', 'Storage Backplane Firmware 3.15.0', BACKPLANE[0], '3.15.0', True)
BP_320 = ('FOLDER04/BACKPLANE/BP_FW_3.20.0.BIN', 'Storage Backplane Firmware 3.20.0', BACKPLANE[0], '3.20.0', False)
SEP_23 = ('FOLDER04/SEP/SEP_2.3.BIN', 'Enclosure Processor Firmware 2.3', SEP[0], '2.3', False)
AGENT_11 = ('FOLDER11/AGENT/mgmt-agent-11.0.0.tar.gz', 'Systems Management Agent 11.0.0', AGENT[0], '11.0.0', False)
NIC_2257 = ('FOLDER07/NIC/NIC_FW_22.5.7_A00.BIN', 'Network Adapter Firmware 22.5.7', NIC[0], '22.5.7', False)
BIOS_2191 = ('FOLDER02/BIOS/BIOS_2.19.1.BIN', 'System BIOS 2.19.1', BIOS[0], '2.19.1', False)
RAID_7716 = ('FOLDER09/RAID/raid-driver-7.716.3.tar.gz', 'RAID Controller Driver 7.716.3', RAID[0], '7.716.3', False)
PLAN_STEPS = {
    BACKPLANE: (BP_315, BP_320),
    SEP: (SEP_23,),
    NIC: (AGENT_11, NIC_2257),
    BIOS: (BIOS_2191,),
    AGENT: (AGENT_11,),
    RAID: (RAID_7716,),
}
# The order in which a host's missing prerequisites are planned (the
# enclosure processor needs the backplane at 3.20.0, the adapter the agent).
PLAN_ORDER = (BACKPLANE, SEP, BIOS, NIC, AGENT, RAID)


def weighted(rng, choices):
    total = sum(weight for weight, _ in choices)
    point = rng.uniform(0, total)
    for weight, value in choices:
        point -= weight
        if point <= 0:
            return value
    return choices[-1][1]


def reported(dep, check_type, current, detail=None):
    name, component, version, path, release = dep
    return {'name': name, 'component_id': component, 'component_type': 'FRMW', 'release_id': release,
            'state': 'unmet', 'current_version': current,
            'required_version': version if check_type == 'hard' else None,
            'recommended_version': version if check_type == 'soft' else None,
            'download_path': BASE + path, 'error_message': None, 'detail': detail}


def older(rng, version):
    parts = version.split('.')
    parts[-1] = str(max(0, int(parts[-1]) - rng.randint(1, 9))) if parts[-1].isdigit() else parts[-1]
    if len(parts) > 1 and parts[-2].isdigit() and rng.random() < 0.5:
        parts[-2] = str(max(0, int(parts[-2]) - 1))
    return '.'.join(parts)


def collector(rng, release, overrun=False):
    declared = 60 if release != 'REL003' else 20
    seconds = round(rng.uniform(declared + 5, declared * 3), 1) if overrun else round(rng.uniform(0.2, 9.0), 2)
    return {'release_id': release, 'seconds': seconds, 'declared_timeout_seconds': declared,
            'enforced_limit_seconds': None, 'timed_out': False, 'exit_status': 0, 'signal': None,
            'exceeded_declared_timeout': overrun,
            'warnings': ['took %.1f s, declares %d s: a checker with the time-limit guard on would report it '
                         'Failed' % (seconds, declared)] if overrun else []}


def check_of(verdict, reasons=(), reported_list=(), collectors=()):
    exit_status = {'blocked': 1, 'recommended': 2}.get(verdict, 255)
    return {'verdict': verdict, 'reasons': list(reasons), 'reported': list(reported_list),
            'exit_status': exit_status, 'failed_inventories': [], 'collectors': list(collectors)}


def reason(kind, text, dependency=None, release=None):
    return {'kind': kind, 'dependency': dependency, 'release_id': release, 'text': text}


def unmet_reason(dep, current, word):
    return reason('unmet', '"%s": installed "%s", %s "%s"' % (dep[0], current, word, dep[2]), dep[0], dep[4])


def module_result(rng, checks, model, overrun=False, timed_out=None):
    requested = ['hard', 'soft']
    if timed_out is None:
        verdict, verdict_types = host_verdict(checks, requested)
    else:
        verdict, verdict_types = 'timed-out', []
    overruns = []
    for check_type in ('hard', 'soft'):
        for entry in (checks.get(check_type) or {}).get('collectors') or []:
            if entry['exceeded_declared_timeout']:
                overruns.append({'type': check_type, 'release_id': entry['release_id'], 'seconds': entry['seconds'],
                                 'declared_timeout_seconds': entry['declared_timeout_seconds'],
                                 'text': 'took %.1f s, declares %d s' % (entry['seconds'],
                                                                         entry['declared_timeout_seconds'])})
    system_id, origin, source = model
    return {
        'changed': False, 'failed': False, 'requested': requested, 'checks': checks, 'verdict': verdict,
        'verdict_types': verdict_types, 'collector_overruns': overruns, 'timed_out': timed_out,
        'left_behind': [], 'elapsed_seconds': round(rng.uniform(0.8, 12.0), 1), 'system_id': system_id,
        'system_id_origin': origin, 'smbios_source': source, 'vexinspect': '/usr/sbin/vexinspect',
        'package_dir': '/var/tmp/vexdep-preflight-%08x' % rng.getrandbits(32),
        'invocation': {'module_args': {'package_archive': '/root/.ansible/tmp/ansible-tmp-%d/package.tar.gz'
                                       % rng.getrandbits(40), 'type': 'both', 'vexinspect': None,
                                       'collector_timeout': None, 'timeout': 570, 'tmp_parent': '/var/tmp',
                                       'package_dir': None, 'src': None}},
    }


def plan_step(number, step, current):
    package, display, component, version, intermediate = step
    return {'step': number, 'package': package, 'format': 'directory', 'display': display, 'componentType': 'FRMW',
            'digest': 'sha256:' + '0' * 64, 'component': {'display': component, 'componentID': '0',
                                                         'componentType': 'FRMW', 'deviceType': 'non-pci',
                                                         'pci': None},
            'fromVersion': current, 'toVersion': version, 'requiredVersion': version,
            'requestedPath': package, 'substituted': False, 'steppingStone': intermediate, 'chain': [],
            'rejected': []}


def plan_blocker(kind, dependency, required, reason_kind=None, package=None):
    return {'kind': kind, 'reasonKind': reason_kind, 'package': package, 'dependency': dependency,
            'component': None, 'requiredVersion': required, 'reason': '%s: %s' % (kind, dependency), 'chain': [],
            'cycle': [], 'rejected': []}


def plan_result(rng, host):
    """The vexdep_plan result of a checked host, following from what its check found."""
    check = host['check']
    if rng.random() < 0.004:
        return {'plan': None, 'plan_failure': {'task': 'Plan the prerequisites over the repository',
                                               'msg': 'repository archive /root/.ansible/tmp/ansible-tmp-%d/'
                                                      'repository.tar.gz cannot be unpacked: unexpected end of data'
                                                      % rng.getrandbits(40)}}
    if rng.random() < 0.003:
        return {'plan': {'changed': False, 'verdict': 'timed-out', 'plan': None, 'elapsed_seconds': 540.0,
                         'timed_out': {'seconds': 540.0, 'timeout_seconds': 540, 'running': []}}}
    missing = set()
    for check_type in ('hard', 'soft'):
        for item in (check['checks'].get(check_type) or {}).get('reported') or []:
            missing.update(dep for dep in PLAN_ORDER if dep[0] == item['name'])
    steps, blockers, seen = [], [], set()
    for dep in PLAN_ORDER:
        if dep not in missing:
            continue
        if dep is NIC and check['system_id'] == '0x07':
            blockers.append(plan_blocker('missing', NIC[0], NIC[2]))
            continue
        for step in PLAN_STEPS[dep]:
            if step not in seen:
                seen.add(step)
                steps.append(plan_step(len(steps) + 1, step, older(rng, step[3])))
    if check['verdict'] == 'unverifiable':
        blockers.append(plan_blocker('unverifiable', BACKPLANE[0] if check['verdict_types'] == ['hard'] else AGENT[0],
                                     None, 'inventory-failed'))
    verdict = 'blocked' if any(b['kind'] != 'unverifiable' for b in blockers) else \
        'unverifiable' if blockers else 'complete' if steps else 'nothing-needed'
    document = {'schemaVersion': 1, 'command': 'plan', 'requested': 'both', 'verdict': verdict,
                'verdictExitStatus': {'nothing-needed': 0, 'complete': 1, 'blocked': 2, 'unverifiable': 3}[verdict],
                'steps': steps, 'blockers': blockers, 'warnings': []}
    return {'plan': {'changed': False, 'verdict': verdict, 'plan': document, 'timed_out': None, 'left_behind': [],
                     'elapsed_seconds': round(rng.uniform(1.0, 20.0), 1), 'requested': 'both',
                     'vexinspect': '/usr/sbin/vexinspect'}}


def checked_host(rng, blockers=(), soft=(), hard_failure=None, soft_failure=None, overrun=False):
    """A checked host: blockers are the hard prerequisites it misses, soft the recommended ones."""
    model = rng.choice(MODELS) if rng.random() > 0.04 else \
        (None, 'not-maker-system', 'sysfs') if rng.random() < 0.5 else (None, 'not-read', 'none')
    hard_reported = [reported(dep, 'hard', older(rng, dep[2])) for dep in blockers]
    hard_reasons = [unmet_reason(dep, r['current_version'], 'required') for dep, r in zip(blockers, hard_reported)]
    hard_collectors = [collector(rng, 'REL001', overrun), collector(rng, 'REL003')]
    if hard_failure:
        hard_reasons.append(reason('inventory-failed', '"Storage Backplane Firmware": the inventory of release '
                                   '"REL001" failed: %s' % hard_failure, BACKPLANE[0], 'REL001'))
    hard_verdict = 'blocked' if blockers else 'unverifiable' if hard_failure else 'ready'
    if hard_verdict == 'ready':
        hard_reasons = [reason('all-met', 'every applicable hard dependency is met')]
    soft_reported = [reported(dep, 'soft', older(rng, dep[2]), detail) for dep, detail in soft]
    soft_reasons = [unmet_reason(dep, r['current_version'], 'recommended')
                    for (dep, _), r in zip(soft, soft_reported)]
    if soft_failure:
        soft_reasons.append(reason('inventory-failed', '"Systems Management Agent": the inventory of release '
                                   '"REL002" failed: %s' % soft_failure, AGENT[0], 'REL002'))
    soft_verdict = 'recommended' if soft else 'unverifiable' if soft_failure else 'ready'
    if soft_verdict == 'ready':
        soft_reasons = [reason('all-met', 'every applicable soft dependency is met')]
    checks = {'hard': check_of(hard_verdict, hard_reasons, hard_reported, hard_collectors),
              'soft': check_of(soft_verdict, soft_reasons, soft_reported, [collector(rng, 'REL002')])}
    return module_result(rng, checks, model)


def ready(rng):
    return {'check': checked_host(rng, overrun=rng.random() < 0.03)}


def recommended(rng):
    soft = [(AGENT, AGENT_DETAIL)] if rng.random() < 0.75 else [(AGENT, AGENT_DETAIL), (RAID, RAID_DETAIL)]
    return {'check': checked_host(rng, soft=soft)}


def blocked(rng):
    blockers = weighted(rng, BLOCKER_SETS)
    soft = [(AGENT, AGENT_DETAIL)] if rng.random() < 0.4 else []
    return {'check': checked_host(rng, blockers=blockers, soft=soft, overrun=rng.random() < 0.05)}


def unverifiable(rng):
    if rng.random() < 0.6:
        return {'check': checked_host(rng, hard_failure=rng.choice([
            'backplane controller did not answer',
            'the enclosure management bus is busy (another inventory holds the lock /var/lock/vexdep-ses.lock); '
            'retry after the running firmware inventory has finished or remove the stale lock file by hand']))}
    return {'check': checked_host(rng, soft_failure='agent service is not running')}


def failed(rng):
    message = rng.choice([
        ('Copy, unpack and check the update package', 'vexinspect not found on PATH (/usr/local/sbin:/usr/local/bin:'
         '/usr/sbin:/usr/bin:/sbin:/bin): install the checker on the host (the preflight role installs its Debian '
         'package when preflight_install_deb names it) or give the path of vexinspect (the vexinspect option; '
         'preflight_vexinspect in the preflight role)'),
        ('Copy, unpack and check the update package', 'temporary parent /srv/preflight-tmp does not exist on this '
         'host or is not a directory (the tmp_parent option; preflight_remote_tmp_parent in the preflight role)'),
        ('Install the checker\'s Debian package', 'dpkg: error processing archive /tmp/vexdep-install-%s/vexdepcheck'
         '.deb (--install): dependency problems - leaving unconfigured' % rng.choice(['k2j4l1x0', 'a81bc9q2'])),
    ])
    return {'failure': {'task': message[0], 'msg': message[1]}, 'check': {'failed': True, 'msg': message[1]}}


def unreachable(rng, name):
    address = '10.%d.%d.%d' % (rng.randint(0, 40), rng.randint(0, 255), rng.randint(1, 254))
    message = rng.choice([
        'Failed to connect to the host via ssh: ssh: connect to host %s port 22: Connection refused' % address,
        'Failed to connect to the host via ssh: ssh: connect to host %s port 22: Connection timed out' % address,
        'Failed to connect to the host via ssh: ssh: connect to host %s port 22: No route to host' % address,
        'Failed to connect to the host via ssh: ops@%s: Permission denied (publickey,password).' % name,
    ])
    return {'check': {'unreachable': True, 'changed': False, 'msg': message}}


def timed_out(rng):
    if rng.random() < 0.2:
        return {'failure': {'task': 'Copy, unpack and check the update package',
                            'msg': 'The vexdep.fleet.vexdep_check action failed to execute in the expected time '
                                   'frame (600) and was terminated'}, 'check': None}
    checks = {'hard': checked_host(rng)['checks']['hard']}
    running = [{'pid': rng.randint(2000, 60000), 'command': '/usr/sbin/vexinspect explain soft --package-dir '
                '<package> --json', 'seconds': 569.8},
               {'pid': rng.randint(2000, 60000), 'command': 'sh -c <package>///REL002//collect.sh', 'seconds': 569.1},
               {'pid': rng.randint(2000, 60000), 'command': '/usr/bin/python3 <package>/REL002/agent-query.py '
                '--wait-for-service', 'seconds': 569.1}]
    result = module_result(rng, checks, rng.choice(MODELS),
                           timed_out={'type': 'soft', 'seconds': 570.0, 'timeout_seconds': 570, 'running': running})
    return {'check': result}


PROFILES = (
    (58, 'ready'), (8, 'recommended'), (20, 'blocked'), (5, 'unverifiable'), (2, 'failed'), (5, 'unreachable'),
    (2, 'timed-out'),
)
MAKERS = {'ready': ready, 'recommended': recommended, 'blocked': blocked, 'unverifiable': unverifiable,
          'failed': failed, 'timed-out': timed_out}


def host_names(count):
    names = []
    for index in range(count):
        rack, slot = divmod(index, 40)
        if index % 97 == 5:
            names.append('storage-archive-node-%05d.long-retention.eu-central-datacentre-3.example.net' % index)
        else:
            names.append('r%03d-n%02d.dc%d.example.net' % (rack + 1, slot + 1, 1 + rack % 3))
    return names


def entry(rng, name, profile, plans=None):
    """One host's saved entry; plans: the random source of its plan (None: the run planned nothing)."""
    made = unreachable(rng, name) if profile == 'unreachable' else MAKERS[profile](rng)
    host = {'host': name, 'connection': None, 'failure': made.get('failure'), 'check': made.get('check')}
    if plans is not None:
        # As the role registers it: a skipped result where no plan was made.
        host.update(plan={'changed': False, 'skipped': True, 'skip_reason': 'Conditional result was False'},
                    plan_failure=None)
        if profile in ('blocked', 'recommended', 'unverifiable'):
            host.update(plan_result(plans, host))
    return host


def generate(count, seed=26, started='2026-05-04T09:30:00Z', finished='2026-05-04T10:12:41Z', previous=False,
             plans=False):
    """The saved results of a fleet of count hosts; previous=True: the earlier run of the same fleet."""
    rng = random.Random(seed)
    names = host_names(count)
    profiles = [weighted(rng, PROFILES) for _ in names]
    if previous:
        drift = random.Random(seed + 1)
        for index, profile in enumerate(profiles):
            if drift.random() < 0.06:
                profiles[index] = weighted(drift, PROFILES)
        # A few hosts joined since the earlier run, a few have gone.
        gone = ['retired-%03d.dc1.example.net' % index for index in range(max(1, count // 500))]
        kept = [index for index in range(len(names)) if index % 211 != 7]
        names = [names[index] for index in kept] + gone
        profiles = [profiles[index] for index in kept] + ['ready'] * len(gone)
        started, finished = '2026-04-27T09:30:00Z', '2026-04-27T10:09:03Z'
    # The plans draw from a source of their own: the fleet is the same with and without them.
    plan_rng = random.Random(seed + 2) if plans else None
    hosts = [entry(rng, name, profile, plan_rng) for name, profile in zip(names, profiles)]
    document = {'title': '', 'package': PACKAGE, 'type': 'both', 'host_timeout_seconds': 600,
                'run': {'started': started, 'finished': finished}, 'hosts': hosts}
    if plans:
        document['repository'] = {'path': '/srv/repository', 'packed': '/tmp/vexdep-repository-x/repository.tar.gz: '
                                  '7 packages (1.4 GiB in the repository), 96 KiB of metadata in 41 members, '
                                  '12 KiB packed; 0 refused, 0 skipped'}
    return document


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    parser.add_argument('hosts', type=int)
    parser.add_argument('results')
    parser.add_argument('--previous', help='also write an earlier run of the same fleet here')
    parser.add_argument('--seed', type=int, default=26)
    parser.add_argument('--plans', action='store_true', help='the preflight ran with a repository')
    args = parser.parse_args(argv)
    write(generate(args.hosts, args.seed, plans=args.plans), args.results)
    if args.previous:
        write(generate(args.hosts, args.seed, previous=True, plans=args.plans), args.previous)
    return 0


def write(document, path):
    """As the role's template writes the results: one host a line."""
    hosts = document.pop('hosts')
    head = json.dumps(document, indent=2)[:-2]
    with open(path, 'w') as handle:
        handle.write('%s,\n  "hosts": [\n%s\n  ]\n}\n' % (head, ',\n'.join('    ' + json.dumps(h) for h in hosts)))


if __name__ == '__main__':
    sys.exit(main())
