# -*- coding: utf-8 -*-
# Copyright (C) 2026 vexdepcheck developers
"""Managed hosts for the fleet tests: one sshd per host on its own loopback port.

Every host is /usr/sbin/sshd started by the test inside its own private mount
namespace (unshare --mount --propagation private), where a tmpfs over
/sys/firmware holds that host's SMBIOS tables (written by vexfleettables with
the tests' SMBIOS builder) or nothing, and a tmpfs over /run gives sshd its
privilege-separation directory. Host keys, the client key, authorized_keys,
known_hosts and the sshd configurations live in one temporary directory that
stop() removes; the machine's own SSH setup is never read or changed.
"""

from __future__ import absolute_import, division, print_function

import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time

SSHD = '/usr/sbin/sshd'
UNSHARE = '/usr/bin/unshare'

# The namespace script: everything it mounts is private to the namespace and
# disappears with its last process.
NAMESPACE_SCRIPT = r'''
set -e
mount -t tmpfs vexdep-fleet-firmware /sys/firmware
if [ -e "$HOSTDIR/tables/DMI" ]; then
  mkdir -p /sys/firmware/dmi/tables
  cp "$HOSTDIR/tables/smbios_entry_point" "$HOSTDIR/tables/DMI" /sys/firmware/dmi/tables/
fi
if [ -e /dev/mem ]; then mount --bind "$HOSTDIR/empty" /dev/mem; fi
mount -t tmpfs vexdep-fleet-run /run
mkdir -m 0755 /run/sshd
exec /usr/sbin/sshd -D -e -f "$HOSTDIR/sshd_config"
'''


