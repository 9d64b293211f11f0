# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Writes the fleet report of a preflight: JSON, Markdown, CSV, one self-contained HTML page and JUnit XML.

Usage: fleet_report.py RESULTS.json OUTPUT_DIR [--title TEXT] [--package PATH] [--previous FILE]

RESULTS.json is what the preflight saves on the controller (one raw entry
per host, straight from the play), or a fleet-report.json written earlier by
this command (re-rendering keeps the run's time). --previous names an
earlier run's results or report: the report then lists the hosts whose
verdict changed, newly blocked first. --package names the update package
(directory or .tar.gz), whose package.xml names the report; by default the
one the results name. Standard library only; the report's code is in the
fleetreport package beside this file.
"""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import argparse
import gc
import io
import json
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from fleetreport.model import build_report, headline  # noqa: E402
from fleetreport.writer import write_report  # noqa: E402

EX_DATAERR = 65
EX_NOINPUT = 66


class InputError(Exception):
    def __init__(self, message, status):
        super(InputError, self).__init__(message)
        self.status = status


def load_results(path, what='results'):
    """The document of saved results or of an earlier report, or InputError."""
    try:
        with io.open(path, encoding='utf-8') as handle:
            document = json.load(handle)
    except (IOError, OSError, ValueError) as error:
        raise InputError('cannot read the %s %s: %s' % (what, path, error), EX_NOINPUT)
    if not isinstance(document, (dict, list)) or (isinstance(document, dict) and 'hosts' not in document):
        raise InputError('%s holds no hosts' % path, EX_DATAERR)
    return document


def main(argv=None):
    parser = argparse.ArgumentParser(description='Writes the fleet report of a preflight.')
    parser.add_argument('results', help='the saved results (or an earlier fleet-report.json)')
    parser.add_argument('output', help='the directory to write the report into')
    parser.add_argument('--title', help='the report title (default: "Preflight of" the package\'s name and version)')
    parser.add_argument('--package', help='the update package (directory or .tar.gz) whose package.xml names the report')
    parser.add_argument('--previous', help='an earlier run\'s results or report, to list the hosts whose verdict changed')
    args = parser.parse_args(argv)
    # The report is a tree without cycles, built once: the cycle collector
    # would walk its millions of objects again and again for nothing.
    gc.disable()
    try:
        return render(args)
    finally:
        gc.enable()


def render(args):
    try:
        document = load_results(args.results)
        previous = load_results(args.previous, 'earlier results') if args.previous else None
    except InputError as error:
        sys.stderr.write('fleet_report: %s\n' % error)
        return error.status
    report = build_report(document, previous=previous, title=args.title, package_path=args.package)
    if report.get('package_note'):
        sys.stderr.write('fleet_report: %s\n' % report['package_note'])
    for path in write_report(report, args.output):
        print(path)
    print(headline(report))
    return 0


if __name__ == '__main__':
    sys.exit(main())
