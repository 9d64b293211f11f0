# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import base64
import copy
import json
import os
import stat
import sys
import time

import pytest

from ansible.module_utils import basic
from ansible.module_utils.common.text.converters import to_bytes
from ansible_collections.vexdep.fleet.plugins.module_utils.deadline import DeadlineReached
from ansible_collections.vexdep.fleet.plugins.module_utils.verdict import host_verdict
from ansible_collections.vexdep.fleet.plugins.module_utils.vexinspect import CheckError
from ansible_collections.vexdep.fleet.plugins.modules import vexdep_check

sys.path.insert(0, os.path.dirname(__file__))
import explain_documents as docs  # noqa: E402


class FakeModule(object):
    """Stands in for AnsibleModule: canned vexinspect output per type, and what was run."""

    def __init__(self, outputs, on_path='/usr/sbin/vexinspect'):
        self.outputs = outputs
        self.on_path = on_path
        self.commands = []
        self.deadlines = []

    def get_bin_path(self, name, required=False):
        assert name == 'vexinspect'
        return self.on_path

    def run(self, argv, deadline=None, replace=None):
        """Stands in for deadline.run_until."""
        assert isinstance(argv, list), 'vexinspect must run from an argument list'
        self.commands.append(argv)
        self.deadlines.append(deadline)
        rc, out, err = self.outputs[argv[2]]
        return rc, out if isinstance(out, str) else json.dumps(out), err, []


@pytest.fixture(autouse=True)
def fresh_process(monkeypatch):
    """The module runs in a process of its own on a host; the test process is older."""
    monkeypatch.setattr(vexdep_check, 'process_age', lambda: None)


def run_check(module, parameters):
    return vexdep_check.run_check(module, parameters, runner=module.run)


def params(package_dir, **extra):
    result = {'package_dir': package_dir, 'type': 'both', 'vexinspect': None, 'collector_timeout': None}
    result.update(extra)
    return result


# --- every verdict ---------------------------------------------------------

def test_ready(tmp_path):
    module = FakeModule({'hard': (0, docs.READY_HARD, ''), 'soft': (0, docs.READY_SOFT, '')})
    result = run_check(module, params(str(tmp_path)))
    assert result['changed'] is False
    assert result['verdict'] == 'ready'
    assert result['checks']['hard']['verdict'] == 'ready'
    assert result['checks']['soft']['verdict'] == 'ready'
    assert result['checks']['hard']['reported'] == []
    assert result['checks']['hard']['exit_status'] == 255
    assert result['system_id'] == '0x0A1C'
    assert result['system_id_origin'] == 'revision-two-byte'
    assert result['smbios_source'] == 'sysfs'
    assert result['vexinspect'] == '/usr/sbin/vexinspect'
    assert [c[2] for c in module.commands] == ['hard', 'soft']
    assert module.commands[0] == ['/usr/sbin/vexinspect', 'explain', 'hard', '--package-dir', str(tmp_path), '--json']


def test_blocked_reports_every_dependency_with_its_download_path(tmp_path):
    module = FakeModule({'hard': (0, docs.BLOCKED_HARD, '')})
    result = run_check(module, params(str(tmp_path), type='hard'))
    hard = result['checks']['hard']
    assert result['verdict'] == 'blocked'
    assert 'soft' not in result['checks']
    assert hard['exit_status'] == 1
    assert [(r['name'], r['state'], r['current_version'], r['download_path']) for r in hard['reported']] == [
        ('Unmet A', 'unmet', '1.9', docs.BASE + 'A/a.bin'),
        ('Failed B', 'failed', None, docs.BASE + 'B/b.bin'),
        ('Unmet A', 'unmet', '1.0', docs.BASE + 'C/a.bin'),
    ]
    assert hard['reported'][0]['required_version'] == '2.0'
    assert hard['reported'][0]['recommended_version'] is None
    assert hard['reported'][1]['error_message'] == 'device did not answer'
    assert [r['kind'] for r in hard['reasons']] == ['unmet', 'inventory-failed', 'unmet']
    assert hard['reasons'][0]['release_id'] == 'RA'
    assert hard['failed_inventories'] == [{'release_id': 'RB', 'outcome': 'failed', 'message': 'device did not answer'}]
    assert [c['release_id'] for c in hard['collectors']] == ['RA', 'RB', 'RC']


