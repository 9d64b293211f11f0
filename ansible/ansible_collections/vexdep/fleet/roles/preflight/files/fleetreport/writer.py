# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Writes every format of the report into a directory."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import io
import os

from . import render_csv, render_html, render_json, render_junit, render_markdown

# File name and renderer of each format; a new format is one more line.
FORMATS = (
    ('fleet-report.json', render_json.render),
    ('fleet-report.md', render_markdown.render),
    ('fleet-report.csv', render_csv.render),
    ('fleet-report.html', render_html.render),
    ('fleet-report.junit.xml', render_junit.render),
)


def write_report(report, directory):
    """Writes every format (each into a temporary file renamed into place); returns their paths."""
    if not os.path.isdir(directory):
        os.makedirs(directory)
    paths = []
    for name, render in FORMATS:
        path = os.path.join(directory, name)
        partial = path + '.partial'
        with io.open(partial, 'w', encoding='utf-8', newline='') as handle:
            handle.write(render(report))
        os.rename(partial, path)
        paths.append(path)
    return paths
