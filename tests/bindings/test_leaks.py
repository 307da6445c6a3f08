# -*- coding: utf-8 -*-
"""No call leaks objects, references or memory.

Each call is made ten thousand times in all, with texts of each kind. The texts are so long that a
leaked copy shows in the memory of the process.
"""

import gc
import sys

from KelmData import Data
from KelmUtils import Utils

import suite
import testhost

File, MemoryChecker, Process, Progress = (
    Utils.File, Utils.MemoryChecker, Utils.Process, Utils.Progress)
Settings, StringTable, WaitCursor, WorkspaceSettings = (
    Utils.Settings, Utils.StringTable, Utils.WaitCursor, Utils.WorkspaceSettings)

# The sanitizers slow calls down, and find leaks of a few calls by themselves.
COUNT = 1000 if testhost.sanitized else 10000
TEXT = '/dev/null/' + 4000 * 'x'  # where nothing can be made
KINDS = {'bytes': TEXT, 'unicode': unicode(TEXT), 'wrapped': Data.String(TEXT)}

# What takes too long to be made so often, and how often it is made.
SLOW = {'File.find': 100, 'File.move': 100, 'File.moveDir': 100, 'File.search': 100,
        'File.searchInFiles of a folder': 100, 'Process.sendData': 1000, 'Process.run': 30,
        'Process.run with lines': 30, 'Process.start': 30, 'Process.wait': 30}

settings = Settings('Leaks')
workspace = WorkspaceSettings('Leaks')
process = Process()
reader = Process('/bin/sh', ['-c', 'exec cat >/dev/null'])
reader.start()
checker = MemoryChecker()


def reporting(use):
    """use(progress, text), with a reporter for each call."""
    return lambda t: use(Progress(100, t, True, False, False), t)


def run(t):
    running = Process('/bin/true', [t])
    running.start()
    running.wait()


