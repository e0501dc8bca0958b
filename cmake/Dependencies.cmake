# Every third-party dependency, found once for the whole tree. scripts/setup.sh installs them.
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Widgets Network Concurrent DBus Svg Test)
find_package(QCoro6 REQUIRED COMPONENTS Core Network DBus)
find_package(PkgConfig REQUIRED)
pkg_check_modules(MPV REQUIRED IMPORTED_TARGET mpv)
# libmpv is loaded when playback first needs it (MpvClient), not linked: its headers only.
add_library(MpvHeaders INTERFACE)
target_include_directories(MpvHeaders INTERFACE ${MPV_INCLUDE_DIRS})
pkg_check_modules(TAGLIB REQUIRED IMPORTED_TARGET taglib)
find_package(SQLite3 REQUIRED)
# The server backend keeps its password in the system keyring.
find_package(Qt6Keychain REQUIRED)
if(LUMEVAR_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()
if(LUMEVAR_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()
