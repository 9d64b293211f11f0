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
    recommended, the download path and, for soft dependencies, the package's detail on why), the failed
    inventories with their messages, the collectors' run times and the ones that ran longer than they
    declare, the host's system ID and how it was obtained, and the exit status that C(vexdepcheck)
    itself returns.
  - The evaluation is exactly the one C(vexdepcheck hard) or C(vexdepcheck soft) runs; the package's
    collectors run as they do for C(vexdepcheck) and write their documents into the package directory.
  - With I(timeout), the check ends by itself when the time is up, whatever a collector does. C(vexinspect),
    the collectors and everything they started are ended, the private package directory is removed, and
    the module returns the verdict C(timed-out) with the processes that were still running. Processes that a check leaves behind when it ends are ended as well.
  - Never reports a change. In check mode the check runs all the same (it only reads the host's state).
  - The task fails only when the check cannot run (no C(vexinspect), no such package directory or archive,
    no such temporary parent, an unusable collector time limit, a C(vexinspect) that fails or prints no
    JSON); a package that cannot be verified, or a check that runs out of time, is a verdict, not a failure.
version_added: 1.0.0
author:
  - vexdepcheck developers
options:
  package_dir:
    description:
      - The update package's directory on the managed host (the one holding C(package.xml)).
      - Exactly one of I(package_dir), I(package_archive), I(package_content) and I(src) is required.
    type: path
  package_archive:
    description:
      - A C(.tar.gz) of the update package on the managed host. It is unpacked into a private
        temporary directory (mode 0700), checked there, and the directory is removed again before
        the module returns, whatever happened.
    type: path
  package_content:
    description:
      - A C(.tar.gz) of the update package itself, base64-encoded, unpacked and checked as I(package_archive) is.
      - The action sends an archive given in I(src) this way when it is at most 1 MiB.
    type: str
  src:
    description:
      - A C(.tar.gz) of the update package on the controller, checked as I(package_archive) is.
      - An archive of at most 1 MiB travels in the module's arguments (I(package_content)), so that the whole task
        is one command on the host. A larger one is copied into the task's temporary directory on the host first,
        checked in the same round trip, and removed with the directory afterwards.
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
  timeout:
    description:
      - Seconds the whole check (the module's start-up on the host, unpacking and every requested type) may take
        on the host. When they are up, everything the check started is ended and the verdict is C(timed-out).
      - When the task has a C(timeout) keyword, the action derives this from it (the task's time left
        before the module is sent, less a reserve for ending the processes and answering), and a smaller value
        given here wins.
      - Left out, and without a task C(timeout), the check waits as long as the collectors run.
    type: int
  tmp_parent:
    description:
      - The existing directory on the host below which the private package directory of
        I(package_archive), I(package_content) or I(src) is created. A directory that does not exist is an error.
      - Left out, the system's temporary directory (C(TMPDIR), else C(/tmp)).
    type: path
  repository:
    description:
      - A repository of update packages on the host (a directory; only read). With it, or with
        I(repository_archive), I(repository_content) or I(repository_src), a check whose verdict is
        C(blocked), C(recommended) or C(unverifiable) is followed, in the same command on the host, by the plan
        that M(vexdep.fleet.vexdep_plan) would make for the same package and type (returned as I(plan)), with
        what is left of I(timeout); a check that needs nothing is not planned. A plan that cannot be made is
        returned in I(plan_failure) and never changes the check's verdict or fails the task.
      - At most one of I(repository), I(repository_archive), I(repository_content) and I(repository_src).
    type: path
  repository_archive:
    description:
      - An archive of the repository on the host, as C(vexinspect repo pack) writes it, read where it lies
        (only when a plan is made).
    type: path
  repository_content:
    description:
      - The repository's archive itself, base64-encoded, written to a private file for the plan and removed
        again; the action fills it in from I(repository_src).
    type: str
  repository_src:
    description:
      - The repository's archive on the controller. The action sends it in the module's arguments while it and
        the package's archive together are at most 1 MiB (a packed repository of hundreds of packages takes
        tens of KiB), else it copies it into the task's temporary directory on the host first.
    type: path
notes:
  - Needs C(vexinspect) on the managed host (the Debian package of vexdepcheck installs it) and
    Python 3; no other library.
  - Supports check mode.
  - The verdict rule is documented under RETURN, I(verdict).
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
  when: preflight.verdict not in ['ready', 'recommended']

- name: Copy a package archive from the controller, check it on the host within 10 minutes, remove it again
  vexdep.fleet.vexdep_check:
    src: /srv/updates/VX4K7.tar.gz
    tmp_parent: /var/tmp
  timeout: 600
  register: preflight

- name: Check a package from the controller and, when the host needs something, plan it over a packed repository
  vexdep.fleet.vexdep_check:
    src: /srv/updates/VX4K7.tar.gz
    repository_src: /srv/repository-metadata.tar.gz
  timeout: 600
  register: preflight

- name: Only the hard dependencies, with every collector ended at its declared limit
  vexdep.fleet.vexdep_check:
    package_dir: /var/tmp/updates/VX4K7
    type: hard
    collector_timeout: config
    vexinspect: /opt/vexdep/bin/vexinspect
'''

RETURN = r'''
plan:
  description:
    - With a repository, the plan that followed the check, in the shape of the result of
      M(vexdep.fleet.vexdep_plan) (C(verdict), C(plan), C(timed_out), C(left_behind), C(elapsed_seconds),
      C(requested), C(vexinspect)); with C(skipped) true when the check's verdict needed no plan.
  returned: when a repository is given and no plan failure
  type: dict
  sample: {"verdict": "complete", "plan": {"verdict": "complete", "steps": [], "blockers": []},
           "timed_out": null, "left_behind": [], "elapsed_seconds": 0.4}
plan_failure:
  description: Why the plan could not be made (C(task) and C(msg)); the check's result stands.
  returned: when a repository is given and the plan could not be made
  type: dict
  sample: {"task": "plan", "msg": "repository archive sent with the task cannot be written to this host: ..."}
checks:
  description:
    - One entry per requested type that finished, C(hard) and/or C(soft).
  returned: success
  type: dict
  contains:
    hard:
      description: The hard check (present when I(type) is C(hard) or C(both) and it finished).
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
        warnings:
          description:
            - What the check could not see but that cannot change its verdict, in the shape of I(reasons) (for
              example C(platform-unread), when this user may not read the SMBIOS tables and no applicable
              dependency lists platforms). Empty when C(vexinspect) gives none or is older.
          type: list
          elements: dict
          sample: []
        reported:
          description:
            - The dependencies C(vexdepcheck) reports, in its order. C(state) is C(unmet) or C(failed);
              C(required_version) is set for hard, C(recommended_version) for soft dependencies;
              C(detail) is the package's text on why (its C(Detail) element; null when the package has
              none or C(vexinspect) does not say).
          type: list
          elements: dict
          sample: [{"name": "Backplane Firmware", "component_id": "101", "component_type": "FRMW",
                    "release_id": "RA", "state": "unmet", "current_version": "1.9",
                    "required_version": "2.0", "recommended_version": null,
                    "download_path": "https://downloads.example.com/vex/FOLDER01/bp.BIN",
                    "error_message": null, "detail": null}]
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
                    "signal": null, "exceeded_declared_timeout": false, "warnings": []}]
    soft:
      description: The soft check (present when I(type) is C(soft) or C(both) and it finished), shaped like C(hard).
      returned: when requested
      type: dict
