# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The report as JUnit XML, the test-result format CI servers read.

One test suite, one test case per host (classname vexdep.preflight, name the
host, so that a CI server follows each host from run to run). A host that is
blocked, unverifiable, failed, unreachable or timed out is a failure whose
type is its verdict and whose message is its reasons; the failure's text and
the case's system-out hold the rest (prerequisites with download paths, what
was ended, overruns, the change since an earlier run). The suite's
properties name the package and the counts, and its system-out lists the
changes, newly blocked first."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import re
from xml.sax.saxutils import escape, quoteattr

from . import wording
from .model import headline, host_changes, reason_texts
from .plans import PLAN_CHANGE_TEXT, plan_headline, plan_summary, steps_text
from .verdicts import ATTENTION, CATEGORIES

CLASSNAME = 'vexdep.preflight'
# Characters that XML 1.0 does not allow (a host's message may hold them).
_NOT_XML = re.compile(u'[^\u0009\u000a\u000d\u0020-\ud7ff\ue000-\ufffd\U00010000-\U0010ffff]')


def clean(text):
    return _NOT_XML.sub(u'\ufffd', str(text if text is not None else ''))


def attr(text):
    return quoteattr(clean(text), {'\n': '&#10;', '\r': '&#13;', '\t': '&#9;'})


def body(text):
    return escape(clean(text))


def _details(host, change):
    lines = wording.host_lines(host, change)
    for check_type in ('hard', 'soft'):
        for item in host['%s_prerequisites' % check_type]:
            lines.append('%s prerequisite: %s (installed %s)' % (check_type, wording.prerequisite_line(item),
                                                                  item.get('current_version')))
    system_id = wording.system_id_text(host)
    if system_id:
        lines.append('system ID: %s' % system_id)
    return '\n'.join(lines)


def testcase(host, change=None):
    time = host.get('seconds')
    out = ['    <testcase classname=%s name=%s%s>' % (attr(CLASSNAME), attr(host['host']),
                                                      ' time=%s' % attr('%.3f' % time) if time is not None else '')]
    details = _details(host, change)
    if host['category'] in ATTENTION:
        message = '%s: %s' % (host['category'], '; '.join(reason_texts(host)))
        if host.get('plan'):
            steps = steps_text(host['plan'])
            message += '; plan: %s%s' % (plan_summary(host['plan']), ' (%s)' % steps if steps else '')
        out.append('      <failure type=%s message=%s>%s</failure>' % (attr(host['category']), attr(message),
                                                                      body(details)))
    else:
        out.append('      <system-out>%s: %s</system-out>' % (host['category'], body(details)))
    out.append('    </testcase>')
    return out


def properties(report):
    identity = report.get('package') or {}
    items = [('package.%s' % key, identity.get(key)) for key in ('name', 'version', 'package_id', 'release_id')]
    items += [('run.started', (report.get('run') or {}).get('started')), ('checked', report.get('type'))]
    items += [('hosts.%s' % category, report['counts'][category]) for category in CATEGORIES]
    if report.get('changes') is not None:
        items += [('changes.%s' % kind, count) for kind, count in report['changes']['counts'].items()]
    plan = report.get('plan')
    if plan is not None:
        items += [('plan.%s' % verdict, count) for verdict, count in plan['counts'].items()]
        items += [('plan.waves', len([w for w in plan['waves'] if w['wave'] > 0])),
                  ('plan.unfixable', sum(g['count'] for g in plan['unfixable']))]
    return ['    <property name=%s value=%s/>' % (attr(name), attr(value)) for name, value in items
            if value is not None]


def suite_out(report):
    lines = [headline(report)]
    if report.get('changes') is not None:
        lines.append('%s: %s.' % (wording.changes_heading(report), report['changes']['summary']))
        lines += ['  %s: %s' % (c['host'], wording.change_text(c)) for c in report['changes']['hosts']]
        lines += ['  %s: %s: %s -> %s' % (c['host'], PLAN_CHANGE_TEXT[c['kind']], c['previous'], c['now'])
                  for c in report['changes'].get('plans') or []]
    if report.get('plan') is not None:
        lines.append(plan_headline(report['plan']))
        lines += ['  wave %d: %s' % (w['wave'], ', '.join('%s (%d hosts)' % (p['package'], p['count'])
                                                          for p in w['packages']) or 'nothing to install')
                  for w in report['plan']['waves']]
    return '\n'.join(lines)


def render(report):
    counts = report['counts']
    failures = sum(counts[category] for category in ATTENTION)
    total = sum((h.get('seconds') or 0.0) for h in report['hosts'])
    started = (report.get('run') or {}).get('started')
    suite = ' name=%s tests=%s failures=%s errors="0"' % (attr(report['title']), attr(len(report['hosts'])),
                                                            attr(failures))
    out = ['<?xml version="1.0" encoding="UTF-8"?>',
           '<testsuites%s time=%s>' % (suite, attr('%.3f' % total)),
           '  <testsuite%s skipped="0" time=%s%s>' % (suite, attr('%.3f' % total),
                                                       ' timestamp=%s' % attr(started.rstrip('Z')) if started else ''),
           '    <properties>']
    out += ['  ' + line for line in properties(report)]
    out.append('    </properties>')
    changed = host_changes(report)
    for host in report['hosts']:
        out += testcase(host, changed.get(host['host']))
    out.append('    <system-out>%s</system-out>' % body(suite_out(report)))
    out += ['  </testsuite>', '</testsuites>']
    return '\n'.join(out) + '\n'

