# -*- coding: utf-8 -*-

import os

from KelmData import Data
from KelmUtils import Utils

import suite

Settings = Utils.Settings
WorkspaceSettings = Utils.WorkspaceSettings

METHODS = [
    'addMRU', 'beginGroup', 'changedFromDefaults', 'copyKey', 'endGroup', 'exportTo',
    'firstMRUPath', 'getBool', 'getInt', 'getMRU', 'getString', 'getValue', 'groups', 'importFrom',
    'keys', 'removeKey', 'removeMRU', 'renameKey', 'resetGroup', 'setBool', 'setDefault', 'setInt',
    'setString', 'setValue', 'status', 'sync']


class Store(suite.TestCase):
    """Has a group of the settings to itself."""

    def setUp(self):
        self.settings = Settings('Test')
        self.addCleanup(Settings().removeKey, 'Test')
        self.addCleanup(Settings().removeKey, 'Workspaces')

    def assertValue(self, key, expected):
        self.assertText(Settings('Test').getString(key, 'not there'), expected)

    def test_is_made_with_a_group_or_without(self):
        Settings('Test/a').setString('k', '1')
        for group in ('Test', u'Test', Data.String('Test')):
            self.assertText(Settings(group).getString('a/k'), '1')
        self.assertText(Settings().getString('Test/a/k'), '1')
        self.assertText(Settings('').getString('Test/a/k'), '1')
        for argument in (None, 1, True, ['Test'], Settings()):  # there is no copy
            self.assertRefuses("Settings(): argument 1 has unexpected type '%s'"
                               % type(argument).__name__, Settings, argument)
        self.assertRefuses('Settings(): too many arguments', Settings, 'Test', 'a')

    def test_string(self):
        settings = self.settings
        self.assertText(settings.getString('k'), '')
        self.assertText(settings.getString('k', 'default'), 'default')
        for text in (u'', u'x', u'\xe4\u20ac', u'\U0001f600', u'a;b,c'):
            settings.setString('k', text)
            self.assertText(settings.getString('k', 'default'), text)
        settings.setString(u'\xe4', Data.String('ä'))
        self.assertText(settings.getString('ä'), 'ä')
        self.assertRefusesTypes('Settings.getString', settings.getString, ('a', 'b'), 1)
        self.assertRefusesTypes('Settings.setString', settings.setString, ('a', 'b'))

    def test_status_and_sync(self):
        settings = self.settings
        self.assertIs(settings.sync(), True)
        self.assertEqual(settings.status(), 0)
        settings.setInt('k', 1)
        self.assertEqual(settings.status(), 1)
        self.assertIs(settings.sync(), True)
        self.assertEqual(settings.status(), 0)
        self.assertIs(type(settings.status()), int)

    def test_bool(self):
        settings = self.settings
        self.assertIs(settings.getBool('k'), False)
        self.assertIs(settings.getBool('k', True), True)
        for value in (True, False):
            settings.setBool('k', value)
            self.assertIs(settings.getBool('k', not value), value)
        self.assertValue('k', 'false')
        self.assertRefusesTypes('Settings.getBool', settings.getBool, ('a', True), 1)
        self.assertRefusesTypes('Settings.setBool', settings.setBool, ('a', True))

    def test_int(self):
        settings = self.settings
        self.assertInt(settings.getInt('k'), 0)
        self.assertInt(settings.getInt('k', 7), 7)
        for value in (0, -1, 2 ** 31 - 1, -2 ** 31, 5L):
            settings.setInt('k', value)
            self.assertInt(settings.getInt('k', 7), value)
        for value in (2 ** 64, -2 ** 63 - 1):
            with self.assertRaises(OverflowError):
                settings.setInt('k', value)
            with self.assertRaises(OverflowError):
                settings.getInt('k', value)
        self.assertInt(settings.getInt('k'), 5)
        # What has 64 bits is cut to an int, as the wrapper runtime does by itself.
        self.assertInt(settings.setInt('k', 2 ** 40 + 3).getInt('k'), 3)
        self.assertRefusesTypes('Settings.getInt', settings.getInt, ('a', 1), 1)
        self.assertRefusesTypes('Settings.setInt', settings.setInt, ('a', 1))

    def test_value(self):
        settings = self.settings
        self.assertIs(type(settings.getValue('k')), Data.Variant)
        self.assertIs(settings.getValue('k').isValid(), False)
        self.assertIs(settings.getValue('k', None).isValid(), False)
        self.assertInt(settings.getValue('k', Data.Variant(3)).toInt(), 3)
        for value in (True, 5, -1.5, 'text', u'\xe4', Data.String('ä'), ['a', 'b']):
            settings.setValue('k', Data.Variant(value))
            self.assertEqual(settings.getValue('k'), Data.Variant(value))
            settings.setValue('k', value)
            self.assertEqual(settings.getValue('k'), Data.Variant(value))
        settings.setValue('k', Data.Variant())  # which removes it
        self.assertTexts(settings.keys(''), [])
        settings.setInt('k', 1)
        settings.setValue('k', None)
        self.assertTexts(settings.keys(''), [])

    def test_value_refuses(self):
        settings = self.settings
        for name, call in (('getValue', settings.getValue), ('setValue', settings.setValue)):
            name = 'Settings.' + name
            self.assertRefuses(name + '(): not enough arguments', call)
            self.assertRefuses(name + '(): too many arguments', call, 'a', 1, 2)
            self.assertRefuses(name + "(): argument 1 has unexpected type 'int'", call, 1, 2)
            for value in (object(), {}, [1], settings):
                self.assertRefuses("%s(): argument 2 has unexpected type '%s'"
                                   % (name, type(value).__name__), call, 'a', value)
        self.assertRefuses('Settings.setValue(): not enough arguments', settings.setValue, 'a')

    def test_default(self):
        settings = self.settings
        settings.setInt('set', 2)
        settings.setDefault('set', 1).setDefault('unset', Data.Variant(3))
        self.assertTexts(settings.keys(''), ['set', 'unset'])
        self.assertValue('set', '2')
        self.assertValue('unset', '3')
        settings.setDefault('set', 1, False)
        self.assertTexts(settings.keys(''), ['set', 'unset'])
        settings.setDefault('set', 1, True)
        self.assertValue('set', '2')
        self.assertValue('set_default', '1')
        call = settings.setDefault
        self.assertRefuses('Settings.setDefault(): not enough arguments', call, 'a')
        self.assertRefuses('Settings.setDefault(): too many arguments', call, 'a', 1, True, 2)
        self.assertRefuses("Settings.setDefault(): argument 1 has unexpected type 'NoneType'",
                           call, None, 1)
        self.assertRefuses("Settings.setDefault(): argument 2 has unexpected type 'object'",
                           call, 'a', object())
        self.assertRefuses("Settings.setDefault(): argument 3 has unexpected type 'str'",
                           call, 'a', 1, 'x')

    def test_keys_and_groups(self):
        settings = self.settings
        for key in ('b', 'a', 'B', 'g/x', 'g/h/y', 'f/z'):
            settings.setInt(key, 1)
        # The registry ignores case.
        both = ['a', 'b'] if os.name == 'nt' else ['B', 'a', 'b']
        self.assertTexts(settings.keys(''), both)
        self.assertTexts(settings.keys('g'), ['x'])
        self.assertTexts(settings.groups(''), ['f', 'g'])
        self.assertTexts(settings.groups('g'), ['h'])
        self.assertTexts(settings.groups('missing'), [])
        self.assertRefusesTypes('Settings.keys', settings.keys, ('a',))
        self.assertRefusesTypes('Settings.groups', settings.groups, ('a',))

    def test_group_of_the_moment(self):
        settings = self.settings
        settings.beginGroup('g').beginGroup('h').setInt('k', 1).endGroup().setInt('l', 2)
        settings.endGroup().setInt('m', 3)
        self.assertValue('g/h/k', '1')
        self.assertValue('g/l', '2')
        self.assertValue('m', '3')
        self.assertRefusesTypes('Settings.beginGroup', settings.beginGroup, ('a',))
        self.assertRefuses('Settings.endGroup(): too many arguments', settings.endGroup, 'a')

    def test_remove_key(self):
        self.settings.setInt('a/x', 1).setInt('b', 1).removeKey('a')
        self.assertTexts(self.settings.groups(''), [])
        self.assertTexts(self.settings.keys(''), ['b'])
        self.assertRefusesTypes('Settings.removeKey', self.settings.removeKey, ('a',))

    def test_copy_key(self):
        settings = self.settings
        settings.setInt('a/x', 1).setInt('a/sub/y', 2)
        settings.copyKey('a', 'b')
        settings.copyKey('a', 'c', False)
        settings.copyKey('a', 'd', True)
        self.assertTexts(settings.groups('a'), ['sub'])
        for group, groups in (('b', []), ('c', []), ('d', ['sub'])):
            self.assertTexts(settings.keys(group), ['x'])
            self.assertTexts(settings.groups(group), groups)
        self.assertValue('d/sub/y', '2')
        self.assertRefusesTypes('Settings.copyKey', settings.copyKey, ('a', 'b', True), 2)

    def test_rename_key(self):
        settings = self.settings
        for group in ('a', 'b'):
            settings.setInt(group + '/x', 1).setInt(group + '/sub/y', 2)
        settings.renameKey('a', 'c')
        settings.renameKey('b', 'D', True)
        self.assertTexts(settings.groups(''), ['D', 'c'])
        self.assertTexts(settings.groups('c'), [])
        self.assertTexts(settings.groups('D'), ['sub'])
        self.assertRefusesTypes('Settings.renameKey', settings.renameKey, ('a', 'b', True), 2)


