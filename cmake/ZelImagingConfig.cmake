# The library hides what it is made of: hosts need nothing but its target ZelImaging::ZelImaging.
include(${CMAKE_CURRENT_LIST_DIR}/ZelImagingTargets.cmake)
