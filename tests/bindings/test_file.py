# -*- coding: utf-8 -*-

import mmap
import os
import tempfile
import time

from KelmData import Data
from KelmUtils import Utils

import suite

File = Utils.File


class Paths(suite.FolderTestCase):

    def test_join(self):
        self.assertText(File.join('a', 'b'), 'a/b')
        self.assertText(File.join('a', '', 'b'), 'a/b')
        self.assertText(File.join('', '', 'x'), 'x')
        self.assertText(File.join('a/', 'b'), 'a//b')
        self.assertText(File.join('a', 'b', 'c', 'd', 'e', 'f'), 'a/b/c/d/e/f')
        for number in range(2, 7):
            self.assertText(File.join(*'abcdef'[:number]), '/'.join('abcdef'[:number]))
        self.assertRefusesTypes('File.join', File.join, tuple('abcdef'), 2)

    def test_base(self):
        self.assertText(File.base('/p/archive.tar.gz'), 'archive.tar')
        self.assertText(File.base('/p/archive.tar.gz', False), 'archive.tar')
        self.assertText(File.base('/p/archive.tar.gz', True), 'archive.tar.gz')
        self.assertText(File.base('/p/archive.tar.gz', 1), 'archive.tar.gz')
        self.assertRefusesTypes('File.base', File.base, ('a', True), 1)

    def test_extension(self):
        self.assertText(File.extension('/p/archive.tar.gz'), 'gz')
        self.assertText(File.extension('none'), '')
        self.assertRefusesTypes('File.extension', File.extension, ('a',))

    def test_parent_folder(self):
        self.assertText(File.parentFolder('/a/b/c'), '/a/b')
        self.assertText(File.parentFolder('a'), '.')
        self.assertRefusesTypes('File.parentFolder', File.parentFolder, ('a',))

    def test_clean_path(self):
        self.assertText(File.cleanPath('/a/./b/../c//d'), '/a/c/d')
        self.assertRefusesTypes('File.cleanPath', File.cleanPath, ('a',))

    def test_absolute_and_relative(self):
        for path, absolute in [('', False), ('.', False), ('../x', False), ('a/b', False),
                               ('/a', True), ('C:/x', True), ('\\\\server/x', True)]:
            self.assertIs(File.isAbsolute(path), absolute)
            self.assertIs(File.isRelative(path), not absolute)
        self.assertRefusesTypes('File.isAbsolute', File.isAbsolute, ('a',))
        self.assertRefusesTypes('File.isRelative', File.isRelative, ('a',))

    def test_is_same_path(self):
        self.assertIs(File.isSamePath('/A/b', '/a/./B'), True)
        self.assertIs(File.isSamePath('/a', '/b'), False)
        self.assertRefusesTypes('File.isSamePath', File.isSamePath, ('a', 'b'))

    def test_check_filter(self):
        self.assertIs(File.checkFilter('x/a.PNG', 'Images (*.png *.xpm)'), True)
        self.assertIs(File.checkFilter('a.png', '*.jpg  *.png'), True)
        self.assertIs(File.checkFilter('a.gif', '*.jpg *.png'), False)
        self.assertRefusesTypes('File.checkFilter', File.checkFilter, ('a', 'b'))

    def test_abbreviate_name(self):
        path = 'C:/one/two/three/four/five/six.txt'
        self.assertText(File.abbreviateName(path, 10, 3), 'C:/one/.../six.txt')
        self.assertText(File.abbreviateName(path), path)
        self.assertText(File.abbreviateName('x' * 79), 'x' * 79)
        parts = ['p%09d' % number for number in range(12)]
        # 80 characters for the default of the second argument, five parts for that of the third.
        short = '/'.join(parts[:2] + ['...'] + parts[-4:])
        self.assertEqual(len('/'.join(parts)), 131)
        self.assertText(File.abbreviateName('/'.join(parts)), short)
        self.assertText(File.abbreviateName('/'.join(parts), 100), short)
        self.assertText(File.abbreviateName('/'.join(parts), 80, 5), short)
        self.assertText(File.abbreviateName('/'.join(parts), 132), '/'.join(parts))
        self.assertText(File.abbreviateName('/'.join(parts[:7]), 76, 9), '/'.join(parts[:7]))
        self.assertText(File.abbreviateName('a/b/c/d/' + 'x' * 71), 'a/b/c/d/' + 'x' * 71)
        self.assertText(File.abbreviateName('a/b/c/d/' + 'x' * 72), 'a/b/.../' + 'x' * 72)
        self.assertRefusesTypes('File.abbreviateName', File.abbreviateName, ('a', 1, 2), 1)

    def test_validate_gives_the_text_and_whether_it_was_good(self):
        for arguments, text, good in [
                (('a',), 'a', True), (('a b',), 'a_b', False), (('a b', False), 'a_b', False),
                (('a b', True), 'a b', True), (('a:b',), 'ab', False),
                (('a b:c',), 'a_bc', False), (('a b:c', True), 'a bc', False)]:
            result = File.validate(*arguments)
            self.assertIs(type(result), tuple)
            self.assertEqual(len(result), 2)
            self.assertText(result[0], text)
            self.assertIs(result[1], good)
        self.assertRefusesTypes('File.validate', File.validate, ('a', True), 1)

    def test_size_string(self):
        self.assertText(File.sizeString('512'), '512 bytes')
        self.assertText(File.sizeString('1048576'), '1.01 MB')
        self.assertText(File.sizeString(self.make('two', 2048 * 'x')), '2.0 KB')
        self.assertText(File.sizeString('-5'), '')
        self.assertRefusesTypes('File.sizeString', File.sizeString, ('a',))

    def test_filters(self):
        self.assertText(File.imageFilter(True), '.png;.xpm')
        self.assertText(File.imageFilter(False), 'Image Files (*.png *.xpm *.jpg *.gif)')
        self.assertText(File.layoutFilter(True), '.ui')
        self.assertText(File.layoutFilter(False), 'Layout Files (*.ui)')
        self.assertRefusesTypes('File.imageFilter', File.imageFilter, (True,))
        self.assertRefusesTypes('File.layoutFilter', File.layoutFilter, (True,))


