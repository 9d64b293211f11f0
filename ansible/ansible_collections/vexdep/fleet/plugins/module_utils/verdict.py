# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The host's verdict over the dependency types that were checked.

One rule: the host's verdict is the most severe of the verdicts of the types
that were requested, in the order blocked, unverifiable, recommended, ready.
A requested type without a verdict (its check did not finish, or printed a
verdict this collection does not know) counts as unverifiable. So a host is
ready only when every requested type was checked and is ready, and a soft
dependency that could not be verified makes the host unverifiable, exactly as
a hard one does.
"""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

# Most severe first.
SEVERITY = ('blocked', 'unverifiable', 'recommended', 'ready')


def type_verdict(checks, check_type):
    """The verdict of one requested type, unverifiable when it has none this rule knows."""
    verdict = (checks.get(check_type) or {}).get('verdict')
    return verdict if verdict in SEVERITY else 'unverifiable'


def host_verdict(checks, requested):
    """(verdict, types): the host's verdict and the requested types that decide it, in request order."""
    if not requested:
        return 'unverifiable', []
    verdicts = [(check_type, type_verdict(checks, check_type)) for check_type in requested]
    worst = min(SEVERITY.index(verdict) for _, verdict in verdicts)
    return SEVERITY[worst], [check_type for check_type, verdict in verdicts if SEVERITY.index(verdict) == worst]
