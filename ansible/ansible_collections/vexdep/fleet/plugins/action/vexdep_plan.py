# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Action of vexdep_plan: src (the update package) and repository_src (the
repository, packed by vexinspect repo pack) on the controller reach the host
in the module's arguments while both together stay within the inline limit
(the task is then one command on the host), else the one that does not fit
is copied into the task's remote temporary directory first; the module
unpacks the package, plans over the packed repository where it lies and
removes what it made in the same round trip. The task
keyword timeout becomes the module's own, as for vexdep_check."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

from ansible_collections.vexdep.fleet.plugins.action.vexdep_check import ActionModule as CheckAction


class ActionModule(CheckAction):

    MODULE = 'vexdep.fleet.vexdep_plan'
    # The package first: it is small, and the repository may not fit.
    COPIES = (('src', 'package_archive', 'package.tar.gz', 'package_content'),
              ('repository_src', 'repository_archive', 'repository.tar.gz', 'repository_content'))
