# cpack: an archive of what is installed; cpack --config CPackSourceConfig.cmake:
# an archive of the sources.

set(CPACK_GENERATOR TGZ)
set(CPACK_PACKAGE_NAME varnelbase)
set(CPACK_PACKAGE_VENDOR "the VarnelBase authors")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_CURRENT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)

set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_IGNORE_FILES "/\\\\.git(/|$)" "^${CMAKE_CURRENT_SOURCE_DIR}/build/" "/node_modules/"
    "/compile_commands\\\\.json$")
include(CPack)
