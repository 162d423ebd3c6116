# Runs a program VEZES times; each run must exit with code 0.
#   cmake -DPROGRAMA=... [-DEMULADOR=...] -DVEZES=20 -P Repete.cmake
foreach(i RANGE 1 ${VEZES})
    execute_process(COMMAND ${EMULADOR} ${PROGRAMA} RESULT_VARIABLE codigo
        OUTPUT_VARIABLE saida ERROR_VARIABLE erros)
    if(NOT codigo EQUAL 0)
        message(FATAL_ERROR "run ${i}: exit code ${codigo}\n${saida}${erros}")
    endif()
endforeach()
