"""ncdm-netconf with the two demo applications, by ncclient: device_test.py SERVER INTERFACES VLANS YANG...

YANG: the folders of the applications' modules.
"""

import glob
import os
import signal
import sys
import time
import unittest

from ncclient.operations.rpc import RPCError
from ncclient.xml_ import to_ele

from netconf_server import BASE, Device, DeviceCase, config, read_modules, rpc, wait_until

PROGRAM = INTERFACES = VLANS = ''
YANG_FOLDERS = []

VLAN_NS = 'urn:example:demo-vlans'
INTERFACE_NS = 'urn:example:demo-interfaces'
MONITORING_NS = 'urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring'
NS = {'v': VLAN_NS, 'i': INTERFACE_NS, 'm': MONITORING_NS, 'nc': BASE,
      'l': 'urn:ietf:params:xml:ns:yang:ietf-yang-library'}


def vlans(content):
    return config(f'<vlans xmlns="{VLAN_NS}">{content}</vlans>')


def vlan(number, content='', operation=None):
    attribute = f' nc:operation="{operation}"' if operation else ''
    return f'<vlan{attribute}><id>{number}</id>{content}</vlan>'


def system(content):
    return config(f'<system xmlns="{VLAN_NS}">{content}</system>')


def demo_modules():
    return read_modules(*(module for folder in YANG_FOLDERS
                          for module in glob.glob(os.path.join(folder, '*.yang'))))


class DemoDevice(Device):
    """With the two demo applications."""

    def __init__(self):
        super().__init__(PROGRAM, demo_modules())
        self.start(INTERFACES)
        self.start_vlans()

    def start_vlans(self):
        self.start(VLANS, '--config', self.folder / 'vlans.json')

    def saved(self):
        """What the VLAN demo has written since it was last told to commit."""
        try:
            with open(self.folder / 'vlans.json') as file:
                return file.read()
        except FileNotFoundError:
            return ''


class DeviceTest(DeviceCase):
    """One device for the tests of a class; each begins with an empty configuration."""

    @staticmethod
    def make_device():
        return DemoDevice()

    def setUp(self):
        self.client = self.connect()
        self.assertTrue(wait_until(self.has_agents))
        self.clear()

    def connect(self, **arguments):
        client = self.server.connect(**arguments)
        self.addCleanup(self.close, client)
        return client

    @staticmethod
    def close(client):
        if client.connected:
            client.close_session()

    def has_agents(self):
        return all(len(self.client.get(('subtree', f'<system xmlns="{namespace}"/>')).data_ele)
                   for namespace in (VLAN_NS, INTERFACE_NS))

    def clear(self):
        self.client.discard_changes()
        self.edit(config(f'<vlans xmlns="{VLAN_NS}" nc:operation="remove"/>'
                         f'<routes xmlns="{VLAN_NS}" nc:operation="remove"/>'))
        self.edit(system('<contact/><location>here</location><ntp-enabled>false</ntp-enabled>'))

    def edit(self, content, target='running', **options):
        return self.client.edit_config(content, target=target, **options)

    def find(self, path, source='running', subtree=None, client=None):
        """The texts of what an XPath finds in the configuration."""
        filter_ = subtree and ('subtree', subtree)
        data = (client or self.client).get_config(source, filter_).data_ele
        return [element.text for element in data.xpath(path, namespaces=NS)]

    def get(self, subtree):
        return self.client.get(('subtree', subtree)).data_ele

    def texts(self, element, path):
        return [found.text for found in element.xpath(path, namespaces=NS)]

    def refuse(self, call, tag, **expected):
        """The call is refused with this error; its parts may be given by name."""
        with self.assertRaises(RPCError) as caught:
            call()
        error = caught.exception
        self.assertEqual(error.tag, tag, error)
        for name, value in expected.items():
            self.assertIn(value, getattr(error, name) or '', (name, error))
        return error

    def refuse_edit(self, content, tag, target='running', **expected):
        return self.refuse(lambda: self.edit(content, target), tag, **expected)