class Contents(suite.FolderTestCase):

    def test_kinds(self):
        path = self.make('a/file')
        self.assertEqual((File.isFile(path), File.isDir(path)), (True, False))
        folder = self.path('a')
        self.assertEqual((File.isFile(folder), File.isDir(folder)), (False, True))
        self.assertIs(File.isFile(path), True)
        self.assertIs(File.isDir(path), False)
        self.assertRefusesTypes('File.isFile', File.isFile, ('a',))
        self.assertRefusesTypes('File.isDir', File.isDir, ('a',))

    def test_exists(self):
        self.make('a.txt')
        self.assertIs(File.exists(self.path('a.txt')), True)
        self.assertIs(File.exists(self.folder), True)
        self.assertIs(File.exists(self.path('*.txt')), True)
        self.assertIs(File.exists(self.path('*.csv')), False)
        self.assertIs(File.exists(self.path('b.txt')), False)
        self.assertIs(File.exists(''), False)
        self.assertRefusesTypes('File.exists', File.exists, ('a',))

    def test_read(self):
        path = self.make('file', 'one\r\ntwo\r\nthr\xc3\xa4\xc3\xa4')
        self.assertText(File.read(path), 'one\r\ntwo\r\nthrää')
        self.assertText(File.read(path, 0), 'one\r\ntwo\r\nthrää')
        self.assertText(File.read(path, 2), 'one\ntwo\n')
        self.assertText(File.read(path, -1), 'one\r\ntwo\r\nthrää')
        self.assertText(File.read(self.make('bad', 'a\xffb')), '')
        self.assertText(File.read(self.path('missing')), '')
        for value in (None, [1], object()):
            kind = type(value).__name__
            self.assertRefuses(
                "File.read(): arguments did not match any overloaded call:\n"
                "  overload 1: argument 2 has unexpected type '{0}'\n"
                "  overload 2: argument 2 has unexpected type '{0}'".format(kind),
                File.read, path, value)
        self.assertRefuses(
            "File.read(): arguments did not match any overloaded call:\n"
            "  overload 1: not enough arguments\n"
            "  overload 2: not enough arguments", File.read)

    def test_read_in_an_encoding(self):
        path = self.make('file', 'thr\xe4\xe4\r\n')
        self.assertText(File.read(path, 'windows-1252'), 'thrää\r\n')
        self.assertText(File.read(path, u'auto'), 'thrää\r\n')
        self.assertText(File.read(path, Data.String('UTF-8')), '')
        self.assertText(File.read(path, 'none'), '')
        self.assertText(File.read(self.path('missing'), 'auto'), '')

    def test_encoding(self):
        path = self.make('file', 'thr\xe4\xe4')
        name, is_guess = File.encoding(path)
        self.assertText(name, 'windows-1252')
        self.assertIs(is_guess, True)
        name, is_guess = File.encoding(self.make('marked', '\xef\xbb\xbfx'))
        self.assertText(name, 'UTF-8')
        self.assertIs(is_guess, False)
        self.assertText(File.encoding(self.path('missing'))[0], '')
        self.assertRefusesTypes('File.encoding', File.encoding, ('a',))

    def test_encoding_of_bytes(self):
        for text, encoding, guess in [
                ('', 'UTF-8', False), ('plain', 'UTF-8', False), ('thr\xe4\xe4', 'windows-1252', True),
                ('\xef\xbb\xbfx', 'UTF-8', False), ('\xff\xfea\0', 'UTF-16LE', False),
                (u'Temperatur 20\n'.encode('utf-16-le'), 'UTF-16LE', True), (None, 'UTF-8', False),
                (buffer('thr\xe4\xe4'), 'windows-1252', True), (u'plain', 'UTF-8', False)]:
            name, is_guess = File.encodingOf(text)
            self.assertText(name, encoding)
            self.assertIs(is_guess, guess)
        for value in (1, [], {}, u'\xe4', Data.String('a')):
            with self.assertRaises(TypeError) as raised:
                File.encodingOf(value)
            self.assertTrue(str(raised.exception).startswith('File.encodingOf(): argument 1 has '
                                                             'unexpected type '))
        self.assertRefuses('File.encodingOf(): not enough arguments', File.encodingOf)
        with open(self.make('large', ''), 'r+b') as large: # without blocks on the disk
            large.truncate(2 ** 31)
            contents = mmap.mmap(large.fileno(), 0, access=mmap.ACCESS_READ)
        with self.assertRaises(OverflowError) as raised:
            File.encodingOf(contents)
        self.assertEqual(str(raised.exception), 'text is too long')

    def test_write_in_an_encoding(self):
        path = self.path('file')
        text = u'20 \xb0C \u20ac\n'
        for encoding in ('windows-1252', u'ISO-8859-15', Data.String('UTF-16')):
            self.assertIs(File.write(path, text, encoding), True)
            self.assertEqual(self.contents('file'), text.encode(str(encoding)))
            self.assertText(File.read(path, encoding), text)
        self.assertIs(File.write(path, u'\u65e5', 'ISO-8859-1'), False)
        self.assertText(File.lastError(), '.Kelm.Utils.err.encode')
        self.assertIs(File.write(path, 'x', 'none'), False)
        self.assertText(File.lastError(), '.Kelm.Utils.err.encoding')
        self.assertText(File.read(path, 'UTF-16'), text)

    def test_fallback_encoding(self):
        self.assertText(File.fallbackEncoding(), 'windows-1252')
        self.addCleanup(File.setFallbackEncoding, 'windows-1252')
        self.assertIs(File.setFallbackEncoding('latin9'), True)
        self.assertText(File.fallbackEncoding(), 'ISO-8859-15')
        self.assertIs(File.setFallbackEncoding('none'), False)
        self.assertText(File.encoding(self.make('file', '\xe4'))[0], 'ISO-8859-15')
        self.assertRefusesTypes('File.fallbackEncoding', File.fallbackEncoding, ())
        self.assertRefusesTypes('File.setFallbackEncoding', File.setFallbackEncoding, ('a',))

    def test_write_a_text(self):
        for number, text in enumerate(['täxt\n', u'täxt\n', Data.String(u'täxt\n')]):
            self.assertIs(File.write(self.path(str(number)), text), True)
            self.assertEqual(self.contents(str(number)), 'täxt\n')
        self.assertIs(File.write(self.path('missing', 'x'), 'text'), False)

    def test_write_a_list(self):
        for number, lines in enumerate([['ä', 'b'], [u'ä', u'b'], (Data.String('ä'), 'b')]):
            self.assertIs(File.write(self.path(str(number)), lines), True)
            self.assertEqual(self.contents(str(number)), 'ä\nb\n')
        self.assertIs(File.write(self.path('none'), []), True)
        self.assertEqual(self.contents('none'), '')

    def test_write_takes_a_text_for_a_text_first(self):
        File.write(self.path('x'), 'abc')
        self.assertEqual(self.contents('x'), 'abc')  # and not a, b, c in lines
        File.write(self.path('x'), '')
        self.assertEqual(self.contents('x'), '')

    def assertReplaced(self, path, before):
        """path is another file than the one with the number before."""
        if os.name != 'nt':  # Python tells no numbers there
            self.assertNotEqual(os.stat(path).st_ino, before)

    def test_write_safely(self):
        path = self.make('file', 'old')
        for value, expected in [('t\xc3\xa4xt', 't\xc3\xa4xt'), (u'b', 'b'), (['a', u'b'], 'a\nb\n')]:
            before = os.stat(path).st_ino
            self.assertIs(File.writeSafely(path, value), True)
            self.assertEqual(self.contents('file'), expected)
            self.assertReplaced(path, before)
        self.assertEqual(os.listdir(self.folder), ['file'])
        self.assertIs(File.writeSafely(self.path('missing', 'x'), 'text'), False)
        self.assertRefuses(
            "File.writeSafely(): arguments did not match any overloaded call:\n"
            "  overload 1: argument 2 has unexpected type 'int'\n"
            "  overload 2: argument 2 has unexpected type 'int'", File.writeSafely, path, 1)

    def test_set_safe_writing(self):
        path = self.make('file', 'old')
        before = os.stat(path).st_ino
        self.assertIs(File.isSafeWriting(), False)
        self.assertIs(File.write(path, 'in place'), True)
        self.assertEqual(os.stat(path).st_ino, before)
        for arguments in [(True,), (True, False), (True, True)]:
            before = os.stat(path).st_ino
            self.assertIs(File.setSafeWriting(*arguments), None)
            self.assertIs(File.isSafeWriting(), True)
            self.assertIs(File.write(path, 'beside'), True)
            self.assertReplaced(path, before)
        File.setSafeWriting(False)
        self.assertIs(File.isSafeWriting(), False)
        self.assertRefusesTypes('File.setSafeWriting', File.setSafeWriting, (False, True), 1)

    def test_last_error(self):
        self.assertText(File.read(self.path('none')), '')
        self.assertText(File.lastError(), '.Kelm.Utils.err.nofile')  # its texts are not loaded
        self.assertText(File.read(self.make('bad', 'a\xffb')), '')
        self.assertText(File.lastError(), '.Kelm.Utils.err.utf8')
        self.assertText(File.read(self.make('good', 'a')), 'a')
        self.assertText(File.lastError(), '')

    def test_write_refuses_both(self):
        path = self.path('x')
        for value in (None, 1, 1.5, True, {}, object(), [1], ['a', None], [['a']]):
            kind = type(value).__name__
            self.assertRefuses(
                "File.write(): arguments did not match any overloaded call:\n"
                "  overload 1: argument 2 has unexpected type '{0}'\n"
                "  overload 2: argument 2 has unexpected type '{0}'\n"
                "  overload 3: argument 2 has unexpected type '{0}'".format(kind),
                File.write, path, value)
        self.assertRefuses(
            "File.write(): arguments did not match any overloaded call:\n"
            "  overload 1: not enough arguments\n"
            "  overload 2: not enough arguments\n"
            "  overload 3: not enough arguments", File.write, path)
        self.assertRefuses(
            "File.write(): arguments did not match any overloaded call:\n"
            "  overload 1: argument 1 has unexpected type 'int'\n"
            "  overload 2: argument 1 has unexpected type 'int'\n"
            "  overload 3: argument 1 has unexpected type 'int'", File.write, 1, 'text')
        self.assertRefuses(
            "File.write(): arguments did not match any overloaded call:\n"
            "  overload 1: too many arguments\n"
            "  overload 2: argument 2 has unexpected type 'str'\n"
            "  overload 3: argument 3 has unexpected type 'int'", File.write, path, 'text', 1)
        self.assertFalse(os.path.exists(path))

    def test_size(self):
        self.assertLong(File.size(self.make('file', 5 * 'x')), 5)
        self.assertLong(File.size(self.path('missing')), 0)
        with open(self.path('large'), 'wb') as stream:
            stream.truncate(5 * 2 ** 30)
        self.assertLong(File.size(self.path('large')), 5 * 2 ** 30)
        self.assertRefusesTypes('File.size', File.size, ('a',))

    def test_timestamps(self):
        path = self.make('file')
        os.utime(path, (2 ** 31 + 5, 2 ** 31 + 5))  # beyond a signed int
        self.assertLong(File.timestamp(path), 2 ** 31 + 5)
        self.assertLong(File.timestamp(self.path('missing')), 0)
        os.utime(path, (86400 * 365, 86400 * 365))
        local = time.localtime(86400 * 365)
        self.assertText(File.timestampString(path), time.strftime('%Y-%m-%dT%H:%M:%S', local))
        self.assertText(File.timestampString(path, ''), time.strftime('%Y-%m-%dT%H:%M:%S', local))
        self.assertText(File.timestampString(path, 'yyyy/MM'), time.strftime('%Y/%m', local))
        self.assertText(File.timestampString(self.path('missing')), '')
        self.assertRefusesTypes('File.timestamp', File.timestamp, ('a',))
        self.assertRefusesTypes('File.timestampString', File.timestampString, ('a', 'b'), 1)


