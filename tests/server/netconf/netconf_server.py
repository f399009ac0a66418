"""A server under test and clients for it: ncclient's, paramiko's channels, and plain `ssh -s`."""

import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

import paramiko
from ncclient import manager
import ncclient.transport.ssh

ncclient.transport.ssh.TICK = 0.001  # it looks at its queue that often

BASE = 'urn:ietf:params:xml:ns:netconf:base:1.0'
BASE_1_0 = 'urn:ietf:params:netconf:base:1.0'
BASE_1_1 = 'urn:ietf:params:netconf:base:1.1'
DELIMITER = b']]>]]>'
WAIT = 60  # seconds until something that must happen counts as lost


def make_key(path, kind='ed25519', passphrase=''):
    subprocess.run(['ssh-keygen', '-q', '-t', kind, '-N', passphrase, '-C', 'test', '-f', path],
                   check=True)
    return path


def rpc(operation, message_id='1', attributes=''):
    return f'<rpc xmlns="{BASE}" message-id="{message_id}" {attributes}>{operation}</rpc>'.encode()


def config(content):
    return f'<nc:config xmlns:nc="{BASE}">{content}</nc:config>'


def read_modules(*paths):
    """Texts by file name, for a device."""
    modules = {}
    for path in paths:
        with open(path) as file:
            modules[os.path.basename(path)] = file.read()
    return modules


def hello(*versions):
    capabilities = ''.join(f'<capability>{version}</capability>' for version in versions)
    return f'<hello xmlns="{BASE}"><capabilities>{capabilities}</capabilities></hello>'.encode()


def chunked(message):
    return b'\n#%d\n%s\n##\n' % (len(message), message)


def fake(name, text=''):
    """An operation of fake_operations.h."""
    return f'<{name} xmlns="urn:test">{text}</{name}>'


class Folder:
    """A folder with keys: host, client and stranger, and an empty one for agents."""

    def __init__(self):
        self.path = tempfile.mkdtemp(prefix='nct')
        self.host_key = make_key(self / 'host')
        self.client_key = make_key(self / 'client')
        self.stranger_key = make_key(self / 'stranger')
        self.authorized_keys = self / 'authorized_keys'
        shutil.copy(self.client_key + '.pub', self.authorized_keys)
        os.mkdir(self / 'root')

    def __truediv__(self, name):
        return os.path.join(self.path, name)

    def remove(self):
        shutil.rmtree(self.path)

    def arguments(self, modules, **changes):
        """Of the command line; a value of None leaves an option out."""
        options = {'root': self / 'root', 'port': '0', 'address': '127.0.0.1',
                   'hostkey': self.host_key, 'authorized-keys': self.authorized_keys,
                   'yang': modules}
        options.update(changes)
        return [word for name, value in options.items() if value is not None
                for word in ('--' + name, value)]


class Server:
    """The server as a process, once it accepts clients."""

    def __init__(self, program, folder, modules, **options):
        self.folder = folder
        self.errors = open(folder / 'errors', 'w+')
        self.process = subprocess.Popen([program] + folder.arguments(modules, **options),
                                        stdout=subprocess.PIPE, stderr=self.errors, text=True)
        line = self.process.stdout.readline()
        match = re.fullmatch(r'listening on 127\.0\.0\.1:(\d+)\n', line)
        if not match:
            self.process.wait(WAIT)
            raise AssertionError(f'no server: {line!r} {self.log()}')
        self.port = int(match.group(1))

    def log(self):
        with open(self.errors.name) as file:
            return file.read()

    def stop(self, number=signal.SIGTERM):
        """The exit status."""
        self.process.send_signal(number)
        try:
            return self.process.wait(WAIT)
        finally:
            self.process.stdout.close()
            self.errors.close()

    def is_running(self):
        return self.process.poll() is None

    def status(self, field):
        """A number of /proc/PID/status."""
        with open(f'/proc/{self.process.pid}/status') as file:
            return int(re.search(rf'^{field}:\s*(\d+)', file.read(), re.MULTILINE).group(1))

    def descriptors(self):
        return len(os.listdir(f'/proc/{self.process.pid}/fd'))

    # ---- Clients ----

    def connect(self, user='admin', key=None):
        """ncclient's manager."""
        return manager.connect(host='127.0.0.1', port=self.port, username=user,
                               key_filename=key or self.folder.client_key, hostkey_verify=False,
                               look_for_keys=False, allow_agent=False, timeout=WAIT)

    def transport(self, user='admin', key=None, connection=None):
        """An SSH connection that has logged in."""
        transport = paramiko.Transport(connection or
                                       socket.create_connection(('127.0.0.1', self.port)))
        transport.start_client(timeout=WAIT)
        transport.auth_publickey(
            user, paramiko.Ed25519Key.from_private_key_file(key or self.folder.client_key))
        return transport

    def session(self, versions=(BASE_1_1,), transport=None):
        return Session(transport or self.transport(), versions)

    def ssh(self, arguments=('-s', 'admin@127.0.0.1', 'netconf'), key=None, **popen):
        """A process of OpenSSH's client."""
        command = ['ssh', '-p', str(self.port), '-i', key or self.folder.client_key, '-F', 'none',
                   '-o', 'IdentitiesOnly=yes', '-o', 'StrictHostKeyChecking=no', '-o',
                   'UserKnownHostsFile=/dev/null', '-o', 'BatchMode=yes', '-o', 'LogLevel=ERROR']
        return subprocess.Popen(command + list(arguments), stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, **popen)


