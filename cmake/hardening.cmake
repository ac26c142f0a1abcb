# What is installed is hardened: harden(DIRECTORY...) does so for every target of these directories. Tests and benchmarks
# are left as they are: they stand in for system functions, and measure against code that is not ours.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)

check_pie_supported()

# ARM has no -fcf-protection, for example.
foreach(flag IN ITEMS -fstack-protector-strong -fstack-clash-protection -fcf-protection)
    string(MAKE_C_IDENTIFIER "KORVO_HAVE${flag}" have)
    check_cxx_compiler_flag(${flag} ${have})
    if(${have})
        list(APPEND KORVO_HARDENING ${flag})
    endif()
endforeach()

# The checks of buffers need the optimizer, and sanitizers have better ones of their own. A level that the compiler or
# the distribution's flags bring along is replaced.
string(TOUPPER "${CMAKE_BUILD_TYPE}" type)
if(NOT KORVO_SANITIZE AND "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${type}}" MATCHES "-O[1-3sz]")
    set(CMAKE_REQUIRED_FLAGS "-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -Werror")
    check_cxx_source_compiles("#include <cstdio>\nint main() {}" KORVO_HAVE_FORTIFY_3)
    unset(CMAKE_REQUIRED_FLAGS)
    list(APPEND KORVO_HARDENING -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=$<IF:$<BOOL:${KORVO_HAVE_FORTIFY_3}>,3,2>)
endif()

function(harden)
    foreach(directory IN LISTS ARGN)
        get_property(targets DIRECTORY ${directory} PROPERTY BUILDSYSTEM_TARGETS)
        foreach(target IN LISTS targets)
            set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
            target_compile_options(${target} PRIVATE ${KORVO_HARDENING})
            target_link_options(${target} PRIVATE LINKER:-z,relro,-z,now)
        endforeach()
    endforeach()
endfunction()
