# -*- coding: utf-8 -*-
# Makes ansible_collections.vexdep.fleet importable from a checkout (ansible-test
# units does the same from its own copy).
from __future__ import absolute_import, division, print_function

import os
import sys

_COLLECTIONS = os.path.abspath(os.path.join(os.path.dirname(__file__), '..', '..', '..', '..', '..'))
if _COLLECTIONS not in sys.path:
    sys.path.insert(0, _COLLECTIONS)
