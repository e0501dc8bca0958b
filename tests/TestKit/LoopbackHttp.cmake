# The tests' loopback HTTP server as a library of its own, with nothing but Qt Network: the fuzz
# preset builds no tests and no TestKit, yet the Subsonic fuzz target answers through it.
if(NOT TARGET LoopbackHttp)
  add_library(LoopbackHttp STATIC ${CMAKE_CURRENT_LIST_DIR}/LoopbackHttpServer.cpp ${CMAKE_CURRENT_LIST_DIR}/LoopbackHttpServer.h)
  target_include_directories(LoopbackHttp PUBLIC ${CMAKE_CURRENT_LIST_DIR}/..)
  target_link_libraries(LoopbackHttp PUBLIC Qt6::Network)
  lumevar_warnings(LoopbackHttp)
endif()
