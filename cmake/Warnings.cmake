# Warnings on for every target of the project, through one interface target.
add_library(qk_warnings INTERFACE)
target_compile_options(qk_warnings INTERFACE
  $<$<CXX_COMPILER_ID:GNU,Clang>:-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                 -Wold-style-cast -Wcast-align -Wnull-dereference>)
