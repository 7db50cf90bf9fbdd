# Installs the build tree into a scratch prefix, then configures, builds and
# runs a small consumer against it, once through find_package and once through
# pkg-config. Variables: QV_BUILD_DIR, QV_WORK_DIR, QV_CONSUMER_DIR,
# QV_GENERATOR, QV_CXX_COMPILER, QV_SANITIZE.

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " cmd "${ARGN}")
    message(FATAL_ERROR "failed (${rc}): ${cmd}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${QV_WORK_DIR}")
set(prefix "${QV_WORK_DIR}/prefix")
run("${CMAKE_COMMAND}" --install "${QV_BUILD_DIR}" --prefix "${prefix}")

file(GLOB_RECURSE pc_files "${prefix}/*/quevarra.pc")
list(LENGTH pc_files pc_count)
if(NOT pc_count EQUAL 1)
  message(FATAL_ERROR "expected one installed quevarra.pc, found: ${pc_files}")
endif()
get_filename_component(pc_dir "${pc_files}" DIRECTORY)

# A sanitized library needs its runtime loaded first: the consumer is built
# with the same sanitizers.
set(flags "")
if(QV_SANITIZE)
  set(flags "-DCMAKE_CXX_FLAGS=-fsanitize=address,undefined"
            "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=address,undefined")
endif()

foreach(mode package pkgconfig)
  set(bdir "${QV_WORK_DIR}/consumer-${mode}")
  set(args -S "${QV_CONSUMER_DIR}" -B "${bdir}" -G "${QV_GENERATOR}"
           "-DCMAKE_CXX_COMPILER=${QV_CXX_COMPILER}" -DCMAKE_BUILD_TYPE=Debug ${flags})
  if(mode STREQUAL "package")
    run("${CMAKE_COMMAND}" ${args} "-DCMAKE_PREFIX_PATH=${prefix}" -DUSE_PKGCONFIG=OFF)
  else()
    # Only the scratch prefix's .pc may be found.
    run("${CMAKE_COMMAND}" -E env "PKG_CONFIG_LIBDIR=${pc_dir}" --unset=PKG_CONFIG_PATH
        "${CMAKE_COMMAND}" ${args} -DUSE_PKGCONFIG=ON)
  endif()
  run("${CMAKE_COMMAND}" --build "${bdir}")
  run("${bdir}/consumer")
  if(NOT run_output MATCHES "consumer ok")
    message(FATAL_ERROR "${mode} consumer said: ${run_output}")
  endif()
  # The consumer must run against the installed library, not the build tree's.
  run(ldd "${bdir}/consumer")
  if(NOT run_output MATCHES "libquevarra[^\n]*=> ${prefix}/")
    message(FATAL_ERROR "${mode} consumer does not use the installed library:\n${run_output}")
  endif()
endforeach()
