# The commit that is built and its date, when there is a repository: for `tarn version` and for the
# version resource of the DLL.
execute_process(COMMAND git -C ${PROJECT_SOURCE_DIR} log -1 --format=%h,\ %cs
  OUTPUT_VARIABLE TARN_COMMIT OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(NOT TARN_COMMIT)
  set(TARN_COMMIT "unknown")
endif()
if(EXISTS ${PROJECT_SOURCE_DIR}/.git/logs/HEAD)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/.git/logs/HEAD)
endif()
