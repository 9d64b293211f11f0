#!/usr/bin/python
# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r'''
---
module: vexdep_smbios
short_description: Returns the host's SMBIOS identity as the checker reads it, as facts
description:
  - Runs C(vexinspect smbios --json) on the managed host and returns the SMBIOS identity the
    checker's platform check uses (system ID and how it was obtained, manufacturer, product,
    serial number, where the table was read from) as the fact C(vexdep_smbios), so that a play
    can C(group_by) platform.
  - Reads only; never reports a change; supports check mode.
version_added: 1.0.0
author:
  - vexdepcheck developers
options:
  vexinspect:
    description:
      - Path of the C(vexinspect) executable on the managed host. Found on C(PATH) when left out.
    type: path
notes:
  - Needs C(vexinspect) on the managed host and Python 3; no other library.
  - Reading the machine's SMBIOS table usually needs root (C(become)).
attributes:
  check_mode:
    support: full
  diff_mode:
    support: none
  facts:
    support: full
seealso:
  - module: vexdep.fleet.vexdep_check
'''

EXAMPLES = r'''
- name: Read the SMBIOS identity
  vexdep.fleet.vexdep_smbios:
  become: true

- name: Group the hosts by system ID
  ansible.builtin.group_by:
    key: "platform_{{ vexdep_smbios.system_id | default('unknown', true) }}"
'''

RETURN = r'''
ansible_facts:
  description: The fact C(vexdep_smbios).
  returned: always
  type: dict
  contains:
    vexdep_smbios:
      description: The SMBIOS identity; every text is null when the table could not be read.
      returned: always
      type: dict
      contains:
        table_read:
          description: Whether an SMBIOS table was read.
          type: bool
          sample: true
        source:
          description: Where the table came from (C(sysfs), C(memory), ...) or C(none).
          type: str
          sample: sysfs
        system_id:
          description: The system ID the checker's platform check compares, or null.
          type: str
          sample: 0A1C
        system_id_origin:
          description: How the system ID was obtained, or null.
          type: str
          sample: revision-two-byte
        manufacturer:
          description: The system manufacturer (SMBIOS type 1), or null.
          type: str
          sample: Brix
        product:
          description: The product name (SMBIOS type 1), or null.
          type: str
          sample: Server R1
        serial:
          description: The serial number (SMBIOS type 1), or null.
          type: str
          sample: SN0001
        entry_point_version:
          description: The SMBIOS entry point's version, or null.
          type: str
          sample: "2.8"
        bios_vendor:
          description: The BIOS vendor (SMBIOS type 0), or null.
          type: str
          sample: Brix
        bios_version:
          description: The BIOS version (SMBIOS type 0), or null.
          type: str
          sample: 2.19.1
'''

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.vexdep.fleet.plugins.module_utils.vexinspect import (
    CheckError,
    find_vexinspect,
    run_json,
)


def identity(document):
    """The fact from vexinspect smbios's JSON; keys that are missing read as null."""
    def text(key):
        value = document.get(key)
        return value if value not in ('', None) else None

    return {
        'table_read': bool(document.get('tableRead')),
        'source': text('source') or 'none',
        'system_id': text('systemID'),
        'system_id_origin': text('systemIDOrigin'),
        'manufacturer': text('manufacturer'),
        'product': text('productName'),
        'serial': text('serialNumber'),
        'entry_point_version': text('entryPointVersion'),
        'bios_vendor': text('biosVendor'),
        'bios_version': text('biosVersion'),
    }


def main():
    module = AnsibleModule(
        argument_spec=dict(vexinspect=dict(type='path')),
        supports_check_mode=True,
    )
    try:
        vexinspect = find_vexinspect(module, module.params.get('vexinspect'))
        # Exit status 1 says that no table could be read: a fact all the same.
        document = run_json(module, [vexinspect, 'smbios', '--json'], 'vexinspect smbios', accepted=(0, 1))
    except CheckError as error:
        module.fail_json(msg=str(error), changed=False)
    module.exit_json(changed=False, ansible_facts={'vexdep_smbios': identity(document)})


if __name__ == '__main__':
    main()
