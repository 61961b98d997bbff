# Reads every example file as JSON and applies the JSON back, on a copy of the
# project: every file must stay byte for byte as it was, and a second read
# must print the same JSON (but for the file's modification time).
#   TOOL, PROJECT (the example project), DIR (scratch), CASES: "kind|file|options..." items
file(REMOVE_RECURSE ${DIR})
file(COPY ${PROJECT}/ DESTINATION ${DIR}/project)
set(failed "")
foreach(item IN LISTS CASES)
  string(REPLACE "|" ";" words "${item}")
  list(POP_FRONT words kind file)
  execute_process(COMMAND ${TOOL} read ${kind} ${file} --json ${words}
                  WORKING_DIRECTORY ${DIR}/project RESULT_VARIABLE rc
                  OUTPUT_FILE ${DIR}/${file}.json ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    string(APPEND failed "read ${kind} ${file}: ${rc} ${err}\n")
    continue()
  endif()
  execute_process(COMMAND ${TOOL} apply ${kind} ${file} ${DIR}/${file}.json ${words}
                  WORKING_DIRECTORY ${DIR}/project RESULT_VARIABLE rc ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    string(APPEND failed "apply ${kind} ${file}: ${rc} ${err}\n")
    continue()
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${DIR}/project/${file}
                          ${PROJECT}/${file} RESULT_VARIABLE differs)
  if(differs)
    string(APPEND failed "${kind} ${file} changed by read --json | apply\n")
  endif()
  execute_process(COMMAND ${TOOL} read ${kind} ${file} --json ${words}
                  WORKING_DIRECTORY ${DIR}/project OUTPUT_VARIABLE again)
  file(READ ${DIR}/${file}.json first)
  # apply replaced the file: the same bytes, a new modification time.
  string(REGEX REPLACE "\"mtime\": \"[^\"]*\"" "" first "${first}")
  string(REGEX REPLACE "\"mtime\": \"[^\"]*\"" "" again "${again}")
  if(NOT first STREQUAL again)
    string(APPEND failed "${kind} ${file} reads differently after apply\n")
  endif()
endforeach()
if(failed)
  message(FATAL_ERROR "${failed}")
endif()
