# The scripted loopback peer as a library of its own: the Subsonic wire tests and the server's fuzz
# target both answer through it (the fuzz preset builds no tests, so either may come first).
if(NOT TARGET ScriptedPeer)
  add_library(ScriptedPeer STATIC ${CMAKE_CURRENT_LIST_DIR}/ScriptedPeer.cpp ${CMAKE_CURRENT_LIST_DIR}/ScriptedPeer.h)
  target_include_directories(ScriptedPeer PUBLIC ${CMAKE_CURRENT_LIST_DIR})
  target_link_libraries(ScriptedPeer PUBLIC Qt6::Network)
  lumevar_warnings(ScriptedPeer)
endif()
