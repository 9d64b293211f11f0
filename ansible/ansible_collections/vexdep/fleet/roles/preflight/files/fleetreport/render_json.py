# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The report as JSON: the data model itself (schemaVersion 2), which fleet_report.py reads back to re-render."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import json


def render(report):
    return json.dumps(report, indent=1, ensure_ascii=False) + '\n'
