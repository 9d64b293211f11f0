# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The shopping list: per download path of an unmet dependency, what it is and the hosts that need it.

Hard prerequisites (required before the update) and soft ones (recommended,
with the package's detail on why) are kept apart."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type


def prerequisites(hosts, check_type):
    """The list for one type, the most needed first: name, version, download path, detail, hosts."""
    table = {}
    for host in hosts:
        for item in host['%s_prerequisites' % check_type]:
            key = (item.get('download_path'), item.get('name'), item.get('version'))
            entry = table.get(key)
            if entry is None:
                entry = table[key] = {
                    'type': check_type,
                    'download_path': item.get('download_path'),
                    'name': item.get('name'),
                    'component_id': item.get('component_id'),
                    'version': item.get('version'),
                    'hosts': [],
                }
                if check_type == 'soft':
                    entry['detail'] = item.get('detail')
            entry['hosts'].append({'host': host['host'], 'current_version': item.get('current_version')})
    items = list(table.values())
    for item in items:
        item['hosts'].sort(key=lambda h: str(h['host']))
    items.sort(key=lambda i: (-len(i['hosts']), str(i['download_path']), str(i['name'])))
    return items


def shopping_list(hosts):
    return {'hard': prerequisites(hosts, 'hard'), 'soft': prerequisites(hosts, 'soft')}