class ReadTest(DeviceTest):

    def setUp(self):
        super().setUp()
        self.edit(vlans(vlan(10, '<name>office</name><tagged-port>eth1</tagged-port>'
                                 '<tagged-port>eth2</tagged-port>') +
                        vlan(20, '<name>guests</name><mtu>9000</mtu>')))

    def test_get_config_has_configuration_alone_and_get_has_both(self):
        self.assertEqual(self.find('//v:vlan/v:id'), ['10', '20'])
        self.assertEqual(self.find('//i:interface'), [])
        everything = self.client.get().data_ele
        self.assertIn('lo', self.texts(everything, '//i:interface/i:name'))
        self.assertEqual(self.texts(everything, '//v:vlan/v:id'), ['10', '20'])

    def test_subtree_filters_contain_select_and_match(self):
        for content, path, expected in (
                ('<vlan><id>10</id></vlan>', '//v:vlan/v:name', ['office']),
                ('<vlan><id>10</id><name/></vlan>', '//v:vlan/*', ['10', 'office']),
                ('<vlan><name/></vlan>', '//v:name', ['office', 'guests']),
                ('<vlan><name> guests </name></vlan>', '//v:vlan/v:id', ['20']),
                ('<vlan><id>99</id></vlan>', '//*[text()]', []),
                ('<vlan><tagged-port>eth2</tagged-port><id/></vlan>', '//v:id', ['10']),
                ('<vlan><id>10</id></vlan><vlan><id>20</id><mtu/></vlan>', '//v:mtu',
                 ['1500', '9000'])):
            subtree = f'<vlans xmlns="{VLAN_NS}">{content}</vlans>'
            self.assertEqual(self.find(path, subtree=subtree), expected, content)

    def test_subtree_filters_tell_namespaces_apart(self):
        for namespace, expected in ((VLAN_NS, ['here']), (INTERFACE_NS, []), ('urn:nobody', [])):
            self.assertEqual(
                self.find('//v:location', subtree=f'<system xmlns="{namespace}"/>'), expected)

    def test_empty_subtree_filter_selects_nothing(self):
        reply = self.client.dispatch(
            to_ele(f'<get xmlns="{BASE}"><filter type="subtree"/></get>'))
        self.assertNotIn('xmlns="urn:example', reply.xml)

    def test_xpath_filters_select_nodes(self):
        for expression, expected in (
                ('/v:vlans/v:vlan[v:id="20"]/v:name', ['20', 'guests']),
                ('/v:vlans/v:vlan[v:name="office"]/v:mtu', ['10', '1500']),
                ('//v:tagged-port', ['10', 'eth1', 'eth2']),
                ('/v:nothing', [])):
            data = self.client.get_config('running', ('xpath', ({'v': VLAN_NS}, expression))).data_ele
            self.assertEqual(self.texts(data, '//v:vlan/*'), expected, expression)

    def test_defaults_are_reported(self):
        self.assertEqual(self.find('//v:vlan[v:id=10]/v:mtu'), ['1500'])
        self.assertEqual(self.find('//v:vlan[v:id=10]/v:enabled'), ['true'])

    def test_candidate_reads_as_running_until_it_is_changed(self):
        self.assertEqual(self.find('//v:vlan/v:id', 'candidate'), ['10', '20'])


