# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Writes the fleet report of a preflight: Markdown, CSV, JSON and one self-contained HTML page.

Usage: fleet_report.py RESULTS.json OUTPUT_DIR [--title TEXT]

RESULTS.json is what the preflight playbook saves on the controller (one raw
entry per host, straight from the play), or a fleet-report.json written
earlier by this command (re-rendering). Standard library only.
"""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import argparse
import csv
import datetime
import html
import io
import json
import os
import sys

SCHEMA_VERSION = 1

# Every host ends in exactly one of these, in this order in the report.
CATEGORIES = ('ready', 'recommended', 'blocked', 'unverifiable', 'failed', 'unreachable')
MEANINGS = {
    'ready': 'can take the update now',
    'recommended': 'can take it; soft dependencies are recommended first',
    'blocked': 'needs the missing prerequisites first',
    'unverifiable': 'could not be verified: see the reasons',
    'failed': 'the check could not run',
    'unreachable': 'the host could not be reached',
}
COLOURS = {
    'ready': '#2e7d32',
    'recommended': '#7cb342',
    'blocked': '#c62828',
    'unverifiable': '#f9a825',
    'failed': '#6a1b9a',
    'unreachable': '#616161',
}


def _message(result):
    if not isinstance(result, dict):
        return None
    return result.get('msg') or result.get('message')


def normalize_host(entry):
    """One host of the report from one raw entry of the play (or a normalized one, unchanged)."""
    if 'category' in entry:
        return entry
    host = entry.get('host')
    connection = entry.get('connection') or {}
    failure = entry.get('failure')
    check = entry.get('check') or {}
    normalized = {
        'host': host,
        'category': None,
        'status': None,
        'message': None,
        'hard_verdict': None,
        'soft_verdict': None,
        'system_id': None,
        'system_id_origin': None,
        'smbios_source': None,
        'reasons': [],
        'reported': [],
    }
    if connection.get('unreachable'):
        normalized.update(category='unreachable', status='unreachable', message=_message(connection))
        return normalized
    if failure:
        normalized.update(category='failed', status='failed',
                          message=failure.get('msg') if isinstance(failure, dict) else str(failure))
        if isinstance(failure, dict) and failure.get('task'):
            normalized['message'] = '%s: %s' % (failure['task'], normalized['message'])
        return normalized
    if check.get('unreachable'):
        normalized.update(category='unreachable', status='unreachable', message=_message(check))
        return normalized
    if check.get('failed') or 'checks' not in check:
        normalized.update(category='failed', status='failed',
                          message=_message(check) or 'no result: the host left the play before the check '
                          '(unreachable or failed while the checker was installed)')
        return normalized
    checks = check.get('checks') or {}
    normalized.update(
        status='checked',
        category=check.get('verdict') if check.get('verdict') in CATEGORIES else 'unverifiable',
        system_id=check.get('system_id'),
        system_id_origin=check.get('system_id_origin'),
        smbios_source=check.get('smbios_source'),
    )
    for check_type in ('hard', 'soft'):
        result = checks.get(check_type)
        if not result:
            continue
        normalized['%s_verdict' % check_type] = result.get('verdict')
        for reason in result.get('reasons') or []:
            if reason.get('kind') in ('all-met', 'none-applicable'):
                continue
            item = dict(reason)
            item['type'] = check_type
            normalized['reasons'].append(item)
        for reported in result.get('reported') or []:
            item = dict(reported)
            item['type'] = check_type
            normalized['reported'].append(item)
    return normalized


def normalize(document):
    """The report's document from the saved results."""
    if isinstance(document, dict) and 'hosts' in document:
        hosts = document['hosts']
        meta = {k: v for k, v in document.items() if k != 'hosts'}
    else:
        hosts = document
        meta = {}
    normalized = [normalize_host(entry) for entry in hosts]
    normalized.sort(key=lambda h: (CATEGORIES.index(h['category']), str(h['host'])))
    counts = {category: 0 for category in CATEGORIES}
    for host in normalized:
        counts[host['category']] += 1
    report = {
        'schemaVersion': SCHEMA_VERSION,
        'title': meta.get('title') or 'Fleet preflight',
        'generated': meta.get('generated') or datetime.datetime.now(datetime.timezone.utc).strftime(
            '%Y-%m-%dT%H:%M:%SZ'),
        'package': meta.get('package'),
        'counts': counts,
        'hosts': normalized,
        'prerequisites': prerequisites(normalized),
    }
    return report


def prerequisites(hosts):
    """Per download path of an unmet dependency: what it is and the hosts that need it."""
    table = {}
    for host in hosts:
        for reported in host['reported']:
            if reported.get('state') != 'unmet':
                continue
            key = (reported.get('type'), reported.get('download_path'))
            item = table.setdefault(key, {
                'type': reported.get('type'),
                'download_path': reported.get('download_path'),
                'name': reported.get('name'),
                'component_id': reported.get('component_id'),
                'version': reported.get('required_version') or reported.get('recommended_version'),
                'hosts': [],
            })
            item['hosts'].append({'host': host['host'], 'current_version': reported.get('current_version')})
    items = list(table.values())
    items.sort(key=lambda i: (i['type'] != 'hard', -len(i['hosts']), str(i['download_path'])))
    return items


