# Compiler settings that hold for every target.
option(RAMPART_TESTS "Build the test programs" ON)
option(RAMPART_BENCH "Build the benchmarks" OFF)
option(RAMPART_UNITY "Compile the sources of a target a dozen at a time: a whole build takes a third of the time" OFF)
option(RAMPART_FUZZ "Build the fuzz targets, which needs clang" OFF)
set(RAMPART_SANITIZE "" CACHE STRING "Value for -fsanitize, for example address,undefined")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

option(RAMPART_WERROR "Warnings are errors, as in the presets" OFF)
add_compile_options(-Wall -Wextra -Wno-missing-field-initializers)
if(RAMPART_WERROR)
  add_compile_options(-Werror)
endif()

if(RAMPART_UNITY)
  set(CMAKE_UNITY_BUILD ON)
  set(CMAKE_UNITY_BUILD_BATCH_SIZE 12)
  # A test's fixture in an unnamed namespace is no fault of a header.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endif()

if(MINGW)
  # The compiler takes wide texts that it has inlined for faults.
  add_compile_options(-Wno-array-bounds -Wno-free-nonheap-object -Wno-stringop-overread)
endif()

if(RAMPART_SANITIZE)
  add_compile_options(-fsanitize=${RAMPART_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1 -O1)
  # The compiler takes instrumented code of <regex> for faults.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  # Asio has fences beside its locks; the sanitizer goes by the locks.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
  add_link_options(-fsanitize=${RAMPART_SANITIZE})
endif()

find_program(RAMPART_CCACHE ccache)
if(RAMPART_CCACHE AND NOT DEFINED ENV{RAMPART_NO_CCACHE} AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # A precompiled header is part of what ccache hashes only with these settings.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_DEPEND=1
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      ${RAMPART_CCACHE})
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-fpch-preprocess)
endif()

find_package(Boost 1.81 REQUIRED)  # its headers only
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

# rampart_package(target pkg-config-name): an imported target for a library that ships a .pc file.
function(rampart_package target name)
  pkg_check_modules(${target} REQUIRED IMPORTED_TARGET GLOBAL ${name})
endfunction()

# Programs for Windows stand in one folder with the library and the compiler's own ones. They are shared, so that an
# exception crosses from the library into a program.
if(MINGW)
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
  foreach(library libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}
                    OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT IS_ABSOLUTE ${file})
      set(file /usr/x86_64-w64-mingw32/lib/${library})
    endif()
    file(COPY ${file} DESTINATION ${CMAKE_BINARY_DIR}/bin)
  endforeach()
endif()
