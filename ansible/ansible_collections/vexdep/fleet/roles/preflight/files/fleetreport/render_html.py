# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The report as one self-contained HTML page (no script, style sheet, font or image from elsewhere).

The page leads with what needs action: the blocked hosts grouped by root
cause, the largest group first, then the unverifiable, failed, unreachable
and timed-out groups by reason, then the recommendations. Below: the changes
since an earlier run, collector overruns, the shopping list of missing
prerequisites, and every host in one table with a filter box (a few lines
of plain JavaScript in the page), the hosts that can take the update last
and collapsed. Long texts wrap: the page never scrolls sideways at 1200
pixels."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import html

from . import wording
from .changes import KIND_TEXT
from .groups import summary
from .model import headline, host_changes
from . import plans as plans_of
from .verdicts import ATTENTION, CAN_TAKE, CATEGORIES, COLOURS, MEANINGS, plural

# Hosts named in a group before the rest are folded away.
GROUP_HOSTS_SHOWN = 30

STYLE = '''
*{box-sizing:border-box}
body{font-family:system-ui,-apple-system,"Segoe UI",sans-serif;margin:0 auto;padding:14px 22px;color:#222;
max-width:1200px;overflow-wrap:anywhere;line-height:1.35}
h1{margin:0 0 2px 0;font-size:23px} h2{margin:22px 0 6px 0;font-size:19px;border-bottom:1px solid #ddd}
h3{font-size:16px;margin:12px 0 4px 0} h4{font-size:15px;margin:0 0 4px 0}
.meta{color:#555;margin:0 0 6px 0;font-size:13px} .lead{font-size:16px;margin:4px 0 8px 0}
.bar{display:flex;height:26px;border-radius:4px;overflow:hidden;margin:4px 0;background:#ddd}
.bar span{display:block;height:100%;color:#fff;font-weight:bold;font-size:13px;line-height:26px;text-align:center;
overflow:hidden;white-space:nowrap}
.legend{list-style:none;padding:0;margin:0 0 6px 0;display:flex;flex-wrap:wrap;gap:2px 18px;font-size:13px}
.legend li{white-space:nowrap} .sw{display:inline-block;width:12px;height:12px;border-radius:2px;
vertical-align:-1px;margin-right:5px}
nav,.changes{font-size:13px;margin:2px 0} nav a{margin-right:10px}
.group{border-left:6px solid #999;background:#fafafa;padding:6px 10px;margin:6px 0}
.group ul{margin:2px 0 4px 0;padding-left:18px;font-size:13px}
.hostlist{margin:2px 0;font-size:13px;color:#333} details summary{cursor:pointer;font-size:13px;color:#1a4d8f}
.count{font-weight:bold}
table{border-collapse:collapse;width:100%;table-layout:fixed;margin:4px 0 8px 0;font-size:13px}
th,td{border:1px solid #ccc;padding:4px 6px;text-align:left;vertical-align:top;overflow-wrap:anywhere}
th{background:#f2f2f2} td.n{text-align:right}
td ul{margin:0;padding-left:16px}
.v{display:inline-block;padding:0 7px;border-radius:9px;color:#fff;font-size:12px;font-weight:bold;white-space:nowrap}
.none{color:#777} code{font-size:12px;background:#f5f5f5;padding:0 3px;border-radius:3px;word-break:break-all}
#filter{width:100%;max-width:560px;font-size:15px;padding:5px 8px;margin:4px 0}
#filter-count{font-size:13px;color:#555;margin-left:8px}
.wave{border-left:6px solid #1565c0;background:#f5f9ff;padding:6px 10px;margin:6px 0}
.wave table{margin:4px 0} .unfixable{border-left:6px solid #c62828;background:#fff8f8;padding:6px 10px;margin:6px 0}
.plan-outcome{font-size:13px;color:#333;margin:2px 0} .tag{font-size:11px;border:1px solid #999;border-radius:8px;
padding:0 5px;margin-left:4px;color:#444;white-space:nowrap}
'''

