# Compiler options shared by everything that is built here.

add_library(tavo_options INTERFACE)
target_compile_options(tavo_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wswitch-enum -Wold-style-cast
    -Wnon-virtual-dtor -Werror)

if(TAVO_SANITIZE)
    add_compile_options(-fsanitize=${TAVO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${TAVO_SANITIZE})
endif()
