# -*- coding: utf-8 -*-
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import pytest

from ansible_collections.vexdep.fleet.plugins.module_utils.deadline import module_timeout, reserve_seconds


@pytest.mark.parametrize('task_timeout,reserve', [(10, 5), (20, 5), (60, 6), (600, 30), (3600, 30)])
def test_reserve_is_a_tenth_between_5_and_30_seconds(task_timeout, reserve):
    assert reserve_seconds(task_timeout) == reserve


def test_module_gets_what_is_left_of_the_task_timeout():
    assert module_timeout(600, 0.0) == 570
    # The copy took 12.5 s of it.
    assert module_timeout(600, 12.5) == 557
    assert module_timeout(20, 1.2) == 13
    # Never less than a second, so that the module still says what it found.
    assert module_timeout(20, 19.0) == 1


def test_a_smaller_module_timeout_wins():
    assert module_timeout(600, 0.0, 100) == 100
    assert module_timeout(600, 0.0, 1000) == 570


def test_without_task_timeout_the_module_option_stands():
    assert module_timeout(0, 5.0) is None
    assert module_timeout(0, 5.0, 42) == 42