class EditTest(DeviceTest):

    def test_create_delete_remove_and_none(self):
        self.edit(vlans(vlan(10, '<name>a</name>', 'create')))
        error = self.refuse_edit(vlans(vlan(10, '', 'create')), 'data-exists', type='application')
        self.assertIn("vlan[demo-vl:id='10']", error.path)
        self.edit(vlans(vlan(10, '', 'delete')))
        self.refuse_edit(vlans(vlan(10, '', 'delete')), 'data-missing', type='application')
        self.edit(vlans(vlan(10, '', 'remove')))
        self.assertEqual(self.find('//v:vlan'), [])
        self.refuse(lambda: self.edit(vlans(vlan(10)), default_operation='none'), 'data-missing')

    def test_merge_keeps_and_replace_drops_what_is_not_given(self):
        self.edit(vlans(vlan(10, '<name>a</name><mtu>1400</mtu><tagged-port>e1</tagged-port>')))
        self.edit(vlans(vlan(10, '<name>b</name><tagged-port>e2</tagged-port>')))
        self.assertEqual(self.find('//v:vlan/*'), ['10', 'b', '1400', 'true', 'e1', 'e2'])
        self.edit(vlans(vlan(10, '<name>c</name>', 'replace')))
        self.assertEqual(self.find('//v:vlan/*'), ['10', 'c', '1500', 'true'])

    def test_refused_edit_changes_nothing(self):
        self.refuse_edit(vlans(vlan(10, '', 'create') + vlan(11, '', 'delete')), 'data-missing')
        self.assertEqual(self.find('//v:vlan'), [])

    def test_continue_on_error_does_what_can_be_done(self):
        self.refuse(lambda: self.edit(vlans(vlan(10, '', 'create') + vlan(11, '', 'delete')),
                                      error_option='continue-on-error'), 'data-missing')
        self.assertEqual(self.find('//v:vlan/v:id'), ['10'])

    def test_wrong_content_is_refused_with_what_is_wrong(self):
        self.refuse_edit(vlans(vlan(5000)), 'invalid-value')
        self.refuse_edit(vlans(vlan(10, '<mtu>x</mtu>')), 'invalid-value', path='mtu')
        self.refuse_edit(vlans(vlan(10, '<nope/>')), 'unknown-element', info='nope')
        self.refuse_edit(vlans('<vlan><name>a</name></vlan>'), 'missing-element', info='>id<')
        self.refuse_edit(config('<vlans xmlns="urn:nobody"/>'), 'unknown-namespace',
                         info='urn:nobody')
        self.refuse_edit(vlans(vlan(10, '', 'sideways')), 'bad-attribute', info='operation')
        self.assertEqual(self.find('//v:vlan'), [])

    def test_leaf_lists_are_edited_value_by_value(self):
        self.edit(vlans(vlan(10, '<tagged-port>e1</tagged-port><tagged-port>e2</tagged-port>')))
        self.edit(vlans(vlan(10, '<tagged-port nc:operation="delete">e1</tagged-port>')))
        self.assertEqual(self.find('//v:tagged-port'), ['e2'])
        self.refuse_edit(vlans(vlan(10, '<tagged-port nc:operation="delete">e1</tagged-port>')),
                         'data-missing')

    def test_test_only_changes_nothing(self):
        self.edit(vlans(vlan(10)), test_option='test-only')
        self.assertEqual(self.find('//v:vlan'), [])

    def test_state_cannot_be_edited(self):
        with self.assertRaises(RPCError):
            self.edit(config(f'<interfaces xmlns="{INTERFACE_NS}"/>'))

    def test_many_entries_in_one_edit(self):
        self.edit(vlans(''.join(vlan(i, f'<name>n{i}</name>') for i in range(1, 1001))))
        self.assertEqual(len(self.find('//v:vlan')), 1000)
        self.edit(vlans(vlan(500, '<mtu>2000</mtu>')))
        self.assertEqual(self.find('//v:vlan[v:mtu=2000]/v:name'), ['n500'])


