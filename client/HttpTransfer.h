#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "AccessSource.h"
#include "CancellationState.h"

namespace VarnelBase {

/// What all transfers of a client share.
struct TransferSettings {
    std::chrono::milliseconds connectTimeout;
    std::chrono::milliseconds idleTimeout;
    std::size_t maxHeaderBytes;
    int maxHeaderLines;
    std::optional<std::string> caFile; ///< none: no TLS; empty: only the system's certificates
};

struct TransferRequest {
    const char* method;
    const std::string& target;
    const std::string* body; ///< none: no body
    bool isRepeatable;       ///< whether it may go to a new connection after some of it was sent
    bool isDecompressed;     ///< whether compression is offered
    std::chrono::steady_clock::time_point deadline;
    Cancellation::State* cancellation;
};

/// The answer's header, once it is complete.
struct AnswerHead {
    int status = 0; ///< 0: not there yet
    std::string disposition;
    std::string retryAfter;
    std::string date;
    std::optional<std::uint64_t> length;
};

struct TransferResult {
    Failure failure = Failure::None; ///< whatever the status
    std::string reason;              ///< of the failure
    SentState sent = SentState::NotSent;
    AnswerHead head;
};

/// Receives a piece of the answer's body; returns why no more is wanted, or `None` for more.
using BodyTaker = std::function<Failure(const AnswerHead&, const char*, std::size_t)>;

/// One connection to the service, kept from request to request, for one thread at a time.
class HttpTransfer {
public:
    using Clock = std::chrono::steady_clock;

    /// @throws std::bad_alloc; std::runtime_error when `caFile` is set and libcurl has no OpenSSL
    explicit HttpTransfer(const TransferSettings& common);
    ~HttpTransfer();
    HttpTransfer(const HttpTransfer&) = delete;
    HttpTransfer& operator=(const HttpTransfer&) = delete;

    /// Sends a request and hands over the answer's body.
    ///
    /// @throws what the taker throws
    TransferResult Perform(const TransferRequest& request,
                           const std::shared_ptr<const Access>& used, const BodyTaker& taker);

    /// Fills in the sizes and times of the last request.
    void Describe(AttemptReport& report) const;

    Clock::time_point lastUse = Clock::now();
    std::thread::id lastThread;

private:
    using HeaderList = std::unique_ptr<curl_slist, void (*)(curl_slist*)>;

    static std::size_t OnHeader(const char* line, std::size_t size, std::size_t count, void* self);
    static std::size_t OnBody(const char* bytes, std::size_t size, std::size_t count, void* self);
    static curl_socket_t OnSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
    static CURLcode OnTls(CURL* handle, void* context, void* self);

    void UseAccess(const std::shared_ptr<const Access>& used);
    void Prepare(const TransferRequest& request);
    void SetForm(std::string_view method, bool hasBody, bool isDecompressed);
    HeaderList MakeHeaders(bool hasBody, bool isDecompressed) const;
    void ReadHeaderLine(const char* line, std::size_t size);
    std::optional<CURLcode> Run(const TransferRequest& request, TransferResult& result);
    void Explain(CURLcode code, TransferResult& result);
    bool HasSentSome() const;

    template <typename Work>
    bool Guard(Work work);

    const TransferSettings& settings;
    const std::unique_ptr<CURLM, CURLMcode (*)(CURLM*)> multi;
    const std::chrono::milliseconds longestPoll; ///< short without a descriptor for wake-ups
    const std::unique_ptr<CURL, void (*)(CURL*)> easy;
    std::array<char, CURL_ERROR_SIZE> errorText{};

    std::shared_ptr<const Access> access;
    std::string url;
    std::string lastForm; ///< what the handle's options for method, body and compression are
    HeaderList headers{nullptr, &curl_slist_free_all}; ///< of that form

    // Of the request that runs:
    const BodyTaker* takeBody = nullptr;
    AnswerHead head;
    std::size_t headerBytes = 0;
    int headerLines = 0;
    bool isRepeatable = false;
    Failure refusal = Failure::None; ///< why the callbacks ended it
    const char* refusalReason = "";
    std::exception_ptr thrown;
};

} // namespace VarnelBase
