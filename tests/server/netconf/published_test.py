"""ietf-interfaces, ietf-ip and ietf-system, by ncclient: published_test.py SERVER INTERFACES SYSTEM MODULES

INTERFACES and SYSTEM are what ncdm-yang writes from the modules of the folder MODULES.
"""

import os
import sys
import unittest

from ncclient.operations.rpc import RPCError

from netconf_server import Device, DeviceCase, config, read_modules, wait_until

PROGRAM = INTERFACES = SYSTEM = MODULES = ''

# With what they import.
NAMES = ('ietf-interfaces@2014-05-08', 'ietf-ip@2014-06-16', 'ietf-system@2014-08-06',
         'iana-if-type@2014-05-08', 'iana-crypt-hash@2014-08-06', 'ietf-inet-types@2013-07-15',
         'ietf-yang-types@2013-07-15', 'ietf-netconf-acm@2018-02-14')

IF = 'urn:ietf:params:xml:ns:yang:ietf-interfaces'
IP = 'urn:ietf:params:xml:ns:yang:ietf-ip'
SYS = 'urn:ietf:params:xml:ns:yang:ietf-system'
TYPE = 'urn:ietf:params:xml:ns:yang:iana-if-type'
NS = {'if': IF, 'ip': IP, 'sys': SYS}

V4 = (f'<ipv4 xmlns="{IP}"><mtu>1400</mtu><address><ip>192.0.2.1</ip>'
      '<prefix-length>24</prefix-length></address></ipv4>')
V6 = (f'<ipv6 xmlns="{IP}"><address><ip>2001:db8::1</ip><prefix-length>64</prefix-length></address>'
      '<dup-addr-detect-transmits>2</dup-addr-detect-transmits></ipv6>')


def interface(name, content='', operation=None):
    attribute = f' nc:operation="{operation}"' if operation else ''
    return config(f'<interfaces xmlns="{IF}" xmlns:ianaift="{TYPE}"><interface{attribute}>'
                  f'<name>{name}</name>{content}</interface></interfaces>')


def ethernet(name, content=''):
    return interface(name, '<type>ianaift:ethernetCsmacd</type>' + content)


def system(content):
    return config(f'<system xmlns="{SYS}">{content}</system>')


