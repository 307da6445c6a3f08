# -*- coding: utf-8 -*-

from KelmData import Data

import suite

String = Data.String

TEXTS = [u'', u'plain', u'\xe4\xf6\u20ac', u'\u65e5\u672c', u'a\U0001f600b', u'a\0b', u'%s', u' ']


class Text(suite.TestCase):

    def test_is_made_of_any_text(self):
        self.assertText(String(), '')
        for text in TEXTS:
            for source in (text, text.encode('utf-8'), String(text)):
                self.assertText(String(source), text)
        for value in (None, 1, 1.5, True, ['a'], object(), Data.Variant('a')):
            with self.assertRaises(TypeError):
                String(value)
        with self.assertRaises(TypeError):
            String('a', 'b')

    def test_takes_bytes_that_are_no_utf8(self):
        self.assertText(String('a\xffb'), u'a\ufffdb')

    def test_is_text_of_both_kinds(self):
        for text in TEXTS:
            self.assertIs(type(str(String(text))), str)
            self.assertEqual(str(String(text)), text.encode('utf-8'))
            self.assertIs(type(unicode(String(text))), unicode)
            self.assertEqual(unicode(String(text)), text)

    def test_is_written_as_a_literal(self):
        for text in TEXTS:
            self.assertEqual(eval(repr(String(text))), String(text))

    def test_equals_the_same_text(self):
        for text in TEXTS:
            for same in (text, text.encode('utf-8'), String(text)):
                self.assertIs(String(text) == same, True)
                self.assertIs(same == String(text), True)
                self.assertIs(String(text) != same, False)
                self.assertIs(same != String(text), False)
            for other in (text + 'x', (text + 'x').encode('utf-8'), String(text + 'x')):
                self.assertIs(String(text) == other, False)
                self.assertIs(other == String(text), False)
                self.assertIs(String(text) != other, True)
        self.assertIs(String('a') == 'A', False)

    def test_equals_nothing_else(self):
        for other in (None, 0, 1.5, [], ['a'], object(), String):
            self.assertIs(String('a') == other, False)
            self.assertIs(String('a') != other, True)
            self.assertIs(other == String('a'), False)

    def test_has_an_order(self):
        for other in ('b', u'b', String('b')):
            self.assertIs(String('a') < other, True)
            self.assertIs(String('a') <= other, True)
            self.assertIs(String('a') > other, False)
            self.assertIs(String('a') >= other, False)
            self.assertIs(other > String('a'), True)
            self.assertIs(String('b') <= other, True)
            self.assertIs(String('b') < other, False)
        words = [u'b', u'', u'\xe4', u'B', u'ab', u'a']
        self.assertTexts(sorted(String(word) for word in words), sorted(words))

    def test_is_a_key(self):
        for text in TEXTS:
            self.assertEqual(hash(String(text)), hash(text.encode('utf-8')))
            self.assertEqual({String(text): 1}[text.encode('utf-8')], 1)
            self.assertEqual({text.encode('utf-8'): 1}[String(text)], 1)
        self.assertEqual({u'a': 1}[String('a')], 1)
        self.assertEqual(len({String('a'), String('a'), 'a', u'a'}), 1)

    def test_is_joined_to_any_text(self):
        for text in TEXTS:
            for other in (text, text.encode('utf-8'), String(text)):
                self.assertText(String(u'\xe4') + other, u'\xe4' + text)
                self.assertText(other + String(u'\xe4'), text + u'\xe4')
        total = String('a')
        total += 'b'
        total += u'\xe4'
        self.assertText(total, u'ab\xe4')
        for value in (None, 1, ['a']):
            with self.assertRaises(TypeError):
                String('a') + value
            with self.assertRaises(TypeError):
                value + String('a')

    def test_is_formatted_and_formats(self):
        self.assertEqual('<%s>' % String('ä'), '<ä>')
        self.assertEqual(u'<%s>' % String(u'\xe4'), u'<\xe4>')
        self.assertEqual('{}'.format(String('a')), 'a')
        self.assertText(String('%d') % 5, '5')
        self.assertText(String('%s-%s') % ('a', u'\xe4'), u'a-\xe4')
        self.assertText(String('%(k)s') % {'k': String('v')}, 'v')
        self.assertText(String('%s') % String(u'\xe4'), u'\xe4')
        with self.assertRaises(TypeError):
            String('%d') % 'a'
        with self.assertRaises(TypeError):
            String('%s %s') % 'a'

    def test_has_a_length(self):
        for text in TEXTS:
            self.assertEqual(len(String(text)), len(text))
            self.assertIs(bool(String(text)), bool(text))

    def test_is_indexed_and_sliced(self):
        for text in TEXTS:
            wrapped = String(text)
            for index in range(-len(text), len(text)):
                self.assertText(wrapped[index], text[index])
            for index in (len(text), -len(text) - 1, 2 ** 62, -2 ** 62, 2 ** 70):
                with self.assertRaises(IndexError):
                    wrapped[index]
            for bounds in [(None,), (1,), (0, 1), (1, -1), (-2, None), (None, None, -1),
                           (None, None, 2), (5, 1), (-100, 100), (0, 2 ** 70)]:
                self.assertText(wrapped[slice(*bounds)], text[slice(*bounds)])
            self.assertText(wrapped[1:], text[1:])
            self.assertText(wrapped[:-1], text[:-1])
            self.assertText(wrapped[:], text)
            self.assertTexts(list(wrapped), list(text))
        for index in ('a', None, 1.5):
            with self.assertRaises(TypeError):
                String('abc')[index]
        with self.assertRaises(ValueError):
            String('abc')[::0]
        with self.assertRaises(TypeError):
            String('abc')[0] = 'x'
        with self.assertRaises(TypeError):
            del String('abc')[0]

    def test_contains(self):
        for part in ('b', u'b', String('bc'), '', u'\xe4', 'ä'):
            self.assertIs(part in String(u'abc\xe4'), True)
        for part in ('x', u'ac', String('B')):
            self.assertIs(part in String(u'abc\xe4'), False)
        for value in (1, None, ['a']):
            with self.assertRaises(TypeError):
                value in String('abc')

    def test_is_copied(self):
        first = String('a')
        second = String(first)
        self.assertIsNot(first, second)
        second += 'b'
        self.assertText(first, 'a')

    def test_is_derived_from(self):
        class Own(String):
            def twice(self):
                return self + self

        self.assertText(Own('a').twice(), 'aa')
        self.assertEqual(Own('a'), 'a')

    def test_long_texts_take_time_that_grows_with_them(self):
        text = u'\xe4' * 1000000
        wrapped = String(text)
        self.assertEqual(len(wrapped), 1000000)
        self.assertEqual(sum(1 for _ in wrapped), 1000000)


suite.run()
