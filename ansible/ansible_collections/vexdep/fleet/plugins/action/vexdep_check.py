# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Action of vexdep_check: with src, the package archive on the controller is
copied into the task's remote temporary directory first, and the module
unpacks, checks and removes it in the same round trip.

With the task keyword timeout, the module gets the time that is left of it
after the copy, less a reserve, as its own timeout: the check then ends by
itself on the host (ending every process it started and removing its
directory) before the controller stops waiting for the task."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import os
import time

from ansible.errors import AnsibleActionFail
from ansible.module_utils.common.text.converters import to_text
from ansible.plugins.action import ActionBase

MODULE = 'vexdep.fleet.vexdep_check'


def reserve_seconds(task_timeout):
    """Seconds of the task's timeout kept back for ending the check's processes and answering."""
    return max(5, min(30, task_timeout // 10))


def module_timeout(task_timeout, elapsed, requested=None):
    """The module's own timeout: what is left of the task's, less the reserve, or the smaller one requested."""
    if not task_timeout:
        return requested
    left = int(task_timeout - elapsed - reserve_seconds(task_timeout))
    left = max(1, left)
    return left if requested is None else min(int(requested), left)


class ActionModule(ActionBase):

    TRANSFERS_FILES = True

    def run(self, tmp=None, task_vars=None):
        started = time.time()
        result = super(ActionModule, self).run(tmp, task_vars)
        del tmp
        module_args = dict(self._task.args)
        source = module_args.pop('src', None)
        task_timeout = self._task.timeout

        def execute():
            timeout = module_timeout(task_timeout, time.time() - started, module_args.get('timeout'))
            if timeout is not None:
                module_args['timeout'] = timeout
            return self._execute_module(module_name=MODULE, module_args=module_args, task_vars=task_vars)

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
            if not self._connection._shell.tmpdir:
                self._make_tmp_path()
            remote = self._connection._shell.join_path(self._connection._shell.tmpdir, 'package.tar.gz')
            self._transfer_file(source, remote)
            self._fixup_perms2((self._connection._shell.tmpdir, remote))
            module_args['package_archive'] = remote
            result.update(execute())
        except AnsibleActionFail as error:
            result.update(error.result)
        finally:
            self._remove_tmp_path(self._connection._shell.tmpdir)
        return result
