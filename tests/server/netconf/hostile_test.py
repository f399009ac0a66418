"""The NETCONF server's transport and clients that mean no good: hostile_test.py SERVER [TEST...]

Meanwhile another session asks for an echo again and again; how long it waits at most is printed, and
the memory that the server has taken since it started is bounded.
"""

import socket
import struct
import sys
import threading
import time
import unittest

import paramiko

from netconf_server import (BASE_1_1, DELIMITER, Folder, Server, chunked, fake, hello, rpc,
                            wait_until)

PROGRAM = ''
MIB = 1024 * 1024
MAX_MEMORY = 256  # MiB more than at the start
MAX_MESSAGE = 16 * MIB


class Witness:
    """A session that asks all the time, and how long it has waited at most."""

    def __init__(self, server):
        self.session = server.session()
        self.longest = 0.0
        self.count = 0
        self.stopped = threading.Event()
        self.thread = threading.Thread(target=self.run)
        self.thread.start()

    def run(self):
        while not self.stopped.is_set():
            begin = time.monotonic()
            assert b'>here<' in self.session.call(fake('echo', 'here'))
            self.longest = max(self.longest, time.monotonic() - begin)
            self.count += 1
            time.sleep(0.005)

    def stop(self):
        self.stopped.set()
        self.thread.join()
        self.session.close()


