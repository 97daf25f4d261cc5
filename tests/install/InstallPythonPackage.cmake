# Installs the build tree into a fresh prefix and imports the Python package
# from there with PYTHONPATH, as a user would. Run with cmake -P and the -D
# variables set by tests/CMakeLists.txt: BUILD_DIR, WORK_DIR, PYTHON, PACKAGE_DIR
# (the package folder relative to the prefix).
include(${CMAKE_CURRENT_LIST_DIR}/Run.cmake)

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
# One statement per line: a semicolon would split the CMake argument.
run(${CMAKE_COMMAND} -E env PYTHONPATH=${prefix}/${PACKAGE_DIR} ${PYTHON} -c "
import numpy, vision_superresolution as vsr
print(vsr.__file__)
print(vsr.Engine(32, 24).add(numpy.zeros((24, 32), numpy.float32)))")
if(NOT output MATCHES "^${prefix}/${PACKAGE_DIR}/vision_superresolution/__init__.py\nOutcome\\(computed=False, code=-4")
  message(FATAL_ERROR "unexpected output of the installed package: ${output}")
endif()
