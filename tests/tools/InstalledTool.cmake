# Installs the build tree into a scratch prefix and runs the installed
# P/bin/qvencode as a user would: from another directory, with neither the
# bundle nor the log variable set. Variables: QV_BUILD_DIR, QV_WORK_DIR,
# QV_SANITIZE.

file(REMOVE_RECURSE "${QV_WORK_DIR}")
set(prefix "${QV_WORK_DIR}/prefix")
set(elsewhere "${QV_WORK_DIR}/elsewhere")
file(MAKE_DIRECTORY "${elsewhere}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${QV_BUILD_DIR}" --prefix "${prefix}"
                RESULT_VARIABLE rc OUTPUT_QUIET ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install failed (${rc}): ${err}")
endif()

set(env --unset=QUEVARRA_BUNDLE --unset=QUEVARRA_LOG)
if(QV_SANITIZE)
  # Codec libraries unloaded with the plugins keep allocations at exit.
  list(APPEND env ASAN_OPTIONS=detect_leaks=0)
endif()
function(run_installed)
  execute_process(COMMAND "${CMAKE_COMMAND}" -E env ${env} "${prefix}/bin/qvencode" ${ARGN}
                  WORKING_DIRECTORY "${elsewhere}" RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "bin/qvencode ${ARGN} failed (${rc}):\n${out}\n${err}")
  endif()
  set(run_output "${out}${err}" PARENT_SCOPE)
endfunction()

run_installed(--version)
if(NOT run_output MATCHES "qvencode [0-9.]+\nlibrary [0-9.]+\n")
  message(FATAL_ERROR "bin/qvencode --version said:\n${run_output}")
endif()
run_installed(--duration 0.5 -q pattern.mkv)
file(SIZE "${elsewhere}/pattern.mkv" size)
if(size LESS 1000)
  message(FATAL_ERROR "bin/qvencode wrote ${size} bytes to pattern.mkv")
endif()
