# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Hosts grouped by root cause: what the operator has to do once for all of them.

Blocked hosts are grouped by the set of hard prerequisites they miss,
recommended ones by the soft prerequisites recommended to them, unverifiable
ones by their reasons, failed and unreachable ones by their message (with
what differs from host to host - its name, addresses, ports, temporary
paths - taken out), timed-out ones by what was still running. Within a
verdict the largest group comes first. Each group is a plain dict; a new
grouping is one more key function in KEYS."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import re

from .verdicts import ATTENTION, plural

_GENERAL = [
    (re.compile(r'\b\d{1,3}(?:\.\d{1,3}){3}\b'), '<address>'),
    (re.compile(r'\[[0-9a-fA-F:]*:[0-9a-fA-F:]*\]'), '<address>'),
    (re.compile(r'\bport \d+\b'), 'port <port>'),
    (re.compile(r'ansible-tmp-[0-9.]+-[0-9]+-[0-9]+'), 'ansible-tmp-<id>'),
    (re.compile(r'vexdep-(preflight|install)-[a-z0-9_]{8}\b'), r'vexdep-\1-<id>'),
    (re.compile(r'\bpid \d+\b'), 'pid <pid>'),
]


def generalize(text, host=None):
    """A message with what differs from host to host taken out, so that equal causes group together."""
    text = text or ''
    if host:
        text = text.replace(str(host), '<host>')
    for pattern, replacement in _GENERAL:
        text = pattern.sub(replacement, text)
    return text.strip()


def _prerequisite_key(items):
    return tuple(sorted((item.get('name') or '', item.get('version') or '', item.get('download_path') or '')
                        for item in items))


def _needs_title(items, lead):
    """'need A 1.0, B 2.0 and C 3.0' (at most three named)."""
    names = ['%s %s' % (name, version) for name, version, _ in items]
    if len(names) > 3:
        names = names[:3] + ['%d more' % (len(names) - 3)]
    text = names[0] if len(names) == 1 else '%s and %s' % (', '.join(names[:-1]), names[-1])
    return '%s %s' % (lead, text)


def blocked_key(host):
    key = _prerequisite_key(host['hard_prerequisites'])
    if key:
        return key, _needs_title(key, 'need')
    texts = tuple(sorted(generalize(r['text'], host['host']) for r in host['reasons'] if r['type'] == 'hard'))
    return texts, 'blocked: ' + '; '.join(texts)


def recommended_key(host):
    key = _prerequisite_key(host['soft_prerequisites'])
    return key, _needs_title(key, 'recommended first:') if key else 'recommended'


def unverifiable_key(host):
    texts = tuple(sorted(set('%s: %s' % (r['type'], generalize(r['text'], host['host'])) for r in host['reasons']
                             if r['kind'] != 'unmet')))
    return texts, '; '.join(texts) or 'unverifiable, without a reason given'


def message_key(host):
    text = generalize(host['message'], host['host']) or host['status']
    return text, text


def _running_text(timed_out):
    commands = [process.get('command') or '' for process in timed_out.get('running') or []]
    return '; '.join(generalize(command) for command in commands)


def timed_out_key(host):
    """What was running when the deadline passed (the seconds differ per host and stay out of the key)."""
    timed_out = host.get('timed_out') or {}
    if timed_out.get('by') == 'controller':
        text = 'the controller stopped waiting at the host deadline of %s s (the host did not answer in time)' \
            % timed_out.get('seconds')
    else:
        running = _running_text(timed_out)
        where = '%s check' % timed_out['type'] if timed_out.get('type') else 'check'
        text = 'the %s was ended at the host deadline%s' % (where, '; still running: ' + running if running else '')
    return text, text


KEYS = {
    'blocked': blocked_key,
    'unverifiable': unverifiable_key,
    'failed': message_key,
    'unreachable': message_key,
    'timed-out': timed_out_key,
    'recommended': recommended_key,
}


def group_hosts(hosts, category):
    """The groups of one verdict, largest first: category, title, key, hosts (their names), prerequisites."""
    key_of = KEYS[category]
    groups = {}
    for host in hosts:
        if host['category'] != category:
            continue
        key, title = key_of(host)
        group = groups.get(key)
        if group is None:
            group = groups[key] = {'category': category, 'title': title, 'key': list(key) if isinstance(key, tuple)
                                   else [key], 'hosts': [], 'prerequisites': _group_prerequisites(host, category)}
        group['hosts'].append(host['host'])
    ordered = sorted(groups.values(), key=lambda g: (-len(g['hosts']), g['title']))
    for group in ordered:
        group['hosts'].sort()
        group['count'] = len(group['hosts'])
    return ordered


def _group_prerequisites(host, category):
    """What the hosts of a blocked or recommended group need (name, version, download path, detail)."""
    if category == 'blocked':
        items = host['hard_prerequisites']
    elif category == 'recommended':
        items = host['soft_prerequisites']
    else:
        return []
    seen = set()
    result = []
    for item in sorted(items, key=lambda i: (i.get('name') or '', i.get('download_path') or '')):
        key = (item.get('name'), item.get('version'), item.get('download_path'))
        if key not in seen:
            seen.add(key)
            result.append({'name': item.get('name'), 'version': item.get('version'),
                           'download_path': item.get('download_path'), 'detail': item.get('detail')})
    return result


def attention_groups(hosts):
    """Every group of the verdicts that need action, in the report's order (blocked first)."""
    result = []
    for category in ATTENTION:
        result.extend(group_hosts(hosts, category))
    return result


def summary(groups, category):
    """'312 hosts in 4 groups' for one verdict's groups."""
    selected = [g for g in groups if g['category'] == category]
    hosts = sum(g['count'] for g in selected)
    return '%s, %s' % (plural(hosts, 'host'), plural(len(selected), 'cause'))
