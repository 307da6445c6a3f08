# kelm_add_sip_module(<target> <Module> <file>...): adds a Python module to the sources of a target.
#
# The files are its definition, relative to the folder of this call's CMakeLists.txt; the module's
# own one is <Module>/<Module>.sip, and the files that a definition includes or imports are named
# relative to that folder or to bindings/.
function(kelm_add_sip_module target module)
    list(TRANSFORM ARGN PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/" OUTPUT_VARIABLE definition)
    file(GLOB imported CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/bindings/KelmData/*.sip")
    set(folder "${CMAKE_CURRENT_BINARY_DIR}/${module}")
    set(source "${folder}/sip${module}part0.cpp")
    file(MAKE_DIRECTORY "${folder}")
    # Without docstrings, and with the code of all classes in one source.
    add_custom_command(
        OUTPUT "${source}"
        BYPRODUCTS "${folder}/sipAPI${module}.h"
        COMMAND "${Python27_SIP}" -e -j 1 -c "${folder}"
            -I "${CMAKE_CURRENT_SOURCE_DIR}" -I "${PROJECT_SOURCE_DIR}/bindings"
            "${CMAKE_CURRENT_SOURCE_DIR}/${module}/${module}.sip"
        DEPENDS ${definition} ${imported}
        COMMENT "Generating the Python module ${module}"
        VERBATIM
    )
    target_sources(${target} PRIVATE "${source}")
    add_custom_target(${module}Source DEPENDS "${source}" SOURCES ${ARGN})
    add_dependencies(${target} ${module}Source)
    set_source_files_properties("${source}" TARGET_DIRECTORY ${target} PROPERTIES
        GENERATED ON
        SKIP_AUTOMOC ON
        SKIP_PRECOMPILE_HEADERS ON
    )
endfunction()
