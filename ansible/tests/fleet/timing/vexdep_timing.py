# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Callback of make fleet-bench: when each task started and how long each host
took in it, written as JSON to the file VEXDEP_FLEET_TIMING names."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r'''
name: vexdep_timing
type: aggregate
short_description: Task and per-host times of a fleet-bench run
description:
  - Notes when every task started and when each host started and ended it, and writes
    them as JSON to the file named by the environment variable VEXDEP_FLEET_TIMING at the end of the run.
requirements:
  - enabled with ANSIBLE_CALLBACKS_ENABLED=vexdep_timing
'''

import json
import os
import time

from ansible.plugins.callback import CallbackBase


class CallbackModule(CallbackBase):
    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = 'aggregate'
    CALLBACK_NAME = 'vexdep_timing'
    CALLBACK_NEEDS_ENABLED = True

    def __init__(self, *args, **kwargs):
        super(CallbackModule, self).__init__(*args, **kwargs)
        self._tasks = []
        self._running = {}

    def _task(self, task):
        uuid = task._uuid
        if not self._tasks or self._tasks[-1]['uuid'] != uuid:
            known = [entry for entry in self._tasks if entry['uuid'] == uuid]
            if known:
                return known[0]
            self._tasks.append(dict(uuid=uuid, name=task.get_name(), started=time.time(), hosts={}))
        return self._tasks[-1]

    def v2_playbook_on_task_start(self, task, is_conditional):
        self._task(task)

    def v2_playbook_on_handler_task_start(self, task):
        self._task(task)

    def v2_runner_on_start(self, host, task):
        self._running[(task._uuid, host.get_name())] = time.time()

    def _ended(self, result, status):
        task = self._task(result._task)
        name = result._host.get_name()
        started = self._running.pop((result._task._uuid, name), None)
        task['hosts'][name] = dict(status=status, started=started, ended=time.time())

    def v2_runner_on_ok(self, result):
        self._ended(result, 'ok')

    def v2_runner_on_failed(self, result, ignore_errors=False):
        self._ended(result, 'failed')

    def v2_runner_on_skipped(self, result):
        self._ended(result, 'skipped')

    def v2_runner_on_unreachable(self, result):
        self._ended(result, 'unreachable')

    def v2_playbook_on_stats(self, stats):
        path = os.environ.get('VEXDEP_FLEET_TIMING')
        if not path:
            return
        with open(path, 'w') as handle:
            json.dump(dict(ended=time.time(), tasks=self._tasks), handle)
