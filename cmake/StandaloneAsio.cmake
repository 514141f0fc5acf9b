# Asio without Boost, the same for everybody who uses it: the target standalone_asio.
include_guard(GLOBAL)
find_package(Threads REQUIRED)
find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
add_library(standalone_asio INTERFACE)
target_include_directories(standalone_asio SYSTEM INTERFACE ${ASIO_INCLUDE_DIR})
target_compile_definitions(standalone_asio INTERFACE
  ASIO_STANDALONE
  # Asio allocates in one of two ways and chooses by a macro that exists only behind a standard header, so that two
  # source files may come to different choices and one frees what the other allocated otherwise. One way for all.
  ASIO_DISABLE_STD_ALIGNED_ALLOC
  # ThreadSanitizer does not know bare memory fences. Nothing of ours hangs on them: a handler passes between
  # threads through the queue's mutex.
  ASIO_DISABLE_FENCED_BLOCK)
target_link_libraries(standalone_asio INTERFACE Threads::Threads)
