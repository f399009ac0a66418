#!/usr/bin/env python3
"""What a request costs over NETCONF, beside the same request of the console.

bench/netconf.py [--build DIR] [--entries N,N...] [--rounds N] [--turns N] [--cpu N] [--json FILE]

The VLAN demo serves N routes (of three leaves) to ncdm-netconf and to ncdm-console in turns. The NETCONF client is
OpenSSH's, so that SSH and XML are in what is measured and no client's own waiting is. Each figure is the
median of its rounds in milliseconds, in the turn where it was smallest: what else the machine does only adds. The
ratio is what a goal is about, because both ran on the same machine within the same minute. With --cpu everything runs on that processor: a short request of the console takes
anything from 20 to 90 us with where the system lets its processes wake, and on one processor it is work alone.
"""

import argparse
import json
import os
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

BASE = 'urn:ietf:params:xml:ns:netconf:base:1.0'
VLANS = 'urn:example:demo-vlans'
HELLO = (f'<hello xmlns="{BASE}"><capabilities><capability>urn:ietf:params:netconf:base:1.1'
         '</capability></capabilities></hello>]]>]]>')


def prefix(number):
    return f'10.{number >> 16}.{number >> 8 & 255}.{number & 255}/32'


def routes(numbers, content='<next-hop>192.0.2.1</next-hop><metric>7</metric>'):
    entries = ''.join(f'<route><prefix>{prefix(i)}</prefix>{content}</route>' for i in numbers)
    return f'<routes xmlns="{VLANS}">{entries}</routes>'


def edit(config):
    return f'<edit-config><target><running/></target><config>{config}</config></edit-config>'


def get(subtree):
    return (f'<get-config><source><running/></source><filter type="subtree">{subtree}</filter>'
            '</get-config>')


class Pipes:
    """A process that is asked through its standard input."""

    def __init__(self, command):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.rest = b''

    def write(self, text):
        self.process.stdin.write(text.encode())
        self.process.stdin.flush()

    def read_until(self, is_complete):
        pieces, tail = [self.rest], self.rest
        while not is_complete(tail):
            piece = os.read(self.process.stdout.fileno(), 1 << 20)
            if not piece:
                sys.exit('netconf: the other end has closed: ' + b''.join(pieces)[-500:].decode())
            pieces.append(piece)
            tail = tail[-100:] + piece
        self.rest = b''
        return b''.join(pieces)

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()


class Netconf(Pipes):
    def __init__(self, work, port):
        super().__init__(['ssh', '-p', port, '-i', work + '/client', '-F', 'none', '-o',
                          'IdentitiesOnly=yes', '-o', 'StrictHostKeyChecking=no', '-o',
                          'UserKnownHostsFile=/dev/null', '-o', 'LogLevel=ERROR', '-s',
                          'bench@127.0.0.1', 'netconf'])
        self.write(HELLO)
        self.read_until(lambda text: text.endswith(b']]>]]>'))

    def ask(self, operation):
        message = f'<rpc xmlns="{BASE}" message-id="1">{operation}</rpc>'
        self.write(f'\n#{len(message)}\n{message}\n##\n')
        answer = self.read_until(lambda text: text.endswith(b'\n##\n'))
        if b'<rpc-error>' in answer:
            sys.exit('netconf: refused: ' + answer.decode())
        return answer


class Console(Pipes):
    """Each command is followed by one whose answer is known, so that its end is seen."""
    END = b'no-such-command'

    def __init__(self, build, root):
        super().__init__([build + '/bin/ncdm-console', '--root', root])
        self.ask('wait vlans-demo 30', 1)
        self.ask('use vlans-demo', 1)

    def ask(self, command, lines):
        self.write(command + '\n')
        left = [lines]

        def is_complete(text):
            # What is kept of the last piece was counted with it.
            left[0] -= text.count(b'\n') - is_complete.counted
            is_complete.counted = text[-100:].count(b'\n')
            return left[0] <= 0

        is_complete.counted = 0
        return self.read_until(is_complete)