def test_warnings_come_with_the_verdict_they_leave_alone(tmp_path):
    unread = docs.reason('platform-unread', 'the platform was not read as this user')
    ready = docs.document('hard', 'ready', [docs.dependency('Met C', 'met')], [],
                          [docs.reason('all-met', 'every applicable hard dependency is met')], warnings=[unread])
    module = FakeModule({'hard': (0, ready, '')})
    hard = run_check(module, params(str(tmp_path), type='hard'))['checks']['hard']
    assert hard['verdict'] == 'ready'
    assert hard['warnings'] == [{'kind': 'platform-unread', 'dependency': None, 'release_id': None,
                                 'text': 'the platform was not read as this user'}]
    # A document without warnings (an older vexinspect) gives none.
    module = FakeModule({'hard': (0, docs.READY_HARD, '')})
    assert run_check(module, params(str(tmp_path), type='hard'))['checks']['hard']['warnings'] == []


def test_recommended(tmp_path):
    module = FakeModule({'hard': (0, docs.READY_HARD, ''), 'soft': (0, docs.RECOMMENDED_SOFT, '')})
    result = run_check(module, params(str(tmp_path)))
    soft = result['checks']['soft']
    assert result['verdict'] == 'recommended'
    assert soft['verdict'] == 'recommended'
    assert soft['exit_status'] == 2
    assert soft['reported'][0]['recommended_version'] == '3.1'
    assert soft['reported'][0]['required_version'] is None
    assert soft['reported'][0]['current_version'] == '3.0.9'


def test_unverifiable(tmp_path):
    module = FakeModule({'hard': (0, docs.UNVERIFIABLE_HARD, ''), 'soft': (0, docs.RECOMMENDED_SOFT, '')})
    result = run_check(module, params(str(tmp_path)))
    hard = result['checks']['hard']
    # Unverifiable hard dependencies outweigh a soft recommendation.
    assert result['verdict'] == 'unverifiable'
    assert hard['verdict'] == 'unverifiable'
    assert hard['failed_inventories'] == [{'release_id': 'RE', 'outcome': 'timed-out',
                                           'message': 'collector timed out'}]
    assert hard['collectors'][0]['timed_out'] is True
    assert hard['reasons'][0]['kind'] == 'inventory-timed-out'
    # The hard run read no table; the soft run's document has the system ID.
    assert result['system_id'] == '0x0A1C'


# Every combination of a hard and a soft verdict, and each type alone: the
# most severe of the requested types' verdicts (blocked, unverifiable,
# recommended, ready), with the types that decide it.
VERDICT_TABLE = [
    ('ready', 'ready', 'ready', ['hard', 'soft']),
    ('ready', 'recommended', 'recommended', ['soft']),
    ('ready', 'blocked', 'blocked', ['soft']),
    ('ready', 'unverifiable', 'unverifiable', ['soft']),
    ('recommended', 'ready', 'recommended', ['hard']),
    ('recommended', 'recommended', 'recommended', ['hard', 'soft']),
    ('recommended', 'blocked', 'blocked', ['soft']),
    ('recommended', 'unverifiable', 'unverifiable', ['soft']),
    ('blocked', 'ready', 'blocked', ['hard']),
    ('blocked', 'recommended', 'blocked', ['hard']),
    ('blocked', 'blocked', 'blocked', ['hard', 'soft']),
    ('blocked', 'unverifiable', 'blocked', ['hard']),
    ('unverifiable', 'ready', 'unverifiable', ['hard']),
    ('unverifiable', 'recommended', 'unverifiable', ['hard']),
    ('unverifiable', 'blocked', 'blocked', ['soft']),
    ('unverifiable', 'unverifiable', 'unverifiable', ['hard', 'soft']),
]


@pytest.mark.parametrize('hard,soft,verdict,types', VERDICT_TABLE)
def test_host_verdict_of_both_types(hard, soft, verdict, types):
    checks = {'hard': {'verdict': hard}, 'soft': {'verdict': soft}}
    assert host_verdict(checks, ['hard', 'soft']) == (verdict, types)


@pytest.mark.parametrize('only', ['ready', 'recommended', 'blocked', 'unverifiable'])
@pytest.mark.parametrize('check_type', ['hard', 'soft'])
def test_host_verdict_of_one_type(only, check_type):
    assert host_verdict({check_type: {'verdict': only}}, [check_type]) == (only, [check_type])


