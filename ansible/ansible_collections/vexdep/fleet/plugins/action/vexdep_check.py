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

import time

from ansible.plugins.action import ActionBase
from ansible_collections.vexdep.fleet.plugins.plugin_utils.remote_files import run_with_files


class ActionModule(ActionBase):

    TRANSFERS_FILES = True
    MODULE = 'vexdep.fleet.vexdep_check'
    # (controller argument, module argument, remote file name) of each file to copy.
    COPIES = (('src', 'package_archive', 'package.tar.gz'),)

    def run(self, tmp=None, task_vars=None):
        started = time.time()
        result = super(ActionModule, self).run(tmp, task_vars)
        del tmp
        result.update(run_with_files(self, self.MODULE, task_vars, self.COPIES, started))
        return result
