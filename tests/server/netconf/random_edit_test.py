"""Random edits against a model of RFC 6241's rules: random_edit_test.py SERVER INTERFACES VLANS YANG... [--requests N] [--seed N]

Each request edits VLANs, routes and the system of the demo switch, in running or in the candidate, with every
default-operation and error-option, or commits or discards the candidate. A model on plain trees says what has to become
of it: its errors, and what running and the candidate are. Then both are read back and compared.
"""

import argparse
import copy
import random
import re
import xml.etree.ElementTree as ElementTree

import device_test
from device_test import VLAN_NS, DemoDevice
from netconf_server import BASE, wait_until


class Refused(Exception):
    """A node that cannot be edited as the request wants."""


class List:
    """Entries by key: their leaves with the values that they have when nothing else was given."""

    def __init__(self, container, entry, key, keys, leaves, leaf_list=None):
        self.container, self.entry, self.key, self.keys = container, entry, key, keys
        self.leaves, self.leaf_list = leaves, leaf_list

    def fresh(self):
        """An entry that was given nothing but its key. None: a text that is absent."""
        entry = {name: default for name, (default, _) in self.leaves.items()}
        if self.leaf_list:
            entry[self.leaf_list] = set()
        return entry


LISTS = (
    List('vlans', 'vlan', 'id', ['10', '20', '30', '40', '4094'],
         {'name': (None, ['', 'a', 'b & c', '<d>']), 'mtu': ('1500', ['68', '1500', '9216']),
          'enabled': ('true', ['true', 'false'])}, 'tagged-port'),
    List('routes', 'route', 'prefix', ['192.0.2.0/24', '10.0.0.0/8', '2001:db8::/32', 'refused'],
         {'next-hop': (None, ['198.51.100.1', 'x']), 'metric': ('1', ['1', '2', '4294967295'])}),
)
SYSTEM = {'contact': ['', 'me'], 'location': ['here', 'there'], 'ntp-enabled': ['true', 'false']}
# The model allows this prefix, and the application refuses it: what was done before is undone.
REFUSED_PREFIX = 'refused'
PORTS = ['e1', 'e2', 'e3']
OPERATIONS = ['merge', 'create', 'replace', 'delete', 'remove', None]


def empty():
    state = {schema.container: {} for schema in LISTS}
    state['system'] = {'contact': '', 'location': 'here', 'ntp-enabled': 'false'}
    return state


# ---- Random edits, as plain values ----

def random_entry(schema, chance, default):
    operation = chance.choice(OPERATIONS)
    content = {'key': chance.choice(schema.keys), 'operation': operation, 'leaves': {}, 'ports': []}
    if operation in ('delete', 'remove'):
        return content
    # The demo cannot take a route's leaves away: there each replacement gives them all.
    whole = (operation or default) == 'replace' and schema.leaf_list is None
    for name, (_, values) in schema.leaves.items():
        if whole or chance.random() < 0.5:
            content['leaves'][name] = chance.choice(values)
    if schema.leaf_list:
        for port in chance.sample(PORTS, chance.randrange(3)):
            below = chance.choice(['create', 'delete', 'remove', 'merge', None, None])
            # What nested operations mean below these the standard does not say.
            below = None if (operation or default) in ('create', 'replace') else below
            content['ports'].append((port, below))
    return content


def random_edit(chance):
    default = chance.choice(['merge', 'none', 'replace', None, None, None])
    edit = {'default': default, 'system': {},
            'on-error': chance.choice(['stop', 'continue', 'continue', 'rollback', None])}
    for schema in LISTS:
        keys = {}
        for _ in range(chance.choice([0, 1, 1, 2])):
            entry = random_entry(schema, chance, default)
            keys[entry['key']] = entry
        edit[schema.container] = list(keys.values())
    if chance.random() < 0.3:
        name = chance.choice(list(SYSTEM))
        edit['system'][name] = chance.choice(SYSTEM[name])
    return edit


# ---- As XML ----

def escaped(text):
    return text.replace('&', '&amp;').replace('<', '&lt;')


def with_operation(name, operation, content):
    attribute = f' nc:operation="{operation}"' if operation else ''
    return f'<{name}{attribute}>{content}</{name}>'


