# Our own targets build warning-free; third-party code (GoogleTest, Benchmark) does not get these.
# Warnings stop the build only when asked (every preset asks): a packager's compiler may raise
# warnings ours does not, and that need not break their build.
function(tqge_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra)
    if(TQGE_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()
