# -*- coding: utf-8 -*-

import os
import sys

from KelmData import Data
from KelmUtils import Utils

import suite
import testhost

MemoryChecker, Progress, WaitCursor = Utils.MemoryChecker, Utils.Progress, Utils.WaitCursor
ProgressRange = Utils.ProgressRange


class ProgressReports(suite.TestCase):

    def setUp(self):
        testhost.calls()

    def test_is_made_with_steps(self):
        progress = Progress(100)
        self.assertInt(progress.maxSteps(), 100)
        self.assertInt(progress.count(), 0)
        self.assertText(progress.label(), '')
        self.assertIs(progress.isPopup(), False)
        self.assertIs(progress.cancelled(), False)
        self.assertIs(Progress.isCancelable(), False)
        self.assertIs(WaitCursor.activated(), False)
        self.assertEqual(testhost.calls(), [])

    def test_is_made_with_all_arguments(self):
        progress = Progress(100, u'L\xe4den', True, False, False)
        self.assertText(progress.label(), u'L\xe4den \nPress Esc to cancel.')
        self.assertIs(Progress.isCancelable(), True)
        self.assertIs(WaitCursor.activated(), False)
        waiting = Progress(10, Data.String('Wait'), False, True, False)
        self.assertText(waiting.label(), 'Wait')
        self.assertIs(Progress.isCancelable(), False)
        self.assertIs(WaitCursor.activated(), True)
        del waiting
        self.assertIs(WaitCursor.activated(), False)
        popup = Progress(10, 'Popup', True, False, True)
        self.assertText(popup.label(), 'Popup')
        self.assertIs(popup.isPopup(), True)
        self.assertIs(Progress.isCancelable(), True)  # asks the ordinary one
        self.assertIs(Progress.current(), progress)

    def test_is_made_as_a_background_reporter(self):
        progress = Progress()
        self.assertInt(progress.maxSteps(), 0)
        self.assertIs(Progress.current(), None)
        progress.setLabel('Ready')
        self.assertEqual(testhost.calls(), ['setProgressLabel(Ready, 0)'])
        task = Progress(5, 'Task')
        testhost.calls()
        del task
        self.assertEqual(testhost.calls(), ['setProgressLabel(Ready, 0)'])
        progress.hide()

    def test_cannot_be_made_otherwise(self):
        for arguments, reasons in [
                (('a',), ("argument 1 has unexpected type 'str'", 'too many arguments')),
                ((1, 2), ("argument 2 has unexpected type 'int'", 'too many arguments')),
                ((1, None), ("argument 2 has unexpected type 'NoneType'", 'too many arguments')),
                ((1, 'a', 'b'), ("argument 3 has unexpected type 'str'", 'too many arguments')),
                ((1, 'a', True, True, True, True), ('too many arguments', 'too many arguments')),
                ((Progress(),), ("argument 1 has unexpected type 'Progress'",
                                 'too many arguments'))]:
            self.assertRefuses(
                'Progress(): arguments did not match any overloaded call:\n'
                '  overload 1: %s\n  overload 2: %s' % reasons, Progress, *arguments)
        self.assertIs(Progress.current(), None)

    def test_current(self):
        self.assertIs(Progress.current(), None)
        outer = Progress(10)
        self.assertIs(Progress.current(), outer)
        inner = Progress(10)
        self.assertIs(Progress.current(), inner)
        popup = Progress(10, '', False, False, True)
        self.assertIs(Progress.current(), inner)
        del popup, inner
        self.assertIs(Progress.current(), outer)
        del outer
        self.assertIs(Progress.current(), None)
        self.assertRefuses('Progress.current(): too many arguments', Progress.current, True)

    def test_current_is_not_ended_by_the_script_that_asks(self):
        outer = Progress(10, 'outer')
        for _ in range(3):
            self.assertText(Progress.current().label(), 'outer')
        self.assertIs(Progress.current(), outer)

    def test_current_of_the_host(self):
        testhost.begin(7, 'of the host')
        progress = Progress.current()
        self.assertInt(progress.maxSteps(), 7)
        self.assertText(progress.label(), 'of the host')
        del progress
        suite.gc.collect()
        self.assertInt(Progress.current().maxSteps(), 7)
        testhost.end()
        self.assertIs(Progress.current(), None)

    def test_tick(self):
        progress = Progress(1000)
        self.assertIs(progress.tick(), True)
        self.assertInt(progress.count(), 1)
        progress.tick(5)
        progress.tick(-3)
        self.assertInt(progress.count(), 9)
        self.assertRefusesTypes('Progress.tick', progress.tick, (1,), 0)

    def test_set_count(self):
        progress = Progress(100)
        self.assertIs(progress.setCount(60), True)
        progress.setCount(50)
        self.assertInt(progress.count(), 60)
        progress.setCount(1000)
        self.assertInt(progress.count(), 100)
        self.assertRefusesTypes('Progress.setCount', progress.setCount, (1,))

    def test_set_max_steps(self):
        progress = Progress(100)
        progress.tick(5)
        self.assertIsNone(progress.setMaxSteps(-30))
        self.assertInt(progress.maxSteps(), 30)
        self.assertInt(progress.count(), 0)
        self.assertRefusesTypes('Progress.setMaxSteps', progress.setMaxSteps, (1,))

    def test_set_label(self):
        progress = Progress(100)
        self.assertIsNone(progress.setLabel(u'\xe4'))
        self.assertText(progress.label(), u'\xe4')
        self.assertEqual(testhost.calls(), ['setProgressLabel(ä, 0)'])
        self.assertRefusesTypes('Progress.setLabel', progress.setLabel, ('a',))

    def test_id(self):
        progress = Progress(100)
        self.assertText(progress.id(), '')
        self.assertIsNone(progress.setId(u'\u20ac'))
        self.assertText(progress.id(), u'\u20ac')
        self.assertRefusesTypes('Progress.setId', progress.setId, ('a',))

    def test_cancel(self):
        progress = Progress(100)
        self.assertIsNone(progress.cancel())
        self.assertIs(progress.cancelled(), False)  # it is not cancelable
        progress = Progress(100, '', True, False, False)
        progress.cancel()
        self.assertIs(progress.cancelled(), True)
        self.assertIs(progress.tick(), False)
        self.assertIs(progress.setCount(5), False)

    def test_show_and_hide(self):
        progress = Progress(100, 'Load', True, False, True)
        testhost.calls()
        self.assertIsNone(progress.show())
        self.assertEqual(testhost.calls(), ['showProgress(1, 1, 1)', 'setProgressLabel(Load, 1)'])
        progress.tick(50)
        self.assertEqual(testhost.calls(), ['setProgress(50, 100, 1)'])
        self.assertIsNone(progress.hide())
        self.assertEqual(testhost.calls(), ['showProgress(0, 1, 1)'])

    def test_save_and_restore(self):
        progress = Progress(100, 'first')
        progress.tick(5)
        self.assertIsNone(progress.save())
        progress.setMaxSteps(7)
        progress.setLabel('second')
        self.assertIsNone(progress.restore())
        self.assertEqual((progress.count(), progress.maxSteps()), (5, 100))
        self.assertText(progress.label(), 'first')

    def test_elapsed(self):
        elapsed = Progress(100).elapsed()
        self.assertIs(type(elapsed), int)
        self.assertGreaterEqual(elapsed, 0)

    def test_remaining_and_rate(self):
        progress = Progress(100)
        self.assertInt(progress.remaining(), -1)
        self.assertEqual(progress.rate(), 0.0)
        self.assertIs(type(progress.rate()), float)
        while progress.elapsed() < 3:
            pass
        progress.tick(50)
        self.assertIs(type(progress.remaining()), int)
        self.assertGreater(progress.remaining(), 0)
        self.assertGreater(progress.rate(), 0.0)
        progress.tick(50)
        self.assertInt(progress.remaining(), 0)

    def test_unit(self):
        progress = Progress(100)
        self.assertText(progress.unit(), '')
        self.assertIsNone(progress.setUnit(u'St\xfcck'))
        self.assertText(progress.unit(), u'St\xfcck')
        self.assertEqual(testhost.calls(), [])
        self.assertRefusesTypes('Progress.setUnit', progress.setUnit, ('a',))

    def test_ends_with_its_last_reference(self):
        progress = Progress(100, 'a')
        other = progress
        del progress
        self.assertIs(Progress.current(), other)
        del other
        self.assertIs(Progress.current(), None)

    def test_methods_without_arguments_take_none(self):
        progress = Progress(100)
        for name in ('cancel', 'cancelled', 'count', 'elapsed', 'hide', 'id', 'isCancelable',
                     'isPopup', 'label', 'maxSteps', 'rate', 'remaining', 'restore', 'save',
                     'show', 'unit'):
            self.assertRefuses('Progress.%s(): too many arguments' % name,
                               getattr(progress, name), 1)

    def test_has_these_methods_and_no_others(self):
        self.assertEqual([name for name in dir(Progress) if not name.startswith('_')], [
            'cancel', 'cancelled', 'count', 'current', 'elapsed', 'hide', 'id', 'isCancelable',
            'isPopup', 'label', 'maxSteps', 'rate', 'remaining', 'restore', 'save', 'setCount',
            'setId', 'setLabel', 'setMaxSteps', 'setUnit', 'show', 'tick', 'unit'])


