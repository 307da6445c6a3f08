# The tests that are not built for another architecture of Linux: those below abi, debugger, docs,
# inject, kill and package start compilers and debuggers of this machine.
set(not_on_ports "")

# Those that tools/check-port --quick runs: what the processor decides, such as the order of bytes,
# the size of numbers and vector instructions, and one of each part.
add_custom_target(tests_port_quick)
set(quick_on_ports
    Array ByteScan CSVDialect CSVReader CSVTable_encoding CSVTable_numbers CSVTable_quoting
    CSVTable_read CellIndex Checksum Color DateTime Document FileByteReader FileReader FileStatus
    File_contents File_encoding File_search Kelm Kelm_table LastError LineFile LineLayout List
    MemoryChecker NumberParse NumberText Process_run PyInit PythonScript_run RunningStatistics
    Settings Settings_format Signal Simd Statistics Statistics_order String StringTable_load
    StringUtil_numbers TagFile TagFile_read Utf8 Variant
)
