# Installs the project into a private prefix and builds a guest from outside,
# twice: through the CMake package and through pkg-config. Each guest must export
# ZYNEPluginMain and nothing else, and the bridge must carry its SONAME.
#   cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -DLIBDIR=lib [-DTOOLCHAIN=...] -DCXX=... -DCXX_FLAGS=...
#         -P CheckInstall.cmake
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "failed: ${command}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

function(expect_only_entry_point library)
  run(nm -D --defined-only ${library})
  string(REGEX REPLACE "[0-9a-f]+ [A-Za-z] " "" names "${run_output}")
  string(STRIP "${names}" names)
  if(NOT names STREQUAL "ZYNEPluginMain")
    message(FATAL_ERROR "${library} exports more than ZYNEPluginMain:\n${names}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

run(readelf -d ${prefix}/${LIBDIR}/libzynebridge.so)
if(NOT run_output MATCHES "SONAME\\)[^\n]*libzynebridge\\.so\\.9\\]")
  message(FATAL_ERROR "the installed bridge lacks the SONAME libzynebridge.so.9:\n${run_output}")
endif()

set(toolchain "")
if(TOOLCHAIN)
  set(toolchain -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/packaging/guest -B ${WORK_DIR}/guest -G Ninja
    -DCMAKE_PREFIX_PATH=${prefix} ${toolchain})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/guest)
expect_only_entry_point(${WORK_DIR}/guest/OutsideGuest.so)

set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(pkg-config --cflags --libs zynebridge)
string(STRIP "${run_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(cxx_flags UNIX_COMMAND "${CXX_FLAGS}")
run(${CXX} ${cxx_flags} -std=c++20 -shared -Wl,-z,defs
    ${SOURCE_DIR}/tests/packaging/guest/OutsideGuest.cpp ${flags} -o ${WORK_DIR}/PkgConfigGuest.so)
expect_only_entry_point(${WORK_DIR}/PkgConfigGuest.so)