FILTER_SCRIPT = '''
(function () {
  var box = document.getElementById('filter');
  var count = document.getElementById('filter-count');
  var folded = document.getElementById('ready-hosts');
  var rows = Array.prototype.slice.call(document.querySelectorAll('#hosts tbody tr'));
  var texts = null;
  function apply() {
    if (texts === null) {
      texts = rows.map(function (row) { return row.textContent.toLowerCase(); });
    }
    var words = box.value.toLowerCase().split(/\\s+/).filter(function (w) { return w.length > 0; });
    var shown = 0, foldedShown = 0;
    for (var i = 0; i < rows.length; i++) {
      var text = texts[i];
      var match = words.every(function (w) { return text.indexOf(w) >= 0; });
      rows[i].hidden = !match;
      if (match) {
        shown++;
        if (rows[i].hasAttribute('data-folded')) { foldedShown++; }
      }
    }
    if (folded && words.length > 0 && foldedShown > 0) { folded.open = true; }
    count.textContent = words.length > 0 ? shown + ' of ' + rows.length + ' hosts match' : '';
  }
  box.addEventListener('input', apply);
})();
'''


def e(text):
    return html.escape(str(text if text is not None else ''), quote=True)


def badge(category):
    return '<span class="v" style="background:%s">%s</span>' % (COLOURS.get(category, '#444'), e(category))


def bar(counts):
    """The hosts per verdict as one bar, a number on every part wide enough for it."""
    total = sum(counts.values())
    parts = []
    for category in CATEGORIES:
        count = counts[category]
        if not count:
            continue
        share = 100.0 * count / total
        parts.append('<span style="width:%.3f%%;background:%s" title="%s: %d">%s</span>'
                     % (share, COLOURS[category], category, count, count if share >= 4 else ''))
    return '<div class="bar" role="img" aria-label="hosts per verdict">%s</div>' % ''.join(parts)


def legend(counts):
    """Every verdict with its colour and count; the items wrap as a whole, none is cut."""
    items = ''.join('<li title="%s"><span class="sw" style="background:%s"></span>%s %d</li>'
                    % (e(MEANINGS[c]), COLOURS[c], c, counts[c]) for c in CATEGORIES)
    return '<ul class="legend">%s</ul>' % items


def navigation(report):
    links = []
    for category in ATTENTION:
        if report['counts'][category]:
            links.append('<a href="#%s">%s (%d)</a>' % (category, wording.SECTION_NAMES[category],
                                                        report['counts'][category]))
    if report.get('plan') is not None:
        links.append('<a href="#plan">The plan (waves)</a>')
    if report['recommended_groups']:
        links.append('<a href="#recommended">Recommended first</a>')
    if report.get('changes') is not None:
        links.append('<a href="#changes">Changes</a>')
    if report['overruns']:
        links.append('<a href="#overruns">Collector overruns</a>')
    links += ['<a href="#prerequisites">Missing prerequisites</a>', '<a href="#hosts">All hosts (filter)</a>']
    return '<nav>%s</nav>' % ''.join(links)


def header(report):
    out = ['<header>', '<h1>%s</h1>' % e(report['title']), '<p class="meta">%s</p>' % e(wording.meta_line(report))]
    if report.get('package_note'):
        out.append('<p class="meta">%s</p>' % e(report['package_note']))
    out += ['<p class="lead"><strong>%s</strong></p>' % e(headline(report)), bar(report['counts']),
            legend(report['counts'])]
    if report.get('changes') is not None:
        out.append('<p class="changes">%s: <strong>%s</strong>.</p>'
                   % (e(wording.changes_heading(report)), e(report['changes']['summary'])))
    out += [navigation(report), '</header>']
    return out


