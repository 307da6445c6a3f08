# The Debian packages that cpack makes of the installed components:
#
#   Library      libkelmutils1            the library and its texts
#   Development  libkelmutils-dev         headers, also those of Python, descriptions, and printers for gdb
#   Python       libkelmutils-python27    the private Python 2.7 with its SIP runtime
#   Console      kelm                     the console host with its resources
#   Workbench    kelm-workbench           the workbench, with what a desktop knows it by

if(WIN32)
    include(cmake/Packages_windows.cmake)
endif()
if(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux")
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kelmutils)
set(CPACK_PACKAGE_CONTACT "KelmUtils maintainers <maintainers@kelmutils.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL Library Development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(folder "${PROJECT_BINARY_DIR}/packages")
set(CPACK_PACKAGE_DIRECTORY "${folder}")

# kelm_package(Component name section description
#     [DEPENDS package...] [RECOMMENDS package...] [LICENCE file...]):
# the package \p name of a component, which depends on \p package. It has a copyright of its own and
# of each \p file.
function(kelm_package component name section description)
    cmake_parse_arguments(PARSE_ARGV 4 arg "" "" "DEPENDS;RECOMMENDS;LICENCE")
    string(TOUPPER "CPACK_DEBIAN_${component}" prefix)
    string(JOIN ", " depends ${arg_DEPENDS})
    string(JOIN ", " recommends ${arg_RECOMMENDS})
    set(${prefix}_PACKAGE_NAME "${name}" PARENT_SCOPE)
    set(${prefix}_PACKAGE_SECTION "${section}" PARENT_SCOPE)
    set(${prefix}_DESCRIPTION "${description}" PARENT_SCOPE)
    set(${prefix}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
    set(${prefix}_PACKAGE_RECOMMENDS "${recommends}" PARENT_SCOPE)

    set(texts "${folder}/doc/${name}")
    set(copyright "")
    foreach(file IN ITEMS "${PROJECT_SOURCE_DIR}/cmake/debian/copyright" ${arg_LICENCE})
        file(READ "${file}" text)
        string(APPEND copyright "${text}\n")
    endforeach()
    file(CONFIGURE OUTPUT "${texts}/copyright" CONTENT "${copyright}" @ONLY)
    execute_process(
        COMMAND gzip -9n -c "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
        OUTPUT_FILE "${texts}/changelog.gz"
        COMMAND_ERROR_IS_FATAL ANY
    )
    install(FILES "${texts}/copyright" "${texts}/changelog.gz"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${name}"
        COMPONENT ${component} EXCLUDE_FROM_ALL
    )
endfunction()

set(same "(= ${PROJECT_VERSION})")
set(python "")
if(KELMUTILS_INSTALL_PYTHON)
    list(APPEND CPACK_COMPONENTS_ALL Python)
    set(python "libkelmutils-python27 ${same}")
    file(GLOB licences
        "${Python27_HOME}/share/doc/libpython2.7-minimal/copyright"
        "${Python27_HOME}/share/doc/lib[fs]*/copyright"
        "${Python27_HOME}/share/doc/sip/LICENSE"
    )
    kelm_package(Python libkelmutils-python27 libs
"private Python 2.7 of the KelmUtils library
The interpreter by which KelmUtils runs scripts, with its standard library and the SIP runtime. It
lies in a folder of its own and leaves other interpreters of the system alone."
        LICENCE ${licences}
    )
endif()
kelm_package(Library libkelmutils1 libs
"utility layer for engineering desktop tools
One library that hosts load: signals, files, settings, tables, tag files, XML documents, texts in
several languages, child processes, scripts and progress."
    DEPENDS ${python}
)
kelm_package(Development libkelmutils-dev libdevel
"utility layer for engineering desktop tools, for development
Headers of KelmUtils and of its private Python, what CMake and pkg-config find them by, and what gdb
shows of its types."
    DEPENDS "libkelmutils1 ${same}" ${python} "qtbase5-dev (>= 5.15)"
)
set(program "")
if(TARGET kelm)
    set(program "$<TARGET_FILE:kelm>")
    list(APPEND CPACK_COMPONENTS_ALL Console)
    set(licences "")
    if(LIBEDIT_FOUND) # which is linked in
        file(GLOB licences /usr/share/doc/libedit-dev/copyright)
    endif()
    kelm_package(Console kelm utils
"console host of the KelmUtils library
Runs scripts, and shows and changes tables, tag files, XML documents and settings on the command
line."
        DEPENDS "libkelmutils1 ${same}"
        LICENCE ${licences}
    )
endif()
set(workbench "")
if(TARGET workbench)
    set(workbench "$<TARGET_FILE:workbench>")
    list(APPEND CPACK_COMPONENTS_ALL Workbench)
    # A program has one folder of resources, so the two programs share that of the console host.
    kelm_package(Workbench kelm-workbench science
"tables, plots and statistics of measurements
Opens tables in nearly any layout, of any size, and shows, sorts, filters, searches, plots and
changes them. Plots are written as PNG, SVG and PDF."
        DEPENDS "libkelmutils1 ${same}" "kelm ${same}"
        RECOMMENDS qttranslations5-l10n # the texts of Qt's own dialogs
    )
endif()

# What other packages that use the library depend on.
file(WRITE "${folder}/shlibs"
    "libKelmUtils ${PROJECT_VERSION_MAJOR} libkelmutils1 (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    "${folder}/shlibs" "${PROJECT_SOURCE_DIR}/cmake/debian/triggers")

# The packages of the system that each of ours needs are found when they are made, of all files of
# one at once: cpack itself would start a process for every file of the standard library.
if(NOT KELMUTILS_INSTALL_PYTHON)
    set(KELMUTILS_INSTALL_PYTHON OFF)
endif()
configure_file(cmake/PackageDependencies.cmake.in "${folder}/PackageDependencies.in" @ONLY)
file(GENERATE OUTPUT "${folder}/PackageDependencies.cmake" INPUT "${folder}/PackageDependencies.in")
set(CPACK_PROJECT_CONFIG_FILE "${folder}/PackageDependencies.cmake")

include(CPack)
