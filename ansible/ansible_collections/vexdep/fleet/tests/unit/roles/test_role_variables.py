# -*- coding: utf-8 -*-
"""The preflight role's variables: documented for every entry point, checked by
Ansible before the first task, and the inventory example of docs/fleet.md
working as written."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import json
import os
import re
import shutil
import subprocess

import pytest
import yaml

COLLECTION = os.path.abspath(os.path.join(os.path.dirname(__file__), '..', '..', '..'))
ROLE = os.path.join(COLLECTION, 'roles', 'preflight')
COLLECTIONS_PATH = os.path.abspath(os.path.join(COLLECTION, '..', '..', '..'))
SOURCE = os.path.abspath(os.path.join(COLLECTIONS_PATH, '..'))
PACKAGE = os.path.join(SOURCE, 'ansible', 'tests', 'fleet', 'package')


def load_yaml(*parts):
    with open(os.path.join(ROLE, *parts)) as handle:
        return yaml.safe_load(handle)


def specs():
    return load_yaml('meta', 'argument_specs.yml')['argument_specs']


def used_variables(entry_point):
    """The preflight_ variables that an entry point's task files and template read."""
    files = {'main': ['tasks/main.yml', 'tasks/install.yml'],
             'package': ['tasks/package.yml', 'tasks/repository.yml'],
             'report': ['tasks/report.yml', 'templates/results.json.j2']}[entry_point]
    names = set()
    for name in files:
        with open(os.path.join(ROLE, name)) as handle:
            names.update(re.findall(r'\bpreflight_[a-z_]+', handle.read()))
    return names


# Facts and registered results that the role sets itself (not variables an
# operator gives; preflight_archive and preflight_hosts are documented where
# another entry point reads them).
SET_BY_THE_ROLE = {'preflight_archive', 'preflight_hosts', 'preflight_install_tmp', 'preflight_install_copy', 'preflight_install_apt',
                   'preflight_install_results', 'preflight_connection', 'preflight_check', 'preflight_failure',
                   'preflight_package_stat', 'preflight_controller_tmp', 'preflight_controller_tmp_path',
                   'preflight_run_started', 'preflight_run_finished', 'preflight_controller', 'preflight_report',
                   'preflight_report_previous', 'preflight_report_hosts', 'preflight_report_argv',
                   'preflight_repository_stat', 'preflight_repository_tmp',
                   'preflight_repository_tmp_path', 'preflight_repository_pack', 'preflight_repository_summary',
                   'preflight_repository_archive'}


@pytest.mark.parametrize('entry_point', ['main', 'package', 'report'])
def test_every_variable_an_entry_point_reads_is_documented(entry_point):
    documented = set(specs()[entry_point]['options'])
    missing = used_variables(entry_point) - SET_BY_THE_ROLE - documented
    assert not missing, missing
    for name, option in specs()[entry_point]['options'].items():
        assert option.get('description'), name


def test_every_default_is_documented_with_the_same_value():
    defaults = load_yaml('defaults', 'main.yml')
    options = {}
    for entry in specs().values():
        options.update(entry['options'])
    for name, value in defaults.items():
        assert name in options, name
        if name != 'preflight_report_dir':
            assert options[name].get('default', value) == value, name


def ansible(tool):
    found = shutil.which(tool)
    if not found:
        pytest.skip('%s is not installed' % tool)
    return found


def environment(tmp_path):
    env = dict((k, v) for k, v in os.environ.items() if not k.startswith('ANSIBLE_'))
    controller_tmp = tmp_path / 'controller-tmp'
    controller_tmp.mkdir(exist_ok=True)
    env.update(TMPDIR=str(controller_tmp), ANSIBLE_REMOTE_TMP=str(tmp_path / 'remote-tmp'),
               ANSIBLE_COLLECTIONS_PATH=COLLECTIONS_PATH, ANSIBLE_HOME=str(tmp_path / 'home'),
               ANSIBLE_LOCAL_TEMP=str(tmp_path / 'tmp'), ANSIBLE_CONFIG=str(tmp_path / 'none.cfg'),
               ANSIBLE_NOCOLOR='1', ANSIBLE_RETRY_FILES_ENABLED='False')
    return env


