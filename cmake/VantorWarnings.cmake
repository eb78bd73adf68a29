# One warning set for every target of the project.
add_library(vantor_warnings INTERFACE)
target_compile_options(vantor_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
  -Wcast-align -Woverloaded-virtual -Wnull-dereference -Wformat=2
  -Wimplicit-fallthrough)
if(VANTOR_WERROR)
  target_compile_options(vantor_warnings INTERFACE -Werror)
endif()
