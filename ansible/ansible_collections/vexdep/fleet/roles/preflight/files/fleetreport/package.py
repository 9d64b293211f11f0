# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""The update package's identity from its package.xml, in a directory or a .tar.gz."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import os
import tarfile
import xml.etree.ElementTree as ElementTree


def _display(element):
    """The English Display text of an element's Name, else the first one."""
    name = element.find('Name')
    if name is None:
        return None
    displays = name.findall('Display')
    for display in displays:
        if (display.get('lang') or 'en').lower().startswith('en') and (display.text or '').strip():
            return display.text.strip()
    for display in displays:
        if (display.text or '').strip():
            return display.text.strip()
    return None


def parse(data):
    """The identity from the bytes of a package.xml: name, version, package and release ID."""
    root = ElementTree.fromstring(data)
    return {
        'name': _display(root),
        'version': root.get('vendorVersion') or root.get('releaseID'),
        'package_id': root.get('packageID'),
        'release_id': root.get('releaseID'),
    }


def _read_package_xml(path):
    if os.path.isdir(path):
        with open(os.path.join(path, 'package.xml'), 'rb') as handle:
            return handle.read()
    with tarfile.open(path, 'r:*') as tar:
        for member in tar.getmembers():
            if member.isfile() and os.path.normpath(member.name) == 'package.xml':
                return tar.extractfile(member).read()
    raise IOError('%s holds no package.xml' % path)


def identify(path):
    """(identity, None) for the package at path, or (None, why) when it cannot be read."""
    try:
        identity = parse(_read_package_xml(path))
    except (IOError, OSError, tarfile.TarError, ElementTree.ParseError) as error:
        return None, 'cannot read the package description of %s: %s' % (path, error)
    identity['path'] = path
    return identity, None


def label(identity):
    """'Brix Enclosure Management Firmware 4.0.0', or None."""
    if not identity:
        return None
    parts = [identity.get('name') or identity.get('package_id'), identity.get('version')]
    text = ' '.join(part for part in parts if part)
    return text or None
