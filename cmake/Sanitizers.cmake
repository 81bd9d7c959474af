# QK_SANITIZE=ON builds everything with AddressSanitizer and UndefinedBehaviorSanitizer.
# Undefined behaviour stops the program, so that a test sees it as a failure.
if(QK_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
