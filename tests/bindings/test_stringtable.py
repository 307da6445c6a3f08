# -*- coding: utf-8 -*-

from KelmData import Data
from KelmUtils import Utils

import suite

StringTable = Utils.StringTable

TABLE = u'''<!DOCTYPE StringTable>
<StringTable>
  <string id=".err.x">Text \xe4 %1</string>
  <string id=".items">one; two ;three,four</string>
  <string id=".commas">one,two</string>
  <string id=".record">[a=1][b=x=y]</string>
  <string id=".n.one">%1 file</string>
  <string id=".n.other">%1 files</string>
  <ui name="Form"><string id=".close">Schlie\xdfen</string></ui>
</StringTable>
'''


class Catalogue(suite.FolderTestCase):
    """It can be set up once in a process, so all is one test, in this order."""

    def test_from_its_start(self):
        self.before_it_is_set_up()
        self.arguments()
        self.make('locale/Bound.Table_en.xml', TABLE.encode('utf-8'))
        Utils.File.setSearchPath(self.folder, '')
        self.addCleanup(Utils.File.setSearchPath, '../res', '')
        self.assertIsNone(StringTable.initialize('en', u'', Data.String()))
        self.assertIs(StringTable.load('missing'), False)
        self.assertIs(StringTable.load(u'Bound.Table'), True)
        self.texts()
        self.texts_of_a_form()
        self.forms_of_a_count()
        StringTable.initialize('de', '', '')  # which changes nothing
        self.texts()

    def before_it_is_set_up(self):
        self.assertIs(StringTable.load('Bound.Table'), False)
        self.assertText(StringTable.lookup('.Bound.Table.err.x'), '.Bound.Table.err.x')
        self.assertIsNone(StringTable.initialize('', '', ''))
        self.assertIs(StringTable.load('Bound.Table'), False)

    def arguments(self):
        self.assertRefusesTypes('StringTable.initialize', StringTable.initialize, ('', '', ''))
        self.assertRefusesTypes('StringTable.load', StringTable.load, ('',))
        self.assertRefusesTypes('StringTable.lookupk', StringTable.lookupk, ('a', 'b'))
        self.assertRefusesTypes('StringTable.lookupx', StringTable.lookupx, ('a', 'b'))
        call = StringTable.lookupi
        for arguments, reason in [
                ((), 'not enough arguments'), (('a',), 'not enough arguments'),
                (('a', 0, ';', 1), 'too many arguments'),
                ((1, 0), "argument 1 has unexpected type 'int'"),
                (('a', 'b'), "argument 2 has unexpected type 'str'"),
                (('a', 0, ';;'), "argument 3 has unexpected type 'str'"),
                (('a', 0, ''), "argument 3 has unexpected type 'str'"),
                (('a', 0, 1), "argument 3 has unexpected type 'int'"),
                (('a', 0, None), "argument 3 has unexpected type 'NoneType'")]:
            self.assertRefuses('StringTable.lookupi(): ' + reason, call, *arguments)

    def texts(self):
        for key in ('.Bound.Table.err.x', u'.Bound.Table.err.x', Data.String('.Bound.Table.err.x')):
            self.assertText(StringTable.lookup(key), u'Text \xe4 %1')
        self.assertText(StringTable.lookup('.Bound.Table.err.y'), '.err.y')
        self.assertText(StringTable.lookup('.Other.err.x'), '.Other.err.x')
        self.assertText(StringTable.lookup(u't\xe4xt'), u't\xe4xt')
        self.assertText(StringTable.lookup('täxt'), u't\xe4xt')
        self.assertText(StringTable.lookup(''), '')

        self.assertText(StringTable.lookupx('.err.x', 'Bound.Table'), u'Text \xe4 %1')
        self.assertText(StringTable.lookupx('.Bound.Table.err.x', 'Other'), u'Text \xe4 %1')

        key = '.Bound.Table.items'
        self.assertText(StringTable.lookupi(key, 0), 'one')  # the default is ";"
        self.assertText(StringTable.lookupi(key, 1, ';'), 'two')
        self.assertText(StringTable.lookupi(key, 2), 'three,four')
        self.assertText(StringTable.lookupi(key, 3), '')
        self.assertText(StringTable.lookupi(key, -1), '')
        self.assertText(StringTable.lookupi('.Bound.Table.commas', 1, ','), 'two')

        self.assertText(StringTable.lookupk('.Bound.Table.record', 'b'), 'x=y')
        self.assertText(StringTable.lookupk('.Bound.Table.record', u'a'), '1')
        self.assertText(StringTable.lookupk('.Bound.Table.record', 'c'), '')  # no default

    def forms_of_a_count(self):
        for n, decimals, text in [(1, -1, '%1 file'), (2, -1, '%1 files'), (1.5, -1, '%1 files'),
                                  (1, 1, '%1 files')]:
            self.assertText(StringTable.lookupn('.Bound.Table.n', n, decimals), text)
        self.assertText(StringTable.lookupn('.Bound.Table.n', 1), '%1 file')
        self.assertTexts(StringTable.pluralForms(), ['one', 'other'])
        self.assertTexts(StringTable.pluralForms('pl'), ['one', 'few', 'many', 'other'])
        for arguments, form in [((1,), 'one'), ((2, 'en'), 'other'), ((1, u'en', 1), 'other'),
                                ((21, 'ru'), 'one')]:
            self.assertText(StringTable.pluralForm(*arguments), form)
        self.assertRefusesTypes('StringTable.pluralForm', StringTable.pluralForm, (1, 'en', 1), 1)
        self.assertTexts(StringTable.missingKeys(), ['.Bound.Table.err.y', '.Other.err.x', '.close'])
        self.assertTexts(StringTable.missingKeys('de'), [])
        self.assertRefuses("StringTable.lookupn(): argument 2 has unexpected type 'str'",
                           StringTable.lookupn, 'a', 'b')

    def texts_of_a_form(self):
        # Two plain strings are the first form of the call.
        self.assertText(StringTable.lookup('.close', 'Form'), u'Schlie\xdfen')
        self.assertText(StringTable.lookup('.open', 'Form'), '.open')
        self.assertText(StringTable.lookup('.close', 'Other'), '')
        self.assertText(StringTable.lookup('Close', 'Form'), '')
        # One plain string is as well, and so is None, which is no text.
        self.assertText(StringTable.lookup('.Bound.Table.err.x', None), u'Text \xe4 %1')
        self.assertText(StringTable.lookup(None), '')
        self.assertText(StringTable.lookup(None, 'Form'), '')
        self.assertText(StringTable.lookup(u'.close', u'Form'), u'Schlie\xdfen')
        # Other texts, and unicode that is not ASCII, are a key alone.
        for text in (u'\xe4', Data.String('.close')):
            kind = type(text).__name__
            self.assertText(StringTable.lookup(text), unicode(text))
            self.assertRefuses(
                "StringTable.lookup(): arguments did not match any overloaded call:\n"
                "  overload 1: argument 1 has unexpected type '%s'\n"
                "  overload 2: too many arguments" % kind, StringTable.lookup, text, 'Form')
            self.assertRefuses(
                "StringTable.lookup(): arguments did not match any overloaded call:\n"
                "  overload 1: argument 2 has unexpected type '%s'\n"
                "  overload 2: too many arguments" % kind, StringTable.lookup, '.close', text)
        self.assertRefuses(
            "StringTable.lookup(): arguments did not match any overloaded call:\n"
            "  overload 1: not enough arguments\n"
            "  overload 2: not enough arguments", StringTable.lookup)
        self.assertRefuses(
            "StringTable.lookup(): arguments did not match any overloaded call:\n"
            "  overload 1: argument 1 has unexpected type 'int'\n"
            "  overload 2: argument 1 has unexpected type 'int'", StringTable.lookup, 1)


class Class(suite.TestCase):

    def test_is_a_static_holder(self):
        for arguments in ((), (None,), (1,), ('text',), (StringTable,)):
            with self.assertRaises(TypeError):
                StringTable(*arguments)

    def test_has_these_methods_and_no_others(self):
        self.assertEqual([name for name in dir(StringTable) if not name.startswith('_')],
                         ['initialize', 'load', 'lookup', 'lookupi', 'lookupk', 'lookupn', 'lookupx',
                          'missingKeys', 'pluralForm', 'pluralForms'])


suite.run()