def reason_texts(host):
    if host['status'] != 'checked':
        return [host['message'] or host['status']]
    return ['%s: %s' % (reason['type'], reason['text']) for reason in host['reasons']]


def headline(report):
    counts = report['counts']
    total = sum(counts.values())
    can = counts['ready'] + counts['recommended']
    return '%d of %d hosts can take the update now; blocked: %d, unverifiable: %d, failed: %d, unreachable: %d.' % (
        can, total, counts['blocked'], counts['unverifiable'], counts['failed'], counts['unreachable'])


# --- Markdown ---------------------------------------------------------------

def _md(text):
    return str(text if text is not None else '').replace('|', '\\|').replace('\n', ' ')


def to_markdown(report):
    out = ['# %s' % _md(report['title']), '']
    if report.get('package'):
        out += ['Package: `%s`' % _md(report['package']), '']
    out += ['Generated %s. %s' % (report['generated'], headline(report)), '']
    out += ['| Verdict | Hosts | Meaning |', '|---|---:|---|']
    for category in CATEGORIES:
        out.append('| %s | %d | %s |' % (category, report['counts'][category], MEANINGS[category]))
    out += ['', '## Hosts', '', '| Host | Verdict | Hard | Soft | System ID | Reasons |', '|---|---|---|---|---|---|']
    for host in report['hosts']:
        out.append('| %s | %s | %s | %s | %s | %s |' % (
            _md(host['host']), host['category'], _md(host['hard_verdict'] or ''), _md(host['soft_verdict'] or ''),
            _md(host['system_id'] or ''), '<br>'.join(_md(t) for t in reason_texts(host))))
    out += ['', '## Missing prerequisites', '']
    if not report['prerequisites']:
        out += ['None: no host reports an unmet dependency.', '']
    for item in report['prerequisites']:
        needed = 'required' if item['type'] == 'hard' else 'recommended'
        out += ['### %s %s (%s, %d host%s)' % (_md(item['name']), _md(item['version']), needed, len(item['hosts']),
                                               '' if len(item['hosts']) == 1 else 's'),
                '', 'Download path: `%s`' % _md(item['download_path']), '',
                '| Host | Installed |', '|---|---|']
        for entry in item['hosts']:
            out.append('| %s | %s |' % (_md(entry['host']), _md(entry['current_version'])))
        out.append('')
    return '\n'.join(out).rstrip('\n') + '\n'


# --- CSV --------------------------------------------------------------------

def to_csv(report):
    buffer = io.StringIO()
    writer = csv.writer(buffer, lineterminator='\n')
    writer.writerow(['host', 'verdict', 'hard_verdict', 'soft_verdict', 'system_id', 'system_id_origin',
                     'missing_download_paths', 'reasons'])
    for host in report['hosts']:
        paths = sorted({r.get('download_path') or '' for r in host['reported'] if r.get('state') == 'unmet'})
        writer.writerow([host['host'], host['category'], host['hard_verdict'] or '', host['soft_verdict'] or '',
                         host['system_id'] or '', host['system_id_origin'] or '', ' '.join(paths),
                         '; '.join(reason_texts(host))])
    return buffer.getvalue()


# --- HTML -------------------------------------------------------------------

def _e(text):
    return html.escape(str(text if text is not None else ''), quote=True)


def svg_bar(counts, width=720):
    """An inline SVG: one bar split by verdict, a legend below."""
    total = sum(counts.values())
    parts = ['<svg xmlns="http://www.w3.org/2000/svg" width="%d" height="86" viewBox="0 0 %d 86" role="img" '
             'aria-label="hosts per verdict">' % (width, width)]
    x = 0.0
    for category in CATEGORIES:
        count = counts[category]
        if not count or not total:
            continue
        w = width * count / total
        parts.append('<rect x="%.2f" y="0" width="%.2f" height="40" fill="%s"><title>%s: %d</title></rect>'
                     % (x, w, COLOURS[category], category, count))
        if w >= 24:
            parts.append('<text x="%.2f" y="26" text-anchor="middle" fill="#fff" font-size="15" '
                         'font-weight="bold">%d</text>' % (x + w / 2, count))
        x += w
    if not total:
        parts.append('<rect x="0" y="0" width="%d" height="40" fill="#ddd"/>' % width)
    lx = 0
    for category in CATEGORIES:
        parts.append('<rect x="%d" y="56" width="14" height="14" fill="%s"/>' % (lx, COLOURS[category]))
        label = '%s %d' % (category, counts[category])
        parts.append('<text x="%d" y="68" font-size="13" fill="#222">%s</text>' % (lx + 19, _e(label)))
        lx += 30 + 9 * len(label)
    parts.append('</svg>')
    return ''.join(parts)


