# The shared library's name, how it calls others, what it exports, and what it asks of a program that links it.

set_target_properties(varnelbase PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})

get_target_property(libraryType varnelbase TYPE)
if(libraryType STREQUAL "SHARED_LIBRARY" AND NOT APPLE)
    # Little of the code is in the caches when a request begins: calls without stubs, and inlined ones, fetch less of it.
    target_compile_options(varnelbase_objects PRIVATE -fno-plt -fno-semantic-interposition)

    set(exports ${CMAKE_CURRENT_BINARY_DIR}/exports.map)
    configure_file(cmake/exports.map.in ${exports} @ONLY)
    target_link_options(varnelbase PRIVATE LINKER:--version-script=${exports})
    set_target_properties(varnelbase PROPERTIES LINK_DEPENDS ${exports})

    set(isProgram $<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>)
    set(map ${CMAKE_INSTALL_LIBDIR}/cmake/VarnelBase/hide-httplib.map)
    target_link_options(varnelbase INTERFACE
        $<BUILD_INTERFACE:$<${isProgram}:LINKER:--version-script=${CMAKE_CURRENT_SOURCE_DIR}/cmake/hide-httplib.map>>
        $<INSTALL_INTERFACE:$<${isProgram}:LINKER:--version-script=$<INSTALL_PREFIX>/${map}>>)
endif()
