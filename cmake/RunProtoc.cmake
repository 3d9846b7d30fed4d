# Defines cmnsys_run_protoc(<command>...): runs protoc, prints what it says except for its warnings
# of unused imports, and stops with an error when it fails. Some imports of the schema are declared
# only because they fix the order of registration. As a script (cmake -P with the list COMMAND) it
# runs that command.

function(cmnsys_run_protoc)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result ERROR_VARIABLE messages)
  string(REGEX REPLACE "[^\n]*: warning: Import [^\n]* is unused\\.\n" "" messages "${messages}")
  if(messages)
    message("${messages}")
  endif()
  if(NOT result EQUAL 0)
    list(GET ARGV -1 file)
    message(FATAL_ERROR "protoc failed (${result}); its last argument was ${file}")
  endif()
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  cmnsys_run_protoc(${COMMAND})
endif()
