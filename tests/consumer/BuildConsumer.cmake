# Installs the build tree into a prefix, then configures, builds and runs the
# consumer project against it, and compiles it once more with pkg-config.
#   cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... [-DGENERATOR=...] -P BuildConsumer.cmake
foreach(var BUILD_DIR SOURCE_DIR WORK_DIR)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()
set(prefix ${WORK_DIR}/prefix)
set(build ${WORK_DIR}/build)
file(REMOVE_RECURSE ${WORK_DIR})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}")
  endif()
  message(STATUS "ok: ${ARGN}\n${out}")
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
set(generator)
if(GENERATOR)
  set(generator -G ${GENERATOR})
endif()
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer -B ${build} ${generator}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${build})
run(${build}/consumer_c)
run(${build}/consumer_cpp ${WORK_DIR}/NO-SUCH.MDL)

find_program(PKG_CONFIG pkg-config)
find_program(CXX_COMPILER NAMES c++ g++ clang++)
if(PKG_CONFIG AND CXX_COMPILER)
  set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
  file(GLOB pcdirs ${prefix}/lib*/pkgconfig ${prefix}/lib/*/pkgconfig)
  string(REPLACE ";" ":" pcpath "${pcdirs}")
  set(ENV{PKG_CONFIG_PATH} "${pcpath}")
  execute_process(COMMAND ${PKG_CONFIG} --cflags --libs tolvik32
                  RESULT_VARIABLE rc OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "pkg-config does not find tolvik32 in ${pcpath}")
  endif()
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run(${CXX_COMPILER} -std=c++17 ${SOURCE_DIR}/tests/consumer/consumer.cpp ${flags}
      -o ${WORK_DIR}/consumer_pc)
else()
  message(STATUS "pkg-config or a C++ compiler not found: the pkg-config build is skipped")
endif()
