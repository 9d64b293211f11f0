# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import importlib.util
import json
import os

from conftest import FILES
from report_fixtures import raw

_SPEC = importlib.util.spec_from_file_location('fleet_report', os.path.join(FILES, 'fleet_report.py'))
fleet_report = importlib.util.module_from_spec(_SPEC)
_SPEC.loader.exec_module(fleet_report)

FORMATS = ['fleet-report.csv', 'fleet-report.html', 'fleet-report.json', 'fleet-report.junit.xml', 'fleet-report.md']


def test_command_writes_every_format_and_renders_again(tmp_path, capsys):
    results = tmp_path / 'results.json'
    results.write_text(json.dumps(raw()))
    out = tmp_path / 'out'
    assert fleet_report.main([str(results), str(out), '--title', 'Again']) == 0
    assert sorted(os.listdir(str(out))) == FORMATS
    printed = capsys.readouterr().out
    assert printed.rstrip().endswith('unreachable: 3.')
    saved = json.loads((out / 'fleet-report.json').read_text())
    assert saved['title'] == 'Again' and saved['schemaVersion'] == 2
    # Rendering the report again keeps its hosts, title and run.
    assert fleet_report.main([str(out / 'fleet-report.json'), str(tmp_path / 'again')]) == 0
    again = json.loads((tmp_path / 'again' / 'fleet-report.json').read_text())
    assert again['hosts'] == saved['hosts']
    assert (again['title'], again['run']) == ('Again', saved['run'])


def test_command_compares_with_an_earlier_run(tmp_path):
    results = tmp_path / 'results.json'
    results.write_text(json.dumps(raw()))
    earlier = raw()
    earlier['hosts'] = [h for h in earlier['hosts'] if h['host'] != 'web3']
    previous = tmp_path / 'previous.json'
    previous.write_text(json.dumps(earlier))
    assert fleet_report.main([str(results), str(tmp_path / 'out'), '--previous', str(previous)]) == 0
    saved = json.loads((tmp_path / 'out' / 'fleet-report.json').read_text())
    assert saved['changes']['hosts'] == [{'host': 'web3', 'previous': None, 'now': 'blocked', 'kind': 'new-host'}]


def test_command_refuses_unreadable_input(tmp_path, capsys):
    assert fleet_report.main([str(tmp_path / 'none.json'), str(tmp_path / 'out')]) == 66
    assert 'cannot read the results' in capsys.readouterr().err
    bad = tmp_path / 'bad.json'
    bad.write_text('{"title": "x"}')
    assert fleet_report.main([str(bad), str(tmp_path / 'out')]) == 65
    good = tmp_path / 'good.json'
    good.write_text(json.dumps(raw()))
    assert fleet_report.main([str(good), str(tmp_path / 'out'), '--previous', str(tmp_path / 'gone.json')]) == 66
    assert 'cannot read the earlier results' in capsys.readouterr().err
    assert not os.path.exists(str(tmp_path / 'out'))


def test_command_says_when_the_package_cannot_be_read(tmp_path, capsys):
    document = raw()
    document['package'] = str(tmp_path / 'gone')
    results = tmp_path / 'results.json'
    results.write_text(json.dumps(document))
    assert fleet_report.main([str(results), str(tmp_path / 'out')]) == 0
    assert 'its package.xml was not read' in capsys.readouterr().err