class Trees(suite.FolderTestCase):

    def test_copy(self):
        source = self.make('source', 'new')
        target = self.make('target', 'old')
        self.assertIs(File.copy(source, target, 0), False)
        self.assertEqual(self.contents('target'), 'old')
        os.utime(target, None)
        os.utime(source, (1000, 1000))
        self.assertIs(File.copy(source, target, -1), True)
        self.assertEqual(self.contents('target'), 'old')
        self.assertIs(File.copy(source, target), True)  # as with 1
        self.assertEqual(self.contents('target'), 'new')
        self.make('target', 'old')
        self.assertIs(File.copy(source, target, 1), True)
        self.assertEqual(self.contents('target'), 'new')
        self.assertIs(File.copy(self.path('missing'), target), False)
        self.assertRefusesTypes('File.copy', File.copy, ('a', 'b', 1), 2)

    def test_copy_dir(self):
        self.make('source/file', 'new')
        self.make('source/sub/file', 'new')
        source, target = self.path('source'), self.path('target')
        self.assertInt(File.copyDir(source, target), 1)
        self.assertEqual(self.contents('target/source/sub/file'), 'new')
        self.make('target/source/file', 'old')
        self.assertInt(File.copyDir(source, target, 0), 0)
        self.assertEqual(self.contents('target/source/file'), 'old')
        self.assertInt(File.copyDir(source, target), 1)  # the default replaces
        self.assertEqual(self.contents('target/source/file'), 'new')
        self.assertInt(File.copyDir(self.path('missing'), target), 0)
        self.assertRefusesTypes('File.copyDir', File.copyDir, ('a', 'b', 1), 2)

    def test_move(self):
        self.make('a', 'new')
        self.make('b', 'old')
        self.assertIsNone(File.move(self.path('a'), self.path('b')))
        self.assertEqual((self.listing(), self.contents('b')), (['b'], 'new'))
        self.assertRefusesTypes('File.move', File.move, ('a', 'b'))

    def test_move_dir(self):
        self.make('a1/x')
        self.make('a2/y')
        os.mkdir(self.path('target'))
        self.assertIsNone(File.moveDir(self.path('a*'), self.path('target')))
        self.assertEqual((self.listing(), self.listing('target')), (['target'], ['a1', 'a2']))
        self.assertRefusesTypes('File.moveDir', File.moveDir, ('a', 'b'))

    def test_remove(self):
        for name in ('dir/a', 'dir/b', 'dir/keep.txt', 'dir/sub/c', 'file'):
            self.make(name)
        self.assertInt(File.remove(self.path('file')), 1)
        self.assertInt(File.remove(self.path('file')), 0)
        self.assertInt(File.remove(self.path('dir/*'), 'a\nsub'), 2)
        self.assertEqual(self.listing('dir'), ['a', 'sub'])
        self.assertInt(File.remove(self.path('dir/*'), '*b'), 1)
        self.assertEqual(self.listing('dir'), ['sub'])
        self.assertInt(File.remove(self.path('dir/*')), 2)  # the default keeps nothing
        self.assertEqual(self.listing('dir'), [])
        self.assertInt(File.remove(self.path('dir')), 1)
        self.assertEqual(self.listing(), [])
        self.assertRefusesTypes('File.remove', File.remove, ('a', 'b'), 1)

    def test_create_dir(self):
        self.assertIs(File.createDir(self.path('a/b/c')), True)
        self.assertTrue(os.path.isdir(self.path('a/b/c')))
        self.make('file')
        self.assertIs(File.createDir(self.path('file/b')), False)
        self.assertRefusesTypes('File.createDir', File.createDir, ('a',))


