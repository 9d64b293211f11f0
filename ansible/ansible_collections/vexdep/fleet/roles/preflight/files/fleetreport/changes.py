# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The hosts whose verdict changed since an earlier run, newly blocked first."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

from .verdicts import RANK

# Each kind of change, in the order the report lists them.
KINDS = (
    ('newly-blocked', 'newly blocked'),
    ('newly-attention', 'newly needing attention'),
    ('attention-changed', 'still needing attention, for another reason'),
    ('can-take-now', 'can take the update now'),
    ('ready-changed', 'still able to take it'),
    ('new-host', 'not in the earlier run'),
    ('gone-host', 'no longer in this run'),
)
KIND_ORDER = dict((kind, index) for index, (kind, _) in enumerate(KINDS))
KIND_TEXT = dict(KINDS)


def kind_of(previous, now):
    """The kind of change from one verdict to another, or None when it stayed."""
    if previous == now:
        return None
    if previous is None:
        return 'new-host'
    if now is None:
        return 'gone-host'
    if now == 'blocked':
        return 'newly-blocked'
    if RANK[now] >= 2:
        return 'newly-attention' if RANK[previous] < 2 else 'attention-changed'
    return 'can-take-now' if RANK[previous] >= 2 else 'ready-changed'


def compare(hosts, previous_hosts):
    """[{host, previous, now, kind}] for every host whose verdict differs, in the report's order."""
    before = dict((h['host'], h['category']) for h in previous_hosts)
    now = dict((h['host'], h['category']) for h in hosts)
    changes = []
    for name in set(before) | set(now):
        kind = kind_of(before.get(name), now.get(name))
        if kind is not None:
            changes.append({'host': name, 'previous': before.get(name), 'now': now.get(name), 'kind': kind})
    changes.sort(key=lambda c: (KIND_ORDER[c['kind']], str(c['host'])))
    return changes


def counts(changes):
    """{kind: count} of the kinds that occur, in the report's order."""
    result = {}
    for change in changes:
        result[change['kind']] = result.get(change['kind'], 0) + 1
    return dict((kind, result[kind]) for kind, _ in KINDS if kind in result)


def plan_summary(plan_changes):
    """'2 plans changed' or 'no plan changed'."""
    if not plan_changes:
        return 'no plan changed'
    return '%d plan%s changed' % (len(plan_changes), '' if len(plan_changes) == 1 else 's')


def summary(changes):
    """'3 newly blocked, 1 can take the update now' or 'no host changed its verdict'."""
    if not changes:
        return 'no host changed its verdict'
    return ', '.join('%d %s' % (count, KIND_TEXT[kind]) for kind, count in counts(changes).items())
