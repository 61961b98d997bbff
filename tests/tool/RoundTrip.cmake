# Reads every example file as JSON and applies the JSON back, on a copy of the
# project: every file must stay byte for byte as it was, and a second read
# must print the same JSON (but for the file's modification time). An item
# that starts with "anew|" is a write that makes the file anew from the table
# (a profile selection holds only what it selects): the second read must print
# the same JSON, and applying it again must leave the file as the first apply
# did.
#   TOOL, PROJECT (the example project), DIR (scratch), CASES: "kind|file|options..." items
file(REMOVE_RECURSE ${DIR})
file(COPY ${PROJECT}/ DESTINATION ${DIR}/project)
set(failed "")
foreach(item IN LISTS CASES)
  string(REPLACE "|" ";" words "${item}")
  set(rewritten FALSE)
  list(GET words 0 first)
  if(first STREQUAL "anew")
    set(rewritten TRUE)
    list(POP_FRONT words)
  endif()
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
  if(rewritten)
    file(COPY_FILE ${DIR}/project/${file} ${DIR}/${file}.applied)
  else()
    execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${DIR}/project/${file}
                            ${PROJECT}/${file} RESULT_VARIABLE differs)
    if(differs)
      string(APPEND failed "${kind} ${file} changed by read --json | apply\n")
    endif()
  endif()
  execute_process(COMMAND ${TOOL} read ${kind} ${file} --json ${words}
                  WORKING_DIRECTORY ${DIR}/project OUTPUT_VARIABLE again)
  file(READ ${DIR}/${file}.json first)
  # apply replaced the file: a new modification time, and for a file made
  # anew new bytes; the tables must be the same.
  string(REGEX REPLACE "\"fingerprint\": {[^}]*}" "" first "${first}")
  string(REGEX REPLACE "\"fingerprint\": {[^}]*}" "" again_table "${again}")
  if(NOT first STREQUAL again_table)
    string(APPEND failed "${kind} ${file} reads differently after apply\n")
  endif()
  if(rewritten)
    # Applied again from a fresh read (the file is not what the first read saw).
    file(WRITE ${DIR}/${file}.again.json "${again}")
    execute_process(COMMAND ${TOOL} apply ${kind} ${file} ${DIR}/${file}.again.json ${words}
                    WORKING_DIRECTORY ${DIR}/project RESULT_VARIABLE rc ERROR_VARIABLE err)
    execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${DIR}/project/${file}
                            ${DIR}/${file}.applied RESULT_VARIABLE differs)
    if(NOT rc EQUAL 0 OR differs)
      string(APPEND failed "${kind} ${file} changed by a second apply: ${rc} ${err}\n")
    endif()
  endif()
endforeach()
if(failed)
  message(FATAL_ERROR "${failed}")
endif()
