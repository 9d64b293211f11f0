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

# The JSON shapes this collection reads: version 2 of explain adds each
# dependency's detail (why a soft dependency is recommended); version 1 has
# none. A document that carries another schemaVersion is refused rather than
# half understood.
EXPLAIN_VERSIONS = (1, 2)
SMBIOS_VERSIONS = (1,)

# vexinspect's own exit statuses (besides 0).
EXIT_USAGE = 64
EXIT_NO_INPUT = 66

VERDICTS = ('ready', 'blocked', 'recommended', 'unverifiable')


class CheckError(Exception):
    """The check cannot run; the message says why."""


def validate_timeout(value):
    """The collector time limit as vexinspect takes it, or CheckError."""
    if value is None:
        return None
    text = str(value).strip()
    if text in ('config', 'none'):
        return text
    if text.isdigit() and int(text) > 0:
        return str(int(text))
    raise CheckError('collector_timeout must be config, none or a positive whole number of seconds, not %r' % value)


def find_vexinspect(module, path=None):
    """The vexinspect executable to run: the given path, or the one on PATH."""
    if path:
        if not os.path.exists(path):
            raise CheckError('vexinspect not found: %s does not exist (the vexinspect option; '
                             'preflight_vexinspect in the preflight role)' % path)
        if os.path.isdir(path) or not os.access(path, os.X_OK):
            raise CheckError('vexinspect not usable: %s is not an executable file (the vexinspect option; '
                             'preflight_vexinspect in the preflight role)' % path)
        return path
    found = module.get_bin_path('vexinspect', required=False)
    if not found:
        raise CheckError('vexinspect not found on PATH (%s): install the checker on the host (the preflight '
                         'role installs its Debian package when preflight_install_deb names it) or give the '
                         'path of vexinspect (the vexinspect option; preflight_vexinspect in the preflight role)'
                         % os.environ.get('PATH', ''))
    return found


def parse_document(what, rc, out, err, accepted=(0,), versions=EXPLAIN_VERSIONS):
    """The JSON document of one vexinspect run from its exit status and output.

    An exit status outside accepted is a failure of the command."""
    if rc not in accepted:
        detail = (err or out or '').strip()
        raise CheckError('%s failed with exit status %d%s' % (what, rc, ': ' + detail if detail else ''))
    try:
        document = json.loads(out)
    except ValueError as error:
        raise CheckError('%s printed no JSON document: %s' % (what, error))
    if not isinstance(document, dict):
        raise CheckError('%s printed JSON that is not an object' % what)
    version = document.get('schemaVersion', 1)
    if version not in versions:
        raise CheckError('%s printed schemaVersion %r; this collection reads versions %s'
                         % (what, version, ', '.join(str(v) for v in versions)))
    return document


def run_json(module, argv, what, accepted=(0,), versions=SMBIOS_VERSIONS):
    """Runs vexinspect with an argument list (never through a shell) and returns its JSON document."""
    rc, out, err = module.run_command(argv, check_rc=False)
    return parse_document(what, rc, out, err, accepted, versions)
