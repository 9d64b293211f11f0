# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import json
import stat
import sys

import pytest

from ansible.module_utils import basic
from ansible.module_utils.common.text.converters import to_bytes
from ansible_collections.vexdep.fleet.plugins.modules import vexdep_smbios

TABLE = {
    'command': 'smbios', 'tableRead': True, 'source': 'sysfs', 'dumpFile': None, 'entryPointVersion': '2.8',
    'biosVendor': 'Brix', 'biosVersion': '2.19.1', 'manufacturer': 'Brix', 'productName': 'Server R1',
    'serialNumber': 'SN0001', 'oemStrings': ['Brix System'], 'structureCounts': [],
    'systemID': '0x0A1C', 'systemIDOrigin': 'revision-two-byte',
}
NO_TABLE = {'command': 'smbios', 'tableRead': False, 'source': 'none', 'dumpFile': None, 'entryPointVersion': None}


def test_identity_of_a_table():
    assert vexdep_smbios.identity(TABLE) == {
        'table_read': True, 'source': 'sysfs', 'system_id': '0x0A1C', 'system_id_origin': 'revision-two-byte',
        'manufacturer': 'Brix', 'product': 'Server R1', 'serial': 'SN0001', 'entry_point_version': '2.8',
        'bios_vendor': 'Brix', 'bios_version': '2.19.1'}


def test_identity_without_a_table_reads_missing_keys_as_null():
    fact = vexdep_smbios.identity(NO_TABLE)
    assert fact['table_read'] is False
    assert fact['source'] == 'none'
    assert fact['system_id'] is None and fact['manufacturer'] is None and fact['serial'] is None


def test_identity_with_a_schema_version_and_more_keys():
    fact = vexdep_smbios.identity(dict(TABLE, schemaVersion=1, readerVersion='9.9'))
    assert fact['system_id'] == '0x0A1C'


def run_main(monkeypatch, capsys, tmp_path, document, status):
    script = tmp_path / 'vexinspect'
    script.write_text('#!%s\nimport sys\nassert sys.argv[1:] == ["smbios", "--json"], sys.argv\nprint(%r)\n'
                      'sys.exit(%d)\n' % (sys.executable, json.dumps(document), status))
    script.chmod(script.stat().st_mode | stat.S_IXUSR)
    monkeypatch.setattr(basic, '_ANSIBLE_ARGS', to_bytes(json.dumps(
        {'ANSIBLE_MODULE_ARGS': {'vexinspect': str(script), '_ansible_check_mode': True}})))
    with pytest.raises(SystemExit):
        vexdep_smbios.main()
    return json.loads(capsys.readouterr().out)


def test_main_returns_the_fact(monkeypatch, capsys, tmp_path):
    result = run_main(monkeypatch, capsys, tmp_path, TABLE, 0)
    assert result['changed'] is False
    assert result['ansible_facts']['vexdep_smbios']['product'] == 'Server R1'


def test_main_without_a_table_is_no_failure(monkeypatch, capsys, tmp_path):
    # vexinspect smbios exits 1 when no table could be read.
    result = run_main(monkeypatch, capsys, tmp_path, NO_TABLE, 1)
    assert 'failed' not in result
    assert result['ansible_facts']['vexdep_smbios']['table_read'] is False


def test_main_fails_on_a_usage_error(monkeypatch, capsys, tmp_path):
    result = run_main(monkeypatch, capsys, tmp_path, NO_TABLE, 64)
    assert result['failed'] is True
    assert result['msg'].startswith('vexinspect smbios failed with exit status 64')


def test_main_without_vexinspect(monkeypatch, capsys):
    monkeypatch.setattr(basic, '_ANSIBLE_ARGS', to_bytes(json.dumps(
        {'ANSIBLE_MODULE_ARGS': {'vexinspect': '/nonexistent/vexinspect'}})))
    with pytest.raises(SystemExit):
        vexdep_smbios.main()
    result = json.loads(capsys.readouterr().out)
    assert result['failed'] is True
    assert result['msg'] == ('vexinspect not found: /nonexistent/vexinspect does not exist (the vexinspect option; '
                             'preflight_vexinspect in the preflight role)')
