# Each folder of the daemon is one static library, and an include names its header from the root of the
# tree. So that an upward include does not build, a library does not see the root: it sees one folder of
# links for itself and one for each library it is linked with, and nothing else.

add_library(mux_warnings INTERFACE)
target_compile_options(mux_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)

# mux_add_library(NAME FOLDER folder/from/root SOURCES ... [DEPENDS ...])
function(mux_add_library name)
  cmake_parse_arguments(ARG "" "FOLDER" "SOURCES;DEPENDS" ${ARGN})
  set(root ${CMAKE_BINARY_DIR}/include-roots/${name})
  get_filename_component(parent ${root}/${ARG_FOLDER} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${ARG_FOLDER} ${root}/${ARG_FOLDER} SYMBOLIC)

  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${root})
  target_link_libraries(${name} PUBLIC ${ARG_DEPENDS} Threads::Threads PRIVATE mux_warnings)
endfunction()

# mux_runnable(VARIABLE TARGET): the path under which a test starts the program TARGET: the program itself, or, when it is
# built for another architecture, a script that starts it under the emulator.
function(mux_runnable variable target)
  set(path $<TARGET_FILE:${target}>)
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
    set(script ${CMAKE_BINARY_DIR}/emulated/${target})
    file(GENERATE OUTPUT ${script} CONTENT "#!/bin/sh\nexec ${emulator} ${path} \"$@\"\n"
      FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    set(path ${script})
  endif()
  set(${variable} ${path} PARENT_SCOPE)
endfunction()

# Tools, tests and benchmarks: their libraries' headers take longer to compile than most sources that include them, so
# these folders compile eight sources as one translation unit, the daemon's one by one. -DCMAKE_UNITY_BUILD=OFF separates
# them, for tools that look up how a source is compiled.
macro(mux_compile_in_groups)
  if(NOT DEFINED CMAKE_UNITY_BUILD)
    set(CMAKE_UNITY_BUILD ON)
    set(CMAKE_UNITY_BUILD_BATCH_SIZE 8)
  endif()
endmacro()
