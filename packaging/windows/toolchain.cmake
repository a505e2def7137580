# Builds for Windows with Debian's mingw-w64. Beside the compiler's own libraries only those are
# found that scripts/build-windows-libraries has put into build/windows-libraries.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(KESTREL7_WINDOWS_LIBRARIES ${CMAKE_CURRENT_LIST_DIR}/../../build/windows-libraries)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${KESTREL7_WINDOWS_LIBRARIES})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(PKG_CONFIG_ARGN --static)
set(ENV{PKG_CONFIG_LIBDIR} ${KESTREL7_WINDOWS_LIBRARIES}/lib/pkgconfig)
