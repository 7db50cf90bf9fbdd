# Installs the build tree into a scratch prefix, then configures, builds and
# runs a small consumer against it, once through find_package and once through
# pkg-config, and runs the README's minimal host as a user would: without the
# bundle and log variables, from another directory, then with the prefix
# moved. With QV_PYTHON (the interpreter the Python module was built for; empty
# when it was not built) the installed module is imported and writes a file
# likewise, with only PYTHONPATH set. Variables: QV_BUILD_DIR, QV_WORK_DIR,
# QV_CONSUMER_DIR, QV_GENERATOR, QV_CXX_COMPILER, QV_SANITIZE, QV_EXAMPLE (the
# README's host example), QV_PYTHON, QV_SANITIZER_PRELOAD (the
# sanitizer runtimes preloaded into the interpreter for a sanitized module).

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " cmd "${ARGN}")
    message(FATAL_ERROR "failed (${rc}): ${cmd}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

# Runs the minimal host in an empty directory `dir` with the bundle and log
# variables unset (plus any VAR=VALUE given), and checks what it wrote and said.
function(run_host host dir)
  file(MAKE_DIRECTORY "${dir}")
  set(env --unset=QUEVARRA_BUNDLE --unset=QUEVARRA_LOG ${ARGN})
  if(QV_SANITIZE)
    # Codec libraries unloaded with the plugins keep allocations at exit.
    list(APPEND env ASAN_OPTIONS=detect_leaks=0)
  endif()
  execute_process(COMMAND "${CMAKE_COMMAND}" -E env ${env} "${host}" WORKING_DIRECTORY "${dir}"
                  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  set(expected "video 25 in, 25 out; audio 44100 in, 44100 out\n")
  if(NOT rc EQUAL 0 OR NOT out STREQUAL expected OR NOT EXISTS "${dir}/grey.mkv")
    message(FATAL_ERROR "minimal host in ${dir} (${ARGN}) failed (${rc}):\n${out}\n${err}")
  endif()
  file(SIZE "${dir}/grey.mkv" size)
  if(size LESS 1000)
    message(FATAL_ERROR "minimal host wrote ${size} bytes to ${dir}/grey.mkv")
  endif()
endfunction()

# Imports the module installed under `root` from an empty directory `dir`,
# with nothing but PYTHONPATH pointing there, and writes a file with it.
function(run_python root dir)
  file(MAKE_DIRECTORY "${dir}")
  set(site "${root}/lib/python3/dist-packages")
  set(env --unset=QUEVARRA_BUNDLE --unset=QUEVARRA_LOG --unset=LD_LIBRARY_PATH "PYTHONPATH=${site}")
  if(QV_SANITIZER_PRELOAD)
    list(APPEND env "LD_PRELOAD=${QV_SANITIZER_PRELOAD}" ASAN_OPTIONS=detect_leaks=0)
  endif()
  # Hiding numpy shows that the module does without it.
  set(script [=[
import sys
sys.modules["numpy"] = None
import quevarra
assert quevarra.__file__.startswith(sys.argv[1]), quevarra.__file__
with quevarra.MediaFile("py.mkv", width=64, height=48, fps=25) as f:
    for i in range(25):
        f.write_video(bytes([i * 8]) * (64 * 48 * 3), i / 25)
        f.write_audio(bytes(1764 * 4), i / 25)
print(f.stats["video_frames_out"], f.stats["audio_samples_out"])
]=])
  execute_process(COMMAND "${CMAKE_COMMAND}" -E env ${env} "${QV_PYTHON}" -s -c "${script}" "${site}"
                  WORKING_DIRECTORY "${dir}" RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0 OR NOT out STREQUAL "25 44100\n" OR NOT EXISTS "${dir}/py.mkv")
    message(FATAL_ERROR "installed Python module under ${root} failed (${rc}):\n${out}\n${err}")
  endif()
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
           "-DCMAKE_CXX_COMPILER=${QV_CXX_COMPILER}" -DCMAKE_BUILD_TYPE=Debug ${flags}
           "-DEXAMPLE_SOURCE=${QV_EXAMPLE}")
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
  run_host("${bdir}/minimal_host" "${QV_WORK_DIR}/run-${mode}")
endforeach()

if(QV_PYTHON)
  run_python("${prefix}" "${QV_WORK_DIR}/run-python")
endif()

# A moved install finds its plugins from where its library now lies.
file(RENAME "${prefix}" "${QV_WORK_DIR}/moved")
get_filename_component(pc_libdir "${pc_dir}" DIRECTORY)
string(REPLACE "${prefix}" "${QV_WORK_DIR}/moved" moved_libdir "${pc_libdir}")
run_host("${QV_WORK_DIR}/consumer-package/minimal_host" "${QV_WORK_DIR}/run-moved"
         "LD_LIBRARY_PATH=${moved_libdir}")
if(QV_PYTHON)
  run_python("${QV_WORK_DIR}/moved" "${QV_WORK_DIR}/run-python-moved")
endif()
