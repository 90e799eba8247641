#include "Upstream.h"

#include <RequestTarget.h>
#include <TrimBlanks.h>
#include <curl/curl.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <string_view>

namespace VarnelBase::Emulation {

namespace {

constexpr long ConnectSeconds = 10;
constexpr long IdleSeconds = 60;
constexpr std::size_t MaxAnswerBytes = std::size_t{256} << 20U;

struct CurlDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

/// Whether a header concerns one connection, and not the request or answer.
bool IsOfConnection(const std::string& name) {
    return IsHeader(
        name, {"Host", "Connection", "Content-Length", "Transfer-Encoding", "Keep-Alive", "Expect",
               "Accept-Encoding", "Content-Encoding", "Upgrade"});
}

std::size_t TakeBody(const char* bytes, std::size_t size, std::size_t count, void* answer) {
    std::string& body = static_cast<Answer*>(answer)->body;
    if (body.size() + size * count > MaxAnswerBytes) { return 0; }
    body.append(bytes, size * count);
    return size * count;
}

std::size_t TakeHeader(const char* bytes, std::size_t size, std::size_t count, void* target) {
    Answer& answer = *static_cast<Answer*>(target);
    const std::string line(bytes, size * count);
    const std::size_t colon = line.find(':');
    if (line.rfind("HTTP/", 0) == 0) {
        answer.headers.clear(); // an interim answer came before
    } else if (colon != std::string::npos) {
        const std::string value(TrimBlanks(std::string_view(line).substr(colon + 1)));
        const std::string name = line.substr(0, colon);
        if (IsHeader(name, {"Content-Type"})) {
            answer.contentType = value;
        } else if (!IsOfConnection(name) && !IsAccessControl(name)) {
            answer.headers.emplace_back(name, value);
        }
    }
    return size * count;
}

int StopWhenAsked(void* isStopping, curl_off_t /*total*/, curl_off_t /*received*/,
                  curl_off_t /*toSend*/, curl_off_t /*sent*/) {
    return static_cast<const std::atomic<bool>*>(isStopping)->load() ? 1 : 0;
}

std::unique_ptr<curl_slist, CurlDeleter> MakeHeaderList(const Request& request) {
    std::unique_ptr<curl_slist, CurlDeleter> list;
    const auto append = [&list](const std::string& line) {
        curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
        if (longer == nullptr) { throw std::bad_alloc(); }
        static_cast<void>(list.release()); // NOLINT(bugprone-unused-return-value): part of it
        list.reset(longer);
    };
    for (const auto& [name, value] : request.headers) {
        if (!IsOfConnection(name)) { append(name + (value.empty() ? ";" : ": " + value)); }
    }
    // Those that libcurl adds by itself.
    for (const char* const added : {"Accept", "User-Agent", "Content-Type"}) {
        if (request.FindHeader(added).empty()) { append(std::string(added) + ":"); }
    }
    append("Expect:");
    return list;
}

/// The file of the authorities to trust instead of the system's; null without one.
const char* GetAuthorities() {
    return std::getenv("SSL_CERT_FILE");
}

/// Why an address gives no answer, to go on behind it. What is wrong with certificates is said in
/// our own words, which do not change with the release of libcurl.
std::string Explain(CURLcode outcome) {
    if (outcome == CURLE_PEER_FAILED_VERIFICATION) {
        return ": its certificate is not accepted; if you trust its authority, set SSL_CERT_FILE "
               "to a file with the authority's certificate";
    }
    if (outcome == CURLE_SSL_CACERT_BADFILE) {
        const char* const file = GetAuthorities();
        return ": its certificate cannot be checked, because no authorities' certificates can be "
               "read from " +
               (file == nullptr ? "the system; install ca-certificates, or set SSL_CERT_FILE"
                                : "SSL_CERT_FILE, " + std::string(file));
    }
    return std::string(" does not answer: ") + curl_easy_strerror(outcome);
}

} // namespace

Upstream::Upstream(std::string text) : address(std::move(text)) {
    if (address.rfind("http://", 0) != 0 && address.rfind("https://", 0) != 0) {
        throw std::runtime_error("the upstream \"" + address +
                                 "\" must be an address such as https://service.example.com");
    }
    while (address.back() == '/') { address.pop_back(); }
}

Answer Upstream::Ask(const Request& request, const std::atomic<bool>& isStopping) const {
    static const CURLcode isReady = curl_global_init(CURL_GLOBAL_DEFAULT);
    const std::unique_ptr<CURL, CurlDeleter> curl(isReady == CURLE_OK ? curl_easy_init() : nullptr);
    if (curl == nullptr) { throw std::runtime_error("libcurl cannot be used"); }
    const auto headers = MakeHeaderList(request);
    Answer answer;
    answer.contentType.clear();
    const std::string url = address + TakeOriginForm(request.target);
    const auto set = [&curl](CURLoption option, auto value) {
        if (curl_easy_setopt(curl.get(), option, value) != CURLE_OK) {
            throw std::runtime_error("libcurl lacks an option that is needed");
        }
    };
    set(CURLOPT_URL, url.c_str());
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(CURLOPT_CUSTOMREQUEST, request.method.c_str());
    set(CURLOPT_HTTPHEADER, headers.get());
    set(CURLOPT_ACCEPT_ENCODING, "");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_CONNECTTIMEOUT, ConnectSeconds);
    set(CURLOPT_LOW_SPEED_LIMIT, 1L);
    set(CURLOPT_LOW_SPEED_TIME, IdleSeconds);
    if (const char* const authorities = GetAuthorities()) { set(CURLOPT_CAINFO, authorities); }
    if (request.method == "HEAD") { set(CURLOPT_NOBODY, 1L); }
    if (!request.body.empty()) {
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
        set(CURLOPT_POSTFIELDS, request.body.data());
    }
    set(CURLOPT_WRITEFUNCTION, &TakeBody);
    set(CURLOPT_WRITEDATA, &answer);
    set(CURLOPT_HEADERFUNCTION, &TakeHeader);
    set(CURLOPT_HEADERDATA, &answer);
    set(CURLOPT_XFERINFOFUNCTION, &StopWhenAsked);
    set(CURLOPT_XFERINFODATA, &isStopping);
    set(CURLOPT_NOPROGRESS, 0L);
    const CURLcode outcome = curl_easy_perform(curl.get());
    if (outcome != CURLE_OK) { throw std::runtime_error(address + Explain(outcome)); }
    long status = 0;
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
    answer.status = static_cast<int>(status);
    return answer;
}

} // namespace VarnelBase::Emulation
