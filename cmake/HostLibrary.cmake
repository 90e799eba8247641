# Finishes a library that stands beside the connector's: TARGET, which hosts link, is exported as VarnelBase::NAME with
# its headers in DIRECTORY; TARGET_objects is what is compiled, and TARGET_static what this project's own programs link,
# which have the helpers of src/ from elsewhere.
#
#   finish_host_library(TARGET NAME DIRECTORY HEADER...)
function(finish_host_library target name directory)
    set(headerDirectory ${CMAKE_INSTALL_INCLUDEDIR}/${directory})
    foreach(part IN ITEMS ${target}_objects ${target} ${target}_static)
        set_target_properties(${part} PROPERTIES LINKER_LANGUAGE CXX EXPORT_NAME ${name})
        target_compile_features(${part} PUBLIC cxx_std_17)
        target_include_directories(${part} PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}>
                                                  $<INSTALL_INTERFACE:${headerDirectory}>)
    endforeach()
    add_library(VarnelBase::${name} ALIAS ${target})
    if(VARNELBASE_INSTALL)
        install(FILES ${ARGN} DESTINATION ${headerDirectory})
        install(TARGETS ${target} EXPORT VarnelBaseTargets)
    endif()
endfunction()
