# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import base64
import io
import json
import os
import shutil
import stat
import subprocess
import sys
import tarfile

import pytest

from ansible_collections.vexdep.fleet.plugins.module_utils.deadline import DeadlineReached, run_until
from ansible_collections.vexdep.fleet.plugins.module_utils.vexinspect import CheckError
from ansible_collections.vexdep.fleet.plugins.modules import vexdep_plan

sys.path.insert(0, os.path.dirname(__file__))
from test_vexdep_check import FakeModule as CheckModule  # noqa: E402

SOURCE_ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), *(['..'] * 8)))

PLAN = {
    'schemaVersion': 1, 'command': 'plan', 'requested': 'both', 'verdict': 'complete', 'verdictExitStatus': 1,
    'steps': [{'step': 1, 'package': 'FOLDER01/A', 'fromVersion': '1.0', 'toVersion': '2.0', 'chain': []}],
    'blockers': [], 'warnings': [], 'evaluations': [{'package': None, 'afterSteps': 0}],
}


class FakeModule(CheckModule):
    """The check's stand-in for AnsibleModule and the runner, with a canned plan output; it keeps each
    replacement map too, and shows each command to inspect before answering."""

    def __init__(self, output=(0, PLAN, ''), on_path='/usr/sbin/vexinspect', inspect=None):
        CheckModule.__init__(self, dict((plan_type, output) for plan_type in ('hard', 'soft', 'both')), on_path)
        self.replaces = []
        self.inspect = inspect

    def run(self, argv, deadline=None, replace=None):
        self.replaces.append(replace)
        if self.inspect:
            self.inspect(argv)
        return CheckModule.run(self, argv, deadline, replace)


def run_plan(module, **params):
    return vexdep_plan.run_plan(module, dict({'type': 'both'}, **params), runner=module.run)


def make_archive(path, members, mtime=1700000000):
    """members: name -> (content or None for a directory, mode)."""
    with tarfile.open(str(path), 'w:gz') as tar:
        for name, (content, mode) in sorted(members.items()):
            info = tarfile.TarInfo(name)
            info.mtime = mtime
            info.mode = mode
            if content is None:
                info.type = tarfile.DIRTYPE
                tar.addfile(info)
            else:
                info.size = len(content)
                tar.addfile(info, io.BytesIO(content))
    return str(path)


def test_plans_a_package_directory_over_a_repository_directory(tmp_path):
    (tmp_path / 'package').mkdir()
    (tmp_path / 'repository').mkdir()
    module = FakeModule()
    result = run_plan(module, package_dir=str(tmp_path / 'package'), repository=str(tmp_path / 'repository'))
    assert result['changed'] is False
    assert result['verdict'] == 'complete'
    assert result['requested'] == 'both'
    assert result['timed_out'] is None
    assert result['plan']['steps'] == PLAN['steps']
    # The largest part of the document stays on the host unless asked for.
    assert 'evaluations' not in result['plan']
    assert module.commands == [['/usr/sbin/vexinspect', 'plan', 'both', '--repository', str(tmp_path / 'repository'),
                                '--package-dir', str(tmp_path / 'package'), '--json']]
    assert module.deadlines == [None]


def test_evaluations_on_request_and_the_collector_time_limit(tmp_path):
    (tmp_path / 'p').mkdir()
    module = FakeModule()
    result = run_plan(module, package_dir=str(tmp_path / 'p'), repository=str(tmp_path), evaluations=True,
                      collector_timeout='30', type='hard')
    assert result['plan']['evaluations'] == PLAN['evaluations']
    assert module.commands[0][2] == 'hard'
    assert module.commands[0][-2:] == ['--collector-timeout', '30']


def content_of(path):
    with open(path, 'rb') as handle:
        return base64.b64encode(handle.read()).decode('ascii')


REPOSITORY_MEMBERS = {
    'catalog.json': (b'{}', 0o644),
    'A': (None, 0o755),
    'A/package.xml': (b'<SoftwareComponent/>', 0o644),
    'A/INV': (None, 0o755),
    'A/INV/collect.sh': (b'#!/bin/sh\n', 0o755),
}


