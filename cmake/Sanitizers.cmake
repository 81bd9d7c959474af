# QK_SANITIZE=ON builds everything with AddressSanitizer and UndefinedBehaviorSanitizer.
# Undefined behaviour stops the program, so that a test sees it as a failure.
if(QK_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# QK_SANITIZE_THREAD=ON builds everything with ThreadSanitizer, for the tests that run threads.
if(QK_SANITIZE_THREAD)
  if(QK_SANITIZE)
    message(FATAL_ERROR "QK_SANITIZE and QK_SANITIZE_THREAD can't be combined")
  endif()
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()

# QK_FUZZ=ON instruments everything for libFuzzer's coverage, with AddressSanitizer and UBSan; the
# fuzz targets themselves link libFuzzer's driver (fuzz/CMakeLists.txt).
if(QK_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "QK_FUZZ needs clang (CC=clang CXX=clang++)")
  endif()
  if(QK_SANITIZE OR QK_SANITIZE_THREAD)
    message(FATAL_ERROR "QK_FUZZ brings its own sanitizers")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
