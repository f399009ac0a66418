# How everything here is compiled. Each target of ours links ncdm_flags (PRIVATE).

set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

# A program finds the libraries beside it wherever the build stands, so that its bytes do not say where.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
if(NCDM_REPRODUCIBLE)
  set(ncdm_sources /usr/src/${PROJECT_NAME}-${PROJECT_VERSION})
  # Of several that fit the last one counts, and the build's folder may lie in that of the sources.
  add_compile_options(
    -ffile-prefix-map=..=${ncdm_sources}
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=${ncdm_sources}
    -ffile-prefix-map=${PROJECT_BINARY_DIR}=${ncdm_sources}/build)
endif()

foreach(language C CXX)
  set(CMAKE_${language}_FLAGS_RELEASE "-O2 -g -DNDEBUG")
  set(CMAKE_${language}_FLAGS_RELWITHDEBINFO "-O2 -g -DNDEBUG")
  set(CMAKE_${language}_FLAGS_DEBUG "-O1 -g -fno-omit-frame-pointer")
endforeach()

find_program(NCDM_CCACHE ccache)
if(NCDM_CCACHE)
  foreach(language C CXX)
    if(NOT CMAKE_${language}_COMPILER_LAUNCHER)
      # It knows a precompiled header by its bytes when it may overlook what is defined in it.
      set(CMAKE_${language}_COMPILER_LAUNCHER
        env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${NCDM_CCACHE})
    endif()
  endforeach()
endif()

find_package(Threads REQUIRED)
include(GNUInstallDirs)

add_library(ncdm_flags INTERFACE)
# clang counts sign conversions as part of -Wconversion in C++, g++ does not.
target_compile_options(ncdm_flags INTERFACE
  -Wall -Wextra -Wconversion -Werror
  $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wno-sign-conversion>)
target_compile_definitions(ncdm_flags INTERFACE _GNU_SOURCE)

set(release $<CONFIG:Release,RelWithDebInfo>)
if(NOT NCDM_SANITIZE)
  # The fortified calls would hide from the sanitizers what they intercept.
  target_compile_options(ncdm_flags INTERFACE
    $<${release}:-U_FORTIFY_SOURCE> $<${release}:-D_FORTIFY_SOURCE=3>
    $<${release}:-fstack-protector-strong>)
endif()
target_link_options(ncdm_flags INTERFACE
  $<${release}:LINKER:-z,relro> $<${release}:LINKER:-z,now>)

if(NCDM_SANITIZE)
  add_compile_options(-fsanitize=${NCDM_SANITIZE} -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${NCDM_SANITIZE})
endif()
if(NCDM_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(NCDM_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# For what only has to be compiled soon: the address sanitizer's checks are calls, not code in each place.
macro(ncdm_check_by_calls)
  if(NCDM_SANITIZE MATCHES "address" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options("SHELL:--param asan-instrumentation-with-call-threshold=0")
  endif()
endmacro()

# The programs around the library, as their folders say: under the sanitizers they only have to be compiled soon.
macro(ncdm_compile_as_program)
  if(NCDM_SANITIZE AND NOT NCDM_FUZZ)
    add_compile_options(-O0 -g1)
    ncdm_check_by_calls()
  endif()
endmacro()

# For programs with options: builds the option parser where the first one asks for it.
function(ncdm_link_options_parser target)
  if(NOT TARGET ncdm_options)
    add_subdirectory(${PROJECT_SOURCE_DIR}/options ${PROJECT_BINARY_DIR}/options)
  endif()
  target_link_libraries(${target} PRIVATE ncdm_options)
endfunction()

# Headers of the standard library that the programs around the library share, read once for all of them.
set(NCDM_STANDARD_HEADERS <algorithm> <array> <chrono> <cstdint> <cstring> <fstream> <functional> <map> <memory>
  <optional> <set> <stdexcept> <string> <string_view> <unordered_map> <utility> <vector>)

# ncdm_precompile(TARGET ARGUMENT...): target_precompile_headers. g++ no longer knows a precompiled header for the
# system's, and version 12 takes what it inlines from std::string for writes beyond a text.
function(ncdm_precompile target)
  target_precompile_headers(${target} ${ARGN})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT CMAKE_DISABLE_PRECOMPILE_HEADERS)
    target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-stringop-overflow -Wno-restrict)
  endif()
endfunction()

# For shared libraries. clang resolves their sanitizer calls only in the program.
set(NCDM_NO_UNDEFINED LINKER:--no-undefined)
if(NCDM_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  set(NCDM_NO_UNDEFINED "")
endif()
