# Headers, libraries, programs, CMake package and pkg-config file; everything finds its place again when
# the prefix is moved.

include(CMakePackageConfigHelpers)

set(headerDirectory ${CMAKE_INSTALL_INCLUDEDIR}/varnelbase)
set(packageDirectory ${CMAKE_INSTALL_LIBDIR}/cmake/VarnelBase)
set(pkgconfigDirectory ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(docDirectory ${CMAKE_INSTALL_DATAROOTDIR}/doc/varnelbase)

install(FILES src/ApiConnector.h src/AuthHandler.h src/BuildGuard.h src/EnvConfig.h src/LoginGuide.h src/TokenStore.h
        DESTINATION ${headerDirectory})
target_include_directories(varnelbase PUBLIC $<INSTALL_INTERFACE:${headerDirectory}>)
target_link_libraries(varnelbase PUBLIC $<INSTALL_INTERFACE:VarnelBase::httplib> $<INSTALL_INTERFACE:VarnelBase::json>)
set_target_properties(varnelbase PROPERTIES EXPORT_NAME VarnelBase)
install(TARGETS varnelbase EXPORT VarnelBaseTargets)
install(EXPORT VarnelBaseTargets NAMESPACE VarnelBase:: DESTINATION ${packageDirectory})

configure_package_config_file(cmake/VarnelBaseConfig.cmake.in VarnelBaseConfig.cmake
                              INSTALL_DESTINATION ${packageDirectory} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(VarnelBaseConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VarnelBaseConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/VarnelBaseConfigVersion.cmake
              cmake/VarnelBaseDependencies.cmake
              cmake/hide-httplib.map
        DESTINATION ${packageDirectory})

# pkg-config asks the split cpp-httplib's own file; a plain header has none, so its place is noted.
set(requiredModules "openssl >= 3.0.0, openssl < 4")
set(definitions "-DVARNELBASE_HTTPLIB_RELEASE=${httplibNumber} -DVARNELBASE_JSON_RELEASE=${jsonNumber}")
if(httplibFlavour STREQUAL "split")
    string(APPEND requiredModules ", cpp-httplib = ${httplibRelease}")
else()
    list(TRANSFORM VARNELBASE_PLAIN_DEFINITIONS PREPEND " -D" OUTPUT_VARIABLE plainDefinitions)
    string(APPEND definitions ${plainDefinitions})
endif()
set(dependencyIncludes "")
foreach(key IN ITEMS httplib json)
    if(NOT ${key}Directory IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
        string(APPEND dependencyIncludes " -isystem \${${key}dir}")
    endif()
endforeach()
file(RELATIVE_PATH upToPrefix /${pkgconfigDirectory} /)
string(REGEX REPLACE "/$" "" upToPrefix ${upToPrefix})
configure_file(cmake/varnelbase.pc.in varnelbase.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/varnelbase.pc DESTINATION ${pkgconfigDirectory})

if(VARNELBASE_BUILD_CLIENT)
    configure_file(cmake/varnelbase-client.pc.in varnelbase-client.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/varnelbase-client.pc DESTINATION ${pkgconfigDirectory})
endif()

if(VARNELBASE_BUILD_STUDY)
    configure_file(cmake/varnelbase-study.pc.in varnelbase-study.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/varnelbase-study.pc DESTINATION ${pkgconfigDirectory})
endif()

install(FILES LICENSE CHANGELOG.md README.md DESTINATION ${docDirectory})
install(DIRECTORY docs DESTINATION ${docDirectory} FILES_MATCHING PATTERN "*.md")
