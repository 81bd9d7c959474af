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
