# IDL to C/C++: header, identifiers and proxy/stub code, with MinGW-w64's widl (a host tool, so
# POSIX builds take their headers from the same IDL). MinGW ships no .idl files; wine's
# development package has them.
find_program(TQGE_WIDL NAMES ${TQ_MINGW_TRIPLE}-widl x86_64-w64-mingw32-widl i686-w64-mingw32-widl
    widl REQUIRED)
set(TQGE_WIDL_IDL_DIR /usr/include/wine/wine/windows CACHE PATH "System .idl files for widl")
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(_tqge_widl_bits -m64)
else()
    set(_tqge_widl_bits -m32)
endif()

# tqge_widl(<idl> <output dir> [IMPORTS <dir>...]): <name>.h, <name>_i.c and <name>_p.c.
function(tqge_widl idl saida)
    cmake_parse_arguments(W "" "" "IMPORTS" ${ARGN})
    get_filename_component(_nome ${idl} NAME_WE)
    get_filename_component(_dir ${idl} DIRECTORY)
    set(_inc -I${TQGE_WIDL_IDL_DIR} -I${_dir})
    foreach(_i ${W_IMPORTS})
        list(APPEND _inc -I${_i})
    endforeach()
    file(MAKE_DIRECTORY ${saida})
    add_custom_command(
        OUTPUT ${saida}/${_nome}.h ${saida}/${_nome}_i.c ${saida}/${_nome}_p.c
        COMMAND ${TQGE_WIDL} ${_tqge_widl_bits} -Oif ${_inc}
                -h -H ${saida}/${_nome}.h -u -U ${saida}/${_nome}_i.c
                -p -P ${saida}/${_nome}_p.c ${idl}
        DEPENDS ${idl}
        COMMENT "widl ${_nome}.idl"
        VERBATIM)
endfunction()
