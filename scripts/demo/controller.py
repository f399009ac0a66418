#!/usr/bin/env python3
"""A controller at work: it configures the demo's switch over NETCONF, with ncclient.

controller.py --port PORT --key FILE [--host HOST] [--user NAME]
"""

import argparse
import sys
import time
import warnings
import xml.etree.ElementTree as ElementTree

with warnings.catch_warnings():
    warnings.simplefilter('ignore')
    from ncclient import manager
    from ncclient.operations import RPCError

INTERFACES = '{urn:example:demo-interfaces}'
VLANS = '{urn:example:demo-vlans}'
BASE = 'urn:ietf:params:xml:ns:netconf:base:1.0'


def config(content):
    return f'<config xmlns="{BASE}">{content}</config>'


def vlan(number, **leaves):
    content = ''.join(f'<{name}>{value}</{name}>' for name, value in leaves.items())
    return config(f'<vlans xmlns="urn:example:demo-vlans"><vlan><id>{number}</id>{content}</vlan>'
                  '</vlans>')


ROUTE = config('<routes xmlns="urn:example:demo-vlans"><route xmlns:nc="' + BASE + '" '
               'nc:operation="create"><prefix>203.0.113.0/24</prefix>'
               '<next-hop>198.51.100.7</next-hop></route></routes>')
LOCATION = config('<system xmlns="urn:example:demo-vlans"><location>rack 9</location></system>')


def text(element, name):
    found = element.find(name)
    return '-' if found is None else found.text or '""'


def show_interfaces(client):
    reply = client.get(('subtree', '<interfaces xmlns="urn:example:demo-interfaces"/>'))
    for entry in ElementTree.fromstring(reply.data_xml).iter(INTERFACES + 'interface'):
        print('  interface', *(text(entry, INTERFACES + name)
                               for name in ('name', 'oper-status', 'mtu')))


def show_configuration(client):
    data = ElementTree.fromstring(client.get_config('running').data_xml)
    for entry in data.iter(VLANS + 'vlan'):
        print('  vlan', *(text(entry, VLANS + name) for name in ('id', 'name', 'mtu')))
    for entry in data.iter(VLANS + 'route'):
        print('  route', text(entry, VLANS + 'prefix'), 'to', text(entry, VLANS + 'next-hop'))
    print('  location', text(data, f'.//{VLANS}location'))


def show_error(error):
    print(f'  refused: {error.type} {error.tag}: {error.message}')
    if error.path:
        print(f'  at {error.path.strip()}')


def create_vlan_and_route(client):
    with client.locked('candidate'):
        client.edit_config(vlan(30, name='cameras', mtu='1400'), target='candidate')
        client.edit_config(ROUTE, target='candidate')
        client.commit()


def be_refused(client):
    """True if the server says what is wrong, as it should."""
    try:
        client.edit_config(vlan(30, mtu='20'), target='candidate')
        client.commit()
    except RPCError as error:
        show_error(error)
        client.discard_changes()
        return True
    return False


def try_for_a_while(client):
    """A commit that nobody confirms: running is what it was before."""
    client.edit_config(LOCATION, target='candidate')
    client.commit(confirmed=True, timeout='600')
    show_configuration(client)
    client.cancel_commit()


def connect(arguments):
    return manager.connect(host=arguments.host, port=arguments.port, username=arguments.user,
                           key_filename=arguments.key, hostkey_verify=False, look_for_keys=False,
                           allow_agent=False)


def wait_for_applications(client):
    """They try to reach their server once a second; what one serves is away until it has."""
    tops = ('<system xmlns="urn:example:demo-vlans"/>',
            '<interfaces xmlns="urn:example:demo-interfaces"/>')
    for _ in range(100):
        if all(len(client.get(('subtree', top)).data_ele) for top in tops):
            return
        time.sleep(0.1)
    sys.exit('the applications have not connected')


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('--host', default='127.0.0.1')
    parser.add_argument('--port', type=int, required=True)
    parser.add_argument('--key', required=True)
    parser.add_argument('--user', default='admin')
    arguments = parser.parse_args()
    warnings.simplefilter('ignore')  # of ncclient's own code
    with connect(arguments) as client:
        wait_for_applications(client)
        print('What the device has, read by <get>:')
        show_interfaces(client)
        print('A VLAN and a route, created in the candidate and committed:')
        create_vlan_and_route(client)
        show_configuration(client)
        print('An MTU that is too small:')
        if not be_refused(client):
            sys.exit('it was not refused')
        print('Another location, by a commit that has to be confirmed:')
        try_for_a_while(client)
        print('and what is left of it when the commit is cancelled:')
        show_configuration(client)


if __name__ == '__main__':
    main()
