# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The repository and the package of the fleet planning tests and of make fleet-bench with plans.

prepare_repository copies repository/ and gives each package whose
dependencies name REL001 the test package's own REL001 release directory (its
collector reports what the host's state says is installed); with filler, it
adds packages for components no test host has (chains of hard dependencies
among themselves), so that a repository of realistic size is packed, copied
and read. prepare_package copies the test package with an inv.xml that lists
the devices of the repository's packages, where their dependencies apply.
"""

from __future__ import absolute_import, division, print_function

import os
import shutil

import test_preflight_multihost as multihost

HERE = os.path.dirname(os.path.abspath(__file__))
REPOSITORY = os.path.join(HERE, 'repository')
# The repository's packages that the test hosts need.
BP_315 = 'FOLDER04/BACKPLANE/BP_FW_3.15.0.BIN'
BP_320 = 'FOLDER04/BACKPLANE/BP_FW_3.20.0.BIN'
SEP_23 = 'FOLDER04/SEP/SEP_2.3.BIN'
AGENT_11 = 'FOLDER11/AGENT/mgmt-agent-11.0.0.tar.gz'
# The devices of the machine the test package and the repository's packages are for.
MACHINE = '''<?xml version="1.0" encoding="UTF-8"?>
<SVMInventory lang="en" schemaVersion="1.0">
  <Device componentID="101882" display="Brix Enclosure Management Module"/>
  <Device componentID="104500" display="Storage Backplane"/>
  <Device componentID="104600" display="Enclosure Processor"/>
  <Device componentID="112233" display="Systems Management Agent"/>
  <OperatingSystem osVendor="Linux" osArch="x86_64" majorVersion="12" minorVersion="0"
                   spMajorVersion="0" spMinorVersion="0"/>
</SVMInventory>
'''


def installed(backplane, sep, agent, expander=None):
    """What a host's collectors report: the multi-host test's inventory, with an expander where given."""
    text = multihost.inventory(backplane, sep, agent)
    if expander is None:
        return text
    return text.replace('</SVMInventory>', '''  <Device componentID="104700" display="Backplane Expander">
    <Application componentType="FRMW" version="%s" display="Backplane Expander Firmware"/>
  </Device>
</SVMInventory>''' % expander)


FILLER = '''<?xml version="1.0" encoding="UTF-8"?>
<SoftwareComponent schemaVersion="2.0" packageID="FILL%(index)04d" releaseID="FILL%(index)04dA00" vendorVersion="%(version)s">
  <Name>
    <Display lang="en">Filler Component %(component)d Firmware</Display>
  </Name>
  <ComponentType value="FRMW">
    <Display lang="en">Firmware</Display>
  </ComponentType>
  <SupportedDevices>
    <Device componentID="%(component)d">
      <Display lang="en">Filler Component %(component)d</Display>
%(dependency)s    </Device>
  </SupportedDevices>
</SoftwareComponent>
'''
FILLER_DEPENDENCY = '''      <Dependency componentID="%(component)d" componentType="FRMW" version="%(version)s" path="%(path)s"
                  releaseID="REL001">
        <Display>Filler Component %(component)d Firmware</Display>
      </Dependency>
'''


def filler_path(index):
    return 'FILLER/F%02d/FILL_%04d.BIN' % (index // 50, index)


def add_filler(directory, count):
    """count packages of components 300000 and up, each version after the first of a component needing the one
    before it (chains of five), with a payload of 64 KiB that packing leaves out."""
    for index in range(count):
        component, step = 300000 + index // 5, index % 5
        dependency = ''
        if step:
            dependency = FILLER_DEPENDENCY % {'component': component, 'version': '1.%d' % (step - 1),
                                              'path': filler_path(index - 1).replace('/', '\\')}
        path = os.path.join(directory, filler_path(index))
        os.makedirs(path)
        with open(os.path.join(path, 'package.xml'), 'w') as handle:
            handle.write(FILLER % {'index': index, 'version': '1.%d' % step, 'component': component,
                                   'dependency': dependency})
        with open(os.path.join(path, 'payload.bin'), 'wb') as handle:
            handle.write(os.urandom(64 * 1024))


def prepare_repository(directory, filler=0):
    """The repository with the test package's REL001 release directory in each package whose dependencies name it,
    and filler packages."""
    shutil.copytree(REPOSITORY, directory)
    add_filler(directory, filler)
    for package in (BP_320, SEP_23):
        shutil.copytree(os.path.join(multihost.PACKAGE, 'REL001'), os.path.join(directory, package, 'REL001'))
    return directory


def prepare_package(directory):
    shutil.copytree(multihost.PACKAGE, directory)
    with open(os.path.join(directory, 'inv.xml'), 'w') as handle:
        handle.write(MACHINE)
    return directory


