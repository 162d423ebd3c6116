# For the scripts the tests run with cmake -P: `executa(CODIGO comando args...)` runs the command
# (under EMULADOR when set), keeps its output in `saida` and `saida_erros`, and adds to `erros`
# when it exits with any other code.
macro(executa codigo)
    execute_process(COMMAND ${EMULADOR} ${ARGN}
        RESULT_VARIABLE _codigo OUTPUT_VARIABLE saida ERROR_VARIABLE saida_erros)
    if(NOT _codigo EQUAL ${codigo})
        string(APPEND erros "${ARGN}: exit code ${_codigo}, expected ${codigo}\n${saida}${saida_erros}\n")
    endif()
endmacro()
