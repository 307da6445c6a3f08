# -*- coding: utf-8 -*-
"""What the test scripts in this folder share. Each ends with suite.run()."""

import gc
import os
import shutil
import StringIO
import sys
import tempfile
import unittest

from KelmData import Data


class TestCase(unittest.TestCase):
    """Assertions that look at the type of a result too."""

    maxDiff = None

    def assertText(self, value, expected):
        """value is a wrapped text, equal to expected, which is UTF-8 or unicode."""
        self.assertIs(type(value), Data.String)
        if isinstance(expected, str):
            expected = expected.decode('utf-8')
        self.assertEqual(unicode(value), expected)

    def assertTexts(self, values, expected):
        """values is a list of wrapped texts, equal to the list expected."""
        self.assertIs(type(values), list)
        self.assertEqual([unicode(value) for value in values],
                         [unicode(text) for text in expected])
        for value in values:
            self.assertIs(type(value), Data.String)

    def assertInt(self, value, expected):
        self.assertIs(type(value), int)
        self.assertEqual(value, expected)

    def assertLong(self, value, expected):
        self.assertIs(type(value), long)
        self.assertEqual(value, expected)

    def assertRefuses(self, message, call, *arguments):
        """call raises a TypeError with this text, or with one that begins so and ends in '...'."""
        with self.assertRaises(TypeError) as raised:
            call(*arguments)
        text = str(raised.exception)
        if message.endswith('...'):
            text = text[:len(message) - 3] + '...'
        self.assertEqual(text, message)

    def assertRefusesTypes(self, name, call, good, minimum=None):
        """call, shown as name, wants arguments like the tuple good, the first minimum of them.

        It must refuse one argument fewer, one more, and at each position None, an object, and any
        value that does not convert to the text or number expected there.
        """
        minimum = len(good) if minimum is None else minimum
        if minimum:
            self.assertRefuses(name + '(): not enough arguments', call, *good[:minimum - 1])
        self.assertRefuses(name + '(): too many arguments', call, *(good + (good or (0,))[-1:]))
        for place, argument in enumerate(good):
            wrong = [None, object()]
            if isinstance(argument, (bool, int)):
                wrong += ['1', u'1', [1]]
            elif isinstance(argument, list):
                wrong += ['text', u'text', Data.String('text'), 1, [1], ['a', None]]
            else:
                wrong += [1, 1.5, True, ['text'], ('text',), {}]
            for value in wrong:
                arguments = good[:place] + (value,) + good[place + 1:]
                self.assertRefuses("{}(): argument {} has unexpected type '{}'".format(
                    name, place + 1, type(value).__name__), call, *arguments)


class FolderTestCase(TestCase):
    """Has a folder of its own, in self.folder. Paths are written with "/", as the library does."""

    def setUp(self):
        self.folder = tempfile.mkdtemp().replace(os.sep, '/')
        self.addCleanup(shutil.rmtree, self.folder, True)

    def path(self, *names):
        return '/'.join((self.folder,) + names)

    def make(self, name, contents='x'):
        """Writes a file, with the folders that it needs, and returns its path."""
        path = self.path(name)
        if not os.path.isdir(os.path.dirname(path)):
            os.makedirs(os.path.dirname(path))
        with open(path, 'wb') as stream:
            stream.write(contents)
        return path

    def contents(self, name):
        with open(self.path(name), 'rb') as stream:
            return stream.read()

    def listing(self, name=''):
        return sorted(os.listdir(self.path(name)))


def run():
    """Runs the test cases of the script, and leaves in it what the test program looks at."""
    script = sys.modules['__main__']
    output = StringIO.StringIO()
    tests = unittest.defaultTestLoader.loadTestsFromModule(script)
    result = unittest.TextTestRunner(output, verbosity=2).run(tests)

    text = output.getvalue()
    script.testOutput = text.encode('utf-8') if isinstance(text, unicode) else text
    script.testsRun = result.testsRun - len(result.skipped)
    if not result.wasSuccessful():
        raise AssertionError('tests have failed')
