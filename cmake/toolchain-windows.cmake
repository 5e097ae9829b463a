# Windows x86-64 from Linux, with Debian's mingw-w64 in its posix threading flavour: std::thread and its kin exist
# only there. The libraries come from the folder that scripts/windows-deps.sh prepares (and from what is
# named in CMAKE_FIND_ROOT_PATH), and from nowhere else: what stands in the building machine's /usr is for another
# system.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES RIVLINK_WINDOWS_DEPENDENCIES)
if(NOT RIVLINK_WINDOWS_DEPENDENCIES)
    execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/../scripts/windows-deps.sh" --where
        OUTPUT_VARIABLE RIVLINK_WINDOWS_DEPENDENCIES OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endif()
set(RIVLINK_WINDOWS_DEPENDENCIES "${RIVLINK_WINDOWS_DEPENDENCIES}" CACHE PATH
    "Folder in which scripts/windows-deps.sh put the libraries for Windows")

list(APPEND CMAKE_FIND_ROOT_PATH "${RIVLINK_WINDOWS_DEPENDENCIES}/prefix" /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# tests and their discovery run in Wine
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../scripts/wine.sh;${RIVLINK_WINDOWS_DEPENDENCIES}")
