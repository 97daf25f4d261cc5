# run(COMMAND...): runs a command, fails the script with its output when it
# fails, and leaves its standard output in `output`.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed (${status}): ${ARGN}\n${out}\n${err}")
  endif()
  message(STATUS "${out}")
  set(output "${out}" PARENT_SCOPE)
endfunction()
