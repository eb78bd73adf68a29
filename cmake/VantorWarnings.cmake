# One warning set for every target of the project.
add_library(vantor_warnings INTERFACE)
target_compile_options(vantor_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
  -Wcast-align -Woverloaded-virtual -Wformat=2
  -Wimplicit-fallthrough -Wconversion -Wsign-conversion)
# GCC 12 reports -Wrestrict inside libstdc++'s std::string at -O3 where no
# overlap can happen (GCC bug 105329); the warning is noise there.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(vantor_warnings INTERFACE -Wno-restrict)
endif()
# -Wnull-dereference is useful in debug builds but at -O2/-O3 GCC 12 reports
# paths inside libstdc++'s containers that inlining made up.
target_compile_options(vantor_warnings INTERFACE $<$<CONFIG:Debug>:-Wnull-dereference>)
if(VANTOR_WERROR)
  target_compile_options(vantor_warnings INTERFACE -Werror)
endif()
