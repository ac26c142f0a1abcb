# Warnings are errors in our own builds; KORVO_WERROR=OFF for a compiler we do not know yet.
option(KORVO_WERROR "Treat warnings as errors" ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Wundef
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
if(KORVO_WERROR)
    add_compile_options(-Werror)
endif()
