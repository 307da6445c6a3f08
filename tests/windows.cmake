# The tests that are not built for Windows, each list after its reason. Tests of which only some
# functions need what Windows does not have skip these there: tests/support/Windows.h.

# They replace functions of the C library, or make calls of the system fail.
set(not_on_windows
    CSVReader_faults CSVTable_faults CSVTable_memory File_faults File_fullDisk File_memory
    Platform_faults Process_kill_faults Process_memory SafeFile Settings_faults StringTable_faults
    TagFile_faults
)
# They are about processes, limits, and terminals of Unix.
list(APPEND not_on_windows
    Platform Process Process_kill Process_limits Process_wait Settings_work Terminal
)
# They replace a function that lists folders; and they are about the rights, owners, links and pipes
# of Unix: tst_Windows has the safe writing of Windows.
list(APPEND not_on_windows FolderList File_safe)

# They start a host that makes calls of Linux fail, or make such calls fail themselves.
list(APPEND not_on_windows
    Bindings_faults PythonScript_depth PythonScript_faults PythonScript_library PythonScript_limits
    PythonScript_nested PythonScript_output PythonScript_site PythonScript_start PythonScript_threads
)
# They are about signals, and shells that a script starts.
list(APPEND not_on_windows PythonScript_interrupt PythonScript_interruptedProcess)
# They start a script of the shell, type on a terminal, and load a library so that its symbols are
# its own, as those of each DLL are.
list(APPEND not_on_windows Kelm_python PyInit PythonPlugin)
# It links objects of the library and of a host, which are made for the DLL there.
list(APPEND not_on_windows KelmFramework)

# They replace functions that write and allocate; the first one also starts a script of the shell.
list(APPEND not_on_windows Workbench_processes Workbench_saving)

# Those that tools/check-windows --quick runs: what the system decides, and one of each part.
add_custom_target(tests_windows_quick)
set(quick_on_windows
    Array CSVReader CSVTable_output CSVTable_read File_contents File_paths File_reasons File_search
    File_tree FileByteReader FileReader FileStatus FileWatch Kelm Kelm_table LastError Library LineFile
    LogFile MemoryChecker Settings Signal StringTable_load StringUtil_numbers TagFile Windows
    Windows_files Windows_paths
)

# Those that the preset windows-python runs, by tools/check-windows --python.
add_custom_target(tests_windows_python)
set(python_on_windows
    Bindings Bindings_module Bindings_progress Bindings_stubs Bindings_values Kelm_input
    Kelm_scripts PythonScript_completion PythonScript_console PythonScript_data
    PythonScript_files PythonScript_input PythonScript_modules PythonScript_run
    PythonScript_streams ScriptError ScriptError_text ScriptManager Script_faults
)
