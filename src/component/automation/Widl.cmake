# Runs the IDL compiler and fails on any warning: it writes a broken type library without failing otherwise.
# -DCOMMAND="widl;options…"
execute_process(COMMAND ${COMMAND} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(output)
  message("${output}")
endif()
if(NOT result EQUAL 0 OR output MATCHES "[Ww]arning")
  message(FATAL_ERROR "the IDL compiler was not content")
endif()
