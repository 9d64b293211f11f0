# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Headless Chromium for the fleet report's tests: the DOM the browser built,
measurements taken in the page, and screenshots read back pixel by pixel.

Debian's /usr/bin/chromium runs without a sandbox (the tests run as root,
where Chromium refuses its own), without a GPU and without any network of
its own (updates, synchronisation, QUIC probes), with a fresh profile,
configuration and cache in the test's own directory, so that a fresh machine
and a used one start the browser alike. Where the browser is missing or
cannot start, the tests that need it report themselves skipped."""

from __future__ import absolute_import, division, print_function

import json
import os
import shutil
import struct
import subprocess
import zlib

WINDOW = (1200, 1000)

# Appended to a copy of the page: what the layout made of it, as JSON in a
# <pre> element that --dump-dom then shows. The filter is tried with the
# query given.
MEASURE_SCRIPT = '''<script>
(function () {
  function box(element) {
    var r = element.getBoundingClientRect();
    return {top: r.top, bottom: r.bottom, left: r.left, right: r.right};
  }
  var root = document.documentElement;
  var result = {scrollWidth: root.scrollWidth, clientWidth: root.clientWidth, innerHeight: window.innerHeight};
  var group = document.querySelector('.group');
  if (group) {
    result.firstGroup = box(group);
    result.firstGroup.id = group.id;
    result.firstGroup.category = group.getAttribute('data-category');
    result.firstGroup.heading = group.querySelector('h4').textContent;
    result.firstHeading = box(group.querySelector('h4'));
  }
  result.legend = Array.prototype.map.call(document.querySelectorAll('.legend li'), function (item) {
    var r = box(item);
    r.text = item.textContent;
    r.scrollWidth = item.scrollWidth;
    r.clientWidth = item.clientWidth;
    return r;
  });
  var rows = document.querySelectorAll('#hosts tbody tr');
  result.rows = rows.length;
  var filter = document.getElementById('filter');
  filter.value = %(query)s;
  filter.dispatchEvent(new Event('input'));
  result.filtered = Array.prototype.filter.call(rows, function (row) { return !row.hidden; }).map(
    function (row) { return row.cells[0].textContent; });
  result.foldedOpen = document.getElementById('ready-hosts') ? document.getElementById('ready-hosts').open : null;
  result.filterCount = document.getElementById('filter-count').textContent;
  var out = document.createElement('pre');
  out.id = 'vexdep-measure';
  out.textContent = JSON.stringify(result);
  document.body.appendChild(out);
})();
</script>'''


def find_chromium():
    for name in ('chromium', 'chromium-browser', 'google-chrome'):
        found = shutil.which(name)
        if found:
            return found
    return None


class Chromium(object):
    def __init__(self, workdir, window=WINDOW):
        self.binary = find_chromium()
        self.workdir = str(workdir)
        home = os.path.join(self.workdir, 'home')
        os.makedirs(home, exist_ok=True)
        self.env = dict(os.environ, HOME=home, XDG_CONFIG_HOME=os.path.join(home, '.config'),
                        XDG_CACHE_HOME=os.path.join(home, '.cache'))
        self.common = [self.binary, '--headless', '--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-quic',
                       '--disable-background-networking', '--disable-component-update', '--disable-sync',
                       '--disable-dev-shm-usage', '--user-data-dir=' + os.path.join(self.workdir, 'profile'),
                       '--window-size=%d,%d' % window]

    def run(self, *arguments, **options):
        return subprocess.run(self.common + list(arguments), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              universal_newlines=True, timeout=options.get('timeout', 180), check=False,
                              env=self.env, stdin=subprocess.DEVNULL)

    def why_not(self):
        """Why the browser cannot be used here, or None."""
        if not self.binary:
            return 'headless Chromium (Debian package chromium) is not installed'
        probe = self.run('--dump-dom', 'about:blank', timeout=120)
        if probe.returncode != 0 or '<html' not in probe.stdout:
            return 'headless Chromium cannot start here (status %d): %s' % (
                probe.returncode, probe.stderr.strip().splitlines()[-1:])
        return None

    def dump_dom(self, path):
        result = self.run('--dump-dom', 'file://' + os.path.abspath(path))
        if result.returncode != 0:
            raise RuntimeError('chromium --dump-dom failed (%d): %s' % (result.returncode, result.stderr))
        return result.stdout

    def measure(self, path, query=''):
        """The page's layout as MEASURE_SCRIPT sees it, on a copy of the page."""
        with open(path, encoding='utf-8') as handle:
            page = handle.read()
        copy = os.path.join(self.workdir, 'measured-' + os.path.basename(path))
        script = MEASURE_SCRIPT % {'query': json.dumps(query)}
        with open(copy, 'w', encoding='utf-8') as handle:
            handle.write(page.replace('</body>', script + '</body>'))
        dom = self.dump_dom(copy)
        start = dom.index('<pre id="vexdep-measure">') + len('<pre id="vexdep-measure">')
        text = dom[start:dom.index('</pre>', start)]
        return json.loads(text.replace('&lt;', '<').replace('&gt;', '>').replace('&quot;', '"')
                          .replace('&amp;', '&'))

    def screenshot(self, path, target):
        result = self.run('--screenshot=' + str(target), 'file://' + os.path.abspath(path))
        if result.returncode != 0:
            raise RuntimeError('chromium --screenshot failed (%d): %s' % (result.returncode, result.stderr))
        with open(str(target), 'rb') as handle:
            return handle.read()