class HostileTest(unittest.TestCase):

    def setUp(self):
        self.folder = Folder()
        self.addCleanup(self.folder.remove)
        self.server = Server(PROGRAM, self.folder, '/tmp')
        self.addCleanup(self.server.stop)
        self.memory = self.server.status('VmRSS')
        self.witness = Witness(self.server)
        self.addCleanup(self.check)

    def check(self):
        """Everybody else was served all the time."""
        before = self.witness.count
        alive = wait_until(lambda: self.witness.count > before)
        self.witness.stop()
        self.assertTrue(alive and self.server.is_running())
        memory = (self.server.status('VmHWM') - self.memory) / 1024
        print(f'{self.id().split(".")[-1]}: {self.witness.count} others, the longest '
              f'{1000 * self.witness.longest:.0f} ms; {memory:.0f} MiB')
        if 'asan' not in PROGRAM:
            self.assertLess(memory, MAX_MEMORY)

    def session(self, **arguments):
        session = self.server.session(**arguments)
        self.addCleanup(session.close)
        return session

    def test_malformed_chunks_end_the_session_alone(self):
        for stream in (b'\n#0\n', b'\n#\n', b'\n#-1\n', b'\n#01\nx', b'\n#4294967296\n', b'\n##\n',
                       b'\n#abc\nx\n##\n', b'x', b'\n#1\nab', b'\n#99999999999\n',
                       b'<rpc/>]]>]]>', b'\0' * 20, b'\n#3\n<a>\n#', DELIMITER):
            session = self.session()
            session.channel.sendall(stream)
            if stream.endswith(b'#'):
                session.channel.sendall(b'x')
            self.assertIsNone(session.receive(), stream)

    def test_endless_messages_end_at_their_bound(self):
        for versions in ((BASE_1_1,), ('urn:ietf:params:netconf:base:1.0',), ()):
            session = self.session(versions=versions)
            piece = b'\n#1048576\n' + b'x' * MIB if session.is_chunked else b'x' * MIB
            with self.assertRaises((OSError, EOFError)):
                for _ in range(64):
                    session.channel.sendall(piece)

    def test_half_messages_of_many_sessions_are_bounded_together(self):
        sessions = [self.session() for _ in range(12)]
        half = b'\n#%d\n' % MAX_MESSAGE + b'x' * (MAX_MESSAGE - 1)
        for session in sessions:
            try:
                session.channel.sendall(half)
            except OSError:
                pass  # this one was one too many
        self.assertTrue(any(session.channel.closed for session in sessions))

    def test_connections_that_say_nothing_give_way(self):
        silent = [socket.create_connection(('127.0.0.1', self.server.port)) for _ in range(1000)]
        self.assertTrue(wait_until(lambda: self.server.descriptors() < 128 + 20))
        self.assertIn(b'>x<', self.session().call(fake('echo', 'x')))
        for connection in silent:
            connection.close()
        self.assertTrue(wait_until(lambda: self.server.descriptors() < 20))

    def test_half_a_login_holds_up_nobody(self):
        connections = []
        for text in (b'', b'SSH-', b'SSH-2.0-x\r\n', b'SSH-2.0-x\r\n\0\0\0', b'GET / HTTP/1.0\r\n\r\n',
                     b'x' * 5000, b'SSH-2.0-x\r\n' + b'\xff' * 5000):
            connection = socket.create_connection(('127.0.0.1', self.server.port))
            connection.sendall(text)
            connections.append(connection)
        self.assertIn(b'>x<', self.session().call(fake('echo', 'x')))
        for connection in connections:
            connection.close()

    def test_wrong_keys_and_users_are_refused_each_time(self):
        key = paramiko.Ed25519Key.from_private_key_file(self.folder.stranger_key)
        for user in ['admin'] * 10 + ['', 'x' * 10000, '<a>', 'a\nb', '\u00e4']:
            transport = paramiko.Transport(
                socket.create_connection(('127.0.0.1', self.server.port)))
            transport.start_client(timeout=60)
            with self.assertRaises(paramiko.SSHException):
                transport.auth_publickey(user, key)
            transport.close()

    def test_session_that_never_reads_costs_one_answer(self):
        session = self.session()
        request = chunked(rpc(fake('big', 2 * MIB)))
        session.channel.settimeout(2)
        with self.assertRaises(TimeoutError):  # nothing is taken from it any more
            session.channel.sendall(request * 100000)

    def test_client_that_asks_and_never_reads_is_read_no_more(self):
        connection = socket.socket()
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        connection.connect(('127.0.0.1', self.server.port))
        transport = self.server.transport(connection=connection)
        ended = threading.Event()
        transport.packetizer.read_message = ended.wait  # nothing is read from here on
        question = paramiko.Message()
        question.add_byte(bytes([80]))  # a global request that wants an answer
        question.add_string('keepalive@openssh.com')
        question.add_boolean(True)
        sent = [0]

        def flood():
            try:
                while not ended.is_set():
                    transport._send_message(question)
                    sent[0] += 1
            except (OSError, EOFError):
                pass

        def has_stalled():
            before = sent[0]
            time.sleep(4)
            return sent[0] == before

        thread = threading.Thread(target=flood)
        thread.start()
        # What both ends' sockets hold is some 100,000 of these; there is no end without a bound.
        wait_until(lambda: sent[0] > 400000 or has_stalled())
        ended.set()
        connection.close()
        thread.join()
        self.assertLess(sent[0], 400000)

    def test_clients_that_go_in_the_middle_of_an_answer_leave_nothing(self):
        descriptors = self.server.descriptors()
        for i in range(60):
            session = self.server.session()
            session.send(rpc(fake('big', 4 * MIB)))
            session.channel.recv(1 + 1000 * i)
            if i % 2:  # with a reset
                session.transport.sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER,
                                                  struct.pack('ii', 1, 0))
            session.transport.sock.close()
            session.close()
        self.assertTrue(wait_until(lambda: self.server.descriptors() <= descriptors))

    def test_client_that_ignores_its_window_is_ended(self):
        session = self.session()
        session.send(rpc(fake('never')))
        time.sleep(0.2)
        session.channel.out_window_size = 1 << 31
        with self.assertRaises((OSError, EOFError)):
            for _ in range(64):
                session.channel.sendall(b'x' * MIB)

    def test_largest_messages_delay_others_by_their_parsing_alone(self):
        session = self.session()
        body = f'<a>{"d" * 27}</a>' * (MAX_MESSAGE // 34 - 20)  # nearly a million nodes
        for _ in range(3):
            session.send(rpc(fake('other', body)))
            self.assertIn(b'<data', session.receive())

    def test_entities_and_depth_are_refused(self):
        session = self.session()
        entities = ''.join(f'<!ENTITY e{i} "{"&e%d;" % (i - 1) * 10}">' for i in range(1, 12))
        session.send(f'<!DOCTYPE a [<!ENTITY e0 "x">{entities}]><a>&e11;</a>'.encode())
        self.assertIn(b'malformed-message', session.receive())
        session.send(rpc('<a>' * 1000000 + '</a>' * 1000000))
        self.assertIn(b'malformed-message', session.receive())
        self.assertIn(b'>x<', session.call(fake('echo', 'x')))


if __name__ == '__main__':
    PROGRAM = sys.argv.pop(1)
    unittest.main(warnings='ignore')