class ProgressRanges(suite.TestCase):

    def test_make_a_task_a_part_of_another(self):
        whole = Progress(100, 'whole')
        part = ProgressRange(whole, 0, 80)
        inner = Progress(10, 'inner')
        inner.tick(5)
        self.assertInt(whole.count(), 40)
        del inner
        del part
        self.assertInt(whole.count(), 80)

    def test_may_end_in_any_order(self):
        whole = Progress(100)
        first, second = ProgressRange(whole, 0, 20), ProgressRange(whole, 20, 60)
        del first
        self.assertInt(whole.count(), 20)
        del second
        self.assertInt(whole.count(), 60)

    def test_may_outlive_the_reporter(self):
        part = ProgressRange(Progress(100), 0, 50)
        self.assertIs(Progress.current(), None)
        del part

    def test_take_no_reporter_that_has_ended(self):
        testhost.begin(7, 'of the host')
        progress = Progress.current()
        testhost.end()
        with self.assertRaises(RuntimeError):
            ProgressRange(progress, 0, 5)

    def test_cannot_be_made_otherwise(self):
        progress = Progress(100)
        for arguments, reason in [
                ((), 'not enough arguments'), ((progress, 1), 'not enough arguments'),
                ((progress, 1, 2, 3), 'too many arguments'),
                ((1, 1, 2), "argument 1 has unexpected type 'int'"),
                ((None, 1, 2), "argument 1 has unexpected type 'NoneType'"),
                ((progress, 'a', 2), "argument 2 has unexpected type 'str'"),
                ((progress, 1, 'a'), "argument 3 has unexpected type 'str'")]:
            self.assertRefuses('ProgressRange(): ' + reason, ProgressRange, *arguments)
        self.assertInt(progress.count(), 0)

    def test_have_no_methods(self):
        self.assertEqual([name for name in dir(ProgressRange) if not name.startswith('_')], [])


