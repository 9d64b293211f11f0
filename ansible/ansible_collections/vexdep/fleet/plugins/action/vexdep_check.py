# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Action of vexdep_check: with src, the package archive on the controller
reaches the host in the module's arguments when it is small (at most
INLINE_LIMIT bytes: the task is then one command on the host, without a
temporary directory), else it is copied into the task's remote temporary
directory first; the module unpacks, checks and removes it in the same round
trip.

With the task keyword timeout, the module gets the time that is left of it
when it is sent, less a reserve, as its own timeout: the check then ends by
itself on the host (ending every process it started and removing its
directory) before the controller stops waiting for the task."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import base64
import os
import time

from ansible.errors import AnsibleActionFail, AnsibleConnectionFailure
from ansible.module_utils.common.text.converters import to_text
from ansible.plugins.action import ActionBase
from ansible_collections.vexdep.fleet.plugins.module_utils.deadline import module_timeout

MODULE = 'vexdep.fleet.vexdep_check'
# The largest archive sent in the module's arguments (package_content).
INLINE_LIMIT = 1024 * 1024
# Below this task timeout (seconds) the connection is opened with a bare
# command first, so that its set-up, which a loaded controller or host can
# stretch to seconds, counts against the time the module is given.
OPEN_FIRST_BELOW = 60


class ActionModule(ActionBase):

    # The remote temporary directory is made only for an archive that is
    # copied, not before every task as for actions that transfer files.
    TRANSFERS_FILES = False

    def run(self, tmp=None, task_vars=None):
        started = time.time()
        result = super(ActionModule, self).run(tmp, task_vars)
        del tmp
        module_args = dict(self._task.args)
        source = module_args.pop('src', None)
        task_timeout = self._task.timeout

        def execute():
            if task_timeout and task_timeout < OPEN_FIRST_BELOW and not self._connection._shell.tmpdir:
                self._low_level_execute_command('true', sudoable=False)
            timeout = module_timeout(task_timeout, time.time() - started, module_args.get('timeout'))
            if timeout is not None:
                module_args['timeout'] = timeout
            try:
                return self._execute_module(module_name=MODULE, module_args=module_args, task_vars=task_vars)
            except AnsibleConnectionFailure:
                if self._connection._shell.tmpdir:
                    raise
                # The module was the task's first command, its input sent with
                # it: on a host that cannot be reached that breaks the pipe
                # before the connection can say why. A bare command lets it
                # say why (the exception it raises), as it would for any
                # other first command.
                self._low_level_execute_command('true', sudoable=False)
                raise

        if source is None:
            result.update(execute())
            return result
        try:
            try:
                source = self._find_needle('files', source)
            except Exception as error:
                raise AnsibleActionFail('src %s not found on the controller: %s' % (source, to_text(error)))
            if not os.path.isfile(source):
                raise AnsibleActionFail('src %s is not a file on the controller' % source)
            if os.path.getsize(source) <= INLINE_LIMIT:
                with open(source, 'rb') as handle:
                    module_args['package_content'] = base64.b64encode(handle.read()).decode('ascii')
                result.update(execute())
                return result
            if not self._connection._shell.tmpdir:
                self._make_tmp_path()
            remote = self._connection._shell.join_path(self._connection._shell.tmpdir, 'package.tar.gz')
            self._transfer_file(source, remote)
            # The module reads the archive, it does not run it: no chmod round
            # trip unless an unprivileged become user must be let in.
            self._fixup_perms2((self._connection._shell.tmpdir, remote), execute=False)
            module_args['package_archive'] = remote
            result.update(execute())
        except AnsibleActionFail as error:
            result.update(error.result)
        finally:
            self._remove_tmp_path(self._connection._shell.tmpdir)
        return result