CALLS = {
    'File.abbreviateName': lambda t: File.abbreviateName(t, 10, 3),
    'File.base': lambda t: File.base(t, True),
    'File.checkFilter': lambda t: File.checkFilter('a', 'b'),
    'File.cleanPath': lambda t: File.cleanPath(t),
    'File.copy': lambda t: File.copy(t, t, 1),
    'File.copyDir': lambda t: File.copyDir(t, t, 1),
    'File.createDir': lambda t: File.createDir(t),
    'File.encoding': lambda t: File.encoding(t),
    'File.encodingOf': lambda t: File.encodingOf('thr\xe4\xe4'),
    'File.exists': lambda t: File.exists(t),
    'File.extension': lambda t: File.extension(t),
    'File.fallbackEncoding': lambda t: File.fallbackEncoding(),
    'File.find': lambda t: File.find(t, t, True),
    'File.findResource': lambda t: File.findResource(t, t),
    'File.imageFilter': lambda t: File.imageFilter(True),
    'File.isAbsolute': lambda t: File.isAbsolute(t),
    'File.isDir': lambda t: File.isDir(t),
    'File.isFile': lambda t: File.isFile(t),
    'File.isRelative': lambda t: File.isRelative(t),
    'File.isSamePath': lambda t: File.isSamePath(t, t),
    'File.join': lambda t: File.join(t, t, t, t, t, t),
    'File.layoutFilter': lambda t: File.layoutFilter(False),
    'File.move': lambda t: File.move('/dev/null/a', '/dev/null/b'),
    'File.moveDir': lambda t: File.moveDir('/dev/null/a', '/dev/null/b'),
    'File.parentFolder': lambda t: File.parentFolder(t),
    'File.read': lambda t: File.read(t, 1),
    'File.read in an encoding': lambda t: File.read(t, t),
    'File.remove': lambda t: File.remove(t, t),
    'File.search': lambda t: File.search(t, t, True, 1),
    'File.searchInFiles': lambda t: File.searchInFiles(t, [t, t], 1),
    'File.searchInFiles of a folder': lambda t: File.searchInFiles(t, t, t, 1),
    'File.setFallbackEncoding': lambda t: File.setFallbackEncoding(t),
    'File.setSearchPath': lambda t: File.setSearchPath(t, t),
    'File.size': lambda t: File.size(t),
    'File.sizeString': lambda t: File.sizeString(t),
    'File.tempPath': lambda t: File.tempPath(),
    'File.timestamp': lambda t: File.timestamp(t),
    'File.timestampString': lambda t: File.timestampString(t, t),
    'File.validate': lambda t: File.validate(t, True),
    'File.write': lambda t: File.write(t, t),
    'File.write in an encoding': lambda t: File.write(t, t, t),
    'File.write of lines': lambda t: File.write(t, (t, t)),
    'File.isSafeWriting': lambda t: File.isSafeWriting(),
    'File.lastError': lambda t: File.lastError(),
    'File.setSafeWriting': lambda t: File.setSafeWriting(False, True),
    'File.writeSafely': lambda t: File.writeSafely(t, t),
    'File.writeSafely of lines': lambda t: File.writeSafely(t, (t, t)),
    'MemoryChecker': lambda t: MemoryChecker(),
    'MemoryChecker.check': lambda t: checker.check(),
    'MemoryChecker.checkHeap': lambda t: MemoryChecker.checkHeap(5),
    'MemoryChecker.dumpDifference': lambda t: checker.dumpDifference(),
    'MemoryChecker.dumpLeaks': lambda t: MemoryChecker.dumpLeaks(),
    'MemoryChecker.dumpLeaksAtExit': lambda t: MemoryChecker.dumpLeaksAtExit(),
    'MemoryChecker.dumpNewObjects': lambda t: checker.dumpNewObjects(),
    'MemoryChecker.setBreakAlloc': lambda t: MemoryChecker.setBreakAlloc(5),
    'MemoryChecker.setBreakAllocOffset': lambda t: checker.setBreakAllocOffset(5),
    'MemoryChecker.setCheckAlways': lambda t: MemoryChecker.setCheckAlways(True),
    'MemoryChecker.setKeepFreed': lambda t: MemoryChecker.setKeepFreed(True),
    'MemoryChecker.setReportFile': lambda t: MemoryChecker.setReportFile(t),
    'MemoryChecker.startId': lambda t: checker.startId(),
    'Process': lambda t: Process(t, [t, t]),
    'Process.errorMessage': lambda t: process.errorMessage(),
    'Process.exitCode': lambda t: process.exitCode(),
    'Process.fullCommand': lambda t: Process(t, [t]).fullCommand(),
    'Process.isRunning': lambda t: process.isRunning(),
    'Process.kill': lambda t: process.kill(),
    'Process.normalExit': lambda t: process.normalExit(),
    'Process.output': lambda t: process.output(),
    'Process.recentOutput': lambda t: process.recentOutput(),
    'Process.errorOutput': lambda t: process.errorOutput(),
    'Process.quotedCommand': lambda t: Process(t, [t]).quotedCommand(),
    'Process.run': lambda t: Process('/bin/true', [t]).run(),
    'Process.run with lines': lambda t: Process('/bin/echo', [t]).run(-1, lambda *line: None),
    'Process.setSeparateErrorOutput': lambda t: process.setSeparateErrorOutput(False),
    'Process.setStopPolicy': lambda t: process.setStopPolicy(-1, True),
    'Process.stop': lambda t: process.stop(),
    'Process.sendData': lambda t: reader.sendData(t, 60000),
    'Process.setArguments': lambda t: process.setArguments([t, t]),
    'Process.setCommand': lambda t: process.setCommand(t),
    'Process.setMessage': lambda t: process.setMessage(t),
    'Process.setWorkingDirectory': lambda t: process.setWorkingDirectory(t),
    'Process.start': run,
    'Process.wait': run,
    'Progress': lambda t: Progress(100, t, True, True, True),
    'Progress in the background': lambda t: Progress(),
    'ProgressRange': reporting(lambda p, t: Utils.ProgressRange(p, 0, 50)),
    'Progress.cancel': reporting(lambda p, t: p.cancel()),
    'Progress.cancelled': reporting(lambda p, t: p.cancelled()),
    'Progress.count': reporting(lambda p, t: p.count()),
    'Progress.current': reporting(lambda p, t: (Progress.current(), Progress.current())),
    'Progress.current of none': lambda t: Progress.current(),
    'Progress.elapsed': reporting(lambda p, t: p.elapsed()),
    'Progress.hide': reporting(lambda p, t: p.hide()),
    'Progress.id': reporting(lambda p, t: p.id()),
    'Progress.isCancelable': reporting(lambda p, t: Progress.isCancelable()),
    'Progress.isPopup': reporting(lambda p, t: p.isPopup()),
    'Progress.label': reporting(lambda p, t: p.label()),
    'Progress.maxSteps': reporting(lambda p, t: p.maxSteps()),
    'Progress.rate': reporting(lambda p, t: p.rate()),
    'Progress.remaining': reporting(lambda p, t: p.remaining()),
    'Progress.restore': reporting(lambda p, t: (p.save(), p.restore())),
    'Progress.setCount': reporting(lambda p, t: p.setCount(5)),
    'Progress.setId': reporting(lambda p, t: p.setId(t)),
    'Progress.setLabel': reporting(lambda p, t: p.setLabel(t)),
    'Progress.setMaxSteps': reporting(lambda p, t: p.setMaxSteps(5)),
    'Progress.show': reporting(lambda p, t: p.show()),
    'Progress.setUnit': reporting(lambda p, t: p.setUnit(t)),
    'Progress.tick': reporting(lambda p, t: p.tick(5)),
    'Progress.unit': reporting(lambda p, t: p.unit()),
    'Settings': lambda t: Settings(t),
    'Settings.addMRU': lambda t: settings.addMRU('list', t),
    'Settings.beginGroup': lambda t: settings.beginGroup(t).endGroup(),
    'Settings.changedFromDefaults': lambda t: settings.changedFromDefaults(),
    'Settings.copyKey': lambda t: settings.copyKey(t, t + 'x', True),
    'Settings.exportTo': lambda t: settings.exportTo('/no/' + t),
    'Settings.firstMRUPath': lambda t: settings.firstMRUPath('list'),
    'Settings.getBool': lambda t: settings.getBool(t, True),
    'Settings.getInt': lambda t: settings.getInt(t, 5),
    'Settings.getMRU': lambda t: settings.getMRU(t, True, 5, t),
    'Settings.getString': lambda t: settings.getString(t, t),
    'Settings.getValue': lambda t: settings.getValue(t, t),
    'Settings.getValue of a list': lambda t: settings.getValue(t, [t, t]),
    'Settings.groups': lambda t: settings.groups(t),
    'Settings.importFrom': lambda t: settings.importFrom(t),
    'Settings.keys': lambda t: settings.keys(t),
    'Settings.removeKey': lambda t: settings.removeKey(t),
    'Settings.removeMRU': lambda t: settings.removeMRU('list', t),
    'Settings.renameKey': lambda t: settings.renameKey(t, t + 'x', True),
    'Settings.resetGroup': lambda t: settings.resetGroup(t),
    'Settings.setBool': lambda t: settings.setBool('a', True),
    'Settings.setDefault': lambda t: settings.setDefault('a', t, True),
    'Settings.setInt': lambda t: settings.setInt('a', 5),
    'Settings.setString': lambda t: settings.setString('a', t),
    'Settings.setValue': lambda t: settings.setValue('a', Data.Variant(t)),
    'Settings.setValue of a list': lambda t: settings.setValue('a', [t, t]),
    'Settings.status': lambda t: settings.status(),
    'Settings.sync': lambda t: settings.sync(),
    'StringTable.initialize': lambda t: StringTable.initialize('', t, t),
    'StringTable.load': lambda t: StringTable.load(t),
    'StringTable.lookup': lambda t: StringTable.lookup(t),
    'StringTable.lookup of a form': lambda t: StringTable.lookup(TEXT, 'Form'),
    'StringTable.lookupi': lambda t: StringTable.lookupi(t, 0, ','),
    'StringTable.lookupk': lambda t: StringTable.lookupk(t, t),
    'StringTable.lookupn': lambda t: StringTable.lookupn(t, 1.5, 1),
    'StringTable.lookupx': lambda t: StringTable.lookupx(t, t),
    'StringTable.missingKeys': lambda t: StringTable.missingKeys(t),
    'StringTable.pluralForm': lambda t: StringTable.pluralForm(1, t),
    'StringTable.pluralForms': lambda t: StringTable.pluralForms(t),
    'WaitCursor': lambda t: WaitCursor(WaitCursor(False, True)),
    'WaitCursor.activated': lambda t: WaitCursor.activated(),
    'WaitCursor.reset': lambda t: WaitCursor(False, True).reset(),
    'WorkspaceSettings': lambda t: WorkspaceSettings(t),
    'WorkspaceSettings.setInt': lambda t: workspace.setInt('a', 1),
    'String': lambda t: Data.String(t),
    'String +': lambda t: (Data.String(t) + t, t + Data.String(t)),
    'String ==': lambda t: (Data.String(t) == t, t != Data.String(t), Data.String(t) < t),
    'String as text': lambda t: (str(Data.String(t)), unicode(Data.String(t)),
                                 repr(Data.String(t)), hash(Data.String(t))),
    'String parts': lambda t: (Data.String(t)[5], Data.String(t)[5:], t in Data.String(t),
                               next(iter(Data.String(t))), len(Data.String(t))),
    'String %': lambda t: Data.String('%s %s') % (t, t),
    'Variant': lambda t: Data.Variant(Data.Variant(t)),
    'Variant of a list': lambda t: Data.Variant([t, t]).toStringList(),
    'Variant of numbers': lambda t: [Data.Variant(value).toDouble()
                                     for value in (None, True, 5, 1.5, 2 ** 40)],
    'Variant.toString': lambda t: (Data.Variant(t).toString(), str(Data.Variant(t)),
                                   unicode(Data.Variant(t)), repr(Data.Variant(t))),
    'Variant ==': lambda t: Data.Variant(t) == Data.Variant(t),
}


