cmake_minimum_required(VERSION 3.25)
# tqcalc.exe on a console under wine: run inside a pseudo-terminal (script(1)), so that wine gives
# the program a console whose text it turns into the terminal's UTF-8. Text written as UTF-16
# arrives accented; UTF-8 bytes written as they are would arrive as box-drawing mojibake.
#   cmake -DEMULADOR=wine -DPROGRAMA=tqcalc.exe -DARGS="a;b" -DPADRAO=regex -DAUSENTE=regex
#         -P ConsoleWine.cmake
list(JOIN ARGS " " argumentos)
set(ENV{LANG} C.UTF-8)
execute_process(COMMAND script -qec "${EMULADOR} ${PROGRAMA} ${argumentos}" /dev/null
    RESULT_VARIABLE codigo OUTPUT_VARIABLE saida ERROR_VARIABLE erros TIMEOUT 120)
# The console's cursor and line controls are not text.
string(ASCII 27 esc)
string(REGEX REPLACE "${esc}\\[[0-9;?]*[A-Za-z]" "" saida "${saida}")
string(REPLACE "\r" "" saida "${saida}")
if(NOT codigo EQUAL 0)
    message(FATAL_ERROR "exit code ${codigo}\n${saida}${erros}")
endif()
if(NOT saida MATCHES "${PADRAO}")
    message(FATAL_ERROR "the console does not show ${PADRAO}:\n${saida}")
endif()
if(saida MATCHES "${AUSENTE}")
    message(FATAL_ERROR "the console shows ${AUSENTE}:\n${saida}")
endif()
