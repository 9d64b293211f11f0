# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Action of vexdep_check: with src (and repository_src), the package's (and
the packed repository's) archive on the controller reaches the host in the
module's arguments while they are small (at most INLINE_LIMIT bytes together:
the task is then one command on the host, without a temporary directory),
else it is copied into the task's remote temporary directory first; the
module unpacks the package, checks it (and plans over the packed repository
where it lies) and removes what it made in the same round trip.

With the task keyword timeout, the module gets the time that is left of it
when it is sent, less a reserve, as its own timeout: the check then ends by
itself on the host (ending every process it started and removing its
directory) before the controller stops waiting for the task."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import time

from ansible.plugins.action import ActionBase
from ansible_collections.vexdep.fleet.plugins.plugin_utils.remote_files import run_with_files


class ActionModule(ActionBase):

    # The remote temporary directory is made only for an archive that is
    # copied, not before every task as for actions that transfer files.
    TRANSFERS_FILES = False
    MODULE = 'vexdep.fleet.vexdep_check'
    # (controller argument, module argument of a copy, remote file name,
    # module argument of the content sent in the arguments) of each file.
    # The package first: it is small, and the repository may not fit.
    COPIES = (('src', 'package_archive', 'package.tar.gz', 'package_content'),
              ('repository_src', 'repository_archive', 'repository.tar.gz', 'repository_content'))

    def run(self, tmp=None, task_vars=None):
        started = time.time()
        result = super(ActionModule, self).run(tmp, task_vars)
        del tmp
        result.update(run_with_files(self, self.MODULE, task_vars, self.COPIES, started))
        return result
