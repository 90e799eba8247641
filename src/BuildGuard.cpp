#include "BuildGuard.h"

#include "ApiConnector.h"

namespace VarnelBase::LibraryBuiltWithAnother {

template <bool IsDefined>
void GlibcxxDebug() {}
template <bool IsDefined>
void UsePoll() {}
template <std::size_t Lines>
void HeaderMaxCount() {}
template <int Diagnostics, std::size_t Bytes>
void JsonDiagnosticsAndSize() {}

template void GlibcxxDebug<VARNELBASE_USES_GLIBCXX_DEBUG>();
template void UsePoll<VARNELBASE_USES_POLL>();
template void HeaderMaxCount<VARNELBASE_HEADER_MAX_COUNT>();
template void JsonDiagnosticsAndSize<JSON_DIAGNOSTICS, sizeof(json)>();

} // namespace VarnelBase::LibraryBuiltWithAnother