def test_a_requested_type_without_a_verdict_is_unverifiable():
    # The soft check did not finish or printed a verdict this collection does not know.
    assert host_verdict({'hard': {'verdict': 'ready'}}, ['hard', 'soft']) == ('unverifiable', ['soft'])
    assert host_verdict({'hard': {'verdict': 'ready'}, 'soft': {'verdict': 'maybe'}},
                        ['hard', 'soft']) == ('unverifiable', ['soft'])
    assert host_verdict({}, []) == ('unverifiable', [])


def test_soft_collector_failure_makes_the_host_unverifiable(tmp_path):
    soft = docs.document('soft', 'unverifiable', [docs.dependency('Soft D', 'no-inventory', outcome='failed',
                                                                  error='agent service is not running')],
                         [], [docs.reason('inventory-failed', '"Soft D": the inventory of release "RA" failed: '
                                          'agent service is not running', 'Soft D', 'RA')])
    module = FakeModule({'hard': (0, docs.READY_HARD, ''), 'soft': (0, soft, '')})
    result = run_check(module, params(str(tmp_path)))
    assert result['verdict'] == 'unverifiable'
    assert result['verdict_types'] == ['soft']
    assert result['requested'] == ['hard', 'soft']


def test_collector_timeout_is_passed_through(tmp_path):
    module = FakeModule({'hard': (0, docs.READY_HARD, '')})
    run_check(module, params(str(tmp_path), type='hard', collector_timeout='config'))
    assert module.commands[0][-2:] == ['--collector-timeout', 'config']
    module = FakeModule({'soft': (0, docs.READY_SOFT, '')})
    run_check(module, params(str(tmp_path), type='soft', collector_timeout=' 045 '))
    assert module.commands[0][-2:] == ['--collector-timeout', '45']
    assert module.commands[0][2] == 'soft'


# --- failure messages --------------------------------------------------------

@pytest.mark.parametrize('value', ['0', '-3', 'forever', '1.5', ''])
def test_bad_collector_timeout(tmp_path, value):
    with pytest.raises(CheckError, match='collector_timeout must be config, none or a positive whole number'):
        run_check(FakeModule({}), params(str(tmp_path), collector_timeout=value))


def test_no_such_package_directory(tmp_path):
    missing = str(tmp_path / 'nowhere')
    with pytest.raises(CheckError, match='package directory %s does not exist' % missing):
        run_check(FakeModule({}), params(missing))


def test_package_directory_is_a_file(tmp_path):
    path = tmp_path / 'package.xml'
    path.write_text('x')
    with pytest.raises(CheckError, match='is not a directory'):
        run_check(FakeModule({}), params(str(path)))


def test_no_vexinspect_on_path_names_the_roles_variables(tmp_path):
    with pytest.raises(CheckError) as error:
        run_check(FakeModule({}, on_path=None), params(str(tmp_path)))
    message = str(error.value)
    assert message.startswith('vexinspect not found on PATH (')
    for name in ('preflight_install_deb', 'preflight_vexinspect', 'the vexinspect option'):
        assert name in message, name


def test_given_vexinspect_missing(tmp_path):
    with pytest.raises(CheckError, match='vexinspect not found: /opt/none/vexinspect does not exist '
                       r'\(the vexinspect option; preflight_vexinspect in the preflight role\)'):
        run_check(FakeModule({}), params(str(tmp_path), vexinspect='/opt/none/vexinspect'))


def test_given_vexinspect_not_executable(tmp_path):
    path = tmp_path / 'vexinspect'
    path.write_text('#!/bin/sh\n')
    with pytest.raises(CheckError, match='is not an executable file'):
        run_check(FakeModule({}), params(str(tmp_path), vexinspect=str(path)))


def test_vexinspect_fails(tmp_path):
    module = FakeModule({'hard': (66, '', 'vexinspect explain: /p: No such file or directory\n')})
    with pytest.raises(CheckError) as error:
        run_check(module, params(str(tmp_path), type='hard'))
    assert str(error.value) == ('vexinspect explain hard failed with exit status 66: '
                                'vexinspect explain: /p: No such file or directory')


def test_vexinspect_prints_no_json(tmp_path):
    module = FakeModule({'hard': (0, 'Explanation of vexdepcheck hard\n', '')})
    with pytest.raises(CheckError, match='vexinspect explain hard printed no JSON document'):
        run_check(module, params(str(tmp_path), type='hard'))


