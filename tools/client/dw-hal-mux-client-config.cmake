# find_package(dw-hal-mux-client): the target dw-hal-mux::client.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(${CMAKE_CURRENT_LIST_DIR}/dw-hal-mux-client-targets.cmake)