class Search(suite.FolderTestCase):

    def test_search(self):
        for name in ('a.x', 'b.x', 'c.y', 'sub/d.x'):
            self.make(name)
        found = File.search(self.folder, '*.x')
        self.assertTexts(sorted(found), [self.path(name) for name in ('a.x', 'b.x', 'sub/d.x')])
        self.assertEqual(len(File.search(self.folder, '*.x', True)), 3)
        self.assertEqual(len(File.search(self.folder, '*.x', False)), 2)
        self.assertEqual(len(File.search(self.folder, '*.x;*.y', False, 0)), 3)
        self.assertEqual(len(File.search(self.folder, '*.x', True, 1)), 1)
        self.assertTexts(File.search(self.path('missing'), '*'), [])
        self.assertRefusesTypes('File.search', File.search, ('a', 'b', True, 1), 2)

    def test_find(self):
        path = self.make('sub/a.x')
        self.assertText(File.find(self.folder, '*.x'), '')
        self.assertText(File.find(self.folder, '*.x', False), '')
        self.assertText(File.find(self.folder, '*.x', True), path)
        self.assertRefusesTypes('File.find', File.find, ('a', 'b', True), 2)

    def test_search_in_files_of_a_list(self):
        paths = [self.make('a', 'one\ntwo'), self.make('b', 'two')]
        self.assertText(File.searchInFiles('two', paths), paths[0])
        self.assertText(File.searchInFiles('two', paths, 0), paths[0])
        self.assertText(File.searchInFiles('two', paths, 1), paths[1])
        self.assertText(File.searchInFiles(u'two', [Data.String(paths[1])]), paths[1])
        self.assertText(File.searchInFiles('three', paths), '')
        self.assertText(File.searchInFiles('two', []), '')

    def test_search_in_files_of_a_folder(self):
        path = self.make('a.x', 'one\ntwo')
        self.assertText(File.searchInFiles('two', self.folder, '*.x'), path)
        self.assertText(File.searchInFiles('two', self.folder, '*.x', 0), path)
        self.assertText(File.searchInFiles('two', self.folder, '*.x', 1), '')
        self.assertText(File.searchInFiles('two', self.folder, '*.y'), '')

    def test_search_in_files_refuses_both(self):
        self.assertRefuses(
            "File.searchInFiles(): arguments did not match any overloaded call:\n"
            "  overload 1: argument 2 has unexpected type 'str'\n"
            "  overload 2: not enough arguments", File.searchInFiles, 'text', 'folder')
        self.assertRefuses(
            "File.searchInFiles(): arguments did not match any overloaded call:\n"
            "  overload 1: argument 3 has unexpected type 'str'\n"
            "  overload 2: argument 2 has unexpected type 'list'",
            File.searchInFiles, 'text', ['file'], '*.x')
        self.assertRefuses(
            "File.searchInFiles(): arguments did not match any overloaded call:\n"
            "  overload 1: argument 2 has unexpected type 'str'\n"
            "  overload 2: argument 4 has unexpected type 'str'",
            File.searchInFiles, 'text', 'folder', '*.x', '1')

    def test_resources(self):
        self.assertIsNone(File.setSearchPath(self.path('res'), self.path('plugins')))
        self.addCleanup(File.setSearchPath, '../res', '')
        name = os.path.basename(self.folder)  # what is found is remembered by its name
        icon = self.make('res/icons/%s.png' % name)
        plugin = self.make('plugins/of/%s/leaf.xml' % name)
        self.assertText(File.findResource(name), '')
        self.assertText(File.findResource(name, '.jpg'), '')
        self.assertText(File.findResource(name, '.png'), icon)
        self.assertText(File.findResource('of.%s.leaf' % name, '.xml'), plugin)
        self.assertText(File.findResource(''), '')
        self.assertText(File.findResource(icon), icon)
        self.assertRefusesTypes('File.findResource', File.findResource, ('a', 'b'), 1)
        self.assertRefusesTypes('File.setSearchPath', File.setSearchPath, ('a', 'b'))

    def test_temp_path(self):
        settings = Utils.Settings('gui')
        settings.setString('tempPath', '/of/its/own')
        self.assertText(File.tempPath(), '/of/its/own')
        settings.removeKey('tempPath')
        if os.name == 'nt':
            self.assertIs(File.isSamePath(File.tempPath(), tempfile.gettempdir()), True)
        else:
            self.assertText(File.tempPath(), os.environ.get('TMPDIR', '/tmp').rstrip('/'))
        self.assertRefuses('File.tempPath(): too many arguments', File.tempPath, 'a')