def entry_xml(schema, entry):
    content = f'<{schema.key}>{escaped(entry["key"])}</{schema.key}>'
    content += ''.join(f'<{name}>{escaped(value)}</{name}>'
                       for name, value in entry['leaves'].items())
    content += ''.join(with_operation(schema.leaf_list, operation, port)
                       for port, operation in entry['ports'])
    return with_operation(schema.entry, entry['operation'], content)


def edit_xml(edit, target):
    content = ''
    for schema in LISTS:
        entries = ''.join(entry_xml(schema, entry) for entry in edit[schema.container])
        if entries:
            content += f'<{schema.container} xmlns="{VLAN_NS}">{entries}</{schema.container}>'
    if edit['system']:
        leaves = ''.join(f'<{name} nc:operation="merge">{value}</{name}>'
                         for name, value in edit['system'].items())
        content += f'<system xmlns="{VLAN_NS}">{leaves}</system>'
    default = f'<default-operation>{edit["default"]}</default-operation>' if edit['default'] else ''
    on_error = edit['on-error']
    on_error = f'<error-option>{on_error}-on-error</error-option>' if on_error else ''
    return (f'<edit-config xmlns:nc="{BASE}"><target><{target}/></target>{default}{on_error}'
            f'<config>{content}</config></edit-config>')


# ---- The model ----

def apply_port(ports, port, operation):
    if operation == 'create' and port in ports:
        raise Refused('data-exists')
    if operation == 'delete' and port not in ports:
        raise Refused('data-missing')
    if operation in ('delete', 'remove'):
        ports.discard(port)
    elif operation != 'none':
        ports.add(port)
    elif port not in ports:
        raise Refused('data-missing')


class Edit:
    """Applies one edit to a state; what is refused is in `errors`."""

    def __init__(self, edit):
        self.edit, self.errors = edit, []
        self.inherited = edit['default'] or 'merge'

    def attempt(self, apply, *arguments):
        try:
            apply(*arguments)
        except Refused as refusal:
            self.errors.append(str(refusal))

    @staticmethod
    def leaf(leaves, name, operation, value):
        if operation != 'none':
            leaves[name] = value
        elif leaves[name] is None:
            raise Refused('data-missing')

    def entry(self, schema, entries, entry):
        operation, key = entry['operation'] or self.inherited, entry['key']
        if operation in ('create', 'delete'):
            if (key in entries) == (operation == 'create'):
                raise Refused('data-exists' if operation == 'create' else 'data-missing')
        if operation in ('delete', 'remove'):
            entries.pop(key, None)
            return
        if operation == 'none' and key not in entries:
            raise Refused('data-missing')
        if operation == 'replace' or key not in entries:
            entries[key] = schema.fresh()
        for name, value in entry['leaves'].items():
            self.attempt(self.leaf, entries[key], name, operation, value)
        for port, below in entry['ports']:
            self.attempt(apply_port, entries[key][schema.leaf_list], port, below or operation)

    def run(self, state):
        changed = copy.deepcopy(state)
        for schema in LISTS:
            entries = changed[schema.container]
            if self.inherited == 'replace':
                named = [entry['key'] for entry in self.edit[schema.container]]
                for key in [key for key in entries if key not in named]:
                    del entries[key]
            for entry in self.edit[schema.container]:
                self.attempt(self.entry, schema, entries, entry)
        if self.inherited == 'replace':
            changed['system'] = {'contact': None, 'location': None, 'ntp-enabled': 'false'}
        changed['system'].update(self.edit['system'])
        return changed


def apply(state, edit):
    """What the state becomes, and the tags of the errors."""
    run = Edit(edit)
    changed = run.run(state)
    if run.errors and edit['on-error'] != 'continue':
        return state, run.errors[:1]
    return changed, run.errors


def served(state):
    """As the application shows it: an absent text is an empty one."""
    shown = copy.deepcopy(state)
    for entry in [shown['system'], *shown['vlans'].values(), *shown['routes'].values()]:
        for name, value in entry.items():
            entry[name] = '' if value is None else value
    return shown


def is_accepted(state, wanted):
    """True if the application takes the change."""
    new = wanted['routes']
    return REFUSED_PREFIX not in new and not any(
        new[prefix]['next-hop'] is None and entry['next-hop']
        for prefix, entry in state['routes'].items() if prefix in new)


# ---- The device ----

