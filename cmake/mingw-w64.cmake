# Cross build for 64-bit Windows with Debian's mingw-w64, POSIX-threads variant (std::thread and
# std::mutex need it). libgcc, libstdc++ and winpthread are linked statically, so that the
# executables run under Wine (or on Windows) without DLLs copied beside them.
#
# QK_WIN_DEPS (a cache variable or the environment variable of that name) is the prefix that
# scripts/win-deps fills with the libraries Debian lacks for mingw-w64; pkg-config and the find_*
# calls look there and in the compiler's own root, never in the host's /usr.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(QK_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${QK_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${QK_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${QK_MINGW_TRIPLE}-windres)

if(NOT QK_WIN_DEPS)
  set(QK_WIN_DEPS "$ENV{QK_WIN_DEPS}")
endif()
if(NOT QK_WIN_DEPS)
  message(FATAL_ERROR "QK_WIN_DEPS must name the prefix of the cross-built dependencies")
endif()
# try_compile projects read this file again; they get the prefix through the environment.
set(ENV{QK_WIN_DEPS} "${QK_WIN_DEPS}")

set(CMAKE_FIND_ROOT_PATH /usr/${QK_MINGW_TRIPLE} ${QK_WIN_DEPS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(ENV{PKG_CONFIG_LIBDIR} "${QK_WIN_DEPS}/lib/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "")

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")

# Tests and generators run through Wine (cmake/wine-run, with a Wine prefix in the build folder).
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine-run ${CMAKE_BINARY_DIR}/wineprefix)