def _paeth(a, b, c):
    p = a + b - c
    pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
    if pa <= pb and pa <= pc:
        return a
    return b if pb <= pc else c


class Png(object):
    """An 8-bit RGB or RGBA PNG (what Chromium writes), decoded up to the rows asked for."""

    def __init__(self, data):
        if data[:8] != b'\x89PNG\r\n\x1a\n':
            raise ValueError('not a PNG')
        position, idat = 8, []
        while position < len(data):
            length, kind = struct.unpack('>I4s', data[position:position + 8])
            chunk = data[position + 8:position + 8 + length]
            if kind == b'IHDR':
                self.width, self.height, depth, colour, _, _, interlace = struct.unpack('>IIBBBBB', chunk)
                if depth != 8 or colour not in (2, 6) or interlace:
                    raise ValueError('unsupported PNG (depth %d, colour %d, interlace %d)' % (depth, colour,
                                                                                              interlace))
                self.channels = 3 if colour == 2 else 4
            elif kind == b'IDAT':
                idat.append(chunk)
            position += 12 + length
        self.raw = zlib.decompress(b''.join(idat))
        self.rows = []

    def _decode_to(self, y):
        stride = self.width * self.channels
        step = self.channels
        while len(self.rows) <= y:
            index = len(self.rows)
            offset = index * (stride + 1)
            kind = self.raw[offset]
            line = bytearray(self.raw[offset + 1:offset + 1 + stride])
            previous = self.rows[-1] if self.rows else bytearray(stride)
            if kind == 1:
                for i in range(step, stride):
                    line[i] = (line[i] + line[i - step]) & 0xff
            elif kind == 2:
                line = bytearray((a + b) & 0xff for a, b in zip(line, previous))
            elif kind == 3:
                for i in range(stride):
                    left = line[i - step] if i >= step else 0
                    line[i] = (line[i] + ((left + previous[i]) >> 1)) & 0xff
            elif kind == 4:
                for i in range(stride):
                    left = line[i - step] if i >= step else 0
                    upper_left = previous[i - step] if i >= step else 0
                    line[i] = (line[i] + _paeth(left, previous[i], upper_left)) & 0xff
            self.rows.append(line)

    def pixel(self, x, y):
        """(red, green, blue) at x, y."""
        self._decode_to(y)
        start = x * self.channels
        return tuple(self.rows[y][start:start + 3])

    def colours_in(self, y):
        """The set of distinct colours in row y."""
        self._decode_to(y)
        row = self.rows[y]
        return set(tuple(row[i:i + 3]) for i in range(0, len(row), self.channels))


def hex_colour(text):
    return tuple(int(text[i:i + 2], 16) for i in (1, 3, 5))


def close(colour, expected, tolerance=12):
    return all(abs(a - b) <= tolerance for a, b in zip(colour, expected))