def test_other_schema_version_is_refused(tmp_path):
    document = dict(docs.READY_HARD, schemaVersion=3)
    with pytest.raises(CheckError, match='printed schemaVersion 3; this collection reads versions 1, 2'):
        run_check(FakeModule({'hard': (0, document, '')}), params(str(tmp_path), type='hard'))


# --- the module as Ansible runs it -------------------------------------------

def run_main(monkeypatch, capsys, args):
    monkeypatch.setattr(basic, '_ANSIBLE_ARGS', to_bytes(json.dumps({'ANSIBLE_MODULE_ARGS': args})))
    with pytest.raises(SystemExit):
        vexdep_check.main()
    return json.loads(capsys.readouterr().out)


def fake_vexinspect(tmp_path, document):
    """An executable that records its arguments and prints the document."""
    record = tmp_path / 'argv.json'
    script = tmp_path / 'vexinspect'
    script.write_text('#!%s\nimport json, sys\njson.dump(sys.argv[1:], open(%r, "w"))\nprint(%r)\n'
                      % (sys.executable, str(record), json.dumps(document)))
    script.chmod(script.stat().st_mode | stat.S_IXUSR)
    return str(script), record


def test_main_in_check_mode(monkeypatch, capsys, tmp_path):
    package = tmp_path / 'pkg; touch hacked'
    package.mkdir()
    vexinspect, record = fake_vexinspect(tmp_path, docs.BLOCKED_HARD)
    result = run_main(monkeypatch, capsys, {'package_dir': str(package), 'type': 'hard', 'vexinspect': vexinspect,
                                            '_ansible_check_mode': True})
    assert result['changed'] is False
    assert 'failed' not in result
    assert result['checks']['hard']['verdict'] == 'blocked'
    # The directory name reaches vexinspect as one argument, through no shell.
    assert json.loads(record.read_text()) == ['explain', 'hard', '--package-dir', str(package), '--json']
    assert not (tmp_path / 'hacked').exists()


def test_main_fails_with_the_reason(monkeypatch, capsys, tmp_path):
    result = run_main(monkeypatch, capsys, {'package_dir': str(tmp_path / 'gone'), 'vexinspect': '/bin/true'})
    assert result['failed'] is True
    assert result['changed'] is False
    assert result['msg'] == 'package directory %s does not exist' % (tmp_path / 'gone')


# --- a package archive: unpacked privately, removed afterwards ---------------

def make_archive(tmp_path, members):
    import io
    import tarfile
    path = tmp_path / 'package.tar.gz'
    with tarfile.open(str(path), 'w:gz') as tar:
        for name, content in members.items():
            info = tarfile.TarInfo(name)
            info.size = len(content)
            tar.addfile(info, io.BytesIO(content))
    return str(path)


def test_archive_is_checked_in_a_private_directory_and_removed(tmp_path, monkeypatch):
    monkeypatch.setenv('TMPDIR', str(tmp_path))
    import tempfile
    monkeypatch.setattr(tempfile, 'tempdir', None)
    archive = make_archive(tmp_path, {'package.xml': b'<SoftwareComponent/>', 'REL001/collect.sh': b'#!/bin/sh\n'})
    seen = {}

    class Recording(FakeModule):
        def run(self, argv, deadline=None, replace=None):
            directory = argv[4]
            seen['files'] = sorted(os.listdir(directory))
            seen['mode'] = stat.S_IMODE(os.stat(directory).st_mode)
            seen['directory'] = directory
            return FakeModule.run(self, argv, deadline, replace)

    module = Recording({'hard': (0, docs.READY_HARD, '')})
    result = run_check(module, {'package_archive': archive, 'type': 'hard'})
    assert result['verdict'] == 'ready'
    assert seen['files'] == ['REL001', 'package.xml']
    assert seen['mode'] == 0o700
    assert os.path.dirname(seen['directory']) == str(tmp_path)
    assert not os.path.exists(seen['directory'])


