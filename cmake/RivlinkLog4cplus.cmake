# log4cplus comes without a package file of its own on Debian. This one serves the build and, installed
# beside the project's package file, programs that are built against it.
if(NOT TARGET rivlink_log4cplus)
    find_package(Threads REQUIRED)
    find_library(RIVLINK_LOG4CPLUS_LIBRARY log4cplus REQUIRED)
    find_path(RIVLINK_LOG4CPLUS_INCLUDE log4cplus/logger.h REQUIRED)
    add_library(rivlink_log4cplus INTERFACE IMPORTED)
    set_target_properties(rivlink_log4cplus PROPERTIES
        INTERFACE_LINK_LIBRARIES "${RIVLINK_LOG4CPLUS_LIBRARY};Threads::Threads"
        INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${RIVLINK_LOG4CPLUS_INCLUDE}"
        IMPORTED_GLOBAL ON)
endif()
