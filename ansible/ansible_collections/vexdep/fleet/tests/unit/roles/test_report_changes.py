# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import pytest

from fleetreport.changes import compare, counts, kind_of, summary


@pytest.mark.parametrize('previous,now,kind', [
    ('ready', 'ready', None),
    ('ready', 'blocked', 'newly-blocked'),
    ('unreachable', 'blocked', 'newly-blocked'),
    ('ready', 'unverifiable', 'newly-attention'),
    ('recommended', 'timed-out', 'newly-attention'),
    ('blocked', 'unverifiable', 'attention-changed'),
    ('failed', 'unreachable', 'attention-changed'),
    ('blocked', 'ready', 'can-take-now'),
    ('timed-out', 'recommended', 'can-take-now'),
    ('ready', 'recommended', 'ready-changed'),
    (None, 'ready', 'new-host'),
    ('blocked', None, 'gone-host'),
])
def test_kind_of_change(previous, now, kind):
    assert kind_of(previous, now) == kind


def hosts(**categories):
    return [{'host': name, 'category': category} for name, category in categories.items()]


def test_newly_blocked_first():
    now = hosts(a='ready', b='blocked', c='blocked', d='unverifiable', e='ready', f='ready')
    before = hosts(a='blocked', b='ready', c='blocked', d='ready', e='ready', g='ready', f='unreachable')
    found = compare(now, before)
    assert [(c['host'], c['kind']) for c in found] == [
        ('b', 'newly-blocked'), ('d', 'newly-attention'), ('a', 'can-take-now'), ('f', 'can-take-now'),
        ('g', 'gone-host')]
    assert found[0] == {'host': 'b', 'previous': 'ready', 'now': 'blocked', 'kind': 'newly-blocked'}
    assert list(counts(found).items()) == [('newly-blocked', 1), ('newly-attention', 1), ('can-take-now', 2),
                                           ('gone-host', 1)]
    assert summary(found) == ('1 newly blocked, 1 newly needing attention, 2 can take the update now, '
                              '1 no longer in this run')


def test_no_change():
    assert compare(hosts(a='ready'), hosts(a='ready')) == []
    assert summary([]) == 'no host changed its verdict'
