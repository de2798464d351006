# The libraries that the core and the tool are built with. tools/packages names the packages they come from.

find_package(Threads REQUIRED)
find_package(simdjson REQUIRED)
find_package(nlohmann_json 3.10 REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(CLI11 REQUIRED)

find_path(UTF8PROC_INCLUDE_DIR utf8proc.h REQUIRED)
find_library(UTF8PROC_LIBRARY utf8proc REQUIRED)
add_library(utf8proc INTERFACE)
target_include_directories(utf8proc SYSTEM INTERFACE ${UTF8PROC_INCLUDE_DIR})
target_link_libraries(utf8proc INTERFACE ${UTF8PROC_LIBRARY})

# The application's, on top of them. Without Qt everything else is built all the same.
set(qt_components Core Gui Network Widgets)
if(NOT APPLE)
  list(APPEND qt_components DBus)
endif()
find_package(Qt6 6.4 QUIET COMPONENTS ${qt_components})
if(Qt6_FOUND AND NOT APPLE)
  # The X server's library, which comes with Qt's headers.
  find_path(XCB_INCLUDE_DIR xcb/xcb.h REQUIRED)
  find_library(XCB_LIBRARY xcb REQUIRED)
  add_library(xcb INTERFACE)
  target_include_directories(xcb SYSTEM INTERFACE ${XCB_INCLUDE_DIR})
  target_link_libraries(xcb INTERFACE ${XCB_LIBRARY})
endif()
if(NOT Qt6_FOUND)
  message(STATUS "Left out, since Qt 6.4 or later isn't installed: the application")
endif()