class Device:
    """A server and applications, in a folder of their own. `modules`: their texts, by file name."""

    def __init__(self, program, modules):
        self.folder = Folder()
        yang = self.folder / 'yang'
        os.mkdir(yang)
        for name, text in modules.items():
            with open(os.path.join(yang, name), 'w') as file:
                file.write(text)
        self.server = Server(program, self.folder, yang)
        self.applications = {}

    def start(self, *command):
        """An application, by the name of its program."""
        self.applications[os.path.basename(command[0])] = subprocess.Popen(
            command, env=dict(os.environ, TMPDIR=self.folder / 'root'), stderr=subprocess.DEVNULL)

    def signal(self, program, number):
        self.applications[os.path.basename(program)].send_signal(number)

    def end(self, program):
        process = self.applications.pop(os.path.basename(program))
        process.send_signal(signal.SIGCONT)
        process.terminate()
        process.wait(WAIT)

    def stop(self):
        """The server's exit status."""
        for program in list(self.applications):
            self.end(program)
        status = self.server.stop()
        self.folder.remove()
        return status


class DeviceCase(unittest.TestCase):
    """One device, of make_device(), for the tests of a class."""

    @classmethod
    def setUpClass(cls):
        cls.device = cls.make_device()
        cls.server = cls.device.server

    @classmethod
    def tearDownClass(cls):
        status = cls.device.stop()
        assert status == 0, status


class Session:
    """A NETCONF session on a channel of paramiko, byte by byte."""

    def __init__(self, transport, versions=(BASE_1_1,)):
        self.transport = transport
        self.channel = transport.open_session(timeout=WAIT)
        self.channel.settimeout(WAIT)
        self.channel.invoke_subsystem('netconf')
        self.received = b''
        self.is_chunked = False
        self.hello = self.receive()
        self.id = int(re.search(b'<session-id>(\\d+)<', self.hello).group(1))
        if versions:
            self.channel.sendall(hello(*versions) + DELIMITER)
            self.is_chunked = BASE_1_1 in versions

    def send(self, message):
        self.channel.sendall(chunked(message) if self.is_chunked else message + DELIMITER)

    def receive(self):
        """The next message; None when the server has closed the channel."""
        while True:
            message = self._take_chunked() if self.is_chunked else self._take_delimited()
            if message is not None:
                return message
            received = self.channel.recv(1 << 16)
            if not received:
                return None
            self.received += received

    def call(self, operation):
        self.send(rpc(operation))
        return self.receive()

    def close(self):
        self.transport.close()

    def _take_delimited(self):
        message, delimiter, rest = self.received.partition(DELIMITER)
        if not delimiter:
            return None
        self.received = rest
        return message

    def _take_chunked(self):
        header = re.match(rb'\n#(\d+)\n', self.received)
        if not header:
            return None
        start, size = header.end(), int(header.group(1))
        if len(self.received) < start + size + 4:
            return None
        assert self.received[start + size:start + size + 4] == b'\n##\n'
        message = self.received[start:start + size]
        self.received = self.received[start + size + 4:]
        return message


def wait_until(condition):
    """True as soon as the condition is, False when it does not become so."""
    end = time.monotonic() + WAIT
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.01)
    return True
