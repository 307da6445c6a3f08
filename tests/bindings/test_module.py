# -*- coding: utf-8 -*-

import inspect
import sys
import types

import KelmData
import KelmUtils
import sip

import suite

CLASSES = ['File', 'MemoryChecker', 'Process', 'Progress', 'ProgressRange', 'Settings',
           'StringTable', 'WaitCursor', 'WorkspaceSettings']


class Module(suite.TestCase):

    def test_is_built_in(self):
        self.assertIs(sys.modules['KelmUtils'], KelmUtils)
        self.assertFalse(hasattr(KelmUtils, '__file__'))
        self.assertFalse(hasattr(KelmData, '__file__'))

    def test_holds_the_scope_alone(self):
        self.assertEqual([name for name in dir(KelmUtils) if not name.startswith('_')], ['Utils'])
        self.assertEqual([name for name in dir(KelmData) if not name.startswith('_')], ['Data'])

    def test_scope_holds_the_classes_alone(self):
        names = [name for name in dir(KelmUtils.Utils) if not name.startswith('_')]
        self.assertEqual(names, CLASSES)
        for name in names:
            self.assertTrue(inspect.isclass(getattr(KelmUtils.Utils, name)), name)
            self.assertEqual(getattr(KelmUtils.Utils, name).__name__, name)
            self.assertEqual(getattr(KelmUtils.Utils, name).__module__, 'KelmUtils')

    def test_scope_cannot_be_made(self):
        for scope in (KelmUtils.Utils, KelmData.Data):
            with self.assertRaises(TypeError):
                scope()

    def test_scope_is_what_a_star_brings(self):
        names = {}
        exec 'from KelmData import *\nfrom KelmUtils import *' in names
        del names['__builtins__']
        self.assertEqual(sorted(names), ['Data', 'Utils'])
        self.assertIs(names['Utils'], KelmUtils.Utils)

    def test_classes_have_methods_alone(self):
        for name in CLASSES:
            for member, value in vars(getattr(KelmUtils.Utils, name)).items():
                if not member.startswith('_'):
                    self.assertTrue(callable(getattr(getattr(KelmUtils.Utils, name), member)),
                                    name + '.' + member)

    def test_importing_again_gives_the_same_module(self):
        self.assertIs(__import__('KelmUtils'), KelmUtils)
        del sys.modules['KelmUtils']
        try:
            again = __import__('KelmUtils')
        except ImportError:
            pass  # it is no file that could be found
        else:
            self.assertIs(again, KelmUtils)
        finally:
            sys.modules['KelmUtils'] = KelmUtils
        self.assertEqual(str(KelmUtils.Utils.File.join('a', 'b')), 'a/b')

    def test_is_wrapped_by_the_runtime(self):
        self.assertEqual(type(KelmUtils.Utils.File), sip.wrappertype)
        self.assertIsInstance(sip.SIP_VERSION, int)
        self.assertIsInstance(KelmUtils.__dict__, dict)
        self.assertIs(type(KelmUtils), types.ModuleType)


suite.run()
