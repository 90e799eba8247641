#include "HttpTransfer.h"

#include <openssl/ssl.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <new>
#include <string_view>

#include "AsciiCase.h"
#include "TlsRules.h"
#include "TrimBlanks.h"

namespace VarnelBase {

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr long SwitchingProtocols = 101;
constexpr const char* Compressions = "gzip";

/// Once in a process: libcurl's own initialisation is not safe for threads in every release.
void InitialiseCurl() {
    static const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (code != CURLE_OK) { throw std::runtime_error(curl_easy_strerror(code)); }
}

CURLM* OpenMulti() {
    InitialiseCurl();
    CURLM* multi = curl_multi_init();
    return multi != nullptr ? multi : throw std::bad_alloc();
}

CURL* OpenEasy() {
    CURL* easy = curl_easy_init();
    return easy != nullptr ? easy : throw std::bad_alloc();
}

template <typename Value>
void Set(CURL* easy, CURLoption option, Value value) {
    const CURLcode code = curl_easy_setopt(easy, option, value);
    if (code == CURLE_OUT_OF_MEMORY) { throw std::bad_alloc(); }
    if (code != CURLE_OK) { throw std::runtime_error(curl_easy_strerror(code)); }
}

template <typename Value>
Value Get(CURL* easy, CURLINFO info) {
    Value value{};
    curl_easy_getinfo(easy, info, &value);
    return value;
}

curl_slist* Append(curl_slist* list, const char* line) {
    curl_slist* longer = curl_slist_append(list, line);
    return longer != nullptr ? longer : throw std::bad_alloc();
}

} // namespace

