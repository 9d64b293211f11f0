# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The controller side of the collection's actions: files named on the
controller reach the host either in the module's arguments (base64, for a
module that takes them so, while all such files together stay within
INLINE_LIMIT bytes: the task is then one command on the host, without a
temporary directory), or are copied into the task's remote temporary
directory first; the module runs in the same round trip, with the time that
is left of the task's timeout when it is sent (less a reserve) as its own
timeout. The temporary directory is removed afterwards, whatever happened."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import base64
import os
import time

from ansible.errors import AnsibleActionFail, AnsibleConnectionFailure
from ansible.module_utils.common.text.converters import to_text
from ansible_collections.vexdep.fleet.plugins.module_utils.deadline import module_timeout

# The most bytes of files sent in the module's arguments.
INLINE_LIMIT = 1024 * 1024
# Below this task timeout (seconds) the connection is opened with a bare
# command first, so that its set-up, which a loaded controller or host can
# stretch to seconds, counts against the time the module is given.
OPEN_FIRST_BELOW = 60


def run_with_files(action, module, task_vars, copies, started=None):
    """Runs module for an action.

    copies: (controller argument, module argument for a copy on the host,
    remote file name, module argument for the content or None) for each file
    the task names on the controller; an argument the task leaves out is not
    sent. Returns the module's result (with the action's own failure message
    when a file cannot be found or copied)."""
    started = time.time() if started is None else started
    module_args = dict(action._task.args)
    task_timeout = action._task.timeout
    shell = action._connection._shell
    sources = [(module_args.pop(copy[0], None), copy) for copy in copies]
    sources = [source for source in sources if source[0] is not None]

    def execute():
        if task_timeout and task_timeout < OPEN_FIRST_BELOW and not shell.tmpdir:
            action._low_level_execute_command('true', sudoable=False)
        timeout = module_timeout(task_timeout, time.time() - started, module_args.get('timeout'))
        if timeout is not None:
            module_args['timeout'] = timeout
        try:
            return action._execute_module(module_name=module, module_args=module_args, task_vars=task_vars)
        except AnsibleConnectionFailure:
            if shell.tmpdir:
                raise
            # The module was the task's first command, its input sent with
            # it: on a host that cannot be reached that breaks the pipe
            # before the connection can say why. A bare command lets it say
            # why (the exception it raises), as it would for any other first
            # command.
            action._low_level_execute_command('true', sudoable=False)
            raise

    if not sources:
        return execute()
    try:
        found = [(_found(action, source, copy[0]), copy) for source, copy in sources]
        inline_budget = INLINE_LIMIT
        remotes = []
        for path, (_, target, name, content_argument) in found:
            size = os.path.getsize(path)
            if content_argument is not None and size <= inline_budget:
                inline_budget -= size
                with open(path, 'rb') as handle:
                    module_args[content_argument] = base64.b64encode(handle.read()).decode('ascii')
                continue
            if not shell.tmpdir:
                action._make_tmp_path()
            remote = shell.join_path(shell.tmpdir, name)
            action._transfer_file(path, remote)
            remotes.append(remote)
            module_args[target] = remote
        if remotes:
            # The module reads the copies, it does not run them: no chmod
            # round trip unless an unprivileged become user must be let in.
            action._fixup_perms2([shell.tmpdir] + remotes, execute=False)
        return execute()
    except AnsibleActionFail as error:
        return error.result
    finally:
        action._remove_tmp_path(shell.tmpdir)


def _found(action, source, argument):
    """The controller's path of the file a task names in argument."""
    try:
        found = action._find_needle('files', source)
    except Exception as error:
        raise AnsibleActionFail('%s %s not found on the controller: %s' % (argument, source, to_text(error)))
    if not os.path.isfile(found):
        raise AnsibleActionFail('%s %s is not a file on the controller' % (argument, source))
    return found
