# The version of the arm64 OpenCV headers, from opencv2/core/version.hpp.
file(STRINGS /usr/include/opencv4/opencv2/core/version.hpp parts REGEX "#define CV_VERSION_(MAJOR|MINOR|REVISION) ")
string(REGEX REPLACE ".*MAJOR +([0-9]+).*MINOR +([0-9]+).*REVISION +([0-9]+).*" "\\1.\\2.\\3" PACKAGE_VERSION "${parts}")
if(PACKAGE_FIND_VERSION_MAJOR EQUAL 4 AND PACKAGE_VERSION VERSION_GREATER_EQUAL PACKAGE_FIND_VERSION)
  set(PACKAGE_VERSION_COMPATIBLE TRUE)
else()
  set(PACKAGE_VERSION_COMPATIBLE FALSE)
endif()
