# Finds the three libraries that VarnelBase depends on.

find_package(OpenSSL 3 REQUIRED)
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

set(VARNEL_HTTPLIB_DIR "" CACHE PATH "Directory that holds httplib.h; empty: look for an installed one")
set(VARNEL_JSON_DIR "" CACHE PATH "Directory that holds nlohmann/json.hpp; empty: look for an installed one")

add_library(varnelbase_httplib INTERFACE)
if(VARNEL_HTTPLIB_DIR)
    target_include_directories(varnelbase_httplib SYSTEM INTERFACE ${VARNEL_HTTPLIB_DIR})
else()
    pkg_check_modules(httplib REQUIRED IMPORTED_TARGET cpp-httplib)
    target_link_libraries(varnelbase_httplib INTERFACE PkgConfig::httplib)
endif()
target_compile_definitions(varnelbase_httplib INTERFACE CPPHTTPLIB_OPENSSL_SUPPORT)
target_link_libraries(varnelbase_httplib INTERFACE OpenSSL::SSL OpenSSL::Crypto Threads::Threads)

add_library(varnelbase_json INTERFACE)
if(VARNEL_JSON_DIR)
    target_include_directories(varnelbase_json SYSTEM INTERFACE ${VARNEL_JSON_DIR})
else()
    pkg_check_modules(json REQUIRED IMPORTED_TARGET nlohmann_json)
    target_link_libraries(varnelbase_json INTERFACE PkgConfig::json)
endif()
