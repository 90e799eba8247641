#include "Connection.h"

#include <UtcTime.h>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/read_size.hpp>
#include <boost/beast/http/read.hpp>

#include <algorithm>
#include <cmath>
#include <utility>

namespace VarnelBase::Emulation {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using std::chrono::milliseconds;

constexpr milliseconds IdleTime{75000};  ///< up to the end of the next request's head
constexpr milliseconds BodyTime{30000};  ///< that a body may take to arrive
constexpr milliseconds StallTime{30000}; ///< that a client may take no byte
constexpr milliseconds ClosingTime{500}; ///< that it may go on sending after the last answer
constexpr milliseconds TimeAfterStop{1000};
constexpr std::size_t BlockBytes = 65536;
constexpr std::size_t WaiterThreads = 8;

/// Whether what a read ended with is the client's misuse of HTTP, not the end of its connection.
bool IsMisuse(const boost::system::error_code& error) {
    return error.category() == http::make_error_code(http::error::bad_value).category() &&
           error != http::error::end_of_stream && error != http::error::partial_message;
}

} // namespace

Connection::Connection(ServerParts& shared, int accepted)
    : parts(shared),
      stream(shared.loop, accepted, shared.tls ? &*shared.tls : nullptr),
      arrived(MaxHeadBytes) {}

/// A handler that goes on with a step, unless the connection has ended.
auto Connection::Continue(Step step) {
    return [self = shared_from_this(), step](const Error& error, std::size_t /*size*/ = 0) {
        if (error || !self->stream.socket.is_open()) {
            self->Close();
        } else {
            (self.get()->*step)();
        }
    };
}

void Connection::Start() {
    parts.connections.insert(shared_from_this());
    parser.emplace();
    SetTimeLeft(IdleTime);
    if (stream.tls) {
        stream.tls->async_handshake(asio::ssl::stream_base::server,
                                    Continue(&Connection::ReadHead));
    } else {
        ReadHead();
    }
}

std::string_view Connection::GetArrived() const {
    return {static_cast<const char*>(arrived.cdata().data()), arrived.size()};
}

void Connection::CheckTime(Clock::time_point now) {
    if (now >= deadline) { Close(); }
}

void Connection::Stop() {
    if (isBetweenRequests) {
        Close();
        return;
    }
    deadline = std::min(deadline, Clock::now() + TimeAfterStop);
    if (timer != nullptr) { timer->cancel(); }
    if (delivery && delivery->stream != nullptr) { delivery->stream->Close(); }
}

void Connection::SetTimeLeft(milliseconds time) {
    deadline = Clock::now() + (parts.isStopping ? std::min(time, TimeAfterStop) : time);
}

void Connection::AwaitTime(double seconds, Step step) {
    const milliseconds time(parts.isStopping ? 0 : std::llround(seconds * 1000));
    SetTimeLeft(time + StallTime);
    if (timer == nullptr) { timer = std::make_unique<asio::steady_timer>(parts.loop); }
    timer->expires_after(time);
    // The end of the server ends the wait, too.
    timer->async_wait([go = Continue(step)](const Error& /*error*/) { go({}); });
}

void Connection::ReadHead() {
    Error error;
    arrived.consume(parser->put(arrived.data(), error));
    if (error != http::error::need_more) {
        BeginRequest(error);
    } else if (HasBareLineFeed(GetArrived())) { // or the parser would wait for another end
        BeginRequest(http::error::bad_line_ending);
    } else {
        stream.async_read_some(arrived.prepare(boost::beast::read_size(arrived, BlockBytes)),
                               [self = shared_from_this()](const Error& end, std::size_t size) {
                                   self->arrived.commit(size);
                                   self->Continue (&Connection::ReadHead)(end);
                               });
    }
}

void Connection::BeginRequest(const Error& error) {
    isBetweenRequests = false;
    begin = Clock::now();
    SetTimeLeft(BodyTime);
    fault.reset();
    exchange.startedAt = GetMachineTime();
    Request& request = exchange.request = CopyHead(*parser);
    if (error) {
        EndRequest(error);
        return;
    }
    if (auto refusal = CheckHead(request)) {
        Deliver(*std::move(refusal));
        return;
    }
    request.isKeptAlive = parser->keep_alive();
    fault = parts.callbacks.chooseFault(request);
    if (fault && fault->action == FaultAction::DropBeforeReading) {
        Deliver(Answer());
    } else if (parser->is_done()) {
        EndRequest({});
    } else if (arrived.size() == 0 && IsContinueExpected(request)) {
        static constexpr std::string_view line = "HTTP/1.1 100 Continue\r\n\r\n";
        asio::async_write(stream, asio::buffer(line.data(), line.size()),
                          Continue(&Connection::ReadBody));
    } else {
        ReadBody();
    }
}

void Connection::ReadBody() {
    arrived.reserve(BlockBytes);
    http::async_read(stream, arrived, *parser,
                     [self = shared_from_this()](const Error& error, std::size_t /*size*/) {
                         self->EndRequest(error);
                     });
}

void Connection::EndRequest(const Error& error) {
    Request& request = exchange.request;
    request.body = std::move(parser->get().body());
    if (!error) {
        Deliver(parts.callbacks.answer(request, fault));
    } else if (IsMisuse(error)) {
        request.isKeptAlive = false;
        fault.reset();
        Deliver(ExplainMisuse(error, request, GetArrived()));
    } else {
        Close();
    }
}

