# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import base64
import os

import pytest
from ansible.errors import AnsibleConnectionFailure

from ansible_collections.vexdep.fleet.plugins.action import vexdep_check, vexdep_plan
from ansible_collections.vexdep.fleet.plugins.plugin_utils import remote_files


class Shell(object):
    tmpdir = None

    @staticmethod
    def join_path(*parts):
        return os.path.join(*parts)


class Connection(object):
    def __init__(self):
        self._shell = Shell()


class Task(object):
    """The task attributes the action reads."""

    def __init__(self, args, timeout=None):
        self.args = args
        self.timeout = timeout
        self.async_val = 0
        self.check_mode = False
        self.action = 'vexdep.fleet.vexdep_check'


class Recording(vexdep_check.ActionModule):
    """The action with every step that would reach the host recorded instead."""

    def __init__(self, args, timeout=None):
        super(Recording, self).__init__(Task(args, timeout), Connection(), None, None, None, None)
        self.steps = []
        self.module_args = None

    def _find_needle(self, dirname, needle):
        return needle

    def _make_tmp_path(self, remote_user=None):
        self.steps.append('make temporary directory')
        self._connection._shell.tmpdir = '/remote/ansible-tmp-1'
        return self._connection._shell.tmpdir

    def _transfer_file(self, local_path, remote_path):
        self.steps.append('transfer %s' % remote_path)
        return remote_path

    def _fixup_perms2(self, remote_paths, remote_user=None, execute=True):
        self.steps.append('permissions')

    def _remove_tmp_path(self, tmp_path, force=False):
        if tmp_path:
            self.steps.append('remove %s' % tmp_path)
            self._connection._shell.tmpdir = None

    def _execute_module(self, module_name=None, module_args=None, tmp=None, task_vars=None, persist_files=False,
                        delete_remote_tmp=None, wrap_async=False):
        self.steps.append('module')
        self.module_args = dict(module_args)
        return {'verdict': 'ready', 'changed': False}

    def _low_level_execute_command(self, cmd, sudoable=True, in_data=None, executable=None, encoding_errors='s',
                                   chdir=None):
        self.steps.append('bare %s' % cmd)
        return {'rc': 0, 'stdout': '', 'stderr': ''}


def archive_of(tmp_path, size):
    path = tmp_path / 'package.tar.gz'
    path.write_bytes(os.urandom(size))
    return str(path)


def test_a_small_archive_travels_in_the_module_arguments(tmp_path):
    archive = archive_of(tmp_path, 1000)
    action = Recording({'src': archive, 'type': 'hard'})
    result = action.run(task_vars={})
    assert result['verdict'] == 'ready'
    # One command on the host: no temporary directory, no transfer.
    assert action.steps == ['module']
    with open(archive, 'rb') as handle:
        assert base64.b64decode(action.module_args['package_content']) == handle.read()
    assert 'src' not in action.module_args and 'package_archive' not in action.module_args


@pytest.mark.parametrize('size', [remote_files.INLINE_LIMIT, remote_files.INLINE_LIMIT + 1])
def test_an_archive_beyond_the_limit_is_copied_first_and_removed(tmp_path, size):
    action = Recording({'src': archive_of(tmp_path, size), 'type': 'hard'})
    action.run(task_vars={})
    if size <= remote_files.INLINE_LIMIT:
        assert action.steps == ['module']
        return
    assert action.steps == ['make temporary directory', 'transfer /remote/ansible-tmp-1/package.tar.gz',
                            'permissions', 'module', 'remove /remote/ansible-tmp-1']
    assert action.module_args['package_archive'] == '/remote/ansible-tmp-1/package.tar.gz'
    assert 'package_content' not in action.module_args


def test_the_module_gets_the_time_left_of_the_task_timeout(tmp_path):
    action = Recording({'src': archive_of(tmp_path, 10), 'type': 'hard'}, timeout=100)
    action.run(task_vars={})
    # A tenth of the task's timeout is kept back (at least 5 seconds).
    assert 88 <= action.module_args['timeout'] <= 90


@pytest.mark.parametrize('timeout,steps', [(20, ['bare true', 'module']), (59, ['bare true', 'module']),
                                           (60, ['module']), (600, ['module']), (None, ['module'])])
def test_a_short_deadline_opens_the_connection_first(tmp_path, timeout, steps):
    action = Recording({'src': archive_of(tmp_path, 10), 'type': 'hard'}, timeout=timeout)
    action.run(task_vars={})
    assert action.steps == steps


