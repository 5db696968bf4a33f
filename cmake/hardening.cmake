# What distributions harden programs with: addresses that are all resolved at the start and read-only from then on, a
# stack that can't be run, and a guard before return addresses. What a distribution or a user sets goes on top.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fstack-protector-strong has_stack_protector)

# No marks of where indirect branches may go on 32 bits: a 486 refuses them.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    check_cxx_compiler_flag(-fcf-protection=none has_branch_marks)
    if(has_branch_marks)
        add_compile_options(-fcf-protection=none)
    endif()
endif()

function(zovek_harden target)
    if(WIN32) # the guard is a DLL of its own there
        return()
    endif()
    if(has_stack_protector)
        target_compile_options(${target} PRIVATE -fstack-protector-strong)
    endif()
    get_target_property(type ${target} TYPE)
    if(NOT type MATCHES "^(OBJECT|STATIC)_LIBRARY$")
        target_link_options(${target} PRIVATE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
    endif()
endfunction()

# A program, or a part of one. Where it is optimised as it is linked, its objects have machine code beside: tests link that.
function(zovek_program target)
    zovek_harden(${target})
    if(ZOVEK_LTO)
        target_compile_options(${target} PRIVATE -flto=auto -ffat-lto-objects)
        get_target_property(type ${target} TYPE)
        if(type STREQUAL EXECUTABLE)
            target_link_options(${target} PRIVATE -flto=auto -O2 -Wodr)
        endif()
    endif()
endfunction()