def test_archive_sent_in_the_arguments_is_checked_in_a_private_directory_and_removed(tmp_path):
    archive = make_archive(tmp_path, {'package.xml': b'<SoftwareComponent/>', 'REL001/collect.sh': b'#!/bin/sh\n'})
    with open(archive, 'rb') as handle:
        content = base64.b64encode(handle.read()).decode('ascii')
    parent = tmp_path / 'parent'
    parent.mkdir()
    seen = {}

    class Recording(FakeModule):
        def run(self, argv, deadline=None, replace=None):
            seen['files'] = sorted(os.listdir(argv[4]))
            seen['mode'] = stat.S_IMODE(os.stat(argv[4]).st_mode)
            return FakeModule.run(self, argv, deadline, replace)

    module = Recording({'hard': (0, docs.READY_HARD, '')})
    result = run_check(module, {'package_content': content, 'type': 'hard', 'tmp_parent': str(parent)})
    assert result['verdict'] == 'ready'
    assert (seen['files'], seen['mode']) == (['REL001', 'package.xml'], 0o700)
    assert os.path.dirname(result['package_dir']) == str(parent)
    assert os.listdir(str(parent)) == []


@pytest.mark.parametrize('content', [base64.b64encode(b'not a tar').decode('ascii'), 'not base64 at all!'])
def test_archive_sent_in_the_arguments_that_is_no_archive(tmp_path, content):
    parent = tmp_path / 'parent'
    parent.mkdir()
    with pytest.raises(CheckError, match='package archive sent with the task cannot be unpacked'):
        run_check(FakeModule({}), {'package_content': content, 'type': 'hard', 'tmp_parent': str(parent)})
    assert os.listdir(str(parent)) == []


def test_archive_sent_in_the_arguments_stays_out_of_the_result(monkeypatch, capsys, tmp_path):
    archive = make_archive(tmp_path, {'package.xml': b'<SoftwareComponent/>'})
    with open(archive, 'rb') as handle:
        content = base64.b64encode(handle.read()).decode('ascii')
    vexinspect, _ = fake_vexinspect(tmp_path, docs.READY_HARD)
    result = run_main(monkeypatch, capsys, {'package_content': content, 'type': 'hard', 'vexinspect': vexinspect,
                                            'tmp_parent': str(tmp_path)})
    assert result['verdict'] == 'ready', result
    assert content not in json.dumps(result)


def test_archive_leaving_the_package_is_refused(tmp_path):
    archive = make_archive(tmp_path, {'../escape.xml': b'x'})
    with pytest.raises(CheckError, match='holds ../escape.xml, which would not stay inside the package'):
        run_check(FakeModule({}), {'package_archive': archive, 'type': 'hard'})


def test_missing_archive(tmp_path):
    with pytest.raises(CheckError, match='package archive %s does not exist' % (tmp_path / 'x.tar.gz')):
        run_check(FakeModule({}), {'package_archive': str(tmp_path / 'x.tar.gz'), 'type': 'hard'})


def test_archive_that_is_no_archive(tmp_path):
    path = tmp_path / 'x.tar.gz'
    path.write_text('not a tar')
    with pytest.raises(CheckError, match='cannot be unpacked'):
        run_check(FakeModule({}), {'package_archive': str(path), 'type': 'hard'})


def test_missing_temporary_parent_is_an_error(tmp_path):
    archive = make_archive(tmp_path, {'package.xml': b'<SoftwareComponent/>'})
    missing = str(tmp_path / 'no-such-parent')
    with pytest.raises(CheckError) as error:
        run_check(FakeModule({'hard': (0, docs.READY_HARD, '')}),
                  {'package_archive': archive, 'type': 'hard', 'tmp_parent': missing})
    assert str(error.value) == ('temporary parent %s does not exist on this host or is not a directory (the '
                                'tmp_parent option; preflight_remote_tmp_parent in the preflight role)' % missing)
    assert not (tmp_path / 'no-such-parent').exists()


def test_archive_is_unpacked_below_the_temporary_parent(tmp_path):
    archive = make_archive(tmp_path, {'package.xml': b'<SoftwareComponent/>'})
    parent = tmp_path / 'parent'
    parent.mkdir()
    module = FakeModule({'hard': (0, docs.READY_HARD, '')})
    result = run_check(module, {'package_archive': archive, 'type': 'hard', 'tmp_parent': str(parent)})
    assert os.path.dirname(result['package_dir']) == str(parent)
    assert os.listdir(str(parent)) == []


# --- the check's own deadline ------------------------------------------------

