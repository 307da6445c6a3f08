#!/usr/bin/env python3
"""Checks what the lines of silent.txt allow: a crash, a hang, or something left only where they name it.

    allowed.py PATH-OF-TORTURE
"""

import importlib.machinery
import importlib.util
import os
import sys
import tempfile

CASES = [
    # state of the line, kind and state of the case, whether it is allowed
    ('a part', 'silent', 'a part', True),
    ('a part', 'silent', 'empty', False),
    ('*', 'silent', 'empty', True),
    ('*', 'hung', 'hung in libQt5Core.so.5', False),
    ('* in libQt5*', 'hung', 'hung in libQt5Core.so.5', False),
    ('hung in libQt5*', 'hung', 'hung in libQt5Core.so.5', True),
    ('hung in libQt5*', 'hung', 'hung in libKelmUtils.so.1', False),
    ('*', 'crashed', 'signal 11 in libQt5Core.so.5', False),
    ('signal 11 in libQt5*', 'crashed', 'signal 11 in libQt5Core.so.5', True),
    ('terminated by *', 'crashed', 'terminated by bad_alloc in libQt5Core.so.5', True),
    ('ended the process', 'crashed', 'ended the process', True),
    ('signal*', 'crashed', 'signalled others', False),
    ('*', 'left', 'processes left', False),
    ('processes left', 'left', 'processes left', True),
    ('descriptors left: */from*', 'left', 'descriptors left: /run/from/tree', True),
    ('*', 'broken', 'the worker ended', False),
]


def load(path):
    loader = importlib.machinery.SourceFileLoader('torture', path)
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader('torture', loader))
    sys.dont_write_bytecode = True
    loader.exec_module(module)
    return module


def main():
    torture = load(sys.argv[1])
    failed = 0
    for line, kind, state, expected in CASES:
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, 'silent.txt')
            with open(path, 'w', encoding='utf-8') as file:
                file.write('File::* | open read | %s | reason\n' % line)
            allowed = torture.Allowed(path)
        for scenario, group, is_met in (('File::read', 'read', True), ('File::read', 'stat', False),
                                        ('TagFile::read', 'read', False)):
            if allowed.has(kind, scenario, group, state) != (expected and is_met):
                failed += 1
                print('"%s" and %s, %s, %s: %s' % (line, kind, scenario, group, state))
    print('%d cases, %d wrong' % (len(CASES), failed))
    return 1 if failed else 0


if __name__ == '__main__':
    sys.exit(main())