class Class(suite.FolderTestCase):

    def test_is_a_static_holder(self):
        self.assertRefuses('File...', File)
        for argument in (None, 1, 'text', File):
            with self.assertRaises(TypeError):
                File(argument)

        class Derived(File):
            pass
        with self.assertRaises(TypeError):
            Derived()
        self.assertText(Derived.join('a', 'b'), 'a/b')

    def test_has_these_methods_and_no_others(self):
        names = [name for name in dir(File) if not name.startswith('_')]
        self.assertEqual(names, [
            'abbreviateName', 'base', 'checkFilter', 'cleanPath', 'copy', 'copyDir', 'createDir',
            'encoding', 'encodingOf', 'exists', 'extension', 'fallbackEncoding', 'find',
            'findResource', 'imageFilter', 'isAbsolute', 'isDir', 'isFile', 'isRelative',
            'isSafeWriting', 'isSamePath', 'join', 'lastError', 'layoutFilter', 'move', 'moveDir',
            'parentFolder', 'read', 'remove', 'search', 'searchInFiles', 'setFallbackEncoding',
            'setSafeWriting', 'setSearchPath', 'size', 'sizeString', 'tempPath', 'timestamp',
            'timestampString', 'validate', 'write', 'writeSafely'])

    def test_takes_and_gives_any_text(self):
        for text in (u'', u'plain', u'\xe4\xf6\u20ac', u'\u65e5\u672c', u'\U0001f600', u'a\0b'):
            wrapped = Data.String(text)
            for argument in (text, text.encode('utf-8'), wrapped):
                self.assertText(File.join(argument, ''), text)
        name = u'n\xe4me \u65e5 \U0001f600'
        self.assertIs(File.write(self.path('').decode('utf-8') + name, name), True)
        self.assertEqual(os.listdir(self.folder.decode('utf-8')), [name])
        self.assertTexts(File.search(self.folder, '*'),
                         [(self.path('')).decode('utf-8') + name])
        self.assertText(File.read(self.path(name.encode('utf-8'))), name)

    def test_takes_bytes_that_are_no_utf8(self):
        result = File.join('a\xff', 'b')
        self.assertText(result, u'a\ufffd/b')

    def test_takes_paths_with_a_zero_byte_for_what_is_not_there(self):
        self.make('a')
        for path in (self.path('a') + '\0', u'\0', self.path('a\0b')):
            self.assertIs(File.isFile(path), False)
            self.assertLong(File.size(path), 0)

    def test_takes_no_keywords(self):
        with self.assertRaises(TypeError):
            File.join(a='a', b='b')

    def test_takes_subclasses_of_texts(self):
        class Text(str):
            pass

        class Wide(unicode):
            pass

        class Wrapped(Data.String):
            pass
        for kind in (Text, Wide, Wrapped):
            self.assertText(File.join(kind('a'), kind('b')), 'a/b')


suite.run()
