# -*- coding: utf-8 -*-
"""Compares the stubs, the text STUB, of the module MODULE with the module itself.

It runs in Python 2.7, which cannot parse stubs, so they are read line by line. The arguments
of a call are found by calls that are refused: with one argument too few, one too many, or one of a
wrong type at each position. The result is that of the module's definition, the texts DEFINITIONS by
class.
"""

import re

GOOD = {'Text': 'a', 'Texts': ['a'], 'Value': 1, 'int': 1, 'float': 1.5, 'bool': True, 'str': 'a',
        'Optional[str]': 'a', 'Optional[LineFunction]': len}
BAD = {'Text': 1, 'Texts': 'a', 'Value': object(), 'int': 'a', 'float': 'a', 'bool': 'a', 'str': 1,
       'Optional[str]': 1, 'Optional[LineFunction]': 1}
GIVEN = {'Data::String': 'Data.String', 'Data::Variant': 'Data.Variant', 'bool': 'bool',
         'QStringList': 'List[Data.String]', 'int': 'int', 'long': 'int', 'qint64': 'int',
         'unsigned int': 'int', 'double': 'float', 'void': 'None', 'Utils::Settings &': 'Self',
         'SIP_PYOBJECT': 'Optional["Utils.Progress"]'}


class Method(object):
    def __init__(self, arguments, given, is_static):
        self.is_static = is_static
        self.given = given
        # Of ("name", "type", "default") each, without the "self".
        self.arguments = re.findall(r'(\w+): ("?[\w.]+"?(?:\[\w+\])?)( = [^,]+)?', arguments)
        self.arguments = [found for found in self.arguments if found[0] != 'self']
        self.minimum = len([found for found in self.arguments if not found[2]])


def read_stub(text):
    """The bases and the methods, a list of overloads by name, of each class in the scope."""
    text = re.sub(r'""".*?"""', '', text, flags=re.DOTALL)
    text = re.sub(r',\s*\n\s+', ', ', text)  # a declaration a line
    classes = {}
    is_static = False
    for line in text.splitlines():
        found = re.match(r'    class (\w+)(?:\((\w+)\))?:', line)
        if found:
            methods = {}
            classes[found.group(1)] = (found.group(2), methods)
        is_static = is_static or line == '        @staticmethod'
        found = re.match(r'        def (\w+)\((.*)\) -> (.*): \.\.\.$', line)
        if found:
            name, arguments, given = found.groups()
            methods.setdefault(name, []).append(Method(arguments, given, is_static))
            is_static = False
    return classes


def refusal(call, arguments):
    try:
        call(*arguments)
    except TypeError as error:
        return str(error).splitlines()
    raise AssertionError('%r takes %r' % (call, arguments))


def check_refusals(name, call, overloads):
    """Each overload says for itself what is wrong with the arguments."""
    for place, overload in enumerate(overloads):
        if any(found[1] not in GOOD for found in overload.arguments):
            continue  # a class with nothing to copy
        good = [GOOD[found[1]] for found in overload.arguments]
        cases = [(good + ['more'], 'too many arguments')]
        if overload.minimum:
            cases.append((good[:overload.minimum - 1], 'not enough arguments'))
        for index, found in enumerate(overload.arguments):
            bad = BAD[found[1]]
            cases.append((good[:index] + [bad] + good[index + 1:],
                          "argument %d has unexpected type '%s'" % (index + 1,
                                                                    type(bad).__name__)))
        for arguments, reason in cases:
            if len(overloads) > 1 and is_taken_elsewhere(arguments, overload, overloads):
                continue
            lines = refusal(call, arguments)
            line = lines[0] if len(overloads) == 1 else lines[1 + place]
            assert line.endswith(reason), '%s%r: %s' % (name, tuple(arguments), line)


def is_taken_elsewhere(arguments, overload, overloads):
    for other in overloads:
        fits = other is not overload and other.minimum <= len(arguments) <= len(other.arguments)
        if fits and all(isinstance(argument, type(GOOD[found[1]])) or found[1] == 'Value'
                        for argument, found in zip(arguments, other.arguments)):
            return True
    return False


def check(module, scope, stub, definitions):
    classes = read_stub(stub)
    scope = getattr(module, scope)
    names = [name for name in vars(scope) if not name.startswith('__')]
    assert sorted(classes) == sorted(names), (sorted(classes), sorted(names))

    for class_name, (base, methods) in classes.items():
        wrapped = getattr(scope, class_name)
        own = set(name for name in vars(wrapped) if not name.startswith('_'))
        stubbed = set(name for name in methods if not name.startswith('_'))
        assert own == stubbed, (class_name, own ^ stubbed)
        if base:
            assert wrapped.__bases__ == (getattr(scope, base),), wrapped.__bases__

        for name, overloads in methods.items():
            assert hasattr(wrapped, name), (class_name, name)
            if name.startswith('_') and name != '__init__':
                continue
            full_name = class_name + '.' + name
            call = wrapped if name == '__init__' else getattr(wrapped, name)
            if name != '__init__':
                is_static = not any('unbound' in line for line in refusal(call, [object()] * 9))
                assert all(found.is_static == is_static for found in overloads), full_name
                if not is_static:
                    call = getattr(wrapped(*(['a'] if base else [])), name)

                pattern = r'^    (?:static )?([^\s(][^(\n]*?) ?(?<=[ &*])%s\(' % name
                given = [GIVEN[found] for found in
                         re.findall(pattern, definitions[class_name], flags=re.MULTILINE)]
                if full_name in ('File.encoding', 'File.encodingOf', 'File.validate'):
                    given = ['Tuple[Data.String, bool]']  # and what it writes through a pointer
                assert [found.given for found in overloads] == given, (full_name, given)
            check_refusals(full_name, call, overloads)