@pytest.mark.parametrize('sent', ['as files on the host', 'in the arguments'])
def test_the_package_is_unpacked_and_the_packed_repository_read_where_it_lies(tmp_path, sent):
    archive = make_archive(tmp_path / 'repository.tar.gz', REPOSITORY_MEMBERS)
    package = make_archive(tmp_path / 'package.tar.gz', {'package.xml': (b'<SoftwareComponent id="p"/>', 0o644)})
    seen = {}

    def inspect(argv):
        repository = argv[4]
        seen['repository'] = repository
        seen['package'] = argv[6]
        with open(os.path.join(argv[6], 'package.xml'), 'rb') as handle:
            seen['package.xml'] = handle.read()
        with open(repository, 'rb') as handle:
            seen['repository bytes'] = handle.read()
        seen['mode'] = stat.S_IMODE(os.stat(repository).st_mode)

    parent = tmp_path / 'parent'
    parent.mkdir()
    module = FakeModule(inspect=inspect)
    if sent == 'in the arguments':
        inputs = dict(package_content=content_of(package), repository_content=content_of(archive))
    else:
        inputs = dict(package_archive=package, repository_archive=archive)
    result = run_plan(module, tmp_parent=str(parent), **inputs)
    assert result['verdict'] == 'complete'
    assert seen['package.xml'] == b'<SoftwareComponent id="p"/>'
    with open(archive, 'rb') as handle:
        assert seen['repository bytes'] == handle.read()
    if sent == 'in the arguments':
        # Written to one private file, never unpacked.
        assert os.path.dirname(os.path.dirname(seen['repository'])) == str(parent)
        assert os.path.basename(seen['repository']) == 'repository.tar.gz'
        assert seen['mode'] == 0o600
    else:
        assert seen['repository'] == archive
    assert module.replaces[0] == {seen['package']: '<package>', seen['repository']: '<repository>'}
    assert len(module.commands) == 1
    assert os.listdir(str(parent)) == []


def test_a_vexinspect_that_reads_only_repository_directories_gets_the_packed_repository_unpacked(tmp_path):
    archive = make_archive(tmp_path / 'repository.tar.gz', REPOSITORY_MEMBERS, mtime=1700000000)
    (tmp_path / 'p').mkdir()
    parent = tmp_path / 'parent'
    parent.mkdir()
    seen = []

    class Older(FakeModule):
        def run(self, argv, deadline=None, replace=None):
            seen.append(argv[4])
            if len(seen) == 1:
                self.commands.append(argv)
                return 66, '', 'vexinspect plan: the repository %s is not a directory\n' % argv[4], []
            assert os.path.isdir(argv[4])
            seen.append(stat.S_IMODE(os.stat(os.path.join(argv[4], 'A/INV/collect.sh')).st_mode))
            seen.append(int(os.stat(os.path.join(argv[4], 'A/package.xml')).st_mtime))
            return FakeModule.run(self, argv, deadline, replace)

    module = Older()
    result = run_plan(module, package_dir=str(tmp_path / 'p'), repository_archive=archive, tmp_parent=str(parent))
    assert result['verdict'] == 'complete'
    assert seen[0] == archive
    assert os.path.dirname(seen[1]) == str(parent)
    assert seen[2:] == [0o755, 1700000000]
    assert len(module.commands) == 2
    assert os.listdir(str(parent)) == []


def test_an_archive_that_cannot_be_used_is_named_by_what_it_is(tmp_path):
    (tmp_path / 'p').mkdir()
    with pytest.raises(CheckError) as error:
        run_plan(FakeModule(), package_content=base64.b64encode(b'not an archive').decode('ascii'),
                 repository=str(tmp_path), tmp_parent=str(tmp_path))
    assert str(error.value).startswith('package archive sent with the task cannot be unpacked: ')
    with pytest.raises(CheckError) as error:
        run_plan(FakeModule(), package_dir=str(tmp_path / 'p'), repository_content='abc', tmp_parent=str(tmp_path))
    assert str(error.value).startswith('repository archive sent with the task cannot be written to this host: ')
    with pytest.raises(CheckError, match='repository archive %s does not exist' % (tmp_path / 'none.tar.gz')):
        run_plan(FakeModule(), package_dir=str(tmp_path / 'p'), repository_archive=str(tmp_path / 'none.tar.gz'))
    with pytest.raises(CheckError, match='repository archive %s is not a file' % (tmp_path / 'p')):
        run_plan(FakeModule(), package_dir=str(tmp_path / 'p'), repository_archive=str(tmp_path / 'p'))
    assert sorted(os.listdir(str(tmp_path))) == ['p']


def test_a_repository_archive_that_leaves_the_repository_is_refused_by_vexinspect(tmp_path):
    vexinspect = os.environ.get('VEXDEP_INSPECT')
    if not vexinspect or not os.access(vexinspect, os.X_OK):
        pytest.skip('VEXDEP_INSPECT does not name a built vexinspect')
    (tmp_path / 'p').mkdir()
    archive = make_archive(tmp_path / 'r.tar.gz', {'../x': (b'x', 0o644)})
    with pytest.raises(CheckError) as error:
        vexdep_plan.run_plan(FakeModule(on_path=vexinspect), {'type': 'both', 'package_dir': str(tmp_path / 'p'),
                                                              'repository_archive': archive}, runner=run_until)
    assert str(error.value) == ('vexinspect plan both failed with exit status 66: vexinspect plan: the repository '
                                '%s is neither a directory nor a packed repository: the archive member "../x" has a '
                                '".." component' % archive)
    assert sorted(os.listdir(str(tmp_path))) == ['p', 'r.tar.gz']