class Exchange(suite.FolderTestCase):

    def setUp(self):
        super(Exchange, self).setUp()
        self.settings = Settings('Test')
        self.addCleanup(Settings().removeKey, 'Test')

    def test_export_and_import(self):
        settings, path = self.settings, self.path('a.ini')
        settings.setInt('k', 5).setString('g/t', u'\xe4')
        self.assertIs(settings.exportTo(path), True)
        settings.setInt('k', 6).removeKey('g')
        self.assertIs(settings.importFrom(path), True)
        self.assertText(settings.getString('k'), '5')
        self.assertText(settings.getString('g/t'), u'\xe4')

        broken = self.make('broken.ini', '; Exported settings, format 1\nk=7\n')
        self.assertIs(settings.importFrom(broken), False)
        self.assertText(settings.getString('k'), '5')
        self.assertIs(settings.importFrom(self.path('missing')), False)
        self.assertIs(settings.exportTo(self.folder), False)
        self.assertRefusesTypes('Settings.exportTo', settings.exportTo, ('a',))
        self.assertRefusesTypes('Settings.importFrom', settings.importFrom, ('a',))

    def test_reset(self):
        settings = self.settings
        settings.setInt('g/k', 5).setDefault('g/k', 1, True).setDefault('g/l', 1, True)
        self.assertTexts(settings.changedFromDefaults(), ['g/k'])
        self.assertIs(settings.resetGroup('g'), True)
        self.assertTexts(settings.changedFromDefaults(), [])
        self.assertText(settings.getString('g/k'), '1')
        settings.setString('g/Default', 'export noreset')
        self.assertIs(settings.resetGroup('g'), False)
        self.assertRefusesTypes('Settings.resetGroup', settings.resetGroup, ('a',))


