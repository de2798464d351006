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
