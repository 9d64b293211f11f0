#!/usr/bin/python
# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r'''
---
module: vexdep_plan
short_description: Plans which packages of a repository this host needs before an update package, in which order
description:
  - Runs C(vexinspect plan) on the managed host for an update package over a repository of update
    packages, and returns the host's plan in the shape of the plan command's JSON (its verdict, the
    ordered steps with the component, the versions each moves from and to and the chain of dependencies
    that brought it in, the blockers with their kind and reason, the warnings, the repository's
    packages), so that the controller can work out the fleet's plan.
  - The repository is a directory on the host, or an archive that C(vexinspect repo pack) wrote (each
    package's C(package.xml) and release directories with their collectors, and the catalog; no payload).
    C(vexinspect plan) reads such an archive where it lies, without unpacking it (archive content sent with
    the task is written to one private file below I(tmp_parent) first); a C(vexinspect) that reads only
    repository directories gets it unpacked into a private temporary directory (mode 0700), keeping the
    permission bits and modification times its catalog holds. A package archive is unpacked privately.
    Whatever the module made is removed again before it returns, whatever happened.
  - The evaluation is the one C(vexdepcheck) runs, with the checker's own rules; the packages' collectors
    run in the plan's private scratch directory, never in the repository.
  - With I(timeout), the plan ends by itself when the time is up; C(vexinspect), the collectors and
    everything they started are ended, the private directories removed, and the module returns the verdict
    C(timed-out) with the processes that were still running.
  - Never reports a change. In check mode the plan runs all the same (it only reads the host's state).
  - The task fails only when the plan cannot be made (no C(vexinspect), no such package or repository, an
    archive that cannot be used, no such temporary parent, a C(vexinspect) that fails or prints no
    JSON); a plan that is blocked or cannot be verified is a verdict, not a failure.
version_added: 1.0.0
author:
  - vexdepcheck developers
options:
  package_dir:
    description:
      - The update package's directory on the managed host (holding C(package.xml) and the machine's
        C(inv.xml)).
      - Exactly one of I(package_dir), I(package_archive), I(package_content) and I(src) is required.
    type: path
  package_archive:
    description:
      - A C(.tar.gz) of the update package on the managed host, unpacked privately and removed again.
    type: path
  package_content:
    description:
      - The C(.tar.gz) of the update package itself, base64-encoded, unpacked privately as I(package_archive)
        is. The action fills it in from I(src); a playbook seldom sets it.
    type: str
  src:
    description:
      - A C(.tar.gz) of the update package on the controller. The action sends it in the module's arguments
        (I(package_content)) while it and the repository's archive together are at most 1 MiB, else it copies
        it into the task's temporary directory on the host and plans it as I(package_archive); either way in
        the same round trip.
    type: path
  repository:
    description:
      - The repository's directory on the managed host; it is only read.
      - Exactly one of I(repository), I(repository_archive), I(repository_content) and I(repository_src) is
        required.
    type: path
  repository_archive:
    description:
      - An archive of the repository on the managed host, as C(vexinspect repo pack) writes it (any tar
        archive of a repository does), read where it lies.
    type: path
  repository_content:
    description:
      - The repository's archive itself, base64-encoded, written to a private file and read as
        I(repository_archive) is. The action fills it in from I(repository_src); a playbook seldom sets it.
    type: str
  repository_src:
    description:
      - The archive of the repository on the controller. The action sends it in the module's arguments
        (I(repository_content)) when it fits within 1 MiB with the package's archive (a packed repository of
        hundreds of packages takes tens of KiB), else it copies it into the task's temporary directory on the
        host and plans with it as I(repository_archive); either way in the same round trip, so that a planned
        host costs one command.
    type: path
  type:
    description:
      - Which dependencies of the package to plan. C(both) plans the hard ones, then the soft ones.
      - A package the plan brings in must have its hard dependencies met whatever is asked here.
    type: str
    choices: [hard, soft, both]
    default: both
  vexinspect:
    description:
      - Path of the C(vexinspect) executable on the managed host. Found on C(PATH) when left out.
    type: path
  collector_timeout:
    description:
      - The collectors' time limit, passed to C(vexinspect plan --collector-timeout) (C(config), C(none) or
        a positive whole number of seconds). Left out, the host's C(VEXDEP_COLLECTOR_TIMEOUT) applies.
    type: str
  timeout:
    description:
      - Seconds the whole plan (unpacking and planning) may take on the host. When they are up, everything
        the plan started is ended and the verdict is C(timed-out).
      - When the task has a C(timeout) keyword, the action derives this from it (the task's time left after
        the copies, less a reserve), and a smaller value given here wins.
    type: int
  tmp_parent:
    description:
      - The existing directory on the host below which archives are unpacked. A directory that does not
        exist is an error. Left out, the system's temporary directory (C(TMPDIR), else C(/tmp)).
    type: path
  evaluations:
    description:
      - Whether to return the plan's C(evaluations), every checker run with each dependency's verdict
        (the largest part of the plan command's JSON, rarely needed on the controller).
    type: bool
    default: false
notes:
  - Needs C(vexinspect) 1.0 or later with the C(plan) command on the managed host, and Python 3; no other
    library.
  - Supports check mode.
  - C(vexinspect repo pack) on the controller (or anywhere) writes the archive for I(repository_src).
attributes:
  check_mode:
    support: full
  diff_mode:
    support: none
seealso:
  - module: vexdep.fleet.vexdep_check
'''

EXAMPLES = r'''
- name: Plan an unpacked package over a repository on the host
  vexdep.fleet.vexdep_plan:
    package_dir: /var/tmp/updates/VX4K7
    repository: /srv/repository
  register: plan

- name: Show the steps
  ansible.builtin.debug:
    msg: "{{ plan.plan.steps | map(attribute='package') | list }}"
  when: plan.verdict == 'complete'

- name: Copy the package and the packed repository from the controller, plan within 10 minutes
  vexdep.fleet.vexdep_plan:
    src: /srv/updates/VX4K7.tar.gz
    repository_src: /srv/repository-metadata.tar.gz
    type: hard
    tmp_parent: /var/tmp
  timeout: 600
  register: plan
'''

RETURN = r'''
verdict:
  description:
    - The plan's verdict, C(plan.verdict) - C(nothing-needed) (the package can be installed as it is),
      C(complete) (the steps, in order, then the package), C(blocked) (something stops the plan, see
      C(plan.blockers)), C(unverifiable) (nothing stops it, but something could not be checked) - or
      C(timed-out) when I(timeout) ended the plan.
  returned: success
  type: str
  sample: complete
plan:
  description:
    - The JSON document of C(vexinspect plan --json) (C(docs/json/plan.schema.json)), as it is, except that
      C(evaluations) is left out unless I(evaluations) is set. Null when the plan timed out.
    - Its C(steps) (C(step), C(package), C(display), C(component), C(fromVersion), C(toVersion),
      C(requiredVersion), C(substituted), C(steppingStone), C(chain), C(rejected)), C(blockers) (C(kind),
      C(reasonKind), C(package), C(dependency), C(component), C(requiredVersion), C(reason), C(chain), C(cycle),
      C(rejected)) and C(warnings) are what the fleet report reads.
  returned: success
  type: dict
  sample: {"schemaVersion": 1, "command": "plan", "verdict": "complete", "verdictExitStatus": 1,
           "steps": [{"step": 1, "package": "FOLDER04/BACKPLANE/BP_FW_3.15.0.BIN", "fromVersion": "3.10.0",
                      "toVersion": "3.15.0", "steppingStone": true, "substituted": false}],
           "blockers": [], "warnings": []}
timed_out:
  description:
    - Null, or how the plan ran out of time - the seconds it ran, the limit, and every process that was
      still running (pid, command line with the private directories shown as C(<package>) and
      C(<repository>), seconds), all of which were ended.
  returned: success
  type: dict
  sample: {"seconds": 60.0, "timeout_seconds": 60, "running": [{"pid": 4711, "command": "sleep 3600",
           "seconds": 59.8}]}
left_behind:
  description: Processes that a finished plan left running (a collector's background process), which were ended.
  returned: success
  type: list
  elements: dict
  sample: []
elapsed_seconds:
  description: How long the module worked on the host.
  returned: success
  type: float
  sample: 2.4
requested:
  description: The type that was planned.
  returned: success
  type: str
  sample: both
vexinspect:
  description: The vexinspect executable that ran.
  returned: success
  type: str
  sample: /usr/sbin/vexinspect
'''

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.vexdep.fleet.plugins.module_utils.plan import run_plan
from ansible_collections.vexdep.fleet.plugins.module_utils.vexinspect import CheckError


def main():
    module = AnsibleModule(
        argument_spec=dict(
            package_dir=dict(type='path'),
            package_archive=dict(type='path'),
            package_content=dict(type='str', no_log=True),
            src=dict(type='path'),
            repository=dict(type='path'),
            repository_archive=dict(type='path'),
            repository_content=dict(type='str', no_log=True),
            repository_src=dict(type='path'),
            type=dict(type='str', choices=['hard', 'soft', 'both'], default='both'),
            vexinspect=dict(type='path'),
            collector_timeout=dict(type='str'),
            timeout=dict(type='int'),
            tmp_parent=dict(type='path'),
            evaluations=dict(type='bool', default=False),
        ),
        required_one_of=[('package_dir', 'package_archive', 'package_content', 'src'),
                         ('repository', 'repository_archive', 'repository_content', 'repository_src')],
        mutually_exclusive=[('package_dir', 'package_archive', 'package_content', 'src'),
                            ('repository', 'repository_archive', 'repository_content', 'repository_src')],
        supports_check_mode=True,
    )
    try:
        result = run_plan(module, module.params)
    except CheckError as error:
        module.fail_json(msg=str(error), changed=False)
    module.exit_json(**result)


if __name__ == '__main__':
    main()
