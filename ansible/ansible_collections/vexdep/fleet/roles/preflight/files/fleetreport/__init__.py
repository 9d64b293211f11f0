# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The fleet report of a preflight: a data model built from the saved results
(hosts, groups, prerequisites, overruns, changes) and one renderer per format,
which read the model only. Standard library only."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type
