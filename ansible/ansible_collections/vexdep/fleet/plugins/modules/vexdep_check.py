#!/usr/bin/python
# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r'''
---
module: vexdep_check
short_description: Tells whether an update package can be applied on this host, and what it needs first
description:
  - Runs C(vexinspect explain) on the managed host for the requested dependency types of an
    update package that is already on the host, and returns the verdict per type with its reasons,
    the dependencies that C(vexdepcheck) reports (with the version installed, the version required or
    recommended and the download path), the failed inventories with their messages, the collectors'
    run times, the host's system ID and how it was obtained, and the exit status that C(vexdepcheck)
    itself returns.
  - The evaluation is exactly the one C(vexdepcheck hard) or C(vexdepcheck soft) runs; the package's
    collectors run as they do for C(vexdepcheck) and write their documents into the package directory.
  - Never reports a change. In check mode the check runs all the same (it only reads the host's state).
  - The task fails only when the check cannot run (no C(vexinspect), no such package directory or archive, an
    unusable collector time limit, a C(vexinspect) that fails or prints no JSON); a package that
    cannot be verified is a verdict, not a failure.
version_added: 1.0.0
author:
  - vexdepcheck developers
options:
  package_dir:
    description:
      - The update package's directory on the managed host (the one holding C(package.xml)).
      - Exactly one of I(package_dir), I(package_archive) and I(src) is required.
    type: path
  package_archive:
    description:
      - A C(.tar.gz) of the update package on the managed host. It is unpacked into a private
        temporary directory (mode 0700), checked there, and the directory is removed again before
        the module returns, whatever happened.
    type: path
  src:
    description:
      - A C(.tar.gz) of the update package on the controller. The action copies it into the task's
        temporary directory on the host and checks it as I(package_archive) in the same round trip;
        both are removed afterwards.
    type: path
  type:
    description:
      - Which dependencies to check. C(both) runs the hard and then the soft check.
    type: str
    choices: [hard, soft, both]
    default: both
  vexinspect:
    description:
      - Path of the C(vexinspect) executable on the managed host. Found on C(PATH) when left out.
    type: path
  collector_timeout:
    description:
      - The collectors' time limit, passed to C(vexinspect explain --collector-timeout).
      - C(config) ends each collector at the limit its C(PIEConfig.xml) declares, a positive whole
        number of seconds applies to every collector, C(none) waits until they end.
      - Left out, the host's C(VEXDEP_COLLECTOR_TIMEOUT) applies, exactly as for C(vexdepcheck).
    type: str
notes:
  - Needs C(vexinspect) on the managed host (the Debian package of vexdepcheck installs it) and
    Python 3; no other library.
  - Supports check mode.
attributes:
  check_mode:
    support: full
  diff_mode:
    support: none
seealso:
  - module: vexdep.fleet.vexdep_smbios
'''

EXAMPLES = r'''
- name: Check the hard and soft dependencies of an unpacked update package
  vexdep.fleet.vexdep_check:
    package_dir: /var/tmp/updates/VX4K7
  register: preflight

- name: Stop hosts that cannot take it
  ansible.builtin.fail:
    msg: "{{ preflight.checks.hard.reasons | map(attribute='text') | join('; ') }}"
  when: preflight.checks.hard.verdict != 'ready'

- name: Copy a package archive from the controller, check it on the host, remove it again
  vexdep.fleet.vexdep_check:
    src: /srv/updates/VX4K7.tar.gz
  register: preflight

- name: Only the hard dependencies, with every collector ended at its declared limit
  vexdep.fleet.vexdep_check:
    package_dir: /var/tmp/updates/VX4K7
    type: hard
    collector_timeout: config
    vexinspect: /opt/vexdep/bin/vexinspect
'''

RETURN = r'''
checks:
  description:
    - One entry per requested type, C(hard) and/or C(soft).
  returned: success
  type: dict
  contains:
    hard:
      description: The hard check (present when I(type) is C(hard) or C(both)).
      returned: when requested
      type: dict
      contains:
        verdict:
          description:
            - C(ready) (everything applicable was checked and is met), C(blocked) (an applicable hard
              dependency is unmet), C(recommended) (an applicable soft dependency is unmet) or
              C(unverifiable) (nothing unmet, but something could not be checked).
          type: str
          sample: blocked
        reasons:
          description: Why, each with a stable C(kind), the dependency and release it is about (or null) and a text.
          type: list
          elements: dict
          sample: [{"kind": "unmet", "dependency": "Backplane Firmware", "release_id": "RA",
                    "text": "\"Backplane Firmware\": installed \"1.9\", required \"2.0\""}]
        reported:
          description:
            - The dependencies C(vexdepcheck) reports, in its order. C(state) is C(unmet) or C(failed);
              C(required_version) is set for hard, C(recommended_version) for soft dependencies.
          type: list
          elements: dict
          sample: [{"name": "Backplane Firmware", "component_id": "101", "component_type": "FRMW",
                    "release_id": "RA", "state": "unmet", "current_version": "1.9",
                    "required_version": "2.0", "recommended_version": null,
                    "download_path": "https://downloads.example.com/vex/FOLDER01/bp.BIN",
                    "error_message": null}]
        exit_status:
          description: The exit status C(vexdepcheck) itself returns for this type (1 or 2 with a report, otherwise 255).
          type: int
          sample: 1
        failed_inventories:
          description: Inventories that failed or timed out, with their messages.
          type: list
          elements: dict
          sample: [{"release_id": "RB", "outcome": "failed", "message": "fan controller did not answer"}]
        collectors:
          description: Every collector run, with its wall time, declared and enforced limits and how it ended.
          type: list
          elements: dict
          sample: [{"release_id": "RA", "seconds": 0.05, "declared_timeout_seconds": 30,
                    "enforced_limit_seconds": null, "timed_out": false, "exit_status": 0,
                    "signal": null, "warnings": []}]
    soft:
      description: The soft check (present when I(type) is C(soft) or C(both)), shaped like C(hard).
      returned: when requested
      type: dict
system_id:
  description: The host's system ID as the checker's platform check sees it, or null when none was found.
  returned: success
  type: str
  sample: 0A1C
system_id_origin:
  description: How the system ID was obtained (from the SMBIOS revision structure, the physical-memory fallback, ...), or null.
  returned: success
  type: str
  sample: revision-two-byte
smbios_source:
  description: Where the SMBIOS table was read from (C(sysfs), C(memory), ...), or C(none).
  returned: success
  type: str
  sample: sysfs
verdict:
  description:
    - The host's verdict over the requested types. It is the hard verdict when that is C(blocked) or
      C(unverifiable), else C(recommended) when the soft check recommends something, else C(ready).
  returned: success
  type: str
  sample: ready
package_dir:
  description:
    - The package directory that was checked; for I(package_archive) and I(src) the private directory
      it was unpacked into, which no longer exists when the module returns.
  returned: success
  type: str
  sample: /tmp/vexdep-preflight-k2j4l1x0
vexinspect:
  description: The vexinspect executable that ran.
  returned: success
  type: str
  sample: /usr/sbin/vexinspect
'''

import os
import shutil
import tarfile
import tempfile

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.vexdep.fleet.plugins.module_utils.vexinspect import (
    CheckError,
    find_vexinspect,
    run_json,
)

TYPES = {'hard': ('hard',), 'soft': ('soft',), 'both': ('hard', 'soft')}


def validate_timeout(value):
    """The collector time limit as vexinspect takes it, or CheckError."""
    if value is None:
        return None
    text = str(value).strip()
    if text in ('config', 'none'):
        return text
    if text.isdigit() and int(text) > 0:
        return str(int(text))
    raise CheckError('collector_timeout must be config, none or a positive whole number of seconds, not %r' % value)


def explain_argv(vexinspect, check_type, package_dir, collector_timeout=None):
    """The argument list of one explain run (run without a shell)."""
    argv = [vexinspect, 'explain', check_type, '--package-dir', package_dir, '--json']
    if collector_timeout is not None:
        argv += ['--collector-timeout', collector_timeout]
    return argv


def _reported(document, check_type):
    """The dependencies vexdepcheck reports, matched with their explained records."""
    used = set()
    dependencies = document.get('dependencies') or []
    result = []
    for entry in document.get('reported') or []:
        state = entry.get('state')
        wanted = 'reported-failed' if state == 'failed' else 'reported-unmet'
        record = {}
        for index, dependency in enumerate(dependencies):
            if index in used or dependency.get('verdict') != wanted:
                continue
            if dependency.get('display') == entry.get('display'):
                used.add(index)
                record = dependency
                break
        version = record.get('requiredVersion')
        result.append({
            'name': entry.get('display'),
            'component_id': record.get('componentID'),
            'component_type': record.get('componentType'),
            'release_id': record.get('releaseID'),
            'state': state,
            'current_version': record.get('currentVersion'),
            'required_version': version if check_type == 'hard' else None,
            'recommended_version': version if check_type == 'soft' else None,
            'download_path': record.get('downloadPath'),
            'error_message': record.get('errorMessage'),
        })
    return result


def summarize(document, check_type):
    """One type's entry of checks: what explain's JSON says, in the module's terms."""
    failed_inventories = []
    collectors = []
    for dependency in document.get('dependencies') or []:
        inventory = dependency.get('inventory') or {}
        if inventory.get('lookup') == 'collected':
            if inventory.get('outcome') in ('failed', 'timed-out'):
                failed_inventories.append({
                    'release_id': dependency.get('releaseID'),
                    'outcome': inventory.get('outcome'),
                    'message': inventory.get('errorMessage'),
                })
            collector = inventory.get('collector')
            if collector:
                collectors.append({
                    'release_id': dependency.get('releaseID'),
                    'seconds': collector.get('seconds'),
                    'declared_timeout_seconds': collector.get('declaredTimeoutSeconds'),
                    'enforced_limit_seconds': collector.get('enforcedLimitSeconds'),
                    'timed_out': collector.get('timedOut'),
                    'exit_status': collector.get('exitStatus'),
                    'signal': collector.get('signal'),
                    'warnings': collector.get('warnings') or [],
                })
    reasons = [{
        'kind': reason.get('kind'),
        'dependency': reason.get('dependency'),
        'release_id': reason.get('releaseID'),
        'text': reason.get('text'),
    } for reason in document.get('reasons') or []]
    return {
        'verdict': document.get('verdict'),
        'reasons': reasons,
        'reported': _reported(document, check_type),
        'exit_status': document.get('exitStatus'),
        'failed_inventories': failed_inventories,
        'collectors': collectors,
    }


def host_verdict(checks):
    """The host's verdict over the requested types (see RETURN: verdict)."""
    hard = (checks.get('hard') or {}).get('verdict')
    soft = (checks.get('soft') or {}).get('verdict')
    if hard in ('blocked', 'unverifiable'):
        return hard
    if soft == 'recommended':
        return 'recommended'
    if hard is None and soft is not None:
        return soft
    return hard or 'unverifiable'


def unpack(archive):
    """Unpacks a package archive into a new private directory; returns the directory."""
    if not os.path.exists(archive):
        raise CheckError('package archive %s does not exist' % archive)
    if not os.path.isfile(archive):
        raise CheckError('package archive %s is not a file' % archive)
    directory = tempfile.mkdtemp(prefix='vexdep-preflight-')
    try:
        with tarfile.open(archive, 'r:*') as tar:
            for member in tar.getmembers():
                name = os.path.normpath(member.name)
                if name.startswith('..') or os.path.isabs(name) or member.issym() or member.islnk() or \
                        member.isdev():
                    raise CheckError('package archive %s holds %s, which would not stay inside the package'
                                     % (archive, member.name))
            tar.extractall(directory)
    except (tarfile.TarError, EnvironmentError) as error:
        shutil.rmtree(directory, ignore_errors=True)
        raise CheckError('package archive %s cannot be unpacked: %s' % (archive, error))
    except CheckError:
        shutil.rmtree(directory, ignore_errors=True)
        raise
    return directory


def run_check(module, params):
    """Runs the requested checks; returns the module's result or raises CheckError."""
    archive = params.get('package_archive') or params.get('src')
    if archive:
        # Everything that can fail before the unpacking is checked first.
        validate_timeout(params.get('collector_timeout'))
        find_vexinspect(module, params.get('vexinspect'))
        directory = unpack(archive)
        try:
            return check_directory(module, dict(params, package_dir=directory))
        finally:
            shutil.rmtree(directory, ignore_errors=True)
    return check_directory(module, params)


def check_directory(module, params):
    """The checks of an unpacked package directory."""
    package_dir = params['package_dir']
    if not os.path.exists(package_dir):
        raise CheckError('package directory %s does not exist' % package_dir)
    if not os.path.isdir(package_dir):
        raise CheckError('package directory %s is not a directory' % package_dir)
    collector_timeout = validate_timeout(params.get('collector_timeout'))
    vexinspect = find_vexinspect(module, params.get('vexinspect'))

    checks = {}
    system_id = system_id_origin = None
    smbios_source = 'none'
    for check_type in TYPES[params.get('type') or 'both']:
        document = run_json(module, explain_argv(vexinspect, check_type, package_dir, collector_timeout),
                            'vexinspect explain %s' % check_type)
        checks[check_type] = summarize(document, check_type)
        smbios = document.get('smbios') or {}
        system_id = smbios.get('systemID') or system_id
        system_id_origin = smbios.get('systemIDOrigin') or system_id_origin
        smbios_source = smbios.get('source') or smbios_source
    return {
        'changed': False,
        'checks': checks,
        'verdict': host_verdict(checks),
        'system_id': system_id,
        'system_id_origin': system_id_origin,
        'smbios_source': smbios_source,
        'vexinspect': vexinspect,
        'package_dir': package_dir,
    }


def main():
    module = AnsibleModule(
        argument_spec=dict(
            package_dir=dict(type='path'),
            package_archive=dict(type='path'),
            src=dict(type='path'),
            type=dict(type='str', choices=['hard', 'soft', 'both'], default='both'),
            vexinspect=dict(type='path'),
            collector_timeout=dict(type='str'),
        ),
        required_one_of=[('package_dir', 'package_archive', 'src')],
        mutually_exclusive=[('package_dir', 'package_archive', 'src')],
        supports_check_mode=True,
    )
    try:
        result = run_check(module, module.params)
    except CheckError as error:
        module.fail_json(msg=str(error), changed=False)
    module.exit_json(**result)


if __name__ == '__main__':
    main()
