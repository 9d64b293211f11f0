# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The host verdicts of the report, in the order the report shows them."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

# What needs action first, then the hosts that can take the update.
ATTENTION = ('blocked', 'unverifiable', 'failed', 'unreachable', 'timed-out')
CAN_TAKE = ('recommended', 'ready')
CATEGORIES = ATTENTION + CAN_TAKE

MEANINGS = {
    'blocked': 'needs the missing prerequisites first',
    'unverifiable': 'could not be verified: see the reasons',
    'failed': 'the check could not run',
    'unreachable': 'the host could not be reached',
    'timed-out': 'the check did not finish within the host deadline',
    'recommended': 'can take it; soft dependencies are recommended first',
    'ready': 'can take the update now',
}

COLOURS = {
    'blocked': '#c62828',
    'unverifiable': '#f9a825',
    'failed': '#6a1b9a',
    'unreachable': '#616161',
    'timed-out': '#ef6c00',
    'recommended': '#7cb342',
    'ready': '#2e7d32',
}

# How much a verdict needs from the operator: for the changes since a run.
RANK = {'ready': 0, 'recommended': 1, 'unverifiable': 2, 'failed': 2, 'unreachable': 2, 'timed-out': 2,
        'blocked': 3}


def plural(count, word, words=None):
    """'1 host', '2 hosts'."""
    return '%d %s' % (count, word if count == 1 else (words or word + 's'))