HttpTransfer::HttpTransfer(const TransferSettings& common)
    : settings(common),
      multi(OpenMulti(), &curl_multi_cleanup),
      longestPoll(curl_multi_wakeup(multi.get()) == CURLM_OK ? 60'000 : 50),
      easy(OpenEasy(), &curl_easy_cleanup) {
    // One connection: a request that was lost on it cannot go out on another kept one.
    curl_multi_setopt(multi.get(), CURLMOPT_MAXCONNECTS, 1L);
    CURL* handle = easy.get();
    Set(handle, CURLOPT_NOSIGNAL, 1L);
    Set(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    Set(handle, CURLOPT_PATH_AS_IS, 1L);
    Set(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    Set(handle, CURLOPT_ERRORBUFFER, errorText.data());
    Set(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(settings.connectTimeout.count()));
    Set(handle, CURLOPT_MAXAGE_CONN,
        static_cast<long>(std::chrono::ceil<std::chrono::seconds>(settings.idleTimeout).count()));
    Set(handle, CURLOPT_HEADERFUNCTION, &OnHeader);
    Set(handle, CURLOPT_HEADERDATA, this);
    Set(handle, CURLOPT_WRITEFUNCTION, &OnBody);
    Set(handle, CURLOPT_WRITEDATA, this);
    Set(handle, CURLOPT_OPENSOCKETFUNCTION, &OnSocket);
    Set(handle, CURLOPT_OPENSOCKETDATA, this);
    if (settings.caFile) {
        Set(handle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
        // The certificates are OpenSSL's own choice, which OnTls makes, not libcurl's.
        Set(handle, CURLOPT_CAINFO, nullptr);
        Set(handle, CURLOPT_CAPATH, nullptr);
        Set(handle, CURLOPT_SSL_CTX_FUNCTION, &OnTls);
        Set(handle, CURLOPT_SSL_CTX_DATA, this);
    }
}

HttpTransfer::~HttpTransfer() = default;

TransferResult HttpTransfer::Perform(const TransferRequest& request,
                                     const std::shared_ptr<const Access>& used,
                                     const BodyTaker& taker) {
    UseAccess(used);
    takeBody = &taker;
    head = {};
    headerBytes = 0;
    headerLines = 0;
    isRepeatable = request.isRepeatable;
    refusal = Failure::None;
    thrown = nullptr;
    errorText[0] = '\0';
    Prepare(request);

    TransferResult result;
    const std::optional<CURLcode> code = Run(request, result);
    lastUse = Clock::now();
    lastThread = std::this_thread::get_id();
    if (thrown) { std::rethrow_exception(std::exchange(thrown, nullptr)); }

    result.sent = head.status != 0 ? SentState::Answered
                  : HasSentSome()  ? SentState::MayHaveBeenSent
                                   : SentState::NotSent;
    if (code) { Explain(*code, result); }
    result.head = std::move(head);
    return result;
}

void HttpTransfer::Describe(AttemptReport& report) const {
    CURL* handle = easy.get();
    const auto read = [handle](CURLINFO info) { return Get<curl_off_t>(handle, info); };
    report.bytesSent = static_cast<std::uint64_t>(read(CURLINFO_SIZE_UPLOAD_T));
    report.bytesReceived = static_cast<std::uint64_t>(read(CURLINFO_SIZE_DOWNLOAD_T));
    report.isNewConnection = Get<long>(handle, CURLINFO_NUM_CONNECTS) > 0;
    report.nameLookup = microseconds(read(CURLINFO_NAMELOOKUP_TIME_T));
    report.connecting =
        microseconds(std::max(read(CURLINFO_CONNECT_TIME_T), read(CURLINFO_APPCONNECT_TIME_T)));
    report.firstByte = microseconds(read(CURLINFO_STARTTRANSFER_TIME_T));
}

void HttpTransfer::UseAccess(const std::shared_ptr<const Access>& used) {
    if (access == used) { return; }
    lastForm.clear();
    // Loopback is this machine's own; elsewhere libcurl looks at the usual variables.
    Set(easy.get(), CURLOPT_PROXY, used->isLoopback ? "" : nullptr);
    access = used;
}

void HttpTransfer::Prepare(const TransferRequest& request) {
    CURL* handle = easy.get();
    url.assign(access->origin).append(request.target);
    Set(handle, CURLOPT_URL, url.c_str());
    SetForm(request.method, request.body != nullptr, request.isDecompressed);
    if (request.body != nullptr) {
        Set(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body->size()));
        Set(handle, CURLOPT_POSTFIELDS, request.body->data());
    }
}

/// Sets what most requests have in common with the one before.
void HttpTransfer::SetForm(std::string_view method, bool hasBody, bool isDecompressed) {
    std::string form(method);
    form.append(hasBody ? "+" : "").append(isDecompressed ? "z" : "");
    if (form == lastForm) { return; }
    lastForm.clear();
    CURL* handle = easy.get();
    Set(handle, hasBody ? CURLOPT_POST : CURLOPT_HTTPGET, 1L);
    const bool isCustom = method != (hasBody ? "POST" : "GET");
    Set(handle, CURLOPT_CUSTOMREQUEST, isCustom ? method.data() : nullptr);
    Set(handle, CURLOPT_ACCEPT_ENCODING, isDecompressed ? Compressions : nullptr);
    HeaderList lines = MakeHeaders(hasBody, isDecompressed);
    Set(handle, CURLOPT_HTTPHEADER, lines.get());
    headers = std::move(lines);
    lastForm = std::move(form);
}

/// libcurl formats a header line of its own options twice, and one of this list once.
HttpTransfer::HeaderList HttpTransfer::MakeHeaders(bool hasBody, bool isDecompressed) const {
    HeaderList lines(Append(nullptr, "User-Agent: varnelbase"), &curl_slist_free_all);
    const auto add = [&lines](const std::string& line) { Append(lines.get(), line.c_str()); };
    if (!access->token.empty()) { add("Authorization: Bearer " + access->token); }
    if (isDecompressed) { add(std::string("Accept-Encoding: ") + Compressions); }
    if (hasBody) {
        add("Content-Type: application/json");
        add("Expect:"); // no wait for the service's consent
    }
    return lines;
}

std::optional<CURLcode> HttpTransfer::Run(const TransferRequest& request, TransferResult& result) {
    const WakeRegistration registration(request.cancellation, multi.get());
    if (curl_multi_add_handle(multi.get(), easy.get()) != CURLM_OK) { throw std::bad_alloc(); }
    std::optional<CURLcode> code;
    const auto end = [&](Failure failure, const char* reason) {
        result.failure = failure;
        result.reason = reason;
    };
    for (int running = 1;;) {
        if (curl_multi_perform(multi.get(), &running) != CURLM_OK) { throw std::bad_alloc(); }
        if (running == 0) { break; }
        if (IsCancelled(request.cancellation)) {
            end(Failure::Cancelled, "cancelled");
            break;
        }
        const auto left = std::chrono::ceil<milliseconds>(request.deadline - Clock::now());
        if (left.count() <= 0) {
            end(Failure::TimedOut, "no complete answer in time");
            break;
        }
        curl_multi_poll(multi.get(), nullptr, 0,
                        static_cast<int>(std::min(left, longestPoll).count()), nullptr);
    }
    int waiting = 0;
    for (const CURLMsg* message = nullptr;
         (message = curl_multi_info_read(multi.get(), &waiting)) != nullptr;) {
        if (message->msg == CURLMSG_DONE) { code = message->data.result; }
    }
    curl_multi_remove_handle(multi.get(), easy.get());
    return code;
}

void HttpTransfer::Explain(CURLcode code, TransferResult& result) {
    const auto fail = [&](Failure failure, std::string reason) {
        result.failure = failure;
        result.reason = std::move(reason);
    };
    const std::string detail = errorText[0] != '\0' ? errorText.data() : curl_easy_strerror(code);
    if (refusal != Failure::None) { return fail(refusal, refusalReason); }
    const auto failForLength = [&] { fail(Failure::TooLarge, "a header line is too long"); };
    constexpr auto tooLarge = static_cast<CURLcode>(100); // CURLE_TOO_LARGE, from libcurl 8.6 on
    if (code == tooLarge) { return failForLength(); }
    switch (code) {
        case CURLE_OK:
            if (head.status != 0) { return; }
            if (Get<long>(easy.get(), CURLINFO_RESPONSE_CODE) == SwitchingProtocols) {
                return fail(Failure::Unreadable, "the answer switches to another protocol");
            }
            break; // closed in the middle of the header
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_RESOLVE_PROXY:
            return fail(Failure::CannotResolve, detail);
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_ISSUER_ERROR:
            return fail(Failure::Untrusted, detail);
        case CURLE_UNSUPPORTED_PROTOCOL:
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_BAD_CONTENT_ENCODING:
        case CURLE_BAD_FUNCTION_ARGUMENT:
            return fail(Failure::Unreadable, detail);
        case CURLE_URL_MALFORMAT:
            return fail(Failure::CannotResolve, access->host + " is not a host name");
        case CURLE_OUT_OF_MEMORY:
            // What libcurl before 8.6 says of a header line that is longer than it accepts.
            if (result.sent == SentState::NotSent) { throw std::bad_alloc(); }
            return failForLength();
        default:
            break;
    }
    if (result.sent == SentState::NotSent) { return fail(Failure::CannotConnect, detail); }
    fail(Failure::Interrupted, "the connection broke before the answer was complete");
}

bool HttpTransfer::HasSentSome() const {
    // Before the transfer proper begins, a proxy has been asked at most.
    return Get<long>(easy.get(), CURLINFO_REQUEST_SIZE) > 0 &&
           Get<curl_off_t>(easy.get(), CURLINFO_PRETRANSFER_TIME_T) > 0;
}

/// Nothing may be thrown through libcurl.
template <typename Work>
bool HttpTransfer::Guard(Work work) {
    try {
        work();
    } catch (...) { thrown = std::current_exception(); }
    return !thrown && refusal == Failure::None;
}

std::size_t HttpTransfer::OnHeader(const char* line, std::size_t /*size*/, std::size_t count,
                                   void* self) {
    auto& transfer = *static_cast<HttpTransfer*>(self);
    return transfer.Guard([&] { transfer.ReadHeaderLine(line, count); }) ? count : 0;
}

void HttpTransfer::ReadHeaderLine(const char* line, std::size_t size) {
    headerBytes += size;
    if (++headerLines > settings.maxHeaderLines) {
        refusal = Failure::TooLarge;
        refusalReason = "the answer has more header lines than maxHeaderLines allows";
    } else if (headerBytes > settings.maxHeaderBytes) {
        refusal = Failure::TooLarge;
        refusalReason = "the answer's header is larger than maxHeaderBytes allows";
    }
    const std::string_view text(line, size);
    if (text == "\r\n" || text == "\n") {
        const long status = Get<long>(easy.get(), CURLINFO_RESPONSE_CODE);
        // An interim answer is followed by another, whose header is read anew.
        if (status >= 200) {
            head.status = static_cast<int>(status);
        } else {
            head = {};
        }
        return;
    }
    const std::size_t colon = text.find(':');
    if (head.status != 0 || colon == std::string_view::npos) { return; }
    const auto read = [&](std::string_view name, std::string& value) {
        if (colon != name.size() || !value.empty()) { return; }
        if (LowerCase(std::string(text.substr(0, colon))) != name) { return; }
        value = TrimBlanks(text.substr(colon + 1));
    };
    read("date", head.date);
    read("retry-after", head.retryAfter);
    read("content-disposition", head.disposition);
}

std::size_t HttpTransfer::OnBody(const char* bytes, std::size_t /*size*/, std::size_t count,
                                 void* self) {
    auto& transfer = *static_cast<HttpTransfer*>(self);
    const bool isTaken = transfer.Guard([&] {
        if (!transfer.head.length) {
            const auto length =
                Get<curl_off_t>(transfer.easy.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T);
            if (length >= 0) { transfer.head.length = static_cast<std::uint64_t>(length); }
        }
        transfer.refusal = (*transfer.takeBody)(transfer.head, bytes, count);
        transfer.refusalReason = transfer.refusal == Failure::TooLarge
                                     ? "the answer is larger than maxDocumentBytes allows"
                                     : "its receiver wants no more of it";
    });
    return isTaken ? count : 0;
}

curl_socket_t HttpTransfer::OnSocket(void* self, curlsocktype /*purpose*/, curl_sockaddr* address) {
    const auto& transfer = *static_cast<HttpTransfer*>(self);
    // libcurl repeats a request by itself when a kept connection breaks before the answer.
    if (!transfer.isRepeatable && transfer.HasSentSome()) { return CURL_SOCKET_BAD; }
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

CURLcode HttpTransfer::OnTls(CURL* /*handle*/, void* context, void* self) {
    const auto& transfer = *static_cast<HttpTransfer*>(self);
    auto* tls = static_cast<SSL_CTX*>(context);
    const std::string& caFile = *transfer.settings.caFile;
    const bool isReady = RequireTlsHost(tls, transfer.access->host) &&
                         SSL_CTX_set_default_verify_paths(tls) == 1 &&
                         (caFile.empty() || TrustCaFile(tls, caFile));
    return isReady ? CURLE_OK : CURLE_SSL_CERTPROBLEM;
}

} // namespace VarnelBase
