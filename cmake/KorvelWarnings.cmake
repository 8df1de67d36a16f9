# Compiler flags shared by every target of the project.
add_library(korvel_flags INTERFACE)
target_compile_options(korvel_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align
  -Woverloaded-virtual -Wnull-dereference -Wimplicit-fallthrough)
if(KORVEL_WERROR)
  target_compile_options(korvel_flags INTERFACE -Werror)
endif()
if(KORVEL_SANITIZE)
  target_compile_options(korvel_flags INTERFACE -fsanitize=address,undefined -fno-omit-frame-pointer
                                                -fno-sanitize-recover=undefined)
  target_link_options(korvel_flags INTERFACE -fsanitize=address,undefined)
endif()
