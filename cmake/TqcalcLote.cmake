# The month's run over the small month (tests/data/tqcalc/mes-pequeno.json), two workers, its
# resumo.csv compared byte for byte with the committed one, which the Linux run wrote in process.
# With SERVIDOR (Windows, under wine) the same month is also billed from its list of codes against
# the sample server as a LocalServer32, registered with a remote server name so that each server
# object keeps a keep-alive thread, as against the suite's servers; the server is unregistered
# whatever happens.
#   cmake [-DEMULADOR=wine] [-DSERVIDOR=...] -DTQCALC=... -DCENARIO=... -DLISTA=... -DESPERADO=...
#         -DTEMP=dir [-DZ=Z:] -P TqcalcLote.cmake
set(erros "")
include(${CMAKE_CURRENT_LIST_DIR}/Executa.cmake)
macro(compara pasta como)
    if(EXISTS ${pasta}/resumo.csv)
        file(READ ${pasta}/resumo.csv resumo)
    else()
        set(resumo "(none)")
    endif()
    if(NOT resumo STREQUAL esperado)
        string(APPEND erros "${como}: resumo.csv differs from ${ESPERADO}:\n${resumo}\n")
    endif()
endmacro()

file(REMOVE_RECURSE ${TEMP})
file(MAKE_DIRECTORY ${TEMP})
file(READ ${ESPERADO} esperado)

# Three contracts of the month name a range no definition has: exit code 1, each listed.
executa(1 ${TQCALC} lote ${Z}${CENARIO} --mes 03/2024 --saida ${Z}${TEMP}/dentro --threads 2)
compara(${TEMP}/dentro "in process")
if(NOT saida_erros MATCHES "contrato 2428: ERROR_NOT_FOUND")
    string(APPEND erros "in process: the failed contracts are not listed:\n${saida_erros}\n")
endif()

if(DEFINED SERVIDOR)
    executa(0 ${SERVIDOR} /RegServer /Cenario ${Z}${CENARIO} /Remoto SERVIDOR-GE)
    if(erros STREQUAL "")
        executa(1 ${TQCALC} lote --contratos ${Z}${LISTA} --mes 03/2024 --saida ${Z}${TEMP}/fora
                --threads 2)
        compara(${TEMP}/fora "out of process")
        foreach(servidor "ITQGE_Contratos" "ITQGE_Faixa" "ITQGE_Apontamentos")
            if(NOT saida_erros MATCHES "${servidor}: servidor remoto SERVIDOR-GE, keep-alive ativo")
                string(APPEND erros "no keep-alive reported for ${servidor}:\n${saida_erros}\n")
            endif()
        endforeach()
    endif()
    executa(0 ${SERVIDOR} /UnregServer)
endif()
if(NOT erros STREQUAL "")
    message(FATAL_ERROR "${erros}")
endif()