class Hanging(FakeModule):
    """The soft run does not finish: the runner reports the deadline with what was running."""

    def run(self, argv, deadline=None, replace=None):
        if argv[2] == 'soft':
            self.commands.append(argv)
            self.deadlines.append(deadline)
            raise DeadlineReached([{'pid': 42, 'command': 'sleep 3600', 'seconds': 9.9}])
        return FakeModule.run(self, argv, deadline, replace)


def test_timeout_gives_the_verdict_timed_out_with_what_was_running(tmp_path):
    module = Hanging({'hard': (0, docs.BLOCKED_HARD, '')})
    result = run_check(module, params(str(tmp_path), timeout=10))
    assert result['verdict'] == 'timed-out'
    assert result['verdict_types'] == []
    assert result['timed_out']['type'] == 'soft'
    assert result['timed_out']['timeout_seconds'] == 10
    assert result['timed_out']['running'] == [{'pid': 42, 'command': 'sleep 3600', 'seconds': 9.9}]
    # The hard check had finished: its result is kept.
    assert result['checks']['hard']['verdict'] == 'blocked'
    assert 'soft' not in result['checks']
    # Both runs had the same deadline, ten seconds after the start.
    assert module.deadlines[0] == module.deadlines[1] is not None


def test_the_start_up_of_the_module_counts_against_its_timeout():
    clock = vexdep_check.Clock(10, now=lambda: 100.0, started_ago=1.5)
    assert (clock.deadline, clock.elapsed()) == (108.5, 1.5)


def test_at_most_half_the_timeout_is_taken_for_the_start_up():
    # A process that ran long before (a connection's long-lived interpreter) does not use up the timeout.
    assert vexdep_check.Clock(10, now=lambda: 100.0, started_ago=60).deadline == 105.0


def test_without_timeout_the_start_up_is_not_counted():
    clock = vexdep_check.Clock(None, now=lambda: 100.0, started_ago=3)
    assert (clock.deadline, clock.elapsed()) == (None, 0.0)


def test_without_timeout_there_is_no_deadline(tmp_path):
    module = FakeModule({'hard': (0, docs.READY_HARD, '')})
    result = run_check(module, params(str(tmp_path), type='hard'))
    assert module.deadlines == [None]
    assert result['timed_out'] is None


@pytest.mark.parametrize('value', [0, -5])
def test_timeout_must_be_positive(tmp_path, value):
    with pytest.raises(CheckError, match='timeout must be a positive number of seconds'):
        run_check(FakeModule({}), params(str(tmp_path), timeout=value))


def test_collector_overruns_are_in_the_result(tmp_path):
    hard = copy.deepcopy(docs.READY_HARD)
    collector = hard['dependencies'][0]['inventory']['collector']
    collector.update(seconds=30.24, declaredTimeoutSeconds=5, exceededDeclaredTimeout=True,
                     warnings=['took 30.2 s, declares 5 s: a checker with the time-limit guard on would report it '
                               'Failed'])
    result = run_check(FakeModule({'hard': (0, hard, '')}), params(str(tmp_path), type='hard'))
    assert result['collector_overruns'] == [{'type': 'hard', 'release_id': 'RA', 'seconds': 30.24,
                                             'declared_timeout_seconds': 5, 'text': 'took 30.2 s, declares 5 s'}]
    assert result['checks']['hard']['collectors'][0]['exceeded_declared_timeout'] is True
    assert result['verdict'] == 'ready'


def test_detail_of_a_recommended_dependency(tmp_path):
    soft = copy.deepcopy(docs.RECOMMENDED_SOFT)
    soft['schemaVersion'] = 2
    soft['dependencies'][0]['detail'] = 'Enclosure events are reported by agent 11 or later.'
    result = run_check(FakeModule({'soft': (0, soft, '')}), params(str(tmp_path), type='soft'))
    assert result['checks']['soft']['reported'][0]['detail'] == 'Enclosure events are reported by agent 11 or later.'
    # A first-version document has no detail.
    result = run_check(FakeModule({'soft': (0, docs.RECOMMENDED_SOFT, '')}), params(str(tmp_path), type='soft'))
    assert result['checks']['soft']['reported'][0]['detail'] is None