class CandidateTest(DeviceTest):

    def test_changes_are_seen_in_running_after_commit(self):
        self.edit(vlans(vlan(10, '<name>a</name>')), 'candidate')
        self.assertEqual(self.find('//v:vlan'), [])
        self.assertEqual(self.find('//v:vlan/v:id', 'candidate'), ['10'])
        self.client.commit()
        self.assertEqual(self.find('//v:vlan/v:id'), ['10'])

    def test_discarded_changes_are_gone(self):
        self.edit(vlans(vlan(10)), 'candidate')
        self.client.discard_changes()
        self.client.commit()
        self.assertEqual(self.find('//v:vlan', 'candidate') + self.find('//v:vlan'), [])

    def test_commit_of_many_changes_one_after_the_other(self):
        for i in range(20):
            self.edit(vlans(vlan(100 + i)), 'candidate')
            self.client.commit()
            self.edit(system(f'<location>place {i}</location>'), 'candidate')
            self.client.commit()
            self.assertEqual(self.find('//v:location'), [f'place {i}'])

    def test_confirmed_commit_is_taken_back_when_it_is_cancelled(self):
        self.edit(system('<location>there</location>'), 'candidate')
        self.client.commit(confirmed=True, timeout='600')
        self.assertEqual(self.find('//v:location'), ['there'])
        self.client.cancel_commit()
        self.assertEqual(self.find('//v:location'), ['here'])

    def test_confirmed_commit_is_taken_back_when_time_is_over(self):
        self.edit(system('<location>there</location>'), 'candidate')
        self.client.commit(confirmed=True, timeout='1')
        self.assertTrue(wait_until(lambda: self.find('//v:location') == ['here']))

    def test_confirmed_commit_is_taken_back_when_its_session_ends(self):
        other = self.connect()
        other.edit_config(system('<location>there</location>'), target='candidate')
        other.commit(confirmed=True, timeout='600')
        self.assertEqual(self.find('//v:location'), ['there'])
        other.close_session()
        self.assertTrue(wait_until(lambda: self.find('//v:location') == ['here']))

    def test_confirming_commit_keeps_it(self):
        self.edit(system('<location>there</location>'), 'candidate')
        self.client.commit(confirmed=True, timeout='600')
        self.client.commit()
        self.refuse(self.client.cancel_commit, 'operation-failed')
        self.assertEqual(self.find('//v:location'), ['there'])

    def test_persistent_commit_outlives_its_session(self):
        other = self.connect()
        other.edit_config(system('<location>there</location>'), target='candidate')
        other.commit(confirmed=True, timeout='600', persist='token')
        other.close_session()
        self.assertEqual(self.find('//v:location'), ['there'])
        self.refuse(lambda: self.client.commit(persist_id='wrong'), 'invalid-value')
        self.client.commit(persist_id='token')
        self.assertEqual(self.find('//v:location'), ['there'])

    def test_copy_config_replaces_the_target(self):
        self.edit(vlans(vlan(10)))
        source = to_ele(f'<source xmlns="{BASE}">{vlans(vlan(20))}</source>')
        self.client.copy_config(source, 'candidate')
        self.assertEqual(self.find('//v:vlan/v:id', 'candidate'), ['20'])
        self.client.copy_config('running', 'candidate')
        self.assertEqual(self.find('//v:vlan/v:id', 'candidate'), ['10'])

    def test_validate_looks_at_what_is_given(self):
        self.client.validate('running')
        self.client.validate('candidate')


class LockTest(DeviceTest):

    def test_lock_keeps_others_out_until_it_is_released(self):
        other = self.connect()
        self.client.lock('running')
        error = self.refuse(lambda: other.lock('running'), 'lock-denied')
        self.assertIn(f'>{self.client.session_id}<', error.info)
        self.refuse(lambda: other.edit_config(vlans(vlan(10)), target='running'), 'in-use')
        self.refuse(lambda: other.unlock('running'), 'operation-failed')
        self.client.unlock('running')
        other.edit_config(vlans(vlan(10)), target='running')

    def test_lock_ends_with_its_session(self):
        other, victim = self.connect(), self.connect()
        other.lock('candidate')
        other.close_session()
        self.assertTrue(wait_until(lambda: not other.connected))
        victim.lock('candidate')
        self.client.kill_session(victim.session_id)
        self.assertTrue(wait_until(lambda: not victim.connected))
        self.client.lock('candidate')
        self.client.unlock('candidate')

    def test_changed_candidate_cannot_be_locked(self):
        self.edit(vlans(vlan(10)), 'candidate')
        self.refuse(lambda: self.client.lock('candidate'), 'lock-denied')
        self.client.discard_changes()
        self.client.lock('candidate')
        self.client.unlock('candidate')