def test_a_package_directory_on_the_host_goes_to_the_module_as_it_is():
    action = Recording({'package_dir': '/srv/VX4K7', 'type': 'soft'})
    action.run(task_vars={})
    assert action.steps == ['module']
    assert action.module_args == {'package_dir': '/srv/VX4K7', 'type': 'soft'}


def test_a_missing_source_fails_without_reaching_the_host(tmp_path):
    action = Recording({'src': str(tmp_path / 'nothing.tar.gz')})
    result = action.run(task_vars={})
    assert result['failed'] is True
    assert result['msg'] == 'src %s is not a file on the controller' % (tmp_path / 'nothing.tar.gz')
    assert action.steps == []


class Unreachable(Recording):
    """A host whose connection breaks while the module's input is sent; the bare command raises refused."""

    def __init__(self, args, refused=True):
        super(Unreachable, self).__init__(args)
        self.refused = refused

    def _execute_module(self, module_name=None, module_args=None, tmp=None, task_vars=None, persist_files=False,
                        delete_remote_tmp=None, wrap_async=False):
        self.steps.append('module')
        raise AnsibleConnectionFailure('Data could not be sent to remote host "10.1.2.3". Make sure this host can be '
                                       'reached over ssh: [Errno 32] Broken pipe')

    def _low_level_execute_command(self, cmd, sudoable=True, in_data=None, executable=None, encoding_errors='s',
                                   chdir=None):
        self.steps.append('bare %s' % cmd)
        if self.refused:
            raise AnsibleConnectionFailure('Failed to connect to the host via ssh: ssh: connect to host 10.1.2.3 '
                                           'port 22: Connection refused')
        return {'rc': 0, 'stdout': '', 'stderr': ''}


def test_a_host_that_cannot_be_reached_says_why(tmp_path):
    action = Unreachable({'src': archive_of(tmp_path, 100)})
    with pytest.raises(AnsibleConnectionFailure, match='connect to host 10.1.2.3 port 22: Connection refused'):
        action.run(task_vars={})
    assert action.steps == ['module', 'bare true']


def test_a_host_that_answers_the_bare_command_keeps_the_first_error(tmp_path):
    action = Unreachable({'src': archive_of(tmp_path, 100)}, refused=False)
    with pytest.raises(AnsibleConnectionFailure, match='Broken pipe'):
        action.run(task_vars={})
    assert action.steps == ['module', 'bare true']


class RecordingPlan(Recording, vexdep_plan.ActionModule):
    """The plan's action, with the same steps recorded."""


def test_the_plan_sends_both_archives_in_the_arguments_when_they_fit_together(tmp_path):
    package = archive_of(tmp_path, 100)
    repository = tmp_path / 'repository.tar.gz'
    repository.write_bytes(os.urandom(remote_files.INLINE_LIMIT - 100))
    action = RecordingPlan({'src': package, 'repository_src': str(repository), 'type': 'hard'})
    result = action.run(task_vars={})
    assert result['verdict'] == 'ready'
    # One command on the host: no temporary directory, no transfer.
    assert action.steps == ['module']
    with open(package, 'rb') as handle:
        assert base64.b64decode(action.module_args['package_content']) == handle.read()
    assert base64.b64decode(action.module_args['repository_content']) == repository.read_bytes()
    for argument in ('src', 'repository_src', 'package_archive', 'repository_archive'):
        assert argument not in action.module_args


def test_the_plan_copies_the_repository_that_does_not_fit_with_the_package(tmp_path):
    package = archive_of(tmp_path, 100)
    repository = tmp_path / 'repository.tar.gz'
    repository.write_bytes(os.urandom(remote_files.INLINE_LIMIT - 99))
    action = RecordingPlan({'src': package, 'repository_src': str(repository), 'type': 'hard'})
    action.run(task_vars={})
    assert action.steps == ['make temporary directory', 'transfer /remote/ansible-tmp-1/repository.tar.gz',
                            'permissions', 'module', 'remove /remote/ansible-tmp-1']
    assert action.module_args['repository_archive'] == '/remote/ansible-tmp-1/repository.tar.gz'
    assert 'repository_content' not in action.module_args
    with open(package, 'rb') as handle:
        assert base64.b64decode(action.module_args['package_content']) == handle.read()
