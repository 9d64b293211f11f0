# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""One plan on the managed host (standard library only): the update package
is a directory on the host or an archive (a file on the host or its content
sent with the task) unpacked into a private directory; the repository is a
directory on the host or a packed repository (vexinspect repo pack), which
vexinspect plan reads where it lies, without unpacking its hundreds of
directories (content sent with the task is written to one private file
first). Whatever the plan made is removed again. vexdep_plan runs it on its
own; vexdep_check runs it after a check that found something to do, in the
same command."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import base64
import binascii
import os
import shutil
import time

from ansible_collections.vexdep.fleet.plugins.module_utils.archive import SENT_ARCHIVE, private_directory, unpack
from ansible_collections.vexdep.fleet.plugins.module_utils.deadline import DeadlineReached, run_until
from ansible_collections.vexdep.fleet.plugins.module_utils.vexinspect import (
    CheckError,
    find_vexinspect,
    parse_document,
    validate_timeout,
)

# The plan command's JSON documents that are read.
PLAN_VERSIONS = (1,)


def plan_argv(vexinspect, plan_type, package_dir, repository, collector_timeout=None):
    """The argument list of one plan run (run without a shell)."""
    argv = [vexinspect, 'plan', plan_type, '--repository', repository, '--package-dir', package_dir, '--json']
    if collector_timeout is not None:
        argv += ['--collector-timeout', collector_timeout]
    return argv


def existing_directory(path, what):
    if not os.path.exists(path):
        raise CheckError('%s %s does not exist' % (what, path))
    if not os.path.isdir(path):
        raise CheckError('%s %s is not a directory' % (what, path))
    return path


# The options that name the package (its content, archive on the host, archive on
# the controller, directory) and how messages name its archive and directory.
PACKAGE_OPTIONS = ('package_content', 'package_archive', 'src', 'package_dir', 'package archive', 'package directory')
# The options that name the repository, in the same order.
REPOSITORY_OPTIONS = ('repository_content', 'repository_archive', 'repository_src', 'repository')


def unpacked_or_directory(params, options, unpacked):
    """The private directory the input's archive (content or file) unpacks to, added to unpacked, or the input's
    existing directory."""
    content_option, archive_option, src_option, directory_option, archive_what, directory_what = options
    content = params.get(content_option)
    archive = SENT_ARCHIVE if content is not None else params.get(archive_option) or params.get(src_option)
    if not archive:
        return existing_directory(params[directory_option], directory_what)
    directory = unpack(archive, params.get('tmp_parent'), archive_what, content=content)
    unpacked.append(directory)
    return directory


def packed_repository(params, made):
    """The packed repository as one file on this host, or None for a repository directory: the archive on the
    host as it is, or the content sent with the task written to a new private directory (added to made)."""
    content = params.get('repository_content')
    archive = params.get('repository_archive') or params.get('repository_src')
    if content is None:
        if not archive:
            return None
        if not os.path.exists(archive):
            raise CheckError('repository archive %s does not exist' % archive)
        if not os.path.isfile(archive):
            raise CheckError('repository archive %s is not a file' % archive)
        return archive
    directory = private_directory(params.get('tmp_parent'))
    made.append(directory)
    path = os.path.join(directory, 'repository.tar.gz')
    try:
        data = base64.b64decode(content)
        handle = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600)
        with os.fdopen(handle, 'wb') as written:
            written.write(data)
    except (binascii.Error, TypeError, ValueError, EnvironmentError) as error:
        raise CheckError('repository archive %s cannot be written to this host: %s' % (SENT_ARCHIVE, error))
    return path


def reads_no_packed_repository(rc, err):
    """Whether vexinspect refused a packed repository as one older than packed repositories does."""
    return rc == 66 and err.rstrip().endswith(' is not a directory')


def trimmed(document, evaluations=False):
    """The plan document the module returns."""
    if evaluations:
        return document
    return dict((key, value) for key, value in document.items() if key != 'evaluations')


def run_plan(module, params, runner=run_until, now=time.time):
    """Unpacks what must be unpacked, plans, and removes it again; the module's result or CheckError."""
    started = now()
    timeout = params.get('timeout')
    if timeout is not None and int(timeout) <= 0:
        raise CheckError('timeout must be a positive number of seconds, not %r' % timeout)
    deadline = None if timeout is None else started + int(timeout)
    collector_timeout = validate_timeout(params.get('collector_timeout'))
    vexinspect = find_vexinspect(module, params.get('vexinspect'))
    plan_type = params.get('type') or 'both'
    unpacked = []
    try:
        package_dir = unpacked_or_directory(params, PACKAGE_OPTIONS, unpacked)
        packed = packed_repository(params, unpacked)
        repository = packed or existing_directory(params['repository'], 'repository')
        result = {'changed': False, 'requested': plan_type, 'vexinspect': vexinspect, 'timed_out': None,
                  'left_behind': [], 'plan': None}
        try:
            rc, out, err, left = runner(plan_argv(vexinspect, plan_type, package_dir, repository, collector_timeout),
                                        deadline, {package_dir.rstrip('/'): '<package>', repository: '<repository>'})
            if packed and reads_no_packed_repository(rc, err):
                # A vexinspect that reads repository directories only: the
                # packed repository is unpacked for it.
                repository = unpack(packed, params.get('tmp_parent'), 'repository archive')
                unpacked.append(repository)
                rc, out, err, left = runner(
                    plan_argv(vexinspect, plan_type, package_dir, repository, collector_timeout), deadline,
                    {package_dir.rstrip('/'): '<package>', repository.rstrip('/'): '<repository>'})
        except DeadlineReached as reached:
            result.update(verdict='timed-out', elapsed_seconds=round(now() - started, 1),
                          timed_out={'seconds': round(now() - started, 1), 'timeout_seconds': timeout,
                                     'running': reached.running})
            return result
        document = parse_document('vexinspect plan %s' % plan_type, rc, out, err, versions=PLAN_VERSIONS)
        result.update(verdict=document.get('verdict'), plan=trimmed(document, params.get('evaluations')),
                      left_behind=list(left), elapsed_seconds=round(now() - started, 1))
        return result
    finally:
        for directory in unpacked:
            shutil.rmtree(directory, ignore_errors=True)
