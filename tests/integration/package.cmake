# Makes the zip of the build BUILD with the program CPACK and unpacks it into the empty folder FOLDER.
file(REMOVE_RECURSE "${FOLDER}")
file(MAKE_DIRECTORY "${FOLDER}/unpacked")
execute_process(COMMAND "${CPACK}" --config "${BUILD}/CPackConfig.cmake" -B "${FOLDER}"
    COMMAND_ERROR_IS_FATAL ANY)
file(GLOB packages "${FOLDER}/*.zip")
list(LENGTH packages count)
if(NOT count EQUAL 1)
    message(FATAL_ERROR "expected one zip in ${FOLDER}: ${packages}")
endif()
file(ARCHIVE_EXTRACT INPUT "${packages}" DESTINATION "${FOLDER}/unpacked")