def host_list(names):
    """The names of a group's hosts: the first ones, and all of them behind a summary."""
    shown = ', '.join(e(name) for name in names[:GROUP_HOSTS_SHOWN])
    if len(names) <= GROUP_HOSTS_SHOWN:
        return '<p class="hostlist">%s</p>' % shown
    return ('<p class="hostlist">%s, &hellip;</p><details><summary>all %s</summary><p class="hostlist">%s</p>'
            '</details>' % (shown, plural(len(names), 'host'), ', '.join(e(name) for name in names)))


def group(item, index):
    out = ['<div class="group" id="group-%d" data-category="%s" style="border-left-color:%s">'
           % (index, item['category'], COLOURS[item['category']]),
           '<h4><span class="count">%s</span>: %s</h4>' % (plural(item['count'], 'host'), e(item['title']))]
    if item.get('plan'):
        out.append('<p class="plan-outcome">%s</p>' % e(plans_of.outcome_text(item['plan'])))
    if item['prerequisites']:
        out.append('<ul>%s</ul>' % ''.join(
            '<li>%s %s from <code>%s</code>%s</li>' % (e(p['name']), e(p['version']), e(p['download_path']),
                                                       ' &mdash; why: %s' % e(p['detail']) if p.get('detail') else '')
            for p in item['prerequisites']))
    out += [host_list(item['hosts']), '</div>']
    return out


def needs_action(report):
    out = ['<section id="needs-action"><h2>Needs action</h2>']
    if not report['groups']:
        out.append('<p>Nothing: every host can take the update.</p>')
    index = 0
    for category in ATTENTION:
        groups = [g for g in report['groups'] if g['category'] == category]
        if not groups:
            continue
        out.append('<section id="%s"><h3>%s: %s</h3>' % (category, wording.SECTION_NAMES[category],
                                                          e(summary(groups, category))))
        for item in groups:
            index += 1
            out += group(item, index)
        out.append('</section>')
    out.append('</section>')
    return out


def _wave(wave):
    out = ['<div class="wave" id="wave-%d"><h4>%s</h4>' % (wave['wave'], e(plans_of.wave_heading(wave)))]
    if wave['packages']:
        out.append('<table><colgroup><col style="width:46%"><col style="width:34%"><col style="width:10%">'
                   '<col></colgroup><thead><tr><th>Package</th><th>Component</th><th>To</th><th>Hosts</th></tr>'
                   '</thead><tbody>')
        for package in wave['packages']:
            tags = ''.join('<span class="tag">%s</span>' % word for flag, word in (
                ('stepping_stone', 'intermediate'), ('order_conflict', 'order differs by host')) if package.get(flag))
            out.append('<tr><td><code>%s</code>%s</td><td>%s</td><td>%s</td><td class="n">%d</td></tr>' % (
                e(package['package']), tags, e(package.get('component')), e(package.get('to_version')),
                package['count']))
        out.append('</tbody></table>')
    if wave['hosts_ready']:
        out += ['<p class="plan-outcome">Ready after it:</p>', host_list(wave['hosts_ready'])]
    return out + ['</div>']


def plan(report):
    section = report.get('plan')
    if section is None:
        return []
    out = ['<section id="plan"><h2>The plan: waves of prerequisite packages</h2>',
           '<p class="lead"><strong>%s</strong></p>' % e(plans_of.plan_headline(section))]
    if section.get('repository'):
        out.append('<p class="meta">Repository %s%s. A package is in wave k when every host that needs it has all '
                   'its earlier steps in waves before k.</p>' % (
                       e(section['repository']), ' (%s)' % e(section['packed']) if section.get('packed') else ''))
    if not section['waves']:
        out.append('<p>No host has a complete plan.</p>')
    for wave in section['waves']:
        out += _wave(wave)
    out.append('<h3 id="unfixable">What no plan can fix: %s</h3>'
               % e(plural(sum(g['count'] for g in section['unfixable']), 'host')))
    if not section['unfixable']:
        out.append('<p>Nothing: every planned host has a complete plan.</p>')
    for index, item in enumerate(section['unfixable']):
        out.append('<div class="unfixable" id="unfixable-%d"><h4>%s</h4>' % (index + 1,
                                                                             e(plans_of.unfixable_heading(item))))
        if len(item['blockers']) > 1:
            out.append('<ul>%s</ul>' % ''.join('<li>%s</li>' % e(text) for text in item['blockers']))
        if item['blocker_groups']:
            out.append('<p class="plan-outcome">%s</p>' % e(plans_of.joined_text(item)))
        out += [host_list(item['hosts']), '</div>']
    return out + ['</section>']