def test_what_cannot_be_planned_fails_with_the_reason(tmp_path):
    (tmp_path / 'p').mkdir()
    with pytest.raises(CheckError, match='repository %s does not exist' % (tmp_path / 'none')):
        run_plan(FakeModule(), package_dir=str(tmp_path / 'p'), repository=str(tmp_path / 'none'))
    with pytest.raises(CheckError, match='package directory %s does not exist' % (tmp_path / 'gone')):
        run_plan(FakeModule(), package_dir=str(tmp_path / 'gone'), repository=str(tmp_path))
    with pytest.raises(CheckError, match='vexinspect plan both failed with exit status 66: vexinspect plan: '
                                         'no repository'):
        run_plan(FakeModule((66, '', 'vexinspect plan: no repository\n')), package_dir=str(tmp_path / 'p'),
                 repository=str(tmp_path))
    with pytest.raises(CheckError, match='printed schemaVersion 2; this collection reads versions 1'):
        run_plan(FakeModule((0, dict(PLAN, schemaVersion=2), '')), package_dir=str(tmp_path / 'p'),
                 repository=str(tmp_path))
    with pytest.raises(CheckError, match='collector_timeout must be config, none'):
        run_plan(FakeModule(), package_dir=str(tmp_path / 'p'), repository=str(tmp_path), collector_timeout='soon')
    with pytest.raises(CheckError, match='timeout must be a positive number of seconds'):
        run_plan(FakeModule(), package_dir=str(tmp_path / 'p'), repository=str(tmp_path), timeout=0)


def test_a_plan_that_runs_out_of_time_is_a_verdict(tmp_path):
    (tmp_path / 'p').mkdir()

    class Hanging(FakeModule):
        def run(self, argv, deadline=None, replace=None):
            self.deadlines.append(deadline)
            raise DeadlineReached([{'pid': 42, 'command': 'sleep 3600', 'seconds': 9.9}])

    module = Hanging()
    clock = iter([100.0, 110.0, 110.0])
    result = vexdep_plan.run_plan(module, {'type': 'both', 'package_dir': str(tmp_path / 'p'),
                                           'repository': str(tmp_path), 'timeout': 10},
                                  runner=module.run, now=lambda: next(clock))
    assert result['verdict'] == 'timed-out'
    assert result['plan'] is None
    assert module.deadlines == [110.0]
    assert result['timed_out'] == {'seconds': 10.0, 'timeout_seconds': 10,
                                   'running': [{'pid': 42, 'command': 'sleep 3600', 'seconds': 9.9}]}


def _without(step, keys):
    return dict((key, value) for key, value in step.items() if key not in keys)


def test_the_plan_over_a_packed_repository_is_the_plan_over_the_repository(tmp_path):
    """vexinspect repo pack, then the module over the packed archive, against vexinspect plan run directly."""
    vexinspect = os.environ.get('VEXDEP_INSPECT')
    if not vexinspect or not os.access(vexinspect, os.X_OK):
        pytest.skip('VEXDEP_INSPECT does not name a built vexinspect')
    repository = os.path.join(SOURCE_ROOT, 'examples', 'repository')
    package = str(tmp_path / 'package')
    shutil.copytree(os.path.join(SOURCE_ROOT, 'examples', 'package'), package)
    shutil.copy(os.path.join(SOURCE_ROOT, 'examples', 'machine', 'inv.xml'), os.path.join(package, 'inv.xml'))
    archive = str(tmp_path / 'repository.tar.gz')
    subprocess.check_call([vexinspect, 'repo', 'pack', repository, '-o', archive], stdout=subprocess.DEVNULL)
    direct = json.loads(subprocess.check_output([vexinspect, 'plan', 'both', '--repository', repository,
                                                 '--package-dir', package, '--json']))
    module = FakeModule(on_path=vexinspect)
    result = vexdep_plan.run_plan(module, {'type': 'both', 'package_dir': package, 'repository_archive': archive},
                                  runner=run_until)
    plan = result['plan']
    assert result['verdict'] == direct['verdict'] == 'complete'
    assert plan['catalogUsed'] is True
    assert plan['repositoryPackages']['refused'] == []
    # The packed packages are directories of metadata: their format and digest are the copies'.
    assert [_without(step, ('format', 'digest')) for step in plan['steps']] == \
        [_without(step, ('format', 'digest')) for step in direct['steps']]
    assert len(plan['steps']) == 5
    assert plan['blockers'] == direct['blockers']


def test_documentation_examples_and_return_are_complete_yaml():
    import yaml
    documentation = yaml.safe_load(vexdep_plan.DOCUMENTATION)
    assert sorted(documentation['options']) == sorted([
        'package_dir', 'package_archive', 'package_content', 'src', 'repository', 'repository_archive',
        'repository_content', 'repository_src', 'type',
        'vexinspect', 'collector_timeout', 'timeout', 'tmp_parent', 'evaluations'])
    assert all(option.get('description') and option.get('type') for option in documentation['options'].values())
    assert documentation['attributes']['check_mode']['support'] == 'full'
    examples = yaml.safe_load(vexdep_plan.EXAMPLES)
    assert all('vexdep.fleet.vexdep_plan' in task or 'ansible.builtin.debug' in task for task in examples)
    returned = yaml.safe_load(vexdep_plan.RETURN)
    assert set(['verdict', 'plan', 'timed_out', 'left_behind', 'elapsed_seconds', 'requested', 'vexinspect']) == \
        set(returned)
