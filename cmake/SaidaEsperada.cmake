# Runs a program and checks its exit code and, optionally, a pattern in its output, a pattern that
# must not be there, its whole standard output against a file, byte for byte, or a pattern in a
# file it writes (removed first, so that an old one does not pass):
#   cmake -DPROGRAMA=... [-DEMULADOR=...] -DARGS="a;b" -DCODIGO=2 [-DPADRAO=regex]
#         [-DAUSENTE=regex] [-DESPERADO=file] [-DARQUIVO=file -DPADRAO_ARQUIVO=regex]
#         -P SaidaEsperada.cmake
if(DEFINED ARQUIVO)
    file(REMOVE ${ARQUIVO})
endif()
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
if(DEFINED ARQUIVO)
    if(NOT EXISTS ${ARQUIVO})
        message(FATAL_ERROR "${ARQUIVO} was not written\n${saida}${erros}")
    endif()
    file(READ ${ARQUIVO} escrito)
    if(NOT escrito MATCHES "${PADRAO_ARQUIVO}")
        message(FATAL_ERROR "${ARQUIVO} does not match ${PADRAO_ARQUIVO}:\n${escrito}")
    endif()
endif()