class RecentFiles(suite.FolderTestCase):

    def setUp(self):
        super(RecentFiles, self).setUp()
        self.settings = Settings()
        self.addCleanup(self.settings.removeKey, 'MRU')

    def test_newest_first(self):
        settings = self.settings
        settings.addMRU('files', 'C:\\a\\b.txt').addMRU('files', u'/\xe4').addMRU('files', '/c')
        settings.addMRU('files', u'/\xe4')
        self.assertTexts(settings.getMRU('files', False), [u'/\xe4', '/c', 'C:/a/b.txt'])
        self.assertText(settings.getString('MRU/files/aa'), u'/\xe4')
        settings.removeMRU('files', '/c')
        self.assertTexts(settings.getMRU('files', False), [u'/\xe4', 'C:/a/b.txt'])
        self.assertRefusesTypes('Settings.addMRU', settings.addMRU, ('a', 'b'))
        self.assertRefusesTypes('Settings.removeMRU', settings.removeMRU, ('a', 'b'))

    def test_defaults_of_reading(self):
        settings = self.settings
        for number in range(25):
            settings.addMRU('files', self.make('%02d.txt' % number))
        settings.addMRU('files', self.path('missing'))
        newest = [self.path('%02d.txt' % number) for number in range(24, -1, -1)]
        self.assertTexts(settings.getMRU('files'), newest[:20])  # those that exist, 20 of them
        self.assertTexts(settings.getMRU('files', True), newest[:20])
        self.assertTexts(settings.getMRU('files', True, 0), newest[:20])
        self.assertTexts(settings.getMRU('files', True, 3), newest[:3])
        self.assertTexts(settings.getMRU('files', False, 2), [self.path('missing'), newest[0]])
        self.assertEqual(len(settings.getMRU('files', False, -1)), 26)
        settings.setInt('MRU/Count', 4)
        self.assertTexts(settings.getMRU('files', True, 0, ''), newest[:4])

    def test_suffixes(self):
        settings = self.settings
        settings.addMRU('files', self.make('a.txt')).addMRU('files', self.make('a.csv'))
        self.assertTexts(settings.getMRU('files', True, -1, 'txt;dat'), [self.path('a.txt')])
        self.assertRefusesTypes('Settings.getMRU', settings.getMRU, ('a', True, 1, 'b'), 1)

    def test_first_path(self):
        settings = self.settings
        self.assertText(settings.firstMRUPath('files'), '')
        settings.addMRU('files', self.make('a')).addMRU('files', self.path('missing'))
        self.assertText(settings.firstMRUPath('files'), self.folder)
        self.assertRefusesTypes('Settings.firstMRUPath', settings.firstMRUPath, ('a',))