def recommended(report):
    groups = report['recommended_groups']
    if not groups:
        return []
    out = ['<section id="recommended"><h2>%s: %s</h2>' % (wording.SECTION_NAMES['recommended'],
                                                           e(summary(groups, 'recommended')))]
    for index, item in enumerate(groups):
        out += group(item, 1000 + index)
    return out + ['</section>']


def changes(report):
    if report.get('changes') is None:
        return []
    out = ['<section id="changes"><h2>%s</h2>' % e(wording.changes_heading(report))]
    rows = report['changes']['hosts']
    if not rows:
        return out + ['<p>No host changed its verdict.</p>'] + plan_changes(report) + ['</section>']
    out.append('<table><colgroup><col style="width:30%"><col style="width:15%"><col style="width:15%"><col>'
               '</colgroup><thead><tr><th>Host</th><th>Before</th><th>Now</th><th>Change</th></tr></thead><tbody>')
    out += ['<tr><td>%s</td><td>%s</td><td>%s</td><td>%s</td></tr>' % (
        e(c['host']), badge(c['previous']) if c['previous'] else 'not checked',
        badge(c['now']) if c['now'] else 'not checked', e(KIND_TEXT[c['kind']])) for c in rows]
    return out + ['</tbody></table>'] + plan_changes(report) + ['</section>']


def plan_changes(report):
    found = report['changes'].get('plans')
    if found is None:
        return []
    out = ['<h3 id="plan-changes">Plans that changed: %s</h3>' % e(plural(len(found), 'host'))]
    if not found:
        return out + ['<p>No plan changed.</p>']
    out.append('<table><colgroup><col style="width:20%"><col style="width:16%"><col style="width:32%"><col>'
               '</colgroup><thead><tr><th>Host</th><th>Change</th><th>Before</th><th>Now</th></tr></thead><tbody>')
    out += ['<tr><td>%s</td><td>%s</td><td>%s</td><td>%s</td></tr>' % (
        e(c['host']), e(plans_of.PLAN_CHANGE_TEXT[c['kind']]), e(c['previous']), e(c['now'])) for c in found]
    return out + ['</tbody></table>']


def overruns(report):
    if not report['overruns']:
        return []
    out = ['<section id="overruns"><h2>Collectors that ran longer than they declare</h2>',
           '<p class="meta">The limits in packages are not enforced unless collector_timeout is config; such a '
           'collector would then be ended and its inventory reported failed.</p>',
           '<table><colgroup><col style="width:8%"><col style="width:14%"><col style="width:24%"><col></colgroup>'
           '<thead><tr><th>Type</th><th>Release</th><th>Time</th><th>Hosts</th></tr></thead><tbody>']
    for item in report['overruns']:
        out.append('<tr><td>%s</td><td>%s</td><td>%s</td><td>%s</td></tr>' % (
            e(item['type']), e(item['release_id']), e(item['text']),
            ', '.join('%s (%.1f s)' % (e(h['host']), h['seconds']) for h in item['hosts'])))
    return out + ['</tbody></table></section>']


def _by_installed(hosts):
    versions = {}
    for entry in hosts:
        versions.setdefault(entry['current_version'] or 'unknown', []).append(entry['host'])
    return '; '.join('installed %s: %s' % (e(version), ', '.join(e(name) for name in names))
                     for version, names in sorted(versions.items(), key=lambda kv: (-len(kv[1]), kv[0])))


