# What every target of the project shares. Linked privately, so that nothing of it reaches programs that are
# built against the installed libraries.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# What depends on the operating system stands in a source of its own for each, X_posix.cpp and X_windows.cpp, with
# one header; targets list X_${RIVLINK_SYSTEM}.cpp.
if(WIN32)
    set(RIVLINK_SYSTEM windows)
else()
    set(RIVLINK_SYSTEM posix)
endif()
if(WIN32)
    # rivlink_local.dll whatever the compiler, so that a plug-in's file follows from its name
    set(CMAKE_SHARED_LIBRARY_PREFIX "")
    set(CMAKE_SHARED_MODULE_PREFIX "")
endif()

# Programs and the libraries that they are linked to stand in bin, plug-ins in plugins: the host finds
# them there without an option, in the build tree as after installation, on Windows as on Linux.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(RIVLINK_PLUGIN_DIRECTORY "${PROJECT_BINARY_DIR}/plugins")

find_program(RIVLINK_CCACHE ccache)
if(RIVLINK_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${RIVLINK_CCACHE}")
endif()

set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS thread system date_time filesystem)
include(RivlinkLog4cplus)
if(WIN32)
    # unique file names need the system's random numbers; Boost's package does not name their library
    set_property(TARGET Boost::filesystem APPEND PROPERTY INTERFACE_LINK_LIBRARIES bcrypt)
endif()
if(RIVLINK_WINDOWS_DEPENDENCIES)
    # Windows looks for libraries beside the program
    file(GLOB RIVLINK_RUNTIME_LIBRARIES "${RIVLINK_WINDOWS_DEPENDENCIES}/prefix/bin/*.dll")
    file(COPY ${RIVLINK_RUNTIME_LIBRARIES} DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
endif()

# how the compiler cache names the sources, seen from the folder in which the compiler runs
file(RELATIVE_PATH from_build_to_source "${PROJECT_BINARY_DIR}" "${PROJECT_SOURCE_DIR}")
string(REGEX REPLACE "/$" "" from_build_to_source "${from_build_to_source}")

add_library(rivlink_options INTERFACE)
target_include_directories(rivlink_options INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_definitions(rivlink_options INTERFACE
    BOOST_BIND_GLOBAL_PLACEHOLDERS # Boost 1.74's own headers still use the global names
    $<$<PLATFORM_ID:Windows>:WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00>)
if(WIN32)
    target_link_libraries(rivlink_options INTERFACE ws2_32 mswsock) # Boost.Asio's timers start the sockets too
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # sources that are joined are included, which is why gcc takes what is theirs alone for a header's
    target_compile_options(rivlink_options INTERFACE $<$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>:-Wno-subobject-linkage>)
endif()
if(MINGW)
    # gcc 12 sees an overlapping copy in its own std::string where there is none: here with -O2 ...
    target_compile_options(rivlink_options INTERFACE -Wno-restrict)
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # ... and elsewhere with -O3
    target_compile_options(rivlink_options INTERFACE $<$<CONFIG:Release>:-Wno-restrict>)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(rivlink_options INTERFACE
        # a library's own functions are never replaced by others, so it calls and inlines them directly
        -fno-semantic-interposition
        -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
        $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety> # reads the annotations of common/ThreadSafety.h
        # log records name their source file: by its path in the project, not on the building machine, which
        # also lets one compiler cache serve every checkout
        "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" "-ffile-prefix-map=${from_build_to_source}/=")
    if(RIVLINK_WERROR AND NOT RIVLINK_SANITIZE)
        # instrumented code meets warnings of its own, of Boost's fences for one
        target_compile_options(rivlink_options INTERFACE -Werror)
    endif()
    if(RIVLINK_SANITIZE)
        target_compile_options(rivlink_options INTERFACE
            "-fsanitize=${RIVLINK_SANITIZE}" -fno-sanitize-recover=all -fno-omit-frame-pointer
            -g1
            # instrumented code takes the compiler several times as long to optimise; a test's own is not worth it
            $<IF:$<BOOL:$<TARGET_PROPERTY:RIVLINK_IS_TEST>>,-O0,-O1>)
        target_link_options(rivlink_options INTERFACE "-fsanitize=${RIVLINK_SANITIZE}")
    endif()
    if(RIVLINK_COVERAGE)
        target_compile_options(rivlink_options INTERFACE --coverage -O0)
        target_link_options(rivlink_options INTERFACE --coverage)
    endif()
endif()
