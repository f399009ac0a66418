"""The NETCONF server's transport with real clients: transport_test.py SERVER [TEST...]

SERVER is netconf-fake-server, whose operations are those of fake_operations.h.
"""

import os
import signal
import socket
import subprocess
import sys
import threading
import time
import unittest

import paramiko
from ncclient.operations.rpc import RPCError
from ncclient.transport.errors import AuthenticationError
from ncclient.xml_ import to_ele

from netconf_server import (BASE, BASE_1_0, BASE_1_1, DELIMITER, WAIT, Folder, Server, Session,
                            chunked, fake, hello, make_key, rpc, wait_until)

PROGRAM = ''
YANG = '/tmp'


class ServerTest(unittest.TestCase):
    OPTIONS = {}

    def setUp(self):
        self.folder = Folder()
        self.addCleanup(self.folder.remove)
        self.server = Server(PROGRAM, self.folder, YANG, **self.OPTIONS)
        self.addCleanup(self.stop_server)

    def stop_server(self):
        if self.server.is_running():
            self.assertEqual(self.server.stop(), 0, self.server.log())

    def session(self, **arguments):
        session = self.server.session(**arguments)
        self.addCleanup(session.close)
        return session


class NcclientTest(ServerTest):

    def test_requests_are_answered(self):
        with self.server.connect() as client:
            self.assertIn(BASE_1_1, client.server_capabilities)
            reply = client.dispatch(to_ele(fake('echo', 'a&lt;b')))
            self.assertIn('<text xmlns="urn:test">a&lt;b</text>', reply.xml)

    def test_errors_arrive_with_all_their_parts(self):
        with self.server.connect() as client:
            with self.assertRaises(RPCError) as caught:
                client.dispatch(to_ele(fake('refuse')))
            error = caught.exception
            self.assertEqual((error.type, error.tag, error.severity, error.app_tag),
                             ('application', 'data-missing', 'error', 'instance-required'))
            self.assertEqual(error.path, "/t:top/t:list[t:name='<a>']")
            self.assertEqual(error.message, 'There is no "<a>".')
            self.assertIn('bad-element', error.info)

    def test_close_session_ends_the_session(self):
        client = self.server.connect()
        self.assertTrue(client.close_session().ok)
        self.assertTrue(wait_until(lambda: not client.connected))

    def test_kill_session_ends_the_other_session(self):
        killer, victim = self.server.connect(), self.server.connect()
        self.assertTrue(killer.kill_session(victim.session_id).ok)
        self.assertTrue(wait_until(lambda: not victim.connected))
        with self.assertRaises(RPCError) as caught:
            killer.kill_session(killer.session_id)
        self.assertEqual(caught.exception.tag, 'invalid-value')
        killer.close_session()

    def test_sessions_of_many_clients_run_beside_each_other(self):
        clients = [self.server.connect(user=f'user{i}') for i in range(5)]
        for client in clients:  # whose own hello may still be on its way
            client.dispatch(to_ele(fake('echo')))
        for client in clients:
            reply = client.dispatch(to_ele(fake('sessions'))).xml
            for other in range(5):
                self.assertIn(f' user{other} netconf-ssh 127.0.0.1 ', reply)
        for client in clients:
            client.close_session()

    def test_large_answers_arrive_whole(self):
        with self.server.connect() as client:
            reply = client.dispatch(to_ele(fake('big', 5000000))).xml
            self.assertEqual(reply.count('x' * 5000000), 1)

    def test_other_keys_are_refused(self):
        with self.assertRaises(AuthenticationError):
            self.server.connect(key=self.folder.stranger_key)


