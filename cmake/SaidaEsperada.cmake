# Runs a program and checks its exit code and, optionally, a pattern in its output, a pattern that
# must not be there, or its whole standard output against a file, byte for byte:
#   cmake -DPROGRAMA=... [-DEMULADOR=...] -DARGS="a;b" -DCODIGO=2 [-DPADRAO=regex]
#         [-DAUSENTE=regex] [-DESPERADO=file] -P SaidaEsperada.cmake
execute_process(COMMAND ${EMULADOR} ${PROGRAMA} ${ARGS}
    RESULT_VARIABLE codigo OUTPUT_VARIABLE saida ERROR_VARIABLE erros)
if(NOT codigo EQUAL CODIGO)
    message(FATAL_ERROR "exit code ${codigo}, expected ${CODIGO}\n${saida}${erros}")
endif()
if(DEFINED PADRAO AND NOT "${saida}${erros}" MATCHES "${PADRAO}")
    message(FATAL_ERROR "output does not match ${PADRAO}:\n${saida}${erros}")
endif()
if(DEFINED AUSENTE AND "${saida}${erros}" MATCHES "${AUSENTE}")
    message(FATAL_ERROR "output matches ${AUSENTE}, which it must not:\n${saida}${erros}")
endif()
if(DEFINED ESPERADO)
    file(READ ${ESPERADO} esperado)
    if(NOT saida STREQUAL esperado)
        message(FATAL_ERROR "output differs from ${ESPERADO}:\n${saida}")
    endif()
endif()