requested:
  description: The types that were requested, in the order they run.
  returned: success
  type: list
  elements: str
  sample: [hard, soft]
verdict:
  description:
    - The host's verdict. C(timed-out) when I(timeout) ended the check. Otherwise the most severe of
      the requested types' verdicts in the order C(blocked), C(unverifiable), C(recommended), C(ready);
      a requested type without a verdict counts as C(unverifiable). So a host is C(ready) only when
      every requested type was checked and is ready, and a soft dependency that could not be verified
      makes it C(unverifiable) (with C(verdict_types) [soft]).
  returned: success
  type: str
  sample: ready
verdict_types:
  description: The requested types whose verdict is the host's verdict (empty for C(timed-out)).
  returned: success
  type: list
  elements: str
  sample: [soft]
collector_overruns:
  description:
    - Every collector that ran longer than its C(PIEConfig.xml) declares without being ended for it
      (the limits in packages are not enforced by default), with a text in the words of C(vexinspect).
  returned: success
  type: list
  elements: dict
  sample: [{"type": "hard", "release_id": "RA", "seconds": 30.2, "declared_timeout_seconds": 5,
            "text": "took 30.2 s, declares 5 s"}]
timed_out:
  description:
    - Null, or how the check ran out of time - the type it was checking or about to start, the
      seconds it ran, the limit, and every process that was still running (pid, command line with the
      private package directory shown as C(<package>), seconds), all of which were ended.
  returned: success
  type: dict
  sample: {"type": "soft", "seconds": 15.0, "timeout_seconds": 15,
           "running": [{"pid": 4711, "command": "sleep 3600", "seconds": 14.8}]}
