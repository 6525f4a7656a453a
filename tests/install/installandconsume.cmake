# Installs the build into a fresh prefix, builds the consumer project against that prefix alone
# and runs it. Arguments: BUILD_DIR, CONSUMER_DIR, WORK_DIR, CXX_FLAGS (the build's sanitizers).
function(run_step what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${what} failed (${result}):\n${out}\n${err}")
    endif()
    set(lastOutput "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run_step("install" ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
foreach(header mediamgr.h mediamodel_export.h accountbase.h im.pb.h storage_export.h)
    if(NOT EXISTS "${prefix}/include/mediamodel/${header}")
        message(FATAL_ERROR "the prefix lacks include/mediamodel/${header}")
    endif()
endforeach()
run_step("configure the consumer" ${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build"
    -G Ninja "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${CXX_FLAGS}")
run_step("build the consumer" ${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run_step("run the consumer" "${WORK_DIR}/build/consumer")
if(NOT lastOutput MATCHES "consumer: ok")
    message(FATAL_ERROR "the consumer did not finish: ${lastOutput}")
endif()
message(STATUS "${lastOutput}")
