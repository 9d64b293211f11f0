# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The report as JSON: the data model itself (schemaVersion 2), which fleet_report.py reads back to re-render."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import json

# The C encoder (json.dumps with indent is pure Python, and ten times slower).
_encode = json.JSONEncoder(ensure_ascii=False, separators=(', ', ': ')).encode


def render(report):
    """One top-level key a line, and each element of a list of objects on a line of its own."""
    keys = list(report)
    out = ['{']
    for index, key in enumerate(keys):
        value = report[key]
        comma = ',' if index < len(keys) - 1 else ''
        if isinstance(value, list) and value:
            out.append(' %s: [' % _encode(key))
            out.append(',\n'.join('  ' + _encode(item) for item in value))
            out.append(' ]' + comma)
        else:
            out.append(' %s: %s%s' % (_encode(key), _encode(value), comma))
    out.append('}')
    return '\n'.join(out) + '\n'