def test_ansible_doc_shows_every_entry_point(tmp_path):
    result = subprocess.run([ansible('ansible-doc'), '-t', 'role', '-j', 'vexdep.fleet.preflight'],
                            capture_output=True, text=True, env=environment(tmp_path), stdin=subprocess.DEVNULL)
    assert result.returncode == 0, result.stderr
    entry_points = json.loads(result.stdout)['vexdep.fleet.preflight']['entry_points']
    assert sorted(entry_points) == ['main', 'package', 'report']
    assert 'preflight_host_timeout' in entry_points['main']['options']
    assert entry_points['main']['options']['preflight_type']['choices'] == ['hard', 'soft', 'both']


def run_playbook(tmp_path, *options, **variables):
    settings = {'preflight_package': PACKAGE, 'preflight_report_dir': str(tmp_path / 'report'),
                'ansible_connection': 'local', 'ansible_python_interpreter': '/usr/bin/python3'}
    settings.update(variables)
    playbook = os.path.join(COLLECTION, 'playbooks', 'preflight.yml')
    return subprocess.run([ansible('ansible-playbook'), '-i', 'nowhere,', playbook, '-e', json.dumps(settings)] +
                          list(options),
                          capture_output=True, text=True, env=environment(tmp_path), stdin=subprocess.DEVNULL,
                          timeout=300)


@pytest.mark.parametrize('variables,message', [
    ({'preflight_type': 'bogus'}, 'value of preflight_type must be one of: hard, soft, both, got: bogus'),
    ({'preflight_host_timeout': 'soon'}, "preflight_host_timeout"),
    ({'preflight_host_timeout': 5}, 'preflight_host_timeout must be a whole number of seconds of at least 10'),
    ({'preflight_package': '/nonexistent/VX4K7'}, "preflight_package '/nonexistent/VX4K7' is neither a directory "
                                                  "nor a .tar.gz file on the controller"),
])
def test_bad_variables_stop_the_run_before_any_host_is_checked(tmp_path, variables, message):
    result = run_playbook(tmp_path, **variables)
    assert result.returncode != 0, result.stdout
    assert message in result.stdout, result.stdout
    assert 'Copy, unpack and check' not in result.stdout
    assert not os.path.exists(str(tmp_path / 'report'))
    # Nothing was packed, or the packed copy was removed again.
    assert [name for name in os.listdir(str(tmp_path / 'controller-tmp')) if name.startswith('vexdep-')] == []


def test_an_earlier_run_that_does_not_exist_fails_the_run_and_leaves_nothing(tmp_path):
    # The host's check fails at once (no vexinspect there): nothing runs on this machine.
    result = run_playbook(tmp_path, preflight_vexinspect='/nonexistent/vexinspect',
                          preflight_previous=str(tmp_path / 'last-week.json'))
    assert result.returncode != 0, result.stdout
    assert 'last-week.json' in result.stdout, result.stdout
    assert [name for name in os.listdir(str(tmp_path / 'controller-tmp')) if name.startswith('vexdep-')] == []


def test_a_limit_that_leaves_no_host_fails_loudly(tmp_path):
    result = run_playbook(tmp_path, '--limit', 'elsewhere')
    assert result.returncode == 1
    assert 'leaves us with no hosts to target' in result.stderr + result.stdout
    assert not os.path.exists(str(tmp_path / 'report'))


def docs_inventory():
    with open(os.path.join(SOURCE, 'docs', 'fleet.md')) as handle:
        text = handle.read()
    return re.search(r'```ini\n(.*?)```', text, re.S).group(1)


def test_the_inventory_example_of_the_docs_works_as_written(tmp_path):
    inventory = tmp_path / 'inventory'
    inventory.write_text(docs_inventory())
    result = subprocess.run([ansible('ansible-inventory'), '-i', str(inventory), '--list'], capture_output=True,
                            text=True, env=environment(tmp_path), stdin=subprocess.DEVNULL)
    assert result.returncode == 0, result.stderr
    assert '[WARNING]' not in result.stderr, result.stderr
    listed = json.loads(result.stdout)
    hosts = listed['storage']['hosts'] + listed['compute']['hosts']
    assert len(hosts) == 500
    for host in (hosts[0], hosts[-1]):
        variables = listed['_meta']['hostvars'][host]
        assert variables['ansible_user'] == 'ops'
        # A [group:vars] value is a text, which Ansible takes as a boolean where one is wanted;
        # a comment on the same line would have become part of it.
        assert variables['ansible_become'] == 'true'
