# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Action of vexdep_plan: src (the update package) and repository_src (the
repository, packed by vexinspect repo pack) on the controller are copied into
the task's remote temporary directory first, and the module unpacks both,
plans and removes them in the same round trip. The task keyword timeout
becomes the module's own, as for vexdep_check."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

from ansible_collections.vexdep.fleet.plugins.action.vexdep_check import ActionModule as CheckAction


class ActionModule(CheckAction):

    MODULE = 'vexdep.fleet.vexdep_plan'
    # The plan module takes no content in its arguments: both archives are
    # copied (the plan's repository is seldom within the inline limit).
    COPIES = (('src', 'package_archive', 'package.tar.gz', None),
              ('repository_src', 'repository_archive', 'repository.tar.gz', None))
