# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Action of vexdep_plan: src (the update package) and repository_src (the
repository, packed by vexinspect repo pack) on the controller are copied into
the task's remote temporary directory first, and the module unpacks both,
plans and removes them in the same round trip. The task keyword timeout
becomes the module's own, as for vexdep_check."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import time

from ansible.plugins.action import ActionBase
from ansible_collections.vexdep.fleet.plugins.plugin_utils.remote_files import run_with_files

MODULE = 'vexdep.fleet.vexdep_plan'


class ActionModule(ActionBase):

    TRANSFERS_FILES = True

    def run(self, tmp=None, task_vars=None):
        started = time.time()
        result = super(ActionModule, self).run(tmp, task_vars)
        del tmp
        result.update(run_with_files(self, MODULE, task_vars,
                                     [('src', 'package_archive', 'package.tar.gz'),
                                      ('repository_src', 'repository_archive', 'repository.tar.gz')],
                                     started))
        return result
