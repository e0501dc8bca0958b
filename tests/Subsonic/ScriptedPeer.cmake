# The scripted Subsonic peer as a library of its own, over the tests' loopback HTTP server: the
# Subsonic tests and the server's fuzz target both answer through it (the fuzz preset builds no
# tests, so either may come first).
include(${CMAKE_CURRENT_LIST_DIR}/../TestKit/LoopbackHttp.cmake)
if(NOT TARGET ScriptedPeer)
  add_library(ScriptedPeer STATIC ${CMAKE_CURRENT_LIST_DIR}/ScriptedPeer.cpp ${CMAKE_CURRENT_LIST_DIR}/ScriptedPeer.h)
  target_include_directories(ScriptedPeer PUBLIC ${CMAKE_CURRENT_LIST_DIR})
  target_link_libraries(ScriptedPeer PUBLIC LoopbackHttp)
  lumevar_warnings(ScriptedPeer)
endif()
