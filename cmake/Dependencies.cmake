# Every dependency comes from the system (Debian's -dev packages); nothing is vendored.
find_package(PkgConfig REQUIRED)

# The Windows cross build (cmake/mingw-w64.cmake) finds the libraries Debian lacks for mingw-w64
# in the prefix scripts/win-deps fills, through pkg-config as on Linux.
if(WIN32)
  include(cmake/DependenciesWin32.cmake)
  return()
endif()

# Lua 5.1 built as C++, so that a Lua error unwinds C++ frames and runs their destructors.
pkg_check_modules(LUA51 REQUIRED IMPORTED_TARGET lua5.1-c++)
pkg_check_modules(ZSTD REQUIRED IMPORTED_TARGET libzstd)
pkg_check_modules(YAJL REQUIRED IMPORTED_TARGET yajl)
pkg_check_modules(STB REQUIRED IMPORTED_TARGET stb)   # stb_sprintf, compiled into libstb
find_package(ZLIB REQUIRED)
# MD5 for lfs.md5sum, from OpenSSL's libcrypto.
find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
# Boost.Container is header-only here; Boost.Stacktrace's libbacktrace backend gives the call
# stacks of failed assertions.
find_package(Boost 1.74 REQUIRED COMPONENTS stacktrace_backtrace)
find_package(Threads REQUIRED)
find_package(CLI11 2.1 REQUIRED)

if(QK_BUILD_TESTS)
  find_package(GTest REQUIRED)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  include(GoogleTest)
endif()
if(QK_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()
