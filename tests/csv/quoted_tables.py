"""Tables that the csv module of Python writes and reads.

    quoted_tables.py make FOLDER    writes random tables, and what is in them
    quoted_tables.py check FOLDER   reads what the library has written of them
"""

import csv
import os
import random
import sys

COUNT = 1000
PIECES = ['', 'a', 'bolt', '1', '-2.5', ' ', '  ', '\t', ',', ';', '|', '"', '""', '\n', '\r', '\r\n',
          "'", '#', '\\', '=', '\u00e4', '\u6e2c\u5b9a', '\U0001f529', '\u00a0', '\u2028', '\x0b', '\x7f',
          '\ufeff', 'x' * 70]
SPECIAL = set(',;|\t"\n\r')


def make_field(source, is_plain):
    pieces = [source.choice(PIECES) for _ in range(source.choice([0, 1, 1, 1, 2, 3, 6]))]
    field = ''.join(pieces)
    return ''.join(c for c in field if c not in SPECIAL) + 'x' if is_plain else field


def make_table(number):
    """The rows of a table and the dialect in which they are written."""
    source = random.Random(number)
    quoting = [csv.QUOTE_MINIMAL, csv.QUOTE_ALL, csv.QUOTE_NONNUMERIC, csv.QUOTE_NONE][number % 4]
    # In the default dialect only the characters of this line end are quoted without need.
    ends = ['\r\n'] if quoting == csv.QUOTE_MINIMAL else ['\r\n', '\n', '\r']
    dialect = {'quoting': quoting, 'lineterminator': source.choice(ends),
               'delimiter': ',;\t|'[number // 4 % 4]}
    width = source.choice([1, 2, 5, 20])
    rows = []
    for _ in range(source.choice([1, 2, 10, 50])):
        size = width if source.random() < 0.8 else source.randint(1, 2 * width)
        rows.append([make_field(source, quoting == csv.QUOTE_NONE) for _ in range(size)])
    rows[0][0] = rows[0][0].lstrip('\ufeff')  # or it would be that of the file
    return rows, dialect


def path_of(folder, number, kind):
    return os.path.join(folder, '%d.%s' % (number, kind))


def make(folder):
    for number in range(COUNT):
        rows, dialect = make_table(number)
        with open(path_of(folder, number, 'csv'), 'w', encoding='utf-8', newline='') as file:
            csv.writer(file, **dialect).writerows(rows)
        with open(path_of(folder, number, 'hex'), 'w', encoding='ascii') as file:
            file.write('%d\n' % ord(dialect['delimiter']))
            for row in rows:
                file.write(' '.join(field.encode('utf-8').hex() or '-' for field in row) + '\n')


def check(folder):
    for number in range(COUNT):
        rows, dialect = make_table(number)
        with open(path_of(folder, number, 'written'), encoding='utf-8', newline='') as file:
            read = list(csv.reader(file, delimiter=dialect['delimiter'], strict=True))
        if read != rows:
            sys.exit('table %d: %r is not %r' % (number, read, rows))


if __name__ == '__main__':
    {'make': make, 'check': check}[sys.argv[1]](sys.argv[2])
