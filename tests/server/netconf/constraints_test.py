"""Constraints of a model hold at each change: constraints_test.py SERVER INTERFACES VLANS YANG...

The VLAN demo is served with a model of its paths that says more than the demo's own.
"""

import sys
import unittest

from ncclient.operations.rpc import RPCError

import device_test
from device_test import VLAN_NS, vlan, vlans
from netconf_server import Device, DeviceCase, config, wait_until

# What is added where: (text of the demo's model, text that follows it).
ADDITIONS = (
    ('key "id";', 'unique "name"; max-elements 4; must "not(name) or name != \'bad\'";'),
    ('container vlans {', 'must "count(vlan[enabled=\'false\']) < 2" {'
                          ' error-app-tag "dark"; error-message "one may be off"; }'),
    ('leaf-list tagged-port {', 'max-elements 2;'),
    ('leaf next-hop {', 'mandatory true; must "../metric > 0";'),
    ('leaf location {', 'when "../contact != \'none\'";'),
)
# By a module of its own: a deviation, and references.
DEVIATIONS = '''module demo-rules {
  yang-version 1.1; namespace "urn:example:demo-rules"; prefix r;
  import demo-vlans { prefix v; }
  deviation /v:routes/v:route/v:metric { deviate add { must ". < 1000"; } }
  deviation /v:system/v:contact {
    deviate replace { type leafref { path "/v:vlans/v:vlan/v:name"; } }
  }
}'''


def route(prefix, content='', operation=None):
    attribute = f' nc:operation="{operation}"' if operation else ''
    return config(f'<routes xmlns="{VLAN_NS}"><route{attribute}><prefix>{prefix}</prefix>{content}'
                  '</route></routes>')


def system(content):
    return config(f'<system xmlns="{VLAN_NS}">{content}</system>')


class ConstraintsTest(DeviceCase):
    @staticmethod
    def make_device():
        text = device_test.demo_modules()['demo-vlans.yang']
        for place, addition in ADDITIONS:
            assert place in text, place
            text = text.replace(place, place + addition, 1)
        device = Device(device_test.PROGRAM,
                        {'demo-vlans.yang': text, 'demo-rules.yang': DEVIATIONS})
        device.start(device_test.VLANS)
        return device

    def setUp(self):
        self.client = self.server.connect()
        self.addCleanup(self.client.close_session)
        self.assertTrue(wait_until(lambda: 'ntp-enabled' in self.running()))
        self.edit(config(f'<system xmlns="{VLAN_NS}"><contact nc:operation="remove"/></system>'
                         f'<routes xmlns="{VLAN_NS}" nc:operation="remove"/>'))
        self.edit(config(f'<vlans xmlns="{VLAN_NS}" nc:operation="remove"/>'))

    def running(self):
        return self.client.get_config('running').data_xml

    def edit(self, content, target='running'):
        self.client.edit_config(target=target, config=content)

    def refused(self, content, tag, app_tag, path):
        before = self.running()
        with self.assertRaises(RPCError) as raised:
            self.edit(content)
        error = raised.exception
        self.assertEqual((error.tag, error.app_tag), (tag, app_tag))
        self.assertTrue((error.path or '').endswith(path), error.path)
        self.assertEqual(self.running(), before)
        return error

    def test_unique(self):
        self.edit(vlans(vlan(1, '<name>a</name>')))
        error = self.refused(vlans(vlan(2, '<name>a</name>')), 'operation-failed',
                             'data-not-unique', "vlan[demo-vl:id='2']")
        self.assertIn("[demo-vl:id='1']/demo-vl:name", error.info)

    def test_must_of_an_entry_and_of_the_list_around(self):
        self.refused(vlans(vlan(1, '<name>bad</name>')), 'operation-failed', 'must-violation',
                     "vlan[demo-vl:id='1']")
        self.edit(vlans(vlan(1, '<name>a</name><enabled>false</enabled>')))
        error = self.refused(vlans(vlan(2, '<name>b</name><enabled>false</enabled>')),
                             'operation-failed', 'dark', 'demo-vl:vlans')
        self.assertEqual(error.message, 'one may be off')

    def test_numbers_of_entries_and_values(self):
        self.edit(vlans(''.join(vlan(n, f'<name>n{n}</name>') for n in range(1, 5))))
        self.refused(vlans(vlan(5, '<name>e</name>')), 'operation-failed', 'too-many-elements',
                     'demo-vl:vlan')
        ports = ''.join(f'<tagged-port>p{n}</tagged-port>' for n in range(3))
        self.refused(vlans(vlan(1, ports)), 'operation-failed', 'too-many-elements', 'tagged-port')

    def test_mandatory_leaf(self):
        self.refused(route('1/8'), 'data-missing', None, 'demo-vl:next-hop')
        self.edit(route('1/8', '<next-hop>x</next-hop>'))
        self.edit(route('1/8', '<metric>7</metric>'))

    def test_must_of_a_leaf_and_of_a_deviation(self):
        self.refused(route('1/8', '<next-hop>x</next-hop><metric>0</metric>'), 'operation-failed',
                     'must-violation', 'demo-vl:next-hop')
        self.refused(route('1/8', '<next-hop>x</next-hop><metric>1000</metric>'),
                     'operation-failed', 'must-violation', 'demo-vl:metric')

    def test_reference(self):
        self.refused(system('<contact>a</contact>'), 'data-missing', 'instance-required',
                     'demo-vl:contact')
        self.edit(vlans(vlan(1, '<name>a</name>')))
        self.edit(system('<contact>a</contact>'))
        self.refused(vlans(vlan(1, operation='delete')), 'data-missing', 'instance-required',
                     'demo-vl:contact')

    def test_when(self):
        self.edit(vlans(vlan(1, '<name>none</name>')))
        self.edit(system('<location>here</location>'))
        self.refused(system('<contact>none</contact><location>there</location>'),
                     'unknown-element', None, 'demo-vl:system')
        self.edit(system('<contact>none</contact>'))
        self.assertNotIn('>here<', self.running())

    def test_candidate_is_checked_when_it_is_committed(self):
        self.edit(vlans(vlan(1, '<name>bad</name>')), 'candidate')
        for operation in (lambda: self.client.validate('candidate'), self.client.commit):
            with self.assertRaises(RPCError) as raised:
                operation()
            self.assertEqual(raised.exception.app_tag, 'must-violation')
        self.client.discard_changes()
        self.assertNotIn('vlan>', self.running())


if __name__ == '__main__':
    device_test.PROGRAM, _, device_test.VLANS = sys.argv[1:4]
    device_test.YANG_FOLDERS = sys.argv[4:]
    unittest.main(argv=sys.argv[:1])
