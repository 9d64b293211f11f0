# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Action of vexdep_check: with src, the package archive on the controller is
copied into the task's remote temporary directory first, and the module
unpacks, checks and removes it in the same round trip."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import os

from ansible.errors import AnsibleActionFail
from ansible.module_utils.common.text.converters import to_text
from ansible.plugins.action import ActionBase


class ActionModule(ActionBase):

    TRANSFERS_FILES = True

    def run(self, tmp=None, task_vars=None):
        result = super(ActionModule, self).run(tmp, task_vars)
        del tmp
        module_args = dict(self._task.args)
        source = module_args.pop('src', None)
        if source is None:
            result.update(self._execute_module(module_name='vexdep.fleet.vexdep_check', module_args=module_args,
                                               task_vars=task_vars))
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
            result.update(self._execute_module(module_name='vexdep.fleet.vexdep_check', module_args=module_args,
                                               task_vars=task_vars))
        except AnsibleActionFail as error:
            result.update(error.result)
        finally:
            self._remove_tmp_path(self._connection._shell.tmpdir)
        return result