class Work:
    """Keys, modules and the running processes, in a folder of their own."""

    def __init__(self, build):
        self.build = build
        self.path = tempfile.mkdtemp(prefix='ncb')
        for key in ('host', 'client'):
            subprocess.run(['ssh-keygen', '-q', '-t', 'ed25519', '-N', '', '-f',
                            f'{self.path}/{key}'], check=True)
        os.mkdir(self.path + '/yang')
        shutil.copy('examples/vlans/demo-vlans.yang', self.path + '/yang')
        self.root = self.path + '/root'
        os.mkdir(self.root)
        self.processes = [subprocess.Popen([build + '/bin/vlans-demo'], stderr=subprocess.DEVNULL,
                                           env=dict(os.environ, TMPDIR=self.root))]

    def start_server(self):
        server = subprocess.Popen(
            [self.build + '/bin/ncdm-netconf', '--root', self.root, '--port', '0', '--address',
             '127.0.0.1', '--hostkey', self.path + '/host', '--authorized-keys',
             self.path + '/client.pub', '--yang', self.path + '/yang'],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.processes.append(server)
        return server.stdout.readline().split(':')[1].strip()

    def end_last(self):
        process = self.processes.pop()
        process.send_signal(signal.SIGTERM)
        process.wait()
        if process.stdout:
            process.stdout.close()

    def stop(self):
        while self.processes:
            self.end_last()
        shutil.rmtree(self.path)


def milliseconds(call, rounds):
    def once():
        begin = time.perf_counter()
        call()
        return 1000 * (time.perf_counter() - begin)
    return statistics.median(once() for _ in range(rounds))


class Rounds:
    """Values that differ from one edit to the next, so that each one changes something."""

    def __init__(self):
        self.number = 10

    def next(self):
        self.number += 1
        return self.number


def settle(entries):
    """The application announces its entries some 600 at a time, once a second."""
    time.sleep(2 + entries / 500)


def wait_for_application(client):
    for _ in range(300):  # it tries once a second
        if b'<location' in client.ask(get(f'<system xmlns="{VLANS}"/>')):
            return
        time.sleep(0.1)
    sys.exit('netconf: the application has not connected')


def create_all(client, entries):
    figure = milliseconds(lambda: client.ask(edit(routes(range(entries)))), 1)
    settle(entries)
    return {'create all in one edit': figure}


def measure_netconf(client, entries, rounds, values):
    middle = entries // 2
    return {
        'one plain leaf': milliseconds(
            lambda: client.ask(get(f'<system xmlns="{VLANS}"><location/></system>')), rounds * 5),
        'one leaf of one entry by key': milliseconds(
            lambda: client.ask(get(routes([middle], '<metric/>'))), rounds),
        'all entries': milliseconds(
            lambda: client.ask(get(f'<routes xmlns="{VLANS}"/>')), max(3, rounds // 10)),
        'edit one leaf of one entry': milliseconds(
            lambda: client.ask(edit(routes([middle], f'<metric>{values.next()}</metric>'))),
            rounds),
    }


def measure_console(console, entries, rounds, values):
    middle = f'routes.route[prefix={prefix(entries // 2)}]'
    ask = console.ask
    return {
        'one plain leaf': milliseconds(lambda: ask('get system.location', 1), rounds * 5),
        'one leaf of one entry by key': milliseconds(lambda: ask(f'get {middle}.metric', 1), rounds),
        'all entries': milliseconds(lambda: ask('get routes', 3 * entries), max(3, rounds // 10)),
        'edit one leaf of one entry': milliseconds(
            lambda: ask(f'set {middle}.metric {values.next()}', 1), rounds),
    }


def smaller(figures, others):
    return {name: min(figures.get(name, cost), cost) for name, cost in others.items()}


def run(build, entries, rounds, turns):
    work, values = Work(build), Rounds()
    netconf, console, created = {}, {}, {}
    try:
        for turn in range(turns):
            client = Netconf(work.path, work.start_server())
            wait_for_application(client)
            if turn == 0:
                created = create_all(client, entries)
            settle(0)
            netconf = smaller(netconf, measure_netconf(client, entries, rounds, values))
            client.close()
            work.end_last()
            session = Console(build, work.root)
            settle(0)
            console = smaller(console, measure_console(session, entries, rounds, values))
            session.close()
    finally:
        work.stop()
    return [{'entries': entries, 'request': name, 'netconf_ms': cost, 'console_ms': console.get(name)}
            for name, cost in (created | netconf).items()]


def show(figures):
    print(f'{"entries":>8}  {"request":30} {"netconf":>9} {"console":>9}  ratio')
    for row in figures:
        console = row['console_ms']
        beside = f'{console:9.3f}  {row["netconf_ms"] / console:5.2f}' if console else '        -'
        print(f'{row["entries"]:8}  {row["request"]:30} {row["netconf_ms"]:9.3f} {beside}')


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--build', default='build')
    parser.add_argument('--entries', default='100,1000,10000')
    parser.add_argument('--rounds', type=int, default=100)
    parser.add_argument('--turns', type=int, default=3)
    parser.add_argument('--cpu', type=int)
    parser.add_argument('--json')
    arguments = parser.parse_args()
    os.chdir(os.path.join(os.path.dirname(os.path.abspath(__file__)), '..'))
    if arguments.cpu is not None:
        os.sched_setaffinity(0, {arguments.cpu})
    figures = []
    for entries in arguments.entries.split(','):
        figures += run(arguments.build, int(entries), arguments.rounds, arguments.turns)
    show(figures)
    if arguments.json:
        with open(arguments.json, 'w') as file:
            json.dump(figures, file, indent=1)


if __name__ == '__main__':
    main()