class Chaining(suite.TestCase):

    def assertChains(self, settings):
        for name, arguments in [
                ('addMRU', ('l', 'p')), ('beginGroup', ('g',)), ('copyKey', ('a', 'b')),
                ('endGroup', ()), ('removeKey', ('a',)), ('removeMRU', ('l', 'p')),
                ('renameKey', ('a', 'b')), ('setBool', ('a', True)), ('setDefault', ('a', 1)),
                ('setInt', ('a', 1)), ('setString', ('a', 'b')), ('setValue', ('a', 1))]:
            self.assertIs(getattr(settings, name)(*arguments), settings, name)

    def test_gives_the_same_object(self):
        self.assertChains(Settings('Chain'))
        self.assertChains(WorkspaceSettings('Chain'))

    def test_gives_the_same_object_of_a_class_of_the_script(self):
        class Own(Settings):
            def __init__(self, group, tag):
                super(Own, self).__init__(group)
                self.tag = tag

            def setTwice(self, key, value):
                return self.setInt(key, 2 * value)

        class OwnWorkspace(WorkspaceSettings):
            pass

        own = Own('Chain', 'tag')
        self.assertChains(own)
        self.assertChains(OwnWorkspace('Chain'))
        self.assertEqual(own.setTwice('k', 4).setBool('b', True).tag, 'tag')
        self.assertInt(own.getInt('k'), 8)
        self.assertIsInstance(own, Settings)

    def test_keeps_the_object_while_the_chain_lives(self):
        last = Settings('Chain').setInt('k', 6).setInt('l', 1)
        self.assertInt(last.getInt('k'), 6)
        del last
        self.assertInt(Settings('Chain').getInt('k'), 6)

    def tearDown(self):
        Settings().removeKey('Chain').removeKey('MRU').removeKey('Workspaces')


class Workspaces(suite.TestCase):

    def tearDown(self):
        Settings().removeKey('Workspaces')

    def test_live_in_a_group_of_their_own(self):
        for name in ('one', u'zw\xf6i', Data.String('three')):
            WorkspaceSettings(name).setString('k', name)
            self.assertText(Settings('Workspaces').getString(Data.String(name) + '/k'),
                            unicode(name))
        self.assertTexts(Settings().groups('Workspaces'), ['one', 'three', u'zw\xf6i'])

    def test_need_a_name(self):
        self.assertRefuses('WorkspaceSettings(): not enough arguments', WorkspaceSettings)
        for argument in (None, 1, WorkspaceSettings('a')):
            self.assertRefuses("WorkspaceSettings(): argument 1 has unexpected type '%s'"
                               % type(argument).__name__, WorkspaceSettings, argument)

    def test_are_settings(self):
        self.assertTrue(issubclass(WorkspaceSettings, Settings))
        self.assertIsInstance(WorkspaceSettings('a'), Settings)
        own = [name for name in vars(WorkspaceSettings) if not name.startswith('_')]
        self.assertEqual(own, [])

    def test_pass_for_settings_only_as_an_object(self):
        self.assertText(Settings.getString(WorkspaceSettings('a'), 'k', 'd'), 'd')
        self.assertRefuses(
            "Settings.getString(): first argument of unbound method must have type 'Settings'",
            Settings.getString, 'k', 'd')


class Class(suite.TestCase):

    def test_has_these_methods_and_no_others(self):
        self.assertEqual([name for name in dir(Settings) if not name.startswith('_')], METHODS)
        self.assertEqual([name for name in dir(WorkspaceSettings) if not name.startswith('_')],
                         METHODS)

    def test_needs_the_base_class_to_be_made(self):
        class Unmade(Settings):
            def __init__(self):
                pass

        with self.assertRaises(RuntimeError):
            Unmade().getInt('k')

    def test_lives_on_in_a_circle_of_references_until_it_is_collected(self):
        class Circle(Settings):
            pass
        circle = Circle('Circle')
        circle.own = circle.setInt('k', 1)
        del circle
        suite.gc.collect()
        self.assertEqual([one for one in suite.gc.get_objects() if isinstance(one, Circle)], [])
        Settings().removeKey('Circle')


suite.run()
