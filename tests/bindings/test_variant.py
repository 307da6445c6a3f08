# -*- coding: utf-8 -*-

from KelmData import Data
from KelmUtils import Utils

import suite

Variant = Data.Variant


class Value(suite.TestCase):

    def test_is_invalid_without_a_value(self):
        for variant in (Variant(), Variant(None), Variant(Variant())):
            self.assertIs(variant.isValid(), False)
            self.assertInt(variant.userType(), 0)
            self.assertText(variant.toString(), '')
            self.assertInt(variant.toInt(), 0)
            self.assertEqual(variant.toDouble(), 0)
            self.assertIs(variant.toBool(), False)
            self.assertTexts(variant.toStringList(), [])

    def test_holds_a_bool(self):
        for value in (True, False):
            variant = Variant(value)
            self.assertInt(variant.userType(), 1)
            self.assertIs(variant.toBool(), value)
            self.assertInt(variant.toInt(), int(value))
            self.assertText(variant.toString(), 'true' if value else 'false')

    def test_holds_an_int(self):
        for value in (0, 1, -1, 2 ** 31 - 1, -2 ** 31, 5L):
            variant = Variant(value)
            self.assertInt(variant.userType(), 2)
            self.assertInt(variant.toInt(), value)
            self.assertText(variant.toString(), '%d' % value)
            self.assertEqual(variant.toDouble(), value)
            self.assertIs(variant.toBool(), value != 0)

    def test_holds_larger_whole_numbers_without_cutting_them(self):
        for value in (2 ** 31, -2 ** 31 - 1, 2 ** 40, 2 ** 63 - 1, -2 ** 63):
            self.assertText(Variant(value).toString(), '%d' % value)
        self.assertEqual(Variant(2 ** 70).toDouble(), 2.0 ** 70)

    def test_holds_a_float(self):
        for value in (0.0, 1.5, -1e300, 1e-320, float('inf')):
            variant = Variant(value)
            self.assertInt(variant.userType(), 6)
            self.assertIs(type(variant.toDouble()), float)
            self.assertEqual(variant.toDouble(), value)
        self.assertEqual(Variant(type('Float', (float,), {})(2.5)).toDouble(), 2.5)
        self.assertInt(Variant(2.6).toInt(), 3)
        self.assertText(Variant(1.5).toString(), '1.5')

    def test_holds_a_text(self):
        for text in (u'', u'plain', u'\xe4\u20ac', u'a\U0001f600', u'a\0b'):
            for source in (text, text.encode('utf-8'), Data.String(text)):
                variant = Variant(source)
                self.assertInt(variant.userType(), 10)
                self.assertText(variant.toString(), text)
        self.assertInt(Variant('12').toInt(), 12)
        self.assertEqual(Variant('1.5').toDouble(), 1.5)
        self.assertIs(Variant('true').toBool(), True)
        self.assertIs(Variant('false').toBool(), False)
        self.assertInt(Variant('x').toInt(), 0)

    def test_holds_a_list_of_texts(self):
        for texts in ([], ['a'], [u'\xe4', 'b', Data.String('c')], ('a', 'b')):
            variant = Variant(texts)
            self.assertInt(variant.userType(), 11)
            self.assertTexts(variant.toStringList(), [unicode(text) for text in texts])
        self.assertTexts(Variant('a').toStringList(), ['a'])

    def test_holds_nothing_else(self):
        for value in (object(), {}, [1], ['a', None], 1j, Utils.File, set(), slice(1)):
            with self.assertRaises(TypeError):
                Variant(value)
        with self.assertRaises(TypeError):
            Variant(1, 2)

    def test_is_copied(self):
        first = Variant(5)
        second = Variant(first)
        self.assertIsNot(first, second)
        self.assertEqual(first, second)

    def test_equals_as_the_values_do(self):
        for value, other in [(None, 5), (True, False), (5, 6), (1.5, 1.25), ('a', 'A'),
                             (u'\xe4', 'a'), (['a', 'b'], ['b', 'a'])]:
            self.assertIs(Variant(value) == Variant(value), True)
            self.assertIs(Variant(value) != Variant(value), False)
            self.assertIs(Variant(value) == Variant(other), False)
            self.assertIs(Variant(value) != Variant(other), True)
            self.assertIs(Variant(value) == value, True)
            self.assertIs(Variant(value) == other, False)
        self.assertIs(Variant(5) == Variant('5'), True)  # as values of the library compare
        self.assertIs(Variant(5) == object(), False)

    def test_is_no_key(self):
        with self.assertRaises(TypeError):
            hash(Variant(1))

    def test_is_shown(self):
        for value, text in ((5, '5'), ('ä', 'ä'), (True, 'true'), (None, '')):
            self.assertEqual(str(Variant(value)), text)
            self.assertEqual(unicode(Variant(value)), text.decode('utf-8'))
        self.assertEqual(repr(Variant(True)), 'Variant(True)')  # and no 1
        for value in (None, True, 5, 1.5, 'a', u'\xe4', ['a', u'\xe4']):
            self.assertEqual(eval(repr(Variant(value)), {'Variant': Variant, 'Data': Data}),
                             Variant(value))

    def test_methods_take_no_arguments(self):
        for name in ('isValid', 'userType', 'toString', 'toInt', 'toDouble', 'toBool',
                     'toStringList'):
            self.assertRefuses('Variant.%s(): too many arguments' % name,
                               getattr(Variant(1), name), 1)


class Items(list):
    """A list that changes, or fails, while it is read."""

    def __init__(self, items, reaction):
        list.__init__(self, items)
        self.reaction = reaction

    def __getitem__(self, index):
        self.reaction(self)
        return list.__getitem__(self, index)

    def __iter__(self):
        for item in list.__iter__(self):
            self.reaction(self)
            yield item


class Lists(suite.TestCase):
    """Lists of texts, by way of a process, which shows what it was given."""

    def assertTaken(self, texts, shown):
        process = Utils.Process('x')
        process.setArguments(texts)
        self.assertText(process.fullCommand(), shown)

    def test_of_texts_of_any_kind(self):
        self.assertTaken([], 'x')
        self.assertTaken(['a', u'\xe4', Data.String('c')], u'x a \xe4 c')
        self.assertTaken(('a', 'b'), 'x a b')

    def test_given_are_taken(self):
        found = Utils.File.search('/dev/null', '*')
        self.assertIs(type(found), list)
        self.assertTaken(found + ['a'], 'x a')

    def test_that_misbehave_are_taken_or_refused_in_peace(self):
        def fail(items):
            raise KeyError('of its own')

        def shrink(items):
            del items[:]

        def spoil(items):
            items[:] = [None] * len(items)

        process = Utils.Process('x', ['before'])
        for reaction in (fail, shrink, spoil):
            try:
                process.setArguments(Items(['a', 'b', 'c'], reaction))
            except (TypeError, KeyError, RuntimeError, IndexError):
                self.assertText(process.fullCommand(), 'x before')


suite.run()