def test_main_ends_a_hanging_vexinspect_at_its_timeout(monkeypatch, capsys, tmp_path):
    """The module as Ansible runs it, with a vexinspect whose collector never ends."""
    marker = tmp_path / 'collector.pid'
    script = tmp_path / 'vexinspect'
    script.write_text('#!/bin/sh\n/bin/sh -c \'echo $$ > %s; exec sleep 3600\' &\nwait\n' % marker)
    script.chmod(0o755)
    package = tmp_path / 'pkg'
    package.mkdir()
    started = time.time()
    result = run_main(monkeypatch, capsys, {'package_dir': str(package), 'vexinspect': str(script), 'timeout': 2})
    assert time.time() - started < 10
    assert result['verdict'] == 'timed-out', result
    assert result['timed_out']['type'] == 'hard'
    commands = [process['command'] for process in result['timed_out']['running']]
    assert 'sleep 3600' in commands, commands
    # Nothing it started is left.
    pid = int(marker.read_text())
    assert not os.path.exists('/proc/%d' % pid) or open('/proc/%d/stat' % pid).read().split(') ')[1][0] == 'Z'


# --- the real vexinspect, with a collector that talks -------------------------

REPOSITORY = os.path.normpath(os.path.join(os.path.dirname(__file__), '..', '..', '..', '..', '..', '..', '..', '..'))


def talking_copy(tmp_path, name, prelude):
    """The example package in tmp_path/name, each collector running prelude first."""
    import shutil
    package = tmp_path / name
    shutil.copytree(os.path.join(REPOSITORY, 'examples', 'package'), str(package))
    for release in ('REL001', 'REL002'):
        collector = package / release / 'collect.sh'
        lines = collector.read_text().split('\n', 1)
        collector.write_text(lines[0] + '\n' + prelude + '\n' + lines[1])
        collector.chmod(0o755)
    return package


def test_main_with_a_collector_that_prints_a_mebibyte(monkeypatch, capsys, tmp_path):
    """The module as Ansible runs it, with the real vexinspect: what the collectors print stays out of its JSON."""
    vexinspect = os.environ.get('VEXDEP_INSPECT')
    if not vexinspect or not os.access(vexinspect, os.X_OK):
        pytest.skip('VEXDEP_INSPECT does not name the vexinspect executable')
    quiet = talking_copy(tmp_path, 'quiet', ':')
    talking = talking_copy(tmp_path, 'talking', "echo 'Collecting inventory...'; head -c 1048576 /dev/zero | "
                                                "tr '\\000' x; echo progress >&2")
    expected = run_main(monkeypatch, capsys, {'package_dir': str(quiet), 'vexinspect': vexinspect})
    result = run_main(monkeypatch, capsys, {'package_dir': str(talking), 'vexinspect': vexinspect})
    assert 'failed' not in result, result.get('msg')
    assert result['verdict'] == expected['verdict']
    for check_type in ('hard', 'soft'):
        assert result['checks'][check_type]['verdict'] == expected['checks'][check_type]['verdict']


# --- the plan that follows a check, with a repository ------------------------

PLAN = {'schemaVersion': 1, 'command': 'plan', 'requested': 'both', 'verdict': 'complete', 'verdictExitStatus': 1,
        'steps': [{'step': 1, 'package': 'FOLDER01/A', 'fromVersion': '1.0', 'toVersion': '2.0', 'chain': []}],
        'blockers': [], 'warnings': [], 'evaluations': [{'package': None, 'afterSteps': 0}]}


def test_a_check_that_finds_something_to_do_is_planned_in_the_same_command(tmp_path):
    (tmp_path / 'repository').mkdir()
    module = FakeModule({'hard': (0, docs.BLOCKED_HARD, ''), 'soft': (0, docs.READY_SOFT, ''), 'both': (0, PLAN, '')})
    result = run_check(module, params(str(tmp_path), repository=str(tmp_path / 'repository'), timeout=100))
    # The check's result is the check's; the plan comes beside it.
    assert result['verdict'] == 'blocked'
    assert result['plan']['verdict'] == 'complete'
    assert result['plan']['plan']['steps'] == PLAN['steps']
    assert 'evaluations' not in result['plan']['plan']
    assert 'plan_failure' not in result
    assert [command[1:3] for command in module.commands] == [['explain', 'hard'], ['explain', 'soft'], ['plan', 'both']]
    assert module.commands[2][3:7] == ['--repository', str(tmp_path / 'repository'), '--package-dir', str(tmp_path)]
    # The plan has what is left of the check's time, no more.
    assert module.deadlines[2] is not None and module.deadlines[2] <= time.time() + 100


