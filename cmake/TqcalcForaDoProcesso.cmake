# tqcalc against the sample server running as a LocalServer32 under wine, as a module runs against
# the suite's servers: the server registered with the example's scenario and a remote server name
# (wine activates it locally, so the library takes its remote branch against a real process), the
# month's billing compared byte for byte with the in-process result, then recorded from the
# servers and replayed in process. The server is unregistered whatever happens.
#   cmake -DEMULADOR=wine -DSERVIDOR=... -DTQCALC=... -DEXEMPLO=... -DESPERADO=... -DTEMP=dir
#         -P TqcalcForaDoProcesso.cmake
set(erros "")
include(${CMAKE_CURRENT_LIST_DIR}/Executa.cmake)

file(MAKE_DIRECTORY ${TEMP})
file(READ ${ESPERADO} esperado)
set(gravado ${TEMP}/gravado.json)
file(REMOVE ${gravado})

executa(0 ${SERVIDOR} /RegServer /Cenario Z:${EXEMPLO} /Remoto SERVIDOR-GE)
if(erros STREQUAL "")
    executa(0 ${TQCALC} --contrato 40017 --mes 03/2024 --json)
    if(NOT saida STREQUAL esperado)
        string(APPEND erros "out of process, the JSON differs from ${ESPERADO}:\n${saida}\n")
    endif()
    foreach(servidor "ITQGE_Contratos" "ITQGE_Faixa" "ITQGE_Apontamentos")
        if(NOT saida_erros MATCHES "${servidor}: servidor remoto SERVIDOR-GE, keep-alive ativo")
            string(APPEND erros "no keep-alive reported for ${servidor}:\n${saida_erros}\n")
        endif()
    endforeach()
    executa(0 ${TQCALC} --gravar Z:${gravado} --contrato 40017 --mes 03/2024)
endif()
executa(0 ${SERVIDOR} /UnregServer)
if(NOT erros STREQUAL "")
    message(FATAL_ERROR "${erros}")
endif()

# What was recorded from the servers bills the same month the same way, in process.
executa(0 ${TQCALC} ${gravado} --mes 03/2024 --json)
if(NOT saida STREQUAL esperado)
    string(APPEND erros "the recorded scenario bills differently:\n${saida}\n")
endif()
# Unregistered, the servers are gone again.
executa(1 ${TQCALC} --contrato 40017 --mes 03/2024 --json)
if(NOT erros STREQUAL "")
    message(FATAL_ERROR "${erros}")
endif()
