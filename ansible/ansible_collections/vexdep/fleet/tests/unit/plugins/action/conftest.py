# -*- coding: utf-8 -*-
# The action plugin imports Ansible's plugin machinery, which resolves
# ansible_collections.* through its own collection finder: that finder is
# installed here first, over this checkout, as ansible-playbook would.
from __future__ import absolute_import, division, print_function

import os
import sys

from ansible.utils.collection_loader._collection_finder import _AnsibleCollectionFinder

_COLLECTIONS = os.path.abspath(os.path.join(os.path.dirname(__file__), '..', '..', '..', '..', '..', '..'))

if not any(isinstance(finder, _AnsibleCollectionFinder) for finder in sys.meta_path):
    # Packages imported before, past the finder, would lack its metadata.
    for _name in [name for name in sys.modules if name == 'ansible_collections' or
                  name.startswith('ansible_collections.')]:
        del sys.modules[_name]
    _AnsibleCollectionFinder(paths=[_COLLECTIONS])._install()
