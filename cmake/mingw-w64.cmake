# Windows x86-64 from Debian: the posix-threads variant of mingw-w64, and Wine to run what was built. The libraries are
# those of scripts/windows_libraries.sh.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_VERSION 10.0)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

if(DEFINED ENV{RAMPART_WINDOWS_LIBS})
  set(RAMPART_WINDOWS_LIBS $ENV{RAMPART_WINDOWS_LIBS})
elseif(DEFINED ENV{XDG_CACHE_HOME})
  set(RAMPART_WINDOWS_LIBS $ENV{XDG_CACHE_HOME}/rampart/windows)
else()
  set(RAMPART_WINDOWS_LIBS $ENV{HOME}/.cache/rampart/windows)
endif()
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${RAMPART_WINDOWS_LIBS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${RAMPART_WINDOWS_LIBS}/lib/pkgconfig)

# Windows 10, wide system functions, and an assembler that takes the many sections of a big file.
set(CMAKE_CXX_FLAGS_INIT "-D_WIN32_WINNT=0x0A00 -DWINVER=0x0A00 -DUNICODE -D_UNICODE -Wa,-mbig-obj")
set(CMAKE_C_FLAGS_INIT "-D_WIN32_WINNT=0x0A00 -DWINVER=0x0A00")

set(CMAKE_CROSSCOMPILING_EMULATOR /usr/lib/wine/wine64)
