# apply refuses a table whose file changed since read --json printed it (exit
# 1, the file named, nothing written), whether the change shows in the size
# or only in the content; the same table goes into another file.
#   TOOL, PROJECT (the example project), DIR (scratch)
file(REMOVE_RECURSE ${DIR})
file(COPY ${PROJECT}/ DESTINATION ${DIR})
set(failed "")

function(tolvik expected_status)
  execute_process(COMMAND ${TOOL} ${ARGN} WORKING_DIRECTORY ${DIR}
                  RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status STREQUAL expected_status)
    string(JOIN " " command ${ARGN})
    set(failed "${failed}tolvik ${command}: exit ${status}, expected ${expected_status}\n${err}"
        PARENT_SCOPE)
  endif()
  set(out "${out}" PARENT_SCOPE)
  set(err "${err}" PARENT_SCOPE)
endfunction()

# Another writer, then apply: refused, and the file is the other writer's.
foreach(change same-size-and-time grown)
  tolvik(0 read profile PLANT.INI --json)
  file(WRITE ${DIR}/table.json "${out}")
  if(change STREQUAL "grown")
    tolvik(0 profile set PLANT.INI Pump Timeout 750)
  else()
    # The same number of bytes under the same modification time: only the
    # hash tells.
    file(WRITE ${DIR}/time-of-PLANT.INI "")
    execute_process(COMMAND touch -r PLANT.INI time-of-PLANT.INI WORKING_DIRECTORY ${DIR})
    file(READ ${DIR}/PLANT.INI content)
    string(REPLACE "COM2" "COM5" content "${content}")
    file(WRITE ${DIR}/PLANT.INI "${content}")
    execute_process(COMMAND touch -r time-of-PLANT.INI PLANT.INI WORKING_DIRECTORY ${DIR})
    file(REMOVE ${DIR}/time-of-PLANT.INI ${DIR}/PLANT.BAK)
  endif()
  file(READ ${DIR}/PLANT.INI theirs)
  file(GLOB before RELATIVE ${DIR} ${DIR}/*)
  tolvik(1 apply profile PLANT.INI table.json)
  if(NOT err MATCHES "^tolvik: PLANT.INI: changed since the table was read")
    string(APPEND failed "${change}: no message naming the file: ${err}\n")
  endif()
  file(READ ${DIR}/PLANT.INI now)
  file(GLOB after RELATIVE ${DIR} ${DIR}/*)
  if(NOT now STREQUAL theirs OR NOT before STREQUAL after)
    string(APPEND failed "${change}: apply wrote although the file had changed\n")
  endif()
endforeach()

# A table read from one file is written into another (the table was read with
# the same-size change, COM5).
file(COPY ${PROJECT}/PLANT.INI DESTINATION ${DIR}/other)
tolvik(0 apply profile other/PLANT.INI table.json)
file(READ ${DIR}/other/PLANT.INI copied)
if(NOT copied MATCHES "Port = \"COM5\"")
  string(APPEND failed "the table was not written into another file\n")
endif()

if(failed)
  message(FATAL_ERROR "${failed}")
endif()
