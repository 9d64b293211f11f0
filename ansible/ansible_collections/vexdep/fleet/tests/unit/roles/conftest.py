# -*- coding: utf-8 -*-
# The fleet report's code lives beside fleet_report.py in the role's files.
from __future__ import absolute_import, division, print_function

import os
import sys

FILES = os.path.abspath(os.path.join(os.path.dirname(__file__), '..', '..', '..', 'roles', 'preflight', 'files'))
if FILES not in sys.path:
    sys.path.insert(0, FILES)
