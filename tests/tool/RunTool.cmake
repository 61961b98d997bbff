# Runs the tool once and compares what it did with expected files.
#   TOOL      the tool
#   ARGS      its arguments, separated by "|"
#   DIR       the directory it runs in; with COPY_FROM, a fresh copy of that directory
#   EDITS     in the copy: "file|regex|replacement" triples, separated by "|"
#   REMOVE    in the copy: files to delete, separated by "|"
#   STATUS    the exit status it must give
#   EXPECTED  the expected output: stdout, then "--- stderr" and stderr when
#             there is any; a fingerprint's "mtime" shows as "..."
#   MATCH     instead of EXPECTED: a regular expression the output must match
#   FILE, FILE_EXPECTED  optional: a file in DIR that must afterwards equal FILE_EXPECTED
#   UPDATE    when set, writes the expected files instead of comparing
if(COPY_FROM)
  file(REMOVE_RECURSE ${DIR})
  file(COPY ${COPY_FROM}/ DESTINATION ${DIR})
  string(REPLACE "|" ";" edits "${EDITS}")
  while(edits)
    list(POP_FRONT edits edit_file edit_regex edit_replacement)
    file(READ ${DIR}/${edit_file} content)
    string(REGEX REPLACE "${edit_regex}" "${edit_replacement}" edited "${content}")
    if(edited STREQUAL content)
      message(FATAL_ERROR "${edit_regex} changes nothing in ${edit_file}")
    endif()
    file(WRITE ${DIR}/${edit_file} "${edited}")
  endwhile()
  string(REPLACE "|" ";" remove "${REMOVE}")
  foreach(gone IN LISTS remove)
    file(REMOVE ${DIR}/${gone})
  endforeach()
endif()
string(REPLACE "|" ";" args "${ARGS}")
execute_process(COMMAND ${TOOL} ${args} WORKING_DIRECTORY ${DIR}
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
set(actual "${out}")
if(NOT err STREQUAL "")
  string(APPEND actual "--- stderr\n${err}")
endif()
# A file's modification time is the checkout's, not the case's.
string(REGEX REPLACE "\"mtime\": \"[^\"]*\"" "\"mtime\": \"...\"" actual "${actual}")

if(UPDATE AND NOT MATCH)
  file(WRITE ${EXPECTED} "${actual}")
  if(FILE)
    configure_file(${DIR}/${FILE} ${FILE_EXPECTED} COPYONLY)
  endif()
  return()
endif()

set(failed "")
if(NOT status STREQUAL STATUS)
  string(APPEND failed "exit status ${status}, expected ${STATUS}\n")
endif()
if(MATCH)
  if(NOT actual MATCHES "${MATCH}")
    string(APPEND failed "output does not match ${MATCH}:\n${actual}\n")
  endif()
elseif(NOT EXISTS ${EXPECTED})
  string(APPEND failed "no expected output ${EXPECTED}; this run gave:\n${actual}\n")
else()
  file(READ ${EXPECTED} expected)
endif()
if(NOT MATCH AND DEFINED expected AND NOT actual STREQUAL expected)
  file(WRITE ${DIR}/actual-output.txt "${actual}")
  string(APPEND failed "output differs from ${EXPECTED}:\n${actual}\n")
endif()
if(FILE)
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${DIR}/${FILE} ${FILE_EXPECTED}
                  RESULT_VARIABLE differs)
  if(differs)
    file(READ ${DIR}/${FILE} content)
    string(APPEND failed "${FILE} differs from ${FILE_EXPECTED}:\n${content}\n")
  endif()
endif()
if(failed)
  message(FATAL_ERROR "tolvik ${args}\n${failed}")
endif()