class WaitCursors(suite.TestCase):

    def setUp(self):
        self.assertIs(WaitCursor.activated(), False)

    def tearDown(self):
        self.assertIs(WaitCursor.activated(), False)

    def test_do_nothing_by_default(self):
        for arguments in [(), (False,), (True,), (False, False), (True, False)]:
            cursor = WaitCursor(*arguments)
            self.assertIs(WaitCursor.activated(), False)
            del cursor

    def test_show_and_suspend(self):
        cursor = WaitCursor(False, True)
        self.assertIs(WaitCursor.activated(), True)
        suspended = WaitCursor(True, True)
        self.assertIs(WaitCursor.activated(), False)
        del suspended
        self.assertIs(WaitCursor.activated(), True)
        del cursor

    def test_reset(self):
        cursor = WaitCursor(False, True)
        self.assertIsNone(cursor.reset())
        self.assertIs(WaitCursor.activated(), False)
        cursor.reset()
        self.assertRefuses('WaitCursor.reset(): too many arguments', cursor.reset, 1)
        self.assertRefuses('WaitCursor.activated(): too many arguments', WaitCursor.activated, 1)

    def test_are_copied_with_what_they_have_to_undo(self):
        cursor = WaitCursor(False, True)
        copy = WaitCursor(cursor)
        self.assertIsNot(copy, cursor)
        del copy
        self.assertIs(WaitCursor.activated(), False)
        del cursor

    def test_cannot_be_made_otherwise(self):
        for argument in ('a', None, Progress()):
            with self.assertRaises(TypeError) as raised:
                WaitCursor(argument)
            self.assertTrue(str(raised.exception).startswith(
                "WaitCursor(): arguments did not match any overloaded call:\n"
                "  overload 1: argument 1 has unexpected type '%s'\n  overload 2: "
                % type(argument).__name__), str(raised.exception))
        with self.assertRaises(TypeError):
            WaitCursor(True, True, True)

    def test_have_these_methods_and_no_others(self):
        self.assertEqual([name for name in dir(WaitCursor) if not name.startswith('_')],
                         ['activated', 'reset'])