left_behind:
  description: Processes that a finished check left running (a collector's background process), which were ended.
  returned: success
  type: list
  elements: dict
  sample: []
elapsed_seconds:
  description: How long the module worked on the host.
  returned: success
  type: float
  sample: 1.2
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
package_dir:
  description:
    - The package directory that was checked; for I(package_archive), I(package_content) and I(src) the private
      directory it was unpacked into, which no longer exists when the module returns.
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
import time

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.vexdep.fleet.plugins.module_utils.archive import SENT_ARCHIVE, unpack
from ansible_collections.vexdep.fleet.plugins.module_utils.deadline import DeadlineReached, process_age, run_until
from ansible_collections.vexdep.fleet.plugins.module_utils.plan import REPOSITORY_OPTIONS, run_plan
from ansible_collections.vexdep.fleet.plugins.module_utils.verdict import host_verdict
from ansible_collections.vexdep.fleet.plugins.module_utils.vexinspect import (
    CheckError,
    find_vexinspect,
    parse_document,
    validate_timeout,
)

TYPES = {'hard': ('hard',), 'soft': ('soft',), 'both': ('hard', 'soft')}


def validate_check_timeout(value):
    """The check's own time limit in seconds, or None; CheckError when it is not positive."""
    if value is None:
        return None
    if int(value) <= 0:
        raise CheckError('timeout must be a positive number of seconds, not %r' % value)
    return int(value)


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
            'detail': record.get('detail') or None,
        })
    return result


def _collector(dependency, collector):
    return {
        'release_id': dependency.get('releaseID'),
        'seconds': collector.get('seconds'),
        'declared_timeout_seconds': collector.get('declaredTimeoutSeconds'),
        'enforced_limit_seconds': collector.get('enforcedLimitSeconds'),
        'timed_out': collector.get('timedOut'),
        'exit_status': collector.get('exitStatus'),
        'signal': collector.get('signal'),
        'exceeded_declared_timeout': bool(collector.get('exceededDeclaredTimeout')),
        'warnings': collector.get('warnings') or [],
    }


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
            if inventory.get('collector'):
                collectors.append(_collector(dependency, inventory['collector']))
    return {
        'verdict': document.get('verdict'),
        'reasons': _reasons(document.get('reasons')),
        'warnings': _reasons(document.get('warnings')),
        'reported': _reported(document, check_type),
        'exit_status': document.get('exitStatus'),
        'failed_inventories': failed_inventories,
        'collectors': collectors,
    }


def _reasons(entries):
    """explain's reasons or warnings, in the module's names."""
    return [{
        'kind': entry.get('kind'),
        'dependency': entry.get('dependency'),
        'release_id': entry.get('releaseID'),
        'text': entry.get('text'),
    } for entry in entries or []]


def overruns(checks):
    """Every collector that ran longer than it declares, over all finished types."""
    found = []
    for check_type in ('hard', 'soft'):
        for collector in (checks.get(check_type) or {}).get('collectors') or []:
            if not collector.get('exceeded_declared_timeout'):
                continue
            seconds = collector.get('seconds') or 0.0
            declared = collector.get('declared_timeout_seconds')
            found.append({
                'type': check_type,
                'release_id': collector.get('release_id'),
                'seconds': seconds,
                'declared_timeout_seconds': declared,
                'text': 'took %.1f s, declares %s s' % (seconds, declared),
            })
    return found


class Clock(object):
    """The check's deadline: time.time() values, None when there is none.

    With a timeout, the time the module's process ran before (started_ago: its
    start-up on the host, Python's and the module's imports) counts against
    it, up to half of it."""

    def __init__(self, timeout=None, now=time.time, started_ago=None):
        self.now = now
        self.started = now()
        if timeout and started_ago:
            self.started -= min(max(0.0, started_ago), timeout / 2.0)
        self.timeout = timeout
        self.deadline = None if timeout is None else self.started + timeout

    def elapsed(self):
        return round(self.now() - self.started, 1)

    def passed(self):
        return self.deadline is not None and self.now() >= self.deadline


def run_check(module, params, runner=run_until):
    """Runs the requested checks; returns the module's result or raises CheckError."""
    clock = Clock(validate_check_timeout(params.get('timeout')), started_ago=process_age())
    content = params.get('package_content')
    archive = SENT_ARCHIVE if content is not None else params.get('package_archive') or params.get('src')
    if archive:
        # Everything that can fail before the unpacking is checked first.
        validate_timeout(params.get('collector_timeout'))
        find_vexinspect(module, params.get('vexinspect'))
        directory = unpack(archive, params.get('tmp_parent'), content=content)
        try:
            result = check_directory(module, dict(params, package_dir=directory), runner, clock)
            return plan_if_needed(module, params, directory, result, runner, clock)
        finally:
            shutil.rmtree(directory, ignore_errors=True)
    result = check_directory(module, params, runner, clock)
    return plan_if_needed(module, params, params['package_dir'], result, runner, clock)


