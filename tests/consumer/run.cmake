# Installs the build tree BUILD into a fresh prefix, checks that the headers there are those of
# headers.txt and compile alone, and builds and runs the consumer against it.
#   cmake -D BUILD=... -D SOURCE=... -D WORK=... -D CXX=... -D FLAGS=... -D INCLUDEDIR=...
#         -D CHECK_HEADERS=... -P run.cmake
file(REMOVE_RECURSE ${WORK})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
                  ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\nfailed with ${result}:\n${output}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)

set(include ${WORK}/prefix/${INCLUDEDIR})
file(GLOB_RECURSE found RELATIVE ${include} ${include}/*)
list(SORT found)
list(JOIN found "\n" found)
file(READ ${SOURCE}/headers.txt expected)
if(NOT "${found}\n" STREQUAL expected)
  message(FATAL_ERROR "the installed headers are not those of ${SOURCE}/headers.txt:\n${found}")
endif()
run(${CHECK_HEADERS} ${include} ${CXX} .)

run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -G Ninja -DCMAKE_CXX_COMPILER=${CXX}
    -DCMAKE_CXX_STANDARD=20 "-DCMAKE_CXX_FLAGS=${FLAGS}" -DCMAKE_PREFIX_PATH=${WORK}/prefix)
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/consumer)