def refusing(call, error=TypeError):
    def refused(t):
        try:
            call(t)
        except error:
            return
        raise AssertionError('nothing was raised')
    return refused


REFUSED = {
    'a last argument': refusing(lambda t: File.join(t, t, t, t, t, 1)),
    'too many': refusing(lambda t: File.join(t, t, t, t, t, t, t)),
    'an item of a list': refusing(lambda t: process.setArguments([t, t, None])),
    'all overloads': refusing(lambda t: File.searchInFiles(t, [t], [t])),
    'a text for a number': refusing(lambda t: settings.getInt(t, t)),
    'an object for a variant': refusing(lambda t: settings.setValue(t, object())),
    'an argument of a constructor': refusing(lambda t: Process(t, [t, 1])),
    'a formatted text': refusing(lambda t: Data.String('%d') % t),
    'an index': refusing(lambda t: Data.String(t)[5000], IndexError),
}


def memory():
    """What the process holds, in bytes."""
    with open('/proc/self/statm') as stream:
        return int(stream.read().split()[1]) * 4096


class Leaks(suite.TestCase):

    def setUp(self):
        testhost.quiet(True)
        self.addCleanup(testhost.quiet, False)
        self.addCleanup(File.setSearchPath, '../res', '')

    def assertKeepsNothing(self, call, count):
        types = (Data.String, Data.Variant, Process, Progress, Settings, WaitCursor, MemoryChecker)
        watched = (None, True, False) + types + tuple(KINDS.values()) + (settings, process)

        def held():
            gc.collect()
            return [len(gc.get_objects())] + [sys.getrefcount(one) for one in watched]

        for text in KINDS.values():
            for _ in range(count // 100 + 2):
                call(text)
        before, memory_before = held(), memory()

        for text in KINDS.values():
            for _ in range(count // len(KINDS) + 1):
                call(text)

        grown = [after - there for after, there in zip(held(), before)]
        self.assertLess(max(grown), count // 4, grown)
        self.assertGreater(min(grown), -count // 4, grown)
        # The sanitizers keep what was freed for a while.
        if not testhost.sanitized and count == COUNT:
            self.assertLess(memory() - memory_before, 20e6)

    def test_every_method_is_called(self):
        methods = set()
        for name in dir(Utils):
            if not name.startswith('_'):
                methods.update(name + '.' + method for method in vars(getattr(Utils, name))
                               if not method.startswith('_'))
        methods -= {'Settings.endGroup', 'Progress.save'}  # called with another one
        self.assertEqual(methods - set(CALLS), set())

    @classmethod
    def add(cls, name, call):
        def test(self):
            self.assertKeepsNothing(call, SLOW.get(name, COUNT))
        setattr(cls, 'test_' + name.replace('.', '_').replace(' ', '_'), test)


for name, call in CALLS.items():
    Leaks.add(name, call)
for name, call in REFUSED.items():
    Leaks.add('refusing ' + name, call)


class Chains(suite.TestCase):

    def test_of_settings_keep_no_reference(self):
        settings = Settings('Leaks')
        before = sys.getrefcount(settings)
        for number in range(1000):
            settings.setInt('a', number).setInt('b', number).beginGroup('g').endGroup()
        self.assertEqual(sys.getrefcount(settings), before)

    def tearDown(self):
        Settings().removeKey('Leaks').removeKey('Workspaces').removeKey('MRU')


try:
    suite.run()
finally:
    reader.kill()
    reader.wait()
