# Compiler settings that hold for every target.
option(RAMPART_TESTS "Build the test programs" ON)
option(RAMPART_BENCH "Build the benchmarks" OFF)
set(RAMPART_SANITIZE "" CACHE STRING "Value for -fsanitize, for example address,undefined")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

add_compile_options(-Wall -Wextra -Werror -Wno-missing-field-initializers)

if(RAMPART_SANITIZE)
  add_compile_options(-fsanitize=${RAMPART_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1 -O1)
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

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

# rampart_package(target pkg-config-name): an imported target for a library that ships a .pc file.
function(rampart_package target name)
  pkg_check_modules(${target} REQUIRED IMPORTED_TARGET GLOBAL ${name})
endfunction()
