# OpenCV for the cross build: imported targets opencv_<module> for the arm64
# libraries of Debian's per-module packages (libopencv-<module>-dev:arm64),
# with the shared headers and the arm64 configuration header.
set(OpenCV_INCLUDE_DIRS /usr/include/opencv4 /usr/include/${CMAKE_LIBRARY_ARCHITECTURE}/opencv4)
set(OpenCV_LIBS)
foreach(module IN LISTS OpenCV_FIND_COMPONENTS)
  set(library /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/libopencv_${module}.so)
  if(EXISTS ${library})
    set(OpenCV_${module}_FOUND TRUE)
    if(NOT TARGET opencv_${module})
      add_library(opencv_${module} SHARED IMPORTED)
      set_target_properties(opencv_${module} PROPERTIES
        IMPORTED_LOCATION ${library}
        INTERFACE_INCLUDE_DIRECTORIES "${OpenCV_INCLUDE_DIRS}")
    endif()
    list(APPEND OpenCV_LIBS opencv_${module})
  else()
    set(OpenCV_${module}_FOUND FALSE)
    if(OpenCV_FIND_REQUIRED_${module})
      set(OpenCV_FOUND FALSE)
      set(OpenCV_NOT_FOUND_MESSAGE "no ${library}: install libopencv-${module}-dev:arm64")
    endif()
  endif()
endforeach()