def read(session, source='running'):
    answer = session.call(f'<get-config><source><{source}/></source></get-config>')
    state, tag = empty(), lambda name: f'{{{VLAN_NS}}}{name}'
    root = ElementTree.fromstring(answer)
    for schema in LISTS:
        for element in root.iter(tag(schema.entry)):
            entry = {name: element.findtext(tag(name)) or '' for name in schema.leaves}
            if schema.leaf_list:
                entry[schema.leaf_list] = {port.text for port in element.iter(tag(schema.leaf_list))}
            state[schema.container][element.findtext(tag(schema.key))] = entry
    for element in root.iter(tag('system')):
        state['system'] = {name: element.findtext(tag(name)) or '' for name in SYSTEM}
    return state


def errors_of(answer):
    return [tag.decode() for tag in re.findall(rb'<error-tag>(.*?)<', answer)]


def check(condition, *what):
    if not condition:
        raise SystemExit('random_edit_test: ' + '\n  '.join(str(part) for part in what))


class Run:
    """Requests to a device, each beside the model."""

    def __init__(self, device, seed):
        self.chance, self.seed = random.Random(seed), seed
        self.session = device.server.session()
        self.state, self.candidate = empty(), None
        self.number = self.refused = 0
        system = f'<get><filter type="subtree"><system xmlns="{VLAN_NS}"/></filter></get>'
        check(wait_until(lambda: b'<location' in self.session.call(system)), 'no application')
        clear = ''.join(f'<{schema.container} xmlns="{VLAN_NS}" nc:operation="remove"/>'
                        for schema in LISTS)
        self.session.call(f'<edit-config xmlns:nc="{BASE}"><target><running/></target><config>{clear}'
                          f'<system xmlns="{VLAN_NS}"><location>here</location></system></config>'
                          '</edit-config>')
        check(read(self.session) == self.state, 'the device is not empty', read(self.session))

    def ask(self, operation, errors):
        where = f'request {self.number} of seed {self.seed}: {operation}'
        answer = self.session.call(operation)
        check(errors_of(answer) == errors, where, f'expected {errors}', answer)
        self.refused += bool(errors)
        for source, state in (('running', self.state), ('candidate', self.candidate)):
            expected = served(state or self.state)
            found = read(self.session, source)
            check(found == expected, where, source, f'expected {expected}', f'found    {found}')

    def edit_running(self):
        edit = random_edit(self.chance)
        wanted, errors = apply(self.state, edit)
        if not is_accepted(self.state, wanted):
            errors = errors + ['operation-failed']
            if edit['on-error'] == 'continue':
                del wanted['routes'][REFUSED_PREFIX]
            else:
                wanted = self.state
        self.state = served(wanted)
        self.ask(edit_xml(edit, 'running'), errors)

    def edit_candidate(self):
        edit = random_edit(self.chance)
        wanted, errors = apply(self.candidate or self.state, edit)
        if not errors or edit['on-error'] == 'continue':
            self.candidate = wanted
        self.ask(edit_xml(edit, 'candidate'), errors)

    def commit(self):
        wanted, errors = self.candidate or self.state, []
        if is_accepted(self.state, wanted):
            self.state, self.candidate = served(wanted), None
        else:
            errors = ['operation-failed']
        self.ask('<commit/>', errors)

    def discard(self):
        self.candidate = None
        self.ask('<discard-changes/>', [])

    def step(self):
        steps = [self.edit_running] * 4 + [self.edit_candidate] * 4 + [self.commit] * 2 + [self.discard]
        self.number += 1
        self.chance.choice(steps)()


def run(device, requests, seed):
    requests_run = Run(device, seed)
    for _ in range(requests):
        requests_run.step()
    requests_run.session.close()
    print(f'random_edit_test: {requests} requests, {requests_run.refused} of them refused, no difference '
          f'(seed {seed})')


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('server')
    parser.add_argument('interfaces')
    parser.add_argument('vlans')
    parser.add_argument('yang', nargs='+')
    parser.add_argument('--requests', type=int, default=1000)
    parser.add_argument('--seed', type=int, default=1)
    arguments = parser.parse_args()
    device_test.PROGRAM, device_test.INTERFACES = arguments.server, arguments.interfaces
    device_test.VLANS, device_test.YANG_FOLDERS = arguments.vlans, arguments.yang
    device = DemoDevice()
    try:
        run(device, arguments.requests, arguments.seed)
    finally:
        status = device.stop()
    check(status == 0, f'the server ended with status {status}')


if __name__ == '__main__':
    main()