# The check's verdicts after which a repository is planned over.
PLANNED_VERDICTS = ('blocked', 'recommended', 'unverifiable')


def plan_if_needed(module, params, package_dir, result, runner, clock):
    """The check's result with the plan over the repository the parameters name, when there is one and the
    verdict asks for it; a plan that cannot be made is kept in plan_failure."""
    if not any(params.get(option) for option in REPOSITORY_OPTIONS):
        return result
    if result.get('verdict') not in PLANNED_VERDICTS:
        result['plan'] = {'changed': False, 'skipped': True,
                          'skip_reason': 'the check found nothing a plan could change (%s)' % result.get('verdict')}
        return result
    left = None
    if clock.deadline is not None:
        left = max(1, int(clock.deadline - clock.now()))
    plan_params = dict(params, package_dir=package_dir, package_archive=None, package_content=None, src=None,
                       timeout=left)
    try:
        result['plan'] = run_plan(module, plan_params, runner)
    except CheckError as error:
        result['plan_failure'] = {'task': 'plan', 'msg': str(error)}
    return result


def check_directory(module, params, runner=run_until, clock=None):
    """The checks of an unpacked package directory."""
    clock = clock or Clock(validate_check_timeout(params.get('timeout')))
    package_dir = params['package_dir']
    if not os.path.exists(package_dir):
        raise CheckError('package directory %s does not exist' % package_dir)
    if not os.path.isdir(package_dir):
        raise CheckError('package directory %s is not a directory' % package_dir)
    collector_timeout = validate_timeout(params.get('collector_timeout'))
    vexinspect = find_vexinspect(module, params.get('vexinspect'))
    requested = list(TYPES[params.get('type') or 'both'])
    # Commands in the report name the package directory the same way on every host.
    replace = {package_dir.rstrip('/'): '<package>'}

    checks = {}
    timed_out = None
    left_behind = []
    system_id = system_id_origin = None
    smbios_source = 'none'
    for check_type in requested:
        if clock.passed():
            timed_out = {'type': check_type, 'seconds': clock.elapsed(), 'timeout_seconds': clock.timeout,
                         'running': []}
            break
        what = 'vexinspect explain %s' % check_type
        try:
            rc, out, err, left = runner(explain_argv(vexinspect, check_type, package_dir, collector_timeout),
                                        clock.deadline, replace)
        except DeadlineReached as reached:
            timed_out = {'type': check_type, 'seconds': clock.elapsed(), 'timeout_seconds': clock.timeout,
                         'running': reached.running}
            break
        left_behind.extend(dict(process, type=check_type) for process in left)
        document = parse_document(what, rc, out, err)
        checks[check_type] = summarize(document, check_type)
        smbios = document.get('smbios') or {}
        system_id = smbios.get('systemID') or system_id
        system_id_origin = smbios.get('systemIDOrigin') or system_id_origin
        smbios_source = smbios.get('source') or smbios_source
    if timed_out is not None:
        verdict, verdict_types = 'timed-out', []
    else:
        verdict, verdict_types = host_verdict(checks, requested)
    return {
        'changed': False,
        'requested': requested,
        'checks': checks,
        'verdict': verdict,
        'verdict_types': verdict_types,
        'collector_overruns': overruns(checks),
        'timed_out': timed_out,
        'left_behind': left_behind,
        'elapsed_seconds': clock.elapsed(),
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
            package_content=dict(type='str', no_log=True),
            src=dict(type='path'),
            type=dict(type='str', choices=['hard', 'soft', 'both'], default='both'),
            vexinspect=dict(type='path'),
            collector_timeout=dict(type='str'),
            timeout=dict(type='int'),
            tmp_parent=dict(type='path'),
            repository=dict(type='path'),
            repository_archive=dict(type='path'),
            repository_content=dict(type='str', no_log=True),
            repository_src=dict(type='path'),
        ),
        required_one_of=[('package_dir', 'package_archive', 'package_content', 'src')],
        mutually_exclusive=[('package_dir', 'package_archive', 'package_content', 'src'),
                            ('repository', 'repository_archive', 'repository_content', 'repository_src')],
        supports_check_mode=True,
    )
    try:
        result = run_check(module, module.params)
    except CheckError as error:
        module.fail_json(msg=str(error), changed=False)
    module.exit_json(**result)


if __name__ == '__main__':
    main()