def shopping(report):
    out = ['<section id="prerequisites"><h2>Missing prerequisites</h2>']
    for check_type, name in (('hard', 'Hard: required before the update'), ('soft', 'Soft: recommended')):
        items = report['prerequisites'][check_type]
        out.append('<h3>%s</h3>' % name)
        if not items:
            out.append('<p>None: no host reports an unmet %s dependency.</p>' % check_type)
        for item in items:
            out.append('<div class="group"><h4>%s</h4><p>Download path: <code>%s</code></p>%s<p class="hostlist">%s'
                       '</p></div>' % (e(wording.shopping_heading(item)), e(item['download_path']),
                                       '<p>Why: %s</p>' % e(item['detail']) if item.get('detail') else '',
                                       _by_installed(item['hosts'])))
    return out + ['</section>']


def host_row(host, change, folded):
    lines = wording.host_lines(host, change)
    needs = []
    for check_type in ('hard', 'soft'):
        text = wording.prerequisites_text(host, check_type)
        if text:
            needs.append('%s: %s' % (check_type, text))
    system_id = wording.system_id_text(host)
    return '<tr data-v="%s"%s><td>%s</td><td>%s</td><td>%s</td><td>%s</td><td%s>%s</td><td>%s</td></tr>' % (
        host['category'], ' data-folded="1"' if folded else '', e(host['host']), badge(host['category']),
        e(host['hard_verdict'] or ''), e(host['soft_verdict'] or ''),
        ' class="none"' if not host['system_id'] else '', e(system_id),
        '<ul>%s</ul>' % ''.join('<li>%s</li>' % e(line) for line in needs + lines) if needs or lines else '')


HOST_TABLE_HEAD = ('<table><colgroup><col style="width:15%"><col style="width:11%"><col style="width:9%">'
                   '<col style="width:9%"><col style="width:13%"><col></colgroup><thead><tr><th>Host</th>'
                   '<th>Verdict</th><th>Hard</th><th>Soft</th><th>System ID</th><th>Needs and reasons</th></tr>'
                   '</thead><tbody>')


def host_table(report):
    changed = host_changes(report)
    attention = [h for h in report['hosts'] if h['category'] in ATTENTION]
    can_take = [h for h in report['hosts'] if h['category'] in CAN_TAKE]
    out = ['<section id="hosts"><h2>All hosts</h2>',
           '<p><input id="filter" type="search" placeholder="Filter: host, verdict, system ID, component, message" '
           'aria-label="filter the hosts"><span id="filter-count"></span></p>']
    if attention:
        out.append('<h3>Needing action: %s</h3>' % plural(len(attention), 'host'))
        out.append(HOST_TABLE_HEAD)
        out += [host_row(h, changed.get(h['host']), False) for h in attention]
        out.append('</tbody></table>')
    if can_take:
        out.append('<details id="ready-hosts"><summary>Able to take the update (ready or recommended): %s</summary>'
                   % plural(len(can_take), 'host'))
        out.append(HOST_TABLE_HEAD)
        out += [host_row(h, changed.get(h['host']), True) for h in can_take]
        out.append('</tbody></table></details>')
    return out + ['</section>']


SECTIONS = (header, needs_action, plan, recommended, changes, overruns, shopping, host_table)


def render(report):
    out = ['<!DOCTYPE html>', '<html lang="en"><head><meta charset="utf-8">',
           '<meta name="viewport" content="width=device-width, initial-scale=1">',
           '<title>%s</title>' % e(report['title']), '<style>%s</style></head><body>' % STYLE]
    for section in SECTIONS:
        out += section(report)
    out += ['<script>%s</script>' % FILTER_SCRIPT, '</body></html>']
    return '\n'.join(out) + '\n'
