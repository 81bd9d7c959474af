# The dependencies of the Windows cross build. Libraries come from QK_WIN_DEPS (cross-built by
# scripts/win-deps from Debian's source packages) and from mingw-w64's own root (zlib); the
# header-only libraries (Boost, CLI11) from the host's Debian packages, linked into
# QK_WIN_DEPS/include so that the host's other headers stay out of sight.

# The C runtime's printf family of mingw-w64 itself, which knows %zu and %lld as C99 says; the
# system's older msvcrt.dll does not.
add_compile_definitions(__USE_MINGW_ANSI_STDIO=1)

pkg_check_modules(LUA51 REQUIRED IMPORTED_TARGET lua5.1-c++)
pkg_check_modules(ZSTD REQUIRED IMPORTED_TARGET libzstd)
pkg_check_modules(YAJL REQUIRED IMPORTED_TARGET yajl)
pkg_check_modules(STB REQUIRED IMPORTED_TARGET stb)
find_package(ZLIB REQUIRED)
find_package(Threads REQUIRED)

# No OpenSSL: MD5 comes from the system's hashing API (bcrypt) on Windows.
foreach(header boost/version.hpp CLI/CLI.hpp)
  if(NOT EXISTS ${QK_WIN_DEPS}/include/${header})
    message(FATAL_ERROR "${QK_WIN_DEPS}/include/${header} is missing: run scripts/qk win")
  endif()
endforeach()
add_library(Boost::headers INTERFACE IMPORTED)
target_include_directories(Boost::headers INTERFACE ${QK_WIN_DEPS}/include)
# Call stacks of failed assertions through Boost.Stacktrace's header-only backend for Windows
# (the debugger engine, dbgeng).
add_library(Boost::stacktrace_windbg INTERFACE IMPORTED)
target_compile_definitions(Boost::stacktrace_windbg INTERFACE BOOST_STACKTRACE_USE_WINDBG)
target_link_libraries(Boost::stacktrace_windbg INTERFACE Boost::headers dbgeng ole32)
add_library(CLI11::CLI11 INTERFACE IMPORTED)
target_include_directories(CLI11::CLI11 INTERFACE ${QK_WIN_DEPS}/include)

if(QK_BUILD_TESTS)
  # GoogleTest from Debian's sources, built with the project's compiler.
  set(QK_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest's sources")
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
  add_subdirectory(${QK_GOOGLETEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  include(GoogleTest)
endif()
if(QK_BUILD_BENCH)
  # Google Benchmark, cross-built by `scripts/win-deps PREFIX --bench` (scripts/qk winbench).
  find_package(benchmark REQUIRED)
endif()
