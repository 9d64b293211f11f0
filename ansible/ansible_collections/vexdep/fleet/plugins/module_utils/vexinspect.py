# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Running vexinspect on a managed host and reading its JSON documents.

The collection talks to the checker only through the JSON that vexinspect
documents (docs/diagnostics.md, docs/json/explain.schema.json); nothing here
parses text meant for people.
"""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import json
import os

# The JSON shape this collection reads. A document that carries another
# schemaVersion is refused rather than half understood.
SCHEMA_VERSION = 1

# vexinspect's own exit statuses (besides 0).
EXIT_USAGE = 64
EXIT_NO_INPUT = 66

VERDICTS = ('ready', 'blocked', 'recommended', 'unverifiable')


class CheckError(Exception):
    """The check cannot run; the message says why."""


def find_vexinspect(module, path=None):
    """The vexinspect executable to run: the given path, or the one on PATH."""
    if path:
        if not os.path.exists(path):
            raise CheckError('vexinspect not found: %s does not exist' % path)
        if os.path.isdir(path) or not os.access(path, os.X_OK):
            raise CheckError('vexinspect not usable: %s is not an executable file' % path)
        return path
    found = module.get_bin_path('vexinspect', required=False)
    if not found:
        raise CheckError('vexinspect not found on PATH (%s); install the checker on the host '
                         '(vexdep_install_deb in the preflight role) or give its path with the '
                         'vexinspect option' % os.environ.get('PATH', ''))
    return found


def run_json(module, argv, what, accepted=(0,)):
    """Runs vexinspect with an argument list (never through a shell) and returns its JSON document.

    An exit status outside accepted is a failure of the command."""
    rc, out, err = module.run_command(argv, check_rc=False)
    if rc not in accepted:
        detail = (err or out or '').strip()
        raise CheckError('%s failed with exit status %d%s' % (what, rc, ': ' + detail if detail else ''))
    try:
        document = json.loads(out)
    except ValueError as error:
        raise CheckError('%s printed no JSON document: %s' % (what, error))
    if not isinstance(document, dict):
        raise CheckError('%s printed JSON that is not an object' % what)
    version = document.get('schemaVersion', SCHEMA_VERSION)
    if version != SCHEMA_VERSION:
        raise CheckError('%s printed schemaVersion %r; this collection reads version %d'
                         % (what, version, SCHEMA_VERSION))
    return document
