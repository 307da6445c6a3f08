#!/usr/bin/env python3
"""Checks that each sentence quoted in silent.txt is in the header that the line names.

    silent.py FILE FOLDER...

The header is that of the class named last before the quotation, as in "File::write(): ", or else
that of the scenario. FOLDER... are searched for headers. A quotation may leave words out by "...".
"""

import os
import re
import sys


def headers(folders):
    """Path by class, of all headers below the folders."""
    paths = {}
    for folder in folders:
        for place, _, names in os.walk(folder):
            for name in names:
                if name.endswith('.h'):
                    paths[name[:-2]] = os.path.join(place, name)
    return paths


def comment_text(path):
    """The text of all comments of a header, without markup, in one line."""
    with open(path, encoding='utf-8') as file:
        comments = [line.partition('//')[2].lstrip('/<') for line in file if '//' in line]
    text = re.sub(r'[\\@](p|a|c|e|ref) ', '', ' '.join(comments))
    return ' '.join(text.split())


def is_quoted_well(quotation, text):
    """Whether each part of the quotation is in the text, in the same order."""
    pieces = [piece.strip(' ,') for piece in quotation.split('...')]
    pattern = '.*?'.join(re.escape(piece) for piece in pieces)
    return re.search(pattern, text) is not None


def quotations(scenario, reason):
    """Yields pairs of a class and a sentence of its header."""
    name = re.match(r'\*?(\w*)', scenario).group(1)
    for index, part in enumerate(reason.split('"')):
        if index % 2:
            yield name, part
        else:
            name = ([name] + re.findall(r'\b([A-Z]\w+)::', part))[-1]


def faults(path, folders):
    """The number of quotations checked, and a text for each one that is not found."""
    paths = headers(folders)
    count = 0
    found = []
    with open(path, encoding='utf-8') as file:
        for number, line in enumerate(file, 1):
            if line.startswith('#') or not line.strip():
                continue
            fields = [field.strip() for field in line.split('|', 3)]
            if fields[-1].count('"') % 2:
                found.append('%s:%d: a quotation without an end' % (path, number))
            for name, quotation in quotations(fields[0], fields[-1]):
                count += 1
                if name not in paths:
                    found.append('%s:%d: no header "%s.h"' % (path, number, name))
                elif not is_quoted_well(quotation, comment_text(paths[name])):
                    found.append('%s:%d: not in %s: "%s"' % (path, number, paths[name], quotation))
    return count, found


def main():
    count, found = faults(sys.argv[1], sys.argv[2:])
    for text in found:
        print(text)
    print('%d quotations, %d not found' % (count, len(found)))
    return 1 if found or not count else 0


if __name__ == '__main__':
    sys.exit(main())