class DiscoveryTest(DeviceTest):

    def test_modules_are_in_the_library_and_can_be_fetched(self):
        library = self.get('<yang-library xmlns="urn:ietf:params:xml:ns:yang:ietf-yang-library"/>')
        names = self.texts(library, '//l:module/l:name')
        for name in ('demo-vlans', 'demo-interfaces', 'ietf-netconf', 'ietf-yang-library'):
            self.assertIn(name, names)
        self.assertTrue(self.client.get_schema('demo-vlans').data.startswith('module demo-vlans'))
        self.refuse(lambda: self.client.get_schema('nobody'), 'invalid-value')

    def test_every_schema_of_monitoring_can_be_fetched(self):
        state = self.get(f'<netconf-state xmlns="{MONITORING_NS}"><schemas/></netconf-state>')
        schemas = state.xpath('//m:schema', namespaces=NS)
        self.assertGreater(len(schemas), 5)
        for schema in schemas:
            name, version = (self.texts(schema, 'm:' + leaf)[0] for leaf in ('identifier', 'version'))
            self.assertIn(f'module {name}', self.client.get_schema(name, version).data)

    def test_monitoring_shows_sessions_and_locks(self):
        other = self.connect(user='other')
        other.lock('running')
        state = self.get(f'<netconf-state xmlns="{MONITORING_NS}"/>')
        path = f'//m:session[m:session-id={other.session_id}]'
        self.assertEqual(self.texts(state, path + '/m:username'), ['other'])
        self.assertEqual(self.texts(state, path + '/m:in-rpcs'), ['1'])
        self.assertEqual(self.texts(state, '//m:datastore[m:name="running"]//m:locked-by-session'),
                         [other.session_id])
        other.unlock('running')

    def test_operations_that_are_not_there_are_refused(self):
        for operation in ('<nothing/>', '<nothing xmlns="urn:nobody"/>'):
            with self.assertRaises(RPCError) as caught:
                self.client.dispatch(to_ele(operation))
            self.assertIn(caught.exception.tag, ('operation-not-supported', 'unknown-element'))


class AgentTest(DeviceTest):

    def test_agent_that_is_away_is_left_out_and_comes_back(self):
        self.edit(vlans(vlan(10, '<name>kept</name>')))
        self.assertTrue(wait_until(lambda: 'kept' in self.device.saved()))
        self.device.end(VLANS)
        self.assertTrue(wait_until(lambda: self.find('//v:location') == []))
        self.refuse_edit(vlans(vlan(11)), 'operation-failed')
        self.assertIn('lo', self.texts(self.client.get().data_ele, '//i:interface/i:name'))
        self.device.start_vlans()
        self.assertTrue(wait_until(lambda: self.find('//v:vlan/v:id') == ['10']))
        self.edit(vlans(vlan(11)))

    def test_agent_that_hangs_delays_nobody_elses_data(self):
        self.device.signal(VLANS, signal.SIGSTOP)
        other = self.server.session()
        self.addCleanup(other.close)
        try:
            other.send(rpc(f'<get><filter><vlans xmlns="{VLAN_NS}"/></filter></get>'))
            begin = time.monotonic()
            data = self.get(f'<system xmlns="{INTERFACE_NS}"/>')
            self.assertLess(time.monotonic() - begin, 10)
            self.assertEqual(len(data), 1)
            self.assertIn(b'<rpc-error>', other.receive())
            self.assertLess(time.monotonic() - begin, 20 + 5)
        finally:
            self.device.signal(VLANS, signal.SIGCONT)


if __name__ == '__main__':
    PROGRAM, INTERFACES, VLANS = sys.argv[1:4]
    YANG_FOLDERS = [word for word in sys.argv[4:] if os.path.isdir(word)]
    unittest.main(argv=sys.argv[:1] + [word for word in sys.argv[4:] if not os.path.isdir(word)],
                  warnings='ignore')
