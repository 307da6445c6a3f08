# Fails unless the library exports the two functions that make its modules, and nothing else of
# their implementation.
execute_process(COMMAND "${NM}" -D --defined-only --format=posix "${LIBRARY}"
    OUTPUT_VARIABLE lines COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" lines "${lines}")
set(found "")
foreach(line IN LISTS lines)
    string(REGEX REPLACE " .*" "" name "${line}")
    if(name MATCHES "^init|^_?sip|Bindings|ScriptableModuleKelm|sipUtils|sipType|PyObject|7_object")
        list(APPEND found "${name}")
    endif()
endforeach()
list(SORT found)
if(NOT found STREQUAL "initKelmData;initKelmUtils")
    message(FATAL_ERROR "exported: ${found}")
endif()
