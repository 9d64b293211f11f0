# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The fleet report of synthetic fleets of 500 and 10,000 hosts in headless Chromium.

For each fleet (synthetic_fleet.py, with an earlier run to compare with) the
page is rendered by fleet_report.py and opened in the browser: every host
has its row in the DOM; the first screen (1200 x 1000) shows the largest
group of blocked hosts, in the DOM's layout and in the screenshot's pixels;
the page never scrolls sideways; no legend label is cut; the filter box
narrows the host table. VEXDEP_FLEET_SCREENSHOT=FILE keeps the screenshot of
the 500-host fleet (the picture in docs/fleet.md). Skipped, never passed,
where the browser cannot start.
"""

from __future__ import absolute_import, division, print_function

import json
import os
import re
import shutil
import subprocess
import sys

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

import browser  # noqa: E402
import synthetic_fleet  # noqa: E402
from report_bench import PACKAGE, RENDERER  # noqa: E402

BLOCKED = browser.hex_colour('#c62828')


@pytest.fixture(scope='module')
def chromium(tmp_path_factory):
    found = browser.Chromium(tmp_path_factory.mktemp('chromium'))
    why = found.why_not()
    if why:
        pytest.skip(why)
    return found


@pytest.fixture(scope='module', params=[500, 10000], ids=['500-hosts', '10000-hosts'])
def fleet(request, tmp_path_factory):
    work = tmp_path_factory.mktemp('fleet-%d' % request.param)
    results, previous = str(work / 'results.json'), str(work / 'previous.json')
    synthetic_fleet.main([str(request.param), results, '--previous', previous])
    output = str(work / 'report')
    subprocess.run([sys.executable, RENDERER, results, output, '--previous', previous, '--package', PACKAGE],
                   check=True, stdout=subprocess.DEVNULL)
    with open(os.path.join(output, 'fleet-report.json'), encoding='utf-8') as handle:
        report = json.load(handle)
    return request.param, os.path.join(output, 'fleet-report.html'), report, work


@pytest.fixture(scope='module')
def measured(chromium, fleet):
    """The layout of the page, and the table after filtering for the first ready host."""
    _, page, report, _ = fleet
    ready = [host['host'] for host in report['hosts'] if host['category'] == 'ready']
    return ready[0], chromium.measure(page, ready[0])


def test_every_host_is_in_the_dom(chromium, fleet):
    count, page, report, _ = fleet
    dom = chromium.dump_dom(page)
    rows = re.findall(r'<tr data-v="[a-z-]+"(?: data-folded="1")?><td>([^<]*)</td>', dom)
    assert len(rows) == count
    assert sorted(rows) == sorted(host['host'] for host in report['hosts'])


def test_the_first_screen_shows_the_largest_blocker_group(chromium, fleet, measured):
    count, page, report, work = fleet
    _, measured = measured
    blocked = [group for group in report['groups'] if group['category'] == 'blocked']
    largest = max(group['count'] for group in blocked)
    first = measured['firstGroup']
    assert first['category'] == 'blocked'
    assert first['heading'].startswith('%d hosts: need ' % largest), first
    assert first['heading'] == '%d hosts: %s' % (blocked[0]['count'], blocked[0]['title'])
    width, height = browser.WINDOW
    assert measured['firstHeading']['bottom'] < height, measured
    # And in the pixels: the group's coloured edge beside its heading, dark text in the heading.
    shot = chromium.screenshot(page, work / 'first-screen.png')
    image = browser.Png(shot)
    assert (image.width, image.height) == browser.WINDOW
    y = int((measured['firstHeading']['top'] + measured['firstHeading']['bottom']) / 2)
    assert browser.close(image.pixel(int(first['left']) + 2, y), BLOCKED), image.pixel(int(first['left']) + 2, y)
    dark = [c for c in image.colours_in(y) if max(c) < 90]
    assert dark, 'no text in the heading row'
    keep = os.environ.get('VEXDEP_FLEET_SCREENSHOT')
    if keep and count == 500:
        shutil.copyfile(str(work / 'first-screen.png'), keep)


def test_the_page_never_scrolls_sideways_and_no_legend_label_is_cut(fleet, measured):
    _, page, report, _ = fleet
    _, measured = measured
    assert measured['scrollWidth'] <= measured['clientWidth'], measured
    legend = measured['legend']
    assert [item['text'] for item in legend] == ['%s %d' % (c, n) for c, n in report['counts'].items()]
    for item in legend:
        assert item['scrollWidth'] <= item['clientWidth'], item
        assert item['right'] <= measured['clientWidth'], item


def test_the_filter_box_narrows_the_host_table(fleet, measured):
    _, page, report, _ = fleet
    ready, measured = measured
    assert measured['filtered'] == [ready], measured['filtered'][:5]
    # A host of the folded part opens it.
    assert measured['foldedOpen'] is True
    assert measured['filterCount'] == '1 of %d hosts match' % len(report['hosts'])
