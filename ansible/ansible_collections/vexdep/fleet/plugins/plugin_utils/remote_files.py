# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The controller side of the collection's actions: files named on the
controller are copied into the task's remote temporary directory, and the
module runs in the same round trip on the copies, with the time that is left
of the task's timeout after the copies (less a reserve) as its own timeout.
The temporary directory is removed afterwards, whatever happened."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import os
import time

from ansible.errors import AnsibleActionFail
from ansible.module_utils.common.text.converters import to_text
from ansible_collections.vexdep.fleet.plugins.module_utils.deadline import module_timeout


def run_with_files(action, module, task_vars, copies, started=None):
    """Runs module for an action.

    copies: (controller argument, module argument, remote file name) for each
    file the task names on the controller; an argument the task leaves out is
    not copied. Returns the module's result (with the action's own failure
    message when a file cannot be copied)."""
    started = time.time() if started is None else started
    module_args = dict(action._task.args)
    task_timeout = action._task.timeout
    shell = action._connection._shell
    sources = [(module_args.pop(argument, None), target, name) for argument, target, name in copies]
    sources = [source for source in sources if source[0] is not None]

    def execute():
        timeout = module_timeout(task_timeout, time.time() - started, module_args.get('timeout'))
        if timeout is not None:
            module_args['timeout'] = timeout
        return action._execute_module(module_name=module, module_args=module_args, task_vars=task_vars)

    if not sources:
        return execute()
    try:
        remotes = []
        for source, target, name in sources:
            try:
                found = action._find_needle('files', source)
            except Exception as error:
                raise AnsibleActionFail('%s %s not found on the controller: %s'
                                        % (_argument(copies, target), source, to_text(error)))
            if not os.path.isfile(found):
                raise AnsibleActionFail('%s %s is not a file on the controller' % (_argument(copies, target), source))
            if not shell.tmpdir:
                action._make_tmp_path()
            remote = shell.join_path(shell.tmpdir, name)
            action._transfer_file(found, remote)
            remotes.append(remote)
            module_args[target] = remote
        # The module reads the copies, it does not run them: no chmod round
        # trip unless an unprivileged become user must be let in.
        action._fixup_perms2([shell.tmpdir] + remotes, execute=False)
        return execute()
    except AnsibleActionFail as error:
        return error.result
    finally:
        action._remove_tmp_path(shell.tmpdir)


def _argument(copies, target):
    return [argument for argument, module_argument, _ in copies if module_argument == target][0]
