# Applies VANTOR_SANITIZE to everything built after this point.
# Unknown names stop the configure step rather than building an unsanitized tree.
if(VANTOR_SANITIZE STREQUAL "")
  return()
elseif(VANTOR_SANITIZE STREQUAL "address+undefined")
  set(_flags -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(VANTOR_SANITIZE STREQUAL "thread")
  set(_flags -fsanitize=thread -fno-omit-frame-pointer)
else()
  message(FATAL_ERROR "VANTOR_SANITIZE='${VANTOR_SANITIZE}' is not one of: address+undefined, thread")
endif()
add_compile_options(${_flags})
add_link_options(${_flags})
