"""Random edits against a model of RFC 6241's rules: random_edit_test.py SERVER INTERFACES VLANS YANG... [--requests N] [--seed N]

Each request edits VLANs, routes and the system of the demo switch, in running or through the candidate. A
model on plain trees says what has to become of it: an error and no change, or the change. Then running is
read back and compared.
"""

import argparse
import copy
import random
import re
import xml.etree.ElementTree as ElementTree

import device_test
from device_test import BASE, VLAN_NS, Device
from netconf_server import wait_until


class Refused(Exception):
    pass


class List:
    """Entries by key: their leaves with the values that they have when nothing else was given."""

    def __init__(self, container, entry, key, keys, leaves, leaf_list=None):
        self.container, self.entry, self.key, self.keys = container, entry, key, keys
        self.leaves, self.leaf_list = leaves, leaf_list

    def fresh(self):
        entry = {name: default for name, (default, _) in self.leaves.items()}
        if self.leaf_list:
            entry[self.leaf_list] = set()
        return entry


LISTS = (
    List('vlans', 'vlan', 'id', ['10', '20', '30', '40', '4094'],
         {'name': ('', ['', 'a', 'b & c', '<d>']), 'mtu': ('1500', ['68', '1500', '9216']),
          'enabled': ('true', ['true', 'false'])}, 'tagged-port'),
    List('routes', 'route', 'prefix', ['192.0.2.0/24', '10.0.0.0/8', '2001:db8::/32', 'refused'],
         {'next-hop': ('', ['198.51.100.1', 'x']), 'metric': ('1', ['1', '2', '4294967295'])}),
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

def random_entry(schema, chance):
    operation = chance.choice(OPERATIONS)
    content = {'key': chance.choice(schema.keys), 'operation': operation, 'leaves': {}, 'ports': []}
    if operation in ('delete', 'remove'):
        return content
    # The demo cannot take a route's leaves away: there each replacement gives them all.
    whole = operation == 'replace' and schema.leaf_list is None
    for name, (_, values) in schema.leaves.items():
        if whole or chance.random() < 0.5:
            content['leaves'][name] = chance.choice(values)
    if schema.leaf_list:
        for port in chance.sample(PORTS, chance.randrange(3)):
            below = chance.choice(['create', 'delete', 'remove', 'merge', None, None])
            content['ports'].append((port, None if operation in ('create', 'replace') else below))
    return content


def random_edit(chance):
    edit = {'default': chance.choice(['merge', 'none', None, None]), 'system': {}}
    for schema in LISTS:
        keys = {}
        for _ in range(chance.choice([0, 1, 1, 2])):
            entry = random_entry(schema, chance)
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
    return (f'<edit-config xmlns:nc="{BASE}"><target><{target}/></target>{default}'
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


def apply_entry(schema, entries, entry, inherited):
    operation, key = entry['operation'] or inherited, entry['key']
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
        if operation != 'none':
            entries[key][name] = value
    for port, below in entry['ports']:
        apply_port(entries[key][schema.leaf_list], port, below or operation)


def apply(state, edit):
    """What the state becomes; or raises Refused."""
    changed = copy.deepcopy(state)
    for schema in LISTS:
        for entry in edit[schema.container]:
            apply_entry(schema, changed[schema.container], entry, edit['default'] or 'merge')
    changed['system'].update(edit['system'])
    return changed


def is_accepted(state):
    """True if the application takes it."""
    return REFUSED_PREFIX not in state['routes']


# ---- The device ----

def read(session, source='running'):
    answer = session.call(f'<get-config><source><{source}/></source></get-config>')
    state, tag = empty(), lambda name: f'{{{VLAN_NS}}}{name}'
    root = ElementTree.fromstring(answer)
    for schema in LISTS:
        for element in root.iter(tag(schema.entry)):
            entry = {name: element.findtext(tag(name)) for name in schema.leaves}
            if schema.leaf_list:
                entry[schema.leaf_list] = {port.text for port in element.iter(tag(schema.leaf_list))}
            state[schema.container][element.findtext(tag(schema.key))] = entry
    for element in root.iter(tag('system')):
        state['system'] = {name: element.findtext(tag(name)) for name in SYSTEM}
    return state


def error_of(answer):
    tags = re.findall(rb'<error-tag>(.*?)<', answer)
    return tags[0].decode() if tags else None


def check(condition, *what):
    if not condition:
        raise SystemExit('random_edit_test: ' + '\n  '.join(str(part) for part in what))


def run(device, requests, seed):
    chance = random.Random(seed)
    session = device.server.session()
    system = f'<get><filter type="subtree"><system xmlns="{VLAN_NS}"/></filter></get>'
    check(wait_until(lambda: b'<location' in session.call(system)), 'no application')
    clear = ''.join(f'<{schema.container} xmlns="{VLAN_NS}" nc:operation="remove"/>'
                    for schema in LISTS)
    session.call(f'<edit-config xmlns:nc="{BASE}"><target><running/></target><config>{clear}<system '
                 f'xmlns="{VLAN_NS}"><location>here</location></system></config></edit-config>')
    state, refused = empty(), 0
    check(read(session) == state, 'the device is not empty', read(session))
    for number in range(requests):
        edit, target = random_edit(chance), chance.choice(['running', 'candidate'])
        request = edit_xml(edit, target)
        where = f'request {number} of seed {seed}: {request}'

        def ask(operation, error):
            answer = session.call(operation)
            check(error_of(answer) == error, where, f'{operation} expected {error}', answer)

        try:
            wanted, error = apply(state, edit), None
        except Refused as refusal:
            wanted, error = state, str(refusal)
        late = None if is_accepted(wanted) else 'operation-failed'
        if target == 'candidate':
            ask(request, error)
            check(read(session) == state, where, 'running changed before the commit')
            ask('<commit/>', late)
            ask('<discard-changes/>', None)
        else:
            ask(request, error or late)
        refused += bool(error or late)
        state = state if late else wanted
        found = read(session)
        check(found == state, where, f'expected {state}', f'found    {found}')
    session.close()
    print(f'random_edit_test: {requests} edits, {refused} of them refused, no difference (seed {seed})')


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
    device = Device()
    try:
        run(device, arguments.requests, arguments.seed)
    finally:
        status = device.stop()
    check(status == 0, f'the server ended with status {status}')


if __name__ == '__main__':
    main()
