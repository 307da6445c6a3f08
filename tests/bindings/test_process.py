# -*- coding: utf-8 -*-

import os
import sys
import time

from KelmData import Data
from KelmUtils import Utils

import suite
import testhost

Process = Utils.Process


def shell(script, *arguments):
    """A process that runs the shell script."""
    return Process('/bin/sh', ['-c', script, 'sh'] + list(arguments))


class Processes(suite.FolderTestCase):

    def test_is_made_unset(self):
        process = Process()
        self.assertText(process.fullCommand(), '')
        self.assertIs(process.start(), False)
        self.assertIs(process.isRunning(), False)
        self.assertText(process.errorMessage(), 'No program defined')

    def test_is_made_with_a_command_and_arguments(self):
        self.assertText(Process('C:/a b/x.exe').fullCommand(), '"C:/a b/x.exe"')
        process = Process('C:/a b/x.exe', ['-f', u'\xe4 d', Data.String('e')])
        self.assertText(process.fullCommand(), u'"C:/a b/x.exe" -f "\xe4 d" e')
        self.assertText(Process('x', ()).fullCommand(), 'x')
        self.assertRefusesTypes('Process', Process, ('x', ['a']), 0)
        self.assertRefuses("Process(): argument 1 has unexpected type 'Process'",
                           Process, Process())  # there is no copy

    def test_is_set(self):
        process = Process()
        self.assertIsNone(process.setCommand(u'\xe4'))
        self.assertIsNone(process.setArguments(['b c', u'd']))
        self.assertIsNone(process.setMessage('label'))
        self.assertIsNone(process.setWorkingDirectory(self.folder))
        self.assertText(process.fullCommand(), u'\xe4 "b c" d')
        for name in ('setCommand', 'setMessage', 'setWorkingDirectory'):
            self.assertRefusesTypes('Process.' + name, getattr(process, name), ('a',))
        self.assertRefusesTypes('Process.setArguments', process.setArguments, (['a'],))

    def test_runs(self):
        process = shell('printf "%s\n" "$1"; printf err >&2; exit 3', u'\xe4 b')
        self.assertIs(process.start(), True)
        self.assertIs(process.wait(), True)
        self.assertIs(process.isRunning(), False)
        self.assertIs(process.normalExit(), True)
        self.assertInt(process.exitCode(), 3)
        self.assertText(process.output(), u'\xe4 b\nerr')
        self.assertText(process.recentOutput(), u'\xe4 b\nerr')
        self.assertText(process.recentOutput(), '')
        self.assertText(process.output(), u'\xe4 b\nerr')

    def test_runs_again(self):
        process = shell('echo "$0"')
        for _ in range(3):
            self.assertIs(process.start(), True)
            process.wait()
            self.assertText(process.output(), 'sh\n')

    def test_runs_in_its_folder(self):
        process = shell('pwd')
        process.setWorkingDirectory(self.folder)
        process.start()
        process.wait()
        self.assertText(process.output(), os.path.realpath(self.folder) + '\n')

    def test_does_not_start_what_is_not_there(self):
        process = Process(self.path('missing'))
        self.assertIs(process.start(), False)
        self.assertIs(type(process.errorMessage()), Data.String)
        # Qt has this text of its own, in each locale.
        self.assertIn('No such file or directory', process.errorMessage())

    def test_reads_what_it_is_sent(self):
        process = shell('read line; echo "got $line"')
        process.start()
        self.assertIs(process.isRunning(), True)
        self.assertIs(process.normalExit(), False)
        self.assertIs(process.sendData(u'\xe4\n', 5000), True)
        process.wait()
        self.assertText(process.output(), u'got \xe4\n')
        self.assertRefusesTypes('Process.sendData', process.sendData, ('a', 1), 1)

    def test_sends_without_waiting_by_default(self):
        process = Process()
        self.assertIs(process.sendData('a'), True)
        self.assertIs(process.sendData('a', 0), True)
        self.assertIs(process.sendData('a', 1), False)

    def test_kill(self):
        process = shell('sleep 600 & wait')
        process.start()
        self.assertIsNone(process.kill())
        process.wait()
        self.assertIs(process.isRunning(), False)
        self.assertIs(process.normalExit(), False)
        self.assertInt(process.exitCode(), 9)
        self.assertRefuses('Process.kill(): too many arguments', process.kill, 1)

    def test_runs_to_its_end(self):
        process = shell('echo a; exit 3')
        for arguments in ((), (-1,), (60000,)):
            self.assertInt(process.run(*arguments), 0)
            self.assertInt(process.exitCode(), 3)
            self.assertText(process.output(), 'a\n')
        self.assertText(Utils.File.lastError(), '')
        self.assertInt(Process(self.path('missing')).run(), 2)
        self.assertNotEqual(Utils.File.lastError(), '')
        self.assertRefuses("Process.run(): argument 1 has unexpected type 'str'", process.run, 'a')
        self.assertRefuses("Process.run(): argument 2 has unexpected type 'int'", process.run, 1, 2)
        self.assertRefuses('Process.run(): too many arguments', process.run, 1, None, 2)

    def test_calls_a_function_with_each_line(self):
        process = shell('echo a; sleep 0.3; echo b; printf "$1"', u'\xe4')
        seen, times = [], []

        def note(line, isError):
            self.assertIs(type(line), Data.String)
            seen.append((unicode(line), isError))
            times.append(time.time())

        self.assertInt(process.run(60000, note), 0)
        self.assertEqual(seen, [(u'a', False), (u'b', False), (u'\xe4', False)])
        self.assertGreater(times[1] - times[0], 0.1)  # as they come
        self.assertText(process.output(), u'a\nb\n\xe4')
        self.assertInt(process.run(-1, None), 0)
        self.assertInt(process.run(), 0)
        self.assertEqual(len(seen), 3)  # of that call only

    def test_tells_lines_of_standard_error(self):
        process = shell('echo a; echo b >&2')
        process.setSeparateErrorOutput(True)
        seen = []
        process.run(-1, lambda *arguments: seen.append(arguments))
        self.assertEqual(sorted(map(str, pair) for pair in seen), [['a', 'False'], ['b', 'True']])

    def test_ends_with_the_error_of_its_function(self):
        process = shell('for i in 1 2 3; do echo $i; done; exec sleep 60')
        lines = []

        def fail(line, isError):
            lines.append(str(line))
            raise KeyError('k')

        start = time.time()
        with self.assertRaises(KeyError):
            process.run(-1, fail)
        self.assertLess(time.time() - start, 30)
        self.assertEqual(lines, ['1'])
        self.assertIs(process.isRunning(), False)
        self.assertInt(process.exitCode(), 9)
        with self.assertRaises(TypeError):
            process.run(-1, lambda line: None)
        self.assertInt(Process('/bin/true').run(-1, fail), 0)

    def test_is_stopped_by_its_function(self):
        process = shell('echo a; exec sleep 60')
        process.setStopPolicy(60000)
        self.assertInt(process.run(-1, lambda line, isError: process.stop()), 0)
        self.assertInt(process.exitCode(), 15)
        self.assertInt(process.run(-1, lambda line, isError: process.kill()), 0)
        self.assertInt(process.exitCode(), 9)

    def test_is_not_run_by_its_own_function(self):
        process = shell('echo a; echo b')
        results = []

        def again(line, isError):
            results.append(Process('/bin/true').run())
            results.append(process.run(-1, again))

        with self.assertRaises(RuntimeError) as raised:
            process.run(-1, again)
        self.assertEqual(str(raised.exception), 'Process.run(): the process is run already')
        self.assertEqual(results, [0])
        self.assertInt(process.run(-1, lambda line, isError: None), 0)
        process = Process('/bin/sleep', ['60'])
        process.start()
        self.assertInt(process.run(-1, again), 2)
        self.assertIs(process.isRunning(), True)

    def test_keeps_nothing_of_its_function(self):
        class Lines(object):
            def __call__(self, line, isError):
                pass

        lines = Lines()
        process = shell('echo a')
        process.run(-1, lines)
        self.assertEqual(sys.getrefcount(lines), 2)

    def test_is_stopped(self):
        process = Process('/bin/sleep', ['60'])
        self.assertInt(process.run(100), 1)
        self.assertInt(process.exitCode(), 15)
        self.assertIs(process.stop(), True)  # again
        polite = shell("trap 'exit 5' TERM; : >\"$1\"; while :; do sleep 0.01; done",
                       self.path('ready'))
        polite.start()
        while not os.path.exists(self.path('ready')):
            time.sleep(0.01)
        self.assertIs(polite.stop(), True)
        self.assertInt(polite.exitCode(), 5)
        for arguments in ((0,), (0, False), (0, True)):
            self.assertIsNone(process.setStopPolicy(*arguments))
            process.start()
            self.assertIs(process.stop(), True)
            self.assertIs(process.normalExit(), False)
            self.assertInt(process.exitCode(), 9)
        self.assertRefusesTypes('Process.setStopPolicy', process.setStopPolicy, (1, True), 1)

    def test_separates_standard_error(self):
        process = shell('echo a; echo b >&2')
        self.assertText(process.errorOutput(), '')
        self.assertIsNone(process.setSeparateErrorOutput(True))
        process.run()
        self.assertText(process.output(), 'a\n')
        self.assertText(process.errorOutput(), 'b\n')
        self.assertRefusesTypes('Process.setSeparateErrorOutput', process.setSeparateErrorOutput,
                                (True,))

    def test_quotes_its_command(self):
        process = Process('/bin/echo', ['-', u'a  b\xe4', "it's"])
        self.assertText(process.quotedCommand(), u"/bin/echo - 'a  b\xe4' 'it'\\''s'")
        again = Process('/bin/sh', ['-c', process.quotedCommand()])
        again.run()
        self.assertText(again.output(), u"- a  b\xe4 it's\n")

    def test_is_killed_with_its_last_reference(self):
        process = shell('echo $$ > "$1.part"; mv "$1.part" "$1"; exec sleep 600',
                        self.path('number'))
        process.start()
        while not os.path.exists(self.path('number')):
            time.sleep(0.01)
        del process
        with self.assertRaises(OSError):
            os.kill(int(self.contents('number')), 0)

    def test_shows_progress_on_demand(self):
        process = shell('exit 0')
        process.setMessage('Running')
        for arguments, popup in [((), 0), ((False,), 0), ((True,), 1)]:
            process.start()
            testhost.calls()
            self.assertIs(process.wait(*arguments), True)
            self.assertIn('setProgressLabel(Running, %d)' % popup, testhost.calls())
        self.assertRefusesTypes('Process.wait', process.wait, (True,), 0)

    def test_methods_without_arguments_take_none(self):
        process = Process()
        for name in ('errorMessage', 'errorOutput', 'exitCode', 'fullCommand', 'isRunning', 'kill',
                     'normalExit', 'output', 'quotedCommand', 'recentOutput', 'start', 'stop'):
            self.assertRefuses('Process.%s(): too many arguments' % name,
                               getattr(process, name), 1)

    def test_has_these_methods_and_no_others(self):
        self.assertEqual([name for name in dir(Process) if not name.startswith('_')], [
            'errorMessage', 'errorOutput', 'exitCode', 'fullCommand', 'isRunning', 'kill',
            'normalExit', 'output', 'quotedCommand', 'recentOutput', 'run', 'sendData',
            'setArguments', 'setCommand', 'setMessage', 'setSeparateErrorOutput', 'setStopPolicy',
            'setWorkingDirectory', 'start', 'stop', 'wait'])


suite.run()
