# Debian's sources of what both builds use; scripts/deps.sh unpacked them.
add_library(tarn_cjson OBJECT ${TARN_DEPS}/cjson/cJSON.c ${TARN_DEPS}/cjson/cJSON_Utils.c)
target_include_directories(tarn_cjson SYSTEM PUBLIC ${TARN_DEPS}/include)
target_compile_definitions(tarn_cjson PRIVATE CJSON_EXPORT_SYMBOLS CJSON_API_VISIBILITY)
set_target_properties(tarn_cjson PROPERTIES C_VISIBILITY_PRESET default)

add_library(tarn_pugixml STATIC ${TARN_DEPS}/pugixml/src/pugixml.cpp)
target_include_directories(tarn_pugixml SYSTEM PUBLIC ${TARN_DEPS}/pugixml/src)
target_compile_definitions(tarn_pugixml PUBLIC PUGIXML_NO_XPATH)

# Header-only; the copy keeps the native include folder away from the MinGW compiler.
add_library(tarn_cli11 INTERFACE)
target_include_directories(tarn_cli11 SYSTEM INTERFACE ${TARN_DEPS}/include)

set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(gtest_disable_pthreads OFF CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