class OpenSshTest(ServerTest):

    def test_input_by_hand_is_answered_and_the_status_is_success(self):
        process = self.server.ssh()
        output, errors = process.communicate(
            hello(BASE_1_0) + DELIMITER + b'\n' + rpc(fake('echo', 'hand')) + DELIMITER +
            rpc('<close-session/>') + DELIMITER, WAIT)
        self.assertEqual(process.returncode, 0, errors)
        self.assertEqual(output.count(DELIMITER), 3)
        self.assertIn(b'>hand<', output)

    def test_end_of_input_waits_for_the_answers(self):
        process = self.server.ssh()
        output, _ = process.communicate(
            hello(BASE_1_1) + DELIMITER + chunked(rpc(fake('later', 200))) +
            chunked(rpc(fake('echo', 'last'))), WAIT)
        self.assertIn(b'<ok/>', output)
        self.assertIn(b'>last<', output)

    def test_everything_but_the_subsystem_is_refused(self):
        for arguments in (['admin@127.0.0.1', 'true'], ['-s', 'admin@127.0.0.1', 'sftp'],
                          ['-T', 'admin@127.0.0.1']):
            process = self.server.ssh(arguments)
            output, _ = process.communicate(b'', WAIT)
            self.assertNotEqual(process.returncode, 0, arguments)
            self.assertEqual(output, b'')

    def test_keys_of_every_kind_log_in(self):
        for kind in ('rsa', 'ecdsa', 'ed25519'):
            key = make_key(self.folder / ('own-' + kind), kind)
            with open(key + '.pub') as public, open(self.folder.authorized_keys, 'a') as file:
                file.write(public.read())
            process = self.server.ssh(key=key)
            output, errors = process.communicate(hello(BASE_1_1) + DELIMITER, WAIT)
            self.assertIn(b'<session-id>', output, errors)

    def test_key_that_is_taken_out_of_the_file_is_refused(self):
        with open(self.folder.authorized_keys, 'w') as file:
            file.write('# nobody\n')
        process = self.server.ssh()
        _, errors = process.communicate(b'', WAIT)
        self.assertIn(b'Permission denied (publickey)', errors)


class RsaHostKeyTest(ServerTest):

    def setUp(self):
        super().setUp()
        self.rsa = Folder()
        self.addCleanup(self.rsa.remove)
        os.remove(self.rsa.host_key)
        make_key(self.rsa.host_key, 'rsa')

    def test_rsa_host_key_serves_clients(self):
        server = Server(PROGRAM, self.rsa, YANG)
        with server.connect() as client:
            self.assertIn('data', client.dispatch(to_ele(fake('echo'))).xml)
        self.assertEqual(server.stop(), 0)