def test_a_check_that_needs_nothing_is_not_planned(tmp_path):
    (tmp_path / 'repository').mkdir()
    module = FakeModule({'hard': (0, docs.READY_HARD, ''), 'soft': (0, docs.READY_SOFT, '')})
    result = run_check(module, params(str(tmp_path), repository=str(tmp_path / 'repository')))
    assert result['verdict'] == 'ready'
    assert result['plan']['skipped'] is True
    assert [command[1] for command in module.commands] == ['explain', 'explain']


def test_without_a_repository_there_is_no_plan(tmp_path):
    module = FakeModule({'hard': (0, docs.BLOCKED_HARD, ''), 'soft': (0, docs.READY_SOFT, '')})
    result = run_check(module, params(str(tmp_path)))
    assert 'plan' not in result and 'plan_failure' not in result
    assert len(module.commands) == 2


def test_a_plan_that_cannot_be_made_leaves_the_check_as_it_is(tmp_path):
    module = FakeModule({'hard': (0, docs.BLOCKED_HARD, ''), 'soft': (0, docs.READY_SOFT, '')})
    result = run_check(module, params(str(tmp_path), repository=str(tmp_path / 'nothing')))
    assert result['verdict'] == 'blocked'
    assert result['checks']['hard']['verdict'] == 'blocked'
    assert result['plan_failure'] == {'task': 'plan', 'msg': 'repository %s does not exist' % (tmp_path / 'nothing')}
    assert 'plan' not in result


def test_archives_sent_in_the_arguments_are_checked_and_planned_in_one_private_package_directory(tmp_path):
    """The package is unpacked once for the check and its plan; the packed repository is written to one file."""
    package = make_archive(tmp_path, {'package.xml': b'<SoftwareComponent/>'})
    with open(package, 'rb') as handle:
        package_content = base64.b64encode(handle.read()).decode('ascii')
    (tmp_path / 'r').mkdir()
    (tmp_path / 'r' / 'catalog.json').write_bytes(b'{}')
    import tarfile
    with tarfile.open(str(tmp_path / 'repository.tar.gz'), 'w:gz') as tar:
        tar.add(str(tmp_path / 'r' / 'catalog.json'), arcname='catalog.json')
    repository_content = base64.b64encode((tmp_path / 'repository.tar.gz').read_bytes()).decode('ascii')
    parent = tmp_path / 'parent'
    parent.mkdir()
    seen = []

    class Recording(FakeModule):
        def run(self, argv, deadline=None, replace=None):
            self.commands.append(argv)
            if argv[1] == 'plan':
                # The packed repository as one private file, never unpacked.
                seen.append(os.path.basename(argv[4]))
                with open(argv[4], 'rb') as handle:
                    seen.append(handle.read() == (tmp_path / 'repository.tar.gz').read_bytes())
                return 0, json.dumps(PLAN), '', []
            return 0, json.dumps(docs.BLOCKED_HARD), '', []

    module = Recording({})
    result = run_check(module, {'package_content': package_content, 'repository_content': repository_content,
                                'type': 'hard', 'tmp_parent': str(parent)})
    assert result['plan']['verdict'] == 'complete'
    assert seen == ['repository.tar.gz', True]
    # The plan runs on the package directory the check unpacked, which is gone afterwards.
    assert module.commands[1][6] == module.commands[0][4]
    assert os.listdir(str(parent)) == []


def test_documentation_examples_and_return_are_complete_yaml():
    import yaml
    documentation = yaml.safe_load(vexdep_check.DOCUMENTATION)
    assert sorted(documentation['options']) == sorted([
        'package_dir', 'package_archive', 'package_content', 'src', 'type', 'vexinspect', 'collector_timeout',
        'timeout', 'tmp_parent', 'repository', 'repository_archive', 'repository_content', 'repository_src'])
    assert all(option.get('description') and option.get('type') for option in documentation['options'].values())
    examples = yaml.safe_load(vexdep_check.EXAMPLES)
    assert all('vexdep.fleet.vexdep_check' in task or 'ansible.builtin.fail' in task for task in examples)
    returned = yaml.safe_load(vexdep_check.RETURN)
    assert {'checks', 'verdict', 'plan', 'plan_failure'} <= set(returned)
    assert returned['checks']['contains']['hard']['contains']['warnings']['type'] == 'list'
