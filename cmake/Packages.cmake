# cpack: a Debian package and an archive of what is installed; cpack --config CPackSourceConfig.cmake:
# an archive of the sources.

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_NAME varnelbase)
set(CPACK_PACKAGE_VENDOR "the VarnelBase authors")
set(CPACK_PACKAGE_CONTACT "the VarnelBase authors")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_CURRENT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)

# Hosts compile against the headers of the dependencies, in the release that the library was built with.
set(developmentPackages "libssl-dev (>= 3)")
if(VARNELBASE_BUILD_CLIENT)
    string(APPEND developmentPackages ", libcurl4-openssl-dev (>= 7.68)")
endif()
if(VARNELBASE_BUILD_EMULATOR)
    string(APPEND developmentPackages ", libsqlite3-dev, libzip-dev")
endif()
if(httplibFlavour STREQUAL "split")
    string(APPEND developmentPackages ", libcpp-httplib-dev (>= ${httplibRelease}), libcpp-httplib-dev (<< ${httplibRelease}.0)")
endif()
if(jsonDirectory STREQUAL "/usr/include")
    string(APPEND developmentPackages ", nlohmann-json3-dev (>= ${jsonRelease}), nlohmann-json3-dev (<< ${jsonRelease}.0)")
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "${developmentPackages}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_IGNORE_FILES "/\\\\.git(/|$)" "^${CMAKE_CURRENT_SOURCE_DIR}/build/" "/node_modules/"
    "/compile_commands\\\\.json$")
include(CPack)