class PublishedTest(DeviceCase):
    @staticmethod
    def make_device():
        device = Device(PROGRAM, read_modules(*(os.path.join(MODULES, name + '.yang')
                                                for name in NAMES)))
        device.start(INTERFACES)
        device.start(SYSTEM)
        return device

    def setUp(self):
        self.client = self.server.connect()
        self.addCleanup(self.client.close_session)
        self.assertTrue(wait_until(self.has_agents))
        self.edit(config(f'<interfaces xmlns="{IF}" nc:operation="remove"/>'
                         f'<system xmlns="{SYS}" nc:operation="remove"/>'))

    def has_agents(self):
        try:
            self.edit(interface('probe', '', 'remove'))
            self.edit(system('<contact nc:operation="remove"/>'))
        except RPCError:
            return False
        return True

    def edit(self, content, target='running'):
        self.client.edit_config(content, target=target)

    def find(self, path, source='running', subtree=None):
        filter_ = subtree and ('subtree', subtree)
        data = self.client.get_config(source, filter_).data_ele
        return [element.text for element in data.xpath(path, namespaces=NS)]

    def refused(self, content, tag, path=''):
        before = self.client.get_config('running').data_xml
        with self.assertRaises(RPCError) as raised:
            self.edit(content)
        self.assertEqual(raised.exception.tag, tag, raised.exception)
        self.assertIn(path, raised.exception.path or '')
        self.assertEqual(self.client.get_config('running').data_xml, before)

    # ---- ietf-interfaces, ietf-ip ----

    def test_interface_has_an_identity_as_its_type(self):
        self.edit(ethernet('eth0', '<description>up &amp; down</description>'))
        data = self.client.get_config('running').data_ele
        kind = data.xpath('//if:type', namespaces=NS)[0]
        prefix, name = kind.text.split(':')
        self.assertEqual((kind.nsmap[prefix], name), (TYPE, 'ethernetCsmacd'))
        self.assertEqual(self.find('//if:description'), ['up & down'])
        self.assertEqual(self.find('//if:enabled'), ['true'])

    def test_type_is_mandatory_and_an_interface_type(self):
        self.refused(interface('eth0'), 'data-missing', 'if:type')
        self.refused(interface('eth0', '<type>ianaift:nothing</type>'), 'invalid-value', 'if:type')

    def test_interfaces_are_found_by_their_type(self):
        self.edit(ethernet('eth0'))
        self.edit(interface('lo', '<type>ianaift:softwareLoopback</type>'))
        subtree = (f'<interfaces xmlns="{IF}"><interface><type xmlns:t="{TYPE}">'
                   't:softwareLoopback</type></interface></interfaces>')
        self.assertEqual(self.find('//if:name', subtree=subtree), ['lo'])

    def test_addresses_augment_an_interface(self):
        self.edit(ethernet('eth0', V4 + V6))
        self.assertEqual(self.find('//ip:ipv4/ip:mtu'), ['1400'])
        self.assertEqual(self.find('//ip:address/ip:ip'), ['192.0.2.1', '2001:db8::1'])
        self.assertEqual(self.find('//ip:dup-addr-detect-transmits'), ['2'])

    def test_prefix_length_and_netmask_exclude_each_other(self):
        self.edit(ethernet('eth0', V4))
        self.edit(interface('eth0', f'<ipv4 xmlns="{IP}"><address><ip>192.0.2.1</ip>'
                                    '<netmask>255.255.255.0</netmask></address></ipv4>'))
        self.assertEqual(self.find('//ip:netmask | //ip:prefix-length'), ['255.255.255.0'])
        self.refused(interface('eth1', f'<type>ianaift:ethernetCsmacd</type><ipv4 xmlns="{IP}">'
                                       '<address><ip>192.0.2.9</ip></address></ipv4>'),
                     'data-missing')

    def test_values_out_of_range_are_refused(self):
        self.refused(ethernet('eth0', f'<ipv4 xmlns="{IP}"><mtu>60</mtu></ipv4>'), 'invalid-value',
                     'ip:mtu')
        self.refused(ethernet('eth0', f'<ipv4 xmlns="{IP}"><address><ip>192.0.2.300</ip></address>'
                                      '</ipv4>'), 'invalid-value')

    def test_candidate_is_committed_over_both_applications(self):
        self.edit(ethernet('eth0', V4), 'candidate')
        self.edit(system('<hostname>switch</hostname>'), 'candidate')
        self.assertEqual(self.find('//if:name'), [])
        self.client.commit()
        self.assertEqual(self.find('//if:name | //sys:hostname'), ['eth0', 'switch'])
        self.edit(interface('eth0', '', 'delete'), 'candidate')
        self.client.commit()
        self.assertEqual(self.find('//if:name | //sys:hostname'), ['switch'])

    # ---- ietf-system ----

    def test_system_is_configured_and_read(self):
        self.edit(system('<contact>me</contact><hostname>h</hostname><location>here</location>'
                         '<clock><timezone-name>Europe/Stockholm</timezone-name></clock>'))
        self.assertEqual(self.find('//sys:system/*[text()]'), ['me', 'h', 'here'])
        self.edit(system('<clock><timezone-utc-offset>60</timezone-utc-offset></clock>'))
        self.assertEqual(self.find('//sys:clock/*'), ['60'])

    def test_servers_of_the_time(self):
        server = '<server><name>{}</name><udp><address>{}</address></udp></server>'
        self.edit(system('<ntp>' + server.format('one', '192.0.2.1') +
                         server.format('two', 'time.example.com') + '</ntp>'))
        self.assertEqual(self.find('//sys:ntp/sys:server/sys:udp/sys:address'),
                         ['192.0.2.1', 'time.example.com'])
        self.edit(system('<ntp><server nc:operation="delete"><name>one</name></server></ntp>'))
        self.assertEqual(self.find('//sys:ntp/sys:server/sys:name'), ['two'])
        self.refused(system('<ntp><server><name>three</name></server></ntp>'), 'data-missing')

    def test_users_and_their_keys(self):
        key = ('<authorized-key><name>laptop</name><algorithm>ssh-ed25519</algorithm>'
               '<key-data>AAAA</key-data></authorized-key>')
        self.edit(system(f'<authentication><user><name>ann</name>{key}</user></authentication>'))
        self.assertEqual(self.find('//sys:user//*[text()]'), ['ann', 'laptop', 'ssh-ed25519', 'AAAA'])

    def test_lists_in_the_order_of_the_user_are_refused(self):
        self.refused(system('<dns-resolver><search>example.com</search></dns-resolver>'),
                     'operation-not-supported')
        self.refused(system('<radius><server><name>r</name></server></radius>'),
                     'operation-not-supported')

    def test_published_modules_are_in_the_library(self):
        library = 'urn:ietf:params:xml:ns:yang:ietf-yang-library'
        data = self.client.get(('subtree', f'<yang-library xmlns="{library}"/>')).data_xml
        for name in NAMES:
            self.assertIn(f'<name>{name.split("@")[0]}<', data)
        self.assertIn('module ietf-ip', self.client.get_schema('ietf-ip').data)


if __name__ == '__main__':
    PROGRAM, INTERFACES, SYSTEM, MODULES = sys.argv[1:5]
    unittest.main(argv=sys.argv[:1] + sys.argv[5:], warnings='ignore')
