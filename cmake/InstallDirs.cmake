# Where things lie below the prefix that they are installed to. All is relative to it, so that an
# installed tree may be moved, unless CMAKE_INSTALL_LIBDIR and the like are set to other folders.

# Debian's own folder for the libraries of an architecture, for any prefix: a package has the layout
# of the tree that it was tested in.
if(EXISTS /etc/debian_version AND CMAKE_LIBRARY_ARCHITECTURE)
    set(CMAKE_INSTALL_LIBDIR "lib/${CMAKE_LIBRARY_ARCHITECTURE}"
        CACHE PATH "Folder of libraries below the prefix")
endif()
include(GNUInstallDirs)

set(KELMUTILS_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/KelmUtils")
set(KELMUTILS_RES_DIR "${CMAKE_INSTALL_DATADIR}/KelmUtils/res")
set(KELM_RES_DIR "${CMAKE_INSTALL_DATADIR}/kelm/res")

if(KELMUTILS_SCRIPTING)
    # The Python of tools/setup-python lies in the build folder and goes along. One that somebody
    # else keeps stays where it is.
    if(Python27_ROOT STREQUAL KELMUTILS_OWN_PYTHON)
        set(is_ours ON)
    else()
        set(is_ours OFF)
    endif()
    option(KELMUTILS_INSTALL_PYTHON "Install the Python 2.7 beside the library" ${is_ours})

    get_filename_component(folder "${Python27_LIBRARY}" DIRECTORY)
    file(RELATIVE_PATH KELMUTILS_PYTHON_LIBDIR "${Python27_HOME}" "${folder}")
    if(KELMUTILS_INSTALL_PYTHON)
        set(KELMUTILS_PYTHON_DIR "${CMAKE_INSTALL_LIBDIR}/KelmUtils/python27")
        set(KELMUTILS_PYTHON_RPATH "\$ORIGIN/KelmUtils/python27/${KELMUTILS_PYTHON_LIBDIR}")
    else()
        set(KELMUTILS_PYTHON_DIR "${Python27_HOME}")
        set(KELMUTILS_PYTHON_RPATH "${folder}")
    endif()
endif()
