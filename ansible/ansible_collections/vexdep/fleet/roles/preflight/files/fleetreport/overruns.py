# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Collectors that ran longer than their package declares, over the fleet.

The limits written in packages are not enforced by default; a collector that
overruns its own is worth a word to the package's author, and the first
thing to look at when a check with collector_timeout=config fails."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type


def fleet_overruns(hosts):
    """Per (type, release, declared limit): the hosts with their seconds, the longest first."""
    table = {}
    for host in hosts:
        for overrun in host.get('overruns') or []:
            key = (overrun.get('type'), overrun.get('release_id'), overrun.get('declared_timeout_seconds'))
            entry = table.get(key)
            if entry is None:
                entry = table[key] = {'type': key[0], 'release_id': key[1], 'declared_timeout_seconds': key[2],
                                      'hosts': []}
            entry['hosts'].append({'host': host['host'], 'seconds': overrun.get('seconds') or 0.0})
    items = list(table.values())
    for item in items:
        item['hosts'].sort(key=lambda h: (-h['seconds'], str(h['host'])))
        item['max_seconds'] = item['hosts'][0]['seconds']
        item['text'] = 'took up to %.1f s, declares %s s' % (item['max_seconds'], item['declared_timeout_seconds'])
    items.sort(key=lambda i: (-len(i['hosts']), str(i['type']), str(i['release_id'])))
    return items


def host_overrun_texts(host):
    """'hard REL001: took 30.2 s, declares 5 s' for each overrun of one host."""
    return ['%s %s: %s' % (o.get('type'), o.get('release_id'), o.get('text')) for o in host.get('overruns') or []]
