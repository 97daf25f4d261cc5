# Installs the build tree into a fresh prefix, then builds the example host
# against that copy twice, with its CMake package and with pkg-config, and runs
# both programs. Run with cmake -P and the -D variables set by tests/CMakeLists.txt:
# BUILD_DIR, SOURCE_DIR, WORK_DIR, C_COMPILER, C_FLAGS, SONAME_VERSION.
include(${CMAKE_CURRENT_LIST_DIR}/Run.cmake)

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

foreach(file
    lib/libvision_superresolution_1_0.so.${SONAME_VERSION}
    lib/cmake/vision_superresolution_1_0/vision_superresolution_1_0Config.cmake
    lib/pkgconfig/vision_superresolution_1_0.pc
    include/vision_superresolution_1_0/vorel/Export.h
    include/vision_superresolution_1_0/vision/superresolution/SrFloat.h
    include/vision_superresolution_1_0/vision/superresolution/api/vision_superresolution.h
    include/vision_superresolution_1_0/vision/superresolution/api/vision_superresolution_version.h)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()

# With the CMake package.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples -B ${WORK_DIR}/cmake-build
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_C_COMPILER=${C_COMPILER} "-DCMAKE_C_FLAGS=${C_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${WORK_DIR}/cmake-build/host)
if(NOT output MATCHES "result 128 x 96")
  message(FATAL_ERROR "unexpected output of the host built with CMake: ${output}")
endif()

# With pkg-config.
set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
run(pkg-config --cflags --libs vision_superresolution_1_0)
separate_arguments(flags UNIX_COMMAND "${output} ${C_FLAGS}")
run(${C_COMPILER} -std=c99 ${SOURCE_DIR}/examples/host.c ${flags} -lm -Wl,-rpath,${prefix}/lib
  -o ${WORK_DIR}/host-pkgconfig)
run(${WORK_DIR}/host-pkgconfig)
if(NOT output MATCHES "result 128 x 96")
  message(FATAL_ERROR "unexpected output of the host built with pkg-config: ${output}")
endif()
