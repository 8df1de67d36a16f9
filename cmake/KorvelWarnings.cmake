# Compiler flags shared by every target of the project.
add_library(korvel_flags INTERFACE)
target_compile_options(korvel_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align
  -Woverloaded-virtual -Wimplicit-fallthrough)
# GCC 12 reports false -Wrestrict overlaps in std::string concatenation at -O3 (GCC bug 105651), and false
# -Wstringop-overread bounds in the comparison of std::vector<unsigned char> at -O3.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(korvel_flags INTERFACE -Wno-restrict -Wno-stringop-overread)
endif()
if(KORVEL_WERROR)
  target_compile_options(korvel_flags INTERFACE -Werror)
endif()
if(KORVEL_SANITIZE)
  target_compile_options(korvel_flags INTERFACE -fsanitize=address,undefined -fno-omit-frame-pointer
                                                -fno-sanitize-recover=undefined)
  target_link_options(korvel_flags INTERFACE -fsanitize=address,undefined)
endif()