def missing_tools():
    """Why managed hosts cannot be started here, or None."""
    if os.geteuid() != 0:
        return 'the fleet hosts need root (mount namespaces and sshd)'
    for tool in (SSHD, UNSHARE, shutil.which('ssh-keygen') or '/usr/bin/ssh-keygen',
                 shutil.which('ssh') or '/usr/bin/ssh'):
        if not os.access(tool, os.X_OK):
            return '%s is not available' % tool
    probe = subprocess.run([UNSHARE, '--mount', '--propagation', 'private', '/bin/sh', '-c',
                            'mount -t tmpfs vexdep-probe /sys/firmware && mount -t tmpfs vexdep-probe /run && exit 42'],
                           stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    if probe.returncode != 42:
        return 'private mount namespaces are not usable here: %s' % probe.stderr.decode(errors='replace').strip()
    for tool in ('ansible-playbook',):
        if not shutil.which(tool):
            return '%s is not installed' % tool
    return None


def fleet_executables():
    """(vexinspect, vexfleettables, why not): the executables the fleet tests run, named by VEXDEP_INSPECT and
    VEXDEP_FLEET_TABLES (ctest sets both), and why the tests cannot run here (None when they can)."""
    vexinspect = os.environ.get('VEXDEP_INSPECT')
    tables_tool = os.environ.get('VEXDEP_FLEET_TABLES')
    if not vexinspect or not os.access(vexinspect, os.X_OK):
        return vexinspect, tables_tool, 'VEXDEP_INSPECT does not name the vexinspect executable'
    if not tables_tool or not os.access(tables_tool, os.X_OK):
        return vexinspect, tables_tool, 'VEXDEP_FLEET_TABLES does not name the vexfleettables tool'
    return vexinspect, tables_tool, missing_tools()


def mitogen_strategies():
    """The directory of the connection strategies of Debian's ansible-mitogen (for
    ANSIBLE_STRATEGY_PLUGINS), or None where it is not installed."""
    found = subprocess.run(['/usr/bin/python3', '-c', 'import ansible_mitogen, os; '
                            'print(os.path.dirname(ansible_mitogen.__file__))'],
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, universal_newlines=True)
    directory = os.path.join(found.stdout.strip(), 'plugins', 'strategy')
    return directory if found.returncode == 0 and os.path.isdir(directory) else None


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as sock:
        sock.bind(('127.0.0.1', 0))
        return sock.getsockname()[1]


class Host(object):
    """One managed host. flags are files created in its state directory, which
    the test package's collectors read (collector-fails, soft-collector-fails,
    collector-hangs, collector-talks); host_vars go into its inventory line."""

    def __init__(self, name, directory, port, system_id=None, inventory=None, flags=(), listening=True,
                 host_vars=None):
        self.name = name
        self.directory = directory
        self.port = port
        self.system_id = system_id
        self.inventory = inventory
        self.flags = tuple(flags)
        self.listening = listening
        self.host_vars = dict(host_vars or {})
        self.process = None
        self.log = os.path.join(directory, 'sshd.log')


class Fleet(object):
    """Hosts described by add(), started by start(), removed by stop()."""

    def __init__(self, tables_tool, parent=None):
        self.tables_tool = tables_tool
        self.root = tempfile.mkdtemp(prefix='vexdep-fleet-', dir=parent)
        self.hosts = []
        try:
            self._make_keys()
        except BaseException:
            shutil.rmtree(self.root, ignore_errors=True)
            raise

    def _make_keys(self):
        self.client_key = os.path.join(self.root, 'client_ed25519')
        self.known_hosts = os.path.join(self.root, 'known_hosts')
        self.authorized_keys = os.path.join(self.root, 'authorized_keys')
        self.host_key = os.path.join(self.root, 'ssh_host_ed25519_key')
        subprocess.run(['ssh-keygen', '-q', '-t', 'ed25519', '-N', '', '-C', 'vexdep-fleet-client',
                        '-f', self.client_key], check=True)
        # One host key for every host keeps a 100-host fleet quick to set up;
        # known_hosts still names every host's own port.
        subprocess.run(['ssh-keygen', '-q', '-t', 'ed25519', '-N', '', '-C', 'vexdep-fleet-host',
                        '-f', self.host_key], check=True)
        shutil.copyfile(self.client_key + '.pub', self.authorized_keys)
        os.makedirs(os.path.join(self.root, 'cp'))
        os.makedirs(os.path.join(self.root, 'remote-tmp'))
        self.host_tmp = os.path.join(self.root, 'host-tmp')
        os.makedirs(self.host_tmp)
        os.makedirs(os.path.join(self.root, 'ansible-home'))

    def _new_port(self):
        taken = {host.port for host in self.hosts}
        while True:
            port = free_port()
            if port not in taken:
                return port

    def add(self, name, system_id=None, inventory=None, flags=(), listening=True, host_vars=None):
        directory = os.path.join(self.root, 'hosts', name)
        os.makedirs(os.path.join(directory, 'state'))
        host = Host(name, directory, self._new_port(), system_id, inventory, flags, listening, host_vars)
        self.hosts.append(host)
        return host

    def _prepare(self, host):
        with open(os.path.join(host.directory, 'empty'), 'w'):
            pass
        if host.system_id:
            tables = os.path.join(host.directory, 'tables')
            os.makedirs(tables)
            subprocess.run([self.tables_tool, tables, host.system_id], check=True)
        state = os.path.join(host.directory, 'state')
        if host.inventory is not None:
            with open(os.path.join(state, 'inventory.xml'), 'w') as handle:
                handle.write(host.inventory)
        for flag in host.flags:
            with open(os.path.join(state, flag), 'w'):
                pass

    def _write_config(self, host):
        state = os.path.join(host.directory, 'state')
        config = [
            'Port %d' % host.port,
            'ListenAddress 127.0.0.1',
            'HostKey %s' % self.host_key,
            'PidFile none',
            'AuthorizedKeysFile %s' % self.authorized_keys,
            'AuthenticationMethods publickey',
            'PasswordAuthentication no',
            'KbdInteractiveAuthentication no',
            'UsePAM no',
            'PermitRootLogin prohibit-password',
            'StrictModes no',
            'UseDNS no',
            'MaxStartups 200:30:400',
            'MaxSessions 100',
            'LogLevel ERROR',
            'Subsystem sftp internal-sftp',
            'SetEnv VEXDEP_FLEET_STATE=%s VEXDEP_FLEET_HOST=%s' % (state, host.name),
        ]
        with open(os.path.join(host.directory, 'sshd_config'), 'w') as handle:
            handle.write('\n'.join(config) + '\n')

    def _launch(self, host):
        self._write_config(host)
        env = dict(os.environ, HOSTDIR=host.directory)
        with open(host.log, 'wb') as log:
            host.process = subprocess.Popen(
                [UNSHARE, '--mount', '--propagation', 'private', '/bin/sh', '-c', NAMESPACE_SCRIPT],
                env=env, stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT,
                start_new_session=True)

    def start(self, timeout=30):
        for host in self.hosts:
            self._prepare(host)
            if host.listening:
                self._launch(host)
        deadline = time.time() + timeout
        for host in self.hosts:
            if not host.listening:
                continue
            while True:
                if host.process.poll() is not None:
                    # Another program may have taken the port in the meantime: try another one.
                    if 'Address already in use' in self.read_log(host) and time.time() < deadline:
                        host.port = self._new_port()
                        self._launch(host)
                        continue
                    raise RuntimeError('sshd of %s ended with status %s: %s'
                                       % (host.name, host.process.returncode, self.read_log(host)))
                try:
                    with socket.create_connection(('127.0.0.1', host.port), timeout=1):
                        break
                except OSError:
                    if time.time() > deadline:
                        raise RuntimeError('sshd of %s does not listen on port %d' % (host.name, host.port))
                    time.sleep(0.05)
        with open(self.known_hosts, 'w') as handle:
            with open(self.host_key + '.pub') as key:
                public = ' '.join(key.read().split()[:2])
            for host in self.hosts:
                handle.write('[127.0.0.1]:%d %s\n' % (host.port, public))

    @staticmethod
    def read_log(host):
        try:
            with open(host.log, errors='replace') as handle:
                return handle.read()
        except OSError:
            return ''

    def inventory(self, path=None, group='fleet', group_vars=None):
        """An INI inventory of every host (the one that does not listen included)."""
        path = path or os.path.join(self.root, 'inventory.ini')
        lines = ['[%s]' % group]
        for host in self.hosts:
            extra = ''.join(' %s=%s' % item for item in sorted(host.host_vars.items()))
            lines.append('%s ansible_host=127.0.0.1 ansible_port=%d%s' % (host.name, host.port, extra))
        lines += [
            '',
            '[%s:vars]' % group,
            'ansible_user=%s' % 'root',
            'ansible_ssh_private_key_file=%s' % self.client_key,
            'ansible_ssh_common_args=-F none -o UserKnownHostsFile=%s -o StrictHostKeyChecking=yes '
            '-o GlobalKnownHostsFile=/dev/null -o ConnectTimeout=10' % self.known_hosts,
            'ansible_remote_tmp=%s' % os.path.join(self.root, 'remote-tmp'),
            'ansible_python_interpreter=/usr/bin/python3',
        ]
        lines += ['%s=%s' % item for item in sorted((group_vars or {}).items())]
        with open(path, 'w') as handle:
            handle.write('\n'.join(lines) + '\n')
        return path

    def ansible_environment(self, collections_path, forks=None):
        """The environment of ansible-playbook: nothing of the user's own Ansible or SSH setup."""
        env = dict(os.environ)
        for key in list(env):
            if key.startswith('ANSIBLE_'):
                del env[key]
        env.update({
            'ANSIBLE_CONFIG': os.path.join(self.root, 'no-ansible.cfg'),
            'ANSIBLE_HOME': os.path.join(self.root, 'ansible-home'),
            'ANSIBLE_LOCAL_TEMP': os.path.join(self.root, 'ansible-home', 'tmp'),
            'ANSIBLE_COLLECTIONS_PATH': collections_path,
            'ANSIBLE_SSH_CONTROL_PATH_DIR': os.path.join(self.root, 'cp'),
            'ANSIBLE_PIPELINING': 'True',
            'ANSIBLE_NOCOLOR': '1',
            'ANSIBLE_RETRY_FILES_ENABLED': 'False',
            'ANSIBLE_HOST_KEY_CHECKING': 'True',
        })
        if forks:
            env['ANSIBLE_FORKS'] = str(forks)
        return env

    def processes_of(self, host):
        """(pid, command name, command line) of every process in the host's namespace but its sshd's."""
        if host.process is None or host.process.poll() is not None:
            return []
        try:
            namespace = os.readlink('/proc/%d/ns/mnt' % host.process.pid)
        except OSError:
            return []
        found = []
        for entry in os.listdir('/proc'):
            if not entry.isdigit():
                continue
            try:
                if os.readlink('/proc/%s/ns/mnt' % entry) != namespace:
                    continue
                with open('/proc/%s/comm' % entry) as handle:
                    name = handle.read().strip()
                with open('/proc/%s/cmdline' % entry, 'rb') as handle:
                    cmdline = handle.read().replace(b'\0', b' ').decode(errors='replace').strip()
                with open('/proc/%s/stat' % entry) as handle:
                    state = handle.read().rsplit(')', 1)[1].split()[0]
            except OSError:
                continue
            if name != 'sshd' and state != 'Z':
                found.append((int(entry), name, cmdline))
        return found

    def _our_processes(self):
        """Process IDs that belong to this fleet: inside a host's namespace, or naming our directory."""
        namespaces = set()
        for host in self.hosts:
            if host.process is not None and host.process.poll() is None:
                try:
                    namespaces.add(os.readlink('/proc/%d/ns/mnt' % host.process.pid))
                except OSError:
                    pass
        own = os.readlink('/proc/self/ns/mnt')
        found = []
        for entry in os.listdir('/proc'):
            if not entry.isdigit() or int(entry) == os.getpid():
                continue
            pid = int(entry)
            try:
                namespace = os.readlink('/proc/%d/ns/mnt' % pid)
                with open('/proc/%d/cmdline' % pid, 'rb') as handle:
                    cmdline = handle.read().decode(errors='replace')
            except OSError:
                continue
            if (namespace in namespaces and namespace != own) or self.root in cmdline:
                found.append(pid)
        return found

    def stop(self):
        """Ends every process of the fleet (sshd, its sessions, the SSH control masters) and removes the directory."""
        pids = self._our_processes()
        for host in self.hosts:
            if host.process is not None and host.process.poll() is None:
                try:
                    os.killpg(host.process.pid, signal.SIGTERM)
                except OSError:
                    pass
        for pid in pids:
            try:
                os.kill(pid, signal.SIGTERM)
            except OSError:
                pass
        for host in self.hosts:
            if host.process is not None:
                try:
                    host.process.wait(timeout=10)
                except subprocess.TimeoutExpired:
                    os.killpg(host.process.pid, signal.SIGKILL)
                    host.process.wait()
        shutil.rmtree(self.root, ignore_errors=True)
