# Cross-builds for 64-bit Windows with Debian's mingw-w64 (the POSIX-threads
# flavour, whose C++ runtime has std::thread), and runs what it builds under
# Wine through cmake/wine-run.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(LUMBREL_MINGW x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${LUMBREL_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${LUMBREL_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${LUMBREL_MINGW}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${LUMBREL_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine-run)