class ChannelTest(ServerTest):

    def test_channels_of_one_connection_are_sessions_of_their_own(self):
        transport = self.server.transport()
        self.addCleanup(transport.close)
        one, two = Session(transport), Session(transport)
        self.assertNotEqual(one.id, two.id)
        one.send(rpc(fake('later', 300)))
        self.assertIn(b'>two<', two.call(fake('echo', 'two')))
        self.assertIn(b'<ok/>', one.receive())
        one.call('<close-session/>')
        self.assertIsNone(one.receive())
        self.assertIn(b'>on<', two.call(fake('echo', 'on')))
        three = Session(transport)
        self.assertIn(b'>three<', three.call(fake('echo', 'three')))

    def test_channels_of_one_connection_are_bounded(self):
        transport = self.server.transport()
        self.addCleanup(transport.close)
        channels = [transport.open_session(timeout=WAIT) for _ in range(32)]
        with self.assertRaises(paramiko.ChannelException):
            transport.open_session(timeout=WAIT)
        channels[0].close()
        self.assertTrue(wait_until(lambda: self.opens_channel(transport)))

    @staticmethod
    def opens_channel(transport):
        try:
            transport.open_session(timeout=WAIT)
        except paramiko.ChannelException:
            return False
        return True

    def test_message_may_be_split_anywhere(self):
        session = self.session()
        for byte in chunked(rpc(fake('echo', 'pieces'))):
            session.channel.sendall(bytes([byte]))
        self.assertIn(b'>pieces<', session.receive())

    def test_many_requests_at_once_are_answered_in_their_order(self):
        session = self.session()
        session.channel.sendall(b''.join(chunked(rpc(fake('echo', i), i)) for i in range(500)))
        for i in range(500):
            self.assertIn(b'message-id="%d"' % i, session.receive())

    def test_request_of_the_largest_size_is_answered(self):
        session = self.session()
        session.send(rpc(fake('echo', 'x' * (16 * 1024 * 1024 - len(rpc(fake('echo')))))))
        self.assertIn(b'<data', session.receive())

    def test_input_without_a_pause_behind_an_answer_is_read_to_its_end(self):
        connection = socket.create_connection(('127.0.0.1', self.server.port))
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 4 * 1024 * 1024)
        transport = self.server.transport(connection=connection)
        self.addCleanup(transport.close)
        Session(transport).call(fake('echo', 'x' * 16000000))  # the receiver's buffer grows with it
        # Of several lengths, as it matters where the server stands when the input is over. Each fits
        # the window that a session has behind its first request.
        for size in range(1190000, 1260000, 4096):
            session = Session(transport)
            session.call(fake('echo'))
            self.assertTrue(wait_until(lambda: session.channel.out_window_size > 1250000))
            requests = chunked(rpc(fake('echo', 'first'))) + chunked(rpc(fake('echo', 'x' * size)))
            self.server.process.send_signal(signal.SIGSTOP)
            sender = threading.Thread(target=session.channel.sendall, args=(requests[:-4],))
            sender.start()
            sender.join(1)  # not over if the socket's buffer may not be large enough for all of it
            self.server.process.send_signal(signal.SIGCONT)
            sender.join()
            self.assertIn(b'>first<', session.receive())
            time.sleep(0.05)  # the server has come to the end of what was sent
            session.channel.sendall(requests[-4:])
            self.assertIn(b'<data', session.receive())
            session.channel.close()

    def test_request_that_is_read_with_another_channels_input_is_answered(self):
        transport = self.server.transport()
        self.addCleanup(transport.close)
        one, two = Session(transport), Session(transport)
        two.call(fake('echo', 'x' * 16000000))  # the receiver's buffer grows with it
        message = chunked(rpc(fake('echo', 'x' * 3000000)))
        sent = 0
        # The request lies a little behind what the server takes of all channels at once.
        for size in range(64000, 76000, 400):
            time.sleep(0.01)  # the server has nothing more to do
            self.server.process.send_signal(signal.SIGSTOP)
            two.channel.sendall(message[sent:sent + size])
            sent += size
            one.send(rpc(fake('echo', size)))
            time.sleep(0.05)  # everything has arrived
            self.server.process.send_signal(signal.SIGCONT)
            self.assertIn(b'>%d<' % size, one.receive())
        two.channel.sendall(message[sent:])
        self.assertIn(b'<data', two.receive())

    def test_client_that_goes_away_ends_its_sessions(self):
        watcher, session = self.session(), self.server.session()
        session.send(rpc(fake('never')))
        session.transport.sock.close()
        self.assertTrue(wait_until(
            lambda: b'<session xmlns="urn:test">%d ' % session.id not in
            watcher.call(fake('sessions'))))

    def test_password_and_none_are_no_way_in(self):
        transport = paramiko.Transport(socket.create_connection(('127.0.0.1', self.server.port)))
        self.addCleanup(transport.close)
        transport.start_client(timeout=WAIT)
        with self.assertRaises(paramiko.BadAuthenticationType) as caught:
            transport.auth_none('admin')
        self.assertEqual(caught.exception.allowed_types, ['publickey'])
        with self.assertRaises(paramiko.BadAuthenticationType):
            transport.auth_password('admin', 'admin', fallback=False)


class UserTest(ServerTest):
    OPTIONS = {'user': 'admin'}

    def test_the_one_user_alone_logs_in(self):
        with self.server.connect(user='admin') as client:
            self.assertTrue(client.connected)
        with self.assertRaises(AuthenticationError):
            self.server.connect(user='root')


class HelloTest(ServerTest):

    def test_bad_hellos_end_the_session_without_a_word(self):
        for message in (hello('urn:x'), b'<hello/>', b'nonsense',
                        hello(BASE_1_1).replace(b'</hello>', b'<session-id>1</session-id></hello>')):
            session = self.session(versions=())
            session.channel.sendall(message + DELIMITER)
            self.assertIsNone(session.receive(), message)

    def test_framing_is_the_newest_of_both(self):
        self.assertIn(b'>a<', self.session(versions=(BASE_1_0,)).call(fake('echo', 'a')))
        self.assertIn(b'>b<', self.session(versions=(BASE_1_0, BASE_1_1)).call(fake('echo', 'b')))


