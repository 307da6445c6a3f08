#pragma once

#include "utils/settings/Setting.h"

#include <QDir>

namespace Workbench::Preferences {

// The settings of the program, each with its default and its range. A change arrives by
// Settings::SettingChanged(): one by a script at once, one by another instance within a second.

/// The language, such as "de"; "" is that of the system.
inline const Utils::Setting<Data::String> language("Workbench/language", "");

/// A table of more megabytes is not held in memory: it is shown from its file and not changed.
inline const Utils::Setting<int> memoryLimit("Workbench/memoryLimit", 64, 1, 1024);

/// The folder for temporary files, as File::tempPath() returns it.
inline const Utils::Setting<Data::String> tempFolder("gui/tempPath", QDir::tempPath());

/// Whether a file that is saved is on the disk when the call returns: after a power failure, too.
inline const Utils::Setting<bool> flushFiles("Workbench/flushFiles", true);

/// How many digits the statistics have.
inline const Utils::Setting<int> digits("Workbench/digits", 5, 2, 15);

/// How long a program that is cancelled is waited for before it is killed, in seconds.
inline const Utils::Setting<int> stopTime("Workbench/stopTime", 2, 0, 60);

/// How many lines of the output of a program are kept in the view.
inline const Utils::Setting<int> outputLines("Workbench/outputLines", 10000, 100, 1000000);

/// How long a script may run, in seconds; 0 for no limit.
inline const Utils::Setting<int> scriptTimeLimit("Workbench/scriptTimeLimit", 0, 0, 86400);

/// The versions of XML documents that are usual, such as "Frame 2.1", one for each document type.
/// An older or a newer document is told.
inline const Utils::Setting<QStringList> documentVersions("Workbench/documentVersions",
                                                          {"Frame 2.1"});

/// How many sends of signals are kept in the view of the bus.
inline const Utils::Setting<int> busLength("Workbench/busLength", 10000, 100, 1000000);

/// The rows of a table that are shown at once. The others are reached by their numbers or by Find.
inline const Utils::Setting<int> rowsAtOnce("Workbench/rowsAtOnce", 20000000, 1000, 20000000);

/// The list of recent files, as Settings::addMRU() names it.
inline const Data::String recentFiles = "workbench";

} // namespace Workbench::Preferences
