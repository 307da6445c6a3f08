# Installs the library into a scratch prefix, and builds and runs on it what users would.
#
# Arguments, all required: those of Consumer.cmake and Tree.cmake but PREFIX and WORK_DIR,
# BUILD_DIR, SCRATCH_DIR.

include("${CMAKE_CURRENT_LIST_DIR}/Tree.cmake")

set(PREFIX "${SCRATCH_DIR}/prefix")
set(WORK_DIR "${SCRATCH_DIR}/work")
file(REMOVE_RECURSE "${SCRATCH_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${PREFIX}")
if(CMAKE_HOST_SYSTEM_NAME STREQUAL "Linux")
    check_gdb_file("${PREFIX}")
endif()
if(METHOD STREQUAL "pkg-config")
    # Moved first: the description must not hold on to where it was installed.
    file(RENAME "${PREFIX}" "${SCRATCH_DIR}/moved")
    set(PREFIX "${SCRATCH_DIR}/moved")
endif()
check_tree()
include("${CMAKE_CURRENT_LIST_DIR}/Consumer.cmake")
