# find_package(kelp) gives kelp::kelp, the shared library, and kelp::static.
include("${CMAKE_CURRENT_LIST_DIR}/kelp-targets.cmake")
