# Our own targets build warning-free; third-party code (GoogleTest, Benchmark) does not get these.
function(tqge_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
endfunction()