class PatienceTest(ServerTest):

    def test_clients_without_a_hello_are_ended_after_thirty_seconds(self):
        begin = time.monotonic()
        silent = socket.create_connection(('127.0.0.1', self.server.port))
        self.addCleanup(silent.close)
        silent.settimeout(WAIT)
        idle = self.server.transport()
        self.addCleanup(idle.close)
        session = self.session(versions=())
        witness = self.session()
        self.assertIsNone(session.receive())
        self.assertGreater(time.monotonic() - begin, 29)
        while silent.recv(4096):
            pass  # the server's name
        self.assertTrue(wait_until(lambda: not idle.is_active()))
        self.assertLess(time.monotonic() - begin, 60)
        self.assertIn(b'>on<', witness.call(fake('echo', 'on')))


class EndTest(ServerTest):

    def test_signals_end_the_server_with_success_whoever_is_connected(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            server = Server(PROGRAM, self.folder, YANG)
            session = server.session()
            session.send(rpc(fake('never')))
            stranger = socket.create_connection(('127.0.0.1', server.port))
            self.assertEqual(server.stop(number), 0)
            self.assertIsNone(session.receive())
            stranger.close()
            session.close()

    def test_idle_sessions_cost_nothing(self):
        sessions = [self.session() for _ in range(20)]
        self.assertIn(b'>x<', sessions[0].call(fake('echo', 'x')))
        before = self.server.status('voluntary_ctxt_switches')
        time.sleep(2)
        self.assertLessEqual(self.server.status('voluntary_ctxt_switches') - before, 2)


class StartTest(unittest.TestCase):

    def setUp(self):
        self.folder = Folder()
        self.addCleanup(self.folder.remove)

    def refuse(self, *named, **options):
        """What cannot start says why in one line and fails."""
        result = subprocess.run([PROGRAM] + self.folder.arguments(YANG, **options),
                                capture_output=True, text=True, timeout=WAIT)
        self.assertGreater(result.returncode, 0)
        self.assertEqual(result.stdout, '')
        line = result.stderr.splitlines()[-1]
        for text in named:
            self.assertIn(text, line)

    def test_missing_and_unknown_options_are_named(self):
        for option in ('root', 'port', 'address', 'hostkey', 'authorized-keys', 'yang'):
            self.refuse('--' + option, **{option: None})
        self.refuse('--nonsense', nonsense='1')

    def test_wrong_values_are_named(self):
        self.refuse('--port', port='65536')
        self.refuse('nowhere', address='nowhere')

    def test_unreadable_keys_are_named(self):
        missing = self.folder / 'missing'
        self.refuse(missing, hostkey=missing)
        self.refuse(missing, **{'authorized-keys': missing})
        self.refuse(self.folder.path, **{'authorized-keys': self.folder.path})
        self.refuse('authorized_keys', hostkey=self.folder.authorized_keys)
        locked = make_key(self.folder / 'locked', 'rsa', 'a passphrase')
        self.refuse(locked, 'passphrase', hostkey=locked)

    def test_port_in_use_is_named(self):
        with socket.create_server(('127.0.0.1', 0)) as taken:
            port = str(taken.getsockname()[1])
            self.refuse('127.0.0.1', port, port=port)

    def test_help_is_no_failure(self):
        result = subprocess.run([PROGRAM, '--help'], capture_output=True, text=True, timeout=WAIT)
        self.assertEqual(result.returncode, 0)
        self.assertIn('--authorized-keys', result.stdout)

    def test_version_is_said(self):
        result = subprocess.run([PROGRAM, '--version'], capture_output=True, text=True, timeout=WAIT)
        self.assertEqual(result.returncode, 0)
        self.assertRegex(result.stdout, r'^ncdm-netconf \d+\.\d+\S*\n$')


if __name__ == '__main__':
    PROGRAM = sys.argv.pop(1)
    unittest.main(warnings='ignore')  # ncclient's own
