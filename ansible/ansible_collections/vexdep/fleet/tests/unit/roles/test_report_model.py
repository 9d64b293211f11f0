# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import io
import json
import os
import tarfile

import pytest

from fleetreport import package
from fleetreport.model import build_report, headline

from report_fixtures import raw

PACKAGE_XML = b'''<?xml version="1.0" encoding="UTF-8"?>
<SoftwareComponent schemaVersion="2.0" packageID="FLT01" releaseID="FLT01A00" vendorVersion="4.0.0">
  <Name><Display lang="fr">Micrologiciel</Display><Display lang="en">Brix Enclosure Firmware</Display></Name>
</SoftwareComponent>
'''


@pytest.fixture
def package_dir(tmp_path):
    directory = tmp_path / 'pkg'
    directory.mkdir()
    (directory / 'package.xml').write_bytes(PACKAGE_XML)
    return str(directory)


def test_counts_and_headline():
    report = build_report(raw())
    assert report['counts'] == {'blocked': 3, 'unverifiable': 2, 'failed': 2, 'unreachable': 3, 'timed-out': 2,
                                'recommended': 1, 'ready': 1}
    assert report['unverifiable_by_type'] == {'hard': 1, 'soft': 1}
    assert headline(report) == ('2 of 14 hosts can take the update now; blocked: 3, unverifiable: 2 (hard 1, soft 1), '
                                'timed out: 2, failed: 2, unreachable: 3.')


def test_hosts_in_the_order_of_what_needs_action():
    names = [h['host'] for h in build_report(raw())['hosts']]
    assert names == ['web2', 'web3', 'web4', 'db2', 'db4', 'db3', 'gone', 'old1', 'old2', 'old3', 'slow1', 'slow2',
                     'db1', 'web1']


def test_title_names_the_package_from_its_description(package_dir):
    report = build_report(raw(), package_path=package_dir)
    assert report['title'] == 'Preflight of Brix Enclosure Firmware 4.0.0'
    assert report['package'] == {'name': 'Brix Enclosure Firmware', 'version': '4.0.0', 'package_id': 'FLT01',
                                 'release_id': 'FLT01A00', 'path': package_dir}
    assert report['package_note'] is None
    assert build_report(raw(), package_path=package_dir, title='Rack 3')['title'] == 'Rack 3'


def test_title_from_a_package_archive(tmp_path):
    archive = str(tmp_path / 'pkg.tar.gz')
    with tarfile.open(archive, 'w:gz') as tar:
        info = tarfile.TarInfo('./package.xml')
        info.size = len(PACKAGE_XML)
        tar.addfile(info, io.BytesIO(PACKAGE_XML))
    assert build_report(raw(), package_path=archive)['title'] == 'Preflight of Brix Enclosure Firmware 4.0.0'


def test_a_package_that_is_gone_is_named_by_its_path(tmp_path):
    results = raw()
    results['package'] = str(tmp_path / 'VX4K7')
    report = build_report(results)
    assert report['title'] == 'Preflight of VX4K7'
    assert 'its package.xml was not read' in report['package_note']


def test_unreadable_package_description(tmp_path):
    (tmp_path / 'package.xml').write_text('<SoftwareComponent')
    identity, why = package.identify(str(tmp_path))
    assert identity is None
    assert why.startswith('cannot read the package description of %s' % tmp_path)


def test_run_time_is_kept_when_rendered_again(package_dir):
    first = build_report(raw(), package_path=package_dir, rendered='2026-05-04T10:00:00Z')
    again = build_report(json.loads(json.dumps(first)), rendered='2026-06-01T08:00:00Z')
    assert again['run'] == {'started': '2026-05-04T09:30:00Z', 'finished': '2026-05-04T09:31:00Z'}
    assert again['rendered'] == '2026-06-01T08:00:00Z'
    assert again['title'] == first['title']
    assert again['package'] == first['package']
    assert again['hosts'] == first['hosts']
    assert again['groups'] == first['groups']


def test_first_version_report_keeps_its_time():
    old = {'schemaVersion': 1, 'title': 'Fleet preflight', 'generated': '2026-01-02T03:04:05Z', 'hosts': []}
    assert build_report(old)['run'] == {'started': '2026-01-02T03:04:05Z', 'finished': None}


def test_changes_since_an_earlier_run():
    before = raw()
    for entry in before['hosts']:
        if entry['host'] == 'web3':
            entry['check']['verdict'] = 'ready'
            entry['check']['checks']['hard']['verdict'] = 'ready'
    before['run'] = {'started': '2026-04-27T09:30:00Z', 'finished': None}
    report = build_report(raw(), previous=before)
    assert report['changes']['previous_run']['started'] == '2026-04-27T09:30:00Z'
    assert report['changes']['hosts'] == [{'host': 'web3', 'previous': 'ready', 'now': 'blocked',
                                           'kind': 'newly-blocked'}]
    assert report['changes']['summary'] == '1 newly blocked'
    assert build_report(raw())['changes'] is None


def test_shopping_list_keeps_hard_and_soft_apart():
    prerequisites = build_report(raw())['prerequisites']
    assert [(i['name'], [h['host'] for h in i['hosts']]) for i in prerequisites['hard']] == [
        ('Backplane', ['web2', 'web3', 'web4']), ('NIC <fw>', ['web2'])]
    assert [(i['name'], i['detail'], [h['host'] for h in i['hosts']]) for i in prerequisites['soft']] == [
        ('Agent', 'Enclosure events are reported by agent 11 or later.', ['db1', 'web2'])]


def test_overruns_over_the_fleet():
    assert build_report(raw())['overruns'] == [{
        'type': 'hard', 'release_id': 'RA', 'declared_timeout_seconds': 5, 'hosts': [{'host': 'web1', 'seconds': 30.24}],
        'max_seconds': 30.24, 'text': 'took up to 30.2 s, declares 5 s'}]


def test_package_identity_prefers_the_english_name(package_dir):
    identity, _ = package.identify(package_dir)
    assert package.label(identity) == 'Brix Enclosure Firmware 4.0.0'
    assert package.label(None) is None
    assert os.path.basename(identity['path']) == 'pkg'
