#pragma once

#include "data/Variant.h"

struct _object; // PyObject, without the header of Python, which only sources include

namespace Utils {

/// A new Python object for \p value, or null when there is none for it. Sets no Python error.
///
///     bool                                     int, 0 or 1
///     int, uint, qlonglong, qulonglong         int, of the lowest 32 bits
///     double                                   float
///     text                                     str: UTF-8, up to the first zero
///     QStringList                              list of str
///     what converts to QVector<double>         list of float
///     what converts to QList<double>           list of float
///     what converts to QList<int>              list of int
///
/// Empty lists of numbers have none. The lists of numbers become known to Qt here, as
/// "QVector<double>", "QDoubleList" and "QInt32List".
_object *toPython(const Data::Variant &value);

/// \p object, which may be null, as a value. Sets no Python error.
///
///     bool                   bool
///     int or a subclass      int, of the lowest 32 bits
///     float or a subclass    double
///     str or a subclass      text, up to the first zero
///     anything else          invalid: long, unicode, None and lists, too
Data::Variant fromPython(_object *object);

} // namespace Utils