STYLE = '''
body{font-family:system-ui,-apple-system,"Segoe UI",sans-serif;margin:24px;color:#222;max-width:1100px}
h1{margin:0 0 4px 0;font-size:24px} h2{margin-top:28px;font-size:19px} h3{font-size:16px;margin:18px 0 6px 0}
.meta{color:#555;margin:0 0 14px 0} .lead{font-size:17px;margin:10px 0 16px 0}
table{border-collapse:collapse;width:100%;margin:6px 0 10px 0;font-size:14px}
th,td{border:1px solid #ccc;padding:5px 8px;text-align:left;vertical-align:top}
th{background:#f2f2f2} td.n{text-align:right}
.v{display:inline-block;padding:1px 8px;border-radius:10px;color:#fff;font-size:13px;font-weight:bold}
code{font-size:13px;background:#f5f5f5;padding:1px 4px;border-radius:3px;word-break:break-all}
ul{margin:0;padding-left:18px}
'''


def _badge(category):
    if not category:
        return ''
    return '<span class="v" style="background:%s">%s</span>' % (COLOURS.get(category, '#444'), _e(category))


def to_html(report):
    out = ['<!DOCTYPE html>', '<html lang="en"><head><meta charset="utf-8">',
           '<title>%s</title>' % _e(report['title']), '<style>%s</style></head><body>' % STYLE,
           '<h1>%s</h1>' % _e(report['title'])]
    meta = 'Generated %s' % _e(report['generated'])
    if report.get('package'):
        meta += ' &middot; package <code>%s</code>' % _e(report['package'])
    out.append('<p class="meta">%s</p>' % meta)
    out.append('<p class="lead"><strong>%s</strong></p>' % _e(headline(report)))
    out.append(svg_bar(report['counts']))
    out.append('<h2>Hosts</h2><table><thead><tr><th>Host</th><th>Verdict</th><th>Hard</th><th>Soft</th>'
               '<th>System ID</th><th>Reasons</th></tr></thead><tbody>')
    for host in report['hosts']:
        reasons = ''.join('<li>%s</li>' % _e(t) for t in reason_texts(host))
        out.append('<tr><td>%s</td><td>%s</td><td>%s</td><td>%s</td><td>%s</td><td>%s</td></tr>' % (
            _e(host['host']), _badge(host['category']), _e(host['hard_verdict'] or ''),
            _e(host['soft_verdict'] or ''), _e(host['system_id'] or ''),
            '<ul>%s</ul>' % reasons if reasons else ''))
    out.append('</tbody></table>')
    out.append('<h2>Missing prerequisites</h2>')
    if not report['prerequisites']:
        out.append('<p>None: no host reports an unmet dependency.</p>')
    for item in report['prerequisites']:
        needed = 'required' if item['type'] == 'hard' else 'recommended'
        out.append('<h3>%s %s <small>(%s, %d host%s)</small></h3>' % (
            _e(item['name']), _e(item['version']), needed, len(item['hosts']), '' if len(item['hosts']) == 1 else 's'))
        out.append('<p>Download path: <code>%s</code></p>' % _e(item['download_path']))
        out.append('<table><thead><tr><th>Host</th><th>Installed</th></tr></thead><tbody>')
        for entry in item['hosts']:
            out.append('<tr><td>%s</td><td>%s</td></tr>' % (_e(entry['host']), _e(entry['current_version'])))
        out.append('</tbody></table>')
    out.append('</body></html>')
    return '\n'.join(out) + '\n'


def write_report(report, directory):
    """Writes the four files; returns their paths."""
    if not os.path.isdir(directory):
        os.makedirs(directory)
    files = {
        'fleet-report.json': json.dumps(report, indent=2, sort_keys=False) + '\n',
        'fleet-report.md': to_markdown(report),
        'fleet-report.csv': to_csv(report),
        'fleet-report.html': to_html(report),
    }
    paths = []
    for name, content in files.items():
        path = os.path.join(directory, name)
        with io.open(path, 'w', encoding='utf-8', newline='') as handle:
            handle.write(content)
        paths.append(path)
    return paths


def main(argv=None):
    parser = argparse.ArgumentParser(description='Writes the fleet report of a preflight.')
    parser.add_argument('results', help='the saved results (or an earlier fleet-report.json)')
    parser.add_argument('output', help='the directory to write the report into')
    parser.add_argument('--title', help='the report title')
    parser.add_argument('--package', help='the update package the preflight checked')
    args = parser.parse_args(argv)
    try:
        with io.open(args.results, encoding='utf-8') as handle:
            document = json.load(handle)
    except (IOError, OSError, ValueError) as error:
        sys.stderr.write('fleet_report: cannot read %s: %s\n' % (args.results, error))
        return 66
    if isinstance(document, dict) and 'hosts' not in document:
        sys.stderr.write('fleet_report: %s holds no hosts\n' % args.results)
        return 65
    report = normalize(document)
    if args.title:
        report['title'] = args.title
    if args.package:
        report['package'] = args.package
    for path in write_report(report, args.output):
        print(path)
    print(headline(report))
    return 0


if __name__ == '__main__':
    sys.exit(main())
