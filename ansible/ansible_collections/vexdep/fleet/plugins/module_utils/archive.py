# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Private directories on the managed host, and archives unpacked into them
(standard library only)."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import base64
import io
import os
import shutil
import tarfile
import tempfile

from ansible_collections.vexdep.fleet.plugins.module_utils.vexinspect import CheckError


def private_directory(tmp_parent):
    """A new private directory (mode 0700) below tmp_parent, which must exist, or the system's."""
    if tmp_parent is not None and not os.path.isdir(tmp_parent):
        raise CheckError('temporary parent %s does not exist on this host or is not a directory (the tmp_parent '
                         'option; preflight_remote_tmp_parent in the preflight role)' % tmp_parent)
    try:
        return tempfile.mkdtemp(prefix='vexdep-preflight-', dir=tmp_parent)
    except (IOError, OSError) as error:
        raise CheckError('cannot create a private directory below %s: %s'
                         % (tmp_parent or tempfile.gettempdir(), error))


# How an archive sent in the module's arguments (base64 content) is named in messages.
SENT_ARCHIVE = 'sent with the task'


def unpack(archive, tmp_parent=None, what='package archive', content=None):
    """Unpacks an archive (a path on this host, or its base64 content, then
    named archive in messages) into a new private directory; returns the
    directory.

    Only plain relative names are taken (no link, device, absolute name or
    '..'); permission bits and modification times are kept, as tar keeps
    them, since a packed repository's catalog holds them."""
    if content is None and not os.path.exists(archive):
        raise CheckError('%s %s does not exist' % (what, archive))
    if content is None and not os.path.isfile(archive):
        raise CheckError('%s %s is not a file' % (what, archive))
    directory = private_directory(tmp_parent)
    try:
        if content is None:
            opened = tarfile.open(archive, 'r:*')
        else:
            opened = tarfile.open(fileobj=io.BytesIO(base64.b64decode(content)), mode='r:*')
        with opened as tar:
            for member in tar.getmembers():
                name = os.path.normpath(member.name)
                if name.startswith('..') or os.path.isabs(name) or member.issym() or member.islnk() or \
                        member.isdev():
                    raise CheckError('%s %s holds %s, which would not stay inside the %s'
                                     % (what, archive, member.name, what.split()[0]))
            tar.extractall(directory)
    except (tarfile.TarError, EnvironmentError, ValueError) as error:
        shutil.rmtree(directory, ignore_errors=True)
        raise CheckError('%s %s cannot be unpacked: %s' % (what, archive, error))
    except CheckError:
        shutil.rmtree(directory, ignore_errors=True)
        raise
    return directory
