#pragma once

#include <httplib.h>

#include <cstddef>

// The library's classes contain objects of cpp-httplib, json and the standard library. A program
// compiled with other releases or macros of these would corrupt its memory.
#ifndef CPPHTTPLIB_OPENSSL_SUPPORT
#error "VarnelBase needs CPPHTTPLIB_OPENSSL_SUPPORT defined wherever cpp-httplib is included"
#endif

#ifdef _GLIBCXX_DEBUG
#define VARNELBASE_USES_GLIBCXX_DEBUG true
#else
#define VARNELBASE_USES_GLIBCXX_DEBUG false
#endif
#ifdef CPPHTTPLIB_USE_POLL
#define VARNELBASE_USES_POLL true
#else
#define VARNELBASE_USES_POLL false
#endif
#ifdef CPPHTTPLIB_HEADER_MAX_COUNT
#define VARNELBASE_HEADER_MAX_COUNT CPPHTTPLIB_HEADER_MAX_COUNT
#else
#define VARNELBASE_HEADER_MAX_COUNT 0
#endif

namespace VarnelBase {

/// Release of the httplib.h that is included here, 0.15.3 as 1503.
inline constexpr int HttplibRelease = [](const char* text) {
    int number = 0;
    int part = 0;
    for (; *text != '\0'; ++text) {
        if (*text == '.') {
            number = (number + part) * 100;
            part = 0;
        } else {
            part = part * 10 + (*text - '0');
        }
    }
    return number + part;
}(CPPHTTPLIB_VERSION);

/// Functions that the library defines only for the values it was compiled with. A program compiled
/// with others does not link, and the linker's message names what differs.
namespace LibraryBuiltWithAnother {
template <bool IsDefined>
void GlibcxxDebug();
template <bool IsDefined>
void UsePoll();
template <std::size_t Lines>
void HeaderMaxCount();
template <int Diagnostics, std::size_t Bytes>
void JsonDiagnosticsAndSize();
} // namespace LibraryBuiltWithAnother

// Set for users of an installed library: the release it was built with.
#ifdef VARNELBASE_HTTPLIB_RELEASE
static_assert(
    HttplibRelease == VARNELBASE_HTTPLIB_RELEASE,
    "the httplib.h included here is of another release than the one VarnelBase was built with");

[[gnu::used, gnu::retain]] inline void (*const BuildOfHttplib[])() = {
    LibraryBuiltWithAnother::GlibcxxDebug<VARNELBASE_USES_GLIBCXX_DEBUG>,
    LibraryBuiltWithAnother::UsePoll<VARNELBASE_USES_POLL>,
    LibraryBuiltWithAnother::HeaderMaxCount<VARNELBASE_HEADER_MAX_COUNT>,
};
#endif

} // namespace VarnelBase