class MemoryCheckers(suite.FolderTestCase):

    def test_answers(self):
        checker = MemoryChecker()
        self.assertIs(checker.check(), True)
        self.assertIs(MemoryChecker.checkHeap(), True)
        self.assertIs(MemoryChecker.checkHeap(2 ** 40), True)
        self.assertIs(MemoryChecker.dumpLeaks(), False)
        self.assertLong(checker.startId(), 0)

    def test_commands(self):
        checker = MemoryChecker()
        for result in [
                checker.dumpDifference(), MemoryChecker.dumpLeaksAtExit(),
                checker.dumpNewObjects(), MemoryChecker.setBreakAlloc(5),
                checker.setBreakAllocOffset(-2 ** 40), MemoryChecker.setCheckAlways(),
                MemoryChecker.setCheckAlways(False), MemoryChecker.setKeepFreed(),
                MemoryChecker.setKeepFreed(False), MemoryChecker.setReportFile(),
                MemoryChecker.setReportFile('')]:
            self.assertIsNone(result)

    def test_report_file(self):
        for name in (u'a', u'\xe4'):
            MemoryChecker.setReportFile(self.path(name))
            self.assertEqual(os.path.getsize(self.path(name)), 0)
        self.make('there', 'text')
        MemoryChecker.setReportFile(self.path('there'))
        self.assertEqual(self.contents('there'), 'text')

    def test_arguments(self):
        checker = MemoryChecker()
        for name, good, minimum in [
                ('check', (), 0), ('checkHeap', (1,), 0), ('dumpDifference', (), 0),
                ('dumpLeaks', (), 0), ('dumpLeaksAtExit', (), 0), ('dumpNewObjects', (), 0),
                ('setBreakAlloc', (1,), 1), ('setBreakAllocOffset', (1,), 1),
                ('setCheckAlways', (True,), 0), ('setKeepFreed', (True,), 0),
                ('setReportFile', ('',), 0), ('startId', (), 0)]:
            self.assertRefusesTypes('MemoryChecker.' + name, getattr(checker, name), good, minimum)
        for call in (MemoryChecker.checkHeap, MemoryChecker.setBreakAlloc,
                     checker.setBreakAllocOffset):
            with self.assertRaises(OverflowError) as raised:
                call(2 ** 64)
            self.assertIn(str(sys.maxint), str(raised.exception))  # a long of C
        for argument in (1, None, checker):  # there is no copy
            with self.assertRaises(TypeError):
                MemoryChecker(argument)

    def test_has_these_methods_and_no_others(self):
        self.assertEqual([name for name in dir(MemoryChecker) if not name.startswith('_')], [
            'check', 'checkHeap', 'dumpDifference', 'dumpLeaks', 'dumpLeaksAtExit',
            'dumpNewObjects', 'setBreakAlloc', 'setBreakAllocOffset', 'setCheckAlways',
            'setKeepFreed', 'setReportFile', 'startId'])

    def test_static_methods_need_no_object(self):
        for name in ('check', 'dumpDifference', 'dumpNewObjects', 'startId'):
            with self.assertRaises(TypeError):
                getattr(MemoryChecker, name)()


suite.run()
