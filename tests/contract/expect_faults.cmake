# Runs CHECK on LIBRARY and wants each of these facts reported as failed.
execute_process(COMMAND ${CHECK} ${LIBRARY} ${EXPORT_LIST} 64
  OUTPUT_VARIABLE report RESULT_VARIABLE status)
if(NOT status EQUAL 1)
  message(FATAL_ERROR "the check ended with status ${status} on a faulty library:\n${report}")
endif()
foreach(fact IN ITEMS
    "exports only what is listed" "exports 64 names"
    "imports only libc's functions and host_raise_internal" "needs libc alone"
    "runs nothing at load or unload" "binds at load" "has no writable data after relocation"
    "binds its own calls and data locally" "has no VEX or EVEX encoded instruction"
    "has no other instruction above SSE4.2 and POPCNT" "uses no register wider than 16 bytes")
  string(FIND "${report}" "FAIL  ${fact}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the check did not notice: ${fact}\n${report}")
  endif()
endforeach()