void Connection::Deliver(Answer answer) {
    if (answer.later) {
        DeliverLater(std::move(answer));
        return;
    }
    parts.callbacks.complete(exchange.request, answer);
    delivery = PlanDelivery(std::move(answer), exchange.request, fault);
    if (delivery->delaySeconds > 0) {
        AwaitTime(delivery->delaySeconds, &Connection::BeginSending);
    } else {
        BeginSending();
    }
}

void Connection::DeliverLater(Answer answer) {
    deadline = parts.isStopping ? deadline : Clock::time_point::max();
    if (parts.waiters == nullptr) {
        parts.waiters = std::make_unique<asio::thread_pool>(WaiterThreads);
    }
    asio::post(*parts.waiters, [self = shared_from_this(), later = std::move(answer.later)] {
        Answer made;
        try {
            made = later(self->parts.isStopping);
        } catch (const std::exception& error) {
            made = MakeErrorAnswer(500, "internal", error.what());
        }
        asio::post(self->parts.loop, [self, made = std::move(made)]() mutable {
            if (self->stream.socket.is_open()) { self->Deliver(std::move(made)); }
        });
    });
}

void Connection::BeginSending() {
    exchange.status = delivery->status;
    exchange.faultRule = fault ? fault->rule : 0;
    exchange.durationMs = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    parts.callbacks.record(std::exchange(exchange, Exchange()));

    if (delivery->ending == Delivery::Ending::Reset) {
        Error ignored;
        stream.socket.set_option(asio::socket_base::linger(true, 0), ignored);
        Close();
        return;
    }
    if (delivery->stream != nullptr) {
        delivery->stream->SetWakeUp([weak = weak_from_this()] {
            const auto self = weak.lock();
            if (self == nullptr) { return; }
            asio::post(self->parts.loop,
                       [go = self->Continue(&Connection::SendStream)] { go({}); });
        });
        SkipInput(); // notices when the client goes while nothing is written for it
    }
    unsent = delivery->bytes;
    Send();
}

void Connection::Send() {
    SetTimeLeft(StallTime);
    if (unsent.empty()) {
        SendMore();
        return;
    }
    const std::size_t size = delivery->pauseSeconds ? 1 : unsent.size();
    stream.async_write_some(asio::buffer(unsent.data(), size),
                            [self = shared_from_this()](const Error& error, std::size_t sent) {
                                if (error || !self->stream.socket.is_open()) {
                                    self->Close();
                                    return;
                                }
                                self->unsent.remove_prefix(sent);
                                if (self->delivery->pauseSeconds && !self->unsent.empty()) {
                                    self->AwaitTime(*self->delivery->pauseSeconds,
                                                    &Connection::Send);
                                } else {
                                    self->Send();
                                }
                            });
}

/// Goes on with what follows the bytes of the answer.
void Connection::SendMore() {
    if (delivery->stream != nullptr) {
        isAwaitingStream = true;
        deadline = parts.isStopping ? deadline : Clock::time_point::max();
        SendStream();
    } else if (delivery->blanks > 0 && !parts.isStopping) {
        part.assign(static_cast<std::size_t>(std::min<std::int64_t>(delivery->blanks, BlockBytes)),
                    ' ');
        delivery->blanks -= static_cast<std::int64_t>(part.size());
        unsent = part;
        Send();
    } else {
        EndAnswer();
    }
}

/// Sends what was written to the stream, unless something else is still being sent.
void Connection::SendStream() {
    if (!isAwaitingStream) { return; }
    bool hasEnded = false;
    part = delivery->stream->Take(hasEnded);
    if (hasEnded) {
        delivery->stream->SetWakeUp(nullptr);
        delivery->stream.reset();
    }
    if (part.empty() && !hasEnded) { return; }
    isAwaitingStream = false;
    unsent = part;
    Send();
}

/// Reads what nobody wants, until the client has gone.
void Connection::SkipInput() {
    stream.async_read_some(asio::buffer(parts.unused), Continue(&Connection::SkipInput));
}

void Connection::EndAnswer() {
    const bool isKept = delivery->ending == Delivery::Ending::Keep && !parts.isStopping;
    delivery.reset();
    if (isKept) {
        isBetweenRequests = true;
        SetTimeLeft(IdleTime);
        arrived.shrink_to_fit();
        parser.emplace();
        ReadHead();
        return;
    }
    SetTimeLeft(ClosingTime);
    Error ignored;
    if (stream.tls) {
        stream.tls->async_shutdown(
            [self = shared_from_this()](const Error& /*error*/) { self->Close(); });
    } else if (!parser->is_done() || arrived.size() > 0 || stream.socket.available(ignored) > 0) {
        // Closing with unread bytes would throw the answer away that is on its way.
        stream.socket.shutdown(asio::socket_base::shutdown_send, ignored);
        SkipInput();
    } else {
        Close();
    }
}

void Connection::Close() {
    if (delivery && delivery->stream != nullptr) {
        delivery->stream->SetWakeUp(nullptr);
        delivery->stream->Close();
    }
    if (timer != nullptr) { timer->cancel(); }
    Error ignored;
    stream.socket.close(ignored);
    parts.connections.erase(shared_from_this());
}

} // namespace VarnelBase::Emulation
