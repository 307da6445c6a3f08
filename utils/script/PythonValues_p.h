#pragma once

#include "data/Variant.h"

struct _object; // PyObject, without the header of Python, which only sources include

namespace Utils {

/// The Python types that values are converted to.
enum class PythonTypes
{
    Pushed, ///< those that pushed data has: simple ones, which may cut the value
    Exact,  ///< those that hold the whole value
};

/// Returns a new Python object for \p value, or null when there is none.
///
///                                        Pushed                           Exact
///     invalid                            null                             None
///     bool                               int, 0 or 1                      bool
///     int                                int                              int
///     qlonglong                          int, of the lowest 32 bits       long
///     uint, qulonglong                   int, of the lowest 32 bits       str
///     double                             float                            float
///     text                               str: UTF-8, up to the first zero str: UTF-8
///     QStringList                        list of such str                 list of such str
///     what converts to QVector<double>   list of float                    str
///     what converts to QList<double>     list of float                    str
///     what converts to QList<int>        list of int                      str
///     any other                          null                             str
///
/// With Pushed, empty lists of numbers yield null, and no Python error is set. The lists of numbers
/// are registered with Qt, as "QVector<double>", "QDoubleList" and "QInt32List". With Exact, an
/// error is set when the result is null.
_object *toPython(const Data::Variant &value, PythonTypes types);

/// Returns the value of \p object, which may be null. Sets no Python error.
///
///     bool                   bool
///     int or a subclass      int, of the lowest 32 bits
///     float or a subclass    double
///     str or a subclass      text, up to the first zero
///     anything else          invalid, also long, unicode, None and lists
Data::Variant fromPython(_object *object);

} // namespace Utils
